#pragma once

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QString>

#include <cstdio>
#include <cstdlib>

// The process-wide log keeps the folder of the HOME under which it was first used, which in a test
// program is anybody's. A test that reads the log therefore runs its body in a fresh process of its
// own (gtest re-runs just this test there), where a TempHome made in the body decides the log's
// folder. The body's own expectations decide the exit code the parent checks.
#define EXPECT_IN_FRESH_PROCESS(...)                                                                         \
    do {                                                                                                     \
        GTEST_FLAG_SET(death_test_style, "threadsafe");                                                      \
        const auto freshProcessBody = [&] { __VA_ARGS__; };                                                  \
        EXPECT_EXIT(                                                                                         \
            {                                                                                                \
                freshProcessBody();                                                                          \
                std::_Exit(freshProcessExitCode());                                                          \
            },                                                                                               \
            ::testing::ExitedWithCode(0), "");                                                               \
    } while (false)

// The exit code for a body run by EXPECT_IN_FRESH_PROCESS. gtest doesn't print in that process, so
// the failures go to standard error here, which the parent shows when the code isn't 0.
inline int freshProcessExitCode() {
    const ::testing::TestResult* result = ::testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < result->total_part_count(); ++i) {
        const ::testing::TestPartResult& part = result->GetTestPartResult(i);
        if (part.failed())
            std::fprintf(stderr, "%s:%d: %s\n", part.file_name() ? part.file_name() : "?", part.line_number(),
                         part.message());
    }
    std::fflush(stderr);
    return ::testing::Test::HasFailure() ? 1 : 0;
}

// Copies a folder of test data into `target`, which must exist.
inline void copyTestFolder(const QString& source, const QString& target) {
    const QDir dir(source);
    const QStringList names = dir.entryList(QDir::Files | QDir::Hidden);
    for (const QString& name : names)
        QFile::copy(dir.filePath(name), target + u'/' + name);
}

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}
