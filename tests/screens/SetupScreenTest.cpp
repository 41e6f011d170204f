#include "screens/SetupScreen.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "screens/NetworkPresets.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QStringList numbered(const QString& stem, int count) {
    QStringList rows;
    for (int i = 1; i <= count; ++i)
        rows.append(stem + u' ' + QString::number(i));
    return rows;
}

} // namespace

// The screen with its neighbours replaced: the browser check and the install answer when the test says
// so, and a start is recorded instead of launching anything.
class SetupScreenTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock clock;
    ScopedVirtualTime virtualTime{clock};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    QTemporaryDir captures;
    AppState state{log};
    Settings settings;

    bool browserInCache = false;
    int checksStarted = 0;
    std::function<void(bool)> pendingCheck;
    std::function<void(const QString&)> installProgress;
    std::function<void(const Bootstrap::ChromiumInstallOutcome&)> installFinished;
    int installsStarted = 0;
    QList<CaptureConfig> started;

    std::unique_ptr<SetupScreen> screen = std::make_unique<SetupScreen>(state, services());

    SetupScreen::Services services() {
        SetupScreen::Services fake;
        fake.chromiumInstalled = [this] { return browserInCache; };
        fake.verifyPlaywrightOffline = [this](QObject* context, std::function<void(bool)> done) {
            ++checksStarted;
            const QPointer<QObject> guard(context);
            pendingCheck = [guard, done](bool ok) {
                if (guard)
                    done(ok);
            };
        };
        fake.installChromium =
            [this](QObject*, std::function<void(const QString&)> onProgress,
                   std::function<void(const Bootstrap::ChromiumInstallOutcome&)> onFinished) {
                ++installsStarted;
                installProgress = std::move(onProgress);
                installFinished = std::move(onFinished);
            };
        fake.outputDirectory = [this] { return captures.path(); };
        fake.startCapture = [this](const CaptureConfig& config) { started.append(config); };
        return fake;
    }

    // The browser check answers, once.
    void answerCheck(bool ok) {
        ASSERT_TRUE(pendingCheck) << "no check is waiting";
        auto check = std::exchange(pendingCheck, {});
        check(ok);
    }

    void writeCaptures(const QByteArray& json) const {
        QFile file(captures.path() + u"/captures.json"_s);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(json);
    }

    QStringList pastLocations() const { return settings.stringList(Settings::pastLocations); }
    QStringList pastNetworks() const { return settings.stringList(Settings::pastNetworks); }

    // History as a user who has seen the screen before would have it, without the seed rows.
    void storeHistory(const QStringList& locations, const QStringList& networks) {
        settings.setStringList(Settings::pastLocations, locations);
        settings.setStringList(Settings::pastNetworks, networks);
        settings.setBool(Settings::historySeeded, true);
    }
};

// --- Fields and start button -----------------------------------------------------------------------

TEST_F(SetupScreenTest, StartsEmptyTimedFiveMinutesActive) {
    EXPECT_TRUE(screen->location().isEmpty());
    EXPECT_TRUE(screen->network().isEmpty());
    EXPECT_TRUE(screen->isTimed());
    EXPECT_EQ(screen->selectedDuration(), u"5m"_s);
    EXPECT_EQ(screen->selectedProfile(), CaptureProfile::active);
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::unknown);
    EXPECT_FALSE(screen->installingChromium());
    EXPECT_FALSE(screen->chromiumError());
}

TEST_F(SetupScreenTest, BothFieldsEmptyDisableStartWithTheHint) {
    EXPECT_TRUE(screen->needsContext());
    EXPECT_FALSE(screen->isStartEnabled());
    EXPECT_EQ(screen->startHint(), u"Fill in a location or network name to start"_s);
    screen->start();
    EXPECT_TRUE(started.isEmpty());

    screen->setNetwork(u"Hotel WiFi"_s);
    EXPECT_TRUE(screen->isStartEnabled());
    EXPECT_FALSE(screen->startHint());
}

TEST_F(SetupScreenTest, FieldsHoldingOnlyBlanksEnableStartAndPassTheBlanksOn) {
    screen->setLocation(u"  "_s);
    EXPECT_FALSE(screen->needsContext());
    EXPECT_TRUE(screen->isStartEnabled());
    screen->start();
    ASSERT_EQ(started.size(), 1);
    EXPECT_EQ(started[0].location, u"  "_s);
    EXPECT_FALSE(started[0].network) << "an empty field is absent";
    EXPECT_EQ(pastLocations(), QStringList{u"  "_s});
}

