#include "FuzzTarget.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

void abortOnFailure(const char* what) {
    std::fprintf(stderr, "fuzz invariant broken: %s\n", what);
    std::abort();
}

FuzzFailureHandler failureHandler = abortOnFailure;

} // namespace

const std::vector<FuzzTarget>& fuzzTargets() {
    static const std::vector<FuzzTarget> targets{
        {"json_event", fuzzJsonEvent, 4096, "events"},
        {"stdin_command", fuzzStdinCommand, 1024, nullptr},
        {"line_buffer", fuzzLineBuffer, 8192, "events"},
        {"csv_line_reader", fuzzCsvLineReader, 8192, "csv"},
        {"csv_loader", fuzzCsvLoader, 16384, "csv"},
        {"hop_details", fuzzHopDetails, 2048, "csv"},
        {"gateway", fuzzGateway, 4096, nullptr},
        {"linux_gateway", fuzzLinuxGateway, 4096, nullptr},
        {"captures_json", fuzzCapturesJson, 8192, "files"},
        {"stats_cache", fuzzStatsCache, 8192, "files"},
        {"version_json", fuzzVersionJson, 4096, "versions"},
        {"appcast", fuzzAppcast, 16384, "appcast"},
        {"compare_versions", fuzzCompareVersions, 256, "versions"},
        {"crash_report", fuzzCrashReport, 8192, "files"},
        {"upload_events", fuzzUploadEvents, 8192, "events"},
    };
    return targets;
}

void fuzzCheck(bool holds, const char* what) {
    if (!holds)
        failureHandler(what);
}

void setFuzzFailureHandler(FuzzFailureHandler handler) {
    failureHandler = handler ? handler : abortOnFailure;
}

const QString& fuzzScratchDir() {
    // In memory where there is such a folder: truncating a file on a disk's journal costs milliseconds,
    // which would be most of a run.
    static QTemporaryDir dir(QFileInfo(u"/dev/shm"_s).isWritable()
                                 ? u"/dev/shm/norvane-fuzz-XXXXXX"_s
                                 : QDir::tempPath() + u"/norvane-fuzz-XXXXXX"_s);
    static const QString path = dir.path();
    return path;
}

void writeFuzzFile(const QString& path, const std::uint8_t* data, std::size_t size) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) !=
            static_cast<qint64>(size))
        failureHandler("the scratch file can't be written");
}
