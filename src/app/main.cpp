#include "BuildInfo.h"
#include "LatenessProbe.h"
#include "core/AppState.h"
#include "core/NorvaneApp.h"
#include "platform/CrashHandler.h"
#include "services/AppcastUpdater.h"
#include "services/CrashReportUploader.h"
#include "services/FileLogger.h"
#include "services/UpdateLogger.h"
#include "views/MainWindow.h"
#include "views/Theme.h"

#include <QApplication>
#include <QDesktopServices>
#include <QIcon>
#include <QMetaEnum>

int main(int argc, char* argv[]) {
    CrashHandler::install(u"norvane");
    qSetMessagePattern(QStringLiteral("[norvane] %{message}"));
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Norvane"));
    QApplication::setApplicationName(QStringLiteral("Norvane"));
    QApplication::setApplicationDisplayName(QStringLiteral("Norvane"));
    // The desktop matches our windows to the installed entry by this name, and takes its icon from there.
    const QString appId = QString::fromLatin1(BuildInfo::appId);
    QGuiApplication::setDesktopFileName(appId);
    QApplication::setWindowIcon(
        QIcon::fromTheme(appId, QIcon(QStringLiteral(":/norvane/app/") + appId + QStringLiteral(".svg"))));
    Theme::follow(app);
    LatenessProbe latenessProbe;

    NorvaneApp::logSettingsWriteFailures();
    NorvaneApp norvane(FileLogger::shared());
    // The updater looks for a newer release once at launch; its answers reach the banners through the
    // shared update listener, and "Check for Updates…" sends the user to the download page.
    AppcastUpdater updater(UpdateLogger::shared());
    updater.setUrlOpener([](const QUrl& url) { QDesktopServices::openUrl(url); });
    norvane.setUpdater(&updater);
    updater.start();
    norvane.writeLaunchLines();
    AppState& state = norvane.appState();
    // A crash report names the screen the program was on; moc's names live as long as the program.
    const auto noteScreen = [&state] {
        CrashHandler::noteScreen(QMetaEnum::fromType<AppState::Screen>().valueToKey(int(state.screen())));
    };
    noteScreen();
    QObject::connect(&state, &AppState::screenChanged, noteScreen);

    // Reports of an earlier crash go out in the background, whatever screen the window opens on; an
    // update about to be installed sends them first, and a failed one is told through the same channel.
    const auto crashScan = [] { CrashReportUploader::shared().scanAndUpload(); };
    norvane.setCrashScan(crashScan);
    UpdateLogger::shared().setCrashScan(crashScan);
    UpdateLogger::shared().setEventSender([](const QString& type, const QJsonObject& details) {
        CrashReportUploader::shared().sendEvent(type, details);
    });

    MainWindow window(norvane);
    window.show();
    // Once the window is on screen, not before: the launch sweep may take the network's attention.
    QMetaObject::invokeMethod(&norvane, &NorvaneApp::windowAppeared, Qt::QueuedConnection);
    const int status = app.exec();
    norvane.handleTermination();
    FileLogger::shared().waitForIdle();
    return status;
}
