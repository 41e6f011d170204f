#include "views/ResultsLatencyChartView.h"
#include "views/ChartMarkers.h"
#include "views/LossHeatmapView.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "support/TempHome.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCategoryAxis>
#include <QChart>
#include <QChartView>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QLineSeries>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>
#include <QValueAxis>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

const QDateTime captureStart = QDateTime::fromString(u"2026-03-14T09:30:00.000Z"_s, Qt::ISODateWithMs);

struct CaptureShape {
    int seconds = 120;
    // Every n-th second the gateway ping is lost; 0 for none.
    int lossEvery = 0;
    // A tcp target that never answers beside one that does.
    bool blockedTarget = false;
    // A speed test from this second, 20 seconds long.
    std::optional<int> speedTestAt;
    // A udp sample each second besides the others.
    bool udp = false;
};

CaptureShape shape(int seconds, int lossEvery = 0, bool blockedTarget = false,
                   std::optional<int> speedTestAt = std::nullopt) {
    CaptureShape result;
    result.seconds = seconds;
    result.lossEvery = lossEvery;
    result.blockedTarget = blockedTarget;
    result.speedTestAt = speedTestAt;
    return result;
}

// A capture file as the tool writes it: pings to two targets, a DNS and a TCP sample each second.
QString writeCapture(const QString& folder, const CaptureShape& shape) {
    const QString path = folder + u"/wifi_capture_20260314T093000Z.csv"_s;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return {};
    QByteArray text = "timestamp,type,target,value,lost,seq,hop_count,mbps,bytes,streams,details\n";
    int seq = 1;
    const auto row = [&](double seconds, const QString& type, const QString& target,
                         std::optional<double> rtt, const QString& rest = u",,,,"_s) {
        const QString stamp = captureStart.addMSecs(qint64(seconds * 1000)).toString(Qt::ISODateWithMs);
        text += (stamp + u',' + type + u',' + target + u',' + (rtt ? QString::number(*rtt) : QString()) +
                 u',' + (rtt ? u"0"_s : u"1"_s) + u',' + QString::number(seq++) + u',' + rest + u'\n')
                    .toUtf8();
    };
    row(0, u"session_start"_s, u"linux/dev"_s, 0, u",,,,capture_id=cap-view"_s);
    for (int s = 0; s < shape.seconds; ++s) {
        const bool lost = shape.lossEvery > 0 && s % shape.lossEvery == 3;
        row(s + 0.1, u"ping"_s, u"192.168.1.1"_s, lost ? std::nullopt : std::optional<double>(2 + s % 3));
        row(s + 0.2, u"ping"_s, u"1.1.1.1"_s, 18 + (s * 7) % 9);
        row(s + 0.4, u"dns"_s, u"1.1.1.1"_s, 9 + s % 4);
        row(s + 0.6, u"tcp"_s, u"1.1.1.1:443"_s, 24 + (s * 5) % 11);
        if (shape.blockedTarget)
            row(s + 0.7, u"tcp"_s, u"10.0.0.9:443"_s, std::nullopt);
        if (shape.udp)
            row(s + 0.75, u"udp"_s, u"1.1.1.1:53"_s, 15 + s % 5);
        if (shape.speedTestAt && s == *shape.speedTestAt)
            row(s + 0.8, u"throughput_down"_s, u"speed.example"_s, 0, u",150,,6,test_num=1"_s);
        if (shape.speedTestAt && s == *shape.speedTestAt + 20)
            row(s + 0.8, u"throughput_up"_s, u"speed.example"_s, 0, u",40,,4,test_num=1"_s);
    }
    file.write(text);
    return path;
}

// Whether some pixel of the picture is close to this colour.
bool showsColour(const QImage& picture, const QColor& colour, int tolerance = 20) {
    const QImage image = picture.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (std::abs(qRed(line[x]) - colour.red()) < tolerance &&
                std::abs(qGreen(line[x]) - colour.green()) < tolerance &&
                std::abs(qBlue(line[x]) - colour.blue()) < tolerance)
                return true;
        }
    }
    return false;
}

QStringList labelTexts(const QWidget& widget) {
    QStringList texts;
    for (const QLabel* label : widget.findChildren<QLabel*>())
        texts.append(label->text());
    return texts;
}

