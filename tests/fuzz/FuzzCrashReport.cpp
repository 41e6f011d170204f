#include "FuzzTarget.h"

#include "services/CrashReportUploader.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include <zlib.h>

using namespace Qt::StringLiterals;

namespace {

// The gzip member unpacked again, or nothing when it isn't one.
std::optional<QByteArray> gunzip(const QByteArray& member, qsizetype expectedSize) {
    QByteArray out(expectedSize + 1, Qt::Uninitialized);
    z_stream stream{};
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK)
        return std::nullopt;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(member.constData()));
    stream.avail_in = static_cast<uInt>(member.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = inflate(&stream, Z_FINISH);
    const auto written = static_cast<qsizetype>(stream.total_out);
    inflateEnd(&stream);
    if (result != Z_STREAM_END)
        return std::nullopt;
    out.truncate(written);
    return out;
}

} // namespace

// A crash report found in the reports folder: the first-line matcher, the payload and its gzip.
int fuzzCrashReport(const std::uint8_t* data, std::size_t size) {
    static const QString folder = [] {
        const QString path = fuzzScratchDir() + u"/crash"_s;
        QDir().mkpath(path + u"/reports"_s);
        return path;
    }();
    static FileLogger log(folder + u"/logs"_s);
    static CrashReportUploader uploader(
        log, CrashReportUploader::Sources{folder + u"/r2.json"_s, folder + u"/uploaded_crashes.json"_s,
                                          folder + u"/sentinel"_s, folder + u"/reports"_s,
                                          folder + u"/missing.log"_s, CrashReportUploader::Defaults{}});
    const QString report = folder + u"/reports/norvane-2026-01-01-000000.ips"_s;
    writeFuzzFile(report, data, size);

    const QByteArray bytes = fuzzBytes(data, size);
    fuzzCheck(!CrashReportUploader::matchesAppName(report) || bytes.contains('\n'),
              "a report without a line feed never matches");

    QString error;
    const std::optional<QByteArray> payload = uploader.buildPayload(
        report, CrashReportUploader::R2Config{u"http://127.0.0.1:9"_s, u"token"_s, u"id"_s}, error);
    fuzzCheck(payload.has_value(), "a readable report always makes a payload");
    const QJsonObject object = QJsonDocument::fromJson(*payload).object();
    fuzzCheck(object.value("ips_filename"_L1) == u"norvane-2026-01-01-000000.ips"_s &&
                  object.contains("crash_report"_L1),
              "the payload is a JSON object that names its report");

    const std::optional<QByteArray> member = CrashReportUploader::gzip(*payload);
    fuzzCheck(member.has_value(), "a payload always fits in gzip");
    fuzzCheck(gunzip(*member, payload->size()) == payload, "the gzip member unpacks to the payload");
    return 0;
}
