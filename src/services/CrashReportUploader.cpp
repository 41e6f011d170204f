#include "services/CrashReportUploader.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <zlib.h>

using namespace Qt::StringLiterals;

namespace {

// The program's names as a report gives them: the program's own handler writes "app_name" "Norvane" from
// either executable.
bool isOurName(const QString& name) {
    return name == u"Norvane"_s;
}

void appendLittleEndian(QByteArray& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        out.append(char((value >> (8 * i)) & 0xff));
}

} // namespace

bool CrashReportUploader::matchesAppName(const QString& file) {
    QFile report(file);
    if (!report.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = report.readLine();
    if (!line.endsWith('\n'))
        return false;
    const QJsonDocument document = QJsonDocument::fromJson(line);
    if (!document.isObject())
        return false;
    const QJsonObject header = document.object();
    return isOurName(header.value(u"app_name"_s).toString()) || isOurName(header.value(u"name"_s).toString());
}

std::uint32_t CrashReportUploader::crc32(QByteArrayView data) {
    std::uint32_t crc = 0xffffffffu;
    for (const char c : data) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) ? (crc >> 1) ^ 0xedb88320u : crc >> 1;
    }
    return ~crc;
}

std::optional<QByteArray> CrashReportUploader::gzip(QByteArrayView data) {
    if (data.isEmpty())
        return std::nullopt;
    QByteArray deflated(data.size() + 512, Qt::Uninitialized);
    z_stream stream{};
    // Negative window bits: a raw DEFLATE stream, with neither zlib's nor gzip's wrapper.
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(deflated.data());
    stream.avail_out = static_cast<uInt>(deflated.size());
    const int result = deflate(&stream, Z_FINISH);
    const auto written = static_cast<qsizetype>(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END)
        return std::nullopt;

    QByteArray member;
    member.reserve(10 + written + 8);
    // Magic, deflate, no flags, no modification time, no extra flags, made on Unix.
    member.append("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10);
    member.append(deflated.constData(), written);
    appendLittleEndian(member, crc32(data));
    appendLittleEndian(member, static_cast<std::uint32_t>(data.size()));
    return member;
}
