#include "views/SetupView.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/PumpUntil.h"
#include "support/SimulatorJournal.h"
#include "support/TempHome.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

class SetupViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock clock;
    ScopedVirtualTime virtualTime{clock};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    QTemporaryDir captures;

    // The neighbours of the model, when a test wants to play them.
    bool browserInCache = false;
    std::function<void(bool)> pendingCheck;
    std::function<void(const QString&)> installProgress;
    std::function<void(const Bootstrap::ChromiumInstallOutcome&)> installFinished;
    QList<CaptureConfig> started;

    SetupScreen::Services fakeServices() {
        SetupScreen::Services fake;
        fake.chromiumInstalled = [this] { return browserInCache; };
        fake.verifyPlaywrightOffline = [this](QObject* context, std::function<void(bool)> done) {
            const QPointer<QObject> guard(context);
            pendingCheck = [guard, done](bool ok) {
                if (guard)
                    done(ok);
            };
        };
        fake.installChromium =
            [this](QObject*, std::function<void(const QString&)> onProgress,
                   std::function<void(const Bootstrap::ChromiumInstallOutcome&)> onFinished) {
                installProgress = std::move(onProgress);
                installFinished = std::move(onFinished);
            };
        fake.outputDirectory = [this] { return captures.path(); };
        fake.startCapture = [this](const CaptureConfig& config) { started.append(config); };
        return fake;
    }

    static void showAndActivate(QWidget& widget) {
        widget.resize(700, 800);
        widget.show();
        widget.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&widget));
    }

    static QLabel* label(QWidget& view, const QString& text) {
        const QList<QLabel*> labels = view.findChildren<QLabel*>();
        for (QLabel* candidate : labels) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }

    static bool showsLabel(QWidget& view, const QString& text) {
        QLabel* found = label(view, text);
        return found && found->isVisible();
    }

    static QPushButton* button(QWidget& view, const QString& text) {
        const QList<QPushButton*> buttons = view.findChildren<QPushButton*>();
        for (QPushButton* candidate : buttons) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }

    template <typename T> static T* named(QWidget& view, const QString& accessibleName) {
        const QList<T*> widgets = view.findChildren<T*>();
        for (T* candidate : widgets) {
            if (candidate->accessibleName() == accessibleName)
                return candidate;
        }
        return nullptr;
    }

    static QStringList rows(QListWidget* list) {
        QStringList texts;
        for (int i = 0; i < list->count(); ++i)
            texts.append(list->item(i)->text());
        return texts;
    }

    // Types as the keyboard does: into whatever holds the window's focus, not into a chosen widget.
    static void type(QWidget& window, const QString& text) {
        for (const QChar character : text)
            QTest::keyClick(window.windowHandle(), character.toLatin1());
    }

    static void press(QWidget& window, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(window.windowHandle(), key, modifiers);
    }

    // What the focus lands on at each press of `key`, until it comes back to where it started.
    static QStringList focusStops(QWidget& window, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QWidget* first = QApplication::focusWidget();
        QStringList stops;
        for (int press = 0; press < 30; ++press) {
            QTest::keyClick(window.windowHandle(), Qt::Key_Tab, modifiers);
            QWidget* focus = QApplication::focusWidget();
            if (!focus || !focus->isVisible()) {
                stops.append(u"(nothing to see)"_s);
                continue;
            }
            stops.append(focus->accessibleName());
            if (focus == first)
                break;
        }
        return stops;
    }

    QList<QJsonObject> journal() const { return simulatorJournal(defaultJournalPath(home.path())); }

    static QStringList argv(const QJsonObject& entry) { return journalArguments(entry); }

    static bool runUntil(const std::function<bool()>& done) { return pumpUntil(done); }
};

