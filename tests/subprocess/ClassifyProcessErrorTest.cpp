#include "subprocess/PythonProcess.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString pythonConflict =
    u"Python version conflict — the system Python is too old. Reinstall the app to fix."_s;
const QString dependencyError = u"Package dependency error. Check your internet connection and retry."_s;
const QString needsUpdating =
    u"Dependencies need updating — this can happen after an app update. Please connect "
    u"to the internet and reopen the app."_s;
const QString permission = u"Permission denied — the capture tool could not access a required resource."_s;
const QString portInUse = u"A network port is already in use. Close other network tools and retry."_s;
const QString killed =
    u"Test was killed by the system (signal 9). This can happen if the Mac went to sleep."_s;

struct Row {
    const char* name;
    int exitCode;
    QString stderrText;
    QString message;
};

class ClassifyProcessError : public ::testing::TestWithParam<Row> {};

} // namespace

TEST_P(ClassifyProcessError, GivesTheSentenceOfTheFirstMatchingRow) {
    const Row& row = GetParam();
    EXPECT_EQ(PythonProcess::classifyProcessError(row.exitCode, row.stderrText), row.message);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ClassifyProcessError,
    ::testing::Values(
        Row{"Order1PythonTooOld", 2,
            u"error: The interpreter at /usr/bin/python3 (Python 3.9.6) does not satisfy the request for 3.12\n"_s,
            pythonConflict},
        Row{"Order1NeedsBothWords", 2, u"error: 3.9 does not satisfy the request\n"_s,
            u"Test failed (exit 2): error: 3.9 does not satisfy the request"_s},
        Row{"Order2NoSolution", 1, u"  × No solution found when resolving `--with` dependencies:\n"_s,
            dependencyError},
        Row{"Order3NotInCache", 1,
            u"Because requests==2.33.1 was not found in the cache and you require requests==2.33.1\n"_s,
            needsUpdating},
        Row{"Order4OfflineNetwork", 2,
            u"error: Failed to download CPython 3.12 because network access is disabled (running with --offline)\n"_s,
            needsUpdating},
        Row{"Order4NeedsBothWords", 2, u"error: unexpected argument --offline\n"_s,
            u"Test failed (exit 2): error: unexpected argument --offline"_s},
        Row{"Order5QuotedModule", 1,
            u"python3: can't run 'norvane.cli' (ModuleNotFoundError: No module named 'norvane')\n"_s,
            u"Missing Python module 'norvane'. Try reinstalling the app."_s},
        Row{"Order5UnquotedModuleReadsUnknown", 1, u"ModuleNotFoundError: No module named norvane\n"_s,
            u"Missing Python module 'unknown'. Try reinstalling the app."_s},
        Row{"Order5TakesTheLastMention", 1, u"No module named 'first'\nNo module named 'aioquic.quic'\n"_s,
            u"Missing Python module 'aioquic.quic'. Try reinstalling the app."_s},
        Row{"Order5EmptyQuotes", 1, u"No module named ''\n"_s,
            u"Missing Python module ''. Try reinstalling the app."_s},
        Row{"Order6Permission", 1, u"PermissionError: [Errno 13] Permission denied\n"_s, permission},
        Row{"Order7LowerCasePermission", 2,
            u"failed to create directory: permission denied (os error 13)\n"_s, permission},
        Row{"Order8AddressInUse", 1, u"cannot bind 0.0.0.0:33434: [Errno 98] Address already in use\n"_s,
            portInUse},
        Row{"Order9KilledBySignal9", 9, QString(), killed},
        Row{"Order9EvenWithOtherText", 9, u"some unrelated line\n"_s, killed},
        Row{"Order10LastNonBlankLine", 1,
            u"norvane.cli: probe scheduler stopped unexpectedly\n"
            u"norvane.cli: giving up: sample queue overflow\n\n"_s,
            u"Test failed (exit 1): norvane.cli: giving up: sample queue overflow"_s},
        Row{"Order10LineIsUsedUntrimmed", 3, u"first\n   indented last line  \n \t \n"_s,
            u"Test failed (exit 3):    indented last line  "_s},
        Row{"Order10CarriageReturnsBreakLinesToo", 4, u"one\r\ntwo\r"_s, u"Test failed (exit 4): two"_s},
        Row{"Order10NegativeCode", -1, u"boom"_s, u"Test failed (exit -1): boom"_s},
        Row{"Order11OnlyBlanks", 2, u"   \n\t\n  \n"_s,
            u"Test ended unexpectedly (exit 2). Partial results may be available."_s},
        Row{"Order11Empty", 15, QString(),
            u"Test ended unexpectedly (exit 15). Partial results may be available."_s},
        // The order of the rows decides when a text trips several of them.
        Row{"PermissionBeatsSignal9", 9, u"open: Permission denied\n"_s, permission},
        Row{"PythonConflictBeatsNoSolution", 1, u"Python 3.9 does not satisfy\nNo solution found\n"_s,
            pythonConflict},
        Row{"NoSolutionBeatsNotInCache", 1, u"No solution found\nx was not found in the cache\n"_s,
            dependencyError},
        Row{"NotInCacheBeatsMissingModule", 1, u"x was not found in the cache\nNo module named 'y'\n"_s,
            needsUpdating},
        Row{"MissingModuleBeatsPermission", 1, u"Permission denied\nNo module named 'y'\n"_s,
            u"Missing Python module 'y'. Try reinstalling the app."_s},
        Row{"PermissionBeatsAddressInUse", 1, u"Address already in use\npermission denied\n"_s, permission},
        Row{"AddressInUseBeatsSignal9", 9, u"Address already in use\n"_s, portInUse},
        Row{"TestsAreCaseSensitive", 1, u"no solution found\n"_s,
            u"Test failed (exit 1): no solution found"_s}),
    [](const ::testing::TestParamInfo<Row>& info) { return std::string(info.param.name); });

TEST(ShouldRetryWithoutPlaywright, NeedsBothPlaywrightAndNotFoundInTheCache) {
    EXPECT_TRUE(PythonProcess::shouldRetryWithoutPlaywright(
        u"Because playwright==1.55.0 was not found in the cache and you require playwright==1.55.0"_s));
    EXPECT_FALSE(PythonProcess::shouldRetryWithoutPlaywright(u"requests was not found in the cache"_s));
    EXPECT_FALSE(PythonProcess::shouldRetryWithoutPlaywright(u"playwright failed to launch chromium"_s));
    EXPECT_FALSE(PythonProcess::shouldRetryWithoutPlaywright(u"Playwright was not found in the cache"_s))
        << "case-sensitive";
    EXPECT_FALSE(PythonProcess::shouldRetryWithoutPlaywright(QString()));
}
