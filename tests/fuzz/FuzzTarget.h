#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <vector>

// Every parser that reads bytes from outside the program has one entry here. The same entry runs under
// libFuzzer (clang, sanitizers) and in the ordinary test suite, which replays the saved inputs, so an
// input that once broke a parser keeps being checked without clang.
using FuzzEntry = int (*)(const std::uint8_t* data, std::size_t size);

struct FuzzTarget {
    const char* name; // the folder of its inputs under tests/data/fuzz/
    FuzzEntry entry;
    int maxLen;             // longest input the fuzzer tries
    const char* dictionary; // tokens for the fuzzer, tests/fuzz/dictionaries/{dictionary}.dict; may be null
};

const std::vector<FuzzTarget>& fuzzTargets();

// A property that must hold for every input. A broken one aborts under the fuzzer, so that it keeps
// the input as a crash; the replayer installs a handler that fails the test instead.
void fuzzCheck(bool holds, const char* what);
using FuzzFailureHandler = void (*)(const char* what);
void setFuzzFailureHandler(FuzzFailureHandler handler);

// A folder of this process's own for parsers that read files; made on first use, removed at exit.
const QString& fuzzScratchDir();
// Writes the bytes to `path`, replacing it.
void writeFuzzFile(const QString& path, const std::uint8_t* data, std::size_t size);

inline QByteArray fuzzBytes(const std::uint8_t* data, std::size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
}

int fuzzJsonEvent(const std::uint8_t* data, std::size_t size);
int fuzzStdinCommand(const std::uint8_t* data, std::size_t size);
int fuzzLineBuffer(const std::uint8_t* data, std::size_t size);
int fuzzCsvLineReader(const std::uint8_t* data, std::size_t size);
int fuzzCsvLoader(const std::uint8_t* data, std::size_t size);
int fuzzHopDetails(const std::uint8_t* data, std::size_t size);
int fuzzGateway(const std::uint8_t* data, std::size_t size);
int fuzzLinuxGateway(const std::uint8_t* data, std::size_t size);
int fuzzCapturesJson(const std::uint8_t* data, std::size_t size);
int fuzzStatsCache(const std::uint8_t* data, std::size_t size);
int fuzzVersionJson(const std::uint8_t* data, std::size_t size);
int fuzzAppcast(const std::uint8_t* data, std::size_t size);
int fuzzCompareVersions(const std::uint8_t* data, std::size_t size);
int fuzzCrashReport(const std::uint8_t* data, std::size_t size);
int fuzzUploadEvents(const std::uint8_t* data, std::size_t size);
