#include "capture/BlockedTargets.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// `count` samples of one probe key, the first `lost` of them lost.
void addSamples(QList<LatencyPoint>& points, const QString& type, const QString& target, int count,
                int lost) {
    const QDateTime start = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    for (int i = 0; i < count; ++i) {
        LatencyPoint point;
        point.date = start.addSecs(points.size());
        point.probeType = type;
        point.target = target;
        point.loss = i < lost;
        if (!point.loss)
            point.rttMs = 20;
        points.append(point);
    }
}

} // namespace

TEST(FindBlockedTargets, AllLostTargetWithAnAnsweringSiblingIsBlocked) {
    QList<LatencyPoint> points;
    addSamples(points, u"tcp"_s, u"a"_s, 5, 5);
    addSamples(points, u"tcp"_s, u"b"_s, 5, 0);
    EXPECT_EQ(findBlockedTargets(points), QSet<QString>{u"tcp:a"_s});
}

TEST(FindBlockedTargets, OnlyTargetOfItsTypeIsNeverBlocked) {
    QList<LatencyPoint> points;
    addSamples(points, u"tcp"_s, u"a"_s, 5, 5);
    EXPECT_TRUE(findBlockedTargets(points).isEmpty());
}

TEST(FindBlockedTargets, FourLostSamplesAreNotACandidate) {
    QList<LatencyPoint> points;
    addSamples(points, u"tcp"_s, u"a"_s, 4, 4);
    addSamples(points, u"tcp"_s, u"b"_s, 5, 0);
    EXPECT_TRUE(findBlockedTargets(points).isEmpty());
}

TEST(FindBlockedTargets, FortyNineLostOfFiftyReachesTheLimitExactly) {
    QList<LatencyPoint> points;
    addSamples(points, u"tcp"_s, u"a"_s, 50, 49);
    addSamples(points, u"tcp"_s, u"b"_s, 5, 0);
    EXPECT_EQ(findBlockedTargets(points), QSet<QString>{u"tcp:a"_s});
}

TEST(FindBlockedTargets, FortyEightLostOfFiftyIsBelowTheLimit) {
    QList<LatencyPoint> points;
    addSamples(points, u"tcp"_s, u"a"_s, 50, 48);
    addSamples(points, u"tcp"_s, u"b"_s, 5, 0);
    EXPECT_TRUE(findBlockedTargets(points).isEmpty());
}

TEST(FindBlockedTargets, ACandidateThatAnsweredOnceIsNotItsOwnSibling) {
    QList<LatencyPoint> points;
    addSamples(points, u"tcp"_s, u"a"_s, 50, 49);
    addSamples(points, u"tcp"_s, u"b"_s, 10, 10);
    // tcp:a got one answer through, so tcp:b is blocked; tcp:a has no other key that answered.
    EXPECT_EQ(findBlockedTargets(points), QSet<QString>{u"tcp:b"_s});
}

TEST(FindBlockedTargets, AnsweringTargetOfAnotherProtocolIsNoSibling) {
    QList<LatencyPoint> points;
    addSamples(points, u"tcp"_s, u"a"_s, 5, 5);
    addSamples(points, u"udp"_s, u"a"_s, 5, 0);
    addSamples(points, u"tcpx"_s, u"b"_s, 5, 0); // "tcpx:b" doesn't begin with "tcp:"
    EXPECT_TRUE(findBlockedTargets(points).isEmpty());
}

TEST(FindBlockedTargets, TargetsThatAllFailedTogetherAreALostLinkNotBlocks) {
    QList<LatencyPoint> points;
    addSamples(points, u"ping"_s, u"a"_s, 8, 8);
    addSamples(points, u"ping"_s, u"b"_s, 8, 8);
    EXPECT_TRUE(findBlockedTargets(points).isEmpty());
}

TEST(FindBlockedTargets, OneAnsweringSiblingCanClearSeveralBlocks) {
    QList<LatencyPoint> points;
    addSamples(points, u"ping"_s, u"a"_s, 8, 8);
    addSamples(points, u"ping"_s, u"b"_s, 8, 8);
    addSamples(points, u"ping"_s, u"c"_s, 8, 1);
    EXPECT_EQ(findBlockedTargets(points), (QSet<QString>{u"ping:a"_s, u"ping:b"_s}));
}

TEST(FindBlockedTargets, EmptyCaptureHasNoBlockedTargets) {
    EXPECT_TRUE(findBlockedTargets({}).isEmpty());
}

TEST(FindBlockedTargets, OneProbeTypeAloneIsJudgedAsIfTakenOut) {
    QList<LatencyPoint> points;
    addSamples(points, u"ping"_s, u"a"_s, 6, 6);
    addSamples(points, u"ping"_s, u"b"_s, 6, 0);
    addSamples(points, u"tcp"_s, u"a"_s, 6, 6);
    addSamples(points, u"tcp"_s, u"b"_s, 6, 0);
    EXPECT_EQ(findBlockedTargets(points, u"ping"_s), QSet<QString>{u"ping:a"_s});
    EXPECT_EQ(findBlockedTargets(points), (QSet<QString>{u"ping:a"_s, u"tcp:a"_s}));
    EXPECT_TRUE(findBlockedTargets(points, u"udp"_s).isEmpty());
}
