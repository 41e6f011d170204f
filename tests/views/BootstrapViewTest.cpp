#include "views/BootstrapView.h"

#include "core/NorvaneApp.h"
#include "screens/BootstrapScreen.h"
#include "support/BootstrapSandbox.h"
#include "support/TabWalk.h"
#include "views/MainWindow.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using Screen = AppState::Screen;

class BootstrapViewTest : public BootstrapScreenFixture {
protected:
    static void waitForRun(BootstrapView& view, const std::function<void()>& action) {
        BootstrapScreenFixture::waitForRun(view.screen().bootstrap(), action);
        QApplication::processEvents();
    }

    static void click(QPushButton* button) {
        ASSERT_TRUE(button->isVisible()) << button->text().toStdString();
        QTest::mouseClick(button, Qt::LeftButton);
    }
};

TEST_F(BootstrapViewTest, OpeningStartsTheInstallAndShowsItsProgressUnderTheName) {
    BootstrapView view(*state);
    view.resize(700, 800);
    QSignalSpy finished(&view.screen().bootstrap(), &Bootstrap::runFinished);
    // With uv there the run is installing the dependencies as soon as the screen opens; the child's end
    // can't come before the event loop runs again.
    view.show();
    EXPECT_EQ(view.progressLabel()->text(), u"Installing Python and dependencies (2 of 2)..."_s);
    EXPECT_TRUE(view.progressLabel()->isVisible());
    EXPECT_TRUE(view.hintLabel()->isVisible());
    EXPECT_EQ(view.hintLabel()->text(), u"This may take a minute on first launch."_s);
    EXPECT_FALSE(view.readyIcon()->isVisible());
    EXPECT_FALSE(view.retryButton()->isVisible());
    const QList<QLabel*> labels = view.findChildren<QLabel*>();
    QStringList shown;
    for (const QLabel* label : labels) {
        if (label->isVisible() && !label->text().isEmpty())
            shown.append(label->text());
    }
    EXPECT_TRUE(shown.contains(u"Norvane"_s));
    EXPECT_TRUE(shown.contains(u"First-time setup requires an internet connection."_s));
    EXPECT_TRUE(finished.wait(60'000));
}

TEST_F(BootstrapViewTest, InstallThatEndsReadyMovesTheProgramToSetup) {
    BootstrapView view(*state);
    waitForRun(view, [&view] { view.show(); });
    EXPECT_EQ(state->screen(), Screen::setup);
    EXPECT_TRUE(view.readyIcon()->isVisible()) << "the green check, until the window swaps the screen";
    EXPECT_FALSE(view.progressLabel()->isVisible());
}

TEST_F(BootstrapViewTest, FailureShowsTheSentenceDetailsCopyAndRetryThroughClicks) {
    env.set("NORVANE_SIM_BOOTSTRAP", "stderr:deps-no-solution");
    BootstrapView view(*state);
    view.resize(700, 800);
    waitForRun(view, [&view] { view.show(); });
    EXPECT_EQ(state->screen(), Screen::bootstrapping);
    EXPECT_EQ(view.failureLabel()->text(), u"Package dependency conflict. See details below."_s);
    EXPECT_TRUE(view.retryButton()->isVisible());
    EXPECT_EQ(view.retryButton()->text(), u"Retry"_s);
    EXPECT_EQ(view.detailsButton()->text(), u"Show Details"_s);
    EXPECT_FALSE(view.detailPanel()->isVisible());

    click(view.detailsButton());
    EXPECT_EQ(view.detailsButton()->text(), u"Hide Details"_s);
    ASSERT_TRUE(view.detailPanel()->isVisible());
    EXPECT_TRUE(view.detailPanel()->toPlainText().contains(u"No solution found"_s));
    EXPECT_TRUE(view.detailPanel()->isReadOnly());
    EXPECT_TRUE(view.detailPanel()->textInteractionFlags() & Qt::TextSelectableByMouse);
    EXPECT_EQ(view.detailPanel()->font().pointSize(), 11);
    EXPECT_TRUE(view.detailPanel()->font().fixedPitch() ||
                QFontInfo(view.detailPanel()->font()).fixedPitch());
    EXPECT_EQ(view.copyButton()->text(), u"Copy to Clipboard"_s);

    QGuiApplication::clipboard()->setText(u"something else"_s);
    click(view.copyButton());
    EXPECT_EQ(QGuiApplication::clipboard()->text(),
              view.screen().bootstrap().diagnosticDetail().value_or(QString()));
    EXPECT_EQ(view.copyButton()->text(), u"Copied"_s);

    click(view.detailsButton());
    EXPECT_EQ(view.detailsButton()->text(), u"Show Details"_s);
    EXPECT_FALSE(view.detailPanel()->isVisible());

    env.unset("NORVANE_SIM_BOOTSTRAP");
    waitForRun(view, [&view] { click(view.retryButton()); });
    EXPECT_TRUE(view.readyIcon()->isVisible());
    EXPECT_FALSE(view.retryButton()->isVisible());
    EXPECT_EQ(state->screen(), Screen::bootstrapping) << "a retry never changes the screen";
    EXPECT_EQ(view.copyButton()->text(), u"Copied"_s) << "copied stays for the life of the screen";
}

TEST_F(BootstrapViewTest, FailureWithoutDetailShowsNoDetailsButton) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    installerThatInstallsNothing();

    BootstrapView view(*state);
    waitForRun(view, [&view] { view.show(); });
    EXPECT_EQ(view.failureLabel()->text(),
              u"uv was installed but could not be found. Try restarting the app."_s);
    EXPECT_TRUE(view.retryButton()->isVisible());
    EXPECT_FALSE(view.detailsButton()->isVisible());
}

TEST_F(BootstrapViewTest, MainWindowWithoutUvShowsTheBootstrapView) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    QFile::remove(home.path() + u"/.local/bin/uv"_s);
    NorvaneApp app(log);
    MainWindow window(app);
    EXPECT_EQ(window.currentScreenName(), u"bootstrapping"_s);
    EXPECT_NE(window.findChild<BootstrapView*>(), nullptr);
}

TEST_F(BootstrapViewTest, FailureEveryControlByTabWithANameInBothSchemes) {
    env.set("NORVANE_SIM_BOOTSTRAP", "stderr:deps-no-solution");
    BootstrapView view(*state);
    view.resize(700, 800);
    waitForRun(view, [&view] { view.show(); });
    ASSERT_TRUE(view.retryButton()->isVisible());
    click(view.detailsButton());
    ASSERT_TRUE(view.detailPanel()->isVisible());
    const QList<QWidget*> stops = TabWalk::expectInBothSchemes(view);
    EXPECT_TRUE(stops.contains(view.retryButton()));
    EXPECT_TRUE(stops.contains(view.copyButton()));

    // Return on the focused "Retry" runs the install again.
    env.unset("NORVANE_SIM_BOOTSTRAP");
    view.retryButton()->setFocus(Qt::TabFocusReason);
    waitForRun(view, [&view] { QTest::keyClick(view.windowHandle(), Qt::Key_Space); });
    EXPECT_TRUE(view.readyIcon()->isVisible());
}
