#include "MainWindow.h"

#include "BootstrapView.h"
#include "CapturePickerWindow.h"
#include "CelebrationView.h"
#include "DestructiveAlert.h"
#include "DiagnosticsView.h"
#include "FinishingView.h"
#include "ReportExport.h"
#include "ResultsView.h"
#include "RunningView.h"
#include "SettingsView.h"
#include "SetupView.h"
#include "UpdateBannerView.h"
#include "UpdateRequiredView.h"

#include "core/NorvaneApp.h"
#include "core/QuitAlert.h"
#include "platform/Platform.h"
#include "screens/CaptureReportModel.h"
#include "screens/CheckForUpdatesViewModel.h"
#include "screens/SetupScreen.h"
#include "services/VersionCheck.h"

#include <QAction>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QMenuBar>
#include <QMessageBox>
#include <QStackedWidget>
#include <QUrl>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

MainWindow::MainWindow(NorvaneApp& app, QWidget* parent)
    : QMainWindow(parent)
    , m_app(app) {
    setWindowTitle(u"Norvane"_s);
    setMinimumSize(minimumWidth, minimumHeight);
    resize(defaultWidth, defaultHeight);

    m_content = new QStackedWidget(this);
    m_screens = new QStackedWidget(m_content);
    m_screens->setAccessibleName(u"Norvane"_s);
    m_content->addWidget(m_screens);
    setCentralWidget(m_content);
    m_checkForUpdates = new CheckForUpdatesViewModel(m_app.updater(), this);
    connect(&m_app, &NorvaneApp::updaterChanged, this,
            [this] { m_checkForUpdates->setUpdater(m_app.updater()); });
    buildMenus();

    AppState& state = m_app.appState();
    connect(&state, &AppState::screenChanged, this, [this, &state] { showScreen(state.screen()); });
    connect(&m_app, &NorvaneApp::quitConfirmationChanged, this, &MainWindow::updateQuitAlert);
    connect(this, &MainWindow::captureHistoryRequested, this, &MainWindow::openCaptureHistory);
    connect(this, &MainWindow::settingsRequested, this, &MainWindow::openSettings);
    showScreen(state.screen());

    const VersionCheck& gate = m_app.versionCheck();
    connect(&m_app, &NorvaneApp::updateNoticeChanged, this, &MainWindow::refreshUpdateGate);
    connect(&gate, &VersionCheck::messageChanged, this, &MainWindow::refreshUpdateGate);
    connect(&gate, &VersionCheck::downloadUrlChanged, this, &MainWindow::refreshUpdateGate);
    refreshUpdateGate();
}

void MainWindow::buildMenus() {
    QMenu* fileMenu = menuBar()->addMenu(u"&Norvane"_s);
    QAction* checkForUpdates = fileMenu->addAction(CheckForUpdatesViewModel::title);
    checkForUpdates->setMenuRole(QAction::ApplicationSpecificRole);
    checkForUpdates->setEnabled(m_checkForUpdates->canCheckForUpdates());
    connect(m_checkForUpdates, &CheckForUpdatesViewModel::canCheckForUpdatesChanged, checkForUpdates,
            &QAction::setEnabled);
    connect(checkForUpdates, &QAction::triggered, m_checkForUpdates,
            &CheckForUpdatesViewModel::checkForUpdates);
    fileMenu->addSeparator();
    QAction* settings = fileMenu->addAction(u"Settings..."_s);
    // Spelled out rather than the platform's standard keys, which several Linux desktops leave empty.
    settings->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    settings->setMenuRole(QAction::PreferencesRole);
    connect(settings, &QAction::triggered, this, &MainWindow::settingsRequested);
    m_exportReport = fileMenu->addAction(CaptureReportModel::exportText());
    m_exportReport->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_E));
    m_exportReport->setVisible(false);
    connect(m_exportReport, &QAction::triggered, this,
            [this] { ReportExport::start(m_app.appState(), this); });
    QAction* history = fileMenu->addAction(u"Test History"_s);
    // Not Control-Y: a text field takes that for redo, and the setup screen opens in one.
    history->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_H));
    connect(history, &QAction::triggered, this, &MainWindow::captureHistoryRequested);
    // The setup screen's own button answers to Control-Return; the entry shows the keys without taking
    // them, and starts the same way from the menu.
    m_startAction = fileMenu->addAction(SetupScreen::startButtonTitle);
    m_startAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return));
    m_startAction->setShortcutContext(Qt::WidgetShortcut);
    m_startAction->setEnabled(false);
    fileMenu->addSeparator();
    QAction* quit = fileMenu->addAction(u"Quit Norvane"_s);
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, &m_app, &NorvaneApp::requestQuit);

    QMenu* helpMenu = menuBar()->addMenu(u"&Help"_s);
    QAction* howItWorks = helpMenu->addAction(u"How It Works"_s);
    connect(howItWorks, &QAction::triggered, this,
            [] { QDesktopServices::openUrl(QUrl(Platform::siteUrl() + u"/docs/capability.html"_s)); });
    helpMenu->addSeparator();
    // Information, not a command: shown in the menu's secondary (disabled) colour.
    QAction* questions = helpMenu->addAction(u"Questions? Post to #quillon on Slack"_s);
    questions->setEnabled(false);
}

