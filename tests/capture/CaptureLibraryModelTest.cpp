#include "capture/CaptureLibraryModel.h"

#include "capture/StatsCache.h"

#include "CaptureDataTestSupport.h"
#include "CaptureTestPrinters.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThreadPool>

using namespace Qt::StringLiterals;

namespace {

CaptureSummary summary(const QString& name, const QDateTime& timestamp, const QString& location,
                       const QString& network, std::optional<double> download = std::nullopt) {
    CaptureSummary capture;
    capture.id = QUuid::createUuid();
    capture.csvPath = u"/captures/"_s + name;
    capture.timestamp = timestamp;
    capture.dateTimeDisplay =
        CaptureLibrary::formatDateTime(timestamp, QDateTime(QDate(2025, 12, 1), QTime(0, 0)));
    capture.location = location;
    capture.network = network;
    capture.downloadMbps = download;
    return capture;
}

QDateTime day(int month, int date) {
    return QDateTime(QDate(2025, month, date), QTime(12, 0), Qt::UTC);
}

QStringList column(const QAbstractItemModel& model, CaptureColumn which) {
    QStringList texts;
    for (int row = 0; row < model.rowCount(); ++row)
        texts.append(model.index(row, int(which)).data().toString());
    return texts;
}

} // namespace

class CaptureLibraryModelTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    CaptureLibraryModel model{dir.path()};
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};

    void fill() {
        model.setAllCaptures({
            summary(u"b.csv"_s, day(3, 1), u"Hotel Lobby"_s, u"Guest WiFi"_s, 120.7),
            summary(u"a.csv"_s, day(5, 1), u"Airport"_s, u"Cellular"_s),
            summary(u"c.csv"_s, day(1, 1), u"hotel room 10"_s, u"Hotel WiFi"_s, 80.2),
            summary(u"d.csv"_s, day(4, 1), u"hotel room 9"_s, u"Plane"_s, 120.7),
        });
    }
};

TEST_F(CaptureLibraryModelTest, HasThePickersColumnsInOrder) {
    QStringList headers;
    for (int section = 0; section < model.columnCount(); ++section)
        headers.append(model.headerData(section, Qt::Horizontal).toString());
    EXPECT_EQ(headers, (QStringList{u"Date"_s, u"Duration"_s, u"Location"_s, u"Network"_s, u"DL"_s, u"UL"_s,
                                    u"Latency"_s, u"Loss"_s}));
}

TEST_F(CaptureLibraryModelTest, StartsLoadingAndSortedNewestFirst) {
    EXPECT_TRUE(model.isLoading());
    EXPECT_FALSE(model.canLoadSelected());
    EXPECT_EQ(model.sortOrder(), (QList<CaptureSortKey>{{CaptureColumn::date, Qt::DescendingOrder}}));
    fill();
    EXPECT_FALSE(model.isLoading());
    EXPECT_EQ(column(model, CaptureColumn::location),
              (QStringList{u"Airport"_s, u"hotel room 9"_s, u"Hotel Lobby"_s, u"hotel room 10"_s}));
}

TEST_F(CaptureLibraryModelTest, CellsShowFiguresOrDashesAndMetadataOrNothing) {
    CaptureSummary full = summary(u"x.csv"_s, day(6, 1), u"Hotel"_s, u"Guest"_s, 99.9);
    full.durationMin = 12.5;
    full.uploadMbps = 0.4;
    full.medianLatencyMs = 23.7;
    full.lossPct = 0.25;
    CaptureSummary bare = summary(u"y.csv"_s, day(5, 1), QString(), QString());
    model.setAllCaptures({full, bare});
    QStringList first, second;
    for (int c = 0; c < captureColumnCount; ++c) {
        first.append(model.index(0, c).data().toString());
        second.append(model.index(1, c).data().toString());
    }
    EXPECT_EQ(first, (QStringList{full.dateTimeDisplay, u"12m"_s, u"Hotel"_s, u"Guest"_s, u"99"_s, u"0"_s,
                                  u"23 ms"_s, u"0.2%"_s}));
    EXPECT_EQ(second, (QStringList{bare.dateTimeDisplay, u"---"_s, QString(), QString(), u"---"_s, u"---"_s,
                                   u"---"_s, u"---"_s}));
    EXPECT_EQ(model.index(0, int(CaptureColumn::download)).data(CaptureLibraryModel::SortRole).toDouble(),
              99.9);
    EXPECT_FALSE(model.index(1, int(CaptureColumn::download)).data(CaptureLibraryModel::SortRole).isValid());
    EXPECT_EQ(model.index(0, 0).data(CaptureLibraryModel::CsvPathRole).toString(), u"/captures/x.csv"_s);
    EXPECT_EQ(model.index(0, 0).data(CaptureLibraryModel::IdRole).value<QUuid>(), full.id);
}

