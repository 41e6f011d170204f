#include "capture/CaptureLibrary.h"

#include "capture/CSVLoader.h"
#include "capture/StatsCache.h"

#include "CaptureDataTestSupport.h"
#include "CaptureTestPrinters.h"
#include "services/FileLogger.h"
#include "support/PinnedFile.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QTemporaryDir>

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

const QString newest = u"wifi_capture_20250601T120000Z.csv"_s;
const QString older = u"wifi_capture_20240105T080000Z.csv"_s;

QDateTime now() {
    return QDateTime(QDate(2025, 6, 2), QTime(9, 0), Qt::UTC);
}

QStringList fileNames(const QList<CaptureSummary>& list) {
    QStringList names;
    for (const CaptureSummary& capture : list)
        names.append(QFileInfo(capture.csvPath).fileName());
    return names;
}

QJsonArray capturesJson(const QString& folder) {
    return QJsonDocument::fromJson(readFile(folder + u"/captures.json"_s)).array();
}

} // namespace

class CaptureLibraryTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString folder() const { return dir.path(); }
    void useData(const QString& name) { copyTestFolder(testDataPath(u"library/"_s + name), folder()); }
    QList<CaptureSummary> list() { return CaptureLibrary::loadCaptureSummaries(folder(), now()); }
};

TEST_F(CaptureLibraryTest, ListsCapturesNewestFirstWithMetadataAndFigures) {
    useData(u"basic"_s);
    const QList<CaptureSummary> captures = list();
    EXPECT_EQ(fileNames(captures), (QStringList{newest, older, u"untitled.csv"_s}));

    const CaptureSummary& first = captures.at(0);
    EXPECT_EQ(first.csvPath, folder() + u'/' + newest);
    EXPECT_EQ(first.timestamp, QDateTime(QDate(2025, 6, 1), QTime(12, 0), Qt::UTC));
    EXPECT_EQ(first.dateTimeDisplay, CaptureLibrary::formatDateTime(first.timestamp, now()));
    EXPECT_EQ(first.location, u"Hotel Lobby"_s);
    EXPECT_EQ(first.network, u"Guest WiFi"_s);
    EXPECT_EQ(first.durationMin, 12.0); // the metadata's, not the scanned 12.5
    EXPECT_EQ(first.medianLatencyMs, 25.0);
    EXPECT_EQ(first.lossPct, 25.0);
    EXPECT_EQ(first.downloadMbps, 187.9);
    EXPECT_EQ(first.uploadMbps, 42.6);

    const CaptureSummary& second = captures.at(1);
    EXPECT_EQ(second.location, u"Airport Gate 12"_s);
    EXPECT_DOUBLE_EQ(*second.durationMin, 599.4 / 60.0); // no metadata duration: the scanned one
    EXPECT_FALSE(second.downloadMbps.has_value());

    EXPECT_NE(captures.at(0).id, captures.at(1).id);
    EXPECT_NE(list().at(0).id, first.id); // identity doesn't survive a reload
}

TEST_F(CaptureLibraryTest, CsvNamedWithoutTimestampIsFromTheDistantPastAndShowsItsYear) {
    useData(u"basic"_s);
    const CaptureSummary untitled = list().last();
    EXPECT_EQ(QFileInfo(untitled.csvPath).fileName(), u"untitled.csv"_s);
    EXPECT_EQ(untitled.timestamp, CaptureLibrary::distantPast());
    EXPECT_EQ(untitled.location, QString());
    EXPECT_EQ(untitled.network, QString());
    const QDateTime local = untitled.timestamp.toLocalTime();
    EXPECT_EQ(untitled.dateTimeDisplay, QLocale().toString(local, u"MMM d yyyy, h:mm AP"_s));
    EXPECT_TRUE(untitled.dateTimeDisplay.contains(QLocale().toString(local, u"yyyy"_s)));
}

