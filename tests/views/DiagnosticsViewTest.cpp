#include "views/DiagnosticsView.h"

#include "base/VirtualClock.h"
#include "screens/DiagnosticsScreen.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/DiagnosisScenario.h"
#include "support/TempHome.h"
#include "support/VisibleTexts.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFontInfo>
#include <QFontMetrics>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>

using namespace Qt::StringLiterals;

namespace {

using Network = DiagnosisScenario::Network;
using Diagnostics = ConnectivityDiagnostics;

QPushButton* visibleButton(const QWidget& view, const QString& text) {
    const QList<QPushButton*> buttons = view.findChildren<QPushButton*>();
    for (QPushButton* button : buttons) {
        if (button->isVisible() && button->text() == text)
            return button;
    }
    return nullptr;
}

// Clicks the visible button with this text; false when there is none.
bool click(const QWidget& view, const QString& text) {
    QPushButton* button = visibleButton(view, text);
    if (!button)
        return false;
    button->click();
    return true;
}

QStringList visibleMarks(const QWidget& view) {
    QStringList marks;
    const QList<QWidget*> widgets = view.findChildren<QWidget*>();
    for (const QWidget* widget : widgets) {
        const QString name = widget->accessibleName();
        if (widget->isVisible() &&
            (name.endsWith(u"circle.fill"_s) || name == u"circle"_s || name == u"Checking"_s))
            marks.append(name);
    }
    return marks;
}

const QString tracebackText =
    u"Traceback (most recent call last):\n  File \"/home/ada/.cache/uv/archive-v0/Xq3/lib/python3.12/"
    u"site-packages/norvane/cli.py\", line 12, in <module>\nModuleNotFoundError: No module named 'norvane'"_s;

class DiagnosticsViewTest : public ::testing::Test {
protected:
    void SetUp() override { state.setUploadsSuppressed(true); }
    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }

    std::unique_ptr<DiagnosticsView> makeView() {
        auto view = std::make_unique<DiagnosticsView>(state);
        view->screen().setUrlOpener([this](const QUrl& url) { opened.append(url); });
        view->screen().setExecutableFinder([](const QString&) { return QString(); });
        view->screen().setProgramLauncher([this](const QString& path, const QStringList&) {
            launched.append(path);
            return true;
        });
        view->resize(700, 800);
        view->show();
        QApplication::processEvents();
        return view;
    }

    void measureSomething() {
        DiagnosisScenario::measureSomething(state, time);
        ASSERT_FALSE(state.latencyPoints().isEmpty());
    }

    void savePicture(QWidget& view, const QString& name) {
        if (qEnvironmentVariableIsSet("NORVANE_VIEW_PICTURES"))
            view.grab().save(QDir::temp().filePath(u"diagnostics-%1.png"_s.arg(name)));
    }

    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    QList<QUrl> opened;
    QStringList launched;
};

TEST_F(DiagnosticsViewTest, WithoutADiagnosisItSaysPreparing) {
    auto view = makeView();
    const QStringList texts = visibleTexts(*view);
    EXPECT_TRUE(texts.contains(u"Preparing diagnostics..."_s)) << qPrintable(texts.join(u" | "_s));
    EXPECT_FALSE(texts.contains(u"Checking your connection..."_s));
}

TEST_F(DiagnosticsViewTest, RunningShowsTheChecksAsTheyGo) {
    ScopedEnvironment env;
    env.unset("NORVANE_SIM_GATEWAY");
    env.set("NORVANE_SIM_PING", "hang");
    auto view = makeView();
    state.enterDiagnostics(u"boom"_s);
    Diagnostics* diagnosis = state.diagnostics();
    ASSERT_NE(diagnosis, nullptr);
    // Before the first probe: the three rows wait, and the portal row isn't there.
    QApplication::processEvents();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return diagnosis->phase().step == Diagnostics::Step::pingingGateway &&
                   diagnosis->runningProcess() && diagnosis->runningProcess()->state() == QProcess::Running;
        },
        30'000));
    const QStringList texts = visibleTexts(*view);
    for (const QString& word : {u"Checking your connection..."_s, u"Network gateway"_s,
                                u"found (192.168.1.1)"_s, u"Gateway reachable"_s, u"Internet reachable"_s})
        EXPECT_TRUE(texts.contains(word)) << qPrintable(word) << " in " << qPrintable(texts.join(u" | "_s));
    EXPECT_FALSE(texts.contains(u"Portal check"_s));
    EXPECT_FALSE(texts.contains(u"Preparing diagnostics..."_s));
    EXPECT_EQ(visibleMarks(*view), (QStringList{u"checkmark.circle.fill"_s, u"Checking"_s, u"circle"_s}));
    savePicture(*view, u"running-%1"_s.arg(QLatin1StringView(Theme::name(Theme::Scheme::Light))));
    Theme::apply(*qApp, Theme::Scheme::Dark);
    QApplication::processEvents();
    savePicture(*view, u"running-%1"_s.arg(QLatin1StringView(Theme::name(Theme::Scheme::Dark))));

    // Try Again is not on screen yet; leaving ends the hanging probe.
    state.dismissDiagnostics();
    QApplication::processEvents();
    EXPECT_TRUE(visibleTexts(*view).contains(u"Preparing diagnostics..."_s));
}

