#include "views/UploadStatusView.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/AppStateTestAccess.h"
#include "support/LoggedText.h"
#include "support/ShownLabels.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using Access = AppStateTestAccess;

class UploadStatusViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    std::unique_ptr<QWidget> window;
    UploadStatusView* view = nullptr;

    void SetUp() override {
        state.setUploadsSuppressed(true);
        window = std::make_unique<QWidget>();
        window->resize(600, 300);
        view = new UploadStatusView(state, window.get());
        view->setGeometry(0, 0, 600, 300);
        window->show();
        QApplication::processEvents();
    }
    void TearDown() override {
        window.reset();
        state.cancelUploadRunner();
    }

    void event(JSONEvent::Payload payload) {
        AppStateTestAccess::uploadEvent(state, state.uploadGeneration(), JSONEvent{std::move(payload)});
    }

    QLabel* shownLabel(const QString& text) const { return ShownLabels::withText(window.get(), text); }
    bool shows(const QString& text) const { return shownLabel(text) != nullptr; }
    QString labelText(const char* name) const {
        return ShownLabels::textOf(window.get(), QLatin1StringView(name));
    }

    // The symbol in front of a text, in the same row.
    QString iconBefore(const QString& text) const {
        QLabel* textLabel = shownLabel(text);
        if (!textLabel)
            return u"(no such text)"_s;
        const QList<QLabel*> siblings =
            textLabel->parentWidget()->findChildren<QLabel*>(Qt::FindDirectChildrenOnly);
        for (QLabel* sibling : siblings) {
            const QString symbol = sibling->property("symbol").toString();
            if (sibling != textLabel && sibling->isVisibleTo(window.get()) && !symbol.isEmpty())
                return symbol;
        }
        return QString();
    }
    QString tintBefore(const QString& text) const {
        const QList<QLabel*> siblings = shownLabel(text)->parentWidget()->findChildren<QLabel*>();
        for (QLabel* sibling : siblings) {
            if (!sibling->property("symbol").toString().isEmpty())
                return sibling->property("tint").toString();
        }
        return QString();
    }

    QPushButton* button() const { return view->findChild<QPushButton*>(); }
    bool buttonShown(const QString& title) const {
        return button()->isVisibleTo(window.get()) && button()->text() == title;
    }
    bool spinnerShown() const {
        return view->findChild<QWidget*>(u"uploadSpinner"_s)->isVisibleTo(window.get());
    }

    // A failed run with a retry pending in 60 seconds.
    void failedRun() {
        event(UploadStartEvent{2});
        event(UploadCompleteEvent{u"a.csv"_s, 100, 20});
        event(UploadErrorEvent{u"b.csv"_s, u"timeout"_s, true});
        event(UploadSummaryEvent{1, 1});
        ASSERT_TRUE(state.upload().pendingRetryAt);
    }
};

TEST_F(UploadStatusViewTest, NothingToSayShowsNothing) {
    EXPECT_FALSE(view->isVisibleTo(window.get()));
    EXPECT_FALSE(view->isCountdownTimerRunning());
}

TEST_F(UploadStatusViewTest, PreparingShowsASpinnerAndItsWords) {
    Access::setUploadPreparing(state, true);
    view->refresh();
    EXPECT_TRUE(view->isVisibleTo(window.get()));
    EXPECT_TRUE(shows(u"Preparing upload..."_s));
    EXPECT_TRUE(spinnerShown());
    EXPECT_EQ(iconBefore(u"Preparing upload..."_s), QString());
    EXPECT_FALSE(button()->isVisibleTo(window.get()));
}

TEST_F(UploadStatusViewTest, ADeferredUploadShowsAnOrangeClockAndUploadNowWhichSweeps) {
    state.setUploadsSuppressed(false);
    Access::setMeasuredUplinkMbps(state, 0.5);
    QDir().mkpath(PythonProcess::outputDirectory());
    QFile capture(PythonProcess::outputDirectory() + u"/wifi_capture_20260314T093000Z.csv"_s);
    ASSERT_TRUE(capture.open(QIODevice::WriteOnly));
    ASSERT_TRUE(capture.resize(qint64(400) * 1024 * 1024)); // sparse
    capture.close();
    state.runUploadSweep(u"capture-complete"_s, false);
    ASSERT_TRUE(state.upload().uploadDeferred);

    const QString text = view->status().text;
    EXPECT_TRUE(text.startsWith(u"Results saved locally. Upload would take ~"_s)) << text.toStdString();
    EXPECT_TRUE(shows(text));
    EXPECT_EQ(iconBefore(text), u"clock.arrow.circlepath"_s);
    EXPECT_EQ(tintBefore(text), u"#f59e0b"_s);
    EXPECT_FALSE(spinnerShown());
    ASSERT_TRUE(buttonShown(u"Upload Now"_s));

    const int generation = state.uploadGeneration();
    button()->click();
    EXPECT_TRUE(loggedText(log).contains(u"retryUpload requested"_s));
    EXPECT_GT(state.uploadGeneration(), generation) << "the manual sweep skips the deferral and runs";
    EXPECT_FALSE(state.upload().uploadDeferred);
}

TEST_F(UploadStatusViewTest, CountingFilesShowsASpinner) {
    event(UploadStartEvent{3});
    EXPECT_TRUE(shows(u"Uploading (1/3)..."_s));
    EXPECT_TRUE(spinnerShown());
}