TEST_F(CaptureLibraryTest, RawThroughputFilesAndOtherExtensionsAreNeverListed) {
    useData(u"basic"_s);
    const QStringList names = fileNames(list());
    EXPECT_FALSE(names.contains(u"capture_throughput_raw.csv"_s));
    EXPECT_FALSE(names.contains(u"wifi_capture_20250601T120000Z_throughput_raw.csv"_s));
    EXPECT_FALSE(names.contains(u"wifi_capture_20250701T120000Z.csv.bak"_s));
    EXPECT_FALSE(names.contains(u"notes.txt"_s));
    EXPECT_EQ(names.size(), 3);
}

TEST_F(CaptureLibraryTest, EmptyCapturesJsonArrayGivesEmptyLocationsAndNoError) {
    useData(u"empty_metadata"_s);
    const QList<CaptureSummary> captures = list();
    ASSERT_EQ(captures.size(), 1);
    EXPECT_EQ(captures.first().location, QString());
    EXPECT_EQ(captures.first().network, QString());
    EXPECT_EQ(captures.first().medianLatencyMs, 80.4);
}

TEST_F(CaptureLibraryTest, FolderThatCantBeListedGivesAnEmptyList) {
    EXPECT_TRUE(CaptureLibrary::loadCaptureSummaries(folder() + u"/missing"_s, now()).isEmpty());
    EXPECT_TRUE(CaptureLibrary::loadCaptureSummaries(QString(), now()).isEmpty());
    EXPECT_FALSE(QFileInfo::exists(folder() + u"/missing"_s));
}

TEST_F(CaptureLibraryTest, LaterOfTwoMetadataElementsWinsHere) {
    useData(u"empty_metadata"_s);
    ASSERT_TRUE(writeFile(folder() + u"/captures.json"_s, R"([
        {"file": "wifi_capture_20240105T080000Z.csv", "location": "First", "network_type": "A"},
        {"file": "wifi_capture_20240105T080000Z.csv", "location": "Second", "network_type": "B", "duration_min": 3}
    ])"));
    const CaptureSummary capture = list().first();
    EXPECT_EQ(capture.location, u"Second"_s);
    EXPECT_EQ(capture.network, u"B"_s);
    EXPECT_EQ(capture.durationMin, 3.0);
}

TEST_F(CaptureLibraryTest, FirstListingFillsTheCacheWithSizesAndFigures) {
    useData(u"basic"_s);
    list();
    const StatsCache::Entries cache = StatsCache::load(folder());
    EXPECT_EQ(cache.keys(), (QStringList{u"untitled.csv"_s, older, newest}));
    const CachedStats stats = cache.value(newest);
    EXPECT_EQ(stats.fileSize, QFileInfo(folder() + u'/' + newest).size());
    EXPECT_EQ(stats.medianLatencyMs, 25.0);
    EXPECT_EQ(stats.durationMin, 12.5);
    EXPECT_FALSE(cache.value(u"untitled.csv"_s).medianLatencyMs.has_value());
    // Absent figures are left out of the file.
    const QJsonObject untitled = QJsonDocument::fromJson(readFile(StatsCache::path(folder())))
                                     .object()
                                     .value("untitled.csv"_L1)
                                     .toObject();
    EXPECT_EQ(untitled.keys(), QStringList{u"fileSize"_s});
}

TEST_F(CaptureLibraryTest, CachedFiguresAreUsedWhileTheSizeIsUnchanged) {
    useData(u"empty_metadata"_s);
    const qint64 size = QFileInfo(folder() + u'/' + older).size();
    StatsCache::save(folder(), {{older, {size, 1.5, 2.5, 3.5, 4.5, 5.5}}});
    const CaptureSummary capture = list().first();
    EXPECT_EQ(capture.medianLatencyMs, 1.5);
    EXPECT_EQ(capture.lossPct, 2.5);
    EXPECT_EQ(capture.downloadMbps, 3.5);
    EXPECT_EQ(capture.uploadMbps, 4.5);
    EXPECT_EQ(capture.durationMin, 5.5);
}

