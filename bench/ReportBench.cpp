// How long the report of a very long capture takes, and how much memory it needs. A capture of 1,000,000
// rows (about 53 hours of an active capture) is generated with the simulator's gen_capture.py into a
// temporary folder; then, on the offscreen platform, the steps of `norvane-cli report` one after another:
// loading the capture, laying the report's widgets out, writing the PDF and the summary picture. Peak
// memory is the process's resident high-water mark, before the load and at the end.
// Prints the figures as plain lines; judges nothing beyond saying whether the goal was met.

#include "GeneratedCapture.h"

#include "core/AppState.h"
#include "services/FileLogger.h"
#include "views/CaptureReport.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// The report of the million-row capture, from the load to the written files.
constexpr double goalSeconds = 5;

double msSince(const QElapsedTimer& timer) {
    return double(timer.nsecsElapsed()) / 1e6;
}

double peakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024; // Linux counts in kilobytes
}

} // namespace

int main(int argc, char* argv[]) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({u"rows"_s, u"Rows of the generated capture."_s, u"rows"_s, u"1000000"_s});
    parser.process(app);
    const int rows = parser.value(u"rows"_s).toInt();

    QTemporaryDir home;
    const std::optional<QString> capture = GeneratedCapture::make(home, rows);
    if (!capture)
        return 1;

    FileLogger log(home.path() + u"/logs"_s);
    AppState state(log);
    const double peakBefore = peakMegabytes();

    QElapsedTimer timer;
    timer.start();
    state.loadCapture(*capture);
    const double loadMs = msSince(timer);
    if (state.errorMessage()) {
        std::fprintf(stderr, "the capture did not load: %s\n", qPrintable(*state.errorMessage()));
        return 1;
    }
    QElapsedTimer step;
    step.start();
    CaptureReport report(state);
    const double layoutMs = msSince(step);
    step.restart();
    const auto failed = [](const std::optional<QString>& error) {
        if (error)
            std::fprintf(stderr, "%s\n", qPrintable(*error));
        return error.has_value();
    };
    const QString pdf = home.path() + u"/report.pdf"_s;
    if (failed(report.writePdf(pdf)))
        return 1;
    const double pdfMs = msSince(step);
    step.restart();
    const QString png = home.path() + u"/report.png"_s;
    if (failed(report.writePicture(png)))
        return 1;
    const double pictureMs = msSince(step);
    const double totalMs = msSince(timer);

    std::printf("latency points: %lld\n", qlonglong(state.latencyPoints().size()));
    std::printf("report: %d pages, PDF %.1f MB, picture %.0f kB\n", report.pageCount(),
                double(QFileInfo(pdf).size()) / 1e6, double(QFileInfo(png).size()) / 1e3);
    std::printf("load to written files: %.0f ms (loadCapture %.0f ms, layout %.0f ms, PDF %.0f ms, picture "
                "%.0f ms)\n",
                totalMs, loadMs, layoutMs, pdfMs, pictureMs);
    std::printf("peak resident memory: %.0f MB (%.0f MB before the load)\n", peakMegabytes(), peakBefore);
    std::printf("goal, under %.0f s: %s\n", goalSeconds, totalMs < goalSeconds * 1000 ? "met" : "NOT met");
    return 0;
}
