#include "platform/CrashHandler.h"

#include "support/TempHome.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>

using CrashHandler::ReportBuffer;

namespace {

QString text(const ReportBuffer& buffer) {
    return QString::fromUtf8(buffer.view().data(), qsizetype(buffer.view().size()));
}

QJsonObject parseObject(QByteArrayView json) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json.toByteArray(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError)
        << error.errorString().toStdString() << " in " << json.toByteArray().toStdString();
    EXPECT_TRUE(document.isObject());
    return document.object();
}

// The report's two parts: the first line, and everything after its line feed.
std::pair<QJsonObject, QJsonObject> parseReport(const QByteArray& report) {
    const qsizetype lineEnd = report.indexOf('\n');
    EXPECT_GT(lineEnd, 0);
    return {parseObject(report.first(lineEnd)), parseObject(report.sliced(lineEnd + 1))};
}

} // namespace

TEST(CrashReportBuffer, WritesNumbersWithAndWithoutPadding) {
    ReportBuffer buffer;
    buffer.appendDecimal(0);
    buffer.append(' ');
    buffer.appendDecimal(18446744073709551615ULL);
    buffer.append(' ');
    buffer.appendDecimal(7, 2);
    buffer.append(' ');
    buffer.appendDecimal(123, 2);
    buffer.append(' ');
    buffer.appendHex(0);
    buffer.append(' ');
    buffer.appendHex(0xdeadbeef);
    EXPECT_EQ(text(buffer), QStringLiteral("0 18446744073709551615 07 123 0x0 0xdeadbeef"));
    EXPECT_FALSE(buffer.truncated());
}

TEST(CrashReportBuffer, JsonStringsDecodeToWhatWentIn) {
    const std::string awkward = "quote \" backslash \\ tab \t newline \n bell \x07 caf\xc3\xa9";
    ReportBuffer buffer;
    buffer.append("{\"k\":");
    buffer.appendJsonString(awkward);
    buffer.append('}');
    const QJsonObject object =
        parseObject(QByteArrayView(buffer.view().data(), qsizetype(buffer.view().size())));
    EXPECT_EQ(object.value(QStringLiteral("k")).toString(), QString::fromStdString(awkward));
}

TEST(CrashReportBuffer, KeepsWhatFitsAndSaysItWasCut) {
    auto buffer = std::make_unique<ReportBuffer>();
    const std::string block(1000, 'x');
    for (int i = 0; i < 70; ++i)
        buffer->append(block);
    EXPECT_TRUE(buffer->truncated());
    EXPECT_EQ(buffer->view().size(), 64u * 1024u);
    buffer->clear();
    EXPECT_FALSE(buffer->truncated());
    EXPECT_TRUE(buffer->view().empty());
}

TEST(CrashReportTime, StampsAgreeWithQtCalendarOverManyMoments) {
    QRandomGenerator random(20261123);
    QList<qint64> moments = {0, 951782400 /* 2000-02-29 */, 4107542399 /* 2100-02-28T23:59:59 */, 1795462205};
    for (int i = 0; i < 2000; ++i)
        moments.append(qint64(random.bounded(Q_UINT64_C(8000000000))));
    for (const qint64 seconds : moments) {
        const QDateTime moment = QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
        ReportBuffer stamp;
        CrashHandler::appendFileStamp(stamp, seconds);
        EXPECT_EQ(text(stamp), moment.toString(QStringLiteral("yyyy-MM-dd-HHmmss"))) << seconds;
        ReportBuffer iso;
        CrashHandler::appendIsoTimestamp(iso, seconds);
        EXPECT_EQ(text(iso), moment.toString(Qt::ISODate)) << seconds;
    }
}

TEST(CrashReportFacts, ReadsTheThreadCountPastAnOddCommandName) {
    const std::string stat = "4242 (we(i) rd) name) S 1 4242 4242 0 -1 4194560 2500 0 0 0 12 3 0 0 20 0 "
                             "17 0 123456 1000000 2000 18446744073709551615";
    EXPECT_EQ(CrashHandler::threadCountFromStat(stat), 17);
    EXPECT_EQ(CrashHandler::threadCountFromStat("no parenthesis 1 2 3"), std::nullopt);
    EXPECT_EQ(CrashHandler::threadCountFromStat("1 (short) S 1 2"), std::nullopt);
}

TEST(CrashReportFacts, NamesTheCaughtSignals) {
    EXPECT_STREQ(CrashHandler::signalName(SIGSEGV), "SIGSEGV");
    EXPECT_STREQ(CrashHandler::signalName(SIGBUS), "SIGBUS");
    EXPECT_STREQ(CrashHandler::signalName(SIGFPE), "SIGFPE");
    EXPECT_STREQ(CrashHandler::signalName(SIGILL), "SIGILL");
    EXPECT_STREQ(CrashHandler::signalName(SIGABRT), "SIGABRT");
    EXPECT_STREQ(CrashHandler::signalName(SIGUSR1), "UNKNOWN");
}

