#include "views/CapturePickerWindow.h"

#include "base/Settings.h"
#include "capture/CaptureDataTestSupport.h"
#include "capture/CaptureLibraryModel.h"
#include "core/AppState.h"
#include "screens/CapturePickerScreen.h"
#include "services/FileLogger.h"
#include "support/AlertInput.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

using namespace Qt::StringLiterals;
using Screen = AppState::Screen;

namespace {

const QByteArray headerOnly = "timestamp,type,target,value,lost,seq,hop_count,mbps,bytes,streams,details\n";

QStringList rowTexts(const QAbstractItemModel& model, int row) {
    QStringList texts;
    for (int column = 0; column < model.columnCount(); ++column)
        texts.append(model.index(row, column).data().toString());
    return texts;
}

QStringList columnTexts(const QAbstractItemModel& model, CaptureColumn column) {
    QStringList texts;
    for (int row = 0; row < model.rowCount(); ++row)
        texts.append(model.index(row, int(column)).data().toString());
    return texts;
}

int rowOf(const QAbstractItemModel& model, CaptureColumn column, const QString& text) {
    for (int row = 0; row < model.rowCount(); ++row) {
        if (model.index(row, int(column)).data().toString() == text)
            return row;
    }
    return -1;
}

} // namespace

class CapturePickerWindowTest : public ::testing::Test {
protected:
    TempHome home;
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    const Screen firstScreen = state.screen();
    QTemporaryDir folder;

    void SetUp() override { state.setUploadsSuppressed(true); }
    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }

    // Shows the window and waits for the end of its scan.
    static void showAndWait(CapturePickerWindow& window) {
        QSignalSpy changed(&window.screen(), &CapturePickerScreen::stateChanged);
        window.show();
        while (window.screen().library().isLoading())
            ASSERT_TRUE(changed.wait(60'000));
        QApplication::processEvents();
    }
    QPoint rowCentre(CapturePickerWindow& window, int row) const {
        return window.table()->visualRect(window.table()->model()->index(row, 1)).center();
    }
    // A right click on the row, as the desktop reports it, then "Delete" in its menu with the mouse.
    QMessageBox* askToDelete(CapturePickerWindow& window, int row) const {
        const QPoint at = rowCentre(window, row);
        QContextMenuEvent click(QContextMenuEvent::Mouse, at, window.table()->viewport()->mapToGlobal(at));
        QApplication::sendEvent(window.table()->viewport(), &click);
        QMenu* menu = window.rowMenu();
        if (!menu)
            return nullptr;
        const QList<QAction*> entries = menu->actions();
        for (QAction* entry : entries) {
            if (entry->text() == u"Delete"_s)
                QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(entry).center());
        }
        QApplication::processEvents();
        return window.deleteAlert();
    }
};

TEST_F(CapturePickerWindowTest, IsAWindowOfItsOwnCalledTestHistory) {
    QWidget owner;
    CapturePickerWindow window(state, folder.path(), &owner);
    EXPECT_TRUE(window.isWindow());
    EXPECT_EQ(window.windowTitle(), u"Test History"_s);
    EXPECT_EQ(window.size(), QSize(800, 450));
}

TEST_F(CapturePickerWindowTest, WhileScanningItSaysScanningCapturesBesideAProgressIndicator) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    window.show();
    EXPECT_TRUE(window.screen().library().isLoading());
    EXPECT_EQ(window.currentPage(), window.loadingPage());
    EXPECT_EQ(window.loadingLabel()->text(), u"Scanning captures..."_s);
    EXPECT_TRUE(window.loadingLabel()->isVisible());
    const auto indicators = window.loadingPage()->findChildren<QWidget*>();
    EXPECT_TRUE(std::any_of(indicators.begin(), indicators.end(), [](QWidget* each) {
        return each->accessibleName() == u"Scanning captures..."_s && each->isVisible();
    }));
    // Return and the footer do nothing while there is no table.
    QTest::keyClick(&window, Qt::Key_Return);
    EXPECT_TRUE(window.isVisible());
    CaptureLibraryModel::scanPool().waitForDone();
    QApplication::processEvents();
}

