#include "views/ResultsView.h"

#include "views/LossHeatmapView.h"
#include "views/ResultsBottomChartsView.h"
#include "views/ResultsLatencyChartView.h"

#include "views/StatCardView.h"
#include "views/Theme.h"
#include "views/UploadStatusView.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "screens/ResultsScreen.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/AppStateTestAccess.h"
#include "support/ShownLabels.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;
using Screen = AppState::Screen;

class ResultsViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    std::unique_ptr<ResultsView> view;

    void SetUp() override {
        state.setUploadsSuppressed(true);
    }
    void TearDown() override {
        view.reset();
        Theme::apply(*qApp, Theme::Scheme::Light);
    }

    void open(QSize size = QSize(700, 800)) {
        view = std::make_unique<ResultsView>(state);
        view->resize(size);
        view->show();
        QApplication::processEvents();
    }

    void feed(const QString& json) { state.pythonProcess().processLine(json); }
    void loadGoodCapture() {
        state.loadCapture(testDataPath(u"analyze/wifi_capture_20260314T093000Z.csv"_s));
    }
    void failAtOnce() {
        state.startReplay(CaptureConfig{});
        feed(
            uR"({"event":"throughput_result","direction":"download","mbps":0,"bytes":0,"streams":4,"ts":"2026-03-14T09:30:05Z","error":"connection reset","test_num":1})"_s);
        feed(
            uR"({"event":"error","message":"The measurement tool stopped: Wi-Fi interface disappeared","fatal":true})"_s);
    }
    void uploadEvent(JSONEvent::Payload payload) {
        AppStateTestAccess::uploadEvent(state, state.uploadGeneration(), JSONEvent{std::move(payload)});
    }

    QLabel* shownLabel(const QString& text) const { return ShownLabels::withText(view.get(), text); }
    bool shows(const QString& text) const { return shownLabel(text) != nullptr; }
    QString labelText(const char* name) const {
        return ShownLabels::textOf(view.get(), QLatin1StringView(name));
    }
    QPushButton* button(const QString& title) const {
        const QList<QPushButton*> buttons = view->findChildren<QPushButton*>();
        for (QPushButton* candidate : buttons) {
            if (candidate->text() == title && candidate->isVisibleTo(view.get()))
                return candidate;
        }
        return nullptr;
    }
    QWidget* part(const char* name) const { return view->findChild<QWidget*>(QLatin1StringView(name)); }
    QStringList cardValues(const char* prefix, int count) const {
        QStringList values;
        for (int index = 0; index < count; ++index) {
            auto* card = view->findChild<StatCardView*>(QLatin1StringView(prefix) + QString::number(index));
            values.append(card->card().value);
        }
        return values;
    }

    // Every label that doesn't wrap has the room for its whole text, and nothing reaches past the
    // right edge of the visible column.
    void expectNothingCutOff(const char* where) const {
        auto* scroll = view->findChild<QScrollArea*>();
        const int viewportWidth = scroll->viewport()->width();
        EXPECT_LE(scroll->widget()->width(), viewportWidth) << where;
        const QList<QWidget*> widgets = scroll->widget()->findChildren<QWidget*>();
        for (QWidget* widget : widgets) {
            if (!widget->isVisibleTo(view.get()))
                continue;
            const QRect inContent(widget->mapTo(scroll->widget(), QPoint(0, 0)), widget->size());
            EXPECT_LE(inContent.right(), viewportWidth) << where << " " << widget->metaObject()->className()
                                                        << " " << widget->objectName().toStdString();
            auto* label = qobject_cast<QLabel*>(widget);
            if (label && !label->wordWrap() && !label->text().isEmpty() && label->pixmap().isNull()) {
                EXPECT_GE(label->width(), label->sizeHint().width())
                    << where << " " << label->text().toStdString();
            }
            if (auto* pushButton = qobject_cast<QPushButton*>(widget)) {
                EXPECT_GE(pushButton->width(), pushButton->minimumSizeHint().width())
                    << where << " " << pushButton->text().toStdString();
            }
        }
    }

    void savePicture(const QString& name) const {
        if (!qEnvironmentVariableIsSet("NORVANE_VIEW_PICTURES"))
            return;
        // The whole column, not only what the window shows.
        QApplication::processEvents(); // the layout of what just changed
        auto* scroll = view->findChild<QScrollArea*>();
        scroll->widget()->grab().save(QDir::temp().filePath(u"results-%1.png"_s.arg(name)));
    }
};