TEST_F(SetupScreenTest, TimedStartPassesTheDurationAndTheActiveProfile) {
    screen->setLocation(u"Gate 12"_s);
    screen->setNetwork(u"AeroWiFi.example"_s);
    screen->setSelectedDuration(u"1h"_s);
    screen->setTimed(false);
    screen->setSelectedProfile(CaptureProfile::passive);
    screen->setTimed(true);
    settings.setString(Settings::uploadPrivacy, u"hash"_s);
    screen->start();
    ASSERT_EQ(started.size(), 1);
    CaptureConfig expected;
    expected.location = u"Gate 12"_s;
    expected.network = u"AeroWiFi.example"_s;
    expected.durationString = u"1h"_s;
    expected.privacy = UploadPrivacy::hash;
    expected.profile = CaptureProfile::active;
    EXPECT_EQ(started[0], expected) << "a timed test runs the active profile whatever is selected";
}

TEST_F(SetupScreenTest, ContinuousStartHasNoDurationAndTheSelectedProfile) {
    screen->setNetwork(u"Starlink LEO"_s);
    screen->setTimed(false);
    screen->setSelectedProfile(CaptureProfile::passive);
    settings.setString(Settings::uploadPrivacy, u"omit"_s);
    screen->start();
    ASSERT_EQ(started.size(), 1);
    EXPECT_FALSE(started[0].location);
    EXPECT_EQ(started[0].network, u"Starlink LEO"_s);
    EXPECT_FALSE(started[0].durationString);
    EXPECT_EQ(started[0].profile, CaptureProfile::passive);
    EXPECT_EQ(started[0].privacy, UploadPrivacy::omit);
}

TEST_F(SetupScreenTest, UnknownPrivacySettingCountsAsInclude) {
    settings.setString(Settings::uploadPrivacy, u"Hash"_s);
    EXPECT_EQ(SetupScreen::uploadPrivacySetting(settings), UploadPrivacy::include);
    settings.setBool(Settings::uploadPrivacy, true);
    EXPECT_EQ(SetupScreen::uploadPrivacySetting(settings), UploadPrivacy::include);
    settings.remove(Settings::uploadPrivacy);
    EXPECT_EQ(SetupScreen::uploadPrivacySetting(settings), UploadPrivacy::include);
    settings.setString(Settings::uploadPrivacy, u"hash"_s);
    EXPECT_EQ(SetupScreen::uploadPrivacySetting(settings), UploadPrivacy::hash);
}

TEST_F(SetupScreenTest, StartSavesBothNamesNewestFirst) {
    storeHistory({u"Lobby"_s, u"Gate 12"_s}, {u"Hotel WiFi"_s});
    screen->setLocation(u"Gate 12"_s);
    screen->setNetwork(u"Lounge"_s);
    screen->start();
    EXPECT_EQ(pastLocations(), (QStringList{u"Gate 12"_s, u"Lobby"_s}));
    EXPECT_EQ(pastNetworks(), (QStringList{u"Lounge"_s, u"Hotel WiFi"_s}));
}

TEST_F(SetupScreenTest, StartWithTheRealSessionEntersTheRunningScreen) {
    home.installFakeUv();
    qputenv("NORVANE_SIM_SPEED", "50");
    AppState session(log);
    SetupScreen real(session, [&] {
        SetupScreen::Services services = SetupScreen::systemServices(session, log);
        services.outputDirectory = [this] { return captures.path(); };
        return services;
    }());
    real.setLocation(u"Gate 12"_s);
    real.start();
    EXPECT_EQ(session.screen(), AppState::Screen::running);
    EXPECT_EQ(session.captureLocation(), u"Gate 12"_s);
    EXPECT_FALSE(session.captureNetwork());
    EXPECT_TRUE(session.pythonProcess().isChildRunning());
    session.pythonProcess().reset();
    qunsetenv("NORVANE_SIM_SPEED");
}

// --- Suggestions -----------------------------------------------------------------------------------

