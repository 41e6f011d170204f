#include "screens/Confetti.h"

#include <gtest/gtest.h>

#include <QSet>

#include <cmath>
#include <numbers>

TEST(Confetti, CountsDependOnTheVerdict) {
    EXPECT_EQ(Confetti::particleCount(QualityRating::superior), 55);
    EXPECT_EQ(Confetti::particleCount(QualityRating::excellent), 38);
    EXPECT_EQ(Confetti::particleCount(QualityRating::good), 22);
    EXPECT_EQ(Confetti::particleCount(QualityRating::fair), 0);
    EXPECT_EQ(Confetti::particleCount(QualityRating::impaired), 0);
    EXPECT_EQ(Confetti::particleCount(QualityRating::broken), 0);
    for (const QualityRating::Value value : QualityRating::allCases()) {
        QRandomGenerator random(3);
        EXPECT_EQ(Confetti::generateParticles(value, random).size(), Confetti::particleCount(value));
    }
}

TEST(Confetti, EveryValueIsDrawnFromItsRange) {
    QRandomGenerator random(11);
    QList<ConfettiParticle> particles;
    for (int burst = 0; burst < 20; ++burst)
        particles += Confetti::generateParticles(QualityRating::superior, random);
    ASSERT_EQ(particles.size(), 20 * 55);

    const RgbColor blue = QualityRating(QualityRating::superior).color();
    EXPECT_EQ(Confetti::white, (RgbColor{255, 255, 255}));
    EXPECT_EQ(Confetti::green, (RgbColor{44, 160, 44}));
    EXPECT_EQ(Confetti::gold, (RgbColor{212, 168, 0}));
    QSet<QString> colors;
    int circles = 0;
    double smallestAngle = 10, largestAngle = -1;
    for (const ConfettiParticle& particle : particles) {
        EXPECT_GE(particle.angle, 0);
        EXPECT_LT(particle.angle, 2 * std::numbers::pi);
        EXPECT_GE(particle.distance, 80);
        EXPECT_LT(particle.distance, 200);
        EXPECT_GE(particle.size, 5);
        EXPECT_LT(particle.size, 9);
        EXPECT_GE(particle.duration, 0.6);
        EXPECT_LT(particle.duration, 1.4);
        EXPECT_GE(particle.rotation, 0);
        EXPECT_LT(particle.rotation, 720);
        const bool known = particle.color == blue || particle.color == Confetti::white ||
                           particle.color == Confetti::green || particle.color == Confetti::gold;
        EXPECT_TRUE(known) << particle.color.hexName().toStdString();
        colors.insert(particle.color.hexName());
        circles += particle.isCircle ? 1 : 0;
        smallestAngle = std::min(smallestAngle, particle.angle);
        largestAngle = std::max(largestAngle, particle.angle);
    }
    EXPECT_EQ(colors.size(), 4);
    // A fair coin over 1100 throws stays well inside these bounds.
    EXPECT_GT(circles, 450);
    EXPECT_LT(circles, 650);
    EXPECT_LT(smallestAngle, 0.1) << "the whole circle is used";
    EXPECT_GT(largestAngle, 2 * std::numbers::pi - 0.1);
}

TEST(Confetti, TheSameSeedGivesTheSameBurst) {
    QRandomGenerator first(5);
    QRandomGenerator second(5);
    EXPECT_EQ(Confetti::generateParticles(QualityRating::good, first),
              Confetti::generateParticles(QualityRating::good, second));
}

TEST(Confetti, AScrapFliesAlongItsAngleToItsDistanceTurningAndFading) {
    ConfettiParticle particle;
    particle.angle = std::numbers::pi / 2; // straight down the screen
    particle.distance = 100;
    particle.duration = 1;
    particle.rotation = 360;

    const ConfettiFrame launch = Confetti::frameAt(particle, 0);
    EXPECT_EQ(launch.x, 0);
    EXPECT_EQ(launch.y, 0);
    EXPECT_EQ(launch.rotation, 0);
    EXPECT_EQ(launch.opacity, 1);

    const ConfettiFrame middle = Confetti::frameAt(particle, 0.5);
    EXPECT_NEAR(middle.x, 0, 1e-9);
    EXPECT_GT(middle.y, 50) << "it eases out: more than half the way at half the time";
    EXPECT_LT(middle.y, 100);
    EXPECT_GT(middle.rotation, 180);
    EXPECT_GT(middle.opacity, 0);
    EXPECT_LT(middle.opacity, 0.5);

    for (const double seconds : {1.0, 3.0}) {
        const ConfettiFrame end = Confetti::frameAt(particle, seconds);
        EXPECT_NEAR(end.y, 100, 1e-9);
        EXPECT_EQ(end.rotation, 360);
        EXPECT_EQ(end.opacity, 0);
    }
}

TEST(Confetti, TheBurstLastsAsLongAsItsLongestFlight) {
    EXPECT_EQ(Confetti::burstSeconds({}), 0);
    ConfettiParticle shortFlight;
    shortFlight.duration = 0.7;
    ConfettiParticle longFlight;
    longFlight.duration = 1.3;
    EXPECT_EQ(Confetti::burstSeconds({shortFlight, longFlight}), 1.3);
}
