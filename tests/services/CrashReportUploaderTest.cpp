#include "services/CrashReportUploader.h"

#include "support/TestPaths.h"

#include <QRandomGenerator>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <zlib.h>

namespace {

QByteArray randomBytes(QRandomGenerator& random, qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    for (char& byte : bytes)
        byte = char(random.bounded(256));
    return bytes;
}

// zlib's own gzip reader, so that the member is judged by code other than ours.
std::optional<QByteArray> gunzipWithZlib(const QByteArray& member) {
    z_stream stream{};
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK)
        return std::nullopt;
    QByteArray out;
    std::array<char, 16384> chunk{};
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(member.data()));
    stream.avail_in = static_cast<uInt>(member.size());
    int result = Z_OK;
    while (result == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef*>(chunk.data());
        stream.avail_out = static_cast<uInt>(chunk.size());
        result = inflate(&stream, Z_NO_FLUSH);
        out.append(chunk.data(), qsizetype(chunk.size() - stream.avail_out));
    }
    const bool whole = result == Z_STREAM_END && stream.avail_in == 0;
    inflateEnd(&stream);
    return whole ? std::optional<QByteArray>(out) : std::nullopt;
}

} // namespace

TEST(CrashReportMatching, OurFirstLineMatchesByEitherName) {
    QTemporaryDir dir;
    EXPECT_TRUE(CrashReportUploader::matchesAppName(
        writeFile(dir, QStringLiteral("a.ips"), "{\"app_name\":\"Norvane\",\"name\":\"norvane\"}\n{}")));
    EXPECT_TRUE(CrashReportUploader::matchesAppName(
        writeFile(dir, QStringLiteral("b.ips"), "{\"name\":\"Norvane\",\"bug_type\":\"crash\"}\n")));
}

TEST(CrashReportMatching, OthersDoNotMatch) {
    QTemporaryDir dir;
    const std::pair<const char*, QByteArray> cases[] = {
        {"other-program", "{\"app_name\":\"Mail\",\"name\":\"Mail\"}\n{}"},
        {"other-case", "{\"app_name\":\"NORVANE\"}\n{}"},
        {"not-an-object", "[\"Norvane\"]\n{}"},
        {"not-json", "not json at all\n{\"app_name\":\"Norvane\"}"},
        // Our name only after the first line: the first line alone decides.
        {"name-in-body", "{\"app_name\":\"Mail\"}\n{\"app_name\":\"Norvane\",\"name\":\"Norvane\"}\n"},
        // A report without a line feed has no first line.
        {"no-line-feed", "{\"app_name\":\"Norvane\"}"},
    };
    for (const auto& [name, contents] : cases) {
        const QString file = writeFile(dir, QLatin1StringView(name) + u".ips", contents);
        EXPECT_FALSE(CrashReportUploader::matchesAppName(file)) << name;
    }
    EXPECT_FALSE(CrashReportUploader::matchesAppName(dir.filePath(QStringLiteral("missing.ips"))));
}

TEST(CrashReportChecksum, KnownValue) {
    EXPECT_EQ(CrashReportUploader::crc32("123456789"), 0xcbf43926u);
    EXPECT_EQ(CrashReportUploader::crc32(QByteArrayView()), 0u);
}

TEST(CrashReportChecksum, EqualsZlibOnRandomInputs) {
    QRandomGenerator random(4242);
    for (int i = 0; i < 300; ++i) {
        const QByteArray data = randomBytes(random, random.bounded(0, 5000));
        const auto expected = static_cast<std::uint32_t>(::crc32(
            ::crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(data.constData()), uInt(data.size())));
        ASSERT_EQ(CrashReportUploader::crc32(data), expected) << "size " << data.size();
    }
}

TEST(CrashReportGzip, WritesTheMemberHeaderAndTrailer) {
    const QByteArray data = QByteArrayLiteral("{\"version\":1,\"platform\":\"linux\"}");
    const std::optional<QByteArray> member = CrashReportUploader::gzip(data);
    ASSERT_TRUE(member);
    ASSERT_GT(member->size(), 18);
    EXPECT_EQ(member->first(10), QByteArray("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10));
    const QByteArray trailer = member->last(8);
    const auto word = [&trailer](int at) {
        std::uint32_t value = 0;
        for (int i = 3; i >= 0; --i)
            value = (value << 8) | static_cast<unsigned char>(trailer[at + i]);
        return value;
    };
    EXPECT_EQ(word(0), CrashReportUploader::crc32(data));
    EXPECT_EQ(word(4), std::uint32_t(data.size()));
}

TEST(CrashReportGzip, ZlibsGzipReaderGetsBackTheInput) {
    QRandomGenerator random(77);
    const QByteArray text = QByteArray("line of a log that repeats\n").repeated(400);
    for (const QByteArray& data : {text, randomBytes(random, 3000), QByteArray("x")}) {
        const std::optional<QByteArray> member = CrashReportUploader::gzip(data);
        ASSERT_TRUE(member) << data.size();
        EXPECT_EQ(gunzipWithZlib(*member), data);
    }
}

TEST(CrashReportGzip, EmptyInputFails) {
    EXPECT_EQ(CrashReportUploader::gzip(QByteArrayView()), std::nullopt);
}
