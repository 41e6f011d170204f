#include "views/CelebrationView.h"

#include "core/AppState.h"
#include "screens/CelebrationScreen.h"
#include "support/CaptureLines.h"
#include "support/ReplayedSession.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QStackedWidget>
#include <QTest>

using namespace Qt::StringLiterals;
using Screen = AppState::Screen;

class CelebrationViewTest : public ReplayedSession {
protected:
    QDateTime shownAt;

    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }

    void finishCapture(double rttMs, bool withVideo = false) {
        for (int second = 1; second <= 5; ++second)
            feed(CaptureLines::ping(rttMs, second));
        feed(CaptureLines::speedTest(u"download"_s, 140, 1));
        feed(CaptureLines::speedTest(u"download"_s, 160, 2));
        feed(CaptureLines::speedTest(u"upload"_s, 60, 3));
        if (withVideo) {
            feed(CaptureLines::netflix(12.5));
            feed(CaptureLines::youTubeAbr(u"3840x2160"_s));
        }
        feed(CaptureLines::complete(120));
        ASSERT_EQ(state.screen(), Screen::celebration);
    }
    void show(CelebrationView& view, QSize size = {700, 800}) {
        view.model().setAppreciations({{u"general"_s, u"Every sample helps the next traveller."_s}});
        view.resize(size);
        view.show();
        shownAt = time.now();
        QApplication::processEvents();
    }
    void advanceTo(double seconds) {
        time.advance(seconds - double(shownAt.msecsTo(time.now())) / 1000.0);
        QApplication::processEvents();
    }
    // Draws the frame of this moment and returns the words on it.
    QStringList wordsOn(CelebrationView& view) {
        picture = view.grab().toImage().convertToFormat(QImage::Format_RGB32);
        return view.drawnTexts();
    }
    bool hasColor(const QColor& color, int tolerance = 6) const {
        for (int y = 0; y < picture.height(); ++y) {
            for (int x = 0; x < picture.width(); ++x) {
                const QColor pixel(picture.pixel(x, y));
                if (std::abs(pixel.red() - color.red()) <= tolerance &&
                    std::abs(pixel.green() - color.green()) <= tolerance &&
                    std::abs(pixel.blue() - color.blue()) <= tolerance)
                    return true;
            }
        }
        return false;
    }
    void savePicture(const QString& name) const {
        if (qEnvironmentVariableIsSet("NORVANE_VIEW_PICTURES"))
            picture.save(QDir::temp().filePath(u"celebration-%1.png"_s.arg(name)));
    }

    QImage picture;
};

TEST_F(CelebrationViewTest, MidRevealShowsTheRowsCountingUpAndNoVerdictYet) {
    finishCapture(30);
    CelebrationView view(state);
    show(view);
    advanceTo(0.6);
    const QStringList words = wordsOn(view);
    for (const QString& label : {u"Latency"_s, u"Loss"_s, u"Download"_s, u"Upload"_s})
        EXPECT_TRUE(words.contains(label)) << label.toStdString();
    EXPECT_FALSE(words.contains(u"Excellent"_s));
    EXPECT_FALSE(words.contains(u"click to skip"_s));
    // Counting up: the latency is on its way to 30 ms.
    const qsizetype latency = words.indexOf(u"Latency"_s);
    ASSERT_GE(latency, 0);
    const QString figure = words.at(latency + 1);
    EXPECT_TRUE(figure.endsWith(u" ms (P50)"_s)) << figure.toStdString();
    EXPECT_LT(figure.section(u' ', 0, 0).toInt(), 30);
    const qsizetype download = words.indexOf(u"Download"_s);
    ASSERT_GE(download, 0);
    EXPECT_TRUE(words.at(download + 1).endsWith(u" Mbps (P50)"_s)) << "two download tests";
    EXPECT_TRUE(view.isFrameTimerRunning());
}

TEST_F(CelebrationViewTest, AtTheVerdictItShowsTheWordInItsColourTheMessageAndLaterTheSkipHint) {
    finishCapture(30);
    CelebrationView view(state);
    show(view);
    advanceTo(1.6);
    QStringList words = wordsOn(view);
    EXPECT_TRUE(words.contains(u"Excellent"_s));
    EXPECT_TRUE(words.contains(u"Every sample helps the next traveller."_s));
    EXPECT_TRUE(words.contains(u"30 ms (P50)"_s)) << words.join(u" | "_s).toStdString();
    EXPECT_TRUE(words.contains(u"0.0 %"_s));
    EXPECT_TRUE(words.contains(u"150 Mbps (P50)"_s));
    EXPECT_TRUE(words.contains(u"60 Mbps"_s));
    EXPECT_TRUE(hasColor(QColor(50, 136, 189)));
    EXPECT_FALSE(words.contains(u"click to skip"_s));
    advanceTo(3);
    words = wordsOn(view);
    EXPECT_TRUE(words.contains(u"click to skip"_s));
}

