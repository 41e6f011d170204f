// The first launch's screen: what it shows for each state of the install, its details and copy
// buttons, and the start task and retry, on real runs through the simulator's fake uv.

#include "screens/BootstrapScreen.h"

#include "support/BootstrapSandbox.h"

#include <gtest/gtest.h>

#include <functional>

using namespace Qt::StringLiterals;
using Block = BootstrapScreen::Block;
using Screen = AppState::Screen;

TEST(BootstrapScreenWords, FixedTextsAndSymbols) {
    EXPECT_EQ(BootstrapScreen::title(), u"Norvane"_s);
    EXPECT_EQ(BootstrapScreen::firstLaunchHint(), u"This may take a minute on first launch."_s);
    EXPECT_EQ(BootstrapScreen::footer(), u"First-time setup requires an internet connection."_s);
    EXPECT_EQ(BootstrapScreen::retryTitle(), u"Retry"_s);
    EXPECT_EQ(BootstrapScreen::appSymbol(), u"wifi"_s);
    EXPECT_EQ(BootstrapScreen::readySymbol(), u"checkmark.circle.fill"_s);
    EXPECT_EQ(BootstrapScreen::failureSymbol(), u"exclamationmark.triangle.fill"_s);
    EXPECT_EQ(BootstrapScreen::iconPointSize, 48);
    EXPECT_EQ(BootstrapScreen::detailPointSize, 11);
}

class BootstrapScreenTest : public BootstrapScreenFixture {
protected:
    static void waitForEnd(BootstrapScreen& screen, const std::function<void()>& action) {
        waitForRun(screen.bootstrap(), action);
    }
};

TEST_F(BootstrapScreenTest, StartsWithTheProgressOfTheCheck) {
    BootstrapScreen screen(*state, log);
    EXPECT_EQ(screen.block(), Block::progress);
    EXPECT_EQ(screen.progressText(), u"Checking setup..."_s);
    EXPECT_FALSE(screen.showsFirstLaunchHint());
    EXPECT_FALSE(screen.showsDetailsButton());
    EXPECT_FALSE(screen.showDetail());
    EXPECT_FALSE(screen.copied());
}

TEST_F(BootstrapScreenTest, HintShowsOnlyWhileTheDependenciesInstall) {
    BootstrapScreen screen(*state, log);
    QList<std::pair<Bootstrap::State::Kind, bool>> seen;
    QObject watcher;
    QObject::connect(&screen, &BootstrapScreen::changed, &watcher, [&seen, &screen] {
        seen.append({screen.bootstrap().state().kind, screen.showsFirstLaunchHint()});
    });
    waitForEnd(screen, [&screen] { screen.start(); });
    ASSERT_FALSE(seen.isEmpty());
    for (const auto& [kind, hint] : seen)
        EXPECT_EQ(hint, kind == Bootstrap::State::Kind::installingDeps);
    EXPECT_TRUE(seen.contains(std::pair{Bootstrap::State::Kind::installingDeps, true}));
}

TEST_F(BootstrapScreenTest, ReadyIsSeenOnlyBetweenTheEndOfTheRunAndTheMoveToSetup) {
    BootstrapScreen screen(*state, log);
    std::optional<Screen> screenWhenReady;
    QObject watcher;
    QObject::connect(&screen.bootstrap(), &Bootstrap::stateChanged, &watcher, [&] {
        if (screen.block() == Block::ready)
            screenWhenReady = state->screen();
    });
    waitForEnd(screen, [&screen] { screen.start(); });
    EXPECT_EQ(screenWhenReady, Screen::bootstrapping) << "the green check shows while the screen is still up";
    EXPECT_EQ(state->screen(), Screen::setup);
}

