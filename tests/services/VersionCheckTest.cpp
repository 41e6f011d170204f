#include "services/VersionCheck.h"

#include "base/VirtualClock.h"
#include "platform/Platform.h"
#include "services/FileLogger.h"
#include "support/LoggedText.h"
#include "support/NetworkFakes.h"
#include "support/PinnedFile.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QStringList>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// --- Comparing versions ---------------------------------------------------------------------------

struct VersionPair {
    const char* running;
    const char* minimum;
    bool below;
};

class VersionCheckCompare : public testing::TestWithParam<VersionPair> {};

TEST_P(VersionCheckCompare, TellsWhetherTheRunningVersionIsBelowTheMinimum) {
    const VersionPair pair = GetParam();
    EXPECT_EQ(VersionCheck::compareVersions(QString::fromUtf8(pair.running), QString::fromUtf8(pair.minimum)),
              pair.below)
        << pair.running << " against " << pair.minimum;
}

INSTANTIATE_TEST_SUITE_P(
    Table, VersionCheckCompare,
    testing::Values(
        // Numbers, not text order.
        VersionPair{"1.9", "1.10", true}, VersionPair{"1.10", "1.9", false},
        // Missing places count as zero.
        VersionPair{"2.0", "2", false}, VersionPair{"2", "2.0", false}, VersionPair{"1.2", "1.2.0", false},
        VersionPair{"1.2", "1.2.1", true}, VersionPair{"1.2.1", "1.2", false},
        // Pieces that aren't numbers drop out: 1.2.beta.4 reads as 1.2.4, 1.2-rc1 as 1.
        VersionPair{"1.2.beta.4", "1.2.4", false}, VersionPair{"1.2.beta.4", "1.2.5", true},
        VersionPair{"1.2.4", "1.2.beta.4", false}, VersionPair{"1.2-rc1", "1.1", true},
        VersionPair{"1.2-rc1", "1", false},
        // Empty pieces are left out.
        VersionPair{"1..2", "1.2", false}, VersionPair{"1.2.", "1.2", false},
        // An empty minimum, or one with no number, is all zeros: nothing is below it.
        VersionPair{"0.1", "", false}, VersionPair{"0", "", false}, VersionPair{"", "", false},
        VersionPair{"1.0", "beta", false}, VersionPair{"0.0", "x.y-z", false},
        // A running version with no number is below any minimum with a non-zero part.
        VersionPair{"nightly", "0.0.1", true}, VersionPair{"", "1", true},
        VersionPair{"nightly", "0.0", false},
        // Equal versions are not below each other.
        VersionPair{"3.4.5", "3.4.5", false},
        // Leading zeros are still numbers.
        VersionPair{"1.02", "1.3", true}, VersionPair{"1.010", "1.9", false}));

// --- The gate -------------------------------------------------------------------------------------

class VersionCheckGate : public testing::Test {
protected:
    void SetUp() override { log = std::make_unique<FileLogger>(home.path() + u"/logs"_s); }

    QString cachePath() const { return home.path() + u"/.local/share/Norvane/version_check.json"_s; }

    void writeCache(const QByteArray& bytes) const { ASSERT_TRUE(writeFileAt(cachePath(), bytes)); }
    QByteArray readCache() const { return readFileAt(cachePath()); }

    // Sources with no fallback, fetching from `remote` (by default, a port on which nothing listens).
    VersionCheck::Sources sources(const QUrl& remote = QUrl()) const {
        VersionCheck::Sources result;
        result.cachePath = cachePath();
        result.fallbackPath = home.path() + u"/no-such-fallback.json"_s;
        result.remoteUrl = (remote.isEmpty() ? closedLoopbackUrl() : remote)
                               .resolved(QUrl(u"/download/version.json"_s))
                               .toString();
        return result;
    }

    std::unique_ptr<VersionCheck> start(const QString& running, VersionCheck::Sources from) {
        return std::make_unique<VersionCheck>(running, *log, std::move(from));
    }

    // Runs the event loop until the fetch of `check` has ended.
    static void waitForFetch(VersionCheck& check) {
        if (!check.fetchInProgress())
            return;
        QSignalSpy finished(&check, &VersionCheck::fetchFinished);
        ASSERT_TRUE(finished.wait(5000));
    }

    // This gate's log lines, each as "{level} {message}".
    QStringList gateLines() { return taggedLines(*log, u"VersionCheck"_s); }

