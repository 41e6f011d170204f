#include "support/CliRun.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QImage>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

QByteArray head(const QString& path, int bytes) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(bytes) : QByteArray();
}

} // namespace

TEST(ReportVerb, WritesThePdfAndTheSummaryPictureWithoutAWindow) {
    TempHome home;
    QTemporaryDir out;
    const QString pdf = out.filePath(u"aurora.pdf"_s);
    const QString png = out.filePath(u"aurora.png"_s);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"QT_QPA_PLATFORM"_s);
    environment.remove(u"DISPLAY"_s);
    environment.remove(u"WAYLAND_DISPLAY"_s);
    const CliRun run =
        runCli({u"report"_s, testDataPath(u"tour/captures/wifi_capture_20261121T091500Z.csv"_s), u"-o"_s, pdf,
                u"--png"_s, png},
               environment);
    EXPECT_EQ(run.exitCode, 0) << qPrintable(run.err);
    EXPECT_TRUE(run.out.contains(u"Report: "_s + pdf)) << qPrintable(run.out);
    EXPECT_EQ(head(pdf, 5), "%PDF-");
    EXPECT_EQ(QImage(png).width(), 1200);
}

TEST(ReportVerb, WithoutOutputTheReportGoesBesideTheCapture) {
    TempHome home;
    QTemporaryDir folder;
    const QString capture = folder.filePath(u"failed_at_once.csv"_s);
    ASSERT_TRUE(QFile::copy(testDataPath(u"report/failed_at_once.csv"_s), capture));
    const CliRun run = runCli({u"report"_s, capture});
    EXPECT_EQ(run.exitCode, 0) << qPrintable(run.err);
    EXPECT_EQ(head(folder.filePath(u"failed_at_once.pdf"_s), 5), "%PDF-");
}

TEST(ReportVerb, AnUnreadableCaptureFailsWithTheLoadersMessage) {
    TempHome home;
    QTemporaryDir out;
    const CliRun run =
        runCli({u"report"_s, out.filePath(u"missing.csv"_s), u"-o"_s, out.filePath(u"x.pdf"_s)});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains(u"Could not load CSV file"_s)) << qPrintable(run.err);
    EXPECT_FALSE(QFile::exists(out.filePath(u"x.pdf"_s)));
}

TEST(ReportVerb, AnOptionWithoutItsFileIsAUsageError) {
    TempHome home;
    const CliRun run = runCli({u"report"_s, u"capture.csv"_s, u"-o"_s});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains(u"Usage: norvane-cli report CAPTURE.csv"_s)) << qPrintable(run.err);
}
