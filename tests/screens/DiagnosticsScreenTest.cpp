#include "screens/DiagnosticsScreen.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/DiagnosisScenario.h"
#include "support/NetworkFakes.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

using Screen = DiagnosticsScreen;
using Diagnostics = ConnectivityDiagnostics;
using Step = Diagnostics::Step;
using Mark = Screen::Mark;
using Network = DiagnosisScenario::Network;

const QString gateway = u"192.168.1.1"_s;

Screen::Reading reading(Step step, std::optional<QString> gw = std::nullopt,
                        std::optional<bool> gatewayReachable = std::nullopt,
                        std::optional<bool> internetReachable = std::nullopt) {
    return {{step, std::nullopt}, std::move(gw), gatewayReachable, internetReachable};
}

Screen::Reading completed(Diagnostics::Verdict verdict, std::optional<QString> gw, bool gatewayReachable,
                          bool internetReachable) {
    return {Diagnostics::Phase::completed(std::move(verdict)), std::move(gw), gatewayReachable,
            internetReachable};
}

QStringList labels(const QList<Screen::CheckRow>& rows) {
    QStringList result;
    for (const auto& row : rows)
        result.append(row.label);
    return result;
}

QStringList titles(const QList<Screen::Action>& actions) {
    QStringList result;
    for (const auto& action : actions)
        result.append(action.title);
    return result;
}

// --- The running phase's rows --------------------------------------------------------------------

TEST(DiagnosticsScreenWords, PreparingAndRunningWords) {
    EXPECT_EQ(Screen::preparingText(), u"Preparing diagnostics..."_s);
    EXPECT_EQ(Screen::runningIcon(), u"stethoscope"_s);
    EXPECT_EQ(Screen::runningTitle(), u"Checking your connection..."_s);
}

TEST(DiagnosticsScreenCurrentCheck, EachPhaseMatchesItsOwnRowOnly) {
    const QStringList rowLabels{u"Network gateway"_s, u"Gateway reachable"_s, u"Internet reachable"_s,
                                u"Portal check"_s};
    const QList<std::pair<Step, QString>> table{{Step::checkingGateway, u"Network gateway"_s},
                                                {Step::pingingGateway, u"Gateway reachable"_s},
                                                {Step::pingingInternet, u"Internet reachable"_s},
                                                {Step::checkingPortal, u"Portal check"_s}};
    for (const auto& [step, current] : table) {
        for (const QString& label : rowLabels)
            EXPECT_EQ(Screen::isCurrentCheck(label, step), label == current)
                << qPrintable(label) << " at step " << int(step);
    }
    for (const QString& label : rowLabels) {
        EXPECT_FALSE(Screen::isCurrentCheck(label, Step::idle)) << qPrintable(label);
        EXPECT_FALSE(Screen::isCurrentCheck(label, Step::completed)) << qPrintable(label);
    }
}

TEST(DiagnosticsScreenCurrentCheck, MatchesByTheWordsOfTheLabel) {
    // "gateway" in lower case and without "reachable" while the gateway is looked for.
    EXPECT_TRUE(Screen::isCurrentCheck(u"Default gateway"_s, Step::checkingGateway));
    EXPECT_FALSE(Screen::isCurrentCheck(u"gateway reachable"_s, Step::checkingGateway));
    EXPECT_FALSE(Screen::isCurrentCheck(u"Gateway"_s, Step::checkingGateway));
    EXPECT_TRUE(Screen::isCurrentCheck(u"Is Internet up"_s, Step::pingingInternet));
    EXPECT_FALSE(Screen::isCurrentCheck(u"internet"_s, Step::pingingInternet));
    EXPECT_TRUE(Screen::isCurrentCheck(u"Portal"_s, Step::checkingPortal));
}

TEST(DiagnosticsScreenRows, BeforeTheFirstCheckEveryRowWaits) {
    const auto rows = Screen::checkRows(reading(Step::idle));
    EXPECT_EQ(labels(rows),
              (QStringList{u"Network gateway"_s, u"Gateway reachable"_s, u"Internet reachable"_s}));
    for (const auto& row : rows) {
        EXPECT_FALSE(row.done);
        EXPECT_EQ(row.mark, Mark::waiting);
        EXPECT_EQ(row.detail, std::nullopt);
        EXPECT_FALSE(row.labelIsPrimary());
    }
}

