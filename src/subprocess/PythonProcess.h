#pragma once

#include "base/Clock.h"
#include "services/FileLogger.h"
#include "subprocess/CaptureConfig.h"
#include "subprocess/JSONEvent.h"

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class LineBuffer;
class QProcess;

// Owns one run of the measurement tool at a time: builds its command line and environment, starts it
// through `uv`, turns its standard output into events, keeps the tail of its standard error, guards
// the start and the stop with two timers, retries once without the browser dependency, and puts a
// failed exit into one sentence for the user.
//
// Everything here runs on the main thread: QProcess delivers the child's output and its end there, and
// both timers come from Time::scheduler(). Nothing waits for the child to finish.
class PythonProcess : public QObject {
    Q_OBJECT

public:
    struct State {
        enum class Kind { idle, starting, running, finishing, completed, failed };

        Kind kind = Kind::idle;
        QString message; // the sentence for the user; set only when failed

        static State idle() { return {}; }
        static State starting() { return {Kind::starting, {}}; }
        static State running() { return {Kind::running, {}}; }
        static State finishing() { return {Kind::finishing, {}}; }
        static State completed() { return {Kind::completed, {}}; }
        static State failed(QString message) { return {Kind::failed, std::move(message)}; }

        bool isFailed() const { return kind == Kind::failed; }
        // "idle", "starting", "running", "finishing...", "completed" or "failed: {message}".
        QString description() const;

        friend bool operator==(const State&, const State&) = default;
    };

    static constexpr const char* logTag = "PythonProcess";
    static constexpr const char* stderrLogTag = "PythonStderr";
    static constexpr qsizetype maxRawLines = 10'000;
    static constexpr qsizetype maxStderrLines = 50;
    static constexpr double startupWatchdogSeconds = 30.0;
    static constexpr double stopTimeoutSeconds = 15.0;

    // The pinned packages of a capture. Bootstrap's warm-up must name the same pins, or the capture's
    // --offline run finds them missing.
    static const QString captureDependencies;
    static const QString playwrightDependency;

    static const QString notRespondingMessage;
    static const QString stopTimedOutMessage;

    explicit PythonProcess(FileLogger& log = FileLogger::shared(), QObject* parent = nullptr);
    ~PythonProcess() override;

    // Observable: each has a signal below.
    const State& state() const { return m_state; }
    const QStringList& rawLines() const { return m_rawLines; }
    const std::optional<JSONEvent>& latestEvent() const { return m_latestEvent; }
    const QString& stderrOutput() const { return m_stderrOutput; }
    bool playwrightUnavailable() const { return m_playwrightUnavailable; }

    const QStringList& stderrLines() const { return m_stderrLines; }
    bool receivedComplete() const { return m_receivedComplete; }
    bool triedWithoutPlaywright() const { return m_triedWithoutPlaywright; }
    const std::optional<CaptureConfig>& pendingRetryConfig() const { return m_pendingRetryConfig; }
    // The child's process id while this run holds one that was started.
    std::optional<qint64> processId() const;
    bool isChildRunning() const;
    bool isStartupWatchdogArmed() const { return m_startupWatchdog.isActive(); }
    bool isFinishingTimerArmed() const { return m_finishingTimer.isActive(); }

    // Called on the main thread for every decoded event, `unknown` included.
    void setOnEvent(std::function<void(const JSONEvent&)> callback) { m_onEvent = std::move(callback); }
    // Called once a run has ended for good; not after an exit that leads to the retry.
    void setOnTerminated(std::function<void()> callback) { m_onTerminated = std::move(callback); }

    // Starts a capture; does nothing unless the state is idle. Read `state` afterwards: a missing uv
    // or a failed spawn leaves it failed.
    void launch(const CaptureConfig& config, bool includePlaywright);
    // Orderly stop: SIGINT, and SIGTERM if no `complete` comes within 15 seconds.
    void stop();
    // Back to idle from anything; a child still running gets SIGTERM and is reaped in the background.
    void reset();
    // One line on the tool's standard input; dropped in silence when no child is running.
    void sendCommand(const QString& text);
    void sendEndMeta(std::optional<qint64> rssi, std::optional<double> uploadMbps,
                     std::optional<double> lossPct, std::optional<double> latencyMs, bool gatewayReachable);

    // The work of the child's readers and of its termination notice. The child's signals call these;
    // they are public so that a test can play a run's output without a child.
    void handleStandardOutput(QByteArrayView block);
    void handleStandardError(QByteArrayView block);
    void processLine(const QString& line);
    // The same for a line that the caller has decoded already (JSONEvent::decode of its UTF-8).
    void processLine(const QString& line, std::optional<JSONEvent> decoded);
    void handleTermination(int exitCode);

    // The parts of a launch, exposed for the tests and for the tools that share them.
    static QString dependencyList(bool includePlaywright);
    static QStringList buildArguments(const CaptureConfig& config, bool includePlaywright,
                                      const QString& csvPath, const QString& sourceRoot,
                                      const QString& clientId);
    // `base` with the variables of a capture set or replaced.
    static QProcessEnvironment buildEnvironment(const QProcessEnvironment& base);
    static QString csvPath(const QString& outputDirectory, const QDateTime& now);

    static QString outputDirectory();
    static QString ensureOutputDirectory();
    static QString pythonSourceRoot();
    // The first of Locations::uvCandidates() that is an executable file.
    static std::optional<QString> findUV(FileLogger& log = FileLogger::shared());
    static std::optional<QString> bundledWifiInfoPath();
    static QString classifyProcessError(int exitCode, const QString& stderrText);
    static bool shouldRetryWithoutPlaywright(const QString& stderrText);

signals:
    void stateChanged();
    void rawLinesChanged();
    void latestEventChanged();
    void stderrOutputChanged();
    void playwrightUnavailableChanged();

private:
    void setState(State state);
    void setPlaywrightUnavailable(bool value);
    void installReaders(QProcess* process, quint64 run);
    void removeReaders();
    void releaseChild();
    void deliverLines(const QStringList& lines, quint64 run);
    void startupWatchdogFired();
    void stopTimeoutFired();

    FileLogger& m_log;

    State m_state;
    QStringList m_rawLines;
    std::optional<JSONEvent> m_latestEvent;
    QString m_stderrOutput;
    bool m_playwrightUnavailable = false;

    QPointer<QProcess> m_process;
    Timer m_finishingTimer;
    Timer m_startupWatchdog;
    bool m_receivedComplete = false;
    QStringList m_stderrLines;
    std::shared_ptr<LineBuffer> m_stdoutLineBuffer;
    std::optional<CaptureConfig> m_pendingRetryConfig;
    bool m_triedWithoutPlaywright = false;
    // The watchdog or the stop timeout sent the SIGTERM of this run.
    bool m_endedBySupervisor = false;

    std::function<void(const JSONEvent&)> m_onEvent;
    std::function<void()> m_onTerminated;

    // Counts launches, so that the end of a child that a later launch replaced is not taken for the
    // end of the current run.
    quint64 m_launchCount = 0;
    // The launch whose readers are installed; 0 once they are removed.
    quint64 m_readerRun = 0;
    QMetaObject::Connection m_stdoutConnection;
    QMetaObject::Connection m_stderrConnection;
    // Lines waiting for processLine. A callback that spins an event loop may let the reader run again
    // in the middle of a block; the queue keeps the lines in order all the same.
    struct PendingLine {
        QString text;
        quint64 run = 0;
    };
    QList<PendingLine> m_pendingLines;
    bool m_delivering = false;
};

// Whether a headless Chromium is in the browser tool's cache, so that video tests can run.
bool chromiumInstalled();
