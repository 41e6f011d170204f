#include "capture/InternetDateTime.h"

#include <gtest/gtest.h>

namespace {

std::optional<qint64> msecs(std::string_view text) {
    const std::optional<QDateTime> date = parseInternetDateTime(text);
    return date ? std::optional<qint64>(date->toMSecsSinceEpoch()) : std::nullopt;
}

constexpr qint64 base = 1767323045000; // 2026-01-02T03:04:05Z

} // namespace

TEST(InternetDateTime, ReadsFractionAndZone) {
    EXPECT_EQ(msecs("2026-01-02T03:04:05.000Z"), base);
    EXPECT_EQ(msecs("2026-01-02T03:04:05.250Z"), base + 250);
    EXPECT_EQ(msecs("2026-01-02T03:04:05.250+00:00"), base + 250);
    EXPECT_EQ(msecs("2026-01-02T04:04:05.250+01:00"), base + 250);
    EXPECT_EQ(msecs("2026-01-01T21:34:05.250-05:30"), base + 250);
}

TEST(InternetDateTime, FractionsOfAnyLengthKeepMilliseconds) {
    EXPECT_EQ(msecs("2026-01-02T03:04:05.5Z"), base + 500);
    EXPECT_EQ(msecs("2026-01-02T03:04:05.05Z"), base + 50);
    EXPECT_EQ(msecs("2026-01-02T03:04:05.123999Z"), base + 123);
}

TEST(InternetDateTime, ResultIsInUtc) {
    const std::optional<QDateTime> date = parseInternetDateTime("2026-01-02T04:04:05.000+01:00");
    ASSERT_TRUE(date);
    EXPECT_EQ(date->timeSpec(), Qt::UTC);
    EXPECT_EQ(date->time().hour(), 3);
}

TEST(InternetDateTime, RefusesTextWithoutFractionOrZone) {
    EXPECT_FALSE(msecs("2026-01-02T03:04:05Z"));
    EXPECT_FALSE(msecs("2026-01-02T03:04:05+00:00"));
    EXPECT_FALSE(msecs("2026-01-02T03:04:05.000"));
    EXPECT_FALSE(msecs("2026-01-02T03:04:05.Z"));
}

TEST(InternetDateTime, RefusesOtherShapes) {
    EXPECT_FALSE(msecs(""));
    EXPECT_FALSE(msecs("2026-01-02 03:04:05.000Z"));
    EXPECT_FALSE(msecs("20260102T030405.000Z"));
    EXPECT_FALSE(msecs(" 2026-01-02T03:04:05.000Z"));
    EXPECT_FALSE(msecs("2026-01-02T03:04:05.000Z "));
    EXPECT_FALSE(msecs("2026-01-02T03:04:05.000+0100"));
    EXPECT_FALSE(msecs("2026-01-02T03:04:05.000+01"));
    EXPECT_FALSE(msecs("2026-01-02T03:04:05.000z"));
    EXPECT_FALSE(msecs("2026-1-02T03:04:05.000Z"));
}

TEST(InternetDateTime, RefusesDatesAndTimesThatDontExist) {
    EXPECT_FALSE(msecs("2026-02-29T03:04:05.000Z"));
    EXPECT_TRUE(msecs("2028-02-29T03:04:05.000Z"));
    EXPECT_FALSE(msecs("2026-13-01T03:04:05.000Z"));
    EXPECT_FALSE(msecs("2026-00-01T03:04:05.000Z"));
    EXPECT_FALSE(msecs("2026-04-31T03:04:05.000Z"));
    EXPECT_FALSE(msecs("2026-01-02T24:00:00.000Z"));
    EXPECT_FALSE(msecs("2026-01-02T03:60:05.000Z"));
    EXPECT_FALSE(msecs("2026-01-02T03:04:60.000Z"));
    EXPECT_FALSE(msecs("2026-01-02T03:04:05.000+24:00"));
}

TEST(InternetDateTime, ReaderGivesTheSameAnswersWhileRememberingTheLastSecond) {
    InternetDateTimeReader reader;
    EXPECT_EQ(reader.msecsSinceEpoch("2026-01-02T03:04:05.100Z"), base + 100);
    EXPECT_EQ(reader.msecsSinceEpoch("2026-01-02T03:04:05.200+00:00"), base + 200);
    // Same second, but no zone: still refused.
    EXPECT_FALSE(reader.msecsSinceEpoch("2026-01-02T03:04:05.300"));
    EXPECT_FALSE(reader.msecsSinceEpoch("2026-01-02T03:04:05Z"));
    EXPECT_EQ(reader.msecsSinceEpoch("2026-01-02T04:04:05.400+01:00"), base + 400);
    EXPECT_EQ(reader.msecsSinceEpoch("2026-01-02T03:04:06.000Z"), base + 1000);
    EXPECT_EQ(reader.msecsSinceEpoch("2026-01-03T03:04:05.000Z"), base + 86'400'000);
    EXPECT_FALSE(reader.msecsSinceEpoch("2026-01-03T03:04:05.000X"));
    EXPECT_EQ(reader.msecsSinceEpoch("2026-01-03T03:04:05.000Z"), base + 86'400'000);
}