TEST_F(CaptureLibraryModelTest, FilterMatchingOnlyTheNetworkColumnKeepsThoseRowsAndCountsThemAgainstAll) {
    fill();
    EXPECT_EQ(model.countText(), u"4 captures"_s);
    model.setFilterText(u"wifi"_s);
    EXPECT_EQ(column(model, CaptureColumn::network), (QStringList{u"Guest WiFi"_s, u"Hotel WiFi"_s}));
    EXPECT_EQ(model.countText(), u"2 of 4 captures"_s);
    model.setFilterText(u"nothing like this"_s);
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_EQ(model.countText(), u"0 of 4 captures"_s);
    EXPECT_EQ(model.allCaptures().size(), 4); // no empty state: the table just has no rows
    model.setFilterText(QString());
    EXPECT_EQ(model.rowCount(), 4);
}

TEST_F(CaptureLibraryModelTest, FilterLooksAtTheDateTextToo) {
    fill();
    const QString date = model.captures().last().dateTimeDisplay; // "hotel room 10", the oldest
    model.setFilterText(date.toUpper());
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_EQ(column(model, CaptureColumn::location), QStringList{u"hotel room 10"_s});
}

TEST_F(CaptureLibraryModelTest, EveryColumnSortsBothWaysWithAbsentFiguresFirstWhenAscending) {
    fill();
    model.sort(int(CaptureColumn::location), Qt::AscendingOrder);
    EXPECT_EQ(column(model, CaptureColumn::location),
              (QStringList{u"Airport"_s, u"Hotel Lobby"_s, u"hotel room 9"_s, u"hotel room 10"_s}));
    model.sort(int(CaptureColumn::download), Qt::AscendingOrder);
    EXPECT_EQ(column(model, CaptureColumn::download), (QStringList{u"---"_s, u"80"_s, u"120"_s, u"120"_s}));
    // Equal rates keep the order of the sort before: location, ascending.
    EXPECT_EQ(column(model, CaptureColumn::location).mid(2),
              (QStringList{u"Hotel Lobby"_s, u"hotel room 9"_s}));
    model.sort(int(CaptureColumn::download), Qt::DescendingOrder);
    EXPECT_EQ(column(model, CaptureColumn::download), (QStringList{u"120"_s, u"120"_s, u"80"_s, u"---"_s}));
    model.sort(int(CaptureColumn::date), Qt::AscendingOrder);
    EXPECT_EQ(column(model, CaptureColumn::location),
              (QStringList{u"hotel room 10"_s, u"Hotel Lobby"_s, u"hotel room 9"_s, u"Airport"_s}));
    for (int c = 0; c < captureColumnCount; ++c) {
        model.sort(c, Qt::AscendingOrder);
        model.sort(c, Qt::DescendingOrder);
        EXPECT_EQ(model.rowCount(), 4);
        EXPECT_EQ(model.sortOrder().first(), (CaptureSortKey{CaptureColumn(c), Qt::DescendingOrder}));
    }
}

TEST_F(CaptureLibraryModelTest, SelectionLeadsToThePathOnlyWhileTheRowIsShown) {
    fill();
    EXPECT_FALSE(model.selectedCsvPath());
    const QUuid airport = model.captures().first().id;
    model.setSelected(airport);
    EXPECT_TRUE(model.canLoadSelected());
    EXPECT_EQ(model.selectedRow(), 0);
    EXPECT_EQ(model.selectedCsvPath(), u"/captures/a.csv"_s);
    model.setFilterText(u"hotel"_s);
    EXPECT_EQ(model.selectedRow(), -1);
    EXPECT_FALSE(model.selectedCsvPath());
}

TEST_F(CaptureLibraryModelTest, AfterADeleteTheSelectionIsEmptyAndTheFilterStaysInForce) {
    copyTestFolder(testDataPath(u"library/basic"_s), dir.path());
    model.setAllCaptures(CaptureLibrary::loadCaptureSummaries(dir.path(), QDateTime::currentDateTimeUtc()));
    ASSERT_EQ(model.allCaptures().size(), 3);
    model.setFilterText(u"o"_s); // "Hotel Lobby" and "Airport Gate 12", not the capture without metadata
    ASSERT_EQ(model.rowCount(), 2);
    model.setSelected(model.captures().first().id);
    const QString deleted = model.captures().first().csvPath;
    QSignalSpy selection(&model, &CaptureLibraryModel::selectionChanged);

    model.deleteSelected();
    EXPECT_FALSE(model.selected().has_value());
    EXPECT_FALSE(model.canLoadSelected());
    EXPECT_EQ(selection.count(), 1);
    EXPECT_FALSE(QFileInfo::exists(deleted));
    EXPECT_EQ(model.filterText(), u"o"_s);
    EXPECT_EQ(model.rowCount(), 1);
    EXPECT_EQ(model.allCaptures().size(), 2);
    EXPECT_EQ(model.countText(), u"1 of 2 captures"_s);
}