TEST_F(CelebrationViewTest, AClickMovesToTheResults) {
    finishCapture(30);
    CelebrationView view(state);
    show(view);
    advanceTo(0.1);
    QTest::mouseClick(&view, Qt::LeftButton, {}, QPoint(20, 20));
    EXPECT_EQ(state.screen(), Screen::results);
    EXPECT_FALSE(view.model().isSequenceRunning());
    advanceTo(10);
    EXPECT_FALSE(view.model().showVerdict());
}

TEST_F(CelebrationViewTest, TheRevealEndsInTheResultsByItself) {
    finishCapture(30);
    CelebrationView view(state);
    show(view);
    advanceTo(5.239);
    EXPECT_EQ(state.screen(), Screen::celebration);
    advanceTo(5.24);
    EXPECT_EQ(state.screen(), Screen::results);
}

TEST_F(CelebrationViewTest, FramesAreDrawnOnlyWhileSomethingMoves) {
    finishCapture(30);
    CelebrationView view(state);
    show(view);
    EXPECT_TRUE(view.isFrameTimerRunning());
    advanceTo(3.5);
    EXPECT_FALSE(view.isFrameTimerRunning()) << "all holds still until the results";
}

TEST_F(CelebrationViewTest, LeavingTheScreenStopsTheReveal) {
    finishCapture(30);
    QStackedWidget window;
    auto* view = new CelebrationView(state);
    auto* other = new QWidget;
    window.addWidget(view);
    window.addWidget(other);
    view->model().setAppreciations({});
    window.show();
    QApplication::processEvents();
    ASSERT_TRUE(view->model().isSequenceRunning());
    window.setCurrentWidget(other);
    EXPECT_FALSE(view->model().isSequenceRunning());
    EXPECT_FALSE(view->isFrameTimerRunning());
    time.advance(10);
    EXPECT_EQ(state.screen(), Screen::celebration);
}

TEST_F(CelebrationViewTest, AFairVerdictHasNoConfettiAndAnImpairedOneAFixedText) {
    finishCapture(300);
    CelebrationView view(state);
    show(view);
    advanceTo(1.6);
    const QStringList words = wordsOn(view);
    EXPECT_TRUE(words.contains(u"Impaired"_s));
    bool fixedText = false;
    for (const QString& text : CelebrationScreen::toughConditionsMessages)
        fixedText = fixedText || words.contains(text);
    EXPECT_TRUE(fixedText) << words.join(u" | "_s).toStdString();
    EXPECT_TRUE(view.model().particles().isEmpty());
    EXPECT_TRUE(hasColor(QColor(214, 39, 40)));
}

TEST_F(CelebrationViewTest, VideoRowsAndAGeostationaryVerdict) {
    feed(CaptureLines::status(620, 120));
    finishCapture(620, true);
    CelebrationView view(state);
    show(view);
    advanceTo(1.6);
    const QStringList words = wordsOn(view);
    EXPECT_TRUE(words.contains(u"Good (GEO)"_s)) << words.join(u" | "_s).toStdString();
    EXPECT_TRUE(words.contains(u"Netflix"_s));
    EXPECT_TRUE(words.contains(u"12 Mbps (~4K)"_s));
    EXPECT_TRUE(words.contains(u"YouTube"_s));
    EXPECT_TRUE(words.contains(u"4K"_s));
}

TEST_F(CelebrationViewTest, RendersInBothSchemesAtTheUsualAndTheSmallestSize) {
    finishCapture(10, true);
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        for (const QSize size : {QSize(700, 800), QSize(600, 450)}) {
            CelebrationView view(state);
            show(view, size);
            const QString name = u"%1-%2x%3"_s.arg(QLatin1StringView(Theme::name(scheme)))
                                     .arg(size.width())
                                     .arg(size.height());
            advanceTo(0.7);
            wordsOn(view);
            savePicture(u"mid-"_s + name);
            // Six rows: the verdict comes at 1.3 s; a third of a second later the confetti is in flight.
            advanceTo(1.65);
            const QStringList words = wordsOn(view);
            savePicture(u"verdict-"_s + name);
            EXPECT_EQ(picture.size(), size * picture.devicePixelRatio());
            EXPECT_TRUE(words.contains(u"Excellent"_s)) << name.toStdString();
            EXPECT_TRUE(hasColor(QColor(50, 136, 189))) << name.toStdString();
            advanceTo(3);
            wordsOn(view);
            savePicture(u"end-"_s + name);
            // Start over for the next picture: the capture is still celebrating.
            view.hide();
        }
    }
}

TEST_F(CelebrationViewTest, RendersAnImpairedCaptureInBothSchemes) {
    finishCapture(300);
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        CelebrationView view(state);
        show(view, {600, 450});
        advanceTo(1.8);
        const QStringList words = wordsOn(view);
        savePicture(u"impaired-"_s + QLatin1StringView(Theme::name(scheme)));
        EXPECT_TRUE(words.contains(u"Impaired"_s));
        EXPECT_TRUE(hasColor(QColor(214, 39, 40))) << Theme::name(scheme);
        view.hide();
    }
}
