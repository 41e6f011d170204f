#include "services/AppcastUpdater.h"

#include "base/VirtualClock.h"
#include "services/FileLogger.h"
#include "support/LoggedText.h"
#include "support/NetworkFakes.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QStringList>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QByteArray feedOffering(const QByteArray& displayVersion, const QByteArray& version) {
    return R"(<?xml version="1.0"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel><item>
<enclosure url="http://127.0.0.1/Norvane.dmg" sparkle:version=")" +
           version + R"(" sparkle:shortVersionString=")" + displayVersion + R"("/></item></channel></rss>)";
}

class AppcastUpdaterTest : public testing::Test {
protected:
    void SetUp() override {
        log = std::make_unique<FileLogger>(home.path() + u"/logs"_s);
        listener = std::make_unique<UpdateLogger>(*log);
    }

    // An updater for `running` that reads the feed at `site` (by default, a port on which nothing
    // listens) and whose download page is `downloadPage`.
    std::unique_ptr<AppcastUpdater> updater(const QString& running, const QUrl& site = QUrl()) {
        AppcastUpdater::Sources sources;
        sources.running = running;
        sources.feedUrl =
            (site.isEmpty() ? closedLoopbackUrl() : site).resolved(QUrl(u"/appcast.xml"_s)).toString();
        sources.downloadPage = [this] { return downloadPage; };
        return std::make_unique<AppcastUpdater>(*listener, std::move(sources));
    }

    // Starts the launch check of `updater` and runs the event loop until it has ended.
    static void checkAtLaunch(AppcastUpdater& updater) {
        updater.start();
        ASSERT_FALSE(updater.canCheckForUpdates());
        ASSERT_TRUE(QTest::qWaitFor([&] { return updater.canCheckForUpdates(); }, 5000));
    }

    // An updater for `running` whose launch check has read what `server` serves.
    std::unique_ptr<AppcastUpdater> checkedAgainstServer(const QString& running) {
        auto appcast = updater(running, server.url());
        checkAtLaunch(*appcast);
        return appcast;
    }

    void serveRecorded(const QString& name) {
        const QByteArray feed = readFileAt(testDataPath(u"appcast/"_s + name));
        ASSERT_FALSE(feed.isEmpty()) << name.toStdString();
        server.answerPage(feed);
    }

    QStringList updateLines() { return taggedLines(*log, u"Update"_s); }

    TempHome home;
    std::unique_ptr<FileLogger> log;
    std::unique_ptr<UpdateLogger> listener;
    QString downloadPage = u"http://127.0.0.1/download"_s;
    LoopbackHttpServer server;
};

TEST_F(AppcastUpdaterTest, FeedAddressIsTheSitesAppcast) {
    ScopedEnvironment env;
    env.set("NORVANE_SITE_URL", "http://127.0.0.1:8123/");
    EXPECT_EQ(AppcastUpdater::defaultFeedUrl(), u"http://127.0.0.1:8123/appcast.xml"_s);
}

TEST_F(AppcastUpdaterTest, NewerReleaseBecomesThePendingVersion) {
    server.answerPage(feedOffering("1.10.0", "1100"));
    const auto appcast = checkedAgainstServer(u"1.9.2"_s);
    EXPECT_TRUE(server.requests().startsWith("GET /appcast.xml HTTP/1.1\r\n"));
    EXPECT_TRUE(server.requests().contains("Cache-Control: no-cache\r\n")) << server.requests().constData();
    EXPECT_EQ(listener->pendingVersion(), std::optional<QString>(u"1.10.0"_s));
    EXPECT_EQ(listener->sparkleUpdater(), appcast.get());
    EXPECT_EQ(updateLines(), QStringList{u"INFO  update found: version=1.10.0 build=1100"_s});
}

TEST_F(AppcastUpdaterTest, RecordedFeedOffersItsNewestRelease) {
    serveRecorded(u"releases.xml"_s);
    const auto appcast = checkedAgainstServer(u"1.9.2"_s);
    EXPECT_EQ(updateLines(), QStringList{u"INFO  update found: version=1.10.0 build=1100"_s});
}

TEST_F(AppcastUpdaterTest, OnlyOlderOrEqualReleasesMeanUpToDate) {
    server.answerPage(feedOffering("2.0", "200"));
    const auto appcast = checkedAgainstServer(u"2.0.0"_s);
    EXPECT_FALSE(listener->pendingVersion().has_value());
    EXPECT_EQ(updateLines(), QStringList{u"INFO  no update available: You're up to date."_s});
}

