#include "views/RunningView.h"

#include "views/HoneycombView.h"
#include "views/LiveLatencyChartView.h"
#include "views/NoteChipsView.h"
#include "views/StatCardView.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "screens/RunningScreen.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/PumpUntil.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

class RunningViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    std::unique_ptr<RunningView> view;

    void open() {
        view = std::make_unique<RunningView>(state);
        view->resize(700, 800);
        view->show();
        QApplication::processEvents();
    }

    void feed(const QString& json) { state.pythonProcess().processLine(json); }
    void status(double elapsed) { feed(u"{\"event\":\"status\",\"elapsed_sec\":%1}"_s.arg(elapsed)); }

    // A label the user can see with exactly this text.
    QLabel* shownLabel(const QString& text) const {
        const QList<QLabel*> labels = view->findChildren<QLabel*>();
        for (QLabel* label : labels) {
            if (label->text() == text && label->isVisibleTo(view.get()))
                return label;
        }
        return nullptr;
    }
    bool shows(const QString& text) const { return shownLabel(text) != nullptr; }

    QPushButton* button(const QString& title) const {
        const QList<QPushButton*> buttons = view->findChildren<QPushButton*>();
        for (QPushButton* candidate : buttons) {
            if (candidate->text() == title)
                return candidate;
        }
        return nullptr;
    }
    bool buttonShown(const QString& title) const {
        QPushButton* found = button(title);
        return found && found->isVisibleTo(view.get());
    }

    StatCardView* card(const char* name) const { return view->findChild<StatCardView*>(QLatin1String(name)); }

    // Lets a change of size run its course: the scroll bar, then the room kept for it.
    static void settle() {
        for (int round = 0; round < 3; ++round)
            QApplication::processEvents();
    }

    // A capture under way in a view of this size.
    void openAt(int width, int height) {
        state.startReplay(CaptureConfig{});
        view = std::make_unique<RunningView>(state);
        view->resize(width, height);
        view->show();
        settle();
    }

    QScrollBar* scrollBar() const { return view->findChild<QScrollArea*>()->verticalScrollBar(); }
    QWidget* honeycomb() const { return view->findChild<HoneycombView*>(); }
    // Where a widget of the scrolling area sits in it.
    QRect placeOf(QWidget* widget) const {
        return QRect(widget->mapTo(view->findChild<QScrollArea*>()->widget(), QPoint(0, 0)), widget->size());
    }
};

TEST_F(RunningViewTest, EarlyOnItSaysStartingUpThenStartingProbes) {
    state.startReplay(CaptureConfig{});
    open();
    EXPECT_TRUE(shows(u"Starting up..."_s));
    feed(uR"({"event":"info","capture_id":"c-1"})"_s);
    EXPECT_TRUE(shows(u"Starting probes..."_s));
    EXPECT_FALSE(shows(u"Starting up..."_s));
    status(1);
    EXPECT_FALSE(shows(u"Starting probes..."_s)) << "the first status ends the start-up line";
}

TEST_F(RunningViewTest, TwentySecondsWithoutDataOfferStopAndDiagnose) {
    state.startReplay(CaptureConfig{});
    open();
    feed(uR"({"event":"info","capture_id":"c-1"})"_s);
    status(1);
    EXPECT_FALSE(buttonShown(u"Stop and Diagnose"_s));
    time.advance(5);
    EXPECT_TRUE(shows(u"No data for 5s — check network connectivity"_s));
    time.advance(14);
    EXPECT_TRUE(shows(u"No data for 19s — check network connectivity"_s));
    EXPECT_FALSE(buttonShown(u"Stop and Diagnose"_s));
    time.advance(1);
    EXPECT_TRUE(shows(u"No data received for 20s"_s));
    ASSERT_TRUE(buttonShown(u"Stop and Diagnose"_s));
    EXPECT_EQ(button(u"Stop and Diagnose"_s)->accessibleName(), u"Stop and Diagnose"_s);

    QTest::mouseClick(button(u"Stop and Diagnose"_s), Qt::LeftButton);
    EXPECT_EQ(state.screen(), AppState::Screen::diagnostics);
    EXPECT_EQ(state.errorMessage(), u"No data received after 20 seconds"_s);
}

TEST_F(RunningViewTest, AStatusEventClearsTheSilenceNotice) {
    state.startReplay(CaptureConfig{});
    open();
    status(1);
    time.advance(21);
    ASSERT_TRUE(shows(u"No data received for 21s"_s));
    status(22);
    EXPECT_FALSE(shows(u"No data received for 21s"_s));
    EXPECT_FALSE(buttonShown(u"Stop and Diagnose"_s));
}