TEST_F(CapturePickerWindowTest, AFolderWithoutCapturesShowsTheEmptyStateWithNoError) {
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    EXPECT_EQ(window.currentPage(), window.emptyPage());
    EXPECT_EQ(window.emptyTitleLabel()->text(), u"No captures found"_s);
    EXPECT_EQ(window.emptyMessageLabel()->text(),
              u"Run a test first, or check the capture directory in Settings"_s);
    EXPECT_FALSE(window.emptyIcon()->pixmap().isNull());
    EXPECT_LT(window.emptyIcon()->geometry().bottom(), window.emptyTitleLabel()->geometry().top());
    EXPECT_LT(window.emptyTitleLabel()->geometry().bottom(), window.emptyMessageLabel()->geometry().top());
    EXPECT_FALSE(state.errorMessage());
    EXPECT_EQ(state.screen(), firstScreen);
}

TEST_F(CapturePickerWindowTest, ReadsTheCaptureFolderOfTheSettings) {
    copyTestFolder(testDataPath(u"library/single"_s), folder.path());
    Settings().setString(QString::fromLatin1(Settings::captureDirectory), folder.path());
    CapturePickerWindow window(state);
    showAndWait(window);
    EXPECT_EQ(window.screen().library().folder(), folder.path());
    EXPECT_EQ(window.currentPage(), window.tablePage());
    EXPECT_EQ(window.countLabel()->text(), u"1 captures"_s);
}

TEST_F(CapturePickerWindowTest, TheTableShowsTheCapturesWithFilterAndFooter) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    QAbstractItemModelTester tester(window.table()->model(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);
    showAndWait(window);
    ASSERT_EQ(window.currentPage(), window.tablePage());
    EXPECT_EQ(window.filterField()->placeholderText(), u"Filter by date, location, or network"_s);
    EXPECT_TRUE(window.filterField()->isClearButtonEnabled());
    EXPECT_TRUE(window.filterField()->text().isEmpty());
    QStringList headers;
    for (int section = 0; section < window.table()->model()->columnCount(); ++section)
        headers.append(window.table()->model()->headerData(section, Qt::Horizontal).toString());
    EXPECT_EQ(headers, (QStringList{u"Date"_s, u"Duration"_s, u"Location"_s, u"Network"_s, u"DL"_s, u"UL"_s,
                                    u"Latency"_s, u"Loss"_s}));
    EXPECT_EQ(window.table()->model()->rowCount(), 3);
    EXPECT_EQ(window.table()->selectionMode(), QAbstractItemView::SingleSelection);
    EXPECT_EQ(window.table()->selectionBehavior(), QAbstractItemView::SelectRows);
    EXPECT_EQ(window.countLabel()->text(), u"3 captures"_s);
    EXPECT_EQ(window.cancelButton()->text(), u"Cancel"_s);
    EXPECT_EQ(window.loadButton()->text(), u"Load Results"_s);
    EXPECT_TRUE(window.loadButton()->isDefault());
    EXPECT_FALSE(window.loadButton()->isEnabled());
    // Newest first, and the header says so.
    EXPECT_EQ(columnTexts(*window.table()->model(), CaptureColumn::location).first(), u"Hotel Lobby"_s);
    EXPECT_EQ(window.table()->horizontalHeader()->sortIndicatorSection(), int(CaptureColumn::date));
    EXPECT_EQ(window.table()->horizontalHeader()->sortIndicatorOrder(), Qt::DescendingOrder);
}

