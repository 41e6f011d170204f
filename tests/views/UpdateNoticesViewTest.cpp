#include "base/VirtualClock.h"
#include "capture/Contrast.h"
#include "core/AppState.h"
#include "core/NorvaneApp.h"
#include "platform/Platform.h"
#include "screens/CheckForUpdatesViewModel.h"
#include "services/FileLogger.h"
#include "services/UpdateLogger.h"
#include "support/AlertInput.h"
#include "support/AppStateTestAccess.h"
#include "support/NetworkFakes.h"
#include "support/TabWalk.h"
#include "support/TempHome.h"
#include "support/UpdateStandIns.h"
#include "views/MainWindow.h"
#include "views/ResultsView.h"
#include "views/SetupView.h"
#include "views/Theme.h"
#include "views/UpdateBannerView.h"
#include "views/UpdateRequiredView.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QFrame>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// Stands in for the browser: every address the program opens lands here instead.
class OpenedUrls : public QObject {
    Q_OBJECT
public:
    OpenedUrls() {
        for (const QString& scheme : schemes)
            QDesktopServices::setUrlHandler(scheme, this, "open");
    }
    ~OpenedUrls() override {
        for (const QString& scheme : schemes)
            QDesktopServices::unsetUrlHandler(scheme);
    }

    QList<QUrl> urls;

public slots:
    void open(const QUrl& url) { urls.append(url); }

private:
    const QStringList schemes{u"http"_s, u"https"_s, u"file"_s, u"mailto"_s};
};

const QString downloadPage = u"https://norvane.invalid/download"_s;

class UpdateNoticesViewTest : public ::testing::Test {
protected:
    void SetUp() override { home.installFakeUv(); }
    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }

    // The program for running version 1.0 under the given rules, with its window shown.
    void launch(const QByteArray& rules, const QString& remoteUrl = QString()) {
        gate = gateOnRules(rulesDir.path(), u"1.0"_s, rules, log, remoteUrl);
        app = std::make_unique<NorvaneApp>(
            log, NorvaneApp::Services{[this]() -> VersionCheck& { return *gate; },
                                      [this]() -> UpdateLogger& { return listener; }});
        window = std::make_unique<MainWindow>(*app);
        window->show();
        QApplication::processEvents();
    }
    void launchBelowMinimum(const QString& downloadUrl = downloadPage) {
        launch(u"{\"minimum\":\"2.0\",\"message\":\"This version can no longer upload captures.\","
               u"\"download_url\":\"%1\"}"_s.arg(downloadUrl)
                   .toUtf8());
    }
    void launchUpToDate() { launch(R"({"minimum":"0.5"})"); }

    UpdateRequiredView* notice() const { return qobject_cast<UpdateRequiredView*>(window->updateGate()); }
    bool noticeShown() const { return window->isUpdateGateShown() && notice() && notice()->isVisible(); }

    // The banner of the screen on show.
    UpdateBannerView* banner() const {
        for (UpdateBannerView* view : window->findChildren<UpdateBannerView*>()) {
            if (view->window() == window.get() && view->parentWidget()->isVisible())
                return view;
        }
        return nullptr;
    }

    void click(QAbstractButton* button) {
        ASSERT_NE(button, nullptr);
        ASSERT_TRUE(button->isVisible()) << button->text().toStdString();
        QTest::mouseClick(button, Qt::LeftButton);
        QApplication::processEvents();
    }

    // The first entry of the program's menu, at the top of the menu bar.
    QAction* checkForUpdatesItem() const {
        QMenu* menu = window->menuBar()->actions().first()->menu();
        return menu && !menu->actions().isEmpty() ? menu->actions().first() : nullptr;
    }

    // Opens the program's menu from the menu bar and clicks the entry, with the mouse.
    void chooseFromTheMenu(QAction* item) {
        QMenuBar* bar = window->menuBar();
        QMenu* menu = bar->actions().first()->menu();
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->actionGeometry(bar->actions().first()).center());
        ASSERT_TRUE(menu->isVisible());
        QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(item).center());
        QApplication::processEvents();
        // A disabled entry leaves the menu open.
        menu->close();
    }

    void findUpdate(Updater* updater) { listener.didFindValidUpdate(updater, {u"2.1"_s, u"210"_s}); }

    void showResults() {
        AppStateTestAccess::setScreen(app->appState(), AppState::Screen::results);
        QApplication::processEvents();
    }

    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    QTemporaryDir rulesDir;
    FileLogger log{logDir.path()};
    UpdateLogger listener{log};
    StandInUpdater updater;
    OpenedUrls browser;
    std::unique_ptr<VersionCheck> gate;
    std::unique_ptr<NorvaneApp> app;
    std::unique_ptr<MainWindow> window;
};

