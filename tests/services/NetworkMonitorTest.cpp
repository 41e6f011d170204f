#include "services/NetworkMonitor.h"

#include "services/FileLogger.h"
#include "support/LoggedText.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

class NetworkMonitorTest : public ::testing::Test {
protected:
    QString logText() { return loggedText(log); }

    QTemporaryDir dir;
    FileLogger log{dir.path()};
    NetworkMonitor monitor{log};
    QStringList calls;
};

TEST_F(NetworkMonitorTest, ReconnectAfterOfflineFiresEachHandlerOnceInOrder) {
    monitor.addReconnectHandler([this] { calls << u"first"_s; });
    monitor.addReconnectHandler([this] { calls << u"second"_s; });
    monitor.handle(true);
    monitor.handle(false);
    monitor.handle(true);
    EXPECT_EQ(calls, (QStringList{u"first"_s, u"second"_s}));
    EXPECT_EQ(monitor.isOnline(), true);
    EXPECT_TRUE(
        logText().contains(u"INFO  [NetworkMonitor] network reachable — firing 2 reconnect handler(s)\n"_s))
        << logText().toStdString();
}

TEST_F(NetworkMonitorTest, OnlineToOnlineFiresNoneAndLogsNothing) {
    monitor.addReconnectHandler([this] { calls << u"fired"_s; });
    monitor.handle(true);
    const QString afterFirst = logText();
    monitor.handle(true);
    monitor.handle(true);
    EXPECT_TRUE(calls.isEmpty());
    EXPECT_EQ(logText(), afterFirst);
}

TEST_F(NetworkMonitorTest, FirstReportOnlineFiresNothingAndLogsAtDebug) {
    monitor.addReconnectHandler([this] { calls << u"fired"_s; });
    EXPECT_EQ(monitor.isOnline(), std::nullopt);
    monitor.handle(true);
    EXPECT_TRUE(calls.isEmpty());
    EXPECT_TRUE(logText().contains(u"DEBUG [NetworkMonitor] network state: online\n"_s));
}

TEST_F(NetworkMonitorTest, OfflineAtLaunchThenOnlineLogsFirstAndFiresOnSecond) {
    monitor.addReconnectHandler([this] { calls << u"fired"_s; });
    monitor.handle(false);
    EXPECT_TRUE(calls.isEmpty());
    EXPECT_EQ(monitor.isOnline(), false);
    EXPECT_TRUE(logText().contains(u"DEBUG [NetworkMonitor] network state: offline\n"_s));
    monitor.handle(true);
    EXPECT_EQ(calls, QStringList{u"fired"_s});
    EXPECT_TRUE(logText().contains(u"network reachable — firing 1 reconnect handler(s)"_s));
    EXPECT_FALSE(logText().contains(u"network state: online"_s));
}

TEST_F(NetworkMonitorTest, GoingOfflineLogsAtDebugAndRepeatsAreDropped) {
    monitor.handle(true);
    monitor.handle(false);
    monitor.handle(false);
    EXPECT_EQ(logText().count(u"DEBUG [NetworkMonitor] network state: offline"_s), 1);
}

TEST_F(NetworkMonitorTest, WithoutHandlersReconnectStillLogsTheCount) {
    monitor.handle(false);
    monitor.handle(true);
    EXPECT_TRUE(logText().contains(u"network reachable — firing 0 reconnect handler(s)"_s));
}

} // namespace