TEST_F(CaptureLibraryTest, GrownCaptureIsScannedAgainButOneReplacedBySameSizeKeepsStaleFigures) {
    useData(u"empty_metadata"_s);
    const QString path = folder() + u'/' + older;
    EXPECT_EQ(list().first().medianLatencyMs, 80.4);

    // Grown: a new row, a new scan.
    const QByteArray original = readFile(path);
    ASSERT_TRUE(writeFile(path, original + "2024-01-05T08:00:02.000Z,ping,8.8.8.8,90.4,0,4,,,,,\n"
                                           "2024-01-05T08:00:03.000Z,ping,8.8.8.8,99.4,0,5,,,,,\n"));
    EXPECT_EQ(list().first().medianLatencyMs, 90.4);
    EXPECT_EQ(StatsCache::load(folder()).value(older).fileSize, QFileInfo(path).size());

    // Replaced by a file of exactly the same size with other figures: the cache still answers.
    QByteArray replaced = readFile(path);
    replaced.replace("90.4", "10.4");
    replaced.replace("99.4", "19.4");
    replaced.replace("80.4", "00.4");
    ASSERT_TRUE(writeFile(path, replaced));
    EXPECT_EQ(CSVLoader::quickStats(path).medianLatencyMs, 10.4);
    EXPECT_EQ(list().first().medianLatencyMs, 90.4);
}

TEST_F(CaptureLibraryTest, EntriesOfFilesThatAreGoneLeaveTheCache) {
    useData(u"empty_metadata"_s);
    const qint64 size = QFileInfo(folder() + u'/' + older).size();
    StatsCache::save(folder(),
                     {{older, {size, 1.0, {}, {}, {}, {}}}, {u"gone.csv"_s, {10, 2.0, {}, {}, {}, {}}}});
    list();
    EXPECT_EQ(StatsCache::load(folder()).keys(), QStringList{older});
    EXPECT_EQ(StatsCache::load(folder()).value(older).medianLatencyMs, 1.0);
}

TEST_F(CaptureLibraryTest, UnchangedCacheIsNotWrittenAgain) {
    useData(u"empty_metadata"_s);
    list();
    // A cache file that would decode differently if it were rewritten: same content, other spacing.
    const QByteArray spaced =
        QJsonDocument::fromJson(readFile(StatsCache::path(folder()))).toJson(QJsonDocument::Indented);
    ASSERT_TRUE(writeFile(StatsCache::path(folder()), spaced));
    list();
    EXPECT_EQ(readFile(StatsCache::path(folder())), spaced);
}

TEST_F(CaptureLibraryTest, UndecodableCacheIsTreatedAsEmptyAndRewritten) {
    useData(u"empty_metadata"_s);
    const qint64 size = QFileInfo(folder() + u'/' + older).size();
    const QByteArray name = older.toUtf8();
    const QList<QByteArray> badCaches = {
        "not json",
        "[]",
        QByteArray("{\"" + name + "\": {\"fileSize\": " + QByteArray::number(size) +
                   ", \"medianLatencyMs\": \"fast\"}}"),
        QByteArray("{\"" + name + "\": {\"medianLatencyMs\": 1}}"),
        QByteArray("{\"" + name + "\": {\"fileSize\": 12.5}}"),
    };
    for (const QByteArray& bad : badCaches) {
        ASSERT_TRUE(writeFile(StatsCache::path(folder()), bad));
        EXPECT_TRUE(StatsCache::load(folder()).isEmpty()) << bad.constData();
        EXPECT_EQ(list().first().medianLatencyMs, 80.4) << bad.constData();
        EXPECT_EQ(StatsCache::load(folder()).value(older).fileSize, size) << bad.constData();
    }
}

TEST_F(CaptureLibraryTest, DeletingRemovesTheCsvItsSideFileItsMetadataAndItsCacheEntry) {
    useData(u"basic"_s);
    list();
    CaptureLibrary::deleteCapture(folder() + u'/' + newest, folder());
    EXPECT_FALSE(QFileInfo::exists(folder() + u'/' + newest));
    EXPECT_FALSE(QFileInfo::exists(folder() + u"/wifi_capture_20250601T120000Z_throughput_raw.csv"_s));
    EXPECT_TRUE(QFileInfo::exists(folder() + u'/' + older));
    EXPECT_FALSE(StatsCache::load(folder()).contains(newest));
    EXPECT_TRUE(StatsCache::load(folder()).contains(older));

    const QJsonArray entries = capturesJson(folder());
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries.at(0).toObject().value("file"_L1).toString(), older);
    EXPECT_EQ(entries.at(1).toObject().value("file"_L1).toString(), u"gone.csv"_s);
    EXPECT_EQ(fileNames(list()), (QStringList{older, u"untitled.csv"_s}));
}