// --- The full-window notice -----------------------------------------------------------------------

TEST_F(UpdateNoticesViewTest, BelowTheMinimumTheNoticeTakesTheWindowWithItsWords) {
    launchBelowMinimum();
    ASSERT_TRUE(noticeShown());
    EXPECT_FALSE(window->findChild<SetupView*>()->isVisible()) << "the setup screen waits behind";

    QStringList texts;
    for (QLabel* label : notice()->findChildren<QLabel*>()) {
        if (label->isVisible() && !label->text().isEmpty())
            texts.append(label->text());
    }
    EXPECT_EQ(texts, (QStringList{u"Update Recommended"_s, u"This version can no longer upload captures."_s,
                                  u"Current version: "_s + Platform::appVersion()}));
    EXPECT_EQ(notice()->downloadButton()->text(), u"Download Update"_s);
    EXPECT_EQ(notice()->downloadButton()->width(), 180);
    EXPECT_EQ(notice()->continueButton()->text(), u"Continue Anyway"_s);
    EXPECT_EQ(notice()->quitButton()->text(), u"Quit"_s);
    auto* message = notice()->findChild<QLabel*>(u"updateMessage"_s);
    EXPECT_LE(message->width(), 440);
    // Top to bottom in the described order.
    const auto y = [this](QWidget* widget) { return widget->mapTo(notice(), QPoint()).y(); };
    EXPECT_LT(y(message), y(notice()->downloadButton()));
    EXPECT_LT(y(notice()->downloadButton()), y(notice()->continueButton()));
    EXPECT_LT(y(notice()->continueButton()), y(notice()->quitButton()));
}

TEST_F(UpdateNoticesViewTest, DownloadOpensTheAddressInTheBrowser) {
    launchBelowMinimum();
    click(notice()->downloadButton());
    EXPECT_EQ(browser.urls, QList<QUrl>{QUrl(downloadPage)});
    EXPECT_TRUE(noticeShown()) << "downloading doesn't dismiss the notice";
}

TEST_F(UpdateNoticesViewTest, DownloadOfTextThatIsNoAddressDoesNothing) {
    launchBelowMinimum(u"our web site"_s);
    click(notice()->downloadButton());
    EXPECT_TRUE(browser.urls.isEmpty());
    EXPECT_TRUE(noticeShown());
}

TEST_F(UpdateNoticesViewTest, ContinueAnywayShowsTheScreenAndTheOrangeBannerStaysForTheRun) {
    launchBelowMinimum();
    click(notice()->continueButton());
    EXPECT_FALSE(window->isUpdateGateShown());
    EXPECT_TRUE(app->bypassVersionCheck());
    EXPECT_EQ(window->currentScreenName(), u"setup"_s);
    ASSERT_NE(banner(), nullptr);
    EXPECT_TRUE(banner()->isVisible());
    EXPECT_EQ(banner()->textLabel()->text(), u"An important update is available"_s);
    EXPECT_EQ(banner()->button()->text(), u"Download Update"_s);

    // A later screen, and back: the orange banner is there each time, and the notice never returns.
    showResults();
    ASSERT_NE(banner(), nullptr);
    EXPECT_TRUE(banner()->isVisible());
    EXPECT_EQ(banner()->textLabel()->text(), u"An important update is available"_s);
    app->appState().newCapture();
    QApplication::processEvents();
    EXPECT_EQ(window->currentScreenName(), u"setup"_s);
    ASSERT_NE(banner(), nullptr);
    EXPECT_TRUE(banner()->isVisible());
    EXPECT_FALSE(window->isUpdateGateShown());
}

TEST_F(UpdateNoticesViewTest, QuitWithNothingUnderWayEndsAtOnce) {
    launchBelowMinimum();
    QSignalSpy terminate(app.get(), &NorvaneApp::terminateRequested);
    click(notice()->quitButton());
    EXPECT_EQ(terminate.count(), 1);
    EXPECT_TRUE(app->isQuitting());
}

TEST_F(UpdateNoticesViewTest, QuitWithACaptureBehindTheNoticeAsksFirstAndStopsTheCapture) {
    launchBelowMinimum();
    AppState& state = app->appState();
    state.startReplay(CaptureConfig{});
    ASSERT_EQ(state.screen(), AppState::Screen::running);
    ASSERT_TRUE(noticeShown());
    QSignalSpy terminate(app.get(), &NorvaneApp::terminateRequested);

    click(notice()->quitButton());
    QMessageBox* alert = window->quitAlert();
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->windowTitle(), u"A test is running"_s);
    EXPECT_EQ(terminate.count(), 0);
    click(destructiveButton(*alert));
    EXPECT_EQ(terminate.count(), 1);
    EXPECT_TRUE(app->isQuitting());
}