TEST(DiagnosticsScreenRows, TheGatewaySearchSpinsItsRow) {
    const auto rows = Screen::checkRows(reading(Step::checkingGateway));
    EXPECT_EQ(rows[0].mark, Mark::inProgress);
    EXPECT_EQ(rows[0].markIcon(), QString());
    EXPECT_EQ(rows[1].mark, Mark::waiting);
    EXPECT_EQ(rows[2].mark, Mark::waiting);
}

TEST(DiagnosticsScreenRows, AFoundGatewayIsGreenWithItsAddress) {
    const auto rows = Screen::checkRows(reading(Step::pingingGateway, gateway));
    EXPECT_TRUE(rows[0].done);
    EXPECT_TRUE(rows[0].ok);
    EXPECT_EQ(rows[0].mark, Mark::passed);
    EXPECT_EQ(rows[0].detail, u"found (192.168.1.1)"_s);
    EXPECT_TRUE(rows[0].labelIsPrimary());
    EXPECT_EQ(rows[1].mark, Mark::inProgress);
    EXPECT_EQ(rows[1].detail, std::nullopt);
}

TEST(DiagnosticsScreenRows, NoGatewayFoundMarksTheGatewayOrangeWithoutDetailAndReachableReadsNoAtOnce) {
    const auto rows = Screen::checkRows(reading(Step::pingingInternet, std::nullopt, false));
    ASSERT_EQ(rows.size(), 3);
    EXPECT_TRUE(rows[0].done);
    EXPECT_FALSE(rows[0].ok);
    EXPECT_EQ(rows[0].mark, Mark::failed);
    EXPECT_EQ(rows[0].markIcon(), u"xmark.circle.fill"_s);
    EXPECT_EQ(rows[0].markTone(), Screen::MarkTone::orange);
    EXPECT_EQ(rows[0].detail, std::nullopt);
    EXPECT_TRUE(rows[1].done);
    EXPECT_EQ(rows[1].mark, Mark::failed);
    EXPECT_EQ(rows[1].detail, u"no"_s);
    EXPECT_EQ(rows[2].mark, Mark::inProgress);
}

TEST(DiagnosticsScreenRows, ReachableRowsReadYesOrNo) {
    const auto rows = Screen::checkRows(reading(Step::checkingPortal, gateway, false, true));
    EXPECT_EQ(rows[1].detail, u"no"_s);
    EXPECT_EQ(rows[1].mark, Mark::failed);
    EXPECT_EQ(rows[2].detail, u"yes"_s);
    EXPECT_EQ(rows[2].mark, Mark::passed);
}

TEST(DiagnosticsScreenRows, ThePortalRowComesOnceTheInternetAnswered) {
    EXPECT_EQ(Screen::checkRows(reading(Step::pingingInternet, gateway, true)).size(), 3);
    const auto rows = Screen::checkRows(reading(Step::checkingPortal, gateway, true, true));
    ASSERT_EQ(rows.size(), 4);
    EXPECT_EQ(rows[3].label, u"Portal check"_s);
    EXPECT_FALSE(rows[3].done);
    EXPECT_EQ(rows[3].mark, Mark::inProgress);
    EXPECT_EQ(rows[3].detail, std::nullopt);
}

TEST(DiagnosticsScreenRows, ThePortalRowNeverAppearsWhenTheInternetCantBeReached) {
    for (const auto& r : {reading(Step::pingingInternet, gateway, true, false),
                          completed(Diagnostics::GatewayOnly{gateway}, gateway, true, false),
                          completed(Diagnostics::NoConnectivity{}, std::nullopt, false, false)}) {
        const auto rows = Screen::checkRows(r);
        EXPECT_FALSE(labels(rows).contains(u"Portal check"_s));
        EXPECT_EQ(rows.size(), 3);
    }
}

TEST(DiagnosticsScreenRows, APortalVerdictReadsHijackedAndAnyOtherOk) {
    const auto portal =
        Screen::checkRows(completed(Diagnostics::CaptivePortal{gateway}, gateway, true, true));
    EXPECT_EQ(portal[3].detail, u"hijacked"_s);
    EXPECT_EQ(portal[3].mark, Mark::failed);
    const auto fine =
        Screen::checkRows(completed(Diagnostics::InternetReachable{u"boom"_s}, gateway, true, true));
    EXPECT_EQ(fine[3].detail, u"ok"_s);
    EXPECT_EQ(fine[3].mark, Mark::passed);
    EXPECT_EQ(fine[3].markIcon(), u"checkmark.circle.fill"_s);
    EXPECT_EQ(fine[3].markTone(), Screen::MarkTone::green);
}

