#include "screens/NoteChips.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

QStringList labels(const QList<NoteChipDef>& chips) {
    QStringList result;
    for (const NoteChipDef& chip : chips)
        result.append(chip.label);
    return result;
}

} // namespace

TEST(NoteChips, TheTableInItsOrder) {
    const QList<NoteChipDef> expected = {
        {u"🚕"_s, u"Taxi"_s, u"Taxi"_s, ChipContext::flight},
        {u"🛫"_s, u"Takeoff"_s, u"Takeoff"_s, ChipContext::flight},
        {u"☁️"_s, u"Cruise"_s, u"Cruise"_s, ChipContext::flight},
        {u"🛬"_s, u"Descent"_s, u"Descent"_s, ChipContext::flight},
        {u"🚪"_s, u"Gate"_s, u"Gate"_s, ChipContext::flight},
        {u"😬"_s, u"Broken"_s, u"Feels broken"_s, ChipContext::universal},
        {u"🐌"_s, u"Slow"_s, u"Feels slow"_s, ChipContext::universal},
        {u"🚀"_s, u"Fast"_s, u"Feels fast"_s, ChipContext::universal},
    };
    EXPECT_EQ(NoteChips::allChips(), expected);
}

TEST(NoteChips, AFlightShowsAllEightChips) {
    EXPECT_EQ(NoteChips::visibleChips(u"flight"_s), NoteChips::allChips());
}

TEST(NoteChips, CaptureWithoutCategoryShowsTheThreeUniversalChips) {
    EXPECT_EQ(labels(NoteChips::visibleChips(std::nullopt)),
              (QStringList{u"Broken"_s, u"Slow"_s, u"Fast"_s}));
}

TEST(NoteChips, OtherCategoriesShowTheUniversalChipsOnly) {
    for (const QString& category : {u"hotel"_s, u"Flight"_s, u""_s, u"flight "_s})
        EXPECT_EQ(labels(NoteChips::visibleChips(category)), (QStringList{u"Broken"_s, u"Slow"_s, u"Fast"_s}))
            << category.toStdString();
}

TEST(NoteChips, TheCommandCarriesTheNoteTextNotTheLabel) {
    EXPECT_EQ(NoteChips::command(NoteChips::allChips().at(5)), u"NOTE Feels broken"_s);
    EXPECT_EQ(NoteChips::command(NoteChips::allChips().at(1)), u"NOTE Takeoff"_s);
}

TEST(NoteChips, NoteRowsShowTheLocalTimeTwoBlanksAndTheText) {
    const QDateTime local(QDate(2024, 5, 1), QTime(14, 3, 9, 870));
    EXPECT_EQ(NoteChips::noteRow(CapturedNote{local, u"Takeoff"_s}), u"14:03:09  Takeoff"_s);
    const QDateTime utc = local.toUTC();
    EXPECT_EQ(NoteChips::noteRow(CapturedNote{utc, u"Feels slow"_s}), u"14:03:09  Feels slow"_s)
        << "a time kept in UTC still reads in local time";
    EXPECT_EQ(NoteChips::noteRows({{local, u"a"_s}, {local.addSecs(61), u"b"_s}}),
              (QStringList{u"14:03:09  a"_s, u"14:04:10  b"_s}));
    EXPECT_TRUE(NoteChips::noteRows({}).isEmpty());
}

class NoteChipsTapTest : public ::testing::Test {
protected:
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QStringList sent;
    NoteChips chips{[this](const QString& line) { sent.append(line); }};

    NoteChipDef chip(int index) const { return NoteChips::visibleChips(std::nullopt).at(index); }
};

TEST_F(NoteChipsTapTest, ATapSendsTheNoteAndHighlightsTheChipForSixTenths) {
    QSignalSpy highlight(&chips, &NoteChips::tappedIndexChanged);
    EXPECT_FALSE(chips.tappedIndex());
    chips.tapChip(1, chip(1));
    EXPECT_EQ(sent, (QStringList{u"NOTE Feels slow"_s}));
    EXPECT_EQ(chips.tappedIndex(), 1);
    time.advance(0.59);
    EXPECT_EQ(chips.tappedIndex(), 1);
    time.advance(0.01);
    EXPECT_FALSE(chips.tappedIndex());
    EXPECT_EQ(highlight.count(), 2);
}

TEST_F(NoteChipsTapTest, TwoQuickTapsOnOneChipSendTwoNotesAndTheFirstClearEndsTheHighlight) {
    chips.tapChip(0, chip(0));
    time.advance(0.3);
    chips.tapChip(0, chip(0));
    EXPECT_EQ(sent, (QStringList{u"NOTE Feels broken"_s, u"NOTE Feels broken"_s}));
    time.advance(0.3);
    EXPECT_FALSE(chips.tappedIndex()) << "the first tap's clear matches the index and ends it early";
}

TEST_F(NoteChipsTapTest, ATapOnAnotherChipKeepsItsOwnFullTime) {
    chips.tapChip(0, chip(0));
    time.advance(0.3);
    chips.tapChip(2, chip(2));
    time.advance(0.3);
    EXPECT_EQ(chips.tappedIndex(), 2) << "the first tap's clear no longer matches";
    time.advance(0.29);
    EXPECT_EQ(chips.tappedIndex(), 2);
    time.advance(0.01);
    EXPECT_FALSE(chips.tappedIndex());
    EXPECT_EQ(sent, (QStringList{u"NOTE Feels broken"_s, u"NOTE Feels fast"_s}));
}

TEST_F(NoteChipsTapTest, ATapAddsNothingToTheNotesByItself) {
    TempHome home;
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state(log);
    NoteChips stateChips(state);
    stateChips.tapChip(0, chip(0)); // no tool is running: the command goes nowhere
    EXPECT_TRUE(state.capturedNotes().isEmpty());
    EXPECT_EQ(stateChips.tappedIndex(), 0);
    // The tool's echo is what fills the list.
    state.pythonProcess().processLine(uR"({"event":"note","text":"Feels broken","ts":"x"})"_s);
    ASSERT_EQ(state.capturedNotes().size(), 1);
    EXPECT_EQ(NoteChips::noteRows(state.capturedNotes()),
              QStringList{NoteChips::noteRow(CapturedNote{time.now(), u"Feels broken"_s})});
}
