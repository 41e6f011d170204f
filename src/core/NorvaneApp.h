#pragma once

#include "base/Clock.h"
#include "core/QuitAlert.h"
#include "services/Updater.h"

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <functional>
#include <memory>

class AppState;
class FileLogger;
class UpdateLogger;
class VersionCheck;
class WakeWatcher;

// The top of the program: what runs at launch and in which order, the quit rules, and the reactions
// to the machine waking and to the program ending. Main thread only.
class NorvaneApp : public QObject {
    Q_OBJECT
public:
    // From now on, a setting that can't be written leaves one WARN line in the log that `log` gives,
    // asked for only then, so that a program which never fails to write never opens a log for it.
    static void logSettingsWriteFailures(std::function<FileLogger&()> log);
    // The same into the program's shared log.
    static void logSettingsWriteFailures();

    static constexpr double wakeDelaySeconds = 5.0;

    // The process-wide services that the application object takes at construction, in this order;
    // tests hand in their own.
    struct Services {
        std::function<VersionCheck&()> versionCheck;
        std::function<UpdateLogger&()> updateLogger;
        static Services shared();
    };

    explicit NorvaneApp(FileLogger& log, QObject* parent = nullptr);
    NorvaneApp(FileLogger& log, const Services& services, QObject* parent = nullptr);
    ~NorvaneApp() override;

    // The minimum-version gate, settled by the time the application object exists.
    VersionCheck& versionCheck() const { return m_versionCheck; }
    // The listener of the updater, whose found version the banners offer.
    UpdateLogger& updateLogger() const { return m_updateLogger; }

    // The user went on past the update notice for this run of the program; never stored.
    bool bypassVersionCheck() const { return m_bypassVersionCheck; }
    // "Continue Anyway": the main content shows for the rest of this run.
    void continuePastUpdateNotice();
    // The window shows the update notice instead of its screen: the build is below the minimum and the
    // user hasn't gone on past it.
    bool showsUpdateNotice() const;

    // What keeps the program up to date, for the menu's "Check for Updates…"; none until one is set.
    Updater* updater() const { return m_updater; }
    void setUpdater(Updater* updater);

    // The three lines that open every run's log: version and system, the log file, the capture folder.
    QStringList launchLines() const;
    void writeLaunchLines();

    // The session, made on first use; its constructor chooses the first screen.
    AppState& appState();

    // "Quit Norvane": ends at once, or asks first while something would be lost.
    void requestQuit();
    bool showQuitConfirmation() const { return m_showQuitConfirmation; }
    QuitAlert quitAlert();
    // The alert's destructive button: no child may outlive us, so the capture ends first.
    void confirmQuit();
    void cancelQuit();
    // The quit has been decided: windows that would ask again let it through.
    bool isQuitting() const { return m_quitting; }

    // The background scan for crash reports that the launch starts; nothing waits for it.
    void setCrashScan(std::function<void()> scan) { m_crashScan = std::move(scan); }

    // The main window's content has appeared: the crash scan always; on the setup screen the cache
    // warm-up, and once it has ended the first upload sweep, if the screen is still setup by then.
    void windowAppeared();
    // The machine woke from sleep: after a short delay the cache warm-up, and the wake sweep once the
    // warm-up has ended.
    void handleWake();
    // The last word on a quit by any route.
    void handleTermination();

signals:
    void quitConfirmationChanged();
    void bypassVersionCheckChanged();
    // The window's content rule changed its answer: the update notice comes or goes.
    void updateNoticeChanged();
    void updaterChanged();
    // The program should end now; the application object is connected to it.
    void terminateRequested();

private:
    void reviewUpdateNotice();

    FileLogger& m_log;
    // Taken in this order at construction: the gate's verdict is settled before anything else starts.
    VersionCheck& m_versionCheck;
    UpdateLogger& m_updateLogger;
    std::unique_ptr<AppState> m_appState;
    WakeWatcher* m_wakeWatcher = nullptr;
    bool m_showQuitConfirmation = false;
    bool m_terminated = false;
    bool m_quitting = false;
    bool m_bypassVersionCheck = false;
    bool m_showsUpdateNotice = false;
    QPointer<Updater> m_updater;
    std::function<void()> m_crashScan;
};