TEST_F(SetupScreenTest, NetworkFieldWithNoTextAndFocusShowsSevenRowsAtMostFiveOfTheUsers) {
    storeHistory({}, numbered(u"Guest"_s, 10));
    EXPECT_FALSE(screen->showsNetworkSuggestions()) << "not without focus";
    screen->setNetworkFocused(true);
    EXPECT_TRUE(screen->showsNetworkSuggestions());
    EXPECT_EQ(screen->filteredNetworks(), (QStringList{u"Guest 1"_s, u"Guest 2"_s, u"Guest 3"_s, u"Guest 4"_s,
                                                       u"Guest 5"_s, u"Hotel WiFi"_s, u"Office WiFi"_s}));
}

TEST_F(SetupScreenTest, NetworkListShowsOnFocusEvenWithoutAnyHistory) {
    screen->setNetworkFocused(true);
    EXPECT_TRUE(screen->showsNetworkSuggestions());
    EXPECT_EQ(screen->filteredNetworks(), NetworkPresets::popular().first(7));
}

TEST_F(SetupScreenTest, LocationFieldWithNoTextShowsNoListHoweverLongTheHistory) {
    storeHistory(numbered(u"Gate"_s, 20), {});
    screen->setLocationFocused(true);
    EXPECT_EQ(screen->filteredLocations().size(), 7);
    EXPECT_FALSE(screen->showsLocationSuggestions());
    screen->setLocation(u"g"_s);
    EXPECT_TRUE(screen->showsLocationSuggestions());
    EXPECT_EQ(screen->filteredLocations(), numbered(u"Gate"_s, 7)) << "locations have no presets";
    screen->setLocationFocused(false);
    EXPECT_FALSE(screen->showsLocationSuggestions());
}

TEST_F(SetupScreenTest, LocationListHidesWhenNothingMatches) {
    storeHistory({u"Gate 12"_s}, {});
    screen->setLocationFocused(true);
    screen->setLocation(u"zz"_s);
    EXPECT_FALSE(screen->showsLocationSuggestions());
}

TEST_F(SetupScreenTest, RowEqualToTheTypedTextIsNotSuggestedButOneDifferingByCaseIs) {
    storeHistory({u"JFK"_s, u"jfk"_s, u"JFK Terminal 4"_s}, {u"Ting"_s, u"ting"_s, u"Tingle"_s});
    screen->setLocation(u"JFK"_s);
    EXPECT_EQ(screen->filteredLocations(), (QStringList{u"jfk"_s, u"JFK Terminal 4"_s}));
    screen->setNetwork(u"Ting"_s);
    EXPECT_EQ(screen->filteredNetworks(), (QStringList{u"ting"_s, u"Tingle"_s}));
}

TEST_F(SetupScreenTest, PresetEqualToTheTypedTextIsNotSuggestedEither) {
    storeHistory({}, {});
    screen->setNetwork(u"FlyFi"_s);
    EXPECT_TRUE(screen->filteredNetworks().isEmpty());
    storeHistory({}, {u"flyfi"_s});
    EXPECT_EQ(screen->filteredNetworks(), QStringList{u"flyfi"_s});
}

TEST_F(SetupScreenTest, UserRowDifferingFromHotelWiFiOnlyByCaseShowsAsOneRowInTheUsersForm) {
    storeHistory({}, {u"hotel WIFI"_s});
    screen->setNetworkFocused(true);
    const QStringList networks = screen->filteredNetworks();
    EXPECT_EQ(networks.first(), u"hotel WIFI"_s);
    EXPECT_FALSE(networks.contains(u"Hotel WiFi"_s));
    EXPECT_EQ(networks.size(), 7);
}

TEST_F(SetupScreenTest, ChoosingARowFillsTheFieldAndTakesItsFocus) {
    storeHistory({u"Gate 12"_s}, {});
    screen->setLocationFocused(true);
    screen->setLocation(u"ga"_s);
    screen->chooseLocationSuggestion(u"Gate 12"_s);
    EXPECT_EQ(screen->location(), u"Gate 12"_s);
    EXPECT_FALSE(screen->locationFocused());

    screen->setNetworkFocused(true);
    screen->chooseNetworkSuggestion(u"Coffee shop"_s);
    EXPECT_EQ(screen->network(), u"Coffee shop"_s);
    EXPECT_FALSE(screen->networkFocused());
}

