#include "screens/StatCard.h"

#include "base/VirtualClock.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QDateTime at(double seconds) {
    return VirtualClock::defaultStart().addMSecs(qint64(seconds * 1000));
}

} // namespace

TEST(StatCard, TitleIsShownInUpperCase) {
    StatCard card;
    card.title = u"DL Test (Akamai)"_s;
    EXPECT_EQ(card.displayTitle(), u"DL TEST (AKAMAI)"_s);
}

TEST(StatCard, ValueTakesItsOwnColourBeforeTheRatingsAndThePrimaryWithoutEither) {
    StatCard card;
    EXPECT_FALSE(card.effectiveValueColor()) << "no rating, no colour: the primary text colour";
    card.rating = QualityRating::fair;
    EXPECT_EQ(card.effectiveValueColor(), CardColor::fixedColor(QualityRating(QualityRating::fair).color()));
    card.valueColor = CardColor::secondaryText();
    EXPECT_EQ(card.effectiveValueColor(), CardColor::secondaryText());
    card.rating.reset();
    card.valueColor = CardColor::fixedColor({1, 2, 3});
    EXPECT_EQ(card.effectiveValueColor(), CardColor::fixedColor({1, 2, 3}));
}

TEST(StatCard, RatingLineCarriesTheQualifierInParentheses) {
    StatCard card;
    card.ratingQualifier = u"GEO"_s;
    EXPECT_FALSE(card.ratingLine()) << "a qualifier alone shows nothing";
    card.rating = QualityRating::good;
    EXPECT_EQ(card.ratingLine(), u"Good (GEO)"_s);
    card.ratingQualifier.reset();
    EXPECT_EQ(card.ratingLine(), u"Good"_s);
}

TEST(StatCardPulse, StillCardStaysAtFullOpacity) {
    StatCardPulse pulse;
    EXPECT_DOUBLE_EQ(pulse.opacity(at(0)), 1.0);
    EXPECT_DOUBLE_EQ(pulse.opacity(at(100)), 1.0);
    EXPECT_FALSE(pulse.isMoving(at(0)));
    pulse.setBreathing(false, at(3));
    EXPECT_FALSE(pulse.isMoving(at(3))) << "stopping a still card starts no settle";
}

TEST(StatCardPulse, BreathingSwingsToDimmedInOneAndAHalfSecondsAndBack) {
    StatCardPulse pulse;
    pulse.setBreathing(true, at(10));
    EXPECT_TRUE(pulse.isMoving(at(10)));
    EXPECT_DOUBLE_EQ(pulse.opacity(at(10)), 1.0);
    // Ease-in-out is symmetric: half way down is half way between the two levels.
    EXPECT_NEAR(pulse.opacity(at(10.75)), (1.0 + StatCardPulse::dimmedOpacity) / 2, 1e-3);
    EXPECT_NEAR(pulse.opacity(at(11.5)), StatCardPulse::dimmedOpacity, 1e-9);
    EXPECT_NEAR(pulse.opacity(at(12.25)), (1.0 + StatCardPulse::dimmedOpacity) / 2, 1e-3);
    EXPECT_NEAR(pulse.opacity(at(13.0)), 1.0, 1e-9);
    EXPECT_NEAR(pulse.opacity(at(14.5)), StatCardPulse::dimmedOpacity, 1e-9) << "and it repeats";
    // Slow at the ends, fast in the middle.
    const double nearStart = 1.0 - pulse.opacity(at(10.15));
    const double nearMiddle = pulse.opacity(at(10.675)) - pulse.opacity(at(10.825));
    EXPECT_LT(nearStart, nearMiddle);
    for (double t = 10; t < 20; t += 0.01) {
        EXPECT_GE(pulse.opacity(at(t)), StatCardPulse::dimmedOpacity - 1e-9);
        EXPECT_LE(pulse.opacity(at(t)), 1.0 + 1e-9);
    }
}

TEST(StatCardPulse, ClearingReturnsToFullInAThirdOfASecondFromWhereItWas) {
    StatCardPulse pulse;
    pulse.setBreathing(true, at(0));
    pulse.setBreathing(false, at(1.5)); // at the dimmed end
    EXPECT_FALSE(pulse.breathing());
    EXPECT_NEAR(pulse.opacity(at(1.5)), StatCardPulse::dimmedOpacity, 1e-9) << "no jump";
    EXPECT_TRUE(pulse.isMoving(at(1.7)));
    EXPECT_NEAR(pulse.opacity(at(1.65)), (1.0 + StatCardPulse::dimmedOpacity) / 2, 1e-3);
    EXPECT_DOUBLE_EQ(pulse.opacity(at(1.8)), 1.0);
    EXPECT_FALSE(pulse.isMoving(at(1.8)));
}

TEST(StatCardPulse, BreathingAgainWhileSettlingJoinsTheSwingWithoutAJump) {
    StatCardPulse pulse;
    pulse.setBreathing(true, at(0));
    pulse.setBreathing(false, at(1.5));
    const double settling = pulse.opacity(at(1.6));
    ASSERT_GT(settling, StatCardPulse::dimmedOpacity);
    ASSERT_LT(settling, 1.0);
    pulse.setBreathing(true, at(1.6));
    EXPECT_NEAR(pulse.opacity(at(1.6)), settling, 1e-3);
    EXPECT_LT(pulse.opacity(at(1.7)), settling) << "on its way down again";
}

TEST(StatCardPulse, EaseInOutIsTheStandardCurve) {
    EXPECT_DOUBLE_EQ(StatCardPulse::easeInOut(0), 0);
    EXPECT_DOUBLE_EQ(StatCardPulse::easeInOut(1), 1);
    EXPECT_NEAR(StatCardPulse::easeInOut(0.5), 0.5, 1e-3);
    // cubic-bezier(0.42, 0, 0.58, 1) at x = 0.25 is about 0.129.
    EXPECT_NEAR(StatCardPulse::easeInOut(0.25), 0.129, 0.005);
    EXPECT_DOUBLE_EQ(StatCardPulse::easeInOut(-1), 0);
    EXPECT_DOUBLE_EQ(StatCardPulse::easeInOut(7), 1);
}
