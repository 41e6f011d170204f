#include "support/CliRun.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

// What the program prints for every capture and every event stream kept under tests/data is kept beside
// them under outputs/, written by the program as it was before its readers were made faster: a faster
// reader must print the very same bytes.

namespace {

const QString outputsFolder = u"outputs"_s;

// The inputs of one verb, as paths under tests/data, sorted.
QStringList recordedInputs(const QStringList& patterns, const QStringList& leftOut = {}) {
    const QDir data(testDataPath(QString()));
    QStringList found;
    QDirIterator it(data.path(), patterns, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString relative = data.relativeFilePath(it.next());
        if (relative.startsWith(u"fuzz/"_s) || relative.startsWith(outputsFolder + u'/'))
            continue;
        if (std::any_of(leftOut.begin(), leftOut.end(),
                        [&](const QString& s) { return relative.endsWith(s); }))
            continue;
        found.append(relative);
    }
    found.sort();
    return found;
}

void expectSameOutputs(const QString& verb, const QStringList& inputs) {
    TempHome home;
    ASSERT_FALSE(inputs.isEmpty());
    for (const QString& input : inputs) {
        SCOPED_TRACE(input.toStdString());
        const QString expectedPath = testDataPath(outputsFolder + u'/' + verb + u'/' + input + u".json"_s);
        ASSERT_TRUE(QFile::exists(expectedPath)) << "no recorded output for " << input.toStdString();
        const QByteArray expected = readFileAt(expectedPath);
        const CliRun run = runCli({verb, testDataPath(input), u"--json"_s});
        EXPECT_EQ(run.out.toUtf8().toStdString(), expected.toStdString());
    }
}

} // namespace

TEST(RecordedOutputs, AnalyzeJsonOfEveryRecordedCaptureIsUnchanged) {
    expectSameOutputs(u"analyze"_s, recordedInputs({u"*.csv"_s}, {u"_throughput_raw.csv"_s}));
}

TEST(RecordedOutputs, ReplayJsonOfEveryRecordedStreamIsUnchanged) {
    expectSameOutputs(u"replay"_s, recordedInputs({u"*.jsonl"_s, u"*.bin"_s}));
}