TEST_F(SetupScreenTest, ReturnInAFieldOnlyTakesItsFocus) {
    screen->setLocationFocused(true);
    screen->setLocation(u"Gate"_s);
    screen->submitLocation();
    EXPECT_FALSE(screen->locationFocused());
    EXPECT_EQ(screen->location(), u"Gate"_s);
    EXPECT_TRUE(started.isEmpty());
    screen->setNetworkFocused(true);
    screen->submitNetwork();
    EXPECT_FALSE(screen->networkFocused());
}

TEST_F(SetupScreenTest, UndecodableHistoryCountsAsEmptyAndIsReplacedAtTheNextSave) {
    settings.setString(Settings::pastLocations, u"not json"_s);
    screen->setLocationFocused(true);
    screen->setLocation(u"n"_s);
    EXPECT_TRUE(screen->filteredLocations().isEmpty());
    SetupScreen::saveLocationHistory(settings, u"Gate 12"_s);
    EXPECT_EQ(pastLocations(), QStringList{u"Gate 12"_s});
}

// --- History -------------------------------------------------------------------------------------

TEST_F(SetupScreenTest, SavingMovesANameToTheFrontAndIgnoresEmptyText) {
    SetupScreen::saveNetworkHistory(settings, u"A"_s);
    SetupScreen::saveNetworkHistory(settings, u"B"_s);
    SetupScreen::saveNetworkHistory(settings, u"a"_s);
    SetupScreen::saveNetworkHistory(settings, u"A"_s);
    EXPECT_EQ(pastNetworks(), (QStringList{u"A"_s, u"a"_s, u"B"_s}));
    SetupScreen::saveNetworkHistory(settings, QString());
    EXPECT_EQ(pastNetworks(), (QStringList{u"A"_s, u"a"_s, u"B"_s}));
}

TEST_F(SetupScreenTest, TwentyFirstSavedNamePushesOutTheOldest) {
    for (const QString& name : numbered(u"Place"_s, 20))
        SetupScreen::saveLocationHistory(settings, name);
    ASSERT_EQ(pastLocations().size(), 20);
    SetupScreen::saveLocationHistory(settings, u"Place 21"_s);
    const QStringList rows = pastLocations();
    EXPECT_EQ(rows.size(), 20);
    EXPECT_EQ(rows.first(), u"Place 21"_s);
    EXPECT_FALSE(rows.contains(u"Place 1"_s));
    EXPECT_EQ(rows.last(), u"Place 2"_s);
}

TEST_F(SetupScreenTest, SeedingAndMergingGrowPastTwentyAndTheNextSaveCutsBackToTwenty) {
    writeCaptures(R"([{"file": "a.csv", "location": "Library Annex", "network_type": "Annex Guest"},
                      {"file": "b.csv", "location": "Pier 4", "network_type": "Pier WiFi"}])");
    screen->appear();
    EXPECT_EQ(pastLocations().size(), 20) << "18 seed rows and two from the library";
    EXPECT_EQ(pastNetworks().size(), 21) << "19 seed rows and two from the library";
    SetupScreen::saveNetworkHistory(settings, u"Lounge"_s);
    const QStringList networks = pastNetworks();
    EXPECT_EQ(networks.size(), 20);
    EXPECT_EQ(networks.first(), u"Lounge"_s);
    EXPECT_EQ(networks.last(), u"Intelsat GEO"_s) << "the oldest rows, the library's, went";
    EXPECT_FALSE(networks.contains(u"Annex Guest"_s));
}

TEST_F(SetupScreenTest, SeedingHappensOnceAndKeepsWhatIsThere) {
    settings.setStringList(Settings::pastLocations, {u"My Desk"_s, u"JFK"_s});
    screen->appear();
    const QStringList locations = pastLocations();
    EXPECT_EQ(locations.size(), 19);
    EXPECT_EQ(locations.first(2), (QStringList{u"My Desk"_s, u"JFK"_s}));
    QStringList seedsWithoutJfk = SetupScreen::locationSeedRows;
    seedsWithoutJfk.removeAll(u"JFK"_s);
    EXPECT_EQ(locations.mid(2), seedsWithoutJfk);
    EXPECT_EQ(pastNetworks(), SetupScreen::networkSeedRows);
    EXPECT_EQ(settings.boolValue(Settings::historySeeded), true);

    settings.setStringList(Settings::pastLocations, {});
    screen->appear();
    EXPECT_TRUE(pastLocations().isEmpty()) << "the seed rows come only once";
}

