#include "views/MainWindow.h"

#include "base/VirtualClock.h"
#include "capture/CaptureLibraryModel.h"
#include "core/AppState.h"
#include "core/NorvaneApp.h"
#include "services/ConnectivityDiagnostics.h"
#include "services/FileLogger.h"
#include "support/AlertInput.h"
#include "support/AppStateTestAccess.h"
#include "support/TempHome.h"
#include "views/CapturePickerWindow.h"
#include "views/DiagnosticsView.h"
#include "views/SettingsView.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

class MainWindowTest : public ::testing::Test {
protected:
    void SetUp() override { home.installFakeUv(); }
    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }

    QAction* action(MainWindow& window, const QString& text) {
        const QList<QAction*> actions = window.menuBar()->findChildren<QAction*>();
        for (QAction* candidate : actions) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }

    static QPushButton* shownButton(MainWindow& window, const QString& text) {
        const QList<QPushButton*> buttons = window.findChildren<QPushButton*>();
        for (QPushButton* button : buttons) {
            if (button->text() == text && button->isVisible())
                return button;
        }
        return nullptr;
    }

    // Opens the menu that holds the entry from the menu bar, and chooses the entry, with the mouse.
    void chooseFromMenu(MainWindow& window, const QString& entry) {
        QAction* chosen = action(window, entry);
        ASSERT_NE(chosen, nullptr);
        QMenuBar* bar = window.menuBar();
        const QList<QAction*> menus = bar->actions();
        for (QAction* top : menus) {
            QMenu* menu = top->menu();
            if (!menu || !menu->actions().contains(chosen))
                continue;
            QTest::mouseClick(bar, Qt::LeftButton, {}, bar->actionGeometry(top).center());
            ASSERT_TRUE(menu->isVisible());
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(chosen).center());
            QApplication::processEvents();
            return;
        }
        FAIL() << "no menu holds " << qPrintable(entry);
    }

    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
};

TEST_F(MainWindowTest, OpensAtItsDefaultSizeWithTheProgramsTitle) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    QApplication::processEvents();
    EXPECT_EQ(window.windowTitle(), u"Norvane"_s);
    EXPECT_EQ(window.size(), QSize(700, 800));
    EXPECT_EQ(window.minimumSize(), QSize(600, 450));
}

TEST_F(MainWindowTest, CannotShrinkBelowItsMinimum) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    window.resize(300, 200);
    QApplication::processEvents();
    EXPECT_GE(window.width(), 600);
    EXPECT_GE(window.height(), 450);
}

TEST_F(MainWindowTest, ShowsTheScreenThatTheSessionNames) {
    NorvaneApp app(log);
    MainWindow window(app);
    EXPECT_EQ(window.currentScreenName(), u"setup"_s);
    app.appState().startReplay(CaptureConfig{});
    EXPECT_EQ(window.currentScreenName(), u"running"_s);
    AppStateTestAccess::setScreen(app.appState(), AppState::Screen::finishing);
    EXPECT_EQ(window.currentScreenName(), u"finishing"_s);
}

TEST_F(MainWindowTest, WithoutUvTheBootstrapScreenShows) {
    QFile::remove(home.path() + u"/.local/bin/uv"_s);
    NorvaneApp app(log);
    MainWindow window(app);
    EXPECT_EQ(window.currentScreenName(), u"bootstrapping"_s);
}

TEST_F(MainWindowTest, DiagnosticsScreenExplainsTheFailureAndLeadsBack) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    app.appState().enterDiagnostics(u"uv: boom"_s);
    ASSERT_EQ(window.currentScreenName(), u"diagnostics"_s);
    ASSERT_NE(window.findChild<DiagnosticsView*>(), nullptr);
    // The diagnosis runs on the simulator's ip and ping, which answer at once.
    QElapsedTimer waited;
    waited.start();
    while ((!app.appState().diagnostics() || !app.appState().diagnostics()->phase().isCompleted()) &&
           waited.elapsed() < 20'000)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    ASSERT_TRUE(app.appState().diagnostics()->phase().isCompleted());
    QApplication::processEvents();
    QPushButton* tryAgain = nullptr;
    for (QPushButton* button : window.findChildren<QPushButton*>()) {
        if (button->text() == u"Try Again"_s && button->isVisible())
            tryAgain = button;
    }
    ASSERT_NE(tryAgain, nullptr);
    tryAgain->click();
    EXPECT_EQ(window.currentScreenName(), u"setup"_s);
}

TEST_F(MainWindowTest, SettingsOpensOneSettingsWindowFromTheMenu) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    QAction* settings = action(window, u"Settings..."_s);
    ASSERT_NE(settings, nullptr);
    EXPECT_EQ(settings->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Comma));
    settings->trigger();
    QApplication::processEvents();
    SettingsView* shown = window.findChild<SettingsView*>();
    ASSERT_NE(shown, nullptr);
    EXPECT_TRUE(shown->isVisible());
    EXPECT_EQ(shown->windowTitle(), u"Settings"_s);
    shown->close();
    settings->trigger();
    QApplication::processEvents();
    EXPECT_EQ(window.findChildren<SettingsView*>().size(), 1);
    EXPECT_TRUE(shown->isVisible());
}