QWidget* MainWindow::makeScreen(AppState::Screen screen) {
    AppState& state = m_app.appState();
    switch (screen) {
    case AppState::Screen::setup: {
        auto* view = new SetupView(state);
        connect(view, &SetupView::historyRequested, this, &MainWindow::captureHistoryRequested);
        SetupScreen& setup = view->model();
        // The screen may still speak while it goes, once the capture it started has taken its place.
        auto followStart = [this, &setup, &state] {
            m_startAction->setEnabled(state.screen() == AppState::Screen::setup && !setup.needsContext());
        };
        connect(&setup, &SetupScreen::changed, m_startAction, followStart);
        connect(m_startAction, &QAction::triggered, &setup, &SetupScreen::start);
        followStart();
        QWidget* slot = view->updateBannerSlot();
        slot->layout()->addWidget(new UpdateBannerView(UpdateBanner::Place::setup, m_app.versionCheck(),
                                                       m_app.updateLogger(), state, slot));
        return view;
    }
    case AppState::Screen::running:
        return new RunningView(state);
    case AppState::Screen::finishing:
        return new FinishingView(state);
    case AppState::Screen::celebration:
        return new CelebrationView(state);
    case AppState::Screen::results: {
        auto* view = new ResultsView(state);
        connect(view, &ResultsView::historyRequested, this, &MainWindow::captureHistoryRequested);
        QVBoxLayout* slot = view->bannerSlot();
        slot->addWidget(new UpdateBannerView(UpdateBanner::Place::results, m_app.versionCheck(),
                                             m_app.updateLogger(), state, slot->parentWidget()));
        return view;
    }
    case AppState::Screen::diagnostics:
        return new DiagnosticsView(state);
    case AppState::Screen::bootstrapping:
        break;
    }
    return new BootstrapView(state);
}

void MainWindow::showScreen(AppState::Screen screen) {
    m_exportReport->setVisible(screen == AppState::Screen::results);
    // A screen keeps nothing of its own across a transition, so each visit builds it afresh.
    QWidget* old = m_screens->currentWidget();
    m_startAction->setEnabled(false);
    QWidget* page = makeScreen(screen);
    page->setObjectName(AppState::screenName(screen));
    m_screens->addWidget(page);
    m_screens->setCurrentWidget(page);
    if (old) {
        m_screens->removeWidget(old);
        old->deleteLater();
    }
}

void MainWindow::showUpdateGate(QWidget* notice) {
    removeUpdateGate();
    m_updateGate = notice;
    m_content->addWidget(notice);
    m_content->setCurrentWidget(notice);
}

void MainWindow::removeUpdateGate() {
    if (!m_updateGate)
        return;
    m_content->removeWidget(m_updateGate);
    m_updateGate->deleteLater();
    m_updateGate = nullptr;
    m_content->setCurrentWidget(m_screens);
}

void MainWindow::refreshUpdateGate() {
    if (!m_app.showsUpdateNotice()) {
        removeUpdateGate();
        return;
    }
    const VersionCheck& gate = m_app.versionCheck();
    if (auto* notice = qobject_cast<UpdateRequiredView*>(m_updateGate.data())) {
        notice->setMessage(gate.message());
        notice->setDownloadUrl(gate.downloadUrl());
        return;
    }
    // Quit goes the way of "Quit Norvane": a capture running behind the notice is asked about first,
    // and the termination step ends every child either way.
    showUpdateGate(new UpdateRequiredView(
        gate.message(), gate.downloadUrl(), [this] { m_app.continuePastUpdateNotice(); },
        [this] { m_app.requestQuit(); }));
}

bool MainWindow::isUpdateGateShown() const {
    return m_updateGate && m_content->currentWidget() == m_updateGate;
}

CapturePickerWindow* MainWindow::openCaptureHistory() {
    return CapturePickerWindow::openFor(m_app.appState(), this);
}

SettingsView* MainWindow::openSettings() {
    // One settings window for the program's life: it reads the settings afresh each time it shows.
    if (!m_settings) {
        m_settings = new SettingsView(this);
        m_settings->setAttribute(Qt::WA_DeleteOnClose, false);
    }
    m_settings->show();
    m_settings->raise();
    m_settings->activateWindow();
    return m_settings;
}

QString MainWindow::currentScreenName() const {
    const QWidget* current = m_screens->currentWidget();
    return current ? current->objectName() : QString();
}

QMessageBox* MainWindow::quitAlert() const {
    return m_quitAlert.data();
}

void MainWindow::updateQuitAlert() {
    if (!m_app.showQuitConfirmation()) {
        if (m_quitAlert)
            m_quitAlert->close();
        return;
    }
    if (m_quitAlert)
        return;
    const QuitAlert alert = m_app.quitAlert();
    QMessageBox* box =
        DestructiveAlert::make(this, alert.title, alert.message, alert.destructiveButton, alert.cancelButton);
    connect(box, &QMessageBox::finished, this, [this, box] {
        // The box may have been closed by the program when the question went away by itself.
        if (!m_app.showQuitConfirmation())
            return;
        if (DestructiveAlert::wasConfirmed(*box))
            m_app.confirmQuit();
        else
            m_app.cancelQuit();
    });
    m_quitAlert = box;
    box->open();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // Closing the window is quitting: the same question as "Quit Norvane" while something would be lost,
    // and the window stays while it is asked. A quit already decided closes it without a word.
    if (m_app.isQuitting()) {
        event->accept();
        return;
    }
    m_app.requestQuit();
    if (m_app.showQuitConfirmation())
        event->ignore();
    else
        event->accept();
}