TEST_F(BootstrapScreenTest, StartThatFailsStaysAndShowsTheSentenceWithItsDetails) {
    env.set("NORVANE_SIM_BOOTSTRAP", "stderr:deps-no-solution");
    BootstrapScreen screen(*state, log);
    waitForEnd(screen, [&screen] { screen.start(); });
    EXPECT_EQ(state->screen(), Screen::bootstrapping);
    EXPECT_EQ(screen.block(), Block::failure);
    EXPECT_EQ(screen.failureMessage(), u"Package dependency conflict. See details below."_s);
    ASSERT_TRUE(screen.showsDetailsButton());
    EXPECT_EQ(screen.detailsButtonTitle(), u"Show Details"_s);
    EXPECT_FALSE(screen.showsDetailPanel());

    screen.toggleDetail();
    EXPECT_EQ(screen.detailsButtonTitle(), u"Hide Details"_s);
    EXPECT_TRUE(screen.showsDetailPanel());
    EXPECT_TRUE(screen.detailText().contains(u"No solution found"_s));
    EXPECT_EQ(screen.copyButtonTitle(), u"Copy to Clipboard"_s);
    EXPECT_EQ(screen.copySymbol(), u"doc.on.doc"_s);

    screen.toggleDetail();
    EXPECT_EQ(screen.detailsButtonTitle(), u"Show Details"_s);
    EXPECT_FALSE(screen.showsDetailPanel());
}

TEST_F(BootstrapScreenTest, FailureWithoutDetailHasNoDetailsButton) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    installerThatInstallsNothing();

    BootstrapScreen screen(*state, log);
    waitForEnd(screen, [&screen] { screen.start(); });
    EXPECT_EQ(screen.failureMessage(), u"uv was installed but could not be found. Try restarting the app."_s);
    EXPECT_FALSE(screen.showsDetailsButton());
    screen.toggleDetail();
    EXPECT_FALSE(screen.showsDetailPanel()) << "nothing to show";
}

TEST_F(BootstrapScreenTest, RetryThatSucceedsEndsReadyAndKeepsTheScreen) {
    env.set("NORVANE_SIM_BOOTSTRAP", "stderr:deps-connect");
    BootstrapScreen screen(*state, log);
    waitForEnd(screen, [&screen] { screen.start(); });
    ASSERT_EQ(screen.block(), Block::failure);

    env.unset("NORVANE_SIM_BOOTSTRAP");
    waitForEnd(screen, [&screen] { screen.retry(); });
    EXPECT_EQ(screen.block(), Block::ready);
    EXPECT_EQ(state->screen(), Screen::bootstrapping) << "a retry never changes the screen";
}

TEST_F(BootstrapScreenTest, RetryThatFailsShowsTheNewMessage) {
    env.set("NORVANE_SIM_BOOTSTRAP", "stderr:deps-connect");
    BootstrapScreen screen(*state, log);
    waitForEnd(screen, [&screen] { screen.start(); });
    ASSERT_EQ(screen.failureMessage(), u"No internet connection. Connect to a network and try again."_s);

    env.set("NORVANE_SIM_BOOTSTRAP", "stderr:deps-ssl");
    QList<Block> blocks;
    QObject watcher;
    QObject::connect(&screen, &BootstrapScreen::changed, &watcher, [&] { blocks.append(screen.block()); });
    waitForEnd(screen, [&screen] { screen.retry(); });
    EXPECT_EQ(blocks.first(), Block::progress) << "the retry shows its progress first";
    EXPECT_EQ(screen.failureMessage(),
              u"SSL/certificate error — a corporate proxy may be blocking downloads. See details below."_s);
    EXPECT_EQ(state->screen(), Screen::bootstrapping);
}

TEST_F(BootstrapScreenTest, CopiedStaysForTheLifeOfTheScreenAlsoThroughARetry) {
    env.set("NORVANE_SIM_BOOTSTRAP", "stderr:deps-other");
    BootstrapScreen screen(*state, log);
    waitForEnd(screen, [&screen] { screen.start(); });
    screen.toggleDetail();
    const QString detail = screen.detailText();
    ASSERT_FALSE(detail.isEmpty());
    EXPECT_EQ(screen.copyDetail(), detail);
    EXPECT_TRUE(screen.copied());
    EXPECT_EQ(screen.copyButtonTitle(), u"Copied"_s);
    EXPECT_EQ(screen.copySymbol(), u"checkmark"_s);

    waitForEnd(screen, [&screen] { screen.retry(); });
    EXPECT_TRUE(screen.copied());
    EXPECT_EQ(screen.copyButtonTitle(), u"Copied"_s);
}
