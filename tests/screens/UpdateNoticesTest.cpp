#include "screens/UpdateNotices.h"

#include "core/AppState.h"
#include "services/FileLogger.h"
#include "services/UpdateLogger.h"
#include "support/AppStateTestAccess.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"
#include "support/UpdateStandIns.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTemporaryDir>

#include <ostream>

using namespace Qt::StringLiterals;

void PrintTo(const UpdateBanner& banner, std::ostream* out) {
    *out << (banner.tone == UpdateBanner::Tone::important ? "important" : "neutral") << " \""
         << banner.text.toStdString() << "\" [" << banner.buttonTitle.toStdString() << "] "
         << (banner.action == UpdateBanner::Action::restart ? "restart" : "download")
         << (banner.showsUploadCaption ? " with caption" : "");
}

namespace {

using Tone = UpdateBanner::Tone;
using Action = UpdateBanner::Action;

const QString warning = u"exclamationmark.triangle.fill"_s;
const QString ready = u"arrow.triangle.2.circlepath"_s;

// --- The full-window notice -----------------------------------------------------------------------

TEST(UpdateRequiredNotice, NamesTheRunningVersionOrSaysUnknown) {
    EXPECT_EQ(UpdateRequiredNotice::versionLine(u"1.4.2"_s), u"Current version: 1.4.2"_s);
    EXPECT_EQ(UpdateRequiredNotice::versionLine(u""_s), u"Current version: unknown"_s);
    // What the platform layer reads when the build set no version.
    EXPECT_EQ(UpdateRequiredNotice::versionLine(u"dev"_s), u"Current version: unknown"_s);
}

TEST(UpdateRequiredNotice, DownloadsOnlyFromTextThatFormsAnAddress) {
    EXPECT_EQ(UpdateRequiredNotice::downloadTarget(u"https://norvane.invalid/download"_s),
              QUrl(u"https://norvane.invalid/download"_s));
    EXPECT_EQ(UpdateRequiredNotice::downloadTarget(u" http://127.0.0.1:9/download "_s),
              QUrl(u"http://127.0.0.1:9/download"_s));
    for (const QString& text :
         {u""_s, u"download"_s, u"see the web site"_s, u"/download"_s, u"http://exa mple"_s})
        EXPECT_EQ(UpdateRequiredNotice::downloadTarget(text), std::nullopt) << text.toStdString();
}

// --- The banner tables ----------------------------------------------------------------------------

struct BannerRow {
    const char* name;
    UpdateBanner::Place place;
    bool updateRequired;
    std::optional<QString> pendingVersion;
    bool uploadDone;
    std::optional<UpdateBanner> expected;
};

std::ostream& operator<<(std::ostream& out, const BannerRow& row) {
    return out << row.name;
}

UpdateBanner banner(Tone tone, std::optional<QString> symbol, const QString& text, bool mediumWeight,
                    const QString& button, Action action, bool caption) {
    return UpdateBanner{tone, std::move(symbol), text, mediumWeight, button, action, caption};
}

class UpdateBannerTable : public testing::TestWithParam<BannerRow> {};

TEST_P(UpdateBannerTable, ShowsTheRowOfItsCondition) {
    const BannerRow& row = GetParam();
    EXPECT_EQ(UpdateBanner::forPlace(row.place, row.updateRequired, row.pendingVersion, row.uploadDone),
              row.expected);
}

const auto setup = UpdateBanner::Place::setup;
const auto results = UpdateBanner::Place::results;
const QString important = u"An important update is available"_s;

INSTANTIATE_TEST_SUITE_P(
    Setup, UpdateBannerTable,
    testing::Values(BannerRow{"requiredWithPendingVersionRestarts", setup, true, u"2.1"_s, false,
                              banner(Tone::important, warning, important, false, u"Restart to Update"_s,
                                     Action::restart, false)},
                    BannerRow{"requiredWithoutPendingVersionDownloads", setup, true, std::nullopt, true,
                              banner(Tone::important, warning, important, false, u"Download Update"_s,
                                     Action::download, false)},
                    BannerRow{"pendingVersionOnlyOffersARestart", setup, false, u"2.1"_s, false,
                              banner(Tone::neutral, ready,
                                     u"Version 2.1 is ready — restart anytime to update"_s, false,
                                     u"Restart"_s, Action::restart, false)},
                    // The setup screen has no upload caption, whatever the upload does.
                    BannerRow{"requiredWithAnUploadUnderWayHasNoCaption", setup, true, std::nullopt, false,
                              banner(Tone::important, warning, important, false, u"Download Update"_s,
                                     Action::download, false)},
                    BannerRow{"nothingToTellShowsNone", setup, false, std::nullopt, false, std::nullopt}),
    [](const testing::TestParamInfo<BannerRow>& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Results, UpdateBannerTable,
    testing::Values(
        BannerRow{"requiredWithPendingVersionWhileUploading", results, true, u"2.1"_s, false,
                  banner(Tone::important, std::nullopt, u"An important update (2.1) is available"_s, true,
                         u"Restart to Update"_s, Action::restart, true)},
        BannerRow{"requiredWithPendingVersionAfterTheUpload", results, true, u"2.1"_s, true,
                  banner(Tone::important, std::nullopt, u"An important update (2.1) is available"_s, true,
                         u"Restart to Update"_s, Action::restart, false)},
        BannerRow{"requiredWithoutPendingVersionWhileUploading", results, true, std::nullopt, false,
                  banner(Tone::important, std::nullopt, important, true, u"Download Update"_s,
                         Action::download, true)},
        BannerRow{"requiredWithoutPendingVersionAfterTheUpload", results, true, std::nullopt, true,
                  banner(Tone::important, std::nullopt, important, true, u"Download Update"_s,
                         Action::download, false)},
        BannerRow{"pendingVersionOnlyWhileUploading", results, false, u"2.1"_s, false,
                  banner(Tone::neutral, ready, u"Nice work! Version 2.1 is ready — restart to update"_s,
                         false, u"Restart to Update"_s, Action::restart, false)},
        BannerRow{"pendingVersionOnlyAfterTheUpload", results, false, u"2.1"_s, true,
                  banner(Tone::neutral, ready, u"Nice work! Version 2.1 is ready — restart to update"_s,
                         false, u"Restart to Update"_s, Action::restart, false)},
        BannerRow{"nothingToTellWhileUploadingShowsNone", results, false, std::nullopt, false, std::nullopt},
        BannerRow{"nothingToTellAfterTheUploadShowsNone", results, false, std::nullopt, true, std::nullopt}),
    [](const testing::TestParamInfo<BannerRow>& info) { return std::string(info.param.name); });

// --- The banner's model ---------------------------------------------------------------------------

class UpdateBannerModelTest : public testing::Test {
protected:
    void SetUp() override { home.installFakeUv(); }

    // A gate for running version 1.0 whose cached rules set the minimum.
    void gateWithMinimum(const char* minimum, const char* downloadUrl = "https://norvane.invalid/download") {
        gate = gateOnRules(
            rulesDir.path(), u"1.0"_s,
            QByteArray(R"({"minimum":")") + minimum + R"(","download_url":")" + downloadUrl + R"("})", log);
    }

    UpdateBannerModel& model(UpdateBanner::Place place) {
        bannerModel = std::make_unique<UpdateBannerModel>(place, *gate, listener, state,
                                                          [this](const QUrl& url) { opened.append(url); });
        return *bannerModel;
    }

    TempHome home;
    QTemporaryDir logDir;
    QTemporaryDir rulesDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    UpdateLogger listener{log};
    StandInUpdater updater;
    std::unique_ptr<VersionCheck> gate;
    std::unique_ptr<UpdateBannerModel> bannerModel;
    QList<QUrl> opened;
};

TEST_F(UpdateBannerModelTest, RestartAsksTheUpdaterThatFoundTheVersion) {
    gateWithMinimum("0.5");
    listener.didFindValidUpdate(&updater, {u"2.1"_s, u"210"_s});
    UpdateBannerModel& setupBanner = model(UpdateBanner::Place::setup);
    ASSERT_TRUE(setupBanner.banner());
    EXPECT_EQ(setupBanner.banner()->buttonTitle, u"Restart"_s);
    setupBanner.activate();
    EXPECT_EQ(updater.checks, 1);
    EXPECT_TRUE(opened.isEmpty());
}

TEST_F(UpdateBannerModelTest, RestartDoesNothingWhileNoUpdaterIsSet) {
    gateWithMinimum("0.5");
    listener.didFindValidUpdate(nullptr, {u"2.1"_s, u"210"_s});
    UpdateBannerModel& setupBanner = model(UpdateBanner::Place::setup);
    ASSERT_TRUE(setupBanner.banner());
    ASSERT_EQ(setupBanner.banner()->action, UpdateBanner::Action::restart);
    setupBanner.activate();
    EXPECT_EQ(updater.checks, 0);
    EXPECT_TRUE(opened.isEmpty());
}

TEST_F(UpdateBannerModelTest, DownloadOpensTheGatesAddress) {
    gateWithMinimum("9.0");
    UpdateBannerModel& resultsBanner = model(UpdateBanner::Place::results);
    ASSERT_TRUE(resultsBanner.banner());
    EXPECT_EQ(resultsBanner.banner()->buttonTitle, u"Download Update"_s);
    resultsBanner.activate();
    EXPECT_EQ(opened, QList<QUrl>{QUrl(u"https://norvane.invalid/download"_s)});
    EXPECT_EQ(updater.checks, 0);
}

TEST_F(UpdateBannerModelTest, DownloadOfTextThatIsNoAddressDoesNothing) {
    gateWithMinimum("9.0", "see the web site");
    UpdateBannerModel& setupBanner = model(UpdateBanner::Place::setup);
    ASSERT_TRUE(setupBanner.banner());
    setupBanner.activate();
    EXPECT_TRUE(opened.isEmpty());
}

TEST_F(UpdateBannerModelTest, WithNothingToTellTheButtonDoesNothing) {
    gateWithMinimum("0.5");
    UpdateBannerModel& setupBanner = model(UpdateBanner::Place::setup);
    EXPECT_FALSE(setupBanner.banner());
    setupBanner.activate();
    EXPECT_TRUE(opened.isEmpty());
    EXPECT_EQ(updater.checks, 0);
}

TEST_F(UpdateBannerModelTest, FollowsTheGateTheFoundVersionAndTheUpload) {
    gateWithMinimum("0.5");
    UpdateBannerModel& resultsBanner = model(UpdateBanner::Place::results);
    QSignalSpy changed(&resultsBanner, &UpdateBannerModel::changed);
    EXPECT_FALSE(resultsBanner.banner());

    listener.didFindValidUpdate(&updater, {u"2.1"_s, u"210"_s});
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(resultsBanner.banner()->tone, UpdateBanner::Tone::neutral);

    // The site raises its minimum in the middle of the session.
    ASSERT_TRUE(writeFileAt(gate->cachePath(), R"({"minimum":"9.0"})"));
    gate->loadCacheAndEvaluate(u"1.0"_s);
    EXPECT_EQ(changed.count(), 2);
    EXPECT_EQ(resultsBanner.banner()->tone, UpdateBanner::Tone::important);
    EXPECT_TRUE(resultsBanner.banner()->showsUploadCaption);

    // The upload ends: the caption goes.
    AppStateTestAccess::holdIdleRunner(state);
    AppStateTestAccess::uploadCompleted(state, state.uploadGeneration(), 0);
    EXPECT_EQ(changed.count(), 3);
    EXPECT_FALSE(resultsBanner.banner()->showsUploadCaption);

    // The download failed: the found version is dropped.
    listener.failedToDownloadUpdate(&updater, {u"2.1"_s, u"210"_s}, u"disk full"_s);
    EXPECT_EQ(changed.count(), 4);
    EXPECT_EQ(resultsBanner.banner()->buttonTitle, u"Download Update"_s);
}

} // namespace
