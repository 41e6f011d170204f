#include "views/LiveLatencyChartView.h"

#include "core/AppState.h"

#include "base/VirtualClock.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/TempHome.h"
#include "views/ChartMarkers.h"
#include "views/RunningParts.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCategoryAxis>
#include <QChart>
#include <QImage>
#include <QLabel>
#include <QLineSeries>
#include <QSet>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QValueAxis>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

qsizetype pointCount(const QList<QLineSeries*>& series) {
    qsizetype count = 0;
    for (const QLineSeries* one : series)
        count += one->count();
    return count;
}

// Whether some pixel of the picture is close to this colour.
bool showsColour(const QImage& picture, const QColor& colour) {
    const QImage image = picture.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (std::abs(qRed(line[x]) - colour.red()) < 24 &&
                std::abs(qGreen(line[x]) - colour.green()) < 24 &&
                std::abs(qBlue(line[x]) - colour.blue()) < 24)
                return true;
        }
    }
    return false;
}

} // namespace

class LiveLatencyChartViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};

    void SetUp() override { state.startReplay(CaptureConfig{}); }
    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }

    void feed(const QString& json) { state.pythonProcess().processLine(json); }

    void probe(const QString& type, std::optional<double> rtt, double secondsAgo = 0) {
        QString line =
            u"{\"event\":\"probe\",\"type\":\"%1\",\"target\":\"t\",\"loss\":%2,\"ts\":\"%3\""_s.arg(
                type, rtt ? u"false"_s : u"true"_s,
                time.now().addMSecs(-qint64(secondsAgo * 1000)).toString(Qt::ISODateWithMs));
        if (rtt)
            line += u",\"rtt_ms\":"_s + QString::number(*rtt);
        feed(line + u'}');
    }

    // The probes of a capture of `seconds`: six protocols a second, with now and then a loss.
    void capture(int seconds) {
        const QStringList types = {u"ping"_s, u"udp"_s, u"tcp"_s, u"http"_s, u"dns"_s, u"quic"_s};
        for (int s = seconds; s > 0; --s) {
            for (qsizetype i = 0; i < types.size(); ++i) {
                const bool lost = (s * 7 + i) % 53 == 0;
                const double rtt = 12 + double(i) * 6 + double((s * 13 + i * 5) % 17);
                probe(types[i], lost ? std::nullopt : std::optional<double>(rtt), s - double(i) / 6.0);
            }
        }
    }

    void flush() { time.advance(0.5); }

    std::unique_ptr<LiveLatencyChartView> shownView() {
        auto view = std::make_unique<LiveLatencyChartView>(state);
        view->resize(700, view->sizeHint().height());
        view->show();
        QApplication::processEvents();
        return view;
    }
};

TEST_F(LiveLatencyChartViewTest, TheFactoryOfTheRunningScreenGivesTheChart) {
    std::unique_ptr<QWidget> widget(makeLiveLatencyChart(state, nullptr));
    EXPECT_NE(dynamic_cast<LiveLatencyChartView*>(widget.get()), nullptr);
}

TEST_F(LiveLatencyChartViewTest, WaitsThenCollectsThenDrawsFromTheThirdPoint) {
    auto view = shownView();
    EXPECT_FALSE(view->isShowingChart());
    EXPECT_EQ(view->placeholderText(), u"Waiting for first measurements..."_s);

    feed(uR"({"event":"status","elapsed_sec":1})"_s);
    probe(u"ping"_s, 20);
    probe(u"ping"_s, 21);
    flush();
    EXPECT_FALSE(view->isShowingChart());
    EXPECT_EQ(view->placeholderText(), u"Collecting data..."_s);

    probe(u"ping"_s, 22);
    flush();
    EXPECT_TRUE(view->isShowingChart());
    EXPECT_EQ(view->dotSeries()[0]->count(), 3);
}

