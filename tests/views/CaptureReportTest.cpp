#include "views/CaptureReport.h"

#include "base/VirtualClock.h"
#include "capture/ResultsAnalysis.h"
#include "core/AppState.h"
#include "screens/CaptureReportModel.h"
#include "screens/ResultsLatencyChart.h"
#include "screens/ResultsScreen.h"
#include "services/FileLogger.h"
#include "subprocess/CaptureConfig.h"
#include "subprocess/PythonProcess.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

QString goodCapture() {
    return testDataPath(u"tour/captures/wifi_capture_20261121T091500Z.csv"_s);
}
QString flakyCapture() {
    return testDataPath(u"analyze/wifi_capture_20260314T093000Z.csv"_s);
}
QString emptyCapture() {
    return testDataPath(u"report/empty.csv"_s);
}

// What a reader of the PDF can select and search, as poppler reads it.
QString pdfText(const QString& pdf) {
    QProcess process;
    process.start(u"pdftotext"_s, {u"-layout"_s, pdf, u"-"_s});
    process.waitForFinished(60'000);
    EXPECT_EQ(process.exitCode(), 0) << "pdftotext (poppler-utils) is needed";
    return QString::fromUtf8(process.readAllStandardOutput());
}

int pdfPages(const QString& pdf) {
    QProcess process;
    process.start(u"pdfinfo"_s, {pdf});
    process.waitForFinished(60'000);
    const QRegularExpressionMatch match =
        QRegularExpression(u"Pages:\\s+(\\d+)"_s).match(QString::fromUtf8(process.readAllStandardOutput()));
    return match.hasMatch() ? match.captured(1).toInt() : -1;
}

// pdftotext lays words out as they stand on the page: compare with runs of spaces made one.
QString simplified(const QString& text) {
    return QString(text).replace(QRegularExpression(u"[ \\t]+"_s), u" "_s);
}

class CaptureReportTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    QTemporaryDir out;

    void SetUp() override { state.setUploadsSuppressed(true); }

    // Writes the report of a capture file and returns its text.
    QString report(const QString& capture, int* pages = nullptr) {
        state.loadCapture(capture);
        EXPECT_FALSE(state.errorMessage()) << qPrintable(capture);
        return reportOfState(pages);
    }

    // Writes the report of what the session holds now and returns its text.
    QString reportOfState(int* pages = nullptr) {
        CaptureReport report(state);
        const QString pdf = out.filePath(u"report.pdf"_s);
        const std::optional<QString> error = report.writePdf(pdf);
        EXPECT_FALSE(error) << qPrintable(error.value_or(QString()));
        if (pages) {
            *pages = pdfPages(pdf);
            EXPECT_EQ(*pages, report.pageCount());
        }
        return simplified(pdfText(pdf));
    }

    // The summary cards' figures and ratings in the screen's own formats.
    void expectCards(const QString& text) {
        ResultsScreen screen(state, [](const QString&) {});
        for (const StatCard& card : screen.summaryCards()) {
            // The cards set their titles in capitals.
            EXPECT_TRUE(text.contains(card.title, Qt::CaseInsensitive)) << qPrintable(card.title);
            EXPECT_TRUE(text.contains(card.value)) << qPrintable(card.value);
        }
    }
};

} // namespace

TEST_F(CaptureReportTest, GoodCaptureNamesPlaceNetworkVerdictAndFigures) {
    int pages = 0;
    const QString text = report(goodCapture(), &pages);
    const CaptureSnapshot capture = state.snapshot();

    EXPECT_TRUE(text.contains(u"Hotel Aurora, room 412"_s)) << qPrintable(text.left(2000));
    EXPECT_TRUE(text.contains(u"Aurora-Guest"_s));
    EXPECT_TRUE(text.contains(u"Quality: "_s + ResultsAnalysis::quality(capture).rawValue()));
    // The explanation may wrap; its first words stand on the verdict's line.
    const QString explanation = ResultsAnalysis::qualityExplanation(capture);
    EXPECT_TRUE(text.contains(explanation.section(u' ', 0, 3))) << qPrintable(explanation);
    const ResultsHeader header = ResultsScreen::headerFor(capture);
    for (const ResultsFact& fact : header.facts)
        EXPECT_TRUE(text.contains(fact.text)) << qPrintable(fact.text);
    expectCards(text);
    EXPECT_TRUE(text.contains(u"LINK CAPABILITY"_s));
    EXPECT_TRUE(text.contains(u"Latency Timeline"_s));
    const ResultsLatencyChart::Timeline timeline(state.latencyPoints(), state.speedTestRanges());
    EXPECT_TRUE(text.contains(*ResultsLatencyChart::percentileText(timeline.percentiles())));
    EXPECT_TRUE(text.contains(u"Loss Heatmap"_s));
    EXPECT_TRUE(text.contains(u"Speed Test"_s));
    EXPECT_TRUE(text.contains(u"Traceroute"_s));
    EXPECT_TRUE(text.contains(u"DNS & QUIC"_s));
    EXPECT_TRUE(text.contains(u"Norvane "_s));
    EXPECT_TRUE(text.contains(u"wifi_capture_20261121T091500Z.csv \u00b7 Page 1 of %1"_s.arg(pages)));
}