TEST_F(CapturePickerWindowTest, ColumnsAreWideEnoughForTheirTextsAndFiguresStandRight) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    const QHeaderView* header = window.table()->horizontalHeader();
    const QAbstractItemModel& model = *window.table()->model();
    for (int section = 0; section < model.columnCount(); ++section) {
        if (section != int(CaptureColumn::date)) {
            EXPECT_GT(header->sectionSize(int(CaptureColumn::date)), header->sectionSize(section)) << section;
        }
        const int titleWidth =
            header->fontMetrics().horizontalAdvance(model.headerData(section, Qt::Horizontal).toString());
        EXPECT_GT(header->sectionSize(section), titleWidth) << section;
        for (int row = 0; row < model.rowCount(); ++row) {
            const QString text = model.index(row, section).data().toString();
            EXPECT_GT(header->sectionSize(section), window.table()->fontMetrics().horizontalAdvance(text))
                << text.toStdString();
        }
    }
    EXPECT_LE(header->length(), window.table()->viewport()->width());
    const auto alignment = [&](CaptureColumn column) {
        return model.index(0, int(column)).data(Qt::TextAlignmentRole).value<Qt::Alignment>() &
               Qt::AlignHorizontal_Mask;
    };
    for (CaptureColumn figure : {CaptureColumn::duration, CaptureColumn::download, CaptureColumn::upload,
                                 CaptureColumn::latency, CaptureColumn::loss})
        EXPECT_EQ(alignment(figure), Qt::AlignRight);
    EXPECT_EQ(alignment(CaptureColumn::location), Qt::AlignLeft);
}

TEST_F(CapturePickerWindowTest,
       AFilterTextThatMatchesOnlyTheNetworkColumnKeepsThoseRowsAndTheFooterCountsThemAgainstAll) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    QTest::keyClicks(window.filterField(), u"wIFi"_s);
    const QAbstractItemModel& model = *window.table()->model();
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_EQ(model.index(0, int(CaptureColumn::network)).data().toString(), u"Guest WiFi"_s);
    EXPECT_EQ(window.countLabel()->text(), u"1 of 3 captures"_s);

    window.filterField()->setText(u"nothing has this"_s);
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_EQ(window.currentPage(), window.tablePage());
    EXPECT_EQ(window.countLabel()->text(), u"0 of 3 captures"_s);

    window.filterField()->clear(); // what the clear button does
    EXPECT_EQ(model.rowCount(), 3);
    EXPECT_EQ(window.countLabel()->text(), u"3 captures"_s);
}

TEST_F(CapturePickerWindowTest, ACaptureWithoutMetadataShowsEmptyTextsWhileOneWithoutFiguresShowsDashes) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    ASSERT_TRUE(writeFile(folder.filePath(u"wifi_capture_20250301T090000Z.csv"_s), headerOnly));
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    const QAbstractItemModel& model = *window.table()->model();
    ASSERT_EQ(model.rowCount(), 4);
    const int bare = rowOf(model, CaptureColumn::location, QString());
    ASSERT_GE(bare, 0);
    const QStringList texts = rowTexts(model, bare);
    EXPECT_FALSE(texts.at(int(CaptureColumn::date)).isEmpty());
    EXPECT_EQ(texts.mid(1),
              (QStringList{u"---"_s, QString(), QString(), u"---"_s, u"---"_s, u"---"_s, u"---"_s}));
    const QStringList hotel = rowTexts(model, rowOf(model, CaptureColumn::location, u"Hotel Lobby"_s));
    EXPECT_EQ(hotel.mid(1), (QStringList{u"12m"_s, u"Hotel Lobby"_s, u"Guest WiFi"_s, u"187"_s, u"42"_s,
                                         u"25 ms"_s, u"25.0%"_s}));
}