TEST_F(SetupScreenTest, SeedRowsAreTheEighteenPlacesAndNineteenNetworks) {
    EXPECT_EQ(SetupScreen::locationSeedRows.size(), 18);
    EXPECT_EQ(SetupScreen::networkSeedRows.size(), 19);
    EXPECT_EQ(SetupScreen::locationSeedRows.first(), u"Encinitas, CA"_s);
    EXPECT_EQ(SetupScreen::locationSeedRows.last(), u"AS190 SEA-SAN"_s);
    EXPECT_EQ(SetupScreen::networkSeedRows.first(), u"Ting"_s);
    EXPECT_EQ(SetupScreen::networkSeedRows.last(), u"Intelsat GEO"_s);
}

TEST_F(SetupScreenTest, MergeAppendsTheLibrarysNewNamesInFileOrder) {
    storeHistory({u"Pier 4"_s}, {});
    writeCaptures(R"([{"location": "Pier 4", "network_type": ""},
                      {"location": "Gate 12", "network_type": "AeroWiFi.example", "extra": 1},
                      {"location": "", "network_type": "Ting"},
                      {"location": "Gate 12", "network_type": "ting"}])");
    EXPECT_TRUE(SetupScreen::mergeFromCapturesJSON(settings, captures.path() + u"/captures.json"_s));
    EXPECT_EQ(pastLocations(), (QStringList{u"Pier 4"_s, u"Gate 12"_s}));
    EXPECT_EQ(pastNetworks(), (QStringList{u"AeroWiFi.example"_s, u"Ting"_s, u"ting"_s}));
}

TEST_F(SetupScreenTest, MergeWithNothingNewWritesNothing) {
    settings.setString(Settings::pastLocations, u"not json"_s);
    writeCaptures(R"([{"location": "", "network_type": ""}])");
    EXPECT_FALSE(SetupScreen::mergeFromCapturesJSON(settings, captures.path() + u"/captures.json"_s));
    EXPECT_EQ(settings.stringValue(Settings::pastLocations), u"not json"_s);
}

TEST_F(SetupScreenTest, MissingOrUndecodableLibraryIsIgnored) {
    storeHistory({u"Pier 4"_s}, {});
    const QString path = captures.path() + u"/captures.json"_s;
    EXPECT_FALSE(SetupScreen::mergeFromCapturesJSON(settings, path));
    writeCaptures("{ not json");
    EXPECT_FALSE(SetupScreen::mergeFromCapturesJSON(settings, path));
    writeCaptures(R"({"location": "Gate 12", "network_type": "Ting"})");
    EXPECT_FALSE(SetupScreen::mergeFromCapturesJSON(settings, path));
    writeCaptures(R"([{"location": "Gate 12", "network_type": "Ting"}, {"location": "Gate 14"}])");
    EXPECT_FALSE(SetupScreen::mergeFromCapturesJSON(settings, path)) << "one entry without a name spoils all";
    writeCaptures(R"([{"location": "Gate 12", "network_type": null}])");
    EXPECT_FALSE(SetupScreen::mergeFromCapturesJSON(settings, path));
    EXPECT_EQ(pastLocations(), QStringList{u"Pier 4"_s});
}

// --- Appearing -------------------------------------------------------------------------------------

TEST_F(SetupScreenTest, AppearingPrefillsTheNetworkTheToolLastReported) {
    screen->setNetwork(u"typed"_s);
    state.pythonProcess().processLine(uR"({"event":"info","ssid":"CafeNet","rssi":-61})"_s);
    screen->appear();
    EXPECT_EQ(screen->network(), u"CafeNet"_s);
}

TEST_F(SetupScreenTest, EmptyReportedNetworkLeavesTheFieldAlone) {
    screen->setNetwork(u"typed"_s);
    state.pythonProcess().processLine(uR"({"event":"info","ssid":""})"_s);
    screen->appear();
    EXPECT_EQ(screen->network(), u"typed"_s);
}

TEST_F(SetupScreenTest, WithoutABrowserInTheCacheVideoIsUnavailableAndNothingIsChecked) {
    screen->appear();
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::unavailable);
    EXPECT_EQ(checksStarted, 0);
    EXPECT_TRUE(screen->showsVideoPanel());
    EXPECT_FALSE(screen->showsEnabledBanner());
}

