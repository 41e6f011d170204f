#include "base/NumberText.h"

#include "capture/CaptureTestPrinters.h"

#include <gtest/gtest.h>

#include <QLocale>

#include <clocale>
#include <limits>

using namespace Qt::StringLiterals;

TEST(NumberText, WholePartTruncatesTowardZero) {
    EXPECT_EQ(NumberText::wholePart(99.9), u"99"_s);
    EXPECT_EQ(NumberText::wholePart(600), u"600"_s);
    EXPECT_EQ(NumberText::wholePart(-0.5), u"0"_s);
    EXPECT_EQ(NumberText::wholePart(-7.9), u"-7"_s);
    EXPECT_EQ(NumberText::wholePart(1e20), u"100000000000000000000"_s);
}

TEST(NumberText, FixedRoundsExactHalvesToEvenAsCDoes) {
    EXPECT_EQ(NumberText::fixed(0.25, 1), u"0.2"_s);
    EXPECT_EQ(NumberText::fixed(0.75, 1), u"0.8"_s);
    EXPECT_EQ(NumberText::fixed(6.25, 1), u"6.2"_s);
    EXPECT_EQ(NumberText::fixed(9.96, 1), u"10.0"_s);
}

TEST(NumberText, FixedIgnoresTheUsersLocale) {
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
    const char* saved = std::setlocale(LC_NUMERIC, nullptr);
    const std::string savedNumeric = saved ? saved : "C";
    std::setlocale(LC_NUMERIC, "fr_FR.UTF-8"); // may be missing; then C stays, and the test still holds
    EXPECT_EQ(NumberText::fixed(1234.5, 1), u"1234.5"_s);
    std::setlocale(LC_NUMERIC, savedNumeric.c_str());
    QLocale::setDefault(previous);
}

TEST(NumberText, NonFiniteValuesGiveTextNotACrash) {
    EXPECT_EQ(NumberText::wholePart(std::numeric_limits<double>::quiet_NaN()), u"nan"_s);
    EXPECT_EQ(NumberText::fixed(std::numeric_limits<double>::infinity(), 1), u"inf"_s);
}

TEST(NumberText, WholeSecondsIsDefinedForEveryDouble) {
    EXPECT_EQ(NumberText::wholeSeconds(125.9), 125);
    EXPECT_EQ(NumberText::wholeSeconds(-1.5), -1);
    EXPECT_EQ(NumberText::wholeSeconds(std::numeric_limits<double>::quiet_NaN()), 0);
    EXPECT_EQ(NumberText::wholeSeconds(std::numeric_limits<double>::infinity()), 9'000'000'000'000'000);
    EXPECT_EQ(NumberText::wholeSeconds(-1e300), -9'000'000'000'000'000);
}

TEST(NumberText, LeadingNumberReadsOnlyAsciiDigitRuns) {
    EXPECT_EQ(NumberText::leadingNumber(u"480p30"), 480);
    EXPECT_EQ(NumberText::leadingNumber(u"p30"), std::nullopt);
    EXPECT_EQ(NumberText::leadingNumber(u""), std::nullopt);
    EXPECT_EQ(NumberText::leadingNumber(u"٤٨٠"), std::nullopt);
    EXPECT_EQ(NumberText::leadingNumber(u"99999999999999999999"), std::nullopt);
}