TEST_F(ResultsViewTest, TheHeaderShowsTheCaptureFactsAndTheVerdict) {
    loadGoodCapture();
    open();
    EXPECT_TRUE(shows(u"Test Complete"_s));
    EXPECT_TRUE(shows(u"Hotspot-4G"_s));
    EXPECT_TRUE(shows(u"2277a25f-d874-4cbb-bd40-9ce124cb96da"_s));
    const ResultsHeader header = view->model().header();
    for (const ResultsFact& fact : header.facts)
        EXPECT_TRUE(shows(fact.text)) << fact.text.toStdString();
    QLabel* id = shownLabel(u"2277a25f-d874-4cbb-bd40-9ce124cb96da"_s);
    EXPECT_TRUE(id->textInteractionFlags() & Qt::TextSelectableByMouse);
    auto* quality = view->findChild<QLabel*>(u"resultsQuality"_s);
    EXPECT_EQ(quality->accessibleName(), header.quality.plainText());
    EXPECT_TRUE(quality->text().contains(u"Quality:"_s));
    EXPECT_TRUE(quality->text().contains(header.quality.verdict));
    EXPECT_TRUE(quality->text().contains(header.quality.verdictColor.hexName()));
    EXPECT_FALSE(quality->text().contains(u"(GEO)"_s));
}

TEST_F(ResultsViewTest, AGeostationaryLinkReadsGeoInTheQualityLine) {
    state.startReplay(CaptureConfig{});
    feed(uR"({"event":"status","elapsed_sec":5,"icmp_rtt_ms":640,"icmp_loss_pct":0})"_s);
    feed(uR"({"event":"error","message":"boom","fatal":true})"_s);
    open();
    auto* quality = view->findChild<QLabel*>(u"resultsQuality"_s);
    EXPECT_TRUE(quality->accessibleName().contains(u" (GEO) - "_s))
        << quality->accessibleName().toStdString();
    EXPECT_TRUE(quality->text().contains(u" (GEO)"_s));
}

TEST_F(ResultsViewTest, ErrorAndStopReasonStandUnderTheHeaderOnlyWhenSet) {
    state.startReplay(CaptureConfig{});
    open();
    EXPECT_EQ(labelText("resultsError"), QString());
    EXPECT_EQ(labelText("resultsStopReason"), QString());
    feed(uR"({"event":"system_sleep","action":"stop","gap_sec":1200,"ssid_match":false})"_s);
    feed(uR"({"event":"error","message":"Wi-Fi interface disappeared","fatal":true})"_s);
    EXPECT_EQ(labelText("resultsError"), u"Wi-Fi interface disappeared"_s);
    EXPECT_EQ(labelText("resultsStopReason"), u"Stopped after 20 min sleep — network changed"_s);
    // The error comes first.
    EXPECT_LT(part("resultsError")->mapTo(view.get(), QPoint()).y(),
              part("resultsStopReason")->mapTo(view.get(), QPoint()).y());
}

TEST_F(ResultsViewTest, ACaptureThatFailedAtOnceHasNoChartsAndItsCardsReadDashesAndFailed) {
    failAtOnce();
    open(QSize(600, 450));
    EXPECT_EQ(cardValues("summaryCard", 5),
              (QStringList{u"---"_s, u"---"_s, u"Failed"_s, u"---"_s, u"---"_s}));
    EXPECT_FALSE(part("latencySection")->isVisibleTo(view.get()));
    EXPECT_FALSE(part("videoSection")->isVisibleTo(view.get()));
    EXPECT_TRUE(part("bottomCharts")->isVisibleTo(view.get()));
    EXPECT_EQ(labelText("resultsError"), u"The measurement tool stopped: Wi-Fi interface disappeared"_s);
    EXPECT_TRUE(shows(u"LINK CAPABILITY"_s));
    EXPECT_FALSE(shows(u"VIDEO STREAMING"_s));
}