TEST_F(MainWindowTest, MenusCarryTheHelpLinkTheQuestionsLineAndQuit) {
    NorvaneApp app(log);
    MainWindow window(app);
    QAction* quit = action(window, u"Quit Norvane"_s);
    ASSERT_NE(quit, nullptr);
    EXPECT_EQ(quit->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
    EXPECT_NE(action(window, u"How It Works"_s), nullptr);
    QAction* questions = action(window, u"Questions? Post to #quillon on Slack"_s);
    ASSERT_NE(questions, nullptr);
    EXPECT_FALSE(questions->isEnabled());
}

TEST_F(MainWindowTest, QuitDuringACaptureAsksWithTheAlertsWordsAndCancelKeepsGoing) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    app.appState().startReplay(CaptureConfig{});
    action(window, u"Quit Norvane"_s)->trigger();
    QMessageBox* alert = window.quitAlert();
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->text(), u"<b>A test is running</b>"_s);
    EXPECT_EQ(alert->windowTitle(), u"A test is running"_s);
    EXPECT_EQ(alert->informativeText(),
              u"Stopping now will end the current capture. Results collected so far will be saved."_s);
    QStringList buttons;
    for (QAbstractButton* button : alert->buttons())
        buttons.append(button->text());
    buttons.sort();
    EXPECT_EQ(buttons, (QStringList{u"Cancel"_s, u"Stop and Quit"_s}));

    alert->escapeButton()->click();
    QApplication::processEvents();
    EXPECT_FALSE(app.showQuitConfirmation());
    EXPECT_EQ(window.currentScreenName(), u"running"_s);
}

TEST_F(MainWindowTest, ClosingTheWindowDuringACaptureAsksFirstAndKeepsTheWindow) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    app.appState().startReplay(CaptureConfig{});
    EXPECT_FALSE(window.close());
    EXPECT_TRUE(window.isVisible());
    ASSERT_NE(window.quitAlert(), nullptr);
    EXPECT_TRUE(app.showQuitConfirmation());
    window.quitAlert()->escapeButton()->click();
    QApplication::processEvents();
    EXPECT_FALSE(app.showQuitConfirmation());
}

TEST_F(MainWindowTest, UpdateGateCoversTheScreensWhileTheyGoOnBehindIt) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    auto* notice = new QLabel(u"update required"_s);
    window.showUpdateGate(notice);
    EXPECT_TRUE(window.isUpdateGateShown());
    EXPECT_TRUE(notice->isVisible());
    app.appState().startReplay(CaptureConfig{});
    EXPECT_EQ(window.currentScreenName(), u"running"_s);
    EXPECT_TRUE(window.isUpdateGateShown());
    window.removeUpdateGate();
    EXPECT_FALSE(window.isUpdateGateShown());
    EXPECT_EQ(window.currentScreenName(), u"running"_s);
}

TEST_F(MainWindowTest, EveryPressForTheHistoryOpensAnotherCentredWindowThatGoesWhenClosed) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    QApplication::processEvents();
    QPushButton* footer = shownButton(window, u"Test History"_s);
    ASSERT_NE(footer, nullptr);
    QTest::mouseClick(footer, Qt::LeftButton);
    QTest::mouseClick(footer, Qt::LeftButton);
    chooseFromMenu(window, u"Test History"_s);
    AppStateTestAccess::setScreen(app.appState(), AppState::Screen::results);
    QApplication::processEvents();
    QPushButton* header = shownButton(window, u"History"_s);
    ASSERT_NE(header, nullptr);
    QTest::mouseClick(header, Qt::LeftButton);
    QApplication::processEvents();

    const QList<CapturePickerWindow*> open = window.findChildren<CapturePickerWindow*>();
    ASSERT_EQ(open.size(), 4);
    const QRect screen = window.screen()->availableGeometry();
    QList<QPointer<CapturePickerWindow>> alive;
    for (CapturePickerWindow* history : open) {
        EXPECT_TRUE(history->isWindow());
        EXPECT_TRUE(history->isVisible());
        EXPECT_EQ(history->windowTitle(), u"Test History"_s);
        EXPECT_EQ(history->size(), QSize(800, 450));
        // The platform may nudge a window by its frame's width to keep the frame on the screen.
        EXPECT_NEAR(history->geometry().center().x(), screen.center().x(), 4);
        EXPECT_NEAR(history->geometry().center().y(), screen.center().y(), 4);
        alive.append(history);
    }
    // Each window closes on its own, and none lingers once closed.
    QTest::keyClick(alive.first(), Qt::Key_Escape);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(alive.first().isNull());
    for (qsizetype i = 1; i < alive.size(); ++i) {
        ASSERT_FALSE(alive[i].isNull());
        EXPECT_TRUE(alive[i]->isVisible());
        alive[i]->close();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(window.findChildren<CapturePickerWindow*>().isEmpty());
    CaptureLibraryModel::scanPool().waitForDone();
    QApplication::processEvents();
}

TEST_F(MainWindowTest, ReturnInTheQuitAlertNeverQuitsAndItsQuitButtonLooksDestructiveInBothSchemes) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    app.appState().startReplay(CaptureConfig{});
    for (const auto scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        SCOPED_TRACE(Theme::name(scheme));
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        // Return as the alert comes up, and Return after tabbing onto "Stop and Quit".
        for (const bool tabbed : {false, true}) {
            chooseFromMenu(window, u"Quit Norvane"_s);
            QMessageBox* alert = window.quitAlert();
            ASSERT_NE(alert, nullptr);
            pressReturnInDestructiveAlert(*alert, u"Stop and Quit"_s, tabbed);
            EXPECT_EQ(window.quitAlert(), nullptr);
            EXPECT_FALSE(app.showQuitConfirmation());
            EXPECT_FALSE(app.isQuitting());
            EXPECT_EQ(window.currentScreenName(), u"running"_s);
        }
    }
}

} // namespace
