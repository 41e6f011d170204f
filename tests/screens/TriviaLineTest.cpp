#include "screens/TriviaLine.h"

#include "base/VirtualClock.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QSet>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

using Fact = TriviaContent::Fact;
using Appreciation = TriviaContent::Appreciation;

namespace {

QList<Fact> numberedFacts(int count) {
    QList<Fact> facts;
    for (int i = 1; i <= count; ++i)
        facts.append(Fact{u"history"_s, u"fact %1"_s.arg(i)});
    return facts;
}

QList<Appreciation> oneOfEachCategory() {
    return {
        {u"general"_s, u"thanks general"_s}, {u"short_run"_s, u"thanks short"_s},
        {u"long_run"_s, u"thanks long"_s},   {u"french"_s, u"merci"_s},
        {u"german"_s, u"danke"_s},           {u"japanese"_s, u"ありがとう"_s},
    };
}

bool hasJapaneseScript(const QString& text) {
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if ((u >= 0x3040 && u <= 0x30ff) || (u >= 0x4e00 && u <= 0x9fff))
            return true;
    }
    return false;
}

} // namespace

// --- resources --------------------------------------------------------------------------------------

TEST(TriviaResources, FactsLoadWithAtLeastSixtyDistinctTexts) {
    const QList<Fact>& facts = TriviaContent::facts();
    ASSERT_GE(facts.size(), 60);
    QSet<QString> distinct;
    for (const Fact& fact : facts) {
        EXPECT_FALSE(fact.fact.trimmed().isEmpty());
        EXPECT_FALSE(fact.category.isEmpty());
        distinct.insert(fact.fact);
    }
    EXPECT_EQ(distinct.size(), facts.size());
}

TEST(TriviaResources, ThanksCoverEveryCategoryWithAtLeastForty) {
    const QList<Appreciation>& thanks = TriviaContent::appreciations();
    ASSERT_GE(thanks.size(), 40);
    QHash<QString, int> perCategory;
    for (const Appreciation& entry : thanks) {
        EXPECT_FALSE(entry.message.trimmed().isEmpty());
        ++perCategory[entry.category];
    }
    for (const QString& category :
         {u"general"_s, u"short_run"_s, u"long_run"_s, u"french"_s, u"german"_s, u"japanese"_s})
        EXPECT_GE(perCategory.value(category), 3) << category.toStdString();
    EXPECT_EQ(perCategory.size(), 6) << "no category outside the six in use";
}

TEST(TriviaResources, FrenchGermanAndJapaneseThanksAreWrittenInThoseLanguages) {
    for (const Appreciation& entry : TriviaContent::appreciations()) {
        const std::string message = entry.message.toStdString();
        if (entry.category == u"french"_s) {
            EXPECT_TRUE(entry.message.contains(u"merci"_s, Qt::CaseInsensitive)) << message;
        } else if (entry.category == u"german"_s) {
            EXPECT_TRUE(entry.message.contains(u"dank"_s, Qt::CaseInsensitive)) << message;
        }
        EXPECT_EQ(hasJapaneseScript(entry.message), entry.category == u"japanese"_s) << message;
    }
}

TEST(TriviaResources, MissingFileGivesAnEmptyList) {
    EXPECT_TRUE(TriviaContent::loadFacts(u":/norvane/no_such_file.json"_s).isEmpty());
    EXPECT_TRUE(TriviaContent::loadAppreciations(u"/nonexistent/appreciation.json"_s).isEmpty());
}

TEST(TriviaResources, UndecodableFilesGiveEmptyLists) {
    QTemporaryDir dir;
    EXPECT_TRUE(TriviaContent::loadFacts(writeFile(dir, u"a.json"_s, "not json")).isEmpty());
    EXPECT_TRUE(
        TriviaContent::loadFacts(writeFile(dir, u"b.json"_s, R"({"category":"x","fact":"y"})")).isEmpty());
    // One bad row spoils the file.
    EXPECT_TRUE(TriviaContent::loadFacts(
                    writeFile(dir, u"c.json"_s, R"([{"category":"x","fact":"y"},{"category":"x"}])"))
                    .isEmpty());
    EXPECT_TRUE(TriviaContent::loadAppreciations(
                    writeFile(dir, u"d.json"_s, R"([{"category":"general","message":7}])"))
                    .isEmpty());
    EXPECT_TRUE(TriviaContent::loadAppreciations(writeFile(dir, u"e.json"_s, R"([3])")).isEmpty());
}

