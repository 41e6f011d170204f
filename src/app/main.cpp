#include "core/AppState.h"
#include "core/NorvaneApp.h"
#include "services/FileLogger.h"
#include "views/MainWindow.h"
#include "views/Theme.h"

#include <QApplication>

int main(int argc, char* argv[]) {
    qSetMessagePattern(QStringLiteral("[norvane] %{message}"));
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Norvane"));
    QApplication::setApplicationName(QStringLiteral("Norvane"));
    QApplication::setApplicationDisplayName(QStringLiteral("Norvane"));
    Theme::follow(app);

    NorvaneApp norvane(FileLogger::shared());
    norvane.writeLaunchLines();
    norvane.appState();

    MainWindow window(norvane);
    window.show();
    // Once the window is on screen, not before: the launch sweep may take the network's attention.
    QMetaObject::invokeMethod(&norvane, &NorvaneApp::windowAppeared, Qt::QueuedConnection);
    const int status = app.exec();
    norvane.handleTermination();
    FileLogger::shared().waitForIdle();
    return status;
}