TEST_F(CapturePickerWindowTest, AClickOnAHeaderSortsByThatColumnAndASecondClickTurnsTheOrder) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    QHeaderView* header = window.table()->horizontalHeader();
    const auto clickHeader = [&](CaptureColumn column) {
        const int x = header->sectionViewportPosition(int(column)) + header->sectionSize(int(column)) / 2;
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(x, header->height() / 2));
    };
    const QAbstractItemModel& model = *window.table()->model();
    clickHeader(CaptureColumn::network);
    EXPECT_EQ(window.screen().library().sortOrder().first().column, CaptureColumn::network);
    const QStringList first = columnTexts(model, CaptureColumn::network);
    QStringList ascending = first;
    std::sort(ascending.begin(), ascending.end(),
              [](const QString& a, const QString& b) { return QString::localeAwareCompare(a, b) < 0; });
    QStringList descending = ascending;
    std::reverse(descending.begin(), descending.end());
    EXPECT_TRUE(first == ascending || first == descending) << first.join(u',').toStdString();
    clickHeader(CaptureColumn::network);
    QStringList turned = first;
    std::reverse(turned.begin(), turned.end());
    EXPECT_EQ(columnTexts(model, CaptureColumn::network), turned);
    EXPECT_EQ(window.screen().library().sortOrder().first().order, header->sortIndicatorOrder());

    for (int section = 0; section < captureColumnCount; ++section) {
        clickHeader(CaptureColumn(section));
        EXPECT_EQ(window.screen().library().sortOrder().first().column, CaptureColumn(section));
        EXPECT_EQ(model.rowCount(), 3);
    }
}

TEST_F(CapturePickerWindowTest, ClickingARowSelectsItAndEnablesLoadResults) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    QTest::mouseClick(window.table()->viewport(), Qt::LeftButton, {}, rowCentre(window, 1));
    ASSERT_TRUE(window.screen().library().selected());
    EXPECT_EQ(window.screen().library().selectedRow(), 1);
    EXPECT_TRUE(window.loadButton()->isEnabled());
    // A filter that hides the row hides the selection too, and clearing it brings both back.
    const QString location =
        window.table()->model()->index(1, int(CaptureColumn::location)).data().toString();
    window.filterField()->setText(u"no row has this"_s);
    EXPECT_TRUE(window.table()->selectionModel()->selectedRows().isEmpty());
    window.filterField()->clear();
    const QModelIndexList rows = window.table()->selectionModel()->selectedRows();
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows.first().siblingAtColumn(int(CaptureColumn::location)).data().toString(), location);
    // Sorting moves the selection with its row.
    window.table()->sortByColumn(int(CaptureColumn::location), Qt::AscendingOrder);
    ASSERT_EQ(window.table()->selectionModel()->selectedRows().size(), 1);
    EXPECT_EQ(window.table()
                  ->selectionModel()
                  ->selectedRows()
                  .first()
                  .siblingAtColumn(int(CaptureColumn::location))
                  .data()
                  .toString(),
              location);
}

TEST_F(CapturePickerWindowTest, ARightClickOnARowOffersLoadResultsAndDelete) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    const QPoint at = rowCentre(window, 2);
    QContextMenuEvent click(QContextMenuEvent::Mouse, at, window.table()->viewport()->mapToGlobal(at));
    QApplication::sendEvent(window.table()->viewport(), &click);
    ASSERT_NE(window.rowMenu(), nullptr);
    QStringList entries;
    const auto actions = window.rowMenu()->actions();
    for (const QAction* action : actions)
        entries.append(action->text());
    EXPECT_EQ(entries, (QStringList{u"Load Results"_s, u"Delete"_s}));
    EXPECT_EQ(window.screen().library().selectedRow(), 2);
    window.rowMenu()->close();
}