TEST(CrashReportFormat, PathUsesLocalTimeAndThePid) {
    CrashHandler::Prepared prepared =
        CrashHandler::prepare(u"norvane-cli", u"1.2.3", u"45", u"Linux 6.1.0", "/home/u/reports", 314);
    prepared.utcOffsetSeconds = 3600;
    ReportBuffer path;
    CrashHandler::formatReportPath(path, prepared, 1795462205); // 2026-11-23T19:30:05Z
    EXPECT_EQ(text(path), QStringLiteral("/home/u/reports/norvane-cli-2026-11-23-203005-314.ips"));
}

TEST(CrashReportFormat, BothPartsParseWithTheirKeys) {
    CrashHandler::Prepared prepared =
        CrashHandler::prepare(u"norvane", u"1.2.3", u"dev", u"Linux \"6.1\"", "/tmp/reports/", 77);
    static const int somewhere = 0;
    const auto base = reinterpret_cast<std::uintptr_t>(&somewhere);
    prepared.modules.push_back({"libfake.so", base - 0x1000, base - 0x10, base + 0x10});
    void* const frames[] = {const_cast<int*>(&somewhere), reinterpret_cast<void*>(0x10)};
    CrashHandler::CrashFacts facts;
    facts.signal = SIGBUS;
    facts.faultAddress = 0xbad0;
    facts.frames = frames;
    facts.threads = 5;
    facts.timeSeconds = 1795462205;
    facts.uptimeSeconds = 93;
    facts.lastScreen = "running";
    ReportBuffer report;
    CrashHandler::formatReport(report, prepared, facts);
    const QByteArray bytes(report.view().data(), qsizetype(report.view().size()));

    const auto [header, body] = parseReport(bytes);
    EXPECT_EQ(header.value(QStringLiteral("app_name")).toString(), QStringLiteral("Norvane"));
    EXPECT_EQ(header.value(QStringLiteral("name")).toString(), QStringLiteral("norvane"));
    EXPECT_EQ(header.value(QStringLiteral("app_version")).toString(), QStringLiteral("1.2.3"));
    EXPECT_EQ(header.value(QStringLiteral("build")).toString(), QStringLiteral("dev"));
    EXPECT_EQ(header.value(QStringLiteral("os_version")).toString(), QStringLiteral("Linux \"6.1\""));
    EXPECT_EQ(header.value(QStringLiteral("timestamp")).toString(), QStringLiteral("2026-11-23T19:30:05Z"));
    EXPECT_EQ(header.value(QStringLiteral("bug_type")).toString(), QStringLiteral("crash"));
    EXPECT_EQ(header.value(QStringLiteral("pid")).toInt(), 77);

    const QJsonObject signal = body.value(QStringLiteral("signal")).toObject();
    EXPECT_EQ(signal.value(QStringLiteral("name")).toString(), QStringLiteral("SIGBUS"));
    EXPECT_EQ(signal.value(QStringLiteral("number")).toInt(), SIGBUS);
    EXPECT_EQ(body.value(QStringLiteral("fault_address")).toString(), QStringLiteral("0xbad0"));
    const QJsonArray backtrace = body.value(QStringLiteral("backtrace")).toArray();
    ASSERT_EQ(backtrace.size(), 2);
    EXPECT_EQ(backtrace.at(0).toString(),
              QStringLiteral("0 libfake.so+0x1000 0x%1").arg(quintptr(base), 0, 16));
    EXPECT_EQ(backtrace.at(1).toString(), QStringLiteral("1 ??? 0x10"));
    EXPECT_EQ(body.value(QStringLiteral("threads")).toInt(), 5);
    EXPECT_EQ(body.value(QStringLiteral("uptime_seconds")).toInt(), 93);
    EXPECT_EQ(body.value(QStringLiteral("last_screen")).toString(), QStringLiteral("running"));
}

TEST(CrashReportFormat, LeavesOutWhatIsNotKnown) {
    const CrashHandler::Prepared prepared =
        CrashHandler::prepare(u"norvane-cli", u"dev", u"dev", u"Linux 6.1.0", "/tmp/reports/", 1);
    CrashHandler::CrashFacts facts;
    facts.signal = SIGABRT;
    ReportBuffer report;
    CrashHandler::formatReport(report, prepared, facts);
    const auto [header, body] =
        parseReport(QByteArray(report.view().data(), qsizetype(report.view().size())));
    EXPECT_EQ(header.value(QStringLiteral("name")).toString(), QStringLiteral("norvane-cli"));
    EXPECT_FALSE(body.contains(QStringLiteral("fault_address")));
    EXPECT_FALSE(body.contains(QStringLiteral("threads")));
    EXPECT_FALSE(body.contains(QStringLiteral("last_screen")));
    EXPECT_EQ(body.value(QStringLiteral("backtrace")).toArray().size(), 0);
}

