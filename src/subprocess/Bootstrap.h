#pragma once

#include "services/FileLogger.h"

#include <QDateTime>
#include <QObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class QProcess;
class WarmingTask;

// First-run installation of what the measurement tool needs: uv, a Python 3.12 and the pinned packages,
// behind the bootstrap screen. Also the silent refill of uv's package cache at launch and after wake,
// and the headless browser that video tests use. AppState, the upload runner and the setup screen share
// the search for uv here.
//
// The observable state lives on the main thread; the children report their end there through QProcess.
class Bootstrap : public QObject {
    Q_OBJECT

public:
    struct State {
        enum class Kind { checking, installingUV, installingDeps, ready, failed };

        Kind kind = Kind::checking;
        QString message; // the sentence for the user; set only when failed

        static State checking() { return {}; }
        static State installingUV() { return {Kind::installingUV, {}}; }
        static State installingDeps() { return {Kind::installingDeps, {}}; }
        static State ready() { return {Kind::ready, {}}; }
        static State failed(QString message) { return {Kind::failed, std::move(message)}; }

        bool isFailed() const { return kind == Kind::failed; }
        // "checking", "installingUV", "installingDeps", "ready" or "failed".
        QString name() const;

        friend bool operator==(const State&, const State&) = default;
    };

    // The outcome of one installer step: success, and standard output and error as one text.
    struct ProcessResult {
        bool success = false;
        QString output;
    };

    static constexpr const char* logTag = "Bootstrap";
    static constexpr double playwrightCheckTimeoutSeconds = 30.0;
    static constexpr double warmingPollSeconds = 0.5;

    static const QString initialProgressMessage;
    static const QString uvMissingAfterInstallMessage;
    static const QString noInternetMessage;

    explicit Bootstrap(FileLogger& log = FileLogger::shared(), QObject* parent = nullptr);
    ~Bootstrap() override;

    // Observable: each has a signal below.
    const State& state() const { return m_state; }
    const QString& progressMessage() const { return m_progressMessage; }
    const std::optional<QString>& diagnosticDetail() const { return m_diagnosticDetail; }

    // The blocking first-run install: checking, installingUV only when uv is missing, installingDeps,
    // then ready or failed. Returns at once; `runFinished` tells its end. A new run starts over from
    // checking whatever the state, and the end of an older run is then no longer reported.
    void run();

    static QString classifyUVError(const QString& output);
    static QString classifyDepsError(const QString& output);

    // Where uv may be installed, in the order it is searched.
    static QStringList uvCandidates();
    // The first candidate that is an executable file.
    static std::optional<QString> findUV(FileLogger& log);

    // --- Installer command lines -------------------------------------------------------------------

    // The shell line that downloads uv's installer script and runs it.
    static QString installCommand(const QString& installerUrl);
    // The warm-up's packages: the union of the capture's and the upload tool's, so that their later
    // --offline runs find everything in the cache.
    static QString warmDependencyList(bool includePlaywright);
    // The online run that fills uv's cache with Python 3.12 and `dependencyList`.
    static QStringList warmArguments(const QString& dependencyList);

    // --- The background warm-up --------------------------------------------------------------------

    // Fire and forget: starts a warm-up of the package cache when uv is there, cancelling the one
    // before. Nothing reports its outcome but the log.
    static void warmCacheInBackground(FileLogger& log = FileLogger::shared());
    // The latest warm-up, running or ended; nothing once it has cleaned up after itself.
    static WarmingTask* warmingTask();
    // A capture is about to use uv's cache: the warm-up stops at its next look.
    static void cancelWarmingTask();
    // Calls `then` on the main thread once the warm-up of this moment has ended: at once when there is
    // none or it has ended already; never once `context` is gone.
    static void afterWarmingTask(QObject* context, std::function<void()> then);

    // --- The offline browser check -----------------------------------------------------------------

