#pragma once

#include "core/AppState.h"

#include <QHash>
#include <QMainWindow>
#include <QPointer>

class CapturePickerWindow;
class QAction;
class CheckForUpdatesViewModel;
class NorvaneApp;
class SettingsView;
class QAction;
class QMessageBox;
class QStackedWidget;

// The one main window. It shows exactly one screen at a time, the one AppState names, unless the update
// notice takes its place, and carries the program's menus and the quit confirmation.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int defaultWidth = 700;
    static constexpr int defaultHeight = 800;
    static constexpr int minimumWidth = 600;
    static constexpr int minimumHeight = 450;

    explicit MainWindow(NorvaneApp& app, QWidget* parent = nullptr);

    // The name of what the window shows now ("setup", "running", …), for the tour's file names.
    QString currentScreenName() const;
    // A new window "Test History", beside any already open.
    CapturePickerWindow* openCaptureHistory();
    // The settings window, shown and raised.
    SettingsView* openSettings();
    // The quit confirmation while it is up.
    QMessageBox* quitAlert() const;

    // A notice that takes the window's content over, as a required update does; the screens go on behind
    // it and come back when it is taken away. The window owns the notice.
    void showUpdateGate(QWidget* notice);
    void removeUpdateGate();
    bool isUpdateGateShown() const;
    QWidget* updateGate() const { return m_updateGate; }

signals:
    // "Test History" on the setup screen, "History" on the results screen or the menu: a new window
    // "Test History" opens.
    void captureHistoryRequested();
    // "Settings..." in the menu: the settings window opens.
    void settingsRequested();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildMenus();
    void showScreen(AppState::Screen screen);
    QWidget* makeScreen(AppState::Screen screen);
    void updateQuitAlert();
    // The content rule: the update notice while the build is below the minimum and the user hasn't
    // gone on past it, otherwise the screen.
    void refreshUpdateGate();

    NorvaneApp& m_app;
    QStackedWidget* m_content = nullptr; // the screens, or the update gate over them
    QStackedWidget* m_screens = nullptr;
    QPointer<QWidget> m_updateGate;
    QHash<AppState::Screen, QWidget*> m_pages;
    QPointer<QMessageBox> m_quitAlert;
    QPointer<SettingsView> m_settings;
    QAction* m_exportReport = nullptr;                     // in the menu while results show
    CheckForUpdatesViewModel* m_checkForUpdates = nullptr; // what "Check for Updates…" follows and calls
    QAction* m_startAction = nullptr;                      // "Start Monitoring", while the setup screen shows
};