TEST_F(UploadStatusViewTest, SendingBytesShowsTheBarPercentEtaAndSize) {
    event(UploadStartEvent{2});
    event(UploadProgressEvent{u"a.csv"_s, 50, 1024 * 1024, 2 * 1024 * 1024});
    auto* bar = view->findChild<QProgressBar*>();
    ASSERT_TRUE(bar->isVisibleTo(window.get()));
    EXPECT_EQ(bar->value(), bar->maximum() / 2);
    EXPECT_EQ(labelText("uploadPercent"), u"50%"_s);
    EXPECT_EQ(labelText("uploadSize"), u"Uploading 2.0 MB (1/2)"_s);
    EXPECT_FALSE(spinnerShown());
    if (view->status().etaText)
        EXPECT_EQ(labelText("uploadEta"), *view->status().etaText);
    else
        EXPECT_EQ(labelText("uploadEta"), QString());
}

TEST_F(UploadStatusViewTest, ASkippedRunShowsAStruckCloud) {
    event(UploadSkippedEvent{u"no_credentials"_s, std::nullopt, std::nullopt, std::nullopt, std::nullopt});
    EXPECT_TRUE(shows(u"Upload skipped — no R2 credentials"_s));
    EXPECT_EQ(iconBefore(u"Upload skipped — no R2 credentials"_s), u"icloud.slash"_s);
}

TEST_F(UploadStatusViewTest, AFinishedRunShowsACheckedCloud) {
    event(UploadStartEvent{2});
    event(UploadCompleteEvent{u"a.csv"_s, 100, 20});
    event(UploadCompleteEvent{u"b.csv"_s, 100, 20});
    event(UploadSummaryEvent{2, 0});
    EXPECT_TRUE(shows(u"2 files uploaded to R2"_s));
    EXPECT_EQ(iconBefore(u"2 files uploaded to R2"_s), u"checkmark.icloud"_s);
    EXPECT_FALSE(button()->isVisibleTo(window.get()));
}

TEST_F(UploadStatusViewTest, AFileTooLargeShowsItsRowUnderTheCount) {
    event(UploadStartEvent{2});
    event(UploadCompleteEvent{u"a.csv"_s, 100, 20});
    event(UploadSkippedEvent{u"exceeds_size_limit"_s, u"big.csv"_s, 250.0, 100.0, std::nullopt});
    event(UploadSummaryEvent{1, 0});
    EXPECT_EQ(labelText("uploadHeading"), u"1 file uploaded"_s);
    EXPECT_EQ(iconBefore(u"1 file uploaded"_s), u"checkmark.icloud"_s);
    const QString row = u"big.csv too large (250 MB, limit 100 MB) — available locally"_s;
    EXPECT_TRUE(shows(row));
    EXPECT_EQ(iconBefore(row), u"icloud.slash"_s);
}

TEST_F(UploadStatusViewTest, AFailedRunShowsItsCountsErrorsAndTheNextAttempt) {
    failedRun();
    EXPECT_EQ(labelText("uploadHeading"), u"1 uploaded, 1 failed"_s);
    EXPECT_EQ(iconBefore(u"1 uploaded, 1 failed"_s), u"exclamationmark.icloud"_s);
    EXPECT_TRUE(shows(u"b.csv: timeout"_s));
    EXPECT_EQ(iconBefore(u"b.csv: timeout"_s), QString());
    const QString line = labelText("uploadFailureLine");
    EXPECT_EQ(
        line,
        u"Upload failed. Next attempt in 1m 0s. You can close the app; the next launch will try again."_s);
    EXPECT_EQ(iconBefore(line), u"arrow.clockwise.icloud"_s);
    EXPECT_TRUE(buttonShown(u"Retry Now"_s));
}

TEST_F(UploadStatusViewTest, TheCountdownTextChangesEachVirtualSecond) {
    failedRun();
    EXPECT_TRUE(view->isCountdownTimerRunning());
    EXPECT_TRUE(labelText("uploadFailureLine").contains(u"Next attempt in 1m 0s."_s));
    time.advance(1.0);
    EXPECT_TRUE(labelText("uploadFailureLine").contains(u"Next attempt in 59s."_s));
    time.advance(1.0);
    EXPECT_TRUE(labelText("uploadFailureLine").contains(u"Next attempt in 58s."_s));
    time.advance(10.0);
    EXPECT_TRUE(labelText("uploadFailureLine").contains(u"Next attempt in 48s."_s));
}

TEST_F(UploadStatusViewTest, TheCountdownTimerRunsOnlyWhileTheCountdownIsShown) {
    failedRun();
    ASSERT_TRUE(view->isCountdownTimerRunning());
    window->hide();
    EXPECT_FALSE(view->isCountdownTimerRunning());
    window->show();
    QApplication::processEvents();
    EXPECT_TRUE(view->isCountdownTimerRunning());
    state.cancelPendingRetry();
    EXPECT_FALSE(view->isCountdownTimerRunning());
    EXPECT_EQ(labelText("uploadFailureLine"),
              u"Upload failed. Will keep trying periodically and on next launch."_s);
}

TEST_F(UploadStatusViewTest, RetryNowCallsTheSweep) {
    failedRun();
    ASSERT_TRUE(buttonShown(u"Retry Now"_s));
    button()->click();
    EXPECT_TRUE(loggedText(log).contains(u"retryUpload requested"_s));
    EXPECT_FALSE(state.upload().pendingRetryAt) << "the pending retry gives way to the sweep";
    EXPECT_EQ(state.retryAttempt(), 0);
    EXPECT_FALSE(view->isCountdownTimerRunning());
}
