#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class FileLogger;
class QObject;

// First-run installation of what the measurement tool needs, and the headless browser that video
// tests use. AppState, the upload runner and the setup screen share the search for uv here.
class Bootstrap {
public:
    static constexpr const char* logTag = "Bootstrap";
    static constexpr double playwrightCheckTimeoutSeconds = 30.0;

    // Where uv may be installed, in the order it is searched.
    static QStringList uvCandidates();
    // The first candidate that is an executable file.
    static std::optional<QString> findUV(FileLogger& log);

    // --- The offline browser check -----------------------------------------------------------------

    // The one-line program that starts and closes a headless Chromium, printing "ok".
    static const QString playwrightCheckProgram;
    static QStringList playwrightCheckArguments();
    // The application's environment with PYTHONUNBUFFERED and the tools' PATH, as the dependency runs
    // get it.
    static QProcessEnvironment dependencyRunEnvironment(const QProcessEnvironment& base);

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