TEST(DiagnosticsScreenRows, EachMarkHasItsSymbolToneAndOpacity) {
    EXPECT_EQ(Screen::mark(true, true, false), Mark::passed);
    EXPECT_EQ(Screen::mark(true, false, true), Mark::failed);
    EXPECT_EQ(Screen::mark(false, false, true), Mark::inProgress);
    EXPECT_EQ(Screen::mark(false, true, false), Mark::waiting);
    Screen::CheckRow row;
    row.mark = Mark::waiting;
    EXPECT_EQ(row.markIcon(), u"circle"_s);
    EXPECT_EQ(row.markTone(), Screen::MarkTone::secondary);
    EXPECT_DOUBLE_EQ(row.markOpacity(), 0.4);
    row.mark = Mark::passed;
    EXPECT_DOUBLE_EQ(row.markOpacity(), 1.0);
    row.mark = Mark::failed;
    EXPECT_DOUBLE_EQ(row.markOpacity(), 1.0);
}

// --- The completed phase -------------------------------------------------------------------------

TEST(DiagnosticsScreenVerdict, NetworkFineOffersTheLatestVersionAndTheError) {
    const Diagnostics::Verdict verdict = Diagnostics::InternetReachable{u"uv: boom"_s};
    const auto actions = Screen::verdictActions(verdict);
    EXPECT_EQ(actions, (QList<Screen::Action>{{Screen::ActionKind::getLatestVersion, u"Get Latest Version"_s,
                                               u"arrow.down.circle"_s, Screen::ButtonStyle::prominent},
                                              {Screen::ActionKind::tryAgain, u"Try Again"_s, std::nullopt,
                                               Screen::ButtonStyle::bordered}}));
    EXPECT_TRUE(Screen::offersErrorToggle(verdict));
    EXPECT_EQ(Screen::errorToggleTitle(false), u"Show Error"_s);
    EXPECT_EQ(Screen::errorToggleTitle(true), u"Hide Error"_s);
    EXPECT_EQ(Screen::errorDetail(verdict, false), std::nullopt);
    EXPECT_EQ(Screen::errorDetail(verdict, true), u"uv: boom"_s);
}

TEST(DiagnosticsScreenVerdict, AnEmptyProcessErrorStillOffersShowErrorWhichShowsNothing) {
    const Diagnostics::Verdict verdict = Diagnostics::InternetReachable{QString()};
    EXPECT_TRUE(Screen::offersErrorToggle(verdict));
    EXPECT_EQ(Screen::errorDetail(verdict, true), std::nullopt);
}

TEST(DiagnosticsScreenVerdict, PortalAndGatewayOnlyOfferTheBrowser) {
    for (const Diagnostics::Verdict& verdict : {Diagnostics::Verdict{Diagnostics::CaptivePortal{gateway}},
                                                Diagnostics::Verdict{Diagnostics::GatewayOnly{gateway}}}) {
        const auto actions = Screen::verdictActions(verdict);
        EXPECT_EQ(titles(actions), (QStringList{u"Open Browser"_s, u"Try Again"_s}));
        EXPECT_EQ(actions[0].icon, u"safari"_s);
        EXPECT_EQ(actions[0].kind, Screen::ActionKind::openBrowser);
        EXPECT_EQ(actions[0].style, Screen::ButtonStyle::prominent);
        EXPECT_FALSE(Screen::offersErrorToggle(verdict));
        EXPECT_EQ(Screen::errorDetail(verdict, true), std::nullopt);
    }
}

TEST(DiagnosticsScreenVerdict, NoConnectivityOffersTheWifiSettings) {
    const Diagnostics::Verdict verdict = Diagnostics::NoConnectivity{};
    const auto actions = Screen::verdictActions(verdict);
    EXPECT_EQ(titles(actions), (QStringList{u"Open WiFi Settings"_s, u"Try Again"_s}));
    EXPECT_EQ(actions[0].icon, u"wifi"_s);
    EXPECT_EQ(actions[0].kind, Screen::ActionKind::openWifiSettings);
    EXPECT_EQ(actions[1].style, Screen::ButtonStyle::bordered);
    EXPECT_FALSE(Screen::offersErrorToggle(verdict));
}

TEST(DiagnosticsScreenVerdict, PartialResultsOnlyWhenSomethingWasMeasured) {
    EXPECT_EQ(Screen::partialResultsAction(false), std::nullopt);
    EXPECT_EQ(Screen::partialResultsAction(true),
              (Screen::Action{Screen::ActionKind::viewPartialResults, u"View Partial Results"_s,
                              u"chart.bar"_s, Screen::ButtonStyle::bordered}));
}