TEST(TriviaResources, WellFormedFilesKeepTheirRowsAndIgnoreOtherKeys) {
    QTemporaryDir dir;
    const QList<Fact> facts = TriviaContent::loadFacts(writeFile(
        dir, u"f.json"_s, R"([{"category":"a","fact":"one","source":"x"},{"category":"b","fact":"two"}])"));
    EXPECT_EQ(facts, (QList<Fact>{{u"a"_s, u"one"_s}, {u"b"_s, u"two"_s}}));
    const QList<Appreciation> thanks = TriviaContent::loadAppreciations(
        writeFile(dir, u"g.json"_s, R"([{"category":"german","message":"Danke!"}])"));
    EXPECT_EQ(thanks, (QList<Appreciation>{{u"german"_s, u"Danke!"_s}}));
}

// --- categories -------------------------------------------------------------------------------------

TEST(TriviaContent, RunOfThreeHundredSecondsUsesTheShortCategories) {
    EXPECT_EQ(TriviaContent::categoriesFor(300),
              (QStringList{u"general"_s, u"short_run"_s, u"french"_s, u"german"_s, u"japanese"_s}));
    const TriviaContent content(300, {}, oneOfEachCategory(), 1);
    const QSet<QString> messages(content.shuffledAppreciations().begin(),
                                 content.shuffledAppreciations().end());
    EXPECT_EQ(messages, (QSet<QString>{u"thanks general"_s, u"thanks short"_s, u"merci"_s, u"danke"_s,
                                       u"ありがとう"_s}));
}

TEST(TriviaContent, RunOfThreeHundredAndOneSecondsAndAContinuousRunUseTheLongCategories) {
    const QStringList longCategories{u"general"_s, u"long_run"_s, u"french"_s, u"german"_s, u"japanese"_s};
    EXPECT_EQ(TriviaContent::categoriesFor(301), longCategories);
    EXPECT_EQ(TriviaContent::categoriesFor(std::nullopt), longCategories);
    for (const std::optional<double> duration : {std::optional<double>(301), std::optional<double>()}) {
        const TriviaContent content(duration, {}, oneOfEachCategory(), 1);
        EXPECT_TRUE(content.shuffledAppreciations().contains(u"thanks long"_s));
        EXPECT_FALSE(content.shuffledAppreciations().contains(u"thanks short"_s));
        EXPECT_EQ(content.shuffledAppreciations().size(), 5);
    }
}

TEST(TriviaContent, StartsWithAllCountersAtZeroAndEveryFactShuffledIn) {
    const TriviaContent content(60, numberedFacts(9), oneOfEachCategory(), 7);
    EXPECT_EQ(content.callCount(), 0);
    EXPECT_EQ(content.factIndex(), 0);
    EXPECT_EQ(content.appreciationIndex(), 0);
    QStringList sorted = content.shuffledFacts();
    sorted.sort();
    QStringList expected;
    for (const Fact& fact : numberedFacts(9))
        expected.append(fact.fact);
    expected.sort();
    EXPECT_EQ(sorted, expected);
}

// --- next -------------------------------------------------------------------------------------------

TEST(TriviaContent, EveryFifthCallIsAThank) {
    TriviaContent content(60, numberedFacts(20), {{u"general"_s, u"thank you"_s}}, 3);
    for (int call = 1; call <= 20; ++call) {
        const QString text = content.next();
        if (call % 5 == 0)
            EXPECT_EQ(text, u"thank you"_s) << call;
        else
            EXPECT_TRUE(text.startsWith(u"fact "_s)) << call;
    }
    EXPECT_EQ(content.callCount(), 20);
    EXPECT_EQ(content.appreciationIndex(), 4);
    EXPECT_EQ(content.factIndex(), 16);
}

TEST(TriviaContent, BothResourcesMissingSayMeasuringOnEveryCall) {
    TriviaContent content(std::nullopt, {}, {}, 1);
    for (int call = 1; call <= 12; ++call)
        EXPECT_EQ(content.next(), u"Measuring your connection..."_s) << call;
    EXPECT_EQ(content.factIndex(), 0);
}