TEST_F(SetupViewTest, ShowsItsWordsAndTheHintWhileBothFieldsAreEmpty) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    for (const QString& text :
         {u"Start Network Test"_s, u"Configure your test and begin."_s, u"LOCATION"_s, u"NETWORK"_s,
          u"DURATION"_s, u"Fill in a location or network name to start"_s})
        EXPECT_TRUE(showsLabel(view, text)) << text.toStdString();
    QPushButton* start = button(view, u"Start Monitoring"_s);
    ASSERT_NE(start, nullptr);
    EXPECT_FALSE(start->isEnabled());
    EXPECT_EQ(start->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Return));
    for (const QString& text : {u"Timed Test"_s, u"Run Continuously"_s, u"5m"_s, u"10m"_s, u"15m"_s, u"30m"_s,
                                u"1h"_s, u"3h"_s, u"Test History"_s}) {
        QPushButton* found = button(view, text);
        ASSERT_NE(found, nullptr) << text.toStdString();
        EXPECT_TRUE(found->isVisible()) << text.toStdString();
    }
    EXPECT_TRUE(button(view, u"5m"_s)->isChecked());
    EXPECT_TRUE(button(view, u"Timed Test"_s)->isChecked());
    EXPECT_FALSE(button(view, u"Active"_s)->isVisible());

    auto* location = named<QLineEdit>(view, u"Location"_s);
    auto* network = named<QLineEdit>(view, u"Network"_s);
    ASSERT_NE(location, nullptr);
    ASSERT_NE(network, nullptr);
    EXPECT_EQ(location->placeholderText(), u"e.g. DAL 367 SAN-JFK | Oceanview B2F1"_s);
    EXPECT_EQ(network->placeholderText(), u"e.g. AeroWiFi.example | Zefi"_s);
}

TEST_F(SetupViewTest, TypingANameEnablesStartAndTakesTheHintAway) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    auto* location = named<QLineEdit>(view, u"Location"_s);
    QTest::keyClicks(location, u" "_s);
    EXPECT_EQ(view.model().location(), u" "_s);
    EXPECT_TRUE(button(view, u"Start Monitoring"_s)->isEnabled()) << "a blank counts as filled";
    EXPECT_FALSE(showsLabel(view, u"Fill in a location or network name to start"_s));
}

TEST_F(SetupViewTest, StartWithALocationStartsTheCaptureOfTheChoices) {
    home.installFakeUv();
    qputenv("NORVANE_SIM_SPEED", "20");
    AppState state(log);
    SetupView view(state);
    showAndActivate(view);
    QTest::keyClicks(named<QLineEdit>(view, u"Location"_s), u"Gate 12"_s);
    button(view, u"1h"_s)->click();
    EXPECT_TRUE(button(view, u"1h"_s)->isChecked());
    EXPECT_FALSE(button(view, u"5m"_s)->isChecked());
    button(view, u"Start Monitoring"_s)->click();

    EXPECT_EQ(state.screen(), AppState::Screen::running);
    EXPECT_EQ(state.captureLocation(), u"Gate 12"_s);
    EXPECT_FALSE(state.captureNetwork());
    ASSERT_TRUE(runUntil([this] { return !journal().isEmpty(); }));
    const QStringList arguments = argv(journal().first());
    EXPECT_EQ(arguments.mid(arguments.indexOf(u"--location"_s), 4),
              (QStringList{u"--location"_s, u"Gate 12"_s, u"--duration"_s, u"1h"_s}));
    EXPECT_FALSE(arguments.contains(u"--network"_s));
    EXPECT_FALSE(arguments.contains(u"--profile"_s));
    EXPECT_EQ(Settings().stringList(Settings::pastLocations).first(), u"Gate 12"_s);
    state.pythonProcess().reset();
    qunsetenv("NORVANE_SIM_SPEED");
}

TEST_F(SetupViewTest, ControlReturnStartsFromTheKeyboard) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    auto* network = named<QLineEdit>(view, u"Network"_s);
    network->setFocus();
    QTest::keyClicks(network, u"Zefi"_s);
    // Through the window, as a real key press comes, with the focus in the field.
    QTest::keyClick(view.windowHandle(), Qt::Key_Return, Qt::ControlModifier);
    // A shortcut presses the button visibly, which takes Qt's own brief animation.
    ASSERT_TRUE(runUntil([this] { return !started.isEmpty(); }));
    ASSERT_EQ(started.size(), 1);
    EXPECT_EQ(started[0].network, u"Zefi"_s);
    EXPECT_EQ(started[0].durationString, u"5m"_s);

    QTest::keyClick(view.windowHandle(), Qt::Key_Enter, Qt::ControlModifier | Qt::KeypadModifier);
    EXPECT_EQ(started.size(), 2) << "the keypad's Enter works alike";
}

