#include "views/ResultsBottomChartsView.h"

#include "views/ChartMarkers.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "screens/ResultsSeriesThinning.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"
#include "views/ResultsChartCard.h"
#include "views/ResultsThroughputCard.h"
#include "views/ResultsTimeChartCards.h"
#include "views/ResultsTracerouteCard.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QBarCategoryAxis>
#include <QBarSeries>
#include <QBoxPlotSeries>
#include <QCategoryAxis>
#include <QChart>
#include <QFile>
#include <QLabel>
#include <QLineSeries>
#include <QScrollBar>
#include <QSet>
#include <QTemporaryDir>
#include <QTextStream>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Every text that labels show inside a widget.
QStringList labelTexts(const QWidget* widget) {
    QStringList texts;
    const QList<QLabel*> labels = widget->findChildren<QLabel*>();
    for (const QLabel* label : labels) {
        if (!label->text().isEmpty())
            texts.append(label->text());
    }
    return texts;
}

// The time axis of a card: its labels, each checked to read the round time it stands at.
QStringList roundTimeLabels(const QChart* chart) {
    auto* axis = qobject_cast<QCategoryAxis*>(chart->axes(Qt::Horizontal).value(0));
    if (!axis) {
        ADD_FAILURE() << "no time axis of labelled moments";
        return {};
    }
    const QStringList labels = axis->categoriesLabels();
    for (qsizetype i = 0; i < labels.size(); ++i) {
        const QDateTime at = QDateTime::fromMSecsSinceEpoch(qint64(axis->endValue(labels[i])));
        const bool toTheSecond = labels[i].size() == 8;
        EXPECT_EQ(at.toString(toTheSecond ? u"HH:mm:ss"_s : u"HH:mm"_s), labels[i]);
        EXPECT_EQ(at.time().msec(), 0) << labels[i].toStdString();
        if (!toTheSecond) {
            EXPECT_EQ(at.time().second(), 0) << labels[i].toStdString();
        }
        EXPECT_GE(at.toMSecsSinceEpoch(), axis->min());
        EXPECT_LE(at.toMSecsSinceEpoch(), axis->max());
        if (i > 1) {
            // Evenly spaced, as the grid lines are.
            EXPECT_EQ(axis->endValue(labels[i]) - axis->endValue(labels[i - 1]),
                      axis->endValue(labels[1]) - axis->endValue(labels[0]));
        }
    }
    EXPECT_EQ(QSet<QString>(labels.cbegin(), labels.cend()).size(), labels.size()) << "a label repeats";
    return labels;
}

template <typename Series> bool hasSeries(const QChart* chart) {
    const QList<QAbstractSeries*> all = chart->series();
    return std::any_of(all.cbegin(), all.cend(),
                       [](QAbstractSeries* one) { return qobject_cast<Series*>(one); });
}

} // namespace

class ResultsBottomChartsViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    QTemporaryDir scratch;

    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }

    std::unique_ptr<ResultsBottomChartsView> shownView(const QString& csv, int width = 800) {
        return shownFile(testDataPath(u"results-charts/"_s + csv), width);
    }

    // A capture file of the rows that `write` puts under the header, loaded and shown.
    std::unique_ptr<ResultsBottomChartsView> shownRows(const std::function<void(QTextStream&)>& write,
                                                       int width = 800) {
        const QString path = scratch.filePath(u"capture.csv"_s);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
            ADD_FAILURE() << "cannot write " << path.toStdString();
            return shownFile(path, width);
        }
        QTextStream out(&file);
        out << "timestamp,type,target,value,lost,seq,hop_count,mbps,bytes,streams,details\n";
        write(out);
        file.close();
        return shownFile(path, width);
    }

    std::unique_ptr<ResultsBottomChartsView> shownFile(const QString& path, int width) {
        state.loadCapture(path);
        auto view = std::make_unique<ResultsBottomChartsView>(state);
        view->resize(width, view->sizeHint().height());
        view->show();
        QApplication::processEvents();
        return view;
    }

    // The CDN rates come from the tool's events: a capture file doesn't keep them.
    void cdn(const QString& target, double mbps) {
        state.pythonProcess().processLine(
            u"{\"event\":\"cdn_throughput_result\",\"target\":\"%1\",\"mbps\":%2,\"bytes\":1000,\"ts\":\"%3\"}"_s
                .arg(target, QString::number(mbps), time.now().toString(Qt::ISODateWithMs)));
        QApplication::processEvents();
    }

    template <typename Card> Card* cardAt(const ResultsBottomChartsView& view, int row, int column) {
        return qobject_cast<Card*>(view.cell(row, column));
    }
};

