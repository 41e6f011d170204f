#pragma once

#include <QStringView>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The program's own crash reports: on a fatal signal one report is written into the diagnostic reports
// folder, a first line of JSON about the program, a line feed, and a JSON body about the crash. Nothing
// in the signal handler allocates or locks: what can be known before the crash is prepared at start-up,
// the rest is formatted into a fixed buffer and written with write(2).
namespace CrashHandler {

// Text built in fixed storage, without allocating. What doesn't fit is dropped and remembered.
class ReportBuffer {
public:
    void append(std::string_view text);
    void append(char c);
    void appendDecimal(std::uint64_t value);
    // At least `width` digits, with leading zeros.
    void appendDecimal(std::uint64_t value, int width);
    // "0x" and lower-case hexadecimal digits.
    void appendHex(std::uintptr_t value);
    // A JSON string literal: quotes, and escapes for quotes, backslashes and control characters.
    void appendJsonString(std::string_view text);

    std::string_view view() const { return {m_text.data(), m_size}; }
    bool truncated() const { return m_truncated; }
    void clear();

private:
    std::array<char, 64 * 1024> m_text{};
    std::size_t m_size = 0;
    bool m_truncated = false;
};

// "2026-11-23-193005": the moment of a report's file name.
void appendFileStamp(ReportBuffer& out, std::int64_t secondsSinceEpoch);
// "2026-11-23T19:30:05Z".
void appendIsoTimestamp(ReportBuffer& out, std::int64_t secondsSinceEpoch);
// "SIGSEGV" for 11, and so on for the signals the handler catches; "UNKNOWN" for the others.
const char* signalName(int signal);
// The thread count of the contents of /proc/{pid}/stat.
std::optional<long> threadCountFromStat(std::string_view stat);

// A loaded executable or library, so that an address becomes "{module}+0x{offset}".
struct Module {
    std::string name; // escaped for a JSON string already
    std::uintptr_t loadBias = 0;
    std::uintptr_t start = 0;
    std::uintptr_t end = 0;
};

// Everything about the program that the report says and that doesn't change after start-up.
struct Prepared {
    std::string reportDir;      // with a trailing slash
    std::string executableName; // "norvane", "norvane-cli"
    std::string headerStart;    // the first line up to the opening quote of the timestamp
    std::int64_t pid = 0;
    std::int64_t utcOffsetSeconds = 0; // of the local time that names the file
    std::vector<Module> modules;
};

// What is learnt at the moment of the crash.
struct CrashFacts {
    int signal = 0;
    std::optional<std::uintptr_t> faultAddress;
    std::span<void* const> frames;
    std::optional<long> threads;
    std::int64_t timeSeconds = 0; // since the epoch, UTC
    std::int64_t uptimeSeconds = 0;
    const char* lastScreen = nullptr;
};

// The first-line fields that are known at start-up; the header ends with the timestamp and the pid.
Prepared prepare(QStringView executableName, QStringView appVersion, QStringView build, QStringView osVersion,
                 const std::string& reportDir, std::int64_t pid);
// "{dir}{executable}-{yyyy-MM-dd-HHmmss}-{pid}.ips", the moment in local time.
void formatReportPath(ReportBuffer& out, const Prepared& prepared, std::int64_t timeSeconds);
// The whole report, both parts.
void formatReport(ReportBuffer& out, const Prepared& prepared, const CrashFacts& facts);

// Prepares the report and installs the handler for SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGABRT. Call it
// first thing in main, before any thread starts. The report folder is created here.
void install(QStringView executableName);
// The screen the program is on; `name` must live as long as the program (a string literal, a moc name).
void noteScreen(const char* name);

} // namespace CrashHandler