TEST_F(CapturePickerWindowTest, ARightClickBelowTheRowsOffersNothing) {
    copyTestFolder(testDataPath(u"library/single"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    window.openRowMenu(QPoint(10, window.table()->viewport()->height() - 5));
    EXPECT_EQ(window.rowMenu(), nullptr);
}

TEST_F(CapturePickerWindowTest, LoadResultsInTheRowMenuOpensThatCapture) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    const int hotel = rowOf(*window.table()->model(), CaptureColumn::location, u"Hotel Lobby"_s);
    window.openRowMenu(rowCentre(window, hotel));
    ASSERT_NE(window.rowMenu(), nullptr);
    window.rowMenu()->actions().first()->trigger();
    EXPECT_EQ(state.screen(), Screen::results);
    EXPECT_EQ(state.captureLocation(), u"Hotel Lobby"_s);
    EXPECT_FALSE(window.isVisible());
}

TEST_F(CapturePickerWindowTest, ADoubleClickOnARowLoadsItAndClosesTheWindow) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    auto* window = new CapturePickerWindow(state, folder.path());
    window->setAttribute(Qt::WA_DeleteOnClose);
    QPointer<CapturePickerWindow> alive = window;
    showAndWait(*window);
    const int hotel = rowOf(*window->table()->model(), CaptureColumn::location, u"Hotel Lobby"_s);
    // The events of a real double click: the test library's double click alone carries no press.
    QWidget* viewport = window->table()->viewport();
    const QPoint at = rowCentre(*window, hotel);
    QTest::mouseClick(viewport, Qt::LeftButton, {}, at);
    QTest::mousePress(viewport, Qt::LeftButton, {}, at);
    QTest::mouseDClick(viewport, Qt::LeftButton, {}, at);
    EXPECT_EQ(state.screen(), Screen::results);
    ASSERT_FALSE(alive.isNull()) << "the window goes only once the events are done with";
    QTest::mouseRelease(viewport, Qt::LeftButton, {}, at);
    EXPECT_EQ(state.screen(), Screen::results);
    EXPECT_EQ(state.captureLocation(), u"Hotel Lobby"_s);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(alive.isNull());
}

TEST_F(CapturePickerWindowTest, ReturnWithARowSelectedLoadsIt) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    const int hotel = rowOf(*window.table()->model(), CaptureColumn::location, u"Hotel Lobby"_s);
    QTest::mouseClick(window.table()->viewport(), Qt::LeftButton, {}, rowCentre(window, hotel));
    QTest::keyClick(window.table(), Qt::Key_Return);
    EXPECT_EQ(state.screen(), Screen::results);
    EXPECT_FALSE(window.isVisible());
}

TEST_F(CapturePickerWindowTest, PressingReturnWithNothingSelectedDoesNothing) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    ASSERT_FALSE(window.screen().library().selected());
    QTest::keyClick(window.table(), Qt::Key_Return);
    QTest::keyClick(window.filterField(), Qt::Key_Return);
    QTest::keyClick(&window, Qt::Key_Enter);
    EXPECT_TRUE(window.isVisible());
    EXPECT_EQ(state.screen(), firstScreen);
    EXPECT_FALSE(state.errorMessage());
}

TEST_F(CapturePickerWindowTest, EscapeAndCancelCloseTheWindow) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    QTest::keyClick(window.filterField(), Qt::Key_Escape);
    EXPECT_FALSE(window.isVisible());
    window.show();
    QTest::keyClick(window.table(), Qt::Key_Escape);
    EXPECT_FALSE(window.isVisible());
    window.show();
    window.cancelButton()->click();
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(state.screen(), firstScreen);
}

TEST_F(CapturePickerWindowTest, EscapeClosesTheEmptyWindowToo) {
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    ASSERT_EQ(window.currentPage(), window.emptyPage());
    QTest::keyClick(&window, Qt::Key_Escape);
    EXPECT_FALSE(window.isVisible());
}

TEST_F(CapturePickerWindowTest, DeleteAsksWithTheAlertsOwnWords) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    window.openRowMenu(rowCentre(window, 0));
    window.rowMenu()->actions().last()->trigger();
    QMessageBox* alert = window.deleteAlert();
    ASSERT_NE(alert, nullptr);
    EXPECT_TRUE(alert->isVisible());
    EXPECT_EQ(alert->windowModality(), Qt::WindowModal);
    EXPECT_EQ(alert->windowTitle(), u"Delete Capture?"_s);
    EXPECT_TRUE(alert->text().contains(u"Delete Capture?"_s));
    EXPECT_EQ(alert->informativeText(),
              u"This will permanently delete the capture CSV and associated files. This cannot be undone."_s);
    QStringList buttons;
    const auto all = alert->buttons();
    for (const QAbstractButton* button : all)
        buttons.append(button->text());
    buttons.sort();
    EXPECT_EQ(buttons, (QStringList{u"Cancel"_s, u"Delete"_s}));
    const auto destructive = std::find_if(all.begin(), all.end(), [alert](QAbstractButton* button) {
        return alert->buttonRole(button) == QMessageBox::DestructiveRole;
    });
    ASSERT_NE(destructive, all.end());
    EXPECT_EQ((*destructive)->text(), u"Delete"_s);
    EXPECT_EQ(alert->escapeButton()->text(), u"Cancel"_s);
}

