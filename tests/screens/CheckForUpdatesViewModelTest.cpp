#include "screens/CheckForUpdatesViewModel.h"

#include "support/UpdateStandIns.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

#include <memory>

namespace {

TEST(CheckForUpdatesViewModel, CannotCheckUntilThereIsAnUpdater) {
    CheckForUpdatesViewModel model;
    EXPECT_FALSE(model.canCheckForUpdates());
    EXPECT_EQ(model.updater(), nullptr);
    model.checkForUpdates();
}

TEST(CheckForUpdatesViewModel, FollowsTheUpdatersPropertyFromTheStart) {
    StandInUpdater updater;
    CheckForUpdatesViewModel model;
    QSignalSpy changed(&model, &CheckForUpdatesViewModel::canCheckForUpdatesChanged);
    model.setUpdater(&updater);
    EXPECT_EQ(model.updater(), &updater);
    EXPECT_TRUE(model.canCheckForUpdates());
    updater.setCanCheck(false);
    EXPECT_FALSE(model.canCheckForUpdates());
    updater.setCanCheck(true);
    EXPECT_TRUE(model.canCheckForUpdates());
    ASSERT_EQ(changed.count(), 3);
    EXPECT_EQ(changed.at(1).at(0).toBool(), false);
}

TEST(CheckForUpdatesViewModel, AnUpdaterAlreadyCheckingStartsDisabled) {
    StandInUpdater updater;
    updater.setCanCheck(false);
    CheckForUpdatesViewModel model(&updater);
    EXPECT_FALSE(model.canCheckForUpdates());
}

TEST(CheckForUpdatesViewModel, ChecksOnlyWhileTheUpdaterCan) {
    StandInUpdater updater;
    CheckForUpdatesViewModel model(&updater);
    model.checkForUpdates();
    EXPECT_EQ(updater.checks, 1);
    updater.setCanCheck(false);
    model.checkForUpdates();
    EXPECT_EQ(updater.checks, 1);
}

TEST(CheckForUpdatesViewModel, ALaterUpdaterReplacesTheFirst) {
    StandInUpdater first;
    StandInUpdater second;
    second.setCanCheck(false);
    CheckForUpdatesViewModel model(&first);
    model.setUpdater(&second);
    EXPECT_FALSE(model.canCheckForUpdates());
    // The first one no longer speaks for the menu.
    first.setCanCheck(false);
    first.setCanCheck(true);
    EXPECT_FALSE(model.canCheckForUpdates());
    second.setCanCheck(true);
    model.checkForUpdates();
    EXPECT_EQ(first.checks, 0);
    EXPECT_EQ(second.checks, 1);
}

TEST(CheckForUpdatesViewModel, AnUpdaterThatGoesAwayCanNoLongerBeAsked) {
    auto updater = std::make_unique<StandInUpdater>();
    CheckForUpdatesViewModel model(updater.get());
    ASSERT_TRUE(model.canCheckForUpdates());
    updater.reset();
    EXPECT_FALSE(model.canCheckForUpdates());
    EXPECT_EQ(model.updater(), nullptr);
    model.checkForUpdates();
}

} // namespace
