#include "views/ReportExport.h"
#include "views/MainWindow.h"
#include "views/ResultsView.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "core/NorvaneApp.h"
#include "screens/CaptureReportModel.h"
#include "screens/ResultsScreen.h"
#include "services/FileLogger.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

// Stands in for the desktop's file manager: records what the program asks it to open.
class OpenedUrls : public QObject {
    Q_OBJECT
public:
    QList<QUrl> urls;
public slots:
    void open(const QUrl& url) { urls.append(url); }
};

QPushButton* buttonWithText(QWidget& root, const QString& text) {
    for (QPushButton* button : root.findChildren<QPushButton*>()) {
        if (button->text() == text && button->isVisible())
            return button;
    }
    return nullptr;
}

class ReportExportTest : public ::testing::Test {
protected:
    void SetUp() override {
        home.installFakeUv();
        QDesktopServices::setUrlHandler(u"file"_s, &opened, "open");
    }
    void TearDown() override { QDesktopServices::unsetUrlHandler(u"file"_s); }

    // Types the report's name into the save dialog and presses Return, as a user would.
    static void saveAs(QFileDialog* dialog, const QString& name) {
        auto* edit = dialog->findChild<QLineEdit*>(u"fileNameEdit"_s);
        ASSERT_NE(edit, nullptr);
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Backspace);
        QTest::keyClicks(edit, name);
        QTest::keyClick(edit, Qt::Key_Return);
    }

    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    QTemporaryDir out;
    OpenedUrls opened;
};

} // namespace

TEST_F(ReportExportTest, HeaderOffersTheReportBeforeTheDescribedActions) {
    NorvaneApp app(log);
    app.appState().loadCapture(testDataPath(u"tour/captures/wifi_capture_20261121T091500Z.csv"_s));
    MainWindow window(app);
    window.show();
    QApplication::processEvents();
    QPushButton* exportButton = buttonWithText(window, CaptureReportModel::exportText());
    ASSERT_NE(exportButton, nullptr);
    EXPECT_EQ(exportButton->text(), u"Export Report\u2026"_s);
    int left = exportButton->x();
    for (const QString& text :
         {ResultsScreen::shareText, ResultsScreen::historyText, ResultsScreen::newTestText}) {
        QPushButton* button = buttonWithText(window, text);
        ASSERT_NE(button, nullptr) << qPrintable(text);
        EXPECT_GT(button->x(), left) << qPrintable(text);
        left = button->x();
    }
}

TEST_F(ReportExportTest, ClickAsksWhereSuggestsANameWritesAndOffersTheFolder) {
    NorvaneApp app(log);
    AppState& state = app.appState();
    state.loadCapture(testDataPath(u"tour/captures/wifi_capture_20261121T091500Z.csv"_s));
    MainWindow window(app);
    window.show();
    QApplication::processEvents();

    QTest::mouseClick(buttonWithText(window, CaptureReportModel::exportText()), Qt::LeftButton);
    auto* dialog = window.findChild<QFileDialog*>(u"reportSaveDialog"_s);
    ASSERT_NE(dialog, nullptr);
    ASSERT_TRUE(dialog->isVisible());
    const QString suggested =
        CaptureReportModel::suggestedFileName(state.captureLocation(), state.captureDate());
    EXPECT_TRUE(suggested.startsWith(u"Norvane Hotel Aurora, room 412 2026-"_s)) << qPrintable(suggested);
    EXPECT_EQ(dialog->findChild<QLineEdit*>(u"fileNameEdit"_s)->text(), suggested);

    dialog->setDirectory(out.path());
    const QString pdf = out.filePath(u"For the front desk.pdf"_s);
    saveAs(dialog, u"For the front desk.pdf"_s);
    QFile file(pdf);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.read(5), "%PDF-");

    auto* notice = window.findChild<QMessageBox*>(u"reportDoneNotice"_s);
    ASSERT_NE(notice, nullptr);
    ASSERT_TRUE(notice->isVisible());
    EXPECT_TRUE(notice->informativeText().contains(u"For the front desk.pdf"_s));
    QTest::mouseClick(buttonWithText(*notice, ReportExport::showInFolderText), Qt::LeftButton);
    EXPECT_EQ(opened.urls, QList<QUrl>{QUrl::fromLocalFile(out.path())});
}

TEST_F(ReportExportTest, FileMenuOffersTheReportOnlyWhileResultsShow) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    QApplication::processEvents();
    QAction* action = nullptr;
    for (QAction* candidate : window.menuBar()->findChildren<QAction*>()) {
        if (candidate->text() == CaptureReportModel::exportText())
            action = candidate;
    }
    ASSERT_NE(action, nullptr);
    EXPECT_FALSE(action->isVisible());

    app.appState().loadCapture(testDataPath(u"report/failed_at_once.csv"_s));
    QApplication::processEvents();
    EXPECT_TRUE(action->isVisible());
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);
    auto* dialog = window.findChild<QFileDialog*>(u"reportSaveDialog"_s);
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(
        dialog->findChild<QLineEdit*>(u"fileNameEdit"_s)->text().startsWith(u"Norvane Airport lounge B"_s));
    QTest::keyClick(dialog, Qt::Key_Escape);
    QApplication::processEvents();
    EXPECT_TRUE(window.findChildren<QMessageBox*>().isEmpty());
}

#include "ReportExportTest.moc"