TEST_F(SetupScreenTest, WithABrowserTheCheckDecidesAndTheBannerShowsOnce) {
    browserInCache = true;
    screen->appear();
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::verifying);
    EXPECT_TRUE(screen->hasVerifyTask());
    EXPECT_FALSE(screen->showsVideoPanel());
    answerCheck(true);
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::available);
    EXPECT_TRUE(screen->showsEnabledBanner()) << "a browser that was already there is announced once too";

    screen->setLocation(u"Gate 12"_s);
    screen->start();
    EXPECT_EQ(settings.boolValue(Settings::seenYouTubeEnabled), true);
    EXPECT_FALSE(screen->showsEnabledBanner());
}

TEST_F(SetupScreenTest, FailedCheckMakesVideoUnavailable) {
    browserInCache = true;
    screen->appear();
    answerCheck(false);
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::unavailable);
    EXPECT_TRUE(screen->showsVideoPanel());
}

TEST_F(SetupScreenTest, AppearingAgainReplacesTheRunningCheck) {
    browserInCache = true;
    screen->appear();
    auto firstCheck = std::exchange(pendingCheck, {});
    screen->appear();
    EXPECT_EQ(checksStarted, 2);
    firstCheck(false);
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::verifying) << "the cancelled check changes nothing";
    answerCheck(true);
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::available);
}

TEST_F(SetupScreenTest, DisappearingCancelsTheCheck) {
    browserInCache = true;
    screen->appear();
    screen->disappear();
    EXPECT_FALSE(screen->hasVerifyTask());
    answerCheck(true);
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::verifying);
}

TEST_F(SetupScreenTest, PressingStartDuringVerifyingSendsNothingUntilTheCheckEnds) {
    browserInCache = true;
    screen->appear();
    screen->setLocation(u"Gate 12"_s);
    screen->start();
    EXPECT_TRUE(started.isEmpty());
    EXPECT_TRUE(screen->isStartPending());
    EXPECT_TRUE(pastLocations().contains(u"Gate 12"_s) == false) << "nothing is saved before the check ends";
    screen->start();
    answerCheck(true);
    ASSERT_EQ(started.size(), 1) << "the second press while waiting did nothing";
    EXPECT_FALSE(screen->isStartPending());
    EXPECT_EQ(started[0].location, u"Gate 12"_s);
    EXPECT_EQ(settings.boolValue(Settings::seenYouTubeEnabled), true);
}

TEST_F(SetupScreenTest, StartAfterAFailedCheckLeavesTheBannerFlagAlone) {
    browserInCache = true;
    screen->appear();
    screen->setNetwork(u"Ting"_s);
    screen->start();
    answerCheck(false);
    ASSERT_EQ(started.size(), 1);
    EXPECT_FALSE(settings.contains(Settings::seenYouTubeEnabled));
}

TEST_F(SetupScreenTest, StartWaitingForTheCheckIsDroppedWhenTheScreenGoes) {
    browserInCache = true;
    screen->appear();
    screen->setNetwork(u"Ting"_s);
    screen->start();
    screen->disappear();
    answerCheck(true);
    EXPECT_TRUE(started.isEmpty());
    EXPECT_FALSE(screen->isStartPending());
}

// --- Duration --------------------------------------------------------------------------------------

TEST_F(SetupScreenTest, TimedModeShowsSixPillsWithTheSelectedOneMarked) {
    const QList<DurationModeButton> modes = screen->modeButtons();
    ASSERT_EQ(modes.size(), 2);
    EXPECT_EQ(modes[0], (DurationModeButton{u"Timed Test"_s, true, DurationModeButton::Edge::leading, true}));
    EXPECT_EQ(modes[1],
              (DurationModeButton{u"Run Continuously"_s, false, DurationModeButton::Edge::trailing, false}));
    screen->setSelectedDuration(u"30m"_s);
    const QList<DurationPill> pills = screen->durationPills();
    QStringList titles;
    for (const DurationPill& pill : pills) {
        titles.append(pill.title);
        EXPECT_EQ(pill.isSelected, pill.title == u"30m"_s);
    }
    EXPECT_EQ(titles, (QStringList{u"5m"_s, u"10m"_s, u"15m"_s, u"30m"_s, u"1h"_s, u"3h"_s}));
}

