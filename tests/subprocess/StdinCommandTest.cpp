#include "subprocess/StdinCommand.h"

#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

QJsonObject endMetaObject(const EndMeta& meta) {
    const std::optional<QString> command = StdinCommand::endMeta(meta);
    if (!command || !command->startsWith(u"ENDMETA "_s))
        return {};
    return QJsonDocument::fromJson(command->mid(8).toUtf8()).object();
}

} // namespace

TEST(StdinCommand, TheWordCommandsStandAlone) {
    EXPECT_EQ(StdinCommand::speedTest, u"SPEEDTEST"_s);
    EXPECT_EQ(StdinCommand::testYouTube, u"TESTYOUTUBE"_s);
}

TEST(StdinCommand, ANoteIsTheWordABlankAndTheTextAsItStands) {
    EXPECT_EQ(StdinCommand::note(u"Moved to the bar"_s), u"NOTE Moved to the bar"_s);
    EXPECT_EQ(StdinCommand::note(u"  spaced  "_s), u"NOTE   spaced  "_s);
    EXPECT_EQ(StdinCommand::note(QString()), u"NOTE "_s);
}

TEST(StdinCommand, ALineIsTheUTF8TextAndOneLineFeed) {
    EXPECT_EQ(StdinCommand::encodeLine(u"SPEEDTEST"_s), QByteArray("SPEEDTEST\n"));
    EXPECT_EQ(StdinCommand::encodeLine(u"NOTE café ☕"_s), QByteArray("NOTE caf\xc3\xa9 \xe2\x98\x95\n"));
    EXPECT_EQ(StdinCommand::encodeLine(QString()), QByteArray("\n"));
}

TEST(StdinCommand, ATextThatCannotBeEncodedIsDropped) {
    const QString loneHighSurrogate = u"NOTE "_s + QChar(0xd800);
    const QString loneLowSurrogate = u"NOTE "_s + QChar(0xdc00) + u"x"_s;
    EXPECT_FALSE(StdinCommand::encodeLine(loneHighSurrogate));
    EXPECT_FALSE(StdinCommand::encodeLine(loneLowSurrogate));
}

TEST(StdinCommand, EndMetaWithNoKnownFiguresStillCarriesGatewayReachable) {
    EXPECT_EQ(StdinCommand::endMeta(EndMeta{}), u"ENDMETA {\"gateway_reachable\":false}"_s);
    EndMeta reachable;
    reachable.gatewayReachable = true;
    EXPECT_EQ(StdinCommand::endMeta(reachable), u"ENDMETA {\"gateway_reachable\":true}"_s);
}

TEST(StdinCommand, EndMetaCarriesEveryKnownFigureRoundedToOneDecimal) {
    const QJsonObject object = endMetaObject(EndMeta{-61, 42.66, 2.25, 18.04, true});
    EXPECT_EQ(object.size(), 5);
    EXPECT_EQ(object.value(u"rssi_dbm"_s).toInteger(), -61);
    EXPECT_DOUBLE_EQ(object.value(u"upload_speed_mbps"_s).toDouble(), 42.7);
    EXPECT_DOUBLE_EQ(object.value(u"packet_loss_pct"_s).toDouble(), 2.3);
    EXPECT_DOUBLE_EQ(object.value(u"latency_ms"_s).toDouble(), 18.0);
    EXPECT_EQ(object.value(u"gateway_reachable"_s), QJsonValue(true));
}

TEST(StdinCommand, EndMetaLeavesOutEachFigureThatIsNotKnown) {
    const QJsonObject onlyLatency =
        endMetaObject(EndMeta{std::nullopt, std::nullopt, std::nullopt, 250.0, false});
    EXPECT_EQ(onlyLatency.keys(), (QStringList{u"gateway_reachable"_s, u"latency_ms"_s}));
    const QJsonObject onlyRssi = endMetaObject(EndMeta{-70, std::nullopt, std::nullopt, std::nullopt, true});
    EXPECT_EQ(onlyRssi.keys(), (QStringList{u"gateway_reachable"_s, u"rssi_dbm"_s}));
}

TEST(StdinCommand, EndMetaIsOneLineWithTheObjectBehindOneBlank) {
    const std::optional<QString> command = StdinCommand::endMeta(EndMeta{-61, 42.66, 2.25, 18.04, true});
    ASSERT_TRUE(command);
    EXPECT_TRUE(command->startsWith(u"ENDMETA {"_s));
    EXPECT_TRUE(command->endsWith(u'}'));
    EXPECT_FALSE(command->contains(u'\n'));
}

TEST(StdinCommand, RoundingGoesToTheNearestTenthWithHalvesAwayFromZero) {
    struct Case {
        double value;
        double rounded;
    };
    const Case cases[] = {
        {0.25, 0.3},   {-0.25, -0.3},   {0.05, 0.1},    {-0.05, -0.1}, {12.25, 12.3}, {1.04, 1.0},
        {17.96, 18.0}, {-17.96, -18.0}, {99.95, 100.0}, {0.0, 0.0},    {3.0, 3.0},    {0.14999, 0.1},
    };
    for (const Case& c : cases)
        EXPECT_DOUBLE_EQ(StdinCommand::roundToTenth(c.value), c.rounded) << c.value;
}

TEST(StdinCommand, EndMetaThatCannotBeWrittenAsJSONGivesNoCommand) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(StdinCommand::endMeta(EndMeta{std::nullopt, nan, std::nullopt, std::nullopt, true}));
    EXPECT_FALSE(StdinCommand::endMeta(EndMeta{std::nullopt, std::nullopt, infinity, std::nullopt, true}));
    EXPECT_FALSE(StdinCommand::endMeta(EndMeta{std::nullopt, std::nullopt, std::nullopt, -infinity, true}));
    // Large enough that ten times it is no longer finite.
    EXPECT_FALSE(StdinCommand::endMeta(
        EndMeta{std::nullopt, std::numeric_limits<double>::max(), std::nullopt, std::nullopt, true}));
}