    // The one-line program that starts and closes a headless Chromium, printing "ok".
    static const QString playwrightCheckProgram;
    static QStringList playwrightCheckArguments();
    // The application's environment with PYTHONUNBUFFERED and the tools' PATH, as the dependency runs
    // get it.
    static QProcessEnvironment dependencyRunEnvironment(const QProcessEnvironment& base);
    // A child that writes standard output and error into one pipe and reads nothing; it is not yet
    // started, has no parent, and gets SIGTERM should this program die.
    static QProcess* newJoinedProcess(const QString& program, const QStringList& arguments,
                                      const QProcessEnvironment& environment);

    // Whether the browser starts with no network: true only when it is in the cache, uv is there and
    // the check exits 0 within 30 seconds. Returns at once; `done` gets the answer exactly once on the
    // main thread, never before this returns, and not at all once `context` is destroyed. The child
    // is not tied to `context`: it runs to its end or to the time-out and then cleans up after itself.
    static void verifyPlaywrightOffline(QObject* context, std::function<void(bool)> done, FileLogger& log);

    // --- The browser download ----------------------------------------------------------------------

    static QStringList chromiumInstallArguments();
    // The application's environment with only PATH replaced by the tools' PATH.
    static QProcessEnvironment chromiumInstallEnvironment(const QProcessEnvironment& base);

    struct ChromiumInstallOutcome {
        enum class Kind {
            uvNotFound,   // nothing was started
            launchFailed, // `launchError` says why
            exited,       // `exitCode` (the signal number after a crash) and the trimmed `standardError`
        };
        Kind kind = Kind::exited;
        QString launchError;
        int exitCode = 0;
        QString standardError;

        friend bool operator==(const ChromiumInstallOutcome&, const ChromiumInstallOutcome&) = default;
    };

    // Downloads the browser through uv. `onProgress` gets each progress line as the download moves
    // ("(1/3) Downloading video test components… 10%"), `onFinished` the outcome once; both on the main
    // thread, after this returns, and never once `context` is destroyed. There is no time limit: the
    // user watches the progress and waits.
    static void installChromium(QObject* context, std::function<void(const QString&)> onProgress,
                                std::function<void(const ChromiumInstallOutcome&)> onFinished,
                                FileLogger& log);

signals:
    void stateChanged();
    void progressMessageChanged();
    void diagnosticDetailChanged();
    // The run has reached ready or failed.
    void runFinished();

private:
    friend class BootstrapTestAccess;

    void installUV(std::function<void(const ProcessResult&)> done);
    void warmDeps(const QString& uvPath, std::function<void(const ProcessResult&)> done);
    void installDeps(quint64 run);
    // Enters a step that runs a child: its state, its line under the spinner, its log line. Gives the
    // moment it started, for the timings of the log.
    QDateTime beginStep(State state, const QString& progressMessage, const QString& logLine);
    // What follows the end of a step's child: nothing once a newer run has begun; on a failure the log
    // line with the step's time, the sentence that `classify` finds, and the output as the detail;
    // otherwise `next`.
    std::function<void(const ProcessResult&)> stepEnd(quint64 run, const QDateTime& started,
                                                      const QString& what,
                                                      QString (*classify)(const QString&),
                                                      std::function<void()> next);
    void setState(State state);
    void setProgressMessage(const QString& text);
    void setDiagnosticDetail(const std::optional<QString>& detail);

    FileLogger& m_log;
    State m_state;
    QString m_progressMessage;
    std::optional<QString> m_diagnosticDetail;
    // Counts runs, so that the end of a step of a replaced run changes nothing.
    quint64 m_runCount = 0;
};

// Turns the browser installer's standard output, one line at a time, into the progress line that the
// setup screen shows. The installer downloads three archives and announces each with "Downloading ";
// its progress bars end in "{pct}% of {size} MiB".
class ChromiumInstallProgress {
public:
    static constexpr int downloadCount = 3;

    // The progress line for this output line, or nothing when the line carries no percentage.
    std::optional<QString> feed(const QString& line);
    int downloadsAnnounced() const { return m_counter; }

    // The encouraging words for a point of the download: `counter` downloads announced so far,
    // `current` the number shown in the label.
    static QString message(int counter, int current, qint64 pct);

private:
    int m_counter = 0;
};
