#include "platform/CrashHandler.h"

#include "platform/Locations.h"
#include "platform/Platform.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>

#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <unistd.h>

namespace CrashHandler {

void ReportBuffer::append(std::string_view text) {
    const std::size_t room = m_text.size() - m_size;
    const std::size_t count = text.size() <= room ? text.size() : room;
    for (std::size_t i = 0; i < count; ++i)
        m_text[m_size + i] = text[i];
    m_size += count;
    if (count < text.size())
        m_truncated = true;
}

void ReportBuffer::append(char c) {
    append(std::string_view(&c, 1));
}

void ReportBuffer::appendDecimal(std::uint64_t value) {
    appendDecimal(value, 1);
}

void ReportBuffer::appendDecimal(std::uint64_t value, int width) {
    char digits[24];
    int count = 0;
    do {
        digits[count++] = char('0' + value % 10);
        value /= 10;
    } while (value != 0);
    for (int i = count; i < width; ++i)
        append('0');
    while (count > 0)
        append(digits[--count]);
}

void ReportBuffer::appendHex(std::uintptr_t value) {
    static constexpr char hexDigits[] = "0123456789abcdef";
    char digits[2 * sizeof value];
    int count = 0;
    do {
        digits[count++] = hexDigits[value & 0xf];
        value >>= 4;
    } while (value != 0);
    append("0x");
    while (count > 0)
        append(digits[--count]);
}

void ReportBuffer::appendJsonString(std::string_view text) {
    static constexpr char hexDigits[] = "0123456789abcdef";
    append('"');
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            append('\\');
            append(c);
        } else if (byte < 0x20) {
            append("\\u00");
            append(hexDigits[byte >> 4]);
            append(hexDigits[byte & 0xf]);
        } else {
            append(c);
        }
    }
    append('"');
}

void ReportBuffer::clear() {
    m_size = 0;
    m_truncated = false;
}

namespace {

struct CivilTime {
    std::int64_t year;
    unsigned month, day, hour, minute, second;
};

// Days since 1970-01-01 to a proleptic Gregorian date (Howard Hinnant's civil_from_days): QDateTime
// can't be used inside a signal handler.
CivilTime civilFromSeconds(std::int64_t seconds) {
    std::int64_t days = seconds / 86400;
    std::int64_t rest = seconds % 86400;
    if (rest < 0) {
        rest += 86400;
        --days;
    }
    const std::int64_t z = days + 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned day = doy - (153 * mp + 2) / 5 + 1;
    const unsigned month = mp < 10 ? mp + 3 : mp - 9;
    const std::int64_t year = static_cast<std::int64_t>(yoe) + era * 400 + (month <= 2 ? 1 : 0);
    return {year,
            month,
            day,
            static_cast<unsigned>(rest / 3600),
            static_cast<unsigned>(rest % 3600 / 60),
            static_cast<unsigned>(rest % 60)};
}

void appendDate(ReportBuffer& out, const CivilTime& t) {
    out.appendDecimal(static_cast<std::uint64_t>(t.year), 4);
    out.append('-');
    out.appendDecimal(t.month, 2);
    out.append('-');
    out.appendDecimal(t.day, 2);
}

} // namespace

void appendFileStamp(ReportBuffer& out, std::int64_t secondsSinceEpoch) {
    const CivilTime t = civilFromSeconds(secondsSinceEpoch);
    appendDate(out, t);
    out.append('-');
    out.appendDecimal(t.hour, 2);
    out.appendDecimal(t.minute, 2);
    out.appendDecimal(t.second, 2);
}

void appendIsoTimestamp(ReportBuffer& out, std::int64_t secondsSinceEpoch) {
    const CivilTime t = civilFromSeconds(secondsSinceEpoch);
    appendDate(out, t);
    out.append('T');
    out.appendDecimal(t.hour, 2);
    out.append(':');
    out.appendDecimal(t.minute, 2);
    out.append(':');
    out.appendDecimal(t.second, 2);
    out.append('Z');
}

const char* signalName(int signal) {
    switch (signal) {
    case SIGSEGV:
        return "SIGSEGV";
    case SIGBUS:
        return "SIGBUS";
    case SIGFPE:
        return "SIGFPE";
    case SIGILL:
        return "SIGILL";
    case SIGABRT:
        return "SIGABRT";
    default:
        return "UNKNOWN";
    }
}