namespace {

// Runs the crash helper under the current HOME and returns how it ended, as waitpid tells it.
int runCrashHelper(const char* how) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Under AddressSanitizer the sanitizer's own handlers would answer these signals first; the helper
    // must meet only ours, so the sanitizer leaves them alone here.
    environment.insert(
        QStringLiteral("ASAN_OPTIONS"),
        QStringLiteral("handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_abort=0"));
    std::vector<QByteArray> entries;
    for (const QString& entry : environment.toStringList())
        entries.push_back(entry.toLocal8Bit());
    std::vector<char*> envp;
    for (QByteArray& entry : entries)
        envp.push_back(entry.data());
    envp.push_back(nullptr);
    char program[] = NORVANE_CRASH_HELPER_PATH;
    std::string mode = how;
    char* argv[] = {program, mode.data(), nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, program, nullptr, nullptr, argv, envp.data()) != 0)
        return -1;
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
}

QByteArray onlyReport(const QString& reportDir) {
    const QStringList names = QDir(reportDir).entryList({QStringLiteral("*.ips")}, QDir::Files);
    EXPECT_EQ(names.size(), 1) << names.join(u' ').toStdString();
    if (names.isEmpty())
        return {};
    static const QRegularExpression form(
        QStringLiteral(R"(^norvane-crash-helper-\d{4}-\d\d-\d\d-\d{6}-\d+\.ips$)"));
    EXPECT_TRUE(form.match(names.first()).hasMatch()) << names.first().toStdString();
    QFile file(reportDir + u'/' + names.first());
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return file.readAll();
}

struct Crash {
    int status = 0;
    QJsonObject header;
    QJsonObject body;
};

// Lets the helper die in the given way under the HOME of `home`, and reads the one report it left.
Crash crashHelper(const TempHome& home, const char* how) {
    Crash crash;
    crash.status = runCrashHelper(how);
    std::tie(crash.header, crash.body) =
        parseReport(onlyReport(home.path() + QStringLiteral("/.local/state/Norvane/DiagnosticReports")));
    return crash;
}

QString signalName(const Crash& crash) {
    return crash.body.value(QStringLiteral("signal")).toObject().value(QStringLiteral("name")).toString();
}

} // namespace

TEST(CrashHandlerEndToEnd, RealSegfaultLeavesAReportAndStillDiesOfTheSignal) {
    TempHome home;
    const Crash crash = crashHelper(home, "segv");
    ASSERT_TRUE(WIFSIGNALED(crash.status)) << crash.status;
    EXPECT_EQ(WTERMSIG(crash.status), SIGSEGV);

    const QJsonObject& header = crash.header;
    EXPECT_EQ(header.value(QStringLiteral("app_name")).toString(), QStringLiteral("Norvane"));
    EXPECT_EQ(header.value(QStringLiteral("name")).toString(), QStringLiteral("norvane-crash-helper"));
    EXPECT_EQ(header.value(QStringLiteral("bug_type")).toString(), QStringLiteral("crash"));
    for (const char* key : {"app_version", "build", "os_version", "timestamp"})
        EXPECT_FALSE(header.value(QLatin1StringView(key)).toString().isEmpty()) << key;
    EXPECT_GT(header.value(QStringLiteral("pid")).toInteger(), 0);

    const QJsonObject& body = crash.body;
    EXPECT_EQ(signalName(crash), QStringLiteral("SIGSEGV"));
    EXPECT_EQ(body.value(QStringLiteral("signal")).toObject().value(QStringLiteral("number")).toInt(),
              SIGSEGV);
    bool isHex = false;
    const QString faultAddress = body.value(QStringLiteral("fault_address")).toString();
    EXPECT_TRUE(faultAddress.startsWith(QStringLiteral("0x"))) << faultAddress.toStdString();
    EXPECT_NE(faultAddress.mid(2).toULongLong(&isHex, 16), 0u);
    EXPECT_TRUE(isHex) << faultAddress.toStdString();
    const QJsonArray backtrace = body.value(QStringLiteral("backtrace")).toArray();
    ASSERT_FALSE(backtrace.isEmpty());
    bool sawHelper = false;
    for (const QJsonValue& frame : backtrace)
        sawHelper = sawHelper || frame.toString().contains(QStringLiteral(" norvane-crash-helper+0x"));
    EXPECT_TRUE(sawHelper);
    EXPECT_EQ(body.value(QStringLiteral("threads")).toInt(), 1);
    EXPECT_GE(body.value(QStringLiteral("uptime_seconds")).toInt(-1), 0);
    EXPECT_EQ(body.value(QStringLiteral("last_screen")).toString(), QStringLiteral("running"));
}

// An uncaught exception ends in abort(); a signal sent by raise (or kill) comes from no faulting access.
TEST(CrashHandlerEndToEnd, AbortAndSentSignalsHaveNoFaultAddress) {
    for (const auto& [how, signal] : {std::pair("throw", SIGABRT), std::pair("raise", SIGSEGV)}) {
        TempHome home;
        const Crash crash = crashHelper(home, how);
        ASSERT_TRUE(WIFSIGNALED(crash.status)) << how << ' ' << crash.status;
        EXPECT_EQ(WTERMSIG(crash.status), signal) << how;
        EXPECT_EQ(signalName(crash), QLatin1StringView(CrashHandler::signalName(signal))) << how;
        EXPECT_FALSE(crash.body.contains(QStringLiteral("fault_address"))) << how;
    }
}