TEST_F(CaptureLibraryTest, ExtraKeysOfOtherCapturesSurviveADelete) {
    useData(u"basic"_s);
    CaptureLibrary::deleteCapture(folder() + u'/' + older, folder());
    const QJsonArray entries = capturesJson(folder());
    ASSERT_EQ(entries.size(), 2);
    const QJsonObject kept = entries.at(0).toObject();
    EXPECT_EQ(kept.value("file"_L1).toString(), newest);
    EXPECT_EQ(kept.value("samples"_L1).toInt(), 8);
    EXPECT_EQ(kept.value("end_reason"_L1).toString(), u"duration"_s);
    EXPECT_EQ(kept.value("duration_min"_L1).toDouble(), 12.0);
    EXPECT_EQ(kept.value("date"_L1).toString(), u"2025-06-01T12:00:00.000+00:00"_s);
}

TEST_F(CaptureLibraryTest, DeletingTheLastCaptureLeavesAnEmptyArrayAndAnEmptyCache) {
    useData(u"single"_s);
    ASSERT_EQ(list().size(), 1);
    CaptureLibrary::deleteCapture(folder() + u'/' + newest, folder());
    EXPECT_TRUE(QFileInfo::exists(folder() + u"/captures.json"_s));
    const QJsonDocument captures = QJsonDocument::fromJson(readFile(folder() + u"/captures.json"_s));
    EXPECT_TRUE(captures.isArray());
    EXPECT_TRUE(captures.array().isEmpty());
    const QJsonDocument cache = QJsonDocument::fromJson(readFile(StatsCache::path(folder())));
    EXPECT_TRUE(cache.isObject());
    EXPECT_TRUE(cache.object().isEmpty());
    EXPECT_TRUE(list().isEmpty());
}

// Both files of the folder are rewritten where they stand, not replaced: the tool writes captures.json
// too, and the file keeps whatever owner, links and permissions it has.
TEST_F(CaptureLibraryTest, DeleteRewritesCapturesJsonAndTheCacheInPlace) {
    useData(u"basic"_s);
    list();
    const PinnedFile captures(folder() + u"/captures.json"_s);
    const PinnedFile cache(StatsCache::path(folder()));
    ASSERT_TRUE(captures.pinned());
    ASSERT_TRUE(cache.pinned());

    CaptureLibrary::deleteCapture(folder() + u'/' + newest, folder());

    EXPECT_EQ(captures.bytes(), readFile(folder() + u"/captures.json"_s));
    EXPECT_EQ(cache.bytes(), readFile(StatsCache::path(folder())));
    EXPECT_FALSE(StatsCache::load(folder()).contains(newest));
}

TEST_F(CaptureLibraryTest, DeleteLeavesACapturesJsonThatIsNoArrayOfObjectsAlone) {
    useData(u"single"_s);
    for (const QByteArray& other :
         {QByteArray("{\"file\": \"wifi_capture_20250601T120000Z.csv\"}"),
          QByteArray("[{\"file\": \"wifi_capture_20250601T120000Z.csv\"}, 3]"), QByteArray("[{\"file\": ")}) {
        ASSERT_TRUE(writeFile(folder() + u"/captures.json"_s, other));
        CaptureLibrary::deleteCapture(folder() + u'/' + newest, folder());
        EXPECT_EQ(readFile(folder() + u"/captures.json"_s), other);
    }
}

TEST_F(CaptureLibraryTest, DeleteWithoutAnyFileLeftStillClearsTheCacheEntry) {
    useData(u"single"_s);
    list();
    QFile::remove(folder() + u'/' + newest);
    QFile::remove(folder() + u"/captures.json"_s);
    CaptureLibrary::deleteCapture(folder() + u'/' + newest, folder());
    EXPECT_TRUE(StatsCache::load(folder()).isEmpty());
    EXPECT_FALSE(QFileInfo::exists(folder() + u"/captures.json"_s));
}