TEST(DiagnosticsScreenTargets, TheDownloadPageAndThePortalRoot) {
    ScopedEnvironment env;
    env.set("NORVANE_SITE_URL", "http://127.0.0.1:8123");
    env.set("NORVANE_PORTAL_PROBE_URL", "http://127.0.0.1:4567/generate_204");
    EXPECT_EQ(Screen::downloadUrl(), QUrl(u"http://127.0.0.1:8123/download"_s));
    EXPECT_EQ(Screen::portalBrowserUrl(), QUrl(u"http://127.0.0.1:4567/"_s));
}

TEST(DiagnosticsScreenWifiSettings, TriesEachDesktopInTurn) {
    QStringList asked;
    QList<std::pair<QString, QStringList>> started;
    const auto launch = [&](const QString& path, const QStringList& arguments) {
        started.append({path, arguments});
        return true;
    };
    const auto onlyKde = [&](const QString& program) {
        asked.append(program);
        return program == u"systemsettings"_s ? u"/usr/bin/systemsettings"_s : QString();
    };
    EXPECT_TRUE(Screen::openWifiSettings(onlyKde, launch));
    EXPECT_EQ(asked, (QStringList{u"gnome-control-center"_s, u"systemsettings"_s}));
    ASSERT_EQ(started.size(), 1);
    EXPECT_EQ(started[0].first, u"/usr/bin/systemsettings"_s);
    EXPECT_EQ(started[0].second, QStringList{u"kcm_networkmanagement"_s});

    started.clear();
    const auto gnome = [](const QString& program) -> QString { return u"/usr/bin/"_s + program; };
    EXPECT_TRUE(Screen::openWifiSettings(gnome, launch));
    ASSERT_EQ(started.size(), 1);
    EXPECT_EQ(started[0].first, u"/usr/bin/gnome-control-center"_s);
    EXPECT_EQ(started[0].second, QStringList{u"wifi"_s});
}

TEST(DiagnosticsScreenWifiSettings, NoneFoundDoesNothing) {
    int launches = 0;
    EXPECT_FALSE(Screen::openWifiSettings([](const QString&) { return QString(); },
                                          [&](const QString&, const QStringList&) {
                                              ++launches;
                                              return true;
                                          }));
    EXPECT_EQ(launches, 0);
}

TEST(DiagnosticsScreenWifiSettings, OneThatWontStartGivesWayToTheNext) {
    QStringList started;
    EXPECT_TRUE(
        Screen::openWifiSettings([](const QString& program) -> QString { return u"/bin/"_s + program; },
                                 [&](const QString& path, const QStringList&) {
                                     started.append(path);
                                     return path.endsWith(u"nm-connection-editor"_s);
                                 }));
    EXPECT_EQ(started, (QStringList{u"/bin/gnome-control-center"_s, u"/bin/systemsettings"_s,
                                    u"/bin/nm-connection-editor"_s}));
}

// --- Following the session's diagnosis -----------------------------------------------------------

class DiagnosticsScreenSession : public ::testing::Test {
protected:
    void SetUp() override { state.setUploadsSuppressed(true); }

    void measureSomething() {
        DiagnosisScenario::measureSomething(state, time);
        ASSERT_FALSE(state.latencyPoints().isEmpty());
    }

    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
};

TEST_F(DiagnosticsScreenSession, WithoutADiagnosisTheScreenIsPreparing) {
    Screen screen(state);
    EXPECT_EQ(screen.diagnosis(), nullptr);
    EXPECT_EQ(screen.reading(), std::nullopt);
    EXPECT_EQ(screen.verdict(), std::nullopt);
    EXPECT_TRUE(screen.actions().isEmpty());
}

TEST_F(DiagnosticsScreenSession, NoGatewayFoundReadsNoAtTheMomentTheInternetIsTried) {
    DiagnosisScenario scenario(Network::noGatewayNothing);
    Screen screen(state);
    QSignalSpy changed(&screen, &Screen::changed);
    std::optional<QList<Screen::CheckRow>> atInternet;
    QObject::connect(&screen, &Screen::changed, &screen, [&] {
        if (!atInternet && screen.reading() && screen.reading()->phase.step == Step::pingingInternet)
            atInternet = Screen::checkRows(*screen.reading());
    });
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, u"boom"_s));
    EXPECT_GT(changed.count(), 3);
    ASSERT_TRUE(atInternet);
    EXPECT_EQ((*atInternet)[0].mark, Mark::failed);
    EXPECT_EQ((*atInternet)[0].detail, std::nullopt);
    EXPECT_EQ((*atInternet)[1].detail, u"no"_s);
    EXPECT_EQ((*atInternet)[2].mark, Mark::inProgress);

    EXPECT_EQ(screen.verdict(), Diagnostics::Verdict{Diagnostics::NoConnectivity{}});
    EXPECT_EQ(screen.verdictText()->headline, u"No network connection detected"_s);
    EXPECT_EQ(Screen::checkRows(*screen.reading()).size(), 3);
}