TEST_F(SetupViewTest, ClickingEachFieldInTurnTypesIntoIt) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    auto* location = named<QLineEdit>(view, u"Location"_s);
    auto* network = named<QLineEdit>(view, u"Network"_s);

    QTest::mouseClick(location, Qt::LeftButton);
    type(view, u"Gate 12"_s);
    EXPECT_EQ(location->text(), u"Gate 12"_s);

    QTest::mouseClick(network, Qt::LeftButton);
    EXPECT_EQ(QApplication::focusWidget(), network) << "one click moves the focus";
    EXPECT_TRUE(view.model().networkFocused());
    EXPECT_FALSE(view.model().locationFocused());
    type(view, u"Zefi"_s);
    EXPECT_EQ(network->text(), u"Zefi"_s);
    EXPECT_EQ(location->text(), u"Gate 12"_s);

    QTest::mouseClick(location, Qt::LeftButton);
    EXPECT_EQ(QApplication::focusWidget(), location) << "and one click moves it back";
    EXPECT_TRUE(view.model().locationFocused());
    EXPECT_FALSE(view.model().networkFocused());
    press(view, Qt::Key_End);
    type(view, u" B"_s);
    EXPECT_EQ(location->text(), u"Gate 12 B"_s);
    EXPECT_EQ(network->text(), u"Zefi"_s);
    EXPECT_EQ(view.model().location(), u"Gate 12 B"_s);
    EXPECT_EQ(view.model().network(), u"Zefi"_s);
}

TEST_F(SetupViewTest, TabVisitsEveryControlInOrderAndReturnStarts) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    auto* location = named<QLineEdit>(view, u"Location"_s);
    EXPECT_EQ(QApplication::focusWidget(), location) << "a fresh window starts in the location field";
    type(view, u"Gate 12"_s);

    // Each row of choices is one stop, at its chosen button, as a group of radio buttons is.
    const QStringList forward{
        u"Network"_s,          u"Timed Test"_s,   u"5m"_s,      u"Enable YouTube quality testing"_s,
        u"Start Monitoring"_s, u"Test History"_s, u"Location"_s};
    EXPECT_EQ(focusStops(view), forward);
    QStringList backward = forward;
    std::reverse(backward.begin(), backward.end() - 1);
    EXPECT_EQ(focusStops(view, Qt::ShiftModifier), backward);
    EXPECT_EQ(location->text(), u"Gate 12"_s) << "the round trip types nothing";

    // Within a row the arrow keys move the choice.
    for (int stop = 0; stop < 2; ++stop)
        press(view, Qt::Key_Tab);
    ASSERT_EQ(QApplication::focusWidget(), button(view, u"Timed Test"_s));
    press(view, Qt::Key_Tab);
    ASSERT_EQ(QApplication::focusWidget(), button(view, u"5m"_s));
    press(view, Qt::Key_Right);
    press(view, Qt::Key_Right);
    EXPECT_EQ(QApplication::focusWidget(), button(view, u"15m"_s));
    EXPECT_EQ(view.model().selectedDuration(), u"15m"_s);
    press(view, Qt::Key_Left);
    EXPECT_EQ(view.model().selectedDuration(), u"10m"_s);

    press(view, Qt::Key_Tab);
    press(view, Qt::Key_Tab);
    ASSERT_EQ(QApplication::focusWidget(), button(view, u"Start Monitoring"_s));
    press(view, Qt::Key_Return);
    ASSERT_EQ(started.size(), 1);
    EXPECT_EQ(started[0].location, u"Gate 12"_s);
    EXPECT_FALSE(started[0].network);
    EXPECT_EQ(started[0].durationString, u"10m"_s);
}

