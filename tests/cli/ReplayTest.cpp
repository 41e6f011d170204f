#include "cli/Replay.h"

#include "base/VirtualClock.h"
#include "cli/CaptureVerbs.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "support/CliRun.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

QByteArray recordedStream() {
    QFile file(testDataPath(u"events/cellular-capture.jsonl"_s));
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

// A line as Python's json.dumps writes it by default: a blank after every colon and comma that stands
// between keys and values, none inside the strings.
QByteArray spacedLikePython(const QByteArray& line) {
    QByteArray spaced;
    spaced.reserve(line.size() + line.size() / 4);
    bool inString = false;
    bool escaped = false;
    for (const char c : line) {
        spaced += c;
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == ':' || c == ',') {
            spaced += ' ';
        }
    }
    return spaced;
}

QString writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(content);
    return path;
}

TEST(ReplaySpacing, StreamWithBlanksAfterTheColonsReplaysExactlyAsTheCompactOne) {
    TempHome home;
    const QByteArray compact = recordedStream();
    QByteArray spaced;
    for (const QByteArray& line : compact.split('\n'))
        spaced += spacedLikePython(line) + '\n';
    ASSERT_TRUE(spaced.contains("\"ts\": \"2026-"));
    ASSERT_EQ(Replay::firstTimestamp(spaced), Replay::firstTimestamp(compact));

    const CliRun compactRun =
        runVerb(runReplayVerb, {writeFile(home.path() + u"/compact.jsonl"_s, compact), u"--json"_s});
    const CliRun spacedRun =
        runVerb(runReplayVerb, {writeFile(home.path() + u"/spaced.jsonl"_s, spaced), u"--json"_s});
    ASSERT_EQ(compactRun.exitCode, 0) << compactRun.err.toStdString();
    ASSERT_EQ(spacedRun.exitCode, 0) << spacedRun.err.toStdString();
    const QJsonObject compactState = compactRun.json();
    // The recording covers four minutes: a clock that moved with it filled a cell for each second.
    EXPECT_GT(compactState[u"honeycomb"_s][u"filled_count"_s].toInt(), 100) << compactRun.out.toStdString();
    EXPECT_EQ(spacedRun.json(), compactState) << spacedRun.out.toStdString();
}

class ReplayClockJump : public ::testing::Test {
protected:
    TempHome home;
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
};

TEST_F(ReplayClockJump, TimestampDecadesAheadCostsOneTickPerTimerNotOnePerSecondSkipped) {
    // The first 300 lines, one of whose timestamps is sixty years off: a mistyped year.
    QList<QByteArray> lines = recordedStream().split('\n').mid(0, 300);
    const qsizetype bad = 200;
    ASSERT_TRUE(lines[bad].contains("\"ts\":\"2026-"));
    lines[bad].replace("\"ts\":\"2026-", "\"ts\":\"2086-");
    const QByteArray recording = lines.join('\n') + '\n';
    const QDateTime start = *Replay::firstTimestamp(recording);
    const QDateTime farAhead = *Replay::firstTimestamp(lines[bad]);
    ASSERT_GT(start.daysTo(farAhead), 365 * 59);
    // The last moment before the bad line, which the clock reaches by its ordinary steps.
    std::optional<QDateTime> lastGood;
    for (qsizetype i = bad - 1; i >= 0 && !lastGood; --i)
        lastGood = Replay::firstTimestamp(lines[i]);
    ASSERT_TRUE(lastGood);

    VirtualClock time(start);
    ScopedVirtualTime scope(time);
    AppState state(log);
    state.startReplay(CaptureConfig{});
    int ticks = 0;
    Timer everySecond = time.repeating(1.0, nullptr, [&ticks] { ++ticks; });

    const Replay::Result result = Replay::play(recording, state, time);
    EXPECT_EQ(result.lines, 300);
    EXPECT_EQ(result.dropped(), 0);
    EXPECT_EQ(time.now(), farAhead);
    // A tick for every second of the ordinary stretch, and one for the sixty years.
    EXPECT_EQ(ticks, start.msecsTo(*lastGood) / 1000 + 1);

    // The session goes on from the new moment with its timers at their periods.
    const qsizetype buffered = state.latencyBuffer().size();
    EXPECT_GT(buffered, 0) << "the lines after the jump lie behind the clock and wait for the next flush";
    time.advance(1.0);
    EXPECT_EQ(ticks, start.msecsTo(*lastGood) / 1000 + 2);
    EXPECT_TRUE(state.latencyBuffer().isEmpty());
}

} // namespace