TEST_F(SetupScreenTest, UnknownDurationIsNotSelected) {
    screen->setSelectedDuration(u"2h"_s);
    EXPECT_EQ(screen->selectedDuration(), u"5m"_s);
}

TEST_F(SetupScreenTest, ContinuousModeOffersTheProfilesWithTheirCaption) {
    screen->setTimed(false);
    EXPECT_TRUE(screen->modeButtons()[1].isSelected);
    EXPECT_EQ(screen->profileButtons(),
              (QList<ProfileButton>{{u"Active"_s, CaptureProfile::active, true},
                                    {u"Passive"_s, CaptureProfile::passive, false}}));
    EXPECT_EQ(screen->profileCaption(), u"High-frequency testing for focused captures"_s);
    screen->setSelectedProfile(CaptureProfile::passive);
    EXPECT_EQ(screen->profileCaption(), u"Relaxed intervals for continuous monitoring"_s);
}

TEST_F(SetupScreenTest, HiddenChoicesAreKeptWhenTheModeFlips) {
    screen->setSelectedDuration(u"3h"_s);
    screen->setTimed(false);
    screen->setSelectedProfile(CaptureProfile::passive);
    screen->setTimed(true);
    EXPECT_EQ(screen->selectedDuration(), u"3h"_s);
    screen->setTimed(false);
    EXPECT_EQ(screen->selectedProfile(), CaptureProfile::passive);
}

// --- Browser install -------------------------------------------------------------------------------

TEST_F(SetupScreenTest, InstallShowsItsProgressAndEndsAvailableWithTheBanner) {
    screen->appear();
    settings.setBool(Settings::seenYouTubeEnabled, true);
    screen->installChromium();
    EXPECT_TRUE(screen->installingChromium());
    EXPECT_EQ(screen->installProgressLine(), u"Preparing download…"_s);
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::unavailable)
        << "the panel stays up during the install";
    EXPECT_TRUE(screen->showsVideoPanel());

    installProgress(u"(1/3) Downloading video test components… 10%"_s);
    EXPECT_EQ(screen->installProgressLine(), u"(1/3) Downloading video test components… 10%"_s);

    installFinished({Bootstrap::ChromiumInstallOutcome::Kind::exited, {}, 0, {}});
    EXPECT_TRUE(screen->installingChromium());
    EXPECT_EQ(screen->installProgressLine(), u"Verifying offline availability…"_s);
    answerCheck(true);
    EXPECT_FALSE(screen->installingChromium());
    EXPECT_TRUE(screen->chromiumProgress().isEmpty());
    EXPECT_FALSE(screen->installProgressLine());
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::available);
    EXPECT_FALSE(screen->chromiumError());
    EXPECT_EQ(settings.boolValue(Settings::seenYouTubeEnabled), false);
    EXPECT_TRUE(screen->showsEnabledBanner());
    EXPECT_FALSE(screen->showsVideoPanel());
}

TEST_F(SetupScreenTest, InstalledBrowserThatFailsOfflineSaysSo) {
    screen->appear();
    screen->installChromium();
    installFinished({Bootstrap::ChromiumInstallOutcome::Kind::exited, {}, 0, {}});
    answerCheck(false);
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::unavailable);
    EXPECT_EQ(screen->chromiumError(),
              u"Chromium installed but offline cache failed — try restarting the app"_s);
    EXPECT_FALSE(screen->installingChromium());
}

TEST_F(SetupScreenTest, FailedInstallShowsTheLastLineOfItsErrorOutput) {
    screen->appear();
    screen->installChromium();
    installFinished(
        {Bootstrap::ChromiumInstallOutcome::Kind::exited,
         {},
         1,
         u"Error: Download failed\nFailed to install browsers\nError: Failed to download FFMPEG"_s});
    EXPECT_EQ(screen->chromiumError(), u"Installation failed: Error: Failed to download FFMPEG"_s);
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::unavailable);
    EXPECT_FALSE(screen->installingChromium());
    EXPECT_TRUE(screen->chromiumProgress().isEmpty());
}

TEST_F(SetupScreenTest, FailedInstallWithoutErrorOutputGivesTheExitCode) {
    screen->appear();
    screen->installChromium();
    installFinished({Bootstrap::ChromiumInstallOutcome::Kind::exited, {}, 9, {}});
    EXPECT_EQ(screen->chromiumError(), u"Installation failed (exit 9)"_s);
}