std::optional<long> threadCountFromStat(std::string_view stat) {
    // The command name in parentheses may hold blanks and parentheses itself: count from the last ')'.
    const std::size_t close = stat.rfind(')');
    if (close == std::string_view::npos)
        return std::nullopt;
    // After ")" come field 3 (state) onwards; the thread count is field 20.
    std::size_t pos = close + 1;
    for (int field = 3; field < 20; ++field) {
        while (pos < stat.size() && stat[pos] == ' ')
            ++pos;
        while (pos < stat.size() && stat[pos] != ' ')
            ++pos;
    }
    while (pos < stat.size() && stat[pos] == ' ')
        ++pos;
    long value = 0;
    bool any = false;
    for (; pos < stat.size() && stat[pos] >= '0' && stat[pos] <= '9'; ++pos) {
        value = value * 10 + (stat[pos] - '0');
        any = true;
    }
    return any ? std::optional<long>(value) : std::nullopt;
}

namespace {

std::string jsonString(QStringView text) {
    static ReportBuffer buffer;
    buffer.clear();
    buffer.appendJsonString(text.toUtf8().toStdString());
    return std::string(buffer.view());
}

void appendFrame(ReportBuffer& out, const Prepared& prepared, std::size_t index, void* frame) {
    const auto address = reinterpret_cast<std::uintptr_t>(frame);
    out.append('"');
    out.appendDecimal(index);
    out.append(' ');
    const Module* module = nullptr;
    for (const Module& candidate : prepared.modules) {
        if (address >= candidate.start && address < candidate.end) {
            module = &candidate;
            break;
        }
    }
    if (module) {
        // Module names were escaped for JSON when they were collected.
        out.append(module->name);
        out.append('+');
        out.appendHex(address - module->loadBias);
    } else {
        out.append("???");
    }
    out.append(' ');
    out.appendHex(address);
    out.append('"');
}

} // namespace

Prepared prepare(QStringView executableName, QStringView appVersion, QStringView build, QStringView osVersion,
                 const std::string& reportDir, std::int64_t pid) {
    Prepared prepared;
    prepared.reportDir = reportDir;
    if (!prepared.reportDir.empty() && prepared.reportDir.back() != '/')
        prepared.reportDir += '/';
    prepared.executableName = executableName.toUtf8().toStdString();
    prepared.pid = pid;
    prepared.headerStart = "{\"app_name\":\"Norvane\",\"name\":" + jsonString(executableName) +
                           ",\"app_version\":" + jsonString(appVersion) + ",\"build\":" + jsonString(build) +
                           ",\"os_version\":" + jsonString(osVersion) + ",\"timestamp\":\"";
    return prepared;
}

void formatReportPath(ReportBuffer& out, const Prepared& prepared, std::int64_t timeSeconds) {
    out.append(prepared.reportDir);
    out.append(prepared.executableName);
    out.append('-');
    appendFileStamp(out, timeSeconds + prepared.utcOffsetSeconds);
    out.append('-');
    out.appendDecimal(static_cast<std::uint64_t>(prepared.pid));
    out.append(".ips");
}

void formatReport(ReportBuffer& out, const Prepared& prepared, const CrashFacts& facts) {
    out.append(prepared.headerStart);
    appendIsoTimestamp(out, facts.timeSeconds);
    out.append("\",\"bug_type\":\"crash\",\"pid\":");
    out.appendDecimal(static_cast<std::uint64_t>(prepared.pid));
    out.append("}\n");

    out.append("{\"signal\":{\"name\":\"");
    out.append(signalName(facts.signal));
    out.append("\",\"number\":");
    out.appendDecimal(static_cast<std::uint64_t>(facts.signal));
    out.append('}');
    if (facts.faultAddress) {
        out.append(",\"fault_address\":\"");
        out.appendHex(*facts.faultAddress);
        out.append('"');
    }
    out.append(",\"backtrace\":[");
    for (std::size_t i = 0; i < facts.frames.size(); ++i) {
        if (i > 0)
            out.append(',');
        appendFrame(out, prepared, i, facts.frames[i]);
    }
    out.append(']');
    if (facts.threads) {
        out.append(",\"threads\":");
        out.appendDecimal(static_cast<std::uint64_t>(*facts.threads));
    }
    out.append(",\"uptime_seconds\":");
    out.appendDecimal(static_cast<std::uint64_t>(facts.uptimeSeconds < 0 ? 0 : facts.uptimeSeconds));
    if (facts.lastScreen) {
        out.append(",\"last_screen\":");
        out.appendJsonString(facts.lastScreen);
    }
    out.append("}\n");
}