TEST_F(CaptureLibraryModelTest, DeleteWithNothingSelectedOrTheRowFilteredOutDoesNothing) {
    copyTestFolder(testDataPath(u"library/basic"_s), dir.path());
    model.setAllCaptures(CaptureLibrary::loadCaptureSummaries(dir.path(), QDateTime::currentDateTimeUtc()));
    model.deleteSelected();
    EXPECT_EQ(model.allCaptures().size(), 3);
    model.setSelected(model.captures().first().id);
    model.setFilterText(u"no row has this"_s);
    model.deleteSelected();
    EXPECT_EQ(model.allCaptures().size(), 3);
    EXPECT_TRUE(model.selected().has_value());
    EXPECT_TRUE(QFileInfo::exists(model.allCaptures().first().csvPath));
}

TEST_F(CaptureLibraryModelTest, BackgroundScanFillsTheModelOnItsOwnThread) {
    copyTestFolder(testDataPath(u"library/basic"_s), dir.path());
    QSignalSpy loading(&model, &CaptureLibraryModel::loadingChanged);
    model.load();
    EXPECT_TRUE(model.isLoading());
    ASSERT_TRUE(loading.wait(60'000));
    EXPECT_FALSE(model.isLoading());
    EXPECT_EQ(loading.first().first().toBool(), false);
    EXPECT_EQ(model.rowCount(), 3);
    EXPECT_EQ(model.countText(), u"3 captures"_s);
}

TEST_F(CaptureLibraryModelTest, EmptyFolderLoadsToNoCaptures) {
    QSignalSpy loading(&model, &CaptureLibraryModel::loadingChanged);
    model.load();
    ASSERT_TRUE(loading.wait(60'000));
    EXPECT_TRUE(model.allCaptures().isEmpty());
    EXPECT_EQ(model.rowCount(), 0);
}

TEST(CaptureLibraryModelLifetime, ScanThatEndsAfterTheModelIsGoneIsDropped) {
    QTemporaryDir dir;
    copyTestFolder(testDataPath(u"library/basic"_s), dir.path());
    auto* model = new CaptureLibraryModel(dir.path());
    model->load();
    delete model;
    // The scan still runs to its end on the pool (it writes the cache); nothing may reach the
    // deleted model.
    CaptureLibraryModel::scanPool().waitForDone();
    QCoreApplication::processEvents();
    EXPECT_TRUE(QFileInfo::exists(StatsCache::path(dir.path())));
}

TEST_F(CaptureLibraryModelTest, FigureTitlesStandRightAboveTheirFigures) {
    const auto alignment = [&](CaptureColumn column) {
        return model.headerData(int(column), Qt::Horizontal, Qt::TextAlignmentRole).value<Qt::Alignment>() &
               Qt::AlignHorizontal_Mask;
    };
    for (CaptureColumn text : {CaptureColumn::date, CaptureColumn::location, CaptureColumn::network})
        EXPECT_EQ(alignment(text), Qt::AlignLeft);
    for (CaptureColumn figure : {CaptureColumn::duration, CaptureColumn::download, CaptureColumn::upload,
                                 CaptureColumn::latency, CaptureColumn::loss})
        EXPECT_EQ(alignment(figure), Qt::AlignRight);
    EXPECT_FALSE(model.headerData(0, Qt::Vertical, Qt::DisplayRole).isValid());
}

TEST_F(CaptureLibraryModelTest, LocationAndNetworkCarryTheirWholeTextAsATooltip) {
    model.setAllCaptures({summary(u"x.csv"_s, day(6, 1), u"Conference Room B, 4th floor"_s, u"Guest"_s),
                          summary(u"y.csv"_s, day(5, 1), QString(), QString())});
    EXPECT_EQ(model.index(0, int(CaptureColumn::location)).data(Qt::ToolTipRole).toString(),
              u"Conference Room B, 4th floor"_s);
    EXPECT_EQ(model.index(0, int(CaptureColumn::network)).data(Qt::ToolTipRole).toString(), u"Guest"_s);
    EXPECT_FALSE(model.index(1, int(CaptureColumn::location)).data(Qt::ToolTipRole).isValid());
    EXPECT_FALSE(model.index(0, int(CaptureColumn::date)).data(Qt::ToolTipRole).isValid());
}