TEST_F(SetupScreenTest, InstallWithoutUvSaysSoAndKeepsTheStatus) {
    screen->appear();
    screen->installChromium();
    installFinished({Bootstrap::ChromiumInstallOutcome::Kind::uvNotFound, {}, 0, {}});
    EXPECT_EQ(screen->chromiumError(), u"uv not found"_s);
    EXPECT_FALSE(screen->installingChromium());
    EXPECT_TRUE(screen->chromiumProgress().isEmpty());
    EXPECT_EQ(screen->chromiumStatus(), ChromiumStatus::unavailable);
}

TEST_F(SetupScreenTest, InstallThatCannotStartSaysWhy) {
    screen->appear();
    screen->installChromium();
    installFinished(
        {Bootstrap::ChromiumInstallOutcome::Kind::launchFailed, u"No such file or directory"_s, 0, {}});
    EXPECT_EQ(screen->chromiumError(), u"Failed to start installer: No such file or directory"_s);
    EXPECT_FALSE(screen->installingChromium());
}

TEST_F(SetupScreenTest, PressingEnableAgainClearsTheOldErrorAndRunsAgain) {
    screen->appear();
    screen->installChromium();
    installFinished({Bootstrap::ChromiumInstallOutcome::Kind::uvNotFound, {}, 0, {}});
    screen->installChromium();
    EXPECT_FALSE(screen->chromiumError());
    EXPECT_EQ(installsStarted, 2);
    screen->installChromium();
    EXPECT_EQ(installsStarted, 2) << "not twice at once";
}

TEST_F(SetupScreenTest, FailedInstallDoesNotKeepACaptureFromStarting) {
    screen->appear();
    screen->installChromium();
    installFinished({Bootstrap::ChromiumInstallOutcome::Kind::exited, {}, 1, u"boom"_s});
    screen->setLocation(u"Gate 12"_s);
    screen->start();
    EXPECT_EQ(started.size(), 1);
}

TEST_F(SetupScreenTest, InstallCancelsARunningCheck) {
    browserInCache = true;
    screen->appear();
    screen->installChromium();
    EXPECT_FALSE(screen->hasVerifyTask());
}

// --- Footer --------------------------------------------------------------------------------------

TEST_F(SetupScreenTest, FooterShowsTheReportedNetworkAndSignal) {
    const QDateTime now = clock.now();
    EXPECT_EQ(screen->footer(now), SetupFooter{});
    state.pythonProcess().processLine(uR"({"event":"info","ssid":"CafeNet","rssi":-61})"_s);
    const SetupFooter footer = screen->footer(now);
    EXPECT_EQ(footer.ssid, u"CafeNet"_s);
    EXPECT_EQ(footer.signal, u"-61 dBm"_s);
    EXPECT_FALSE(footer.pendingRetry);
}

TEST_F(SetupScreenTest, RetryCountdownRoundsToWholeSecondsAndNeverGoesBelowZero) {
    EXPECT_EQ(SetupScreen::pendingRetryText(59.5), u"1 capture pending — retrying in 60s"_s);
    EXPECT_EQ(SetupScreen::pendingRetryText(59.4), u"1 capture pending — retrying in 59s"_s);
    EXPECT_EQ(SetupScreen::pendingRetryText(299.6), u"1 capture pending — retrying in 300s"_s)
        << "no minutes: the count is in seconds";
    EXPECT_EQ(SetupScreen::pendingRetryText(-3), u"1 capture pending — retrying in 0s"_s);
}

TEST_F(SetupScreenTest, FooterCountsDownToTheSessionsPendingRetry) {
    // The first retry of the budget comes 60 seconds on.
    state.scheduleNextRetry();
    ASSERT_TRUE(state.upload().pendingRetryAt);
    EXPECT_EQ(screen->footer(clock.now()).pendingRetry, u"1 capture pending — retrying in 60s"_s);
    EXPECT_EQ(screen->footer(clock.now().addMSecs(15'400)).pendingRetry,
              u"1 capture pending — retrying in 45s"_s);
}

TEST_F(SetupScreenTest, SessionChangesAreAnnounced) {
    QSignalSpy spy(screen.get(), &SetupScreen::changed);
    state.pythonProcess().processLine(uR"({"event":"info","ssid":"CafeNet"})"_s);
    EXPECT_GE(spy.count(), 1);
}
