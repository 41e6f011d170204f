#include "core/NorvaneApp.h"

#include "base/Settings.h"
#include "core/AppState.h"
#include "platform/Platform.h"
#include "platform/WakeWatcher.h"
#include "services/FileLogger.h"
#include "services/NetworkMonitor.h"
#include "services/UpdateLogger.h"
#include "services/VersionCheck.h"
#include "subprocess/Bootstrap.h"
#include "subprocess/CaptureFolder.h"
#include "subprocess/PythonProcess.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace {
const QString tag = u"App"_s;
}

NorvaneApp::Services NorvaneApp::Services::shared() {
    return {[]() -> VersionCheck& { return VersionCheck::shared(); },
            []() -> UpdateLogger& { return UpdateLogger::shared(); }};
}

NorvaneApp::NorvaneApp(FileLogger& log, QObject* parent)
    : NorvaneApp(log, Services::shared(), parent) {}

NorvaneApp::NorvaneApp(FileLogger& log, const Services& services, QObject* parent)
    : QObject(parent)
    , m_log(log)
    , m_versionCheck(services.versionCheck())
    , m_updateLogger(services.updateLogger())
    , m_wakeWatcher(new WakeWatcher(this)) {
    m_showsUpdateNotice = showsUpdateNotice();
    // A minimum raised by this launch's fetch closes the gate at once, whatever screen is up.
    connect(&m_versionCheck, &VersionCheck::updateRequiredChanged, this, &NorvaneApp::reviewUpdateNotice);
    connect(m_wakeWatcher, &WakeWatcher::woke, this, &NorvaneApp::handleWake);
    if (auto* application = QCoreApplication::instance()) {
        connect(application, &QCoreApplication::aboutToQuit, this, &NorvaneApp::handleTermination);
        connect(this, &NorvaneApp::terminateRequested, application, &QCoreApplication::quit,
                Qt::QueuedConnection);
    }
}

void NorvaneApp::logSettingsWriteFailures(std::function<FileLogger&()> log) {
    Settings::onWriteFailed([log = std::move(log)](const QString& path) {
        log().warn(tag, u"settings write failed: "_s + path);
    });
}

void NorvaneApp::logSettingsWriteFailures() {
    logSettingsWriteFailures(&FileLogger::shared);
}

NorvaneApp::~NorvaneApp() {
    handleTermination();
}

QStringList NorvaneApp::launchLines() const {
    return {
        u"app launch version=%1 build=%2 %3"_s.arg(Platform::appVersion(), Platform::buildNumber(),
                                                   Platform::osLaunchField()),
        u"log file: "_s + m_log.logPath(),
        u"capture directory: "_s + CaptureFolder::outputDirectory(),
    };
}

void NorvaneApp::writeLaunchLines() {
    const QStringList lines = launchLines();
    for (const QString& line : lines)
        m_log.info(tag, line);
    const QStringList ignored = Platform::ignoredAddressOverrides();
    for (const QString& variable : ignored)
        m_log.warn(tag, u"ignored %1: not a plain http or https address"_s.arg(variable));
}

void NorvaneApp::continuePastUpdateNotice() {
    if (m_bypassVersionCheck)
        return;
    m_bypassVersionCheck = true;
    emit bypassVersionCheckChanged();
    reviewUpdateNotice();
}

bool NorvaneApp::showsUpdateNotice() const {
    return m_versionCheck.updateRequired() && !m_bypassVersionCheck;
}

void NorvaneApp::reviewUpdateNotice() {
    const bool shows = showsUpdateNotice();
    if (shows == m_showsUpdateNotice)
        return;
    m_showsUpdateNotice = shows;
    emit updateNoticeChanged();
}

void NorvaneApp::setUpdater(Updater* updater) {
    if (m_updater == updater)
        return;
    m_updater = updater;
    emit updaterChanged();
}

AppState& NorvaneApp::appState() {
    if (!m_appState)
        m_appState = std::make_unique<AppState>(m_log, &NetworkMonitor::shared());
    return *m_appState;
}

void NorvaneApp::requestQuit() {
    const AppState& state = appState();
    if (QuitAlert::isNeeded(state.screen(), state.upload().uploadInProgress,
                            state.upload().uploadPreparing)) {
        m_showQuitConfirmation = true;
        emit quitConfirmationChanged();
        return;
    }
    m_quitting = true;
    emit terminateRequested();
}

QuitAlert NorvaneApp::quitAlert() {
    const AppState& state = appState();
    return QuitAlert::make(state.screen(), state.upload().uploadInProgress, state.upload().uploadPreparing);
}

void NorvaneApp::confirmQuit() {
    m_showQuitConfirmation = false;
    emit quitConfirmationChanged();
    appState().pythonProcess().reset();
    m_quitting = true;
    emit terminateRequested();
}

void NorvaneApp::cancelQuit() {
    m_showQuitConfirmation = false;
    emit quitConfirmationChanged();
}

void NorvaneApp::windowAppeared() {
    if (m_crashScan)
        m_crashScan();
    if (appState().screen() != AppState::Screen::setup)
        return;
    Bootstrap::warmCacheInBackground(m_log);
    // A capture may start while we wait; the sweep then looks at the screen again and stays away.
    Bootstrap::afterWarmingTask(this, [this] { appState().runLaunchSweep(); });
}

void NorvaneApp::handleWake() {
    m_log.info(tag, u"system wake detected"_s);
    // The network needs a moment after a wake before a sweep can reach anything.
    Time::scheduler().post(wakeDelaySeconds, this, [this] {
        Bootstrap::warmCacheInBackground(m_log);
        appState().onSystemWake();
    });
}

void NorvaneApp::handleTermination() {
    if (m_terminated || !m_appState)
        return;
    m_terminated = true;
    const AppState::Screen screen = m_appState->screen();
    const bool captureRunning = screen == AppState::Screen::running || screen == AppState::Screen::finishing;
    m_log.info(tag, u"app quit capture_running=%1 screen=%2"_s.arg(captureRunning ? u"true"_s : u"false"_s,
                                                                   AppState::screenName(screen)));
    m_appState->pythonProcess().reset();
    m_appState->cancelUploadRunner();
}