qsizetype pointCount(const ResultsLatencyChartView& view) {
    qsizetype count = view.lossSeries()->count();
    for (const QLineSeries* series : view.dotSeries())
        count += series->count();
    return count;
}

QLineSeries* seriesOf(const ResultsLatencyChartView& view, const QString& type) {
    for (QLineSeries* series : view.dotSeries()) {
        if (series->name() == type)
            return series;
    }
    return nullptr;
}

} // namespace

class ResultsChartsViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    QTemporaryDir captures;

    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }

    void load(const CaptureShape& shape) {
        const QString path = writeCapture(captures.path(), shape);
        ASSERT_FALSE(path.isEmpty());
        state.loadCapture(path);
        QApplication::processEvents();
    }

    template <typename View> std::unique_ptr<View> shown(int width = 760) {
        auto view = std::make_unique<View>(state);
        view->resize(width, view->sizeHint().height());
        view->show();
        QApplication::processEvents();
        return view;
    }
};

TEST_F(ResultsChartsViewTest, TheChartShowsItsTitleAndThePercentiles) {
    load(shape(120));
    auto view = shown<ResultsLatencyChartView>();
    const QStringList texts = labelTexts(*view);
    EXPECT_TRUE(texts.contains(u"Latency Timeline"_s));
    EXPECT_TRUE(view->percentileText().startsWith(u"P50: "_s)) << view->percentileText().toStdString();
    EXPECT_TRUE(view->percentileText().contains(u"ms | P95: "_s));
    EXPECT_TRUE(texts.contains(view->percentileText()));

    auto* xAxis = qobject_cast<QCategoryAxis*>(view->chart()->axes(Qt::Horizontal).first());
    const auto* yAxis = qobject_cast<QValueAxis*>(view->chart()->axes(Qt::Vertical).first());
    ASSERT_NE(xAxis, nullptr);
    ASSERT_NE(yAxis, nullptr);
    EXPECT_EQ(xAxis->titleText(), u"Time"_s);
    EXPECT_TRUE(yAxis->titleText().startsWith(u"RTT"_s));
    EXPECT_TRUE(yAxis->titleText().contains(u"ms"_s));
    EXPECT_FALSE(xAxis->categoriesLabels().isEmpty());
    EXPECT_EQ(yAxis->max(), view->timeline().yDomain().upperBound);
}

TEST_F(ResultsChartsViewTest, ACaptureWithoutFivePlainSamplesHasNoPercentileText) {
    load(shape(1));
    auto view = shown<ResultsLatencyChartView>();
    EXPECT_TRUE(view->percentileText().isEmpty());
}

TEST_F(ResultsChartsViewTest, AClickOnIcmpHidesItsDotsDimsItsLegendAndKeepsThePercentiles) {
    load(shape(60));
    auto view = shown<ResultsLatencyChartView>();
    const QString percentiles = view->percentileText();
    QLineSeries* pings = seriesOf(*view, u"ping"_s);
    QLineSeries* dns = seriesOf(*view, u"dns"_s);
    ASSERT_NE(pings, nullptr);
    ASSERT_NE(dns, nullptr);
    const qsizetype dnsBefore = dns->count();
    EXPECT_EQ(pings->count(), 120);

    QAbstractButton* icmp = view->legendButton(u"ping"_s);
    ASSERT_NE(icmp, nullptr);
    EXPECT_EQ(icmp->text(), u"ICMP"_s);
    const QColor blue(59, 130, 246);
    EXPECT_TRUE(showsColour(icmp->grab().toImage(), blue));

    QTest::mouseClick(icmp, Qt::LeftButton);
    EXPECT_EQ(view->hiddenSeries(), (QSet<QString>{u"ping"_s}));
    EXPECT_EQ(pings->count(), 0);
    EXPECT_EQ(dns->count(), dnsBefore);
    EXPECT_EQ(view->percentileText(), percentiles);
    EXPECT_EQ(view->frame().rules.size(), 3);
    EXPECT_FALSE(icmp->isChecked());
    EXPECT_FALSE(showsColour(icmp->grab().toImage(), blue)) << "the hidden entry is dimmed";

    QTest::mouseClick(icmp, Qt::LeftButton);
    EXPECT_TRUE(view->hiddenSeries().isEmpty());
    EXPECT_EQ(pings->count(), 120);
    EXPECT_TRUE(showsColour(icmp->grab().toImage(), blue));
}