TEST_F(SetupViewTest, ControlReturnDoesNothingWhileStartIsDisabled) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    QTest::keyClick(view.windowHandle(), Qt::Key_Return, Qt::ControlModifier);
    QTest::keyClick(view.windowHandle(), Qt::Key_Enter, Qt::ControlModifier | Qt::KeypadModifier);
    QTest::qWait(300); // longer than the button's press animation
    EXPECT_TRUE(started.isEmpty());
}

TEST_F(SetupViewTest, ContinuousModeShowsTheProfilesWithTheirCaption) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    button(view, u"Run Continuously"_s)->click();
    EXPECT_FALSE(button(view, u"5m"_s)->isVisible());
    EXPECT_TRUE(button(view, u"Active"_s)->isVisible());
    EXPECT_TRUE(button(view, u"Passive"_s)->isVisible());
    EXPECT_TRUE(button(view, u"Active"_s)->isChecked());
    EXPECT_TRUE(showsLabel(view, u"High-frequency testing for focused captures"_s));
    button(view, u"Passive"_s)->click();
    EXPECT_TRUE(showsLabel(view, u"Relaxed intervals for continuous monitoring"_s));
    button(view, u"Run Continuously"_s)->click();
    EXPECT_TRUE(button(view, u"Run Continuously"_s)->isChecked()) << "pressing the chosen half keeps it";

    QTest::keyClicks(named<QLineEdit>(view, u"Network"_s), u"Starlink LEO"_s);
    button(view, u"Start Monitoring"_s)->click();
    ASSERT_EQ(started.size(), 1);
    EXPECT_FALSE(started[0].durationString);
    EXPECT_EQ(started[0].profile, CaptureProfile::passive);
}

TEST_F(SetupViewTest, NetworkSuggestionsShowOnFocusAndFollowTheKeyboard) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    auto* network = named<QLineEdit>(view, u"Network"_s);
    auto* list = named<QListWidget>(view, u"Network suggestions"_s);
    ASSERT_NE(list, nullptr);
    QAbstractItemModelTester tester(list->model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_FALSE(list->isVisible());

    network->setFocus();
    ASSERT_TRUE(list->isVisible());
    const QStringList shown = rows(list);
    ASSERT_EQ(shown.size(), 7);
    EXPECT_EQ(shown.first(5), SetupScreen::networkSeedRows.first(5)) << "the seeded history leads";

    QTest::keyClick(network, Qt::Key_Down);
    QTest::keyClick(network, Qt::Key_Down);
    EXPECT_EQ(list->currentRow(), 1);
    EXPECT_TRUE(network->hasFocus()) << "the field keeps the focus while the rows are walked";
    QTest::keyClick(network, Qt::Key_Up);
    QTest::keyClick(network, Qt::Key_Down);
    QTest::keyClick(network, Qt::Key_Return);
    EXPECT_EQ(network->text(), shown[1]);
    EXPECT_EQ(view.model().network(), shown[1]);
    EXPECT_FALSE(network->hasFocus());
    EXPECT_FALSE(list->isVisible());
}

TEST_F(SetupViewTest, ClickingASuggestionFillsTheField) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    auto* network = named<QLineEdit>(view, u"Network"_s);
    auto* list = named<QListWidget>(view, u"Network suggestions"_s);
    network->setFocus();
    ASSERT_TRUE(list->isVisible());
    QListWidgetItem* third = list->item(2);
    const QString text = third->text();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(third).center());
    EXPECT_EQ(network->text(), text);
    EXPECT_FALSE(list->isVisible());
}

TEST_F(SetupViewTest, LocationSuggestionsWaitForText) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    auto* location = named<QLineEdit>(view, u"Location"_s);
    auto* list = named<QListWidget>(view, u"Location suggestions"_s);
    ASSERT_NE(list, nullptr);
    QAbstractItemModelTester tester(list->model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    location->setFocus();
    EXPECT_FALSE(list->isVisible()) << "a long history shows nothing under an empty field";
    QTest::keyClicks(location, u"dal"_s);
    ASSERT_TRUE(list->isVisible());
    EXPECT_EQ(rows(list), (QStringList{u"DAL 709 JFK-SAN"_s, u"DAL 367 SAN-JFK"_s}));
    QTest::keyClick(location, Qt::Key_Return);
    EXPECT_EQ(location->text(), u"dal"_s) << "return without a highlighted row only leaves the field";
    EXPECT_FALSE(location->hasFocus());
    EXPECT_FALSE(list->isVisible());
}

