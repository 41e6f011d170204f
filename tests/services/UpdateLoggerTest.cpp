#include "services/UpdateLogger.h"

#include "services/FileLogger.h"
#include "support/LoggedText.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QSignalSpy>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>

#include <memory>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

class CountingUpdater : public Updater {
public:
    bool canCheckForUpdates() const override { return true; }
    void checkForUpdates() override { ++checks; }
    int checks = 0;
};

struct SentEvent {
    QString type;
    QJsonObject details;
};

class UpdateLoggerTest : public testing::Test {
protected:
    void SetUp() override { log = std::make_unique<FileLogger>(dir.path()); }

    // The listener's lines, each as "{level} {message}".
    QStringList updateLines() { return taggedLines(*log, u"Update"_s); }

    QTemporaryDir dir;
    std::unique_ptr<FileLogger> log;
    CountingUpdater updater;
    const UpdateItem item{u"1.4"_s, u"140"_s};
};

TEST_F(UpdateLoggerTest, AFoundUpdateIsLoggedAndBecomesThePendingVersion) {
    UpdateLogger logger(*log);
    QSignalSpy changed(&logger, &UpdateLogger::pendingVersionChanged);
    logger.didFindValidUpdate(&updater, item);

    EXPECT_EQ(logger.pendingVersion(), std::optional<QString>(u"1.4"_s));
    EXPECT_EQ(logger.sparkleUpdater(), &updater);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(updateLines(), QStringList{u"INFO  update found: version=1.4 build=140"_s});
}

TEST_F(UpdateLoggerTest, NoUpdateClearsThePendingVersion) {
    UpdateLogger logger(*log);
    logger.didFindValidUpdate(&updater, item);
    logger.didNotFindUpdate(&updater, u"You're up to date!"_s);

    EXPECT_FALSE(logger.pendingVersion().has_value());
    EXPECT_EQ(updateLines().last(), u"INFO  no update available: You're up to date!"_s);
}

TEST_F(UpdateLoggerTest, ADownloadOnlyWritesALine) {
    UpdateLogger logger(*log);
    QSignalSpy changed(&logger, &UpdateLogger::pendingVersionChanged);
    logger.willDownloadUpdate(&updater, item);

    EXPECT_EQ(changed.count(), 0);
    EXPECT_EQ(updateLines(), QStringList{u"INFO  downloading update: version=1.4"_s});
}

TEST_F(UpdateLoggerTest, AFailedDownloadIsWarnedClearedAndReported) {
    UpdateLogger logger(*log);
    QList<SentEvent> sent;
    logger.setEventSender([&sent](const QString& type, const QJsonObject& details) {
        sent.append({type, details});
    });
    logger.didFindValidUpdate(&updater, item);
    logger.failedToDownloadUpdate(&updater, item, u"The network connection was lost."_s);

    EXPECT_FALSE(logger.pendingVersion().has_value());
    EXPECT_EQ(updateLines().last(),
              u"WARN  update download failed: version=1.4 error=The network connection was lost."_s);
    ASSERT_EQ(sent.size(), 1);
    EXPECT_EQ(sent[0].type, u"update_failed"_s);
    EXPECT_EQ(sent[0].details, (QJsonObject{{u"target_version"_s, u"1.4"_s},
                                            {u"target_build"_s, u"140"_s},
                                            {u"error"_s, u"The network connection was lost."_s}}));
}

TEST_F(UpdateLoggerTest, AFailedDownloadWithNoSenderStillLogs) {
    UpdateLogger logger(*log);
    logger.failedToDownloadUpdate(&updater, item, u"disk full"_s);
    EXPECT_EQ(updateLines(), QStringList{u"WARN  update download failed: version=1.4 error=disk full"_s});
}

TEST_F(UpdateLoggerTest, AnInstallSendsTheCrashReportsOfTheOldVersionFirst) {
    UpdateLogger logger(*log);
    int scans = 0;
    logger.setCrashScan([&scans] { ++scans; });
    logger.willInstallUpdate(&updater, item);

    EXPECT_EQ(scans, 1);
    EXPECT_EQ(updateLines(), QStringList{u"INFO  installing update: version=1.4"_s});
}

TEST_F(UpdateLoggerTest, ARelaunchClearsThePendingVersion) {
    UpdateLogger logger(*log);
    logger.didFindValidUpdate(&updater, item);
    logger.willRelaunchApplication(&updater);

    EXPECT_FALSE(logger.pendingVersion().has_value());
    EXPECT_EQ(updateLines().last(), u"INFO  relaunching for update"_s);
}

TEST_F(UpdateLoggerTest, TheUpdaterIsHeldWeakly) {
    UpdateLogger logger(*log);
    auto passing = std::make_unique<CountingUpdater>();
    logger.didFindValidUpdate(passing.get(), item);
    ASSERT_EQ(logger.sparkleUpdater(), passing.get());
    passing.reset();
    EXPECT_EQ(logger.sparkleUpdater(), nullptr);
}

TEST_F(UpdateLoggerTest, ACallFromTheUpdatersThreadChangesThePendingVersionOnTheMainThread) {
    UpdateLogger logger(*log);
    Qt::HANDLE changedOn = nullptr;
    QObject::connect(
        &logger, &UpdateLogger::pendingVersionChanged, &logger,
        [&changedOn] { changedOn = QThread::currentThreadId(); }, Qt::DirectConnection);

    std::thread worker([&] { logger.didFindValidUpdate(&updater, item); });
    worker.join();
    // Until the main thread turns, the screens see nothing new.
    EXPECT_FALSE(logger.pendingVersion().has_value());
    QCoreApplication::processEvents();

    EXPECT_EQ(logger.pendingVersion(), std::optional<QString>(u"1.4"_s));
    EXPECT_EQ(changedOn, QThread::currentThreadId());
}

} // namespace