TEST_F(LiveLatencyChartViewTest, ShowsTheHeaderWithItsUnit) {
    auto view = shownView();
    QStringList texts;
    for (const QLabel* label : view->findChildren<QLabel*>())
        texts.append(label->text());
    EXPECT_TRUE(texts.contains(u"Live Latency"_s));
    EXPECT_TRUE(texts.contains(u"ms"_s));
}

TEST_F(LiveLatencyChartViewTest, FeedsTheChartOnlyTheLastSixHundredPoints) {
    auto view = shownView();
    capture(200); // 1,200 samples
    flush();
    ASSERT_EQ(state.latencyPoints().size(), 1200);
    EXPECT_EQ(pointCount(view->dotSeries()) + view->lossSeries()->count(), 600);
    EXPECT_EQ(view->frame().xDomain, LiveLatencyChart::withEdgeRoom(
                                         {double(state.latencyPoints()[600].date.toMSecsSinceEpoch()),
                                          double(state.latencyPoints().last().date.toMSecsSinceEpoch())}));

    const auto* yAxis = qobject_cast<QValueAxis*>(view->chart()->axes(Qt::Vertical).first());
    ASSERT_NE(yAxis, nullptr);
    EXPECT_EQ(yAxis->min(), 0);
    EXPECT_EQ(yAxis->max(), view->frame().yDomain.upperBound);
    const auto* xAxis = qobject_cast<QCategoryAxis*>(view->chart()->axes(Qt::Horizontal).first());
    ASSERT_NE(xAxis, nullptr);
    EXPECT_EQ(xAxis->min(), view->frame().xDomain.lowerBound);
    EXPECT_EQ(xAxis->max(), view->frame().xDomain.upperBound);
}