    TempHome home;
    std::unique_ptr<FileLogger> log;
};

TEST_F(VersionCheckGate, DefaultsComeFromTheSiteSettingAndTheDataFolder) {
    ScopedEnvironment env;
    env.set("NORVANE_SITE_URL", "http://127.0.0.1:8123/");
    EXPECT_EQ(VersionCheck::defaultRemoteUrl(), u"http://127.0.0.1:8123/download/version.json"_s);
    EXPECT_EQ(VersionCheck::defaultDownloadUrl(), u"http://127.0.0.1:8123/download"_s);
    EXPECT_EQ(VersionCheck::defaultCachePath(), cachePath());
}

TEST_F(VersionCheckGate, StartsOpenWithTheStandardMessageAndTheSiteDownloadPage) {
    ScopedEnvironment env;
    env.set("NORVANE_SITE_URL", "http://127.0.0.1:8123");
    const auto check = start(u"1.0"_s, sources());
    EXPECT_FALSE(check->updateRequired());
    EXPECT_EQ(check->message(), u"A newer version is required. Please update."_s);
    EXPECT_EQ(check->downloadUrl(), u"http://127.0.0.1:8123/download"_s);
    waitForFetch(*check);
}

TEST_F(VersionCheckGate, DevBuildReadsNoCacheAndFetchesNothing) {
    writeCache(R"({"minimum": "99", "latest": "99"})");
    LoopbackHttpServer server;
    server.answerPage(R"({"minimum": "99", "latest": "99"})");
    const auto check = start(u"dev"_s, sources(server.url()));
    EXPECT_FALSE(check->fetchInProgress());
    QCoreApplication::processEvents();
    EXPECT_FALSE(check->updateRequired());
    EXPECT_EQ(server.connections(), 0);
    EXPECT_EQ(gateLines(), QStringList{u"INFO  version check: dev build, skipping"_s});
}

TEST_F(VersionCheckGate, CreatesTheCacheFolderOnConstruction) {
    const auto check = start(u"dev"_s, sources());
    EXPECT_TRUE(QFileInfo(QFileInfo(cachePath()).absolutePath()).isDir());
}

TEST_F(VersionCheckGate, BundledFallbackLetsThisBuildRun) {
    VersionCheck::Sources from = sources();
    from.fallbackPath = VersionCheck::defaultFallbackPath();
    const QString running = Platform::appVersion() == u"dev"_s ? u"0.1.0"_s : Platform::appVersion();
    const auto check = start(running, from);
    EXPECT_FALSE(check->updateRequired());
    const QStringList lines = gateLines();
    ASSERT_GE(lines.size(), 2);
    EXPECT_EQ(lines[0], u"INFO  version check: no cache, using bundled fallback"_s);
    EXPECT_TRUE(lines[1].startsWith(u"INFO  version check: running=%1 >= minimum="_s.arg(running)))
        << lines[1].toStdString();
    waitForFetch(*check);
}

TEST_F(VersionCheckGate, FallbackIsReadWhenThereIsNoCache) {
    VersionCheck::Sources from = sources();
    QFile fallback(home.path() + u"/fallback.json"_s);
    ASSERT_TRUE(fallback.open(QIODevice::WriteOnly));
    fallback.write(R"({"minimum": "2.0", "message": "Please move on."})");
    fallback.close();
    from.fallbackPath = fallback.fileName();
    const auto check = start(u"1.5"_s, from);
    EXPECT_TRUE(check->updateRequired());
    EXPECT_EQ(check->message(), u"Please move on."_s);
    EXPECT_EQ(gateLines().mid(0, 2),
              (QStringList{u"INFO  version check: no cache, using bundled fallback"_s,
                           u"WARN  version check: running=1.5 < minimum=2.0, update required"_s}));
    waitForFetch(*check);
}

TEST_F(VersionCheckGate, NoCacheAndNoFallbackFailsOpen) {
    const auto check = start(u"1.0"_s, sources());
    EXPECT_FALSE(check->updateRequired());
    EXPECT_EQ(gateLines().value(0), u"INFO  version check: no cache and no bundled fallback, fail-open"_s);
    waitForFetch(*check);
}