namespace {

constexpr int caughtSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr int maxFrames = 128;

// Written once by install, before the handler can run; only read afterwards.
Prepared g_prepared;
std::int64_t g_startMonotonic = 0;
std::atomic<const char*> g_lastScreen{nullptr};
std::atomic_flag g_entered = ATOMIC_FLAG_INIT;
// Static, not on the (alternate, small) signal stack.
ReportBuffer g_report;
ReportBuffer g_path;
void* g_frames[maxFrames];
char g_statText[1024];

std::int64_t monotonicSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

int collectModule(dl_phdr_info* info, std::size_t, void* data) {
    auto* modules = static_cast<std::vector<Module>*>(data);
    std::uintptr_t start = UINTPTR_MAX;
    std::uintptr_t end = 0;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = info->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD)
            continue;
        const std::uintptr_t from = info->dlpi_addr + segment.p_vaddr;
        start = std::min(start, from);
        end = std::max(end, from + segment.p_memsz);
    }
    if (start >= end)
        return 0;
    const QString path = QString::fromLocal8Bit(info->dlpi_name ? info->dlpi_name : "");
    // The main program has an empty name here.
    const QString name =
        path.isEmpty() ? QString::fromStdString(g_prepared.executableName) : QFileInfo(path).fileName();
    const std::string quoted = jsonString(name);
    modules->push_back({quoted.substr(1, quoted.size() - 2), info->dlpi_addr, start, end});
    return 0;
}

std::optional<long> readThreadCount() {
    const int fd = open("/proc/self/stat", O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    const ssize_t count = read(fd, g_statText, sizeof g_statText);
    close(fd);
    if (count <= 0)
        return std::nullopt;
    return threadCountFromStat(std::string_view(g_statText, static_cast<std::size_t>(count)));
}

void writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void restoreDefaults() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    for (const int signal : caughtSignals)
        sigaction(signal, &action, nullptr);
}

bool hasFaultAddress(int signal) {
    return signal == SIGSEGV || signal == SIGBUS || signal == SIGFPE || signal == SIGILL;
}

void onFatalSignal(int signal, siginfo_t* info, void*) {
    // From here on every fatal signal takes its default action, so a fault inside this handler ends the
    // program instead of coming back here.
    restoreDefaults();
    if (!g_entered.test_and_set()) {
        const int savedErrno = errno;
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        CrashFacts facts;
        facts.signal = signal;
        // Only a signal from the kernel has an address; for one sent by kill or raise the field is unused.
        if (info && info->si_code > 0 && hasFaultAddress(signal))
            facts.faultAddress = reinterpret_cast<std::uintptr_t>(info->si_addr);
        const int frameCount = backtrace(g_frames, maxFrames);
        facts.frames = std::span<void* const>(g_frames, frameCount > 0 ? std::size_t(frameCount) : 0);
        facts.threads = readThreadCount();
        facts.timeSeconds = now.tv_sec;
        facts.uptimeSeconds = monotonicSeconds() - g_startMonotonic;
        facts.lastScreen = g_lastScreen.load();

        formatReportPath(g_path, g_prepared, facts.timeSeconds);
        g_path.append('\0');
        formatReport(g_report, g_prepared, facts);
        const int fd = open(g_path.view().data(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (fd >= 0) {
            writeAll(fd, g_report.view());
            close(fd);
        }
        errno = savedErrno;
    }
    // The signal is blocked while this handler runs; it is delivered again with its default action on the
    // way out, so the exit status and core dumps are those of an uncaught signal.
    raise(signal);
}

} // namespace

void install(QStringView executableName) {
    const QString dir = Locations::diagnosticReportsDir();
    QDir().mkpath(dir);
    g_prepared = prepare(executableName, Platform::appVersion(), Platform::buildNumber(),
                         Platform::osVersion(), QFile::encodeName(dir).toStdString(), getpid());
    g_prepared.utcOffsetSeconds = QDateTime::currentDateTime().offsetFromUtc();
    dl_iterate_phdr(collectModule, &g_prepared.modules);
    g_startMonotonic = monotonicSeconds();
    // The first call loads the unwinder library; inside the handler that would mean dlopen.
    backtrace(g_frames, maxFrames);

    // A stack overflow leaves no stack for the handler: it runs on a stack of its own.
    static std::array<char, 64 * 1024> alternateStack;
    stack_t stack{};
    stack.ss_sp = alternateStack.data();
    stack.ss_size = alternateStack.size();
    sigaltstack(&stack, nullptr);

    struct sigaction action {};
    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int signal : caughtSignals)
        sigaddset(&action.sa_mask, signal);
    for (const int signal : caughtSignals)
        sigaction(signal, &action, nullptr);
}

void noteScreen(const char* name) {
    g_lastScreen.store(name);
}

} // namespace CrashHandler
