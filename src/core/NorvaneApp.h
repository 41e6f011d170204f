#pragma once

#include "base/Clock.h"
#include "core/QuitAlert.h"

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

class AppState;
class FileLogger;
class WakeWatcher;

// The top of the program: what runs at launch and in which order, the quit rules, and the reactions
// to the machine waking and to the program ending. Main thread only.
class NorvaneApp : public QObject {
    Q_OBJECT
public:
    static constexpr double wakeDelaySeconds = 5.0;

    explicit NorvaneApp(FileLogger& log, QObject* parent = nullptr);
    ~NorvaneApp() override;

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
    // The program should end now; the application object is connected to it.
    void terminateRequested();

private:
    FileLogger& m_log;
    std::unique_ptr<AppState> m_appState;
    WakeWatcher* m_wakeWatcher = nullptr;
    bool m_showQuitConfirmation = false;
    bool m_terminated = false;
    bool m_quitting = false;
    std::function<void()> m_crashScan;
};