TEST_F(ResultsChartsViewTest, TheLegendReadsItsSevenLabels) {
    load(shape(120));
    auto view = shown<ResultsLatencyChartView>();
    const QStringList keys = {u"ping"_s, u"tcp"_s, u"http"_s, u"dns"_s, u"quic"_s, u"loss"_s, u"speedtest"_s};
    const QStringList labels = {u"ICMP"_s, u"TCP"_s,  u"HTTP"_s,      u"DNS"_s,
                                u"QUIC"_s, u"loss"_s, u"Speed Test"_s};
    for (qsizetype i = 0; i < keys.size(); ++i) {
        QAbstractButton* button = view->legendButton(keys[i]);
        ASSERT_NE(button, nullptr) << keys[i].toStdString();
        EXPECT_EQ(button->text(), labels[i]);
        EXPECT_TRUE(button->isVisible());
    }
}

TEST_F(ResultsChartsViewTest, LossPointsAndSpeedTestBandsFollowTheirLegendDots) {
    load(shape(120, 10, false, 30));
    auto view = shown<ResultsLatencyChartView>();
    EXPECT_EQ(view->lossSeries()->count(), 12);
    bool speedTestBand = false;
    for (const ResultsLatencyChart::Band& band : view->frame().bands)
        speedTestBand = speedTestBand || band.key == u"speedtest";
    EXPECT_TRUE(speedTestBand);

    view->legendButton(u"loss"_s)->click();
    view->legendButton(u"speedtest"_s)->click();
    EXPECT_EQ(view->lossSeries()->count(), 0);
    EXPECT_TRUE(view->frame().bands.isEmpty());
}

TEST_F(ResultsChartsViewTest, MarkSizesAreAreasAsInTheLiveChart) {
    load(shape(120, 10));
    auto view = shown<ResultsLatencyChartView>();
    // Size 12 and 20 in square points: about 3.9 and 5 points across.
    EXPECT_EQ(seriesOf(*view, u"ping"_s)->markerSize(), ChartMarkers::sideOfArea(12));
    EXPECT_EQ(view->lossSeries()->markerSize(), ChartMarkers::sideOfArea(20));
    EXPECT_NEAR(seriesOf(*view, u"ping"_s)->markerSize(), 3.91, 0.01);
    EXPECT_NEAR(view->lossSeries()->markerSize(), 5.05, 0.01);
    EXPECT_FALSE(seriesOf(*view, u"ping"_s)->lightMarker().isNull());
}

TEST_F(ResultsChartsViewTest, TcpIsGreenAndUdpHasALegendDotThatHidesIt) {
    CaptureShape withUdp = shape(60);
    withUdp.udp = true;
    load(withUdp);
    auto view = shown<ResultsLatencyChartView>();
    QAbstractButton* tcp = view->legendButton(u"tcp"_s);
    ASSERT_NE(tcp, nullptr);
    EXPECT_TRUE(showsColour(tcp->grab().toImage(), QColor(16, 185, 129)));
    EXPECT_FALSE(showsColour(tcp->grab().toImage(), QColor(249, 115, 22)));

    QAbstractButton* udp = view->legendButton(u"udp"_s);
    ASSERT_NE(udp, nullptr);
    EXPECT_EQ(udp->text(), u"UDP"_s);
    EXPECT_TRUE(udp->isVisible());
    EXPECT_TRUE(showsColour(udp->grab().toImage(), QColor(249, 115, 22)));
    QLineSeries* udpDots = seriesOf(*view, u"udp"_s);
    ASSERT_NE(udpDots, nullptr);
    EXPECT_EQ(udpDots->count(), 60);
    QTest::mouseClick(udp, Qt::LeftButton);
    EXPECT_EQ(udpDots->count(), 0);
    EXPECT_EQ(seriesOf(*view, u"tcp"_s)->count(), 60);

    // A capture without udp has no such dot.
    load(shape(30));
    EXPECT_EQ(view->legendButton(u"udp"_s), nullptr);
    EXPECT_NE(view->legendButton(u"tcp"_s), nullptr);
}