TEST_F(VersionCheckGate, MalformedCacheFailsOpenWithAWarning) {
    const QByteArray bad[] = {"not json at all", R"(["minimum", "9"])", R"({"latest": "9"})",
                              R"({"minimum": 9, "latest": "9"})", R"({"minimum": null})"};
    for (const QByteArray& bytes : bad) {
        writeCache(bytes);
        VersionCheck::Sources from = sources();
        // A broken cache is not a missing one: the fallback, which would close the gate, stays unread.
        QFile fallback(home.path() + u"/fallback.json"_s);
        ASSERT_TRUE(fallback.open(QIODevice::WriteOnly));
        fallback.write(R"({"minimum": "99"})");
        fallback.close();
        from.fallbackPath = fallback.fileName();
        const auto check = start(u"1.0"_s, from);
        EXPECT_FALSE(check->updateRequired()) << bytes.constData();
        EXPECT_EQ(gateLines().last(), u"WARN  version check: data malformed, fail-open"_s)
            << bytes.constData();
        waitForFetch(*check);
    }
}

TEST_F(VersionCheckGate, CacheBelowMinimumClosesTheGateBeforeTheFetch) {
    writeCache(
        R"({"minimum": "1.10", "latest": "1.12", "message": "Too old.", "download_url": "http://127.0.0.1/get"})");
    const auto check = start(u"1.9"_s, sources());
    EXPECT_TRUE(check->fetchInProgress());
    EXPECT_TRUE(check->updateRequired());
    EXPECT_EQ(check->message(), u"Too old."_s);
    EXPECT_EQ(check->downloadUrl(), u"http://127.0.0.1/get"_s);
    EXPECT_EQ(gateLines().value(0), u"WARN  version check: running=1.9 < minimum=1.10, update required"_s);
    waitForFetch(*check);
}

TEST_F(VersionCheckGate, TextsThatAreNotTextAreIgnored) {
    writeCache(R"({"minimum": "1.0", "message": 5, "download_url": ["x"]})");
    const auto check = start(u"1.0"_s, sources());
    EXPECT_FALSE(check->updateRequired());
    EXPECT_EQ(check->message(), u"A newer version is required. Please update."_s);
    EXPECT_EQ(check->downloadUrl(), VersionCheck::defaultDownloadUrl());
    EXPECT_EQ(gateLines().value(0), u"INFO  version check: running=1.0 >= minimum=1.0, ok"_s);
    waitForFetch(*check);
}

// --- The fetch ------------------------------------------------------------------------------------

TEST_F(VersionCheckGate, GoodAnswerIsCachedByteForByte) {
    const QByteArray body = "{ \"minimum\":\"1.0\",\n  \"latest\": \"1.5\" ,\"extra\": [1, 2] }\n";
    LoopbackHttpServer server;
    server.answerPage(body);
    const auto check = start(u"1.2"_s, sources(server.url()));
    waitForFetch(*check);
    EXPECT_EQ(readCache(), body);
    EXPECT_FALSE(check->updateRequired());
    EXPECT_TRUE(server.requests().startsWith("GET /download/version.json HTTP/1.1\r\n"));
    EXPECT_EQ(gateLines().last(), u"INFO  version check: cache updated (minimum=1.0, latest=1.5)"_s);
}

TEST_F(VersionCheckGate, FetchAsksPastAnyLocalCache) {
    LoopbackHttpServer server;
    server.answerPage(R"({"minimum": "1.0", "latest": "1.0"})");
    const auto check = start(u"1.2"_s, sources(server.url()));
    waitForFetch(*check);
    EXPECT_TRUE(server.requests().contains("Cache-Control: no-cache\r\n")) << server.requests().constData();
}

TEST_F(VersionCheckGate, NotFoundPageChangesNothingAndLogsOneLine) {
    const QByteArray cached = R"({"minimum": "1.0", "latest": "1.1"})";
    writeCache(cached);
    LoopbackHttpServer server;
    server.answer(LoopbackHttpServer::response(404, "Not Found", "<html><body>Not Found</body></html>"));
    const auto check = start(u"1.2"_s, sources(server.url()));
    const QStringList before = gateLines();
    waitForFetch(*check);
    EXPECT_EQ(readCache(), cached);
    EXPECT_FALSE(check->updateRequired());
    EXPECT_EQ(gateLines().mid(before.size()), QStringList{u"INFO  version check fetch: HTTP 404"_s});
}

TEST_F(VersionCheckGate, ServerErrorKeepsTheCachedVerdict) {
    writeCache(R"({"minimum": "3", "latest": "3"})");
    LoopbackHttpServer server;
    server.answer(LoopbackHttpServer::response(503, "Service Unavailable", "busy"));
    const auto check = start(u"2"_s, sources(server.url()));
    waitForFetch(*check);
    EXPECT_TRUE(check->updateRequired());
    EXPECT_EQ(gateLines().last(), u"INFO  version check fetch: HTTP 503"_s);
}

TEST_F(VersionCheckGate, AnswerWithoutLatestDoesNotReplaceTheCache) {
    const QByteArray cached = R"({"minimum": "1.0", "latest": "1.1"})";
    writeCache(cached);
    LoopbackHttpServer server;
    server.answerPage(R"({"minimum": "5.0"})");
    const auto check = start(u"1.2"_s, sources(server.url()));
    waitForFetch(*check);
    EXPECT_EQ(readCache(), cached);
    EXPECT_FALSE(check->updateRequired());
    EXPECT_EQ(gateLines().last(), u"WARN  version check fetch: invalid JSON structure"_s);
}

TEST_F(VersionCheckGate, BodyThatIsNotJsonLeavesTheCacheUntouched) {
    const QByteArray cached = R"({"minimum": "1.0", "latest": "1.1"})";
    const QByteArray bodies[] = {"<html>hello</html>", "[\"minimum\", \"latest\"]",
                                 R"({"minimum": 2, "latest": "2"})", ""};
    for (const QByteArray& body : bodies) {
        writeCache(cached);
        LoopbackHttpServer server;
        server.answerPage(body);
        const auto check = start(u"1.2"_s, sources(server.url()));
        waitForFetch(*check);
        EXPECT_EQ(readCache(), cached) << body.constData();
        EXPECT_EQ(gateLines().last(), u"WARN  version check fetch: invalid JSON structure"_s)
            << body.constData();
    }
}

TEST_F(VersionCheckGate, NoServerKeepsTheCachedVerdict) {
    const QByteArray cached = R"({"minimum": "2.0", "latest": "2.0"})";
    writeCache(cached);
    const auto check = start(u"1.0"_s, sources());
    EXPECT_TRUE(check->updateRequired());
    waitForFetch(*check);
    EXPECT_TRUE(check->updateRequired());
    EXPECT_EQ(readCache(), cached);
    EXPECT_TRUE(gateLines().last().startsWith(u"INFO  version check fetch failed: "_s))
        << gateLines().last().toStdString();
}

TEST_F(VersionCheckGate, SilentServerIsGivenUpAfterTenSeconds) {
    VirtualClock clock;
    ScopedVirtualTime virtualTime(clock);
    LoopbackHttpServer server;
    server.neverAnswer();
    const auto check = start(u"1.0"_s, sources(server.url()));
    QSignalSpy finished(check.get(), &VersionCheck::fetchFinished);
    ASSERT_TRUE(QTest::qWaitFor([&] { return server.connections() == 1; }, 5000));
    clock.advance(9.9);
    QCoreApplication::processEvents();
    EXPECT_TRUE(check->fetchInProgress());
    EXPECT_EQ(finished.count(), 0);
    clock.advance(0.1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return finished.count() == 1; }, 5000));
    EXPECT_TRUE(gateLines().last().startsWith(u"INFO  version check fetch failed: "_s))
        << gateLines().last().toStdString();
}

