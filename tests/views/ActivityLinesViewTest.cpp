#include "views/ActivityLinesView.h"

#include "views/RunningParts.h"
#include "views/Theme.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontMetrics>
#include <QLabel>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

class ActivityLinesViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    std::unique_ptr<ActivityLinesView> view;

    void TearDown() override {
        view.reset();
        Theme::apply(*qApp, Theme::Scheme::Light);
    }

    void open(int width = 700) {
        view = std::make_unique<ActivityLinesView>(state);
        view->resize(width, view->sizeHint().height());
        view->show();
        QApplication::processEvents();
    }

    void feed(const QString& json) { state.pythonProcess().processLine(json); }
    void probe(int rttMs) {
        feed(uR"({"event":"probe","type":"ping","target":"1.1.1.1:443","loss":false,"rtt_ms":%1,"ts":"x"})"_s
                 .arg(rttMs));
    }

    QLabel* label(const char* name) const { return view->findChild<QLabel*>(QString::fromLatin1(name)); }
    QString activityText() const { return label("activityText")->text(); }
    QString activityIcon() const { return label("activityIcon")->property("symbol").toString(); }
    QString triviaText() const { return label("triviaText")->text(); }
    QString triviaIcon() const { return label("triviaIcon")->property("symbol").toString(); }

    static QStringList bundledFacts() {
        QStringList facts;
        for (const TriviaContent::Fact& fact : TriviaContent::facts())
            facts.append(fact.fact);
        return facts;
    }
};

TEST_F(ActivityLinesViewTest, TheFactoryBuildsBothLines) {
    std::unique_ptr<QWidget> widget(makeActivityLines(state, nullptr).activity);
    EXPECT_NE(dynamic_cast<ActivityLinesView*>(widget.get()), nullptr);
    EXPECT_NE(widget->findChild<QLabel*>(u"activityText"_s), nullptr);
    EXPECT_NE(widget->findChild<QLabel*>(u"triviaText"_s), nullptr);
}

TEST_F(ActivityLinesViewTest, BothLinesHaveAccessibleNames) {
    open();
    QStringList names;
    for (const QWidget* child : view->findChildren<QWidget*>()) {
        if (!child->accessibleName().isEmpty())
            names.append(child->accessibleName());
    }
    EXPECT_TRUE(names.contains(u"Activity"_s));
    EXPECT_TRUE(names.contains(u"Trivia"_s));
}

TEST_F(ActivityLinesViewTest, TheLatestProbeReadingShowsInAMonospacedFace) {
    probe(23);
    open();
    time.advance(ActivityLines::fadeSeconds);
    EXPECT_EQ(activityText(), u"ping 1.1.1.1 … 23ms"_s);
    EXPECT_EQ(activityIcon(), u"waveform.path.ecg"_s);
    // Every glyph as wide as the next: some monospaced faces (Noto Sans Mono) don't carry the flag that
    // QFontInfo::fixedPitch reads.
    const QFontMetrics metrics(label("activityText")->font());
    EXPECT_EQ(metrics.horizontalAdvance(u'i'), metrics.horizontalAdvance(u'M'));
}

TEST_F(ActivityLinesViewTest, ANoticeReplacesTheReadingAtOnceInTheTextFace) {
    probe(23);
    open();
    time.advance(ActivityLines::fadeSeconds);
    feed(uR"({"event":"network_change","ssid_before":"Hotel","ssid_after":"Lobby"})"_s);
    time.advance(ActivityLines::fadeSeconds);
    EXPECT_EQ(activityText(), u"Network changed: Hotel → Lobby"_s);
    EXPECT_EQ(activityIcon(), u"wifi.exclamationmark"_s);
    const QFontMetrics metrics(label("activityText")->font());
    EXPECT_NE(metrics.horizontalAdvance(u'i'), metrics.horizontalAdvance(u'M'));
}