TEST_F(ResultsViewTest, AGoodCaptureShowsItsLatencySectionAndCards) {
    loadGoodCapture();
    open();
    EXPECT_TRUE(part("latencySection")->isVisibleTo(view.get()));
    const QList<StatCard> cards = view->model().summaryCards();
    QStringList expected;
    for (const StatCard& card : cards)
        expected.append(card.value);
    EXPECT_EQ(cardValues("summaryCard", 5), expected);
}

TEST_F(ResultsViewTest, VideoResultsBringTheVideoSection) {
    state.startReplay(CaptureConfig{});
    open();
    EXPECT_FALSE(shows(u"VIDEO STREAMING"_s));
    feed(
        uR"({"event":"cdn_throughput_result","target":"netflix_oca","mbps":9.5,"bytes":1000,"ts":"2026-03-14T09:31:20.000+00:00"})"_s);
    EXPECT_TRUE(shows(u"VIDEO STREAMING"_s));
    auto* first = view->findChild<StatCardView*>(u"videoCard0"_s);
    EXPECT_TRUE(first->isVisibleTo(view.get()));
    EXPECT_EQ(first->card().title, u"Netflix"_s);
    EXPECT_FALSE(view->findChild<StatCardView*>(u"videoCard1"_s)->isVisibleTo(view.get()));
}

TEST_F(ResultsViewTest, TheLastLineSaysWhereTheResultsAreSaved) {
    loadGoodCapture();
    open();
    EXPECT_EQ(labelText("resultsSavedLine"), u"Results saved to ~/.local/share/Norvane/captures"_s);
}

TEST_F(ResultsViewTest, ACaptureIdThatIsAbsentLeavesTheShareControlDisabled) {
    state.startReplay(CaptureConfig{});
    open();
    uploadEvent(UploadSummaryEvent{0, 0});
    ASSERT_TRUE(state.upload().uploadDone);
    ASSERT_FALSE(state.captureId());
    EXPECT_FALSE(button(u"Share"_s)->isEnabled());
    button(u"Share"_s)->click();
    EXPECT_TRUE(button(u"Share"_s)) << "a disabled control stays as it is";
}

TEST_F(ResultsViewTest, ShareWaitsForTheUploadToEnd) {
    state.startReplay(CaptureConfig{});
    open();
    feed(uR"({"event":"info","capture_id":"3f2a9c1e"})"_s);
    ASSERT_FALSE(state.upload().uploadDone);
    EXPECT_FALSE(button(u"Share"_s)->isEnabled());
    uploadEvent(UploadSummaryEvent{1, 0});
    EXPECT_TRUE(button(u"Share"_s)->isEnabled());
}

TEST_F(ResultsViewTest, ShareCopiesTheLinkAndReadsCopiedForTwoSeconds) {
    state.startReplay(CaptureConfig{});
    feed(uR"({"event":"info","capture_id":"3f2a9c1e"})"_s);
    uploadEvent(UploadSummaryEvent{1, 0});
    open();
    QGuiApplication::clipboard()->setText(u"something else"_s);
    QPushButton* share = button(u"Share"_s);
    ASSERT_TRUE(share && share->isEnabled());
    share->click();
    EXPECT_EQ(share->text(), u"Copied!"_s);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), u"http://127.0.0.1:9/c/3f2a9c1e/"_s);
    time.advance(1.9);
    EXPECT_EQ(share->text(), u"Copied!"_s);
    time.advance(0.1);
    EXPECT_EQ(share->text(), u"Share"_s);
}

TEST_F(ResultsViewTest, NewTestGoesToSetup) {
    failAtOnce();
    ASSERT_EQ(state.screen(), Screen::results);
    open();
    button(u"New Test"_s)->click();
    EXPECT_EQ(state.screen(), Screen::setup);
}

TEST_F(ResultsViewTest, HistoryAsksForThePicker) {
    loadGoodCapture();
    open();
    QSignalSpy history(view.get(), &ResultsView::historyRequested);
    button(u"History"_s)->click();
    EXPECT_EQ(history.count(), 1);
    EXPECT_EQ(state.screen(), Screen::results);
}