TEST(TriviaContent, ThanksOutsideTheChosenCategoriesLeaveOnlyFacts) {
    // A long run: the short-run thanks don't fit it.
    TriviaContent content(3600, numberedFacts(4), {{u"short_run"_s, u"quick thanks"_s}}, 5);
    EXPECT_TRUE(content.shuffledAppreciations().isEmpty());
    for (int call = 1; call <= 10; ++call)
        EXPECT_TRUE(content.next().startsWith(u"fact "_s)) << call;
    EXPECT_EQ(content.factIndex(), 10);
    EXPECT_EQ(content.appreciationIndex(), 0);
}

TEST(TriviaContent, OnlyThanksAndNoFactsFallBackBetweenThanks) {
    TriviaContent content(60, {}, {{u"general"_s, u"thanks"_s}}, 5);
    EXPECT_EQ(content.next(), u"Measuring your connection..."_s);
    for (int call = 2; call <= 4; ++call)
        content.next();
    EXPECT_EQ(content.next(), u"thanks"_s);
}

TEST(TriviaContent, EachPassReadsTheWholeListInANewOrder) {
    const int count = 6;
    TriviaContent content(60, numberedFacts(count), {}, 42);
    QSet<QStringList> orders;
    for (int pass = 0; pass < 12; ++pass) {
        QStringList order;
        for (int i = 0; i < count; ++i)
            order.append(content.next());
        QStringList sorted = order;
        sorted.sort();
        EXPECT_EQ(QSet<QString>(sorted.begin(), sorted.end()).size(), count) << "pass " << pass;
        orders.insert(order);
    }
    EXPECT_GT(orders.size(), 1) << "twelve passes of six facts all in one order: no reshuffle";
}

TEST(TriviaContent, ListOfOneIsReshuffledEachPassWithoutChange) {
    TriviaContent content(60, {{u"history"_s, u"only fact"_s}}, {{u"general"_s, u"only thanks"_s}}, 9);
    for (int call = 1; call <= 15; ++call)
        EXPECT_EQ(content.next(), call % 5 == 0 ? u"only thanks"_s : u"only fact"_s) << call;
    EXPECT_EQ(content.appreciationIndex(), 3);
    EXPECT_EQ(content.factIndex(), 12);
}

TEST(TriviaContent, SameSeedGivesTheSameOrder) {
    TriviaContent first(60, numberedFacts(10), {}, 11);
    TriviaContent second(60, numberedFacts(10), {}, 11);
    EXPECT_EQ(first.shuffledFacts(), second.shuffledFacts());
}

// --- the line ---------------------------------------------------------------------------------------

class TriviaLineTest : public ::testing::Test {
protected:
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QList<std::optional<double>> madeFor;

    TriviaLine::ContentFactory factory(int factCount = 30) {
        return [this, factCount](std::optional<double> duration) {
            madeFor.append(duration);
            return TriviaContent(duration, numberedFacts(factCount), oneOfEachCategory(), 1);
        };
    }
};

TEST_F(TriviaLineTest, BeforeItAppearsTheLineIsEmptyWithTheBulb) {
    TriviaLine line(60, factory());
    EXPECT_EQ(line.currentText(), QString());
    EXPECT_EQ(line.currentIcon(), u"lightbulb"_s);
    EXPECT_EQ(line.opacity(), 1);
    EXPECT_FALSE(line.content());
    EXPECT_TRUE(madeFor.isEmpty());
}

TEST_F(TriviaLineTest, AppearingShowsAFactAtOnceWithTheMagnifyingGlass) {
    TriviaLine line(60, factory());
    line.start();
    EXPECT_TRUE(line.isRunning());
    EXPECT_TRUE(line.currentText().startsWith(u"fact "_s));
    EXPECT_EQ(line.currentIcon(), u"magnifyingglass"_s);
    EXPECT_EQ(line.iconIndex(), 1);
    EXPECT_EQ(madeFor, (QList<std::optional<double>>{60}));
}