TEST_F(RunningViewTest, BlockedTargetShowsTheBlockedLine) {
    state.startReplay(CaptureConfig{});
    open();
    const auto probe = [this](const QString& type, const QString& target, bool loss) {
        feed(u"{\"event\":\"probe\",\"type\":\"%1\",\"target\":\"%2\",\"loss\":%3,\"ts\":\"%4\"%5}"_s.arg(
            type, target, loss ? u"true"_s : u"false"_s, time.now().toString(Qt::ISODateWithMs),
            loss ? QString() : u",\"rtt_ms\":20"_s));
    };
    for (int second = 0; second <= 10; ++second) {
        EXPECT_FALSE(shows(u"Blocked: udp:9.9.9.9"_s)) << second;
        probe(u"ping"_s, u"1.1.1.1"_s, false);
        probe(u"udp"_s, u"9.9.9.9"_s, true);
        time.advance(1);
    }
    EXPECT_TRUE(shows(u"Blocked: udp:9.9.9.9"_s));
    probe(u"udp"_s, u"9.9.9.9"_s, false);
    EXPECT_FALSE(shows(u"Blocked: udp:9.9.9.9"_s)) << "an answer unblocks it";
}

TEST_F(RunningViewTest, TimedCaptureShowsTheBarAndTheTimeLeft) {
    state.startReplay(CaptureConfig{});
    open();
    feed(uR"({"event":"status","elapsed_sec":65,"remaining_sec":235})"_s);
    EXPECT_TRUE(shows(u"1:05"_s));
    EXPECT_TRUE(shows(u"3:55 remaining"_s));
    auto* bar = view->findChild<QProgressBar*>();
    ASSERT_TRUE(bar);
    EXPECT_TRUE(bar->isVisibleTo(view.get()));
    EXPECT_EQ(bar->maximum(), 300);
    EXPECT_EQ(bar->value(), 65);
    feed(uR"({"event":"status","elapsed_sec":301})"_s); // the time is up, or the capture is open-ended
    EXPECT_TRUE(shows(u"5:01"_s));
    EXPECT_FALSE(bar->isVisibleTo(view.get()));
    EXPECT_FALSE(shows(u"3:55 remaining"_s));
}

TEST_F(RunningViewTest, CardsShowTheFiguresAndTheVideoTilesOnlyWithResults) {
    state.startReplay(CaptureConfig{});
    open();
    EXPECT_EQ(card("latencyCard")->card().value, u"---"_s);
    EXPECT_FALSE(card("youTubeTile")->isVisibleTo(view.get()));
    EXPECT_FALSE(card("netflixTile")->isVisibleTo(view.get()));

    feed(
        uR"({"event":"status","elapsed_sec":3,"icmp_rtt_ms":31.4,"icmp_loss_pct":0,"rssi":-58,"no_internet":true})"_s);
    EXPECT_EQ(card("latencyCard")->card().value, u"No Internet"_s);
    EXPECT_EQ(card("latencyCard")->card().ratingLine(), u"Broken"_s);
    EXPECT_EQ(card("lossCard")->card().ratingLine(), u"Broken"_s);
    EXPECT_EQ(card("signalCard")->card().value, u"-58 dBm"_s);
    EXPECT_EQ(card("latencyCard")->accessibleName(), u"Latency"_s);

    feed(uR"({"event":"youtube_abr_result","ts":"2026-03-14T09:30:00Z","auto_resolution":"1280x720"})"_s);
    ASSERT_TRUE(card("youTubeTile")->isVisibleTo(view.get()));
    EXPECT_EQ(card("youTubeTile")->card().value, u"720p"_s);
    feed(
        uR"({"event":"cdn_throughput_result","target":"netflix_oca","mbps":9.96,"bytes":1000,"ts":"2026-03-14T09:30:00Z"})"_s);
    ASSERT_TRUE(card("netflixTile")->isVisibleTo(view.get()));
    EXPECT_EQ(card("netflixTile")->card().value, u"10.0 Mbps"_s);
    EXPECT_EQ(card("netflixTile")->card().subtitle, u"~4K"_s);
}

TEST_F(RunningViewTest, AgesGrowWithTheClock) {
    state.startReplay(CaptureConfig{});
    open();
    feed(uR"({"event":"status","elapsed_sec":3,"dns_ms":14})"_s);
    EXPECT_FALSE(card("dnsCard")->card().subtitle);
    for (int second = 0; second < 40; ++second) {
        time.advance(1);
        status(4 + second); // the tool is alive, but reports no new DNS figure
    }
    EXPECT_EQ(card("dnsCard")->card().value, u"14 ms"_s);
    EXPECT_EQ(card("dnsCard")->card().subtitle, u"1m ago"_s);
}