TEST_F(AppcastUpdaterTest, FeedWithoutAReleaseFindsNothing) {
    serveRecorded(u"empty-channel.xml"_s);
    const auto appcast = checkedAgainstServer(u"1.0"_s);
    EXPECT_EQ(updateLines(), QStringList{u"INFO  no update available: the update feed lists no release"_s});
}

TEST_F(AppcastUpdaterTest, NotFoundPageIsOneLineAndNoUpdate) {
    server.answer(LoopbackHttpServer::response(404, "Not Found", "<html><body>Not Found</body></html>"));
    const auto appcast = checkedAgainstServer(u"1.0"_s);
    EXPECT_FALSE(listener->pendingVersion().has_value());
    EXPECT_EQ(updateLines(), QStringList{u"INFO  no update available: the update feed answered HTTP 404"_s});
}

TEST_F(AppcastUpdaterTest, MalformedFeedIsOneLineAndNoUpdate) {
    serveRecorded(u"truncated.xml"_s);
    const auto appcast = checkedAgainstServer(u"1.0"_s);
    EXPECT_FALSE(listener->pendingVersion().has_value());
    const QStringList lines = updateLines();
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines[0].startsWith(u"INFO  no update available: the update feed is malformed: "_s))
        << lines[0].toStdString();
}

TEST_F(AppcastUpdaterTest, NoServerIsOneLineAndNoUpdate) {
    const auto appcast = updater(u"1.0"_s);
    checkAtLaunch(*appcast);
    const QStringList lines = updateLines();
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines[0].startsWith(u"INFO  no update available: could not fetch the update feed: "_s))
        << lines[0].toStdString();
}

TEST_F(AppcastUpdaterTest, SilentServerIsGivenUpAtTheDeadline) {
    VirtualClock clock;
    ScopedVirtualTime virtualTime(clock);
    server.neverAnswer();
    const auto appcast = updater(u"1.0"_s, server.url());
    appcast->start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return server.connections() == 1; }, 5000));
    clock.advance(AppcastUpdater::fetchTimeout - 0.1);
    QCoreApplication::processEvents();
    EXPECT_FALSE(appcast->canCheckForUpdates());
    clock.advance(0.1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return appcast->canCheckForUpdates(); }, 5000));
    const QStringList lines = updateLines();
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines[0].startsWith(u"INFO  no update available: could not fetch the update feed: "_s))
        << lines[0].toStdString();
}

TEST_F(AppcastUpdaterTest, CannotCheckWhileACheckRuns) {
    server.answerPage(feedOffering("1.0", "100"));
    const auto appcast = updater(u"1.0"_s, server.url());
    QSignalSpy changed(appcast.get(), &Updater::canCheckForUpdatesChanged);
    EXPECT_TRUE(appcast->canCheckForUpdates());
    appcast->start();
    EXPECT_FALSE(appcast->canCheckForUpdates());
    // A second start while the first runs asks nothing more of the site.
    appcast->start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return appcast->canCheckForUpdates(); }, 5000));
    EXPECT_EQ(server.connections(), 1);
    ASSERT_EQ(changed.count(), 2);
    EXPECT_FALSE(changed[0].first().toBool());
    EXPECT_TRUE(changed[1].first().toBool());
    EXPECT_EQ(updateLines().size(), 1);
}

TEST_F(AppcastUpdaterTest, DevelopmentBuildIsNotComparedWithReleases) {
    server.answerPage(feedOffering("9.0", "900"));
    const auto appcast = updater(u"dev"_s, server.url());
    QSignalSpy changed(appcast.get(), &Updater::canCheckForUpdatesChanged);
    appcast->start();
    QCoreApplication::processEvents();
    EXPECT_EQ(server.connections(), 0);
    EXPECT_EQ(changed.count(), 0);
    EXPECT_FALSE(listener->pendingVersion().has_value());
    EXPECT_EQ(updateLines(),
              QStringList{u"INFO  no update available: development build, not compared with releases"_s});
}

TEST_F(AppcastUpdaterTest, CheckingForUpdatesOpensTheDownloadPageOfTheMoment) {
    const auto appcast = updater(u"1.0"_s);
    QList<QUrl> opened;
    appcast->setUrlOpener([&opened](const QUrl& url) { opened.append(url); });
    appcast->checkForUpdates();
    downloadPage = u"http://127.0.0.1/download/moved"_s;
    appcast->checkForUpdates();
    EXPECT_EQ(opened, (QList<QUrl>{QUrl(u"http://127.0.0.1/download"_s),
                                   QUrl(u"http://127.0.0.1/download/moved"_s)}));
    EXPECT_TRUE(updateLines().isEmpty());
}

} // namespace