TEST_F(TriviaLineTest, EveryTwentyFiveSecondsTheLineFadesAndMovesOn) {
    TriviaLine line(60, factory());
    line.start();
    const QString first = line.currentText();
    time.advance(24.9);
    EXPECT_EQ(line.currentText(), first);
    EXPECT_EQ(line.opacity(), 1);
    time.advance(0.1);
    EXPECT_EQ(line.opacity(), 0) << "fading out";
    EXPECT_EQ(line.currentText(), first);
    time.advance(0.29);
    EXPECT_EQ(line.currentText(), first);
    time.advance(0.01);
    EXPECT_NE(line.currentText(), first);
    EXPECT_EQ(line.opacity(), 1);
    EXPECT_EQ(line.currentIcon(), u"bubble.left"_s);
    EXPECT_EQ(line.content()->callCount(), 2);
}

TEST_F(TriviaLineTest, IconsGoRoundWhateverTheLineIsAbout) {
    TriviaLine line(60, factory());
    line.start();
    QStringList seen{line.currentIcon()};
    time.advance(TriviaLine::fadeSeconds); // from here on each step lands just after a swap
    for (int i = 0; i < 6; ++i) {
        time.advance(TriviaLine::intervalSeconds);
        seen.append(line.currentIcon());
    }
    EXPECT_EQ(seen,
              (QStringList{u"magnifyingglass"_s, u"bubble.left"_s, u"sparkles"_s, u"questionmark.circle"_s,
                           u"safari"_s, u"lightbulb"_s, u"magnifyingglass"_s}));
}

TEST_F(TriviaLineTest, TheFifthLineIsAThank) {
    TriviaLine line(300, factory());
    line.start();
    time.advance(4 * TriviaLine::intervalSeconds + TriviaLine::fadeSeconds);
    EXPECT_EQ(line.content()->callCount(), 5);
    EXPECT_FALSE(line.currentText().startsWith(u"fact "_s)) << line.currentText().toStdString();
    EXPECT_NE(line.currentText(), u"thanks long"_s) << "a run of 300 seconds gets short-run thanks";
}

TEST_F(TriviaLineTest, WithoutContentTheTextIsEmpty) {
    TriviaLine line(60, factory());
    line.advanceContent();
    EXPECT_EQ(line.currentText(), QString());
    EXPECT_EQ(line.currentIcon(), u"magnifyingglass"_s);
}

TEST_F(TriviaLineTest, StoppedLineStaysPut) {
    TriviaLine line(60, factory());
    line.start();
    const QString first = line.currentText();
    line.stop();
    EXPECT_FALSE(line.isRunning());
    time.advance(100);
    EXPECT_EQ(line.currentText(), first);
}

TEST_F(TriviaLineTest, StopDuringAFadeStillBringsTheLineBack) {
    TriviaLine line(60, factory());
    line.start();
    time.advance(TriviaLine::intervalSeconds);
    ASSERT_EQ(line.opacity(), 0);
    line.stop();
    time.advance(TriviaLine::fadeSeconds);
    EXPECT_EQ(line.opacity(), 1);
}

TEST_F(TriviaLineTest, ContentSurvivesAReappearance) {
    TriviaLine line(60, factory());
    line.start();
    line.stop();
    line.start();
    EXPECT_EQ(madeFor.size(), 1);
    EXPECT_EQ(line.content()->callCount(), 2);
}

TEST_F(TriviaLineTest, ALengthLearntLaterChoosesTheTextsAgain) {
    TriviaLine line(std::nullopt, factory());
    line.start();
    const QString shown = line.currentText();
    line.setDurationSecs(120);
    EXPECT_EQ(madeFor, (QList<std::optional<double>>{std::nullopt, 120}));
    EXPECT_EQ(line.currentText(), shown);
    EXPECT_TRUE(line.content()->shuffledAppreciations().contains(u"thanks short"_s));
    line.setDurationSecs(120);
    EXPECT_EQ(madeFor.size(), 2) << "the same length changes nothing";
}

TEST_F(TriviaLineTest, ALengthKnownBeforeAppearingIsUsedOnce) {
    TriviaLine line(std::nullopt, factory());
    line.setDurationSecs(900);
    EXPECT_TRUE(madeFor.isEmpty());
    line.start();
    EXPECT_EQ(madeFor, (QList<std::optional<double>>{900}));
}

TEST_F(TriviaLineTest, WithoutAFactoryTheLineTellsTheBundledFacts) {
    TriviaLine line(60);
    line.start();
    QStringList facts;
    for (const Fact& fact : TriviaContent::facts())
        facts.append(fact.fact);
    EXPECT_TRUE(facts.contains(line.currentText())) << line.currentText().toStdString();
}