TEST_F(RunningViewTest, TheLossCardBreathesOnlyWhileItsFigureHoldsStill) {
    state.startReplay(CaptureConfig{});
    open();
    feed(uR"({"event":"status","elapsed_sec":1,"icmp_rtt_ms":20,"icmp_loss_pct":0.5})"_s);
    StatCardView* loss = card("lossCard");
    EXPECT_FALSE(loss->card().breathing);
    EXPECT_FALSE(loss->isPulseTimerRunning());
    time.advance(6);
    EXPECT_TRUE(loss->card().breathing);
    EXPECT_TRUE(loss->isPulseTimerRunning());
    time.advance(0.7);
    EXPECT_LT(loss->pulseOpacity(), 1.0);

    view->hide();
    EXPECT_FALSE(loss->isPulseTimerRunning()) << "no frames for a screen nobody sees";
    view->show();
    EXPECT_TRUE(loss->isPulseTimerRunning());

    feed(uR"({"event":"status","elapsed_sec":8,"icmp_rtt_ms":20,"icmp_loss_pct":1.5})"_s);
    EXPECT_FALSE(loss->card().breathing);
    time.advance(0.4);
    QApplication::processEvents();
    EXPECT_DOUBLE_EQ(loss->pulseOpacity(), 1.0);
    EXPECT_FALSE(loss->isPulseTimerRunning()) << "the frames stop once the figure has settled";
}

TEST_F(RunningViewTest, WarningsCanBeCopiedToTheClipboard) {
    state.startReplay(CaptureConfig{});
    open();
    feed(uR"({"event":"error","message":"Traceroute unavailable on this network","fatal":false})"_s);
    QLabel* warning = shownLabel(u"Traceroute unavailable on this network"_s);
    ASSERT_TRUE(warning);
    QWidget* row = warning->parentWidget();
    ASSERT_TRUE(row);
    EXPECT_EQ(row->contextMenuPolicy(), Qt::ActionsContextMenu);
    QAction* copy = nullptr;
    const QList<QAction*> actions = row->actions();
    for (QAction* action : actions) {
        if (action->text() == u"Copy to Clipboard"_s)
            copy = action;
    }
    ASSERT_TRUE(copy);
    QGuiApplication::clipboard()->clear();
    copy->trigger();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), u"Traceroute unavailable on this network"_s);
}

TEST_F(RunningViewTest, ButtonsFollowTheProfileAndTheRunningTest) {
    state.startReplay(CaptureConfig{});
    open();
    EXPECT_TRUE(buttonShown(u"Stop Test"_s));
    EXPECT_TRUE(buttonShown(u"Speed Test"_s));
    EXPECT_TRUE(buttonShown(u"YouTube"_s));
    feed(uR"({"event":"info","profile":"active","youtube_abr_available":false})"_s);
    EXPECT_TRUE(button(u"Speed Test"_s)->isEnabled());
    EXPECT_FALSE(button(u"YouTube"_s)->isEnabled());
    feed(uR"({"event":"throughput_status","phase":"testing","ts":"2026-03-14T09:30:00Z"})"_s);
    EXPECT_FALSE(button(u"Speed Test"_s)->isEnabled());
    feed(uR"({"event":"info","profile":"passive"})"_s);
    EXPECT_FALSE(buttonShown(u"Speed Test"_s));
    EXPECT_FALSE(buttonShown(u"YouTube"_s));
    EXPECT_TRUE(buttonShown(u"Stop Test"_s));

    QTest::mouseClick(button(u"Stop Test"_s), Qt::LeftButton);
    EXPECT_EQ(state.screen(), AppState::Screen::finishing);
}

TEST_F(RunningViewTest, TheBrowserNoticeShowsWhenTheToolRunsWithoutTheBrowser) {
    home.installFakeUv();
    Settings().setBool(Settings::autoUpload, false);
    QDir().mkpath(home.path() + u"/.cache/ms-playwright/chromium-1187"_s);
    qputenv("NORVANE_SIM_SCENARIO", "browser-missing");
    open();
    const QString notice = u"YouTube ABR unavailable — browser not cached for offline use"_s;
    EXPECT_FALSE(shows(notice));
    state.startCapture(CaptureConfig{});

    // Lets the tool's output in, moving virtual time on a little once it has spoken.
    const auto runUntil = [this](const std::function<bool()>& done) {
        return pumpUntil(done, [&] {
            if (state.pythonProcess().latestEvent() || !state.pythonProcess().isChildRunning())
                time.advance(0.1);
        });
    };
    const bool started = runUntil([this] { return state.infoEvent().has_value(); });
    qunsetenv("NORVANE_SIM_SCENARIO");
    ASSERT_TRUE(started);
    EXPECT_TRUE(shows(notice));

    bool ended = false;
    QObject::connect(&state, &AppState::processTerminated, view.get(), [&ended] { ended = true; });
    state.stopCapture();
    ASSERT_TRUE(runUntil([&] { return ended; }));
}

