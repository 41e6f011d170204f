#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <cstdint>
#include <optional>

// Sends the program's crash reports, each joined with the tail of the log, to the crash-report store.
// So far it holds the pieces that need no network: which reports are ours, and their gzip frame.
class CrashReportUploader {
public:
    // True when the report's first line is a JSON object whose "app_name" or "name" is one of the
    // program's names. Only the first line is read; a file without a line feed never matches.
    static bool matchesAppName(const QString& file);
    // The reflected CRC-32 of gzip (polynomial EDB88320), bit by bit: payloads are small.
    static std::uint32_t crc32(QByteArrayView data);
    // One gzip member around a raw DEFLATE stream. Nothing for an empty input, or when the stream
    // doesn't fit in the input's size plus 512 bytes: "gzip compression failed".
    static std::optional<QByteArray> gzip(QByteArrayView data);
};
