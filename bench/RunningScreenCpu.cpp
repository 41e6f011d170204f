// How light the running screen is: the real window follows a real capture of the simulator's good
// scenario at its normal pace for a minute, and the program's own CPU time (the tool's excluded) and the
// chart's repaints are counted. Prints the figures; judges nothing.

#include "core/AppState.h"
#include "core/NorvaneApp.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "views/LiveLatencyChartView.h"
#include "views/MainWindow.h"

#include <QApplication>
#include <QChartView>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

double processCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Counts the paints of every chart in the window, whichever screen is built.
class PaintCounter : public QObject {
public:
    int paints = 0;
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint)
            ++paints;
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOption({u"seconds"_s, u"How long to watch the capture."_s, u"seconds"_s, u"60"_s});
    parser.process(app);
    const int seconds = parser.value(u"seconds"_s).toInt();

    // A sandbox home with the simulator's uv, so that the capture is the simulator's and stays here.
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    for (const char* variable : {"XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
        qunsetenv(variable);
    qputenv("NORVANE_SIM_SCENARIO", "good");
    qputenv("NORVANE_PORTAL_PROBE_URL", "http://127.0.0.1:9/generate_204");
    qputenv("NORVANE_SITE_URL", "http://127.0.0.1:9");
    QDir().mkpath(home.path() + u"/.local/bin"_s);
    QFile::link(QStringLiteral(NORVANE_SIMULATOR_DIR) + u"/uv"_s, home.path() + u"/.local/bin/uv"_s);

    NorvaneApp norvane(FileLogger::shared());
    AppState& state = norvane.appState();
    MainWindow window(norvane);
    window.show();

    CaptureConfig config;
    config.location = u"Benchmark"_s;
    config.durationString = u"5m"_s;
    state.startCapture(config);

    PaintCounter counter;
    QTimer watchCharts;
    QObject::connect(&watchCharts, &QTimer::timeout, &window, [&] {
        const QList<QChartView*> charts = window.findChildren<QChartView*>();
        for (QChartView* chart : charts)
            chart->viewport()->installEventFilter(&counter); // installing twice keeps one filter
    });
    watchCharts.start(500);

    // The first seconds build the screen and start the tool; the minute is measured after them.
    QElapsedTimer wall;
    double cpuAtStart = 0;
    int paintsAtStart = 0;
    int rebuildsAtStart = 0;
    auto rebuilds = [&window] {
        int count = 0;
        for (const LiveLatencyChartView* chart : window.findChildren<LiveLatencyChartView*>())
            count += chart->rebuildCount();
        return count;
    };
    QTimer::singleShot(5000, &app, [&] {
        cpuAtStart = processCpuSeconds();
        paintsAtStart = counter.paints;
        rebuildsAtStart = rebuilds();
        wall.start();
        // exit(), not quit(): a capture is running, so the window would answer a close with the quit alert.
        QTimer::singleShot(seconds * 1000, &app, [] { QCoreApplication::exit(0); });
    });
    app.exec();

    const double elapsed = double(wall.elapsed()) / 1000.0;
    const double cpu = processCpuSeconds() - cpuAtStart;
    const int paints = counter.paints - paintsAtStart;
    const int chartRebuilds = rebuilds() - rebuildsAtStart;
    QTextStream out(stdout);
    out << "running screen, good scenario at normal pace, " << QString::number(elapsed, 'f', 1)
        << " s watched on screen '" << AppState::screenName(state.screen()) << "':\n"
        << "  CPU of the program: " << QString::number(cpu, 'f', 2)
        << " s = " << QString::number(100.0 * cpu / elapsed, 'f', 2) << " % of one core (goal < 3 %)\n"
        << "  chart repaints: " << paints << " = " << QString::number(paints / elapsed, 'f', 2)
        << " per second, of which rebuilds from new data: " << chartRebuilds << " = "
        << QString::number(chartRebuilds / elapsed, 'f', 2) << " per second (goal <= 2)\n"
        << "  latency points at the end: " << state.latencyPoints().size() << '\n';
    state.pythonProcess().reset();
    norvane.handleTermination();
    FileLogger::shared().waitForIdle();
    return 0;
}