TEST_F(CapturePickerWindowTest, CancelInTheDeleteAlertKeepsTheCapture) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    window.openRowMenu(rowCentre(window, 0));
    const QString csv = *window.screen().library().selectedCsvPath();
    window.rowMenu()->actions().last()->trigger();
    ASSERT_NE(window.deleteAlert(), nullptr);
    window.deleteAlert()->escapeButton()->click();
    QApplication::processEvents();
    EXPECT_EQ(window.deleteAlert(), nullptr);
    EXPECT_FALSE(window.screen().showDeleteAlert());
    EXPECT_TRUE(QFileInfo::exists(csv));
    EXPECT_EQ(window.table()->model()->rowCount(), 3);
    EXPECT_TRUE(window.loadButton()->isEnabled());
}

TEST_F(CapturePickerWindowTest, ReturnInTheDeleteAlertDeletesNothingAndDeleteLooksDestructiveInBothSchemes) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    for (const auto scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        SCOPED_TRACE(Theme::name(scheme));
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        // Return as the alert comes up, and Return after tabbing onto "Delete".
        for (const bool tabbed : {false, true}) {
            QMessageBox* alert = askToDelete(window, 0);
            ASSERT_NE(alert, nullptr);
            const QString csv = *window.screen().library().selectedCsvPath();
            pressReturnInDestructiveAlert(*alert, u"Delete"_s, tabbed);
            EXPECT_EQ(window.deleteAlert(), nullptr);
            EXPECT_FALSE(window.screen().showDeleteAlert());
            EXPECT_TRUE(QFileInfo::exists(csv));
            EXPECT_EQ(window.table()->model()->rowCount(), 3);
        }
    }
}

TEST_F(CapturePickerWindowTest, TheDeleteAlertIsWideEnoughForItsWholeTitle) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    QMessageBox* alert = askToDelete(window, 0);
    ASSERT_NE(alert, nullptr);
    // A title bar shows the program's name after the title, in bold, beside its buttons: a hundred
    // pixels at the least.
    QFont titleFont = QApplication::font("QMdiSubWindowTitleBar");
    titleFont.setBold(true);
    const QString shown = u"Delete Capture? \u2014 "_s + QGuiApplication::applicationDisplayName();
    EXPECT_GE(alert->width(), QFontMetrics(titleFont).horizontalAdvance(shown) + 100);
    pressInAlert(*alert, Qt::Key_Escape);
}