TEST_F(DiagnosticsViewTest, NoGatewayFoundShowsTheOrangeMarkAndNoWithoutAPortalRow) {
    DiagnosisScenario scenario(Network::noGatewayNothing);
    auto view = makeView();
    std::optional<QStringList> marksAtInternet;
    std::optional<QStringList> textsAtInternet;
    state.enterDiagnostics(u"boom"_s);
    QObject::connect(state.diagnostics(), &Diagnostics::phaseChanged, view.get(), [&] {
        if (state.diagnostics()->phase().step == Diagnostics::Step::pingingInternet && !marksAtInternet) {
            marksAtInternet = visibleMarks(*view);
            textsAtInternet = visibleTexts(*view);
        }
    });
    QSignalSpy finished(state.diagnostics(), &Diagnostics::runFinished);
    ASSERT_TRUE(finished.wait(30'000));
    ASSERT_TRUE(marksAtInternet);
    EXPECT_EQ(*marksAtInternet, (QStringList{u"xmark.circle.fill"_s, u"xmark.circle.fill"_s, u"Checking"_s}));
    EXPECT_TRUE(textsAtInternet->contains(u"no"_s));
    EXPECT_FALSE(textsAtInternet->contains(u"Portal check"_s));
    EXPECT_FALSE(textsAtInternet->filter(u"found"_s).size());
}

TEST_F(DiagnosticsViewTest, NetworkFineOffersTheLatestVersionAndShowsTheErrorOnRequest) {
    DiagnosisScenario scenario(Network::fine);
    ScopedEnvironment env;
    env.set("NORVANE_SITE_URL", "http://127.0.0.1:8123");
    auto view = makeView();
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, tracebackText));
    QApplication::processEvents();
    QStringList texts = visibleTexts(*view);
    for (const QString& word : {u"Your network looks fine"_s,
                                u"The Norvane tool couldn't start, but your internet connection is working. "
                                u"This is usually fixed by "
                                u"updating or relaunching the app."_s,
                                u"Show Error"_s, u"Get Latest Version"_s, u"Try Again"_s})
        EXPECT_TRUE(texts.contains(word)) << qPrintable(word) << " in " << qPrintable(texts.join(u" | "_s));
    EXPECT_FALSE(texts.contains(tracebackText));
    EXPECT_FALSE(texts.contains(u"View Partial Results"_s));

    ASSERT_TRUE(click(*view, u"Show Error"_s));
    QApplication::processEvents();
    texts = visibleTexts(*view);
    EXPECT_TRUE(texts.contains(u"Hide Error"_s));
    EXPECT_TRUE(texts.contains(tracebackText));
    const auto* panel = view->findChild<QTextEdit*>(u"errorPanel"_s);
    ASSERT_NE(panel, nullptr);
    EXPECT_TRUE(panel->isReadOnly());
    EXPECT_TRUE(panel->textInteractionFlags() & Qt::TextSelectableByMouse);
    EXPECT_LE(panel->width(), DiagnosticsScreen::errorPanelMaxWidth);
    // Every character as wide as any other.
    const QFontMetrics metrics(panel->font());
    EXPECT_EQ(metrics.horizontalAdvance(u"iiii"_s), metrics.horizontalAdvance(u"MMMM"_s))
        << qPrintable(QFontInfo(panel->font()).family());
    // The whole explanation fits: its label is as tall as its wrapped text.
    for (const QLabel* label : view->findChildren<QLabel*>()) {
        if (label->isVisible() && label->wordWrap() && !label->text().isEmpty()) {
            EXPECT_GE(label->height(), label->heightForWidth(label->width())) << qPrintable(label->text());
        }
    }
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        savePicture(*view, u"fine-%1"_s.arg(QLatin1StringView(Theme::name(scheme))));
    }

    ASSERT_TRUE(click(*view, u"Get Latest Version"_s));
    EXPECT_EQ(opened, QList<QUrl>{QUrl(u"http://127.0.0.1:8123/download"_s)});
    ASSERT_TRUE(click(*view, u"Hide Error"_s));
    QApplication::processEvents();
    EXPECT_FALSE(visibleTexts(*view).contains(tracebackText));
}