// The machine's locale for one scope.
class ScopedDefaultLocale {
public:
    explicit ScopedDefaultLocale(const QLocale& locale) { QLocale::setDefault(locale); }
    ~ScopedDefaultLocale() { QLocale::setDefault(m_previous); }
    ScopedDefaultLocale(const ScopedDefaultLocale&) = delete;
    ScopedDefaultLocale& operator=(const ScopedDefaultLocale&) = delete;

private:
    QLocale m_previous;
};

// The locations, as rows of their own, that a filter keeps, in the order of their names.
QStringList locationsMatching(const QStringList& locations, const QString& filterText) {
    QList<CaptureSummary> all;
    for (const QString& location : locations) {
        CaptureSummary summary;
        summary.csvPath = u"/captures/"_s + location + u".csv"_s;
        summary.location = location;
        all.append(summary);
    }
    QStringList kept;
    for (const CaptureSummary& summary :
         CaptureLibrary::applyFilter(all, filterText, {{CaptureColumn::location, Qt::AscendingOrder}}))
        kept.append(summary.location);
    return kept;
}

TEST(CaptureLibraryFilter, TurkishLocaleMatchesDottedAndDotlessIByItsOwnCaseRules) {
    const ScopedDefaultLocale turkish(QLocale(QLocale::Turkish, QLocale::Turkey));
    const QStringList locations{u"İSTANBUL Havalimanı"_s, u"DIYARBAKIR Otel"_s};
    // A capital İ is the lower-case i, and a capital I the dotless ı.
    EXPECT_EQ(locationsMatching(locations, u"istanbul"_s), QStringList{u"İSTANBUL Havalimanı"_s});
    EXPECT_EQ(locationsMatching(locations, u"dıyarbakır"_s), QStringList{u"DIYARBAKIR Otel"_s});
    EXPECT_TRUE(locationsMatching(locations, u"diyarbakir"_s).isEmpty());
    EXPECT_EQ(locationsMatching(locations, u"HAVALİMANI"_s), QStringList{u"İSTANBUL Havalimanı"_s});
}

TEST(CaptureLibraryFilter, EnglishLocaleFoldsTheCapitalIToTheDottedOne) {
    const ScopedDefaultLocale english(QLocale(QLocale::English, QLocale::UnitedStates));
    const QStringList locations{u"DIYARBAKIR Otel"_s};
    EXPECT_EQ(locationsMatching(locations, u"diyarbakir"_s), locations);
    EXPECT_TRUE(locationsMatching(locations, u"dıyarbakır"_s).isEmpty());
}

TEST(CaptureLibraryFilter, GermanCapitalSharpSMatchesTheSmallOne) {
    const ScopedDefaultLocale german(QLocale(QLocale::German, QLocale::Germany));
    const QStringList locations{u"GROẞE STRAẞE 5"_s, u"Hotel Weiße Rose"_s};
    EXPECT_EQ(locationsMatching(locations, u"straße"_s), QStringList{u"GROẞE STRAẞE 5"_s});
    EXPECT_EQ(locationsMatching(locations, u"WEIẞE"_s), QStringList{u"Hotel Weiße Rose"_s});
    EXPECT_EQ(locationsMatching(locations, u"ße"_s), locations);
}

TEST(CaptureLibraryTimestamp, ReadsTheFirstStampAnywhereInTheName) {
    const QDateTime expected(QDate(2025, 6, 1), QTime(12, 0, 1), Qt::UTC);
    EXPECT_EQ(CaptureLibrary::parseTimestamp(u"wifi_capture_20250601T120001Z.csv"_s), expected);
    EXPECT_EQ(CaptureLibrary::parseTimestamp(u"20250601T120001Z.csv"_s), expected);
    EXPECT_EQ(CaptureLibrary::parseTimestamp(u"paris_20250601T120001Z_hotel.csv"_s), expected);
    EXPECT_EQ(CaptureLibrary::parseTimestamp(u"a20250601T120001Z20240101T000000Z.csv"_s), expected);
}