TEST_F(ResultsChartsViewTest, TheLabelsOfCloseRulesStayApart) {
    // The tcp samples make P95 and P99 a millisecond or two apart: a few pixels on this scale.
    load(shape(600));
    auto view = shown<ResultsLatencyChartView>();
    ASSERT_TRUE(view->timeline().percentiles());
    const Percentiles& percentiles = *view->timeline().percentiles();
    ASSERT_LE(percentiles.p99 - percentiles.p95, 3);
    view->grab();
    const QList<QRectF> boxes = view->ruleLabelBoxes();
    ASSERT_EQ(boxes.size(), 3);
    for (qsizetype i = 0; i < boxes.size(); ++i) {
        for (qsizetype j = i + 1; j < boxes.size(); ++j)
            EXPECT_FALSE(boxes[i].intersects(boxes[j])) << i << " and " << j;
    }
    EXPECT_LT(boxes[2].top(), boxes[1].top()) << "P99's label over P95's";
}

TEST_F(ResultsChartsViewTest, TimeLabelsStandAtRoundMinutes) {
    load(shape(3600));
    auto view = shown<ResultsLatencyChartView>();
    view->scrollBar()->setValue(437);
    auto* xAxis = qobject_cast<QCategoryAxis*>(view->chart()->axes(Qt::Horizontal).first());
    ASSERT_NE(xAxis, nullptr);
    const QStringList labels = xAxis->categoriesLabels();
    ASSERT_GE(labels.size(), 4);
    for (const QString& label : labels) {
        const double at = xAxis->endValue(label);
        EXPECT_EQ(std::fmod(at - double(captureStart.toMSecsSinceEpoch()), 60'000), 0) << label.toStdString();
        EXPECT_EQ(QDateTime::fromMSecsSinceEpoch(qint64(at)).toString(u"HH:mm"_s), label);
    }
}

TEST_F(ResultsChartsViewTest, ScrollingMovesTheTimeWindowAndFeedsOnlyItsPoints) {
    load(shape(3600));
    auto view = shown<ResultsLatencyChartView>();
    ASSERT_EQ(state.latencyPoints().size(), 4 * 3600);
    QScrollBar* bar = view->scrollBar();
    EXPECT_TRUE(bar->isVisible());
    EXPECT_EQ(bar->pageStep(), 300);
    auto* xAxis = qobject_cast<QCategoryAxis*>(view->chart()->axes(Qt::Horizontal).first());
    const double start = double(captureStart.toMSecsSinceEpoch()) + 100;
    EXPECT_EQ(xAxis->min(), start);
    EXPECT_EQ(xAxis->max(), start + 300'000);
    const QStringList firstLabels = xAxis->categoriesLabels();

    bar->setValue(1800);
    EXPECT_EQ(xAxis->min(), start + 1'800'000);
    EXPECT_EQ(xAxis->max(), start + 2'100'000);
    EXPECT_NE(xAxis->categoriesLabels(), firstLabels);
    EXPECT_LE(pointCount(*view), 4 * 301);
    for (const QLineSeries* series : view->dotSeries()) {
        for (const QPointF& point : series->points()) {
            EXPECT_GE(point.x(), xAxis->min());
            EXPECT_LE(point.x(), xAxis->max());
        }
    }

    bar->setValue(bar->maximum());
    EXPECT_EQ(xAxis->max(), view->frame().xDomain.upperBound);
    EXPECT_DOUBLE_EQ(view->frame().xDomain.upperBound, double(captureStart.toMSecsSinceEpoch()) + 3'599'600);
    EXPECT_EQ(view->rebuildCount(), 1) << "a scroll works out only the window";
}

TEST_F(ResultsChartsViewTest, ADragAlongThePlotMovesTheWindowBack) {
    load(shape(1200));
    auto view = shown<ResultsLatencyChartView>();
    view->scrollBar()->setValue(600);
    QWidget* plot = view->findChild<QChartView*>()->viewport();
    const QPoint from = plot->rect().center();
    QTest::mousePress(plot, Qt::LeftButton, {}, from);
    QTest::mouseMove(plot, from + QPoint(100, 0));
    QTest::mouseRelease(plot, Qt::LeftButton, {}, from + QPoint(100, 0));
    EXPECT_LT(view->scrollBar()->value(), 600);
    EXPECT_GT(view->scrollBar()->value(), 400);
}

TEST_F(ResultsChartsViewTest, AShortCaptureHasNoScrollBar) {
    load(shape(120));
    auto view = shown<ResultsLatencyChartView>();
    EXPECT_FALSE(view->scrollBar()->isVisible());
}

TEST_F(ResultsChartsViewTest, TheChartWorksTheCaptureOutOnceALoadAndNotWhileHidden) {
    auto view = shown<ResultsLatencyChartView>();
    const int before = view->rebuildCount();
    load(shape(30));
    EXPECT_EQ(view->rebuildCount(), before + 1) << "the notices of one load make one rebuild";
    view->hide();
    load(shape(40));
    EXPECT_EQ(view->rebuildCount(), before + 1);
    view->show();
    QApplication::processEvents();
    EXPECT_EQ(view->rebuildCount(), before + 2);
    EXPECT_EQ(pointCount(*view), 4 * 40);
}

TEST_F(ResultsChartsViewTest, TheHeatmapShowsItsWordsAndARowPerProtocol) {
    load(shape(120, 10));
    auto view = shown<LossHeatmapView>();
    const QStringList texts = labelTexts(*view);
    EXPECT_TRUE(texts.contains(u"Loss Heatmap"_s));
    ASSERT_EQ(view->frame().rows.size(), 3);
    EXPECT_EQ(view->frame().rows[0].label, u"ICMP"_s);
    EXPECT_EQ(view->frame().rows[1].label, u"TCP"_s);
    EXPECT_EQ(view->frame().rows[2].label, u"DNS"_s);
    EXPECT_EQ(view->stripWidget()->height(), 3 * 28 + 20);
    EXPECT_FALSE(view->excludedLabel()->isVisible());
    // The gateway's lost pings paint the ICMP row in the loss red.
    EXPECT_FALSE(view->frame().rows[0].cells.isEmpty());
    const QImage strip = view->stripWidget()->grab().toImage();
    const QColor faint = QColor(239, 68, 68);
    bool reddish = false;
    for (int x = 0; x < strip.width() && !reddish; ++x) {
        const QColor pixel = strip.pixelColor(x, 14);
        reddish = pixel.red() > pixel.green() + 20 && pixel.red() > pixel.blue() + 20;
    }
    EXPECT_TRUE(reddish) << faint.name().toStdString();
}

TEST_F(ResultsChartsViewTest, TheHeatmapNamesTheBlockedTargetBelowTheStrip) {
    load(shape(60, 0, true));
    auto view = shown<LossHeatmapView>();
    EXPECT_TRUE(view->excludedLabel()->isVisible());
    EXPECT_EQ(view->excludedLabel()->text(), u"Blocked target excluded: tcp:10.0.0.9:443"_s);
    EXPECT_TRUE(view->frame().rows[1].cells.isEmpty()) << "the blocked target's losses are left out";
}

TEST_F(ResultsChartsViewTest, TheHeatmapWorksTheStripOutOnceALoad) {
    auto view = shown<LossHeatmapView>();
    const int before = view->rebuildCount();
    load(shape(30));
    EXPECT_EQ(view->rebuildCount(), before + 1);
    EXPECT_EQ(view->frame().rows.size(), 3);
}

TEST_F(ResultsChartsViewTest, BothChartsDrawInTheDarkScheme) {
    Theme::apply(*qApp, Theme::Scheme::Dark);
    load(shape(600, 7, false, 100));
    auto chart = shown<ResultsLatencyChartView>();
    auto heatmap = shown<LossHeatmapView>();
    const QImage picture = chart->grab().toImage();
    EXPECT_TRUE(showsColour(picture, QColor(59, 130, 246), 40)) << "the pings' dots";
    EXPECT_LT(QColor(picture.pixel(picture.width() - 2, picture.height() - 2)).lightness(), 128)
        << "the chart keeps the dark background";
    EXPECT_FALSE(heatmap->grab().toImage().isNull());
}