TEST_F(SetupViewTest, VideoPanelOffersTheInstallAndShowsItsProgressAndError) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    EXPECT_TRUE(showsLabel(view, u"YouTube Quality Testing"_s));
    EXPECT_TRUE(showsLabel(view, u"Measure video bitrate, quality, and buffering"_s));
    QPushButton* enable = button(view, u"Enable"_s);
    ASSERT_NE(enable, nullptr);
    ASSERT_TRUE(enable->isVisible());
    auto* spinner = named<QWidget>(view, u"Installing"_s);
    ASSERT_NE(spinner, nullptr);
    EXPECT_FALSE(spinner->isVisible());

    enable->click();
    EXPECT_FALSE(enable->isVisible());
    EXPECT_TRUE(spinner->isVisible());
    EXPECT_TRUE(showsLabel(view, u"Preparing download…"_s));
    installProgress(u"(1/3) Downloading video test components… 10%"_s);
    EXPECT_TRUE(showsLabel(view, u"(1/3) Downloading video test components… 10%"_s));

    installFinished({Bootstrap::ChromiumInstallOutcome::Kind::exited, {}, 1, u"Error: no space left"_s});
    EXPECT_TRUE(enable->isVisible()) << "the button can be pressed again";
    EXPECT_FALSE(spinner->isVisible());
    QLabel* error = label(view, u"Installation failed: Error: no space left"_s);
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(error->isVisible());
    EXPECT_FALSE(showsLabel(view, u"(1/3) Downloading video test components… 10%"_s));
}

TEST_F(SetupViewTest, AvailableBrowserHidesThePanelAndAnnouncesVideoTestsOnce) {
    browserInCache = true;
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    EXPECT_FALSE(showsLabel(view, u"YouTube Quality Testing"_s)) << "no panel while the check runs";
    ASSERT_TRUE(pendingCheck);
    std::exchange(pendingCheck, {})(true);
    EXPECT_TRUE(showsLabel(view, u"YouTube video streaming tests enabled"_s));
    EXPECT_FALSE(showsLabel(view, u"YouTube Quality Testing"_s));

    QTest::keyClicks(named<QLineEdit>(view, u"Location"_s), u"Gate 12"_s);
    button(view, u"Start Monitoring"_s)->click();
    EXPECT_FALSE(showsLabel(view, u"YouTube video streaming tests enabled"_s));
}

TEST_F(SetupViewTest, StartDuringTheBrowserCheckWaitsForIt) {
    browserInCache = true;
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    QTest::keyClicks(named<QLineEdit>(view, u"Location"_s), u"Gate 12"_s);
    button(view, u"Start Monitoring"_s)->click();
    EXPECT_TRUE(started.isEmpty());
    std::exchange(pendingCheck, {})(false);
    EXPECT_EQ(started.size(), 1);
}

TEST_F(SetupViewTest, FooterShowsTheReportedNetworkAndCountsDownToTheRetry) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    EXPECT_FALSE(named<QWidget>(view, u"Network name"_s)->isVisible());
    state.pythonProcess().processLine(uR"({"event":"info","ssid":"CafeNet","rssi":-61})"_s);
    EXPECT_TRUE(showsLabel(view, u"CafeNet"_s));
    EXPECT_TRUE(showsLabel(view, u"-61 dBm"_s));

    state.scheduleNextRetry();
    EXPECT_TRUE(showsLabel(view, u"1 capture pending — retrying in 60s"_s));
    clock.advance(10);
    EXPECT_TRUE(showsLabel(view, u"1 capture pending — retrying in 50s"_s)) << "redrawn every second";
    state.cancelPendingRetry();
    EXPECT_FALSE(named<QWidget>(view, u"Pending upload"_s)->isVisible());
}

TEST_F(SetupViewTest, AppearingTakesTheNetworkTheToolLastReported) {
    AppState state(log);
    state.pythonProcess().processLine(uR"({"event":"info","ssid":"CafeNet"})"_s);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    EXPECT_EQ(named<QLineEdit>(view, u"Network"_s)->text(), u"CafeNet"_s);
}

