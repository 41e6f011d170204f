#include "FuzzTarget.h"

#include "capture/CsvLineReader.h"

#include <QBuffer>

#include <string>
#include <vector>

namespace {

struct Reading {
    bool ok = false;
    std::vector<std::string> lines;
};

Reading readLines(const QByteArray& bytes, qsizetype chunkSize) {
    QBuffer device;
    device.setData(bytes);
    device.open(QIODevice::ReadOnly);
    CsvLineReader reader(device, chunkSize);
    Reading reading;
    reading.ok = reader.forEachLine([&](std::string_view line) { reading.lines.emplace_back(line); });
    fuzzCheck(reading.ok || !reader.errorString().isEmpty(), "a failed reading says why");
    return reading;
}

} // namespace

// The capture file's line reader with small chunks, so that lines, long lines and multi-byte line ends
// cross the chunk boundaries; the first byte picks the chunk size.
int fuzzCsvLineReader(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const qsizetype chunkSize = data[0] % 64 + 1;
    const QByteArray bytes = fuzzBytes(data + 1, size - 1);

    const Reading whole = readLines(bytes, bytes.size() + CsvLineReader::defaultChunkSize);
    const Reading chunked = readLines(bytes, chunkSize);
    fuzzCheck(whole.ok == bytes.isValidUtf8(), "exactly the UTF-8 texts are read");
    fuzzCheck(chunked.ok == whole.ok, "the chunk size doesn't decide whether a text is read");
    if (whole.ok)
        fuzzCheck(chunked.lines == whole.lines, "the chunk size doesn't change the lines");
    return 0;
}
