// How quickly the results screen shows a very long capture, and how smoothly its latency chart scrolls.
// A capture of 1,000,000 rows (about 55 hours of an active capture) is generated with the simulator's
// gen_capture.py into a temporary folder; then, on the offscreen platform:
//   (a) the time from asking AppState to load the file until the results screen has been built, shown and
//       painted once, as the main window builds it when the screen changes;
//   (b) the time of each scroll frame of the latency chart: the window moves in steps from the start of
//       the capture to its end, and each step is painted before the next.
// Prints the figures as plain lines; judges nothing beyond saying whether the goals were met.

#include "GeneratedCapture.h"

#include "core/AppState.h"
#include "screens/LossHeatmap.h"
#include "screens/ResultsLatencyChart.h"
#include "services/FileLogger.h"
#include "views/ResultsLatencyChartView.h"
#include "views/ResultsView.h"

#include <QApplication>
#include <QChartView>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QLineSeries>
#include <QProcess>
#include <QScrollBar>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

double msSince(const QElapsedTimer& timer) {
    return double(timer.nsecsElapsed()) / 1e6;
}

double at(const std::vector<double>& sorted, double fraction) {
    if (sorted.empty())
        return 0;
    const size_t index = std::min(sorted.size() - 1, size_t(double(sorted.size() - 1) * fraction + 0.5));
    return sorted[index];
}

} // namespace

int main(int argc, char* argv[]) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({u"rows"_s, u"Rows of the generated capture."_s, u"rows"_s, u"1000000"_s});
    parser.addOption({u"frames"_s, u"Scroll frames to measure."_s, u"frames"_s, u"200"_s});
    parser.addOption({u"width"_s, u"Width of the window in pixels."_s, u"pixels"_s, u"1000"_s});
    parser.process(app);
    const int rows = parser.value(u"rows"_s).toInt();
    const int frames = std::max(2, parser.value(u"frames"_s).toInt());
    const int width = parser.value(u"width"_s).toInt();

    QTemporaryDir home;
    const std::optional<QString> generated = GeneratedCapture::make(home, rows);
    if (!generated)
        return 1;
    const QString& capture = *generated;

    FileLogger log(home.path() + u"/logs"_s);
    AppState state(log);

    // (a) From the request to load to the first painted picture: the window builds the screen afresh when
    // the load has changed it.
    QElapsedTimer timer;
    timer.start();
    state.loadCapture(capture);
    const double loadMs = msSince(timer);
    std::unique_ptr<ResultsView> widget = std::make_unique<ResultsView>(state);
    widget->resize(width, 800);
    widget->show();
    QApplication::processEvents();
    widget->repaint();
    const double shownMs = msSince(timer);
    ResultsLatencyChartView* chart = widget->latencyChart();
    auto* plot = chart->findChild<QChartView*>();
    if (!plot || !chart->isVisible()) {
        std::fprintf(stderr, "the results screen shows no latency chart\n");
        return 1;
    }
    std::printf("latency points: %lld, span %.1f h\n", qlonglong(state.latencyPoints().size()),
                chart->timeline().span().totalSeconds / 3600);
    std::printf("load and first paint: %.0f ms (loadCapture %.0f ms, build and paint %.0f ms)\n", shownMs,
                loadMs, shownMs - loadMs);

    // The whole-capture work of each widget alone, for the record.
    timer.restart();
    const ResultsLatencyChart::Timeline timeline(state.latencyPoints(), state.speedTestRanges());
    const double timelineMs = msSince(timer);
    timer.restart();
    const LossHeatmap::Frame heatmap = LossHeatmap::frame(state.latencyPoints());
    const double heatmapMs = msSince(timer);
    std::printf("of which: latency timeline %.0f ms, loss heatmap %.0f ms (%lld rows)\n", timelineMs,
                heatmapMs, qlonglong(heatmap.rows.size()));

    // (b) Scroll frames across the whole capture.
    QScrollBar* bar = chart->scrollBar();
    std::vector<double> frameMs;
    std::vector<qsizetype> fed;
    std::vector<double> updateMs;
    frameMs.reserve(size_t(frames));
    for (int i = 0; i < frames; ++i) {
        const int value = int(qint64(bar->maximum()) * i / (frames - 1));
        timer.restart();
        bar->setValue(value);
        QApplication::processEvents();
        const double updated = msSince(timer);
        plot->repaint();
        frameMs.push_back(msSince(timer));
        updateMs.push_back(updated);
        qsizetype points = chart->lossSeries()->count();
        for (const auto* series : chart->dotSeries())
            points += series->count();
        fed.push_back(points);
    }
    std::vector<double> sorted = frameMs;
    std::sort(sorted.begin(), sorted.end());
    std::sort(fed.begin(), fed.end());
    std::sort(updateMs.begin(), updateMs.end());
    std::printf("scroll frames: %d over %d s, median %.1f ms, p95 %.1f ms, max %.1f ms\n", frames,
                bar->maximum(), at(sorted, 0.5), at(sorted, 0.95), sorted.back());
    std::printf("of each frame: new window and series %.1f ms (median), painting the rest\n",
                at(updateMs, 0.5));
    std::printf("points fed per frame: median %lld, max %lld\n", qlonglong(fed[fed.size() / 2]),
                qlonglong(fed.back()));
    std::printf("goal shown within 2000 ms: %s\n", shownMs < 2000 ? "met" : "missed");
    std::printf("goal each scroll frame under 50 ms: %s\n", sorted.back() < 50 ? "met" : "missed");
    return 0;
}