TEST_F(SetupViewTest, TestHistoryAsksForThePicker) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    QSignalSpy spy(&view, &SetupView::historyRequested);
    button(view, u"Test History"_s)->click();
    EXPECT_EQ(spy.count(), 1);
}

TEST_F(SetupViewTest, UpdateBannerSlotTakesNoRoomUntilItHoldsABanner) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    QWidget* slot = view.updateBannerSlot();
    EXPECT_FALSE(slot->isVisible());
    auto* banner = new QLabel(u"A new version is available"_s);
    slot->layout()->addWidget(banner);
    QApplication::processEvents();
    EXPECT_TRUE(slot->isVisible());
    delete banner;
    QApplication::processEvents();
    EXPECT_FALSE(slot->isVisible());
}

TEST_F(SetupViewTest, EveryControlHasAnAccessibleName) {
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    const QList<QWidget*> widgets = view.findChildren<QWidget*>();
    int controls = 0;
    for (QWidget* widget : widgets) {
        // The fields' clear buttons are Qt's own and named by Qt.
        if (qobject_cast<QLineEdit*>(widget->parentWidget()))
            continue;
        if (qobject_cast<QAbstractButton*>(widget) || qobject_cast<QLineEdit*>(widget) ||
            qobject_cast<QListWidget*>(widget)) {
            ++controls;
            EXPECT_FALSE(widget->accessibleName().isEmpty()) << widget->metaObject()->className();
        }
    }
    EXPECT_GE(controls, 16);
}

TEST_F(SetupViewTest, HidingTheScreenForgetsAWaitingStart) {
    browserInCache = true;
    AppState state(log);
    SetupView view(state, fakeServices());
    showAndActivate(view);
    QTest::keyClicks(named<QLineEdit>(view, u"Location"_s), u"Gate 12"_s);
    button(view, u"Start Monitoring"_s)->click();
    view.hide();
    std::exchange(pendingCheck, {})(true);
    EXPECT_TRUE(started.isEmpty());
}

TEST_F(SetupViewTest, FollowsTheSchemeFromDarkBackToLight) {
    // Whatever happens below, the tests after this one see the light scheme.
    struct LightAfterwards {
        ~LightAfterwards() { Theme::apply(*qApp, Theme::Scheme::Light); }
    } lightAfterwards;
    Theme::apply(*qApp, Theme::Scheme::Light);
    AppState state(log);
    // Inside another window, as in the program: a view that is itself a window hears of the application's
    // new palette directly, one inside another widget only through its parent.
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* view = new SetupView(state, fakeServices());
    layout->addWidget(view);
    showAndActivate(window);
    auto* location = named<QLineEdit>(*view, u"Location"_s);
    ASSERT_NE(location, nullptr);

    // A pixel of the page with nothing on it, and one inside the empty field past its placeholder.
    const QPoint emptyArea(4, 4);
    const QPoint insideField = location->mapTo(view, QPoint(location->width() - 8, location->height() / 2));
    QImage image;
    auto lightness = [&image](QPoint point) {
        const qreal ratio = image.devicePixelRatio();
        return image.pixelColor(qRound(point.x() * ratio), qRound(point.y() * ratio)).lightness();
    };
    auto showScheme = [&](Theme::Scheme scheme) {
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        image = view->grab().toImage();
    };

    showScheme(Theme::Scheme::Dark);
    EXPECT_LT(lightness(emptyArea), 80) << "background in the dark scheme";
    EXPECT_LT(lightness(insideField), 80) << "location field in the dark scheme";

    showScheme(Theme::Scheme::Light);
    EXPECT_GT(lightness(emptyArea), 200) << "background back in the light scheme";
    EXPECT_GT(lightness(insideField), 200) << "location field back in the light scheme";

    showScheme(Theme::Scheme::Dark);
    EXPECT_LT(lightness(emptyArea), 80) << "background in the dark scheme again";
    EXPECT_LT(lightness(insideField), 80) << "location field in the dark scheme again";
}