TEST_F(DiagnosticsScreenSession, AFailureInTheFirstSecondOffersNoPartialResults) {
    DiagnosisScenario scenario(Network::nothing);
    Screen screen(state);
    state.startReplay(CaptureConfig{});
    time.advance(0.4);
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, u"boom"_s));
    EXPECT_TRUE(state.latencyPoints().isEmpty());
    EXPECT_EQ(titles(screen.actions()), (QStringList{u"Open WiFi Settings"_s, u"Try Again"_s}));
}

TEST_F(DiagnosticsScreenSession, ARunThatMeasuredSomethingOffersItsPartialResults) {
    DiagnosisScenario scenario(Network::gatewayOnly);
    measureSomething();
    Screen screen(state);
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, u"boom"_s));
    EXPECT_EQ(titles(screen.actions()),
              (QStringList{u"Open Browser"_s, u"Try Again"_s, u"View Partial Results"_s}));
    screen.trigger(Screen::ActionKind::viewPartialResults);
    EXPECT_EQ(state.screen(), AppState::Screen::results);
}

TEST_F(DiagnosticsScreenSession, TryAgainDismissesTheDiagnosis) {
    DiagnosisScenario scenario(Network::captivePortal);
    Screen screen(state);
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, u"boom"_s));
    EXPECT_EQ(screen.verdict(), Diagnostics::Verdict{Diagnostics::CaptivePortal{gateway}});
    screen.trigger(Screen::ActionKind::tryAgain);
    EXPECT_EQ(state.screen(), AppState::Screen::setup);
    EXPECT_EQ(state.diagnostics(), nullptr);
    EXPECT_EQ(screen.reading(), std::nullopt);
}

TEST_F(DiagnosticsScreenSession, TheErrorPanelFollowsTheToggleAndStartsClosedForEachDiagnosis) {
    DiagnosisScenario scenario(Network::fine);
    Screen screen(state);
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, u"uv: exited with 1"_s));
    EXPECT_EQ(screen.verdict(), Diagnostics::Verdict{Diagnostics::InternetReachable{u"uv: exited with 1"_s}});
    EXPECT_EQ(screen.errorDetail(), std::nullopt);
    QSignalSpy changed(&screen, &Screen::changed);
    screen.toggleError();
    EXPECT_EQ(changed.count(), 1);
    EXPECT_TRUE(screen.showError());
    EXPECT_EQ(screen.errorDetail(), u"uv: exited with 1"_s);
    screen.trigger(Screen::ActionKind::tryAgain);
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, u"again"_s));
    EXPECT_FALSE(screen.showError());
    EXPECT_EQ(screen.errorDetail(), std::nullopt);
}

TEST_F(DiagnosticsScreenSession, TheLinksGoThroughTheOpenerAndTheWifiSettingsThroughTheLauncher) {
    ScopedEnvironment env;
    env.set("NORVANE_SITE_URL", "http://127.0.0.1:8123");
    Screen screen(state);
    QList<QUrl> opened;
    screen.setUrlOpener([&](const QUrl& url) { opened.append(url); });
    QStringList started;
    screen.setExecutableFinder([](const QString& program) {
        return program == u"nm-connection-editor"_s ? u"/usr/bin/nm-connection-editor"_s : QString();
    });
    screen.setProgramLauncher([&](const QString& path, const QStringList&) {
        started.append(path);
        return true;
    });
    screen.trigger(Screen::ActionKind::getLatestVersion);
    screen.trigger(Screen::ActionKind::openBrowser);
    screen.trigger(Screen::ActionKind::openWifiSettings);
    EXPECT_EQ(opened, (QList<QUrl>{QUrl(u"http://127.0.0.1:8123/download"_s), Diagnostics::portalRootUrl()}));
    EXPECT_EQ(started, QStringList{u"/usr/bin/nm-connection-editor"_s});
}

} // namespace