TEST_F(ResultsViewTest, TheHeaderButtonsStandOnTheRightInTheirOrder) {
    loadGoodCapture();
    open(QSize(600, 450));
    QPushButton* share = button(u"Share"_s);
    QPushButton* history = button(u"History"_s);
    QPushButton* newTest = button(u"New Test"_s);
    const auto x = [this](QWidget* widget) { return widget->mapTo(view.get(), QPoint()).x(); };
    EXPECT_LT(x(share), x(history));
    EXPECT_LT(x(history), x(newTest));
    EXPECT_GT(x(share), x(shownLabel(u"Test Complete"_s)));
    EXPECT_GT(x(share), view->width() / 3);
}

TEST_F(ResultsViewTest, TheChartsStandBetweenTheCardsAndTheUploadStatus) {
    loadGoodCapture();
    open();
    QWidget* latencyChart = view->latencyChart();
    QWidget* heatmap = view->lossHeatmap();
    QWidget* bottom = view->bottomCharts();
    ASSERT_TRUE(latencyChart->isVisible());
    ASSERT_TRUE(heatmap->isVisible());
    ASSERT_TRUE(bottom->isVisible());
    uploadEvent(UploadStartEvent{2});
    QApplication::processEvents();
    const auto y = [this](QWidget* widget) { return widget->mapTo(view.get(), QPoint()).y(); };
    auto* lastCard = view->findChild<StatCardView*>(u"summaryCard4"_s);
    auto* upload = view->findChild<UploadStatusView*>();
    EXPECT_GT(y(latencyChart), y(lastCard) + lastCard->height() - 1);
    EXPECT_GT(y(heatmap), y(latencyChart) + latencyChart->height() - 1);
    EXPECT_GT(y(bottom), y(heatmap) + heatmap->height() - 1);
    EXPECT_GT(y(upload), y(bottom) + bottom->height() - 1);
    EXPECT_GT(y(part("resultsSavedLine")), y(upload));
    EXPECT_EQ(view->bannerSlot()->count(), 0) << "no update banner yet";
}

TEST_F(ResultsViewTest, NothingIsCutOffInEitherSchemeOrSize) {
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        for (const QSize size : {QSize(700, 800), QSize(600, 450)}) {
            const std::string where = std::string(Theme::name(scheme)) + " " + std::to_string(size.width());
            state.startReplay(CaptureConfig{});
            feed(
                uR"({"event":"info","ssid":"Hotel Lobby With A Long Network Name","vpn":"Ostrel Secure","capture_id":"3f2a9c1e-aaaa-bbbb-cccc-0123456789ab","duration_secs":60})"_s);
            feed(uR"({"event":"capture_auto_stop","reason":"max_duration","elapsed_sec":10800})"_s);
            feed(
                uR"({"event":"complete","samples":4242,"capture_id":"3f2a9c1e","csv_file":"/tmp/c.csv","duration_sec":3600})"_s);
            open(size);
            expectNothingCutOff(where.c_str());
            view.reset();
        }
    }
}

// Pictures of the whole column for a person to look at; written only with NORVANE_VIEW_PICTURES set.
TEST_F(ResultsViewTest, RendersInBothSchemes) {
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        const QString name = QString::fromLatin1(Theme::name(scheme));

        loadGoodCapture();
        uploadEvent(UploadStartEvent{2});
        uploadEvent(UploadProgressEvent{u"a.csv"_s, 40, 400 * 1024, 1024 * 1024});
        open();
        const QImage picture = view->grab().toImage();
        EXPECT_EQ(picture.size(), QSize(700, 800) * picture.devicePixelRatio());
        savePicture(u"good-"_s + name);
        view.reset();

        failAtOnce();
        uploadEvent(UploadStartEvent{2});
        uploadEvent(UploadCompleteEvent{u"a.csv"_s, 100, 20});
        uploadEvent(UploadErrorEvent{u"b.csv"_s, u"connection reset by peer"_s, true});
        uploadEvent(UploadSkippedEvent{u"exceeds_size_limit"_s, u"big.csv"_s, 250.0, 100.0, std::nullopt});
        uploadEvent(UploadSummaryEvent{1, 1});
        open(QSize(600, 450));
        savePicture(u"failed-"_s + name);
        view.reset();
    }
}