TEST_F(DiagnosticsViewTest, AnEmptyProcessErrorOffersShowErrorWhichShowsNothing) {
    DiagnosisScenario scenario(Network::fine);
    auto view = makeView();
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, QString()));
    QApplication::processEvents();
    QPushButton* toggle = visibleButton(*view, u"Show Error"_s);
    ASSERT_NE(toggle, nullptr);
    const QStringList before = visibleTexts(*view);
    toggle->click();
    QApplication::processEvents();
    QStringList after = visibleTexts(*view);
    EXPECT_TRUE(after.contains(u"Hide Error"_s));
    after.replace(after.indexOf(u"Hide Error"_s), u"Show Error"_s);
    EXPECT_EQ(after, before) << "nothing else appeared";
    const QList<QFrame*> frames = view->findChildren<QFrame*>(u"errorPanel"_s);
    ASSERT_EQ(frames.size(), 1);
    EXPECT_FALSE(frames[0]->isVisible());
}

TEST_F(DiagnosticsViewTest, ACaptivePortalOffersTheBrowserAtTheProbeRoot) {
    DiagnosisScenario scenario(Network::captivePortal);
    auto view = makeView();
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, u"boom"_s));
    QApplication::processEvents();
    const QStringList texts = visibleTexts(*view);
    for (const QString& word : {u"Captive portal detected"_s,
                                u"This network requires sign-in. DNS queries are being redirected to a login "
                                u"page. Open a browser to "
                                u"complete the portal login, then try again."_s,
                                u"Open Browser"_s, u"Try Again"_s})
        EXPECT_TRUE(texts.contains(word)) << qPrintable(word) << " in " << qPrintable(texts.join(u" | "_s));
    EXPECT_FALSE(texts.contains(u"Show Error"_s));
    EXPECT_FALSE(texts.contains(u"View Partial Results"_s));
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        savePicture(*view, u"portal-%1"_s.arg(QLatin1StringView(Theme::name(scheme))));
    }
    ASSERT_TRUE(click(*view, u"Open Browser"_s));
    EXPECT_EQ(opened, QList<QUrl>{Diagnostics::portalRootUrl()});
}

TEST_F(DiagnosticsViewTest, GatewayOnlyListsTheLikelyCausesAndOffersPartialResults) {
    DiagnosisScenario scenario(Network::gatewayOnly);
    measureSomething();
    auto view = makeView();
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, u"boom"_s));
    QApplication::processEvents();
    const QStringList texts = visibleTexts(*view);
    const QString all = texts.join(u'\n');
    for (const QString& word :
         {u"Connected to WiFi, but no internet"_s,
          u"Your computer is connected to the WiFi network (gateway 192.168.1.1), but can't "
          u"reach the internet. This "
          u"often means:"_s,
          u"Open Browser"_s, u"Try Again"_s, u"View Partial Results"_s})
        EXPECT_TRUE(texts.contains(word)) << qPrintable(word) << " in " << qPrintable(all);
    for (const QString& bullet :
         {u"A captive portal (hotel/airline login page) hasn't been completed"_s,
          u"The network is behind a walled garden"_s, u"The network is down or overloaded"_s})
        EXPECT_TRUE(all.contains(bullet)) << qPrintable(bullet);
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        savePicture(*view, u"gatewayonly-%1"_s.arg(QLatin1StringView(Theme::name(scheme))));
    }
    ASSERT_TRUE(click(*view, u"View Partial Results"_s));
    EXPECT_EQ(state.screen(), AppState::Screen::results);
}

TEST_F(DiagnosticsViewTest, NoConnectivityOffersTheWifiSettingsAndTryAgainGoesBack) {
    DiagnosisScenario scenario(Network::nothing);
    auto view = makeView();
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(state, u"boom"_s));
    QApplication::processEvents();
    const QStringList texts = visibleTexts(*view);
    for (const QString& word :
         {u"No network connection detected"_s,
          u"Your computer doesn't appear to be connected to a network. Check that WiFi is enabled and you're "
          u"connected to an access point."_s,
          u"Open WiFi Settings"_s, u"Try Again"_s})
        EXPECT_TRUE(texts.contains(word)) << qPrintable(word) << " in " << qPrintable(texts.join(u" | "_s));
    EXPECT_FALSE(texts.contains(u"View Partial Results"_s));
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        savePicture(*view, u"nothing-%1"_s.arg(QLatin1StringView(Theme::name(scheme))));
    }
    ASSERT_TRUE(click(*view, u"Open WiFi Settings"_s));
    EXPECT_TRUE(launched.isEmpty()) << "no settings program was found, so nothing starts";

    ASSERT_TRUE(click(*view, u"Try Again"_s));
    QApplication::processEvents();
    EXPECT_EQ(state.screen(), AppState::Screen::setup);
    EXPECT_TRUE(visibleTexts(*view).contains(u"Preparing diagnostics..."_s));
}

} // namespace