TEST_F(VersionCheckGate, RequiredStaysForThisRunWhenTheFetchLowersTheMinimum) {
    writeCache(R"({"minimum": "2.0", "latest": "2.0"})");
    const QByteArray lowered = R"({"minimum": "1.0", "latest": "2.0"})";
    LoopbackHttpServer server;
    server.answerPage(lowered);
    const auto check = start(u"1.5"_s, sources(server.url()));
    EXPECT_TRUE(check->updateRequired());
    waitForFetch(*check);
    EXPECT_TRUE(check->updateRequired());
    EXPECT_EQ(readCache(), lowered);

    // The next launch reads the lowered minimum from the cache.
    const auto nextLaunch = start(u"1.5"_s, sources());
    EXPECT_FALSE(nextLaunch->updateRequired());
    waitForFetch(*nextLaunch);
}

TEST_F(VersionCheckGate, RaisedMinimumClosesTheGateDuringTheSession) {
    writeCache(R"({"minimum": "1.0", "latest": "1.0"})");
    LoopbackHttpServer server;
    server.answerPage(
        R"({"minimum": "1.6", "latest": "1.7", "message": "Urgent fix.", "download_url": "http://127.0.0.1/dl"})");
    const auto check = start(u"1.5"_s, sources(server.url()));
    QSignalSpy required(check.get(), &VersionCheck::updateRequiredChanged);
    QSignalSpy message(check.get(), &VersionCheck::messageChanged);
    EXPECT_FALSE(check->updateRequired());
    waitForFetch(*check);
    EXPECT_TRUE(check->updateRequired());
    ASSERT_EQ(required.count(), 1);
    EXPECT_TRUE(required.first().first().toBool());
    ASSERT_EQ(message.count(), 1);
    EXPECT_EQ(check->message(), u"Urgent fix."_s);
    EXPECT_EQ(check->downloadUrl(), u"http://127.0.0.1/dl"_s);
    EXPECT_EQ(gateLines().mid(gateLines().size() - 2),
              (QStringList{u"INFO  version check: cache updated (minimum=1.6, latest=1.7)"_s,
                           u"WARN  version check: fresh fetch confirms update required"_s}));
}

TEST_F(VersionCheckGate, UnwritableCacheStillAppliesTheFreshVerdict) {
    // A file where the cache's folder should be: neither the folder nor the cache can be made.
    QFile blocker(home.path() + u"/blocked"_s);
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    LoopbackHttpServer server;
    server.answerPage(R"({"minimum": "4", "latest": "4"})");
    VersionCheck::Sources from = sources(server.url());
    from.cachePath = blocker.fileName() + u"/version_check.json"_s;
    const auto check = start(u"3"_s, from);
    waitForFetch(*check);
    EXPECT_TRUE(check->updateRequired());
    EXPECT_FALSE(QFile::exists(from.cachePath));
}

// A crash or a full disk in the middle of the write must leave the old cache whole.
TEST_F(VersionCheckGate, FreshRulesReplaceTheCacheInsteadOfRewritingIt) {
    const QByteArray oldCache = R"({"minimum": "1.0", "latest": "1.0"})";
    writeCache(oldCache);
    const PinnedFile cache(cachePath());
    ASSERT_TRUE(cache.pinned());
    LoopbackHttpServer server;
    server.answerPage(R"({"minimum": "2.0", "latest": "2.1"})");
    const auto check = start(u"1.5"_s, sources(server.url()));
    waitForFetch(*check);
    EXPECT_EQ(cache.bytes(), oldCache);
    EXPECT_TRUE(readCache().contains("2.1"));
}

TEST_F(VersionCheckGate, RemoteThatIsNotAUrlIsNotFetched) {
    VersionCheck::Sources from = sources();
    from.remoteUrl = u"http://[not a host"_s;
    const auto check = start(u"1.0"_s, from);
    EXPECT_FALSE(check->fetchInProgress());
    EXPECT_EQ(gateLines(),
              QStringList{u"INFO  version check: no cache and no bundled fallback, fail-open"_s});
}

TEST_F(VersionCheckGate, MinimumIsEmptyUntilRulesAreRead) {
    const auto check = start(u"1.0"_s, sources());
    EXPECT_EQ(check->minimum(), QString());
    waitForFetch(*check);
    EXPECT_EQ(check->minimum(), QString());
}

TEST_F(VersionCheckGate, MinimumIsTheCachedOneUntilAGoodAnswerReplacesIt) {
    writeCache(R"({"minimum": "1.4", "latest": "1.5"})");
    LoopbackHttpServer server;
    server.answerPage(R"({"minimum": "1.6", "latest": "1.7"})");
    const auto check = start(u"1.5"_s, sources(server.url()));
    EXPECT_EQ(check->minimum(), u"1.4"_s);
    waitForFetch(*check);
    EXPECT_EQ(check->minimum(), u"1.6"_s);
}

TEST_F(VersionCheckGate, MinimumStaysWhenTheAnswerIsBad) {
    writeCache(R"({"minimum": "1.4", "latest": "1.5"})");
    LoopbackHttpServer server;
    server.answerPage(R"({"minimum": "1.6"})");
    const auto check = start(u"1.5"_s, sources(server.url()));
    waitForFetch(*check);
    EXPECT_EQ(check->minimum(), u"1.4"_s);
}

} // namespace