TEST_F(ResultsBottomChartsViewTest, AGoodCaptureShowsEveryChartInThreeRows) {
    auto view = shownView(u"good.csv"_s);
    cdn(u"netflix_oca"_s, 38.2);
    cdn(u"akamai"_s, 21.7);
    ASSERT_EQ(view->rowCount(), 3);

    auto* throughput = cardAt<ResultsThroughputCard>(*view, 0, 0);
    ASSERT_NE(throughput, nullptr);
    EXPECT_EQ(throughput->title(), u"Speed Test"_s);
    EXPECT_TRUE(labelTexts(throughput).contains(throughput->model().mediansText.value_or(u"?"_s)));
    EXPECT_EQ(throughput->subChartTitles(), (QStringList{u"Download"_s, u"Upload"_s}));
    ASSERT_EQ(throughput->subCharts().size(), 2);
    EXPECT_TRUE(hasSeries<QBarSeries>(throughput->subCharts()[0]));
    auto* categories =
        qobject_cast<QBarCategoryAxis*>(throughput->subCharts()[0]->axes(Qt::Horizontal).value(0));
    ASSERT_NE(categories, nullptr);
    EXPECT_EQ(categories->categories(), (QStringList{u"#1"_s, u"#2"_s, u"#3"_s}));
    EXPECT_EQ(categories->titleText(), u"Test"_s);
    EXPECT_EQ(throughput->cdnTexts(), (QStringList{u"CDN Diversity"_s, u"Netflix 38"_s, u"Akamai 21"_s}));
    EXPECT_TRUE(labelTexts(throughput).contains(u"Netflix 38"_s));

    auto* signal = cardAt<ResultsSignalCard>(*view, 0, 1);
    ASSERT_NE(signal, nullptr);
    EXPECT_EQ(signal->title(), u"Signal Strength"_s);
    EXPECT_TRUE(labelTexts(signal).contains(u"-62 dBm"_s));
    EXPECT_EQ(signal->thresholdLabels(), (QStringList{u"Good"_s, u"Fair"_s, u"Poor"_s}));
    EXPECT_GT(signal->line()->count(), 1);
    // Ten minutes of readings: the newest five show, and the rest is a scroll away.
    ASSERT_NE(signal->scrollBar(), nullptr);
    EXPECT_DOUBLE_EQ(signal->window().upperBound - signal->window().lowerBound, 300'000);
    const double firstReading = double(state.rssiHistory().first().date.toMSecsSinceEpoch());
    EXPECT_GT(signal->line()->at(0).x(), firstReading);
    signal->scrollBar()->setValue(0);
    EXPECT_EQ(signal->window().lowerBound, firstReading);
    EXPECT_EQ(signal->line()->at(0).x(), firstReading);

    auto* download = cardAt<ResultsUtilizationCard>(*view, 1, 0);
    auto* upload = cardAt<ResultsUtilizationCard>(*view, 2, 0);
    ASSERT_NE(download, nullptr);
    ASSERT_NE(upload, nullptr);
    EXPECT_EQ(download->title(), u"Download"_s);
    EXPECT_EQ(upload->title(), u"Upload"_s);
    EXPECT_TRUE(labelTexts(download).filter(u"Avg: "_s).size() == 1);
    EXPECT_TRUE(labelTexts(download).filter(u"Avg: "_s).first().endsWith(u" Mbps"_s));
    EXPECT_GT(download->line()->count(), 1);

    auto* traceroute = cardAt<ResultsTracerouteCard>(*view, 1, 1);
    ASSERT_NE(traceroute, nullptr);
    const QStringList routeTexts = labelTexts(traceroute);
    EXPECT_TRUE(routeTexts.contains(u"Traceroute"_s));
    EXPECT_TRUE(routeTexts.contains(u"6 hops"_s));
    EXPECT_TRUE(routeTexts.contains(u"stable path"_s));
    EXPECT_TRUE(routeTexts.contains(u"6 hops to 1.1.1.1"_s));
    EXPECT_TRUE(routeTexts.contains(u"198.51.100.17"_s));
    EXPECT_TRUE(routeTexts.contains(u"+19ms"_s)); // hop 4 adds 32.55 - 13 ms

    auto* dnsQuic = cardAt<ResultsDnsQuicCard>(*view, 2, 1);
    ASSERT_NE(dnsQuic, nullptr);
    EXPECT_EQ(dnsQuic->title(), u"DNS & QUIC"_s);
    EXPECT_EQ(labelTexts(dnsQuic).filter(u"DNS: "_s).size(), 1);
    EXPECT_EQ(labelTexts(dnsQuic).filter(u"QUIC: "_s).size(), 1);
    EXPECT_EQ(dnsQuic->legendTexts(), (QStringList{u"DNS"_s, u"QUIC"_s}));
    EXPECT_GT(dnsQuic->dotSeries()[0]->count(), 100);
    EXPECT_GT(dnsQuic->dotSeries()[1]->count(), 100);
}

TEST_F(ResultsBottomChartsViewTest, SixTestsDrawTheBoxPlotWithTheCdnRow) {
    auto view = shownView(u"six_tests.csv"_s);
    for (const double rate : {9.51, 17.35, 19.04})
        cdn(u"netflix_oca"_s, rate);
    for (const double rate : {12.16, 15.68, 8.64})
        cdn(u"akamai"_s, rate);
    auto* throughput = cardAt<ResultsThroughputCard>(*view, 0, 0);
    ASSERT_NE(throughput, nullptr);
    ASSERT_EQ(throughput->subCharts().size(), 2);
    for (QChart* chart : throughput->subCharts()) {
        EXPECT_TRUE(hasSeries<QBoxPlotSeries>(chart));
        EXPECT_FALSE(hasSeries<QBarSeries>(chart));
    }
    // The six tests as dots over the download box.
    const QList<QAbstractSeries*> series = throughput->subCharts()[0]->series();
    const auto dots = std::find_if(series.cbegin(), series.cend(),
                                   [](QAbstractSeries* one) { return qobject_cast<QLineSeries*>(one); });
    ASSERT_NE(dots, series.cend());
    EXPECT_EQ(static_cast<QLineSeries*>(*dots)->count(), 6);
    EXPECT_EQ(throughput->cdnTexts(), (QStringList{u"CDN Diversity"_s, u"Netflix 17"_s, u"Akamai 12"_s}));
}

TEST_F(ResultsBottomChartsViewTest, ABoxPlotDrawsItsTestsSmallAndFaintBehindTheBox) {
    auto view = shownView(u"six_tests.csv"_s);
    auto* throughput = cardAt<ResultsThroughputCard>(*view, 0, 0);
    ASSERT_NE(throughput, nullptr);
    for (QChart* chart : throughput->subCharts()) {
        const QList<QAbstractSeries*> series = chart->series();
        const auto dots = std::find_if(series.cbegin(), series.cend(),
                                       [](QAbstractSeries* one) { return qobject_cast<QLineSeries*>(one); });
        const auto box = std::find_if(series.cbegin(), series.cend(), [](QAbstractSeries* one) {
            return qobject_cast<QBoxPlotSeries*>(one);
        });
        ASSERT_NE(dots, series.cend());
        ASSERT_NE(box, series.cend());
        EXPECT_LT(dots, box) << "the tests are drawn first, under the box";
        auto* tests = static_cast<QLineSeries*>(*dots);
        EXPECT_EQ(tests->markerSize(), ChartMarkers::sideOfArea(ResultsThroughputChart::testPointSize));
        EXPECT_LT(tests->markerSize(), 5);
        const QImage marker = tests->lightMarker().convertToFormat(QImage::Format_ARGB32);
        ASSERT_FALSE(marker.isNull());
        EXPECT_NEAR(qAlpha(marker.pixel(marker.width() / 2, marker.height() / 2)),
                    ResultsThroughputChart::testPointOpacity * 255, 2);
    }
}

TEST_F(ResultsBottomChartsViewTest, TimeAxesReadRoundTimesAtEvenSteps) {
    auto view = shownView(u"good.csv"_s);
    auto* signal = cardAt<ResultsSignalCard>(*view, 0, 1);
    auto* download = cardAt<ResultsUtilizationCard>(*view, 1, 0);
    auto* upload = cardAt<ResultsUtilizationCard>(*view, 2, 0);
    auto* dnsQuic = cardAt<ResultsDnsQuicCard>(*view, 2, 1);
    ASSERT_TRUE(signal && download && upload && dnsQuic);
    for (const QChart* chart : {signal->chart(), download->chart(), upload->chart(), dnsQuic->chart()})
        EXPECT_GE(roundTimeLabels(chart).size(), 2);
    // Scrolled back, the signal's labels follow the window.
    const QStringList newest = roundTimeLabels(signal->chart());
    signal->scrollBar()->setValue(0);
    EXPECT_NE(roundTimeLabels(signal->chart()), newest);
}

TEST_F(ResultsBottomChartsViewTest, AShortCaptureRepeatsNoTimeLabel) {
    // Two seconds of DNS samples.
    auto view = shownRows([](QTextStream& out) {
        const QDateTime start = QDateTime::fromString(u"2026-03-14T16:57:25.400Z"_s, Qt::ISODateWithMs);
        for (int i = 0; i < 5; ++i) {
            out << start.addMSecs(i * 500).toString(Qt::ISODateWithMs) << ",dns,1.1.1.1," << 10 + i << ",0,"
                << i + 1 << ",,,,,\n";
        }
    });
    auto* dnsQuic = cardAt<ResultsDnsQuicCard>(*view, 1, 1);
    ASSERT_NE(dnsQuic, nullptr);
    const QStringList labels = roundTimeLabels(dnsQuic->chart());
    EXPECT_EQ(labels.size(), 2) << "16:57:26 and 16:57:27, in local time";
}

TEST_F(ResultsBottomChartsViewTest, FiveTestsStillDrawBars) {
    auto view = shownView(u"five_tests.csv"_s);
    auto* throughput = cardAt<ResultsThroughputCard>(*view, 0, 0);
    ASSERT_NE(throughput, nullptr);
    EXPECT_TRUE(hasSeries<QBarSeries>(throughput->subCharts()[0]));
    EXPECT_FALSE(hasSeries<QBoxPlotSeries>(throughput->subCharts()[0]));
    EXPECT_TRUE(throughput->cdnTexts().isEmpty());
}

TEST_F(ResultsBottomChartsViewTest, ACaptureThatFailedAtOnceShowsThePlaceholders) {
    auto view = shownView(u"failed.csv"_s);
    ASSERT_EQ(view->rowCount(), 2);
    const QStringList expected = {u"Insufficient Speed Test data"_s, u"Insufficient Signal data"_s,
                                  u"Insufficient Traceroute data"_s, u"Insufficient DNS & QUIC data"_s};
    for (int i = 0; i < 4; ++i) {
        auto* placeholder = qobject_cast<ResultsChartPlaceholder*>(view->cell(i / 2, i % 2));
        ASSERT_NE(placeholder, nullptr) << i;
        EXPECT_EQ(placeholder->text(), expected[i]);
        EXPECT_TRUE(labelTexts(placeholder).contains(expected[i]));
    }
}

TEST_F(ResultsBottomChartsViewTest, OneSignalReadingAndRoutesWithoutHopDetail) {
    auto view = shownView(u"no_hops.csv"_s);
    auto* signal = qobject_cast<ResultsChartPlaceholder*>(view->cell(0, 1));
    ASSERT_NE(signal, nullptr);
    EXPECT_EQ(signal->text(), u"Insufficient Signal data"_s);
    auto* traceroute = cardAt<ResultsTracerouteCard>(*view, 1, 0);
    ASSERT_NE(traceroute, nullptr);
    const QStringList texts = labelTexts(traceroute);
    EXPECT_TRUE(texts.contains(u"Hop detail not available"_s));
    EXPECT_TRUE(texts.contains(u"8 hops"_s));
    EXPECT_TRUE(texts.contains(u"stable path"_s));
}

TEST_F(ResultsBottomChartsViewTest, ANewCaptureRebuildsTheGrid) {
    auto view = shownView(u"failed.csv"_s);
    const int builds = view->rebuildCount();
    state.loadCapture(testDataPath(u"results-charts/good.csv"_s));
    QApplication::processEvents();
    // Once for the whole load, however many of the series said they changed.
    EXPECT_EQ(view->rebuildCount(), builds + 1);
    EXPECT_EQ(view->rowCount(), 3);
    EXPECT_NE(cardAt<ResultsThroughputCard>(*view, 0, 0), nullptr);
}

TEST_F(ResultsBottomChartsViewTest, AHiddenGridWaitsUntilItShows) {
    auto view = shownView(u"failed.csv"_s);
    view->hide();
    const int builds = view->rebuildCount();
    state.loadCapture(testDataPath(u"results-charts/good.csv"_s));
    EXPECT_EQ(view->rebuildCount(), builds);
    view->show();
    QApplication::processEvents();
    EXPECT_EQ(view->rebuildCount(), builds + 1);
    EXPECT_EQ(view->rowCount(), 3);
}

TEST_F(ResultsBottomChartsViewTest, FollowsASwitchOfSchemeWhileShown) {
    auto view = shownView(u"good.csv"_s);
    auto* card = cardAt<ResultsSignalCard>(*view, 0, 1);
    ASSERT_NE(card, nullptr);
    const QColor light = card->chart()->axes().first()->labelsBrush().color();
    Theme::apply(*qApp, Theme::Scheme::Dark);
    QApplication::processEvents();
    const QColor dark = card->chart()->axes().first()->labelsBrush().color();
    EXPECT_NE(light, dark);
    EXPECT_EQ(dark, view->palette().color(QPalette::PlaceholderText));
}

TEST_F(ResultsBottomChartsViewTest, DrawsInTheDarkScheme) {
    Theme::apply(*qApp, Theme::Scheme::Dark);
    auto view = shownView(u"good.csv"_s);
    const QImage picture = view->grab().toImage();
    EXPECT_FALSE(picture.isNull());
    auto* card = cardAt<ResultsSignalCard>(*view, 0, 1);
    ASSERT_NE(card, nullptr);
    // The axis labels follow the scheme's secondary text colour.
    EXPECT_EQ(card->chart()->axes().first()->labelsBrush().color(),
              view->palette().color(QPalette::PlaceholderText));
}

TEST_F(ResultsBottomChartsViewTest, ASixHourCaptureFeedsTheChartsThinnedSeries) {
    // Six hours of one DNS sample, one traffic reading and one signal reading a second.
    auto view = shownRows(
        [](QTextStream& out) {
            const QDateTime start = QDateTime::fromString(u"2026-03-14T00:00:00Z"_s, Qt::ISODate);
            qint64 seq = 0;
            for (int s = 0; s < 6 * 3600; ++s) {
                const QString at = start.addSecs(s).toString(Qt::ISODateWithMs);
                out << at << ",dns,1.1.1.1," << 10 + s % 13 << ",0," << ++seq << ",,,,,\n";
                out << at << ",throughput_observed,wlan0,,0," << ++seq
                    << ",,,,,dl_mbps=" << (s == 7777 ? 500 : s % 9) << " ul_mbps=1\n";
                out << at << ",wifi,wlan0," << -50 - s % 20 << ",0," << ++seq << ",,,,,ssid=Lab\n";
            }
        },
        900);

    const qsizetype most = 2 * ResultsSeriesThinning::defaultBucketCount + 2;
    auto* download = cardAt<ResultsUtilizationCard>(*view, 1, 0);
    ASSERT_NE(download, nullptr);
    EXPECT_LE(download->line()->count(), most);
    const QList<QPointF> drawn = download->line()->points();
    EXPECT_TRUE(
        std::any_of(drawn.cbegin(), drawn.cend(), [](const QPointF& point) { return point.y() == 500; }));
    auto* dnsQuic = cardAt<ResultsDnsQuicCard>(*view, 2, 1);
    ASSERT_NE(dnsQuic, nullptr);
    EXPECT_LE(dnsQuic->dotSeries()[0]->count(), most);
    EXPECT_GT(dnsQuic->dotSeries()[0]->count(), 100);
    // The signal shows its five-minute window: a few hundred readings of the 21,600.
    auto* signal = cardAt<ResultsSignalCard>(*view, 0, 1);
    ASSERT_NE(signal, nullptr);
    EXPECT_LE(signal->line()->count(), 303);
}

TEST_F(ResultsBottomChartsViewTest, LongAddressesFitAColumnOfANarrowWindow) {
    const QDateTime at = QDateTime::fromString(u"2026-03-14T09:30:00Z"_s, Qt::ISODate);
    const QList<HopDetail> hops = {{1, u"2001:db8:85a3:1200:8a2e:370:7334:1"_s, 2.0, std::nullopt},
                                   {2, u"2001:db8:85a3:1200:8a2e:370:7334:2"_s, 9.0, std::nullopt},
                                   {3, u"2606:4700:4700::1111"_s, 20.0, std::nullopt}};
    const TraceroutePoint route{at, 3, hops.first().ip, u"2606:4700:4700::1111"_s, hops};
    ResultsTracerouteCard card(ResultsTracerouteChart::model({route}));
    card.show();
    QApplication::processEvents();
    // The narrowest window leaves each of the two columns about 280 pixels.
    EXPECT_LE(card.minimumSizeHint().width(), 280);
    const QList<QLabel*> labels = card.findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.cbegin(), labels.cend(), [](const QLabel* label) {
        return label->accessibleName() == u"2001:db8:85a3:1200:8a2e:370:7334:1"_s;
    }));
}
