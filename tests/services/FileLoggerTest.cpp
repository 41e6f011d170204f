#include "services/FileLogger.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

QByteArray readAll(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

void writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
}

QStringList lines(const QByteArray& content) {
    QStringList result = QString::fromUtf8(content).split(u'\n');
    if (!result.isEmpty() && result.last().isEmpty())
        result.removeLast();
    return result;
}

class FileLoggerTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString logDir() const { return dir.filePath(u"logs"_s); }
    QString logPath() const { return logDir() + u"/linux-app.log"_s; }
    void prepareFolder() const { QDir().mkpath(logDir()); }
};

} // namespace

TEST_F(FileLoggerTest, ConstructionCreatesTheFolderWithParentsAndAnEmptyFile) {
    const QString nested = dir.filePath(u"a/b/c"_s);
    FileLogger logger(nested);
    EXPECT_EQ(logger.logPath(), nested + u"/linux-app.log"_s);
    EXPECT_TRUE(QFileInfo(logger.logPath()).isFile());
    EXPECT_EQ(QFileInfo(logger.logPath()).size(), 0);
}

TEST_F(FileLoggerTest, LineFormatAlignsTheTagColumnForEveryLevel) {
    FileLogger logger(logDir());
    logger.info(u"App"_s, u"app launch version=1.0"_s);
    logger.warn(u"AppState"_s, u"careful"_s);
    logger.error(u"PythonProcess"_s, u"broken"_s);
    logger.debug(u"PythonStderr"_s, u"chatter"_s);
    logger.waitForIdle();
    const QStringList written = lines(readAll(logPath()));
    ASSERT_EQ(written.size(), 4);
    const QString stamp = u"^\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2} "_s;
    EXPECT_TRUE(QRegularExpression(stamp + u"INFO  \\[App\\] app launch version=1\\.0$"_s)
                    .match(written[0])
                    .hasMatch())
        << qPrintable(written[0]);
    EXPECT_TRUE(QRegularExpression(stamp + u"WARN  \\[AppState\\] careful$"_s).match(written[1]).hasMatch());
    EXPECT_TRUE(
        QRegularExpression(stamp + u"ERROR \\[PythonProcess\\] broken$"_s).match(written[2]).hasMatch());
    EXPECT_TRUE(
        QRegularExpression(stamp + u"DEBUG \\[PythonStderr\\] chatter$"_s).match(written[3]).hasMatch());
}

TEST_F(FileLoggerTest, TimestampIsLocalTimeWithoutZoneOrFraction) {
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    FileLogger logger(logDir());
    logger.info(u"App"_s, u"x"_s);
    logger.waitForIdle();
    const QString line = lines(readAll(logPath())).value(0);
    const QDateTime stamp = QDateTime::fromString(line.left(19), u"yyyy-MM-dd'T'HH:mm:ss"_s);
    ASSERT_TRUE(stamp.isValid());
    EXPECT_EQ(stamp.timeSpec(), Qt::LocalTime);
    EXPECT_LE(before, stamp);
    EXPECT_LE(stamp, QDateTime::currentDateTime());
}

TEST_F(FileLoggerTest, AppendsToAnExistingLog) {
    prepareFolder();
    writeFile(logPath(), "earlier run\n");
    FileLogger logger(logDir());
    logger.info(u"App"_s, u"this run"_s);
    logger.waitForIdle();
    const QStringList written = lines(readAll(logPath()));
    ASSERT_EQ(written.size(), 2);
    EXPECT_EQ(written[0], u"earlier run"_s);
    EXPECT_TRUE(written[1].endsWith(u"[App] this run"_s));
}

TEST_F(FileLoggerTest, LineFeedInAMessageBreaksTheLineAsItStands) {
    FileLogger logger(logDir());
    logger.info(u"PythonProcess"_s, u"first\nsecond"_s);
    logger.waitForIdle();
    const QStringList written = lines(readAll(logPath()));
    ASSERT_EQ(written.size(), 2);
    EXPECT_TRUE(written[0].endsWith(u"[PythonProcess] first"_s));
    EXPECT_EQ(written[1], u"second"_s);
}

TEST_F(FileLoggerTest, NonAsciiMessagesAreWrittenAsUtf8) {
    FileLogger logger(logDir());
    logger.info(u"App"_s, u"Hôtel Zürich — 東京"_s);
    logger.waitForIdle();
    EXPECT_TRUE(readAll(logPath()).endsWith(u"[App] Hôtel Zürich — 東京\n"_s.toUtf8()));
}

TEST_F(FileLoggerTest, LineThatReachesTheLimitStaysInTheOldFileAndTheNextLineRotates) {
    prepareFolder();
    FileLogger probe(dir.filePath(u"probe"_s));
    probe.info(u"App"_s, u"m"_s);
    probe.waitForIdle();
    const qint64 oneLine = QFileInfo(probe.logPath()).size();

    writeFile(logPath(), QByteArray(FileLogger::maxBytes - oneLine, 'x'));
    FileLogger logger(logDir());
    logger.info(u"App"_s, u"m"_s);
    logger.waitForIdle();
    EXPECT_EQ(QFileInfo(logPath()).size(), FileLogger::maxBytes);
    EXPECT_FALSE(QFileInfo::exists(logPath() + u".1"_s));

    logger.info(u"App"_s, u"after rotation"_s);
    logger.waitForIdle();
    EXPECT_EQ(QFileInfo(logPath() + u".1"_s).size(), FileLogger::maxBytes);
    const QStringList fresh = lines(readAll(logPath()));
    ASSERT_EQ(fresh.size(), 1);
    EXPECT_TRUE(fresh[0].endsWith(u"[App] after rotation"_s));
}