TEST_F(RunningViewTest, ARoomyWindowShowsEverythingWithoutAScrollBar) {
    openAt(1400, 1000);
    EXPECT_FALSE(scrollBar()->isVisible());
    QWidget* notes = view->findChild<NoteChipsView*>();
    ASSERT_NE(notes, nullptr);
    const QScrollArea* area = view->findChild<QScrollArea*>();
    EXPECT_LE(placeOf(notes).bottom(), area->viewport()->height()) << "the notes are in sight";
}

TEST_F(RunningViewTest, TheScrollBarComingOrGoingKeepsTheHoneycombsWidth) {
    openAt(700, 1200);
    ASSERT_FALSE(scrollBar()->isVisible());
    const int roomyWidth = honeycomb()->width();

    view->resize(700, 450);
    settle();
    ASSERT_TRUE(scrollBar()->isVisible());
    EXPECT_EQ(honeycomb()->width(), roomyWidth) << "a new width would wipe the strip";

    view->resize(700, 1200);
    settle();
    EXPECT_FALSE(scrollBar()->isVisible());
    EXPECT_EQ(honeycomb()->width(), roomyWidth);
}

TEST_F(RunningViewTest, NoticesComingAndGoingMoveNothingAboveThem) {
    openAt(900, 1100);
    ASSERT_TRUE(shows(u"Starting up..."_s));
    QWidget* chart = view->findChild<LiveLatencyChartView*>();
    ASSERT_NE(chart, nullptr);
    const QRect chartPlace = placeOf(chart);
    const QRect stripPlace = placeOf(honeycomb());

    status(1); // the notice goes
    settle();
    EXPECT_FALSE(shows(u"Starting probes..."_s));
    EXPECT_EQ(placeOf(chart), chartPlace);
    EXPECT_EQ(placeOf(honeycomb()), stripPlace);

    for (int second = 0; second < 6; ++second)
        time.advance(1); // and a longer one comes
    settle();
    EXPECT_TRUE(shows(u"No data for 6s — check network connectivity"_s));
    EXPECT_EQ(placeOf(chart), chartPlace);
    EXPECT_EQ(placeOf(honeycomb()), stripPlace);
}

TEST_F(RunningViewTest, AtTheNarrowestWindowCardsTakeFewerColumnsAndKeepEachFigureOnOneLine) {
    openAt(600, 450);
    feed(
        uR"({"event":"status","elapsed_sec":3,"icmp_rtt_ms":31.4,"icmp_loss_pct":0.2,"rssi":-52,"dns_ms":14})"_s);
    feed(uR"({"event":"youtube_abr_result","ts":"2026-03-14T09:30:00Z","auto_resolution":"1280x720"})"_s);
    feed(
        uR"({"event":"cdn_throughput_result","target":"netflix_oca","mbps":136,"bytes":1000,"ts":"2026-03-14T09:30:00Z"})"_s);
    settle();

    const QList<StatCardView*> cards = view->findChildren<StatCardView*>();
    StatCardView* signal = card("signalCard");
    ASSERT_EQ(signal->card().value, u"-52 dBm"_s);
    EXPECT_GT(placeOf(card("uploadThroughputCard")).top(), placeOf(signal).top())
        << "five cards to a row don't fit: the row wraps";
    const double fullSize = signal->valueFont().pointSizeF();
    for (StatCardView* shown : cards) {
        if (!shown->isVisibleTo(view.get()))
            continue;
        const QString name = shown->objectName();
        EXPECT_EQ(shown->valueRect().height(), QFontMetrics(shown->valueFont()).height())
            << name.toStdString() << ": " << shown->card().value.toStdString();
        EXPECT_DOUBLE_EQ(shown->valueFont().pointSizeF(), fullSize) << name.toStdString();
    }
}

TEST_F(RunningViewTest, TheBarKeepsItsLengthAsTheClocksGrow) {
    state.startReplay(CaptureConfig{});
    open();
    feed(uR"({"event":"status","elapsed_sec":5,"remaining_sec":3595})"_s);
    settle();
    auto* bar = view->findChild<QProgressBar*>();
    ASSERT_TRUE(shows(u"59:55 remaining"_s));
    const QRect before = bar->geometry();
    feed(uR"({"event":"status","elapsed_sec":605,"remaining_sec":2995})"_s);
    settle();
    ASSERT_TRUE(shows(u"10:05"_s));
    EXPECT_EQ(bar->geometry(), before);
}
