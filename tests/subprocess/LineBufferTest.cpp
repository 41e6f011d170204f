#include "subprocess/LineBuffer.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(LineBuffer, AnUnfinishedLineWaitsForItsLineFeed) {
    LineBuffer buffer;
    EXPECT_EQ(buffer.append("{\"event\":\"st"), QStringList{});
    EXPECT_EQ(buffer.pendingSize(), 12);
    EXPECT_EQ(buffer.append("atus\"}\n"), QStringList{u"{\"event\":\"status\"}"_s});
    EXPECT_EQ(buffer.pendingSize(), 0);
}

TEST(LineBuffer, TwoLinesInOneBlockAndAThirdSplitOverTwoBlocksArriveAsThreeLinesInOrder) {
    LineBuffer buffer;
    QStringList lines = buffer.append("first\nsecond\nthi");
    EXPECT_EQ(lines, (QStringList{u"first"_s, u"second"_s}));
    lines.append(buffer.append("rd\n"));
    EXPECT_EQ(lines, (QStringList{u"first"_s, u"second"_s, u"third"_s}));
}

TEST(LineBuffer, AnEmptyLineIsDropped) {
    LineBuffer buffer;
    EXPECT_EQ(buffer.append("\n\na\n\n\nb\n\n"), (QStringList{u"a"_s, u"b"_s}));
}

TEST(LineBuffer, OnlyALineFeedEndsALineAndACarriageReturnStaysInIt) {
    LineBuffer buffer;
    EXPECT_EQ(buffer.append("one\r\ntwo\rstill two\n\r\n"),
              (QStringList{u"one\r"_s, u"two\rstill two"_s, u"\r"_s}));
}

TEST(LineBuffer, BytesThatAreNotUTF8LoseOnlyTheirOwnLine) {
    LineBuffer buffer;
    const QStringList lines = buffer.append("before\n\xff\xfe\x00garbage\x80\x81\nafter\ncaf\xe9\nend\n"_ba);
    EXPECT_EQ(lines, (QStringList{u"before"_s, u"after"_s, u"end"_s}));
}

TEST(LineBuffer, InvalidUTF8FormsAreAllRefused) {
    const char* invalid[] = {
        "\xc0\xaf",         // overlong slash
        "\xe0\x80\xaf",     // overlong, three bytes
        "\xed\xa0\x80",     // a UTF-16 surrogate written as UTF-8
        "\xf4\x90\x80\x80", // beyond U+10FFFF
        "abc\xe2\x82",      // cut off at the end of the line
        "\x80",             // a lone continuation byte
        "\xfe",             // never valid
    };
    for (const char* bytes : invalid) {
        EXPECT_FALSE(LineBuffer::decodeUtf8(bytes).has_value()) << QByteArray(bytes).toHex().constData();
        LineBuffer buffer;
        EXPECT_EQ(buffer.append(QByteArray(QByteArray(bytes) + "\nok\n")), QStringList{u"ok"_s});
    }
}

TEST(LineBuffer, ValidUTF8OfEveryLengthDecodes) {
    LineBuffer buffer;
    EXPECT_EQ(buffer.append("caf\xc3\xa9 \xe2\x98\x95 \xf0\x9f\x9a\x80\n"), QStringList{u"café ☕ 🚀"_s});
}

TEST(LineBuffer, AMultiByteCharacterCutBetweenBlocksIsJoinedBeforeDecoding) {
    LineBuffer buffer;
    EXPECT_EQ(buffer.append("caf\xc3"), QStringList{});
    EXPECT_EQ(buffer.append("\xa9\n"), QStringList{u"café"_s});
}

TEST(LineBuffer, AByteOrderMarkAndNulBytesAreKeptAsCharacters) {
    LineBuffer buffer;
    const QStringList lines = buffer.append("\xef\xbb\xbf{}\na\0b\n"_ba);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines[0], QString(QChar(0xfeff)) + u"{}"_s);
    EXPECT_EQ(lines[1], QString(u"a\0b"_s));
    EXPECT_EQ(lines[1].size(), 3);
}

TEST(LineBuffer, AVeryLongLineArrivingInManySmallBlocksIsKeptWhole) {
    LineBuffer buffer;
    const QByteArray line = "{\"event\":\"status\",\"blob\":\"" + QByteArray(4 << 20, 'x') + "\"}";
    QStringList lines;
    for (qsizetype at = 0; at < line.size(); at += 4096)
        lines.append(buffer.append(line.mid(at, 4096)));
    EXPECT_TRUE(lines.isEmpty());
    lines.append(buffer.append("\nnext\n"));
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines[0].size(), line.size());
    EXPECT_EQ(lines[0], QString::fromLatin1(line));
    EXPECT_EQ(lines[1], u"next"_s);
}

TEST(LineBuffer, AnEmptyBlockChangesNothing) {
    LineBuffer buffer;
    EXPECT_EQ(buffer.append("partial"), QStringList{});
    EXPECT_EQ(buffer.append(QByteArrayView()), QStringList{});
    EXPECT_EQ(buffer.pendingSize(), 7);
}

TEST(LineBuffer, EveryWayOfCuttingAStreamGivesTheSameLines) {
    const QByteArray stream = "alpha\nbeta\r\n\n\xff\nga\xc3\xa9mma\ndelta";
    LineBuffer whole;
    const QStringList expected = whole.append(stream);
    ASSERT_EQ(expected, (QStringList{u"alpha"_s, u"beta\r"_s, u"gaémma"_s}));
    for (qsizetype blockSize = 1; blockSize <= stream.size(); ++blockSize) {
        LineBuffer buffer;
        QStringList lines;
        for (qsizetype at = 0; at < stream.size(); at += blockSize)
            lines.append(buffer.append(stream.mid(at, blockSize)));
        EXPECT_EQ(lines, expected) << "blocks of " << blockSize;
        EXPECT_EQ(buffer.pendingSize(), 5) << "\"delta\" waits for its line feed";
    }
}
