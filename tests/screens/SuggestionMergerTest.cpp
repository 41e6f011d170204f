#include "screens/SuggestionMerger.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList numbered(const QString& stem, int count) {
    QStringList rows;
    for (int i = 1; i <= count; ++i)
        rows.append(stem + u' ' + QString::number(i));
    return rows;
}

} // namespace

TEST(SuggestionMatching, QueryFindsTheBeginningOfAnyWord) {
    EXPECT_TRUE(SuggestionMerger::matches(u"DAL 709 JFK-SAN"_s, u"jfk"_s));
    EXPECT_TRUE(SuggestionMerger::matches(u"DAL 709 JFK-SAN"_s, u"san"_s));
    EXPECT_TRUE(SuggestionMerger::matches(u"DAL 709 JFK-SAN"_s, u"70"_s));
    EXPECT_TRUE(SuggestionMerger::matches(u"DAL 709 JFK-SAN"_s, u"Da"_s)) << "case doesn't matter";
    EXPECT_FALSE(SuggestionMerger::matches(u"DAL 709 JFK-SAN"_s, u"an"_s)) << "not the middle of a word";
}

TEST(SuggestionMatching, QueryWithABlankOrAHyphenMatchesNothing) {
    EXPECT_FALSE(SuggestionMerger::matches(u"DAL 709 JFK-SAN"_s, u"jfk-san"_s));
    EXPECT_FALSE(SuggestionMerger::matches(u"DAL 709 JFK-SAN"_s, u"dal 709"_s));
    EXPECT_FALSE(SuggestionMerger::matches(u"DAL 709 JFK-SAN"_s, u" "_s));
}

TEST(SuggestionMatching, EmptyQueryMatchesEverythingEvenAnEmptyRow) {
    EXPECT_TRUE(SuggestionMerger::matches(u"anything"_s, QString()));
    EXPECT_TRUE(SuggestionMerger::matches(QString(), QString()));
    EXPECT_FALSE(SuggestionMerger::matches(QString(), u"a"_s));
}

TEST(SuggestionMatching, PunctuationOfAnyKindSplitsWords) {
    EXPECT_TRUE(SuggestionMerger::matches(u"Campus WiFi + Ostrel VPN"_s, u"vpn"_s));
    EXPECT_TRUE(SuggestionMerger::matches(u"@HyattMeetings"_s, u"hyatt"_s));
    EXPECT_TRUE(SuggestionMerger::matches(u"_Free_JFK_Wi-Fi"_s, u"fi"_s));
    EXPECT_TRUE(SuggestionMerger::matches(u"Fiber (Ting)"_s, u"ting"_s));
    EXPECT_TRUE(SuggestionMerger::matches(u"HotelGroupWiFi.example"_s, u"example"_s));
}

TEST(SuggestionMatching, LettersBeyondAsciiBelongToTheirWord) {
    EXPECT_TRUE(SuggestionMerger::matches(u"Café Zürich"_s, u"zü"_s));
    EXPECT_TRUE(SuggestionMerger::matches(u"Café Zürich"_s, u"CAFÉ"_s));
    EXPECT_FALSE(SuggestionMerger::matches(u"Café Zürich"_s, u"rich"_s));
    EXPECT_TRUE(SuggestionMerger::matches(u"羽田空港 ラウンジ"_s, u"ラウ"_s));
}

TEST(SuggestionMerge, UserRowsLeadButLeaveRoomForPresets) {
    const QStringList user = numbered(u"Home"_s, 10);
    const QStringList presets = numbered(u"Preset"_s, 5);
    EXPECT_EQ(SuggestionMerger::merge(user, presets, QString(), 7, 5),
              (QStringList{u"Home 1"_s, u"Home 2"_s, u"Home 3"_s, u"Home 4"_s, u"Home 5"_s, u"Preset 1"_s,
                           u"Preset 2"_s}));
}

TEST(SuggestionMerge, UserRowsBeyondTheShareBackFillWhenPresetsRunOut) {
    const QStringList user = numbered(u"Home"_s, 8);
    EXPECT_EQ(SuggestionMerger::merge(user, {u"Hotel WiFi"_s}, u"h"_s, 7, 5),
              (QStringList{u"Home 1"_s, u"Home 2"_s, u"Home 3"_s, u"Home 4"_s, u"Home 5"_s, u"Hotel WiFi"_s,
                           u"Home 6"_s}));
}

TEST(SuggestionMerge, WithoutPresetsTheUserRowsFillTheLimit) {
    EXPECT_EQ(SuggestionMerger::merge(numbered(u"Gate"_s, 9), {}, QString(), 7, 5), numbered(u"Gate"_s, 7));
}

TEST(SuggestionMerge, LimitBelowTheShareStopsInTheFirstPass) {
    EXPECT_EQ(SuggestionMerger::merge(numbered(u"Gate"_s, 9), {u"Gatehouse"_s}, QString(), 3, 5),
              numbered(u"Gate"_s, 3));
}

TEST(SuggestionMerge, RowsDifferingOnlyByCaseCountOnceInTheFirstSpelling) {
    EXPECT_EQ(SuggestionMerger::merge({u"hotel wifi"_s}, {u"Hotel WiFi"_s, u"Home WiFi"_s}, QString(), 7, 5),
              (QStringList{u"hotel wifi"_s, u"Home WiFi"_s}));
    EXPECT_EQ(SuggestionMerger::merge({u"JFK"_s, u"jfk"_s, u"Jfk"_s}, {}, QString(), 7, 5),
              QStringList{u"JFK"_s});
}

TEST(SuggestionMerge, OnlyMatchingRowsOfBothListsTakePart) {
    EXPECT_EQ(SuggestionMerger::merge({u"Hotel Lobby"_s, u"Airport"_s}, {u"Hotel WiFi"_s, u"Office WiFi"_s},
                                      u"ho"_s, 7, 5),
              (QStringList{u"Hotel Lobby"_s, u"Hotel WiFi"_s}));
    EXPECT_TRUE(SuggestionMerger::merge({u"Airport"_s}, {u"Office"_s}, u"zz"_s, 7, 5).isEmpty());
}

TEST(SuggestionMerge, DuplicateUserRowsInTheShareLetTheBackFillTakeTheirPlace) {
    // The second "home" is skipped in the first pass; the third pass adds "Home 5" behind the preset.
    const QStringList user{u"Home"_s, u"home"_s, u"Home 3"_s, u"Home 4"_s, u"Home 5"_s};
    EXPECT_EQ(SuggestionMerger::merge(user, {u"Hotel"_s}, QString(), 5, 4),
              (QStringList{u"Home"_s, u"Home 3"_s, u"Home 4"_s, u"Hotel"_s, u"Home 5"_s}));
}

TEST(SuggestionMerge, NoRoomGivesNothing) {
    EXPECT_TRUE(SuggestionMerger::merge({u"a"_s}, {u"b"_s}, QString(), 0, 5).isEmpty());
}