TEST_F(CaptureReportTest, FlakyCaptureShowsTheBlockedTargetTheLossAndTheWarnings) {
    const QString text = report(flakyCapture());
    EXPECT_TRUE(text.contains(u"Gate 12"_s));
    EXPECT_TRUE(text.contains(u"Quality: "_s + ResultsAnalysis::quality(state.snapshot()).rawValue()));
    expectCards(text);
    EXPECT_TRUE(text.contains(u"Blocked target excluded: tcp:8.8.8.8:853"_s)) << qPrintable(text);
    EXPECT_TRUE(text.contains(u"Loss Heatmap"_s));
    // A quarter of the probes were lost: the strip has buckets to show.
    const auto buckets = ResultsAnalysis::computeLossBuckets(state.latencyPoints(), 10);
    EXPECT_TRUE(std::any_of(buckets.begin(), buckets.end(), [](const auto& b) { return b.lossRate > 0; }));
    EXPECT_EQ(text.contains(u"VIDEO STREAMING"_s),
              ResultsScreen(state, [](const QString&) {}).showsVideoSection());
    for (const QString& warning : state.warnings())
        EXPECT_TRUE(text.contains(warning.left(30))) << qPrintable(warning);
}

TEST_F(CaptureReportTest, CaptureThatFailedAtOnceReadsFailedWithoutCharts) {
    CaptureConfig config;
    config.location = u"Airport lounge B"_s;
    config.network = u"Lounge-Free"_s;
    state.startReplay(config);
    state.pythonProcess().processLine(
        uR"({"event":"throughput_result","direction":"download","mbps":0,"bytes":0,"streams":4,"ts":"2026-03-14T09:30:05Z","error":"connection reset","test_num":1})"_s);
    state.pythonProcess().processLine(
        uR"({"event":"error","message":"The measurement tool stopped: Wi-Fi interface disappeared","fatal":true})"_s);
    int pages = 0;
    const QString text = reportOfState(&pages);
    EXPECT_TRUE(text.contains(u"Airport lounge B"_s)) << qPrintable(text);
    EXPECT_TRUE(text.contains(u"Lounge-Free"_s));
    EXPECT_TRUE(text.contains(u"The measurement tool stopped: Wi-Fi interface disappeared"_s));
    EXPECT_TRUE(text.contains(u"Quality: "_s + ResultsAnalysis::quality(state.snapshot()).rawValue()));
    EXPECT_TRUE(text.contains(u"---"_s));
    EXPECT_TRUE(text.contains(u"Failed"_s));
    expectCards(text);
    EXPECT_FALSE(text.contains(u"Latency Timeline"_s));
    EXPECT_TRUE(text.contains(u"Insufficient Speed Test data"_s));
    EXPECT_TRUE(text.contains(u"Insufficient Traceroute data"_s));
    EXPECT_LE(pages, 2);
}

TEST_F(CaptureReportTest, EmptyCaptureStillMakesAReport) {
    int pages = 0;
    const QString text = report(emptyCapture(), &pages);
    EXPECT_TRUE(text.contains(u"Conference room 3"_s));
    EXPECT_TRUE(text.contains(u"Quality: "_s + ResultsAnalysis::quality(state.snapshot()).rawValue()));
    expectCards(text);
    EXPECT_TRUE(text.contains(u"Insufficient Signal data"_s));
    EXPECT_LE(pages, 2);
}

TEST_F(CaptureReportTest, SummaryPictureIsTheFirstPageTwelveHundredPixelsWide) {
    state.loadCapture(goodCapture());
    CaptureReport report(state);
    const QString png = out.filePath(u"summary.png"_s);
    ASSERT_FALSE(report.writePicture(png));
    const QImage picture(png);
    EXPECT_EQ(picture.width(), CaptureReport::pictureWidth);
    EXPECT_GT(picture.height(), 300);
    // Not a blank sheet: the verdict's and the cards' colours are on it.
    int coloured = 0;
    for (int y = 0; y < picture.height(); y += 4) {
        for (int x = 0; x < picture.width(); x += 4) {
            const QColor pixel = picture.pixelColor(x, y);
            coloured += pixel.saturation() > 80 ? 1 : 0;
        }
    }
    EXPECT_GT(coloured, 50);
}

TEST_F(CaptureReportTest, AnUnwritableFileIsAnErrorNotACrash) {
    state.loadCapture(goodCapture());
    CaptureReport report(state);
    const std::optional<QString> error = report.writePdf(out.filePath(u"no/such/folder/report.pdf"_s));
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->startsWith(u"Could not write"_s));
}

TEST_F(CaptureReportTest, ProgressCountsThePiecesAndCanCancel) {
    state.loadCapture(goodCapture());
    CaptureReport report(state);
    const QString pdf = out.filePath(u"cancelled.pdf"_s);
    int calls = 0;
    const std::optional<QString> error = report.writePdf(pdf, [&calls](int done, int total) {
        ++calls;
        EXPECT_LE(done, total);
        return done < 2;
    });
    EXPECT_TRUE(error);
    EXPECT_EQ(calls, 2);
    EXPECT_FALSE(QFile::exists(pdf));
}

TEST_F(CaptureReportTest, PageCountGrowsWithTheCaptureAndStaysBounded) {
    QList<int> pages;
    for (const int rows : {2'000, 40'000, 150'000}) {
        const QString csv = out.filePath(u"long_%1.csv"_s.arg(rows));
        QProcess python;
        python.start(u"python3"_s, {simulatorDir() + u"/gen_capture.py"_s, u"--rows"_s, QString::number(rows),
                                    u"--out"_s, csv});
        ASSERT_TRUE(python.waitForFinished(120'000));
        ASSERT_EQ(python.exitCode(), 0) << python.readAllStandardError().constData();
        int count = 0;
        report(csv, &count);
        pages.append(count);
    }
    // Minutes fill a page or two; past a couple of hours the timeline rows stop growing, and so does the
    // report.
    EXPECT_LT(pages[0], pages[1]) << pages[0] << ' ' << pages[1];
    EXPECT_EQ(pages[1], pages[2]);
    EXPECT_LE(pages[2], 4);
}