TEST_F(FileLoggerTest, JustUnderTheLimitDoesNotRotate) {
    prepareFolder();
    writeFile(logPath(), QByteArray(FileLogger::maxBytes - 1, 'x'));
    FileLogger logger(logDir());
    logger.info(u"App"_s, u"still the old file"_s);
    logger.waitForIdle();
    EXPECT_FALSE(QFileInfo::exists(logPath() + u".1"_s));
    EXPECT_GT(QFileInfo(logPath()).size(), FileLogger::maxBytes);
}

TEST_F(FileLoggerTest, RotationWithFourBackupsDropsTheOldestAndShiftsTheRest) {
    prepareFolder();
    writeFile(logPath(), QByteArray(FileLogger::maxBytes, 'm'));
    for (int i = 1; i <= 4; ++i)
        writeFile(logPath() + u'.' + QString::number(i), "backup " + QByteArray::number(i));
    FileLogger logger(logDir());
    logger.info(u"App"_s, u"new"_s);
    logger.waitForIdle();
    EXPECT_EQ(readAll(logPath() + u".1"_s), QByteArray(FileLogger::maxBytes, 'm'));
    EXPECT_EQ(readAll(logPath() + u".2"_s), QByteArray("backup 1"));
    EXPECT_EQ(readAll(logPath() + u".3"_s), QByteArray("backup 2"));
    EXPECT_EQ(readAll(logPath() + u".4"_s), QByteArray("backup 3"));
    EXPECT_FALSE(QFileInfo::exists(logPath() + u".5"_s));
    EXPECT_TRUE(readAll(logPath()).endsWith("[App] new\n"));
}

TEST_F(FileLoggerTest, GapInTheBackupsIsNoError) {
    prepareFolder();
    writeFile(logPath(), QByteArray(FileLogger::maxBytes, 'm'));
    writeFile(logPath() + u".1"_s, "one");
    writeFile(logPath() + u".3"_s, "three");
    FileLogger logger(logDir());
    logger.info(u"App"_s, u"new"_s);
    logger.waitForIdle();
    EXPECT_EQ(readAll(logPath() + u".1"_s), QByteArray(FileLogger::maxBytes, 'm'));
    EXPECT_EQ(readAll(logPath() + u".2"_s), QByteArray("one"));
    EXPECT_FALSE(QFileInfo::exists(logPath() + u".3"_s));
    EXPECT_EQ(readAll(logPath() + u".4"_s), QByteArray("three"));
    EXPECT_TRUE(readAll(logPath()).endsWith("[App] new\n"));
}

TEST_F(FileLoggerTest, DeletedLogFolderMeansNoRotationAndWritesGoToTheOpenHandle) {
    FileLogger logger(logDir());
    logger.info(u"App"_s, u"before"_s);
    logger.waitForIdle();
    ASSERT_TRUE(QDir(logDir()).removeRecursively());
    logger.info(u"App"_s, u"into the void"_s);
    logger.waitForIdle();
    // Nothing re-creates the folder or the file: the line went to the unnamed file.
    EXPECT_FALSE(QFileInfo::exists(logDir()));
    EXPECT_FALSE(QFileInfo::exists(logPath() + u".1"_s));
}

TEST_F(FileLoggerTest, UnopenableLogIsSilentlyOff) {
    const QString blocked = dir.filePath(u"not-a-folder"_s);
    writeFile(blocked, "a file where the folder should be");
    FileLogger logger(blocked);
    logger.info(u"App"_s, u"nowhere to go"_s);
    logger.waitForIdle();
    EXPECT_EQ(readAll(blocked), QByteArray("a file where the folder should be"));
}

TEST_F(FileLoggerTest, LinesEnqueuedBeforeDestructionAreAllWritten) {
    {
        FileLogger logger(logDir());
        for (int i = 0; i < 500; ++i)
            logger.info(u"App"_s, u"line %1"_s.arg(i));
    }
    const QStringList written = lines(readAll(logPath()));
    ASSERT_EQ(written.size(), 500);
    EXPECT_TRUE(written.last().endsWith(u"[App] line 499"_s));
}

TEST_F(FileLoggerTest, EightThreadsOfTenThousandLinesStayWholeAndInOrder) {
    constexpr int threads = 8;
    constexpr int perThread = 10'000;
    {
        FileLogger logger(logDir());
        std::vector<std::thread> writers;
        for (int t = 0; t < threads; ++t) {
            writers.emplace_back([&logger, t] {
                for (int i = 0; i < perThread; ++i)
                    logger.debug(u"T"_s, u"t%1 n%2"_s.arg(t).arg(i));
            });
        }
        for (auto& writer : writers)
            writer.join();
        logger.waitForIdle();
    }
    // The whole run fits in the log and its four backups; read them oldest first.
    QByteArray all;
    for (int i = FileLogger::maxBackups; i >= 1; --i)
        all += readAll(logPath() + u'.' + QString::number(i));
    all += readAll(logPath());
    const QStringList written = lines(all);
    ASSERT_EQ(written.size(), threads * perThread);

    static const QRegularExpression shape(
        u"^\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2} DEBUG \\[T\\] t(\\d) n(\\d+)$"_s);
    std::vector<int> next(threads, 0);
    for (const QString& line : written) {
        const auto match = shape.match(line);
        ASSERT_TRUE(match.hasMatch()) << "torn line: " << qPrintable(line);
        const int t = match.captured(1).toInt();
        ASSERT_EQ(match.captured(2).toInt(), next[t]) << "thread " << t << " out of order";
        ++next[t];
    }
    for (int t = 0; t < threads; ++t)
        EXPECT_EQ(next[t], perThread);
}
