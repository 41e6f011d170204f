#include "views/FinishingView.h"

#include "base/VirtualClock.h"
#include "screens/FinishingScreen.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/TempHome.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QStackedWidget>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using Screen = AppState::Screen;

namespace {

const QString completeLine =
    uR"({"event":"complete","samples":310,"csv_file":"/tmp/capture.csv","duration_sec":62})"_s;

} // namespace

class FinishingViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};

    void SetUp() override {
        state.setUploadsSuppressed(true);
        state.startReplay(CaptureConfig{});
        state.stopCapture();
        ASSERT_EQ(state.screen(), Screen::finishing);
    }
    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }
};

TEST_F(FinishingViewTest, SaysSavingResultsInALargerFontUnderABusyIndicator) {
    FinishingView view(state);
    view.resize(700, 800);
    view.show();
    QApplication::processEvents();
    EXPECT_EQ(view.messageLabel()->text(), u"Saving results..."_s);
    EXPECT_GT(view.messageLabel()->font().pointSizeF(), view.font().pointSizeF());
    EXPECT_TRUE(view.busyIndicator()->isVisible());
    EXPECT_FALSE(view.busyIndicator()->accessibleName().isEmpty());
    EXPECT_LT(view.busyIndicator()->geometry().bottom(), view.messageLabel()->geometry().top());
    EXPECT_EQ(view.messageLabel()->geometry().top() - view.busyIndicator()->geometry().bottom() - 1, 16);
    // Centred in the window.
    const int middle =
        (view.busyIndicator()->geometry().top() + view.messageLabel()->geometry().bottom()) / 2;
    EXPECT_NEAR(middle, view.height() / 2, 2);
    EXPECT_NEAR(view.busyIndicator()->geometry().center().x(), view.width() / 2, 2);
}

TEST_F(FinishingViewTest, AChildThatNeverEndsLeavesTheScreenAfterThirtySeconds) {
    FinishingView view(state);
    view.show();
    QApplication::processEvents();
    EXPECT_TRUE(view.screen().isWaiting());
    time.advance(29.9);
    EXPECT_EQ(state.screen(), Screen::finishing);
    time.advance(0.1);
    EXPECT_EQ(state.screen(), Screen::celebration);
    EXPECT_FALSE(state.completeEvent());
}

TEST_F(FinishingViewTest, TheWaitStartsOnlyWhenTheScreenShows) {
    FinishingView view(state);
    time.advance(60);
    EXPECT_EQ(state.screen(), Screen::finishing);
    EXPECT_FALSE(view.screen().isWaiting());
}

TEST_F(FinishingViewTest, ACompleteEventMovesOnAndTheScreenLeavesQuietly) {
    QStackedWidget window;
    auto* view = new FinishingView(state);
    auto* celebration = new QWidget;
    window.addWidget(view);
    window.addWidget(celebration);
    window.show();
    QApplication::processEvents();
    time.advance(2);
    state.pythonProcess().processLine(completeLine);
    ASSERT_EQ(state.screen(), Screen::celebration);
    window.setCurrentWidget(celebration);
    EXPECT_FALSE(view->screen().isWaiting());
    time.advance(40);
    EXPECT_EQ(state.screen(), Screen::celebration);
    EXPECT_TRUE(state.completeEvent());
}

TEST_F(FinishingViewTest, AnotherScreenTakingItsPlaceEndsTheWaitAsIfItRanOut) {
    QStackedWidget window;
    auto* view = new FinishingView(state);
    auto* other = new QWidget;
    window.addWidget(view);
    window.addWidget(other);
    window.show();
    QApplication::processEvents();
    time.advance(3);
    window.setCurrentWidget(other);
    EXPECT_EQ(state.screen(), Screen::celebration);
}

TEST_F(FinishingViewTest, AClosedWindowKeepsTheSafetyNet) {
    auto window = std::make_unique<QWidget>();
    auto* view = new FinishingView(state, window.get());
    window->show();
    QApplication::processEvents();
    window->close();
    QApplication::processEvents();
    EXPECT_EQ(state.screen(), Screen::finishing) << "closing is not leaving for another screen";
    EXPECT_TRUE(view->screen().isWaiting());
    time.advance(30);
    EXPECT_EQ(state.screen(), Screen::celebration);
}

TEST_F(FinishingViewTest, RendersInBothSchemes) {
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        FinishingView view(state);
        view.resize(700, 800);
        view.show();
        QApplication::processEvents();
        const QImage picture = view.grab().toImage();
        EXPECT_EQ(picture.size(), QSize(700, 800) * picture.devicePixelRatio());
        // The text colour of the scheme is on the picture: the words were drawn readable.
        const QColor text = view.messageLabel()->palette().color(QPalette::WindowText);
        bool found = false;
        const QImage pixels = picture.convertToFormat(QImage::Format_RGB32);
        for (int y = 0; y < pixels.height() && !found; ++y) {
            for (int x = 0; x < pixels.width() && !found; ++x)
                found = QColor(pixels.pixel(x, y)) == text.toRgb();
        }
        EXPECT_TRUE(found) << Theme::name(scheme);
        if (qEnvironmentVariableIsSet("NORVANE_VIEW_PICTURES"))
            picture.save(
                QDir::temp().filePath(u"finishing-%1.png"_s.arg(QLatin1StringView(Theme::name(scheme)))));
    }
}
