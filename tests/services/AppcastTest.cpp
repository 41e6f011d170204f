#include "services/Appcast.h"

#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QFile>

using namespace Qt::StringLiterals;

namespace {

QByteArray recorded(const QString& name) {
    QFile file(testDataPath(u"appcast/"_s + name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray feedWithItems(const QByteArray& items) {
    return R"(<?xml version="1.0"?><rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel>)" +
           items + "</channel></rss>";
}

QStringList described(const QList<UpdateItem>& items) {
    QStringList lines;
    for (const UpdateItem& item : items)
        lines.append(item.displayVersion + u'/' + item.version);
    return lines;
}

} // namespace

TEST(AppcastParse, RecordedFeedGivesEveryItemInFeedOrder) {
    const QByteArray xml = recorded(u"releases.xml"_s);
    ASSERT_FALSE(xml.isEmpty());
    const Appcast feed = parseAppcast(xml);
    EXPECT_FALSE(feed.error.has_value()) << feed.error.value_or(QString()).toStdString();
    // Enclosure attributes, item elements, a version that is no number, and a display version missing.
    EXPECT_EQ(described(feed.items),
              (QStringList{u"1.9.2/192"_s, u"1.10.0/1100"_s, u"tip-of-main/nightly"_s, u"1.2/1.2"_s}));
}

TEST(AppcastParse, NewestOfTheRecordedFeedIsTheHighestNumberedRelease) {
    const std::optional<UpdateItem> newest =
        newestAppcastItem(parseAppcast(recorded(u"releases.xml"_s)).items);
    ASSERT_TRUE(newest.has_value());
    EXPECT_EQ(newest->displayVersion, u"1.10.0"_s);
    EXPECT_EQ(newest->version, u"1100"_s);
}

TEST(AppcastParse, CutOffFeedIsMalformedAndFindsNothing) {
    const QByteArray xml = recorded(u"truncated.xml"_s);
    ASSERT_FALSE(xml.isEmpty());
    const Appcast feed = parseAppcast(xml);
    EXPECT_TRUE(feed.error.has_value());
    EXPECT_TRUE(feed.items.isEmpty());
}

TEST(AppcastParse, EmptyChannelFindsNothingAndIsNoError) {
    const Appcast feed = parseAppcast(recorded(u"empty-channel.xml"_s));
    EXPECT_FALSE(feed.error.has_value());
    EXPECT_TRUE(feed.items.isEmpty());
    EXPECT_FALSE(newestAppcastItem(feed.items).has_value());
}

TEST(AppcastParse, WhatIsNoFeedIsAnError) {
    const QByteArray bodies[] = {"", "<html><body><h1>Not Found</h1></body></html>", "{\"minimum\": \"1.0\"}",
                                 "<rss><channel><item></channel></rss>",
                                 "<rss><channel></channel></rss><rss/>"};
    for (const QByteArray& body : bodies) {
        const Appcast feed = parseAppcast(body);
        EXPECT_TRUE(feed.error.has_value()) << body.constData();
        EXPECT_TRUE(feed.items.isEmpty()) << body.constData();
    }
}

TEST(AppcastParse, ItemElementsComeBeforeEnclosureAttributes) {
    const Appcast feed = parseAppcast(feedWithItems(R"(<item>
        <sparkle:version>301</sparkle:version><sparkle:shortVersionString>3.0.1</sparkle:shortVersionString>
        <enclosure url="http://127.0.0.1/a" sparkle:version="300" sparkle:shortVersionString="3.0"/></item>)"));
    EXPECT_EQ(described(feed.items), QStringList{u"3.0.1/301"_s});
}

TEST(AppcastParse, ElementAndAttributeMayEachGiveOneOfTheVersions) {
    const Appcast feed =
        parseAppcast(feedWithItems(R"(<item><sparkle:shortVersionString> 4.2 </sparkle:shortVersionString>
        <enclosure url="http://127.0.0.1/a" sparkle:version="420"/></item>)"));
    EXPECT_EQ(described(feed.items), QStringList{u"4.2/420"_s});
}

TEST(AppcastParse, ItemWithoutAVersionIsLeftOut) {
    const Appcast feed = parseAppcast(feedWithItems(R"(<item><title>Notes only</title>
        <sparkle:shortVersionString>5.0</sparkle:shortVersionString>
        <enclosure url="http://127.0.0.1/a" sparkle:shortVersionString="5.0" version="500"/></item>
        <item><enclosure url="http://127.0.0.1/b" sparkle:version="510"/></item>)"));
    EXPECT_EQ(described(feed.items), QStringList{u"510/510"_s});
}

TEST(AppcastParse, VersionsOutsideTheFrameworksNamespaceDoNotCount) {
    const Appcast feed = parseAppcast(
        R"(<rss xmlns:sparkle="http://example.invalid/other"><channel><item>
           <enclosure url="http://127.0.0.1/a" sparkle:version="600"/></item></channel></rss>)");
    EXPECT_FALSE(feed.error.has_value());
    EXPECT_TRUE(feed.items.isEmpty());
}

TEST(AppcastNewest, ComparesDisplayVersionsAsNumbers) {
    const QList<UpdateItem> items = {{u"1.9"_s, u"19"_s}, {u"1.10"_s, u"110"_s}, {u"1.2.beta.4"_s, u"124"_s}};
    EXPECT_EQ(newestAppcastItem(items)->displayVersion, u"1.10"_s);
}

TEST(AppcastNewest, EqualDisplayVersionsAreToldApartByTheVersion) {
    const QList<UpdateItem> items = {{u"2.0"_s, u"200"_s}, {u"2"_s, u"201"_s}, {u"2.0.0"_s, u"199"_s}};
    EXPECT_EQ(newestAppcastItem(items)->version, u"201"_s);
}

TEST(AppcastNewest, AFullTieGoesToTheItemListedFirst) {
    const QList<UpdateItem> items = {{u"2.0"_s, u"200"_s}, {u"2.0.0"_s, u"200"_s}};
    EXPECT_EQ(newestAppcastItem(items)->displayVersion, u"2.0"_s);
}

TEST(AppcastNewest, ItemsWithoutANumberArePassedOver) {
    EXPECT_FALSE(newestAppcastItem({{u"beta"_s, u"1"_s}, {u""_s, u"2"_s}, {u" 3"_s, u"3"_s}}).has_value());
    const QList<UpdateItem> items = {{u"nightly"_s, u"999"_s}, {u"0.0"_s, u"1"_s}};
    EXPECT_EQ(newestAppcastItem(items)->displayVersion, u"0.0"_s);
}