TEST_F(UpdateNoticesViewTest, AMinimumRaisedWhileSetupIsUpBringsTheNoticeAtOnce) {
    LoopbackHttpServer site;
    site.answer(LoopbackHttpServer::response(200, "OK", R"({"minimum":"2.0","latest":"2.1"})"));
    launch(R"({"minimum":"0.5"})", site.url(u"/download/version.json"_s).toString());
    EXPECT_EQ(window->currentScreenName(), u"setup"_s);
    ASSERT_TRUE(QTest::qWaitFor([this] { return gate->updateRequired(); }, 10'000));
    EXPECT_TRUE(noticeShown()) << "no later than the gate closes";
    EXPECT_EQ(window->currentScreenName(), u"setup"_s) << "the screen goes on behind the notice";
}

// --- The banners ----------------------------------------------------------------------------------

TEST_F(UpdateNoticesViewTest, SetupBannerRows) {
    // Nothing to tell: no banner.
    launchUpToDate();
    ASSERT_NE(banner(), nullptr);
    EXPECT_FALSE(banner()->isVisible());

    // A version waits: the neutral banner, whose "Restart" asks the updater.
    findUpdate(&updater);
    QApplication::processEvents();
    EXPECT_TRUE(banner()->isVisible());
    EXPECT_EQ(banner()->textLabel()->text(), u"Version 2.1 is ready — restart anytime to update"_s);
    EXPECT_FALSE(banner()->captionLabel()->isVisible());
    EXPECT_EQ(banner()->button()->text(), u"Restart"_s);
    click(banner()->button());
    EXPECT_EQ(updater.checks, 1);
    EXPECT_TRUE(browser.urls.isEmpty());
}

TEST_F(UpdateNoticesViewTest, SetupOrangeBannerRows) {
    launchBelowMinimum();
    click(notice()->continueButton());
    // No version found yet: download.
    EXPECT_EQ(banner()->textLabel()->text(), u"An important update is available"_s);
    EXPECT_EQ(banner()->button()->text(), u"Download Update"_s);
    click(banner()->button());
    EXPECT_EQ(browser.urls, QList<QUrl>{QUrl(downloadPage)});

    // A version found: restart through the updater.
    findUpdate(&updater);
    QApplication::processEvents();
    EXPECT_EQ(banner()->textLabel()->text(), u"An important update is available"_s);
    EXPECT_EQ(banner()->button()->text(), u"Restart to Update"_s);
    EXPECT_FALSE(banner()->captionLabel()->isVisible());
    click(banner()->button());
    EXPECT_EQ(updater.checks, 1);
    EXPECT_EQ(browser.urls.size(), 1);
}

TEST_F(UpdateNoticesViewTest, ResultsBannerRows) {
    launchUpToDate();
    showResults();
    ASSERT_NE(banner(), nullptr);
    EXPECT_FALSE(banner()->isVisible());

    findUpdate(&updater);
    QApplication::processEvents();
    EXPECT_TRUE(banner()->isVisible());
    EXPECT_EQ(banner()->textLabel()->text(), u"Nice work! Version 2.1 is ready — restart to update"_s);
    EXPECT_EQ(banner()->button()->text(), u"Restart to Update"_s);
    EXPECT_FALSE(banner()->captionLabel()->isVisible()) << "the neutral banner has no upload caption";
    click(banner()->button());
    EXPECT_EQ(updater.checks, 1);
}

TEST_F(UpdateNoticesViewTest, ResultsOrangeBannerRowsWithAndWithoutTheUploadCaption) {
    launchBelowMinimum();
    click(notice()->continueButton());
    AppState& state = app->appState();
    showResults();
    ASSERT_FALSE(state.upload().uploadDone);
    EXPECT_EQ(banner()->textLabel()->text(), u"An important update is available"_s);
    EXPECT_EQ(banner()->textLabel()->font().weight(), QFont::Medium);
    EXPECT_EQ(banner()->button()->text(), u"Download Update"_s);
    EXPECT_TRUE(banner()->captionLabel()->isVisible());
    EXPECT_EQ(banner()->captionLabel()->text(), u"Upload will resume on next launch"_s);
    click(banner()->button());
    EXPECT_EQ(browser.urls, QList<QUrl>{QUrl(downloadPage)});

    findUpdate(&updater);
    QApplication::processEvents();
    EXPECT_EQ(banner()->textLabel()->text(), u"An important update (2.1) is available"_s);
    EXPECT_EQ(banner()->button()->text(), u"Restart to Update"_s);
    EXPECT_TRUE(banner()->captionLabel()->isVisible());
    click(banner()->button());
    EXPECT_EQ(updater.checks, 1);

    // The upload has ended: nothing is left to resume.
    AppStateTestAccess::holdIdleRunner(state);
    AppStateTestAccess::uploadCompleted(state, state.uploadGeneration(), 0);
    QApplication::processEvents();
    ASSERT_TRUE(state.upload().uploadDone);
    EXPECT_FALSE(banner()->captionLabel()->isVisible());
    EXPECT_EQ(banner()->textLabel()->text(), u"An important update (2.1) is available"_s);
}

TEST_F(UpdateNoticesViewTest, RestartDoesNothingWhileNoUpdaterIsSet) {
    launchUpToDate();
    findUpdate(nullptr);
    QApplication::processEvents();
    ASSERT_EQ(banner()->button()->text(), u"Restart"_s);
    click(banner()->button());
    EXPECT_TRUE(browser.urls.isEmpty());
    EXPECT_EQ(updater.checks, 0);
    EXPECT_TRUE(banner()->isVisible());
}

TEST_F(UpdateNoticesViewTest, TheOrangeBannerReadsInEitherScheme) {
    launchBelowMinimum();
    click(notice()->continueButton());
    showResults();
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        const QImage drawn = banner()->frame()->grab().toImage();
        // Inside the rounded corner, left of the text: the fill itself.
        const QColor fill = drawn.pixelColor(drawn.width() / 2, 2);
        const QColor caption = banner()->captionLabel()->palette().color(QPalette::WindowText);
        EXPECT_EQ(fill.rgb(), Theme::bannerOrange().rgb()) << Theme::name(scheme);
        EXPECT_GE(contrastRatio(Qt::white, fill), Contrast::textMinimum) << Theme::name(scheme);
        EXPECT_EQ(caption, QColor(255, 255, 255, 204)) << Theme::name(scheme);
        EXPECT_GE(contrastRatio(Theme::seenOver(caption, fill), fill), Contrast::textMinimum)
            << Theme::name(scheme);
    }
}

// --- The menu -------------------------------------------------------------------------------------

TEST_F(UpdateNoticesViewTest, CheckForUpdatesFollowsTheUpdaterAndAsksIt) {
    launchUpToDate();
    QAction* item = checkForUpdatesItem();
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->text(), u"Check for Updates\u2026"_s);
    EXPECT_FALSE(item->isEnabled()) << "no updater yet";

    app->setUpdater(&updater);
    EXPECT_TRUE(item->isEnabled());
    updater.setCanCheck(false);
    EXPECT_FALSE(item->isEnabled());
    updater.setCanCheck(true);
    EXPECT_TRUE(item->isEnabled());

    chooseFromTheMenu(item);
    EXPECT_EQ(updater.checks, 1);
}