TEST_F(CapturePickerWindowTest, AfterADeleteTheSelectionIsEmptyAndLoadResultsIsDisabled) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    CapturePickerWindow window(state, folder.path());
    showAndWait(window);
    const int hotel = rowOf(*window.table()->model(), CaptureColumn::location, u"Hotel Lobby"_s);
    window.openRowMenu(rowCentre(window, hotel));
    const QString csv = *window.screen().library().selectedCsvPath();
    const QString raw = QString(csv).replace(u".csv"_s, u"_throughput_raw.csv"_s);
    ASSERT_TRUE(QFileInfo::exists(raw));
    EXPECT_TRUE(window.loadButton()->isEnabled());
    window.rowMenu()->actions().last()->trigger();
    ASSERT_NE(window.deleteAlert(), nullptr);
    const auto all = window.deleteAlert()->buttons();
    const auto remove = std::find_if(all.begin(), all.end(),
                                     [](QAbstractButton* button) { return button->text() == u"Delete"_s; });
    ASSERT_NE(remove, all.end());
    (*remove)->click();
    QApplication::processEvents();
    EXPECT_FALSE(QFileInfo::exists(csv));
    EXPECT_FALSE(QFileInfo::exists(raw));
    EXPECT_FALSE(readFile(folder.filePath(u"captures.json"_s)).contains("Hotel Lobby"));
    EXPECT_FALSE(window.screen().library().selected());
    EXPECT_TRUE(window.table()->selectionModel()->selectedRows().isEmpty());
    EXPECT_FALSE(window.loadButton()->isEnabled());
    EXPECT_EQ(window.table()->model()->rowCount(), 2);
    EXPECT_EQ(window.countLabel()->text(), u"2 captures"_s);
    EXPECT_EQ(rowOf(*window.table()->model(), CaptureColumn::location, u"Hotel Lobby"_s), -1);
    QTest::keyClick(window.table(), Qt::Key_Return);
    EXPECT_TRUE(window.isVisible());
}

TEST_F(CapturePickerWindowTest, ClosingTheWindowWhileItScansDropsTheResult) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    auto* window = new CapturePickerWindow(state, folder.path());
    window->setAttribute(Qt::WA_DeleteOnClose);
    QPointer<CapturePickerWindow> alive = window;
    window->show();
    ASSERT_TRUE(window->screen().library().isLoading());
    window->onDismiss();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(alive.isNull());
    CaptureLibraryModel::scanPool().waitForDone();
    QApplication::processEvents();
    EXPECT_EQ(state.screen(), firstScreen);
}

TEST_F(CapturePickerWindowTest, EachOpeningIsANewCentredWindowWithItsOwnStateThatGoesWhenClosed) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    Settings().setString(QString::fromLatin1(Settings::captureDirectory), folder.path());
    QWidget owner;
    owner.show();
    QPointer<CapturePickerWindow> first = CapturePickerWindow::openFor(state, &owner);
    QPointer<CapturePickerWindow> second = CapturePickerWindow::openFor(state, &owner);
    ASSERT_TRUE(first && second);
    EXPECT_NE(first, second);
    const QRect screen = owner.screen()->availableGeometry();
    for (CapturePickerWindow* window : {first.data(), second.data()}) {
        EXPECT_TRUE(window->isVisible());
        EXPECT_EQ(window->size(), QSize(800, 450));
        // The platform may nudge a window by its frame's width to keep the frame on the screen.
        EXPECT_NEAR(window->geometry().center().x(), screen.center().x(), 4);
        EXPECT_NEAR(window->geometry().center().y(), screen.center().y(), 4);
    }
    for (CapturePickerWindow* window : {first.data(), second.data()}) {
        QSignalSpy changed(&window->screen(), &CapturePickerScreen::stateChanged);
        while (window->screen().library().isLoading())
            ASSERT_TRUE(changed.wait(60'000));
    }
    QApplication::processEvents();

    // A filter typed into one window and a row chosen in the other stay where they were made.
    QTest::keyClicks(first->filterField(), u"Hotel"_s);
    QTest::mouseClick(second->table()->viewport(), Qt::LeftButton, {}, rowCentre(*second, 0));
    EXPECT_EQ(first->table()->model()->rowCount(), 1);
    EXPECT_FALSE(first->screen().library().selected());
    EXPECT_EQ(second->filterField()->text(), QString());
    EXPECT_EQ(second->table()->model()->rowCount(), 3);
    EXPECT_TRUE(second->screen().library().selected());

    // A closed window is deleted, and leaves the other one as it was.
    QTest::keyClick(first, Qt::Key_Escape);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(first.isNull());
    ASSERT_FALSE(second.isNull());
    EXPECT_TRUE(second->isVisible());
    QTest::mouseClick(second->cancelButton(), Qt::LeftButton);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(second.isNull());
    EXPECT_TRUE(owner.findChildren<CapturePickerWindow*>().isEmpty());
}
