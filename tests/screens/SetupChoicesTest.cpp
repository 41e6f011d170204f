#include "screens/SetupChoices.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(SetupChoices, DurationsInTheirOrder) {
    EXPECT_EQ(SetupChoices::durations,
              (QStringList{u"5m"_s, u"10m"_s, u"15m"_s, u"30m"_s, u"1h"_s, u"3h"_s}));
    EXPECT_EQ(SetupChoices().selectedDuration, u"5m"_s);
}

TEST(SetupChoices, TimedTestRunsActiveWithItsDuration) {
    SetupChoices choices;
    choices.location = u"Gate 12"_s;
    choices.selectedDuration = u"1h"_s;
    choices.selectedProfile = CaptureProfile::passive;
    const CaptureConfig config = choices.toCaptureConfig(UploadPrivacy::omit);
    EXPECT_EQ(config.location, u"Gate 12"_s);
    EXPECT_FALSE(config.network);
    EXPECT_EQ(config.durationString, u"1h"_s);
    EXPECT_EQ(config.profile, CaptureProfile::active);
    EXPECT_EQ(config.privacy, UploadPrivacy::omit);
}

TEST(SetupChoices, ContinuousRunHasNoDurationAndItsOwnProfile) {
    SetupChoices choices;
    choices.isTimed = false;
    choices.network = u" "_s;
    choices.selectedProfile = CaptureProfile::passive;
    const CaptureConfig config = choices.toCaptureConfig(UploadPrivacy::include);
    EXPECT_FALSE(config.durationString);
    EXPECT_EQ(config.profile, CaptureProfile::passive);
    EXPECT_EQ(config.network, u" "_s) << "a field holding a blank counts as filled";
}