TEST_F(UpdateNoticesViewTest, CheckForUpdatesWhileDisabledAsksNothing) {
    launchUpToDate();
    updater.setCanCheck(false);
    app->setUpdater(&updater);
    QAction* item = checkForUpdatesItem();
    ASSERT_FALSE(item->isEnabled());
    chooseFromTheMenu(item);
    EXPECT_EQ(updater.checks, 0);
}

} // namespace

#include "UpdateNoticesViewTest.moc"

// --- By keyboard ----------------------------------------------------------------------------------

TEST_F(UpdateNoticesViewTest, NoticeAndOrangeBannersEveryControlByTabWithANameAndContinueByKeyboard) {
    launchBelowMinimum();
    ASSERT_TRUE(noticeShown());
    const QList<QWidget*> stops = TabWalk::expectInBothSchemes(*window);
    EXPECT_TRUE(stops.contains(notice()->downloadButton()));
    EXPECT_TRUE(stops.contains(notice()->continueButton()));
    EXPECT_TRUE(stops.contains(notice()->quitButton()));

    for (int press = 0; press < 10 && QApplication::focusWidget() != notice()->continueButton(); ++press)
        QTest::keyClick(window->windowHandle(), Qt::Key_Tab);
    ASSERT_EQ(QApplication::focusWidget(), notice()->continueButton());
    QTest::keyClick(window->windowHandle(), Qt::Key_Space);
    QApplication::processEvents();
    EXPECT_FALSE(window->isUpdateGateShown());

    ASSERT_NE(banner(), nullptr);
    EXPECT_TRUE(TabWalk::expectInBothSchemes(*window).contains(banner()->button()));
    showResults();
    ASSERT_NE(banner(), nullptr);
    EXPECT_TRUE(TabWalk::expectInBothSchemes(*window).contains(banner()->button()));
}

TEST_F(UpdateNoticesViewTest, NeutralBannerReachedByTabWithAName) {
    launchUpToDate();
    findUpdate(&updater);
    QApplication::processEvents();
    ASSERT_TRUE(banner()->isVisible());
    EXPECT_TRUE(TabWalk::expectInBothSchemes(*window).contains(banner()->button()));
}
