#include "FuzzTarget.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <ostream>

// Replays every saved input of every fuzz target through the target's own entry: the seeds, and under
// regressions/ each input that once broke a parser.

namespace {

QString currentInput;

void failCurrentInput(const char* what) {
    ADD_FAILURE() << what << " (input " << qPrintable(currentInput) << ")";
}

class FuzzReplay : public ::testing::TestWithParam<FuzzTarget> {};

} // namespace

// The target's name, not its bytes, in the names and messages of the tests.
void PrintTo(const FuzzTarget& target, std::ostream* out) {
    *out << target.name;
}

namespace {

TEST_P(FuzzReplay, EverySavedInputPassesItsChecks) {
    const FuzzTarget& target = GetParam();
    const QString folder = QString::fromUtf8(NORVANE_FUZZ_DATA_DIR) + u'/' + QLatin1StringView(target.name);
    setFuzzFailureHandler(failCurrentInput);
    int replayed = 0;
    QDirIterator files(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        currentInput = files.next();
        QFile file(currentInput);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(currentInput);
        const QByteArray bytes = file.readAll();
        EXPECT_EQ(target.entry(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                               static_cast<std::size_t>(bytes.size())),
                  0)
            << qPrintable(currentInput);
        ++replayed;
    }
    setFuzzFailureHandler(nullptr);
    // A target without a seed corpus would start from nothing and prove nothing here.
    EXPECT_GT(replayed, 0) << "no saved inputs in " << qPrintable(folder);
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, ::testing::ValuesIn(fuzzTargets()),
                         [](const ::testing::TestParamInfo<FuzzTarget>& info) {
                             return std::string(info.param.name);
                         });

} // namespace