TEST_F(ActivityLinesViewTest, WhenTheFlashEndsTheNextTickBringsTheRunningTestBack) {
    open();
    feed(
        uR"({"event":"throughput_status","phase":"testing","direction":"upload","round_num":2,"total_rounds":3,"ts":"x"})"_s);
    feed(uR"({"event":"cdn_throughput_result","target":"netflix_oca","mbps":42.7,"bytes":1000,"ts":"x"})"_s);
    time.advance(ActivityLines::fadeSeconds);
    EXPECT_EQ(activityText(), u"Netflix OCA: 42 Mbps down"_s);
    time.advance(5.4);
    EXPECT_EQ(activityText(), u"Round 2/3: uploading…"_s);
    EXPECT_EQ(activityIcon(), u"chart.bar"_s);
}

TEST_F(ActivityLinesViewTest, TheTriviaLineShowsAFactAsSoonAsItAppears) {
    open();
    EXPECT_TRUE(bundledFacts().contains(triviaText())) << triviaText().toStdString();
    EXPECT_EQ(triviaIcon(), u"magnifyingglass"_s);
    EXPECT_EQ(label("triviaText")->foregroundRole(), QPalette::PlaceholderText);
}

TEST_F(ActivityLinesViewTest, TheTriviaLineMovesOnEveryTwentyFiveSeconds) {
    open();
    const QString first = triviaText();
    time.advance(24);
    EXPECT_EQ(triviaText(), first);
    time.advance(1 + TriviaLine::fadeSeconds);
    EXPECT_NE(triviaText(), first);
    EXPECT_EQ(triviaIcon(), u"bubble.left"_s);
}

TEST_F(ActivityLinesViewTest, AHiddenViewLetsBothLinesRest) {
    probe(23);
    open();
    time.advance(ActivityLines::fadeSeconds);
    const QString trivia = triviaText();
    view->hide();
    probe(99);
    feed(uR"({"event":"traceroute_result","target":"example.net","hops":[],"hop_count":7,"ts":"x"})"_s);
    time.advance(60);
    EXPECT_EQ(activityText(), u"ping 1.1.1.1 … 23ms"_s);
    EXPECT_EQ(triviaText(), trivia);
}

TEST_F(ActivityLinesViewTest, ANewCaptureStartsWithAClearActivityLineAndNewTrivia) {
    probe(23);
    open();
    time.advance(ActivityLines::fadeSeconds);
    time.advance(2 * TriviaLine::intervalSeconds + TriviaLine::fadeSeconds);
    ASSERT_EQ(view->triviaLine().content()->callCount(), 3);
    state.startReplay(CaptureConfig{});
    EXPECT_EQ(activityText(), QString());
    EXPECT_EQ(view->triviaLine().content()->callCount(), 1) << "the new capture's trivia starts afresh";
    EXPECT_EQ(triviaIcon(), u"magnifyingglass"_s);
}

TEST_F(ActivityLinesViewTest, AShortCaptureGetsTheShortRunThanks) {
    state.startReplay(CaptureConfig{});
    open();
    feed(uR"({"event":"info","capture_id":"c1","duration_secs":120})"_s);
    const QStringList chosen = view->triviaLine().content()->shuffledAppreciations();
    ASSERT_FALSE(chosen.isEmpty());
    for (const TriviaContent::Appreciation& entry : TriviaContent::appreciations()) {
        if (entry.category == u"long_run"_s || entry.category == u"short_run"_s) {
            EXPECT_EQ(chosen.contains(entry.message), entry.category == u"short_run"_s)
                << entry.message.toStdString();
        }
    }
}

TEST_F(ActivityLinesViewTest, ALongTextKeepsItsFullWordsForAssistiveTools) {
    open(220);
    feed(
        uR"({"event":"network_change","ssid_before":"A very long hotel network name","ssid_after":"Another very long network name"})"_s);
    time.advance(ActivityLines::fadeSeconds);
    EXPECT_EQ(activityText(),
              u"Network changed: A very long hotel network name → Another very long network name"_s);
    EXPECT_LE(view->width(), 220);
}
