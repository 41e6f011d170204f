#include "capture/CsvLineReader.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QRandomGenerator>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

struct ReadResult {
    bool ok = false;
    QList<QByteArray> lines;
};

ReadResult readLines(const QByteArray& bytes, qsizetype chunkSize = CsvLineReader::defaultChunkSize) {
    QByteArray data = bytes;
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    CsvLineReader reader(buffer, chunkSize);
    ReadResult result;
    result.ok = reader.forEachLine(
        [&](std::string_view line) { result.lines.append(QByteArray(line.data(), qsizetype(line.size()))); });
    return result;
}

// The rule spelled out on decoded text, one character at a time.
QList<QByteArray> referenceLines(const QByteArray& bytes) {
    const QString text = QString::fromUtf8(bytes);
    QList<QByteArray> lines;
    QString current;
    for (const QChar c : text) {
        const char16_t unit = c.unicode();
        if ((unit >= 0x0A && unit <= 0x0D) || unit == 0x85 || unit == 0x2028 || unit == 0x2029) {
            lines.append(current.toUtf8());
            current.clear();
        } else {
            current.append(c);
        }
    }
    lines.append(current.toUtf8());
    return lines;
}

} // namespace

TEST(CsvLineReader, FinalLineEndLeavesAnEmptyLastLine) {
    const ReadResult result = readLines("a,b\nc,d\n");
    ASSERT_TRUE(result.ok);
    EXPECT_EQ(result.lines, (QList<QByteArray>{"a,b", "c,d", ""}));
}

TEST(CsvLineReader, EmptyTextIsOneEmptyLine) {
    const ReadResult result = readLines("");
    ASSERT_TRUE(result.ok);
    EXPECT_EQ(result.lines, QList<QByteArray>{""});
}

TEST(CsvLineReader, CrLfGivesAnEmptyLineBetween) {
    const ReadResult result = readLines("a\r\nb");
    ASSERT_TRUE(result.ok);
    EXPECT_EQ(result.lines, (QList<QByteArray>{"a", "", "b"}));
}

TEST(CsvLineReader, SplitsAtEveryUnicodeNewline) {
    const ReadResult result = readLines("1\n2\v3\f4\r5\xC2\x85"
                                        "6\xE2\x80\xA8"
                                        "7\xE2\x80\xA9"
                                        "8");
    ASSERT_TRUE(result.ok);
    EXPECT_EQ(result.lines, (QList<QByteArray>{"1", "2", "3", "4", "5", "6", "7", "8"}));
}

TEST(CsvLineReader, OtherCharactersThatShareLeadBytesWithNewlinesStayInTheLine) {
    // U+00A9 (C2 A9) and U+2030 (E2 80 B0) are no newlines.
    const ReadResult result = readLines("\xC2\xA9 x\xE2\x80\xB0y\nz");
    ASSERT_TRUE(result.ok);
    EXPECT_EQ(result.lines, (QList<QByteArray>{"\xC2\xA9 x\xE2\x80\xB0y", "z"}));
}

TEST(CsvLineReader, RefusesTextThatIsNotUtf8) {
    EXPECT_FALSE(readLines("good line\nbad \xFF line\n").ok);
    EXPECT_FALSE(readLines("cut off at the end \xE2\x80").ok);
    EXPECT_FALSE(readLines("lone continuation \x80\n").ok);
    EXPECT_FALSE(readLines("overlong \xC0\xAF\n").ok);
}

TEST(CsvLineReader, RefusesBadTextBeforeAnyLineOfItIsSeen) {
    // The bad byte stands in the first line: nothing may reach the caller.
    QByteArray bytes = "\xFF";
    for (int i = 0; i < 100; ++i)
        bytes += "2026-01-02T03:04:05.000Z,ping,1.1.1.1,10,0,1,,,,,\n";
    EXPECT_TRUE(readLines(bytes, 16).lines.isEmpty());
}

TEST(CsvLineReader, AnyChunkSizeGivesTheSameLines) {
    // Text that mixes every newline with multi-byte characters, cut at every possible place.
    const QList<QByteArray> pieces = {
        "a",  "bc,d", ",",  "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x93\xB6", "\n",       "\r\n",
        "\r", "\v",   "\f", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9",     "\xC2\xA9", "\xE2\x80\xB0"};
    QRandomGenerator random(20260102);
    for (int round = 0; round < 40; ++round) {
        QByteArray text;
        const int count = random.bounded(1, 200);
        for (int i = 0; i < count; ++i)
            text += pieces.at(random.bounded(int(pieces.size())));
        const QList<QByteArray> expected = referenceLines(text);
        for (const qsizetype chunk : {4, 5, 7, 16, 33, 1024}) {
            const ReadResult result = readLines(text, chunk);
            ASSERT_TRUE(result.ok) << "round " << round << " chunk " << chunk;
            ASSERT_EQ(result.lines, expected) << "round " << round << " chunk " << chunk;
        }
    }
}

TEST(CsvLineReader, ALineLongerThanTheChunkComesWhole) {
    const QByteArray longLine(100'000, 'x');
    const ReadResult result = readLines("h\n" + longLine + "\nlast", 64);
    ASSERT_TRUE(result.ok);
    ASSERT_EQ(result.lines.size(), 3);
    EXPECT_EQ(result.lines.at(1), longLine);
    EXPECT_EQ(result.lines.at(2), "last");
}