TEST(CaptureLibraryTimestamp, NameWithoutARealStampHasNoDate) {
    EXPECT_FALSE(CaptureLibrary::parseTimestamp(u"untitled.csv"_s));
    EXPECT_FALSE(CaptureLibrary::parseTimestamp(u"wifi_capture_20250601T1200Z.csv"_s));
    EXPECT_FALSE(CaptureLibrary::parseTimestamp(u"wifi_capture_20250230T120000Z.csv"_s)); // 30 February
    EXPECT_FALSE(CaptureLibrary::parseTimestamp(u"wifi_capture_20250601T250000Z.csv"_s));
    // The extension is cut first, so a stamp in it doesn't count.
    EXPECT_FALSE(CaptureLibrary::parseTimestamp(u"capture.20250601T120000Z"_s));
    // The first match decides, even when it isn't a real date.
    EXPECT_FALSE(CaptureLibrary::parseTimestamp(u"x20251301T000000Z_20250601T120000Z.csv"_s));
}

TEST(CaptureLibraryDisplay, DateOfTheCurrentYearLeavesTheYearOut) {
    const QDateTime now = QDateTime::currentDateTime();
    const QDateTime thisYear(QDate(now.date().year(), 7, 14), QTime(15, 5));
    const QDateTime lastYear(QDate(now.date().year() - 1, 7, 14), QTime(15, 5));
    EXPECT_EQ(CaptureLibrary::formatDateTime(thisYear, now),
              QLocale().toString(thisYear, u"MMM d, h:mm AP"_s));
    EXPECT_EQ(CaptureLibrary::formatDateTime(lastYear, now),
              QLocale().toString(lastYear, u"MMM d yyyy, h:mm AP"_s));
    EXPECT_TRUE(
        CaptureLibrary::formatDateTime(lastYear, now).contains(QString::number(now.date().year() - 1)));
    EXPECT_FALSE(CaptureLibrary::formatDateTime(thisYear, now).contains(QString::number(now.date().year())));
}

TEST(CaptureLibraryWarnings, CacheThatCantBeWrittenIsLoggedAndTheListStillReturned) {
    EXPECT_IN_FRESH_PROCESS({
        TempHome home;
        copyTestFolder(testDataPath(u"library/single"_s), home.path());
        QDir().mkdir(StatsCache::path(home.path())); // a folder where the file should be
        const QList<CaptureSummary> captures = CaptureLibrary::loadCaptureSummaries(home.path(), now());
        EXPECT_EQ(captures.size(), 1);
        EXPECT_EQ(captures.value(0).medianLatencyMs, 25.0);
        FileLogger::shared().waitForIdle();
        const QString log = QString::fromUtf8(readFile(FileLogger::shared().logPath()));
        EXPECT_TRUE(log.contains(u"WARN  [Capture] stats cache write failed: "_s)) << qPrintable(log);
    });
}

TEST(CaptureLibraryWarnings, CapturesJsonThatCantBeWrittenAfterADeleteIsLoggedAndTheDeleteGoesOn) {
    EXPECT_IN_FRESH_PROCESS({
        TempHome home;
        const QString folder = home.path() + u"/captures"_s;
        QDir().mkpath(folder);
        copyTestFolder(testDataPath(u"library/single"_s), folder);
        CaptureLibrary::loadCaptureSummaries(folder, now());
        // Many other captures make the rewritten file larger than this process may write.
        QJsonArray entries = capturesJson(folder);
        for (int i = 0; i < 2000; ++i)
            entries.append(QJsonObject{{"file"_L1, u"other_%1.csv"_s.arg(i)},
                                       {"location"_L1, u"Somewhere"_s},
                                       {"network_type"_L1, u"Guest"_s}});
        EXPECT_TRUE(writeFile(folder + u"/captures.json"_s, QJsonDocument(entries).toJson()));
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{64 * 1024, 64 * 1024};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        CaptureLibrary::deleteCapture(folder + u'/' + newest, folder);
        FileLogger::shared().waitForIdle();
        EXPECT_FALSE(QFileInfo::exists(folder + u'/' + newest));
        EXPECT_TRUE(StatsCache::load(folder).isEmpty()); // step 5 still ran
        const QString log = QString::fromUtf8(readFile(FileLogger::shared().logPath()));
        EXPECT_TRUE(log.contains(u"WARN  [Capture] captures.json write failed after delete: "_s))
            << qPrintable(log);
    });
}