TEST_F(LiveLatencyChartViewTest, TimeLabelsReadRoundTimesEachOnce) {
    auto view = shownView();
    capture(200);
    flush();
    auto* xAxis = qobject_cast<QCategoryAxis*>(view->chart()->axes(Qt::Horizontal).first());
    ASSERT_NE(xAxis, nullptr);
    const QStringList labels = xAxis->categoriesLabels();
    ASSERT_GE(labels.size(), 2);
    EXPECT_EQ(QSet<QString>(labels.cbegin(), labels.cend()).size(), labels.size());
    const double step = xAxis->endValue(labels[1]) - xAxis->endValue(labels[0]);
    EXPECT_EQ(std::fmod(step, 10'000), 0)
        << "100 seconds of samples, labelled at whole steps of 10 s or more";
    for (const QString& label : labels) {
        const QDateTime at = QDateTime::fromMSecsSinceEpoch(qint64(xAxis->endValue(label)));
        EXPECT_EQ(at.time().msec(), 0);
        EXPECT_EQ(at.time().second() % 10, 0) << label.toStdString();
        EXPECT_EQ(at.toString(u"HH:mm:ss"_s), label);
    }
}

TEST_F(LiveLatencyChartViewTest, TheNewestDotsStandWholeInsideThePlotThatFillsTheCard) {
    auto view = shownView();
    capture(100);
    flush();
    QApplication::processEvents();
    const QRectF plot = view->chart()->plotArea();
    ASSERT_FALSE(plot.isEmpty());
    const qreal radius = view->lossSeries()->markerSize() / 2;
    for (QLineSeries* series : view->dotSeries()) {
        for (const QPointF& point : series->points()) {
            const QPointF at = view->chart()->mapToPosition(point, series);
            EXPECT_LE(at.x() + radius, plot.right());
            EXPECT_GE(at.x() - radius, plot.left());
        }
    }
    // The plot reaches to within half a time label of the card's right edge, where the last label may
    // stand.
    const QFontMetrics labels(view->chart()->axes(Qt::Horizontal).first()->labelsFont());
    const QPointF plotRight = view->chart()->mapToScene(plot.topRight());
    EXPECT_GE(plotRight.x(), view->width() - labels.horizontalAdvance(u"00:00:00"_s) / 2.0 - 4);
}

TEST_F(LiveLatencyChartViewTest, EachProbeTypeHasItsSeriesAndLossesTheirs) {
    auto view = shownView();
    probe(u"udp"_s, 30, 3);
    probe(u"udp"_s, 31, 2);
    probe(u"dns"_s, 9, 2);
    probe(u"tcp"_s, std::nullopt, 1);
    probe(u"cf_speed"_s, 50, 1);
    flush();
    ASSERT_EQ(view->dotSeries().size(), 7);
    EXPECT_EQ(view->dotSeries()[1]->count(), 2) << "udp";
    EXPECT_EQ(view->dotSeries()[4]->count(), 1) << "dns";
    EXPECT_EQ(view->dotSeries()[6]->count(), 1) << "the unknown types";
    EXPECT_EQ(view->dotSeries()[2]->count(), 0) << "a lost tcp sample is no dot";
    EXPECT_EQ(view->lossSeries()->count(), 1);
    // Sizes 10 and 20 are areas in square points, as in the results chart.
    EXPECT_EQ(view->dotSeries()[0]->markerSize(), ChartMarkers::sideOfArea(10));
    EXPECT_EQ(view->lossSeries()->markerSize(), ChartMarkers::sideOfArea(20));
    EXPECT_NEAR(view->dotSeries()[0]->markerSize(), 3.57, 0.01);
    EXPECT_EQ(view->lossSeries()->at(0).y(), view->frame().yDomain.upperBound * 0.95);
}

TEST_F(LiveLatencyChartViewTest, SpeedTestAndVideoRangesAreBandsOverTheWholeHeight) {
    auto view = shownView();
    capture(20);
    feed(u"{\"event\":\"throughput_status\",\"phase\":\"testing\",\"direction\":\"download\",\"ts\":\"%1\"}"_s
             .arg(time.now().addSecs(-10).toString(Qt::ISODateWithMs)));
    feed(u"{\"event\":\"throughput_status\",\"phase\":\"idle\",\"ts\":\"%1\"}"_s.arg(
        time.now().addSecs(-5).toString(Qt::ISODateWithMs)));
    feed(
        u"{\"event\":\"throughput_status\",\"phase\":\"testing\",\"direction\":\"download\",\"probe_type\":\"youtube_segment\",\"ts\":\"%1\"}"_s
            .arg(time.now().addSecs(-3).toString(Qt::ISODateWithMs)));
    flush();

    const double top = view->frame().yDomain.upperBound;
    const double speedStart = double(time.now().addSecs(-10).addMSecs(-500).toMSecsSinceEpoch());
    const double speedEnd = double(time.now().addSecs(-5).addMSecs(-500).toMSecsSinceEpoch());
    const QList<QPointF> speed = view->speedTestBandOutline()->points();
    EXPECT_EQ(speed, (QList<QPointF>{{speedStart, 0}, {speedStart, top}, {speedEnd, top}, {speedEnd, 0}}));
    // The video test still runs: its band reaches the present, cut at the newest sample.
    const QList<QPointF> video = view->videoBandOutline()->points();
    ASSERT_EQ(video.size(), 4);
    EXPECT_EQ(video[2], QPointF(view->frame().xDomain.upperBound, top));
}

TEST_F(LiveLatencyChartViewTest, NeverRebuildsMoreThanTwiceASecond) {
    auto view = shownView();
    capture(5);
    flush();
    const int before = view->rebuildCount();
    // A burst of range changes: each one tells the view that the series changed.
    for (int i = 0; i < 10; ++i) {
        feed(
            u"{\"event\":\"throughput_status\",\"phase\":\"testing\",\"direction\":\"download\",\"ts\":\"%1\"}"_s
                .arg(time.now().addSecs(-3).toString(Qt::ISODateWithMs)));
        time.advance(0.01);
    }
    EXPECT_LE(view->rebuildCount() - before, 1);
    time.advance(0.5);
    EXPECT_EQ(view->rebuildCount() - before, 1) << "the burst is caught up by one rebuild";
    EXPECT_EQ(view->frame().bands.size(), 1) << "ten open ranges of the last seconds, drawn as one band";

    const int afterBurst = view->rebuildCount();
    for (int i = 0; i < 40; ++i) {
        probe(u"ping"_s, 20);
        time.advance(0.1);
    }
    EXPECT_LE(view->rebuildCount() - afterBurst, 9) << "four seconds, two a second at most";
}

TEST_F(LiveLatencyChartViewTest, AHiddenChartDoesNoWorkUntilItShowsAgain) {
    QStackedWidget screens;
    auto* chart = new LiveLatencyChartView(state);
    auto* other = new QWidget;
    screens.addWidget(chart);
    screens.addWidget(other);
    screens.resize(700, 400);
    screens.show();
    QApplication::processEvents();
    screens.setCurrentWidget(other);
    const int before = chart->rebuildCount();
    capture(10);
    flush();
    flush();
    EXPECT_EQ(chart->rebuildCount(), before);
    screens.setCurrentWidget(chart);
    QApplication::processEvents();
    EXPECT_EQ(chart->rebuildCount(), before + 1);
    EXPECT_TRUE(chart->isShowingChart());
    EXPECT_EQ(pointCount(chart->dotSeries()) + chart->lossSeries()->count(), 60);
}

TEST_F(LiveLatencyChartViewTest, TheLegendIsFixedAndNamesItsEntriesInOrder) {
    auto view = shownView();
    EXPECT_EQ(view->legendWidget()->accessibleDescription(),
              u"ICMP, UDP, TCP, HTTP, DNS, QUIC, Loss, Speed Test, Video"_s);
    capture(3);
    flush();
    EXPECT_EQ(view->legendWidget()->accessibleDescription(),
              u"ICMP, UDP, TCP, HTTP, DNS, QUIC, Loss, Speed Test, Video"_s);
}

TEST_F(LiveLatencyChartViewTest, TheLegendWrapsInANarrowPlace) {
    auto view = shownView();
    QWidget* legend = view->legendWidget();
    const int oneLine = legend->heightForWidth(2000);
    EXPECT_GT(legend->heightForWidth(200), oneLine);
    EXPECT_EQ(legend->heightForWidth(legend->sizeHint().width()), oneLine);
}

TEST_F(LiveLatencyChartViewTest, DrawsItsDotsInBothSchemes) {
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        state.startReplay(CaptureConfig{});
        auto view = shownView();
        capture(90);
        const auto rangeLine = [this](const QString& fields, double secondsAgo) {
            feed(u"{\"event\":\"throughput_status\",%1,\"ts\":\"%2\"}"_s.arg(
                fields, time.now().addMSecs(-qint64(secondsAgo * 1000)).toString(Qt::ISODateWithMs)));
        };
        rangeLine(u"\"phase\":\"testing\",\"direction\":\"download\""_s, 60);
        rangeLine(u"\"phase\":\"idle\""_s, 45);
        rangeLine(u"\"phase\":\"testing\",\"direction\":\"download\",\"probe_type\":\"youtube_abr\""_s, 20);
        flush();
        ASSERT_EQ(view->frame().bands.size(), 2);
        ASSERT_TRUE(view->isShowingChart());
        const QImage picture = view->grab().toImage();
        const QColor background = view->palette().color(QPalette::Window);
        EXPECT_TRUE(showsColour(picture, QColor(0x3b, 0x82, 0xf6).toRgb()) ||
                    showsColour(picture, QColor::fromRgbF(0.231f * 0.7f + background.redF() * 0.3f,
                                                          0.510f * 0.7f + background.greenF() * 0.3f,
                                                          0.965f * 0.7f + background.blueF() * 0.3f)))
            << Theme::name(scheme);
        if (qEnvironmentVariableIsSet("NORVANE_VIEW_PICTURES"))
            picture.save(
                QDir::temp().filePath(u"chart-%1.png"_s.arg(QLatin1StringView(Theme::name(scheme)))));
    }
}
