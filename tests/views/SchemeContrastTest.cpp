#include "capture/Contrast.h"
#include "capture/QualityRating.h"
#include "screens/DiagnosticsScreen.h"
#include "screens/StatCard.h"
#include "support/TempHome.h"
#include "views/DiagnosticsView.h"
#include "views/SettingsView.h"
#include "views/StatCardView.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QImage>
#include <QLineEdit>
#include <QProxyStyle>
#include <QStyle>
#include <QStyleFactory>
#include <QStyleOptionButton>
#include <QTest>
#include <QVBoxLayout>

#include <ostream>

using namespace Qt::StringLiterals;

// Every colour that carries meaning, held against what it is drawn on, in both schemes: text needs
// 4.5:1, a mark such as an icon, a ring or the edge of a control 3:1.

namespace {

using Scheme = Theme::Scheme;

double ratio(const QColor& colour, const QColor& background) {
    const QColor seen = Theme::seenOver(colour, background);
    return Contrast::ratio(Theme::toRgb(seen), Theme::toRgb(background));
}

// Writes the failure as "#rrggbb on #rrggbb: 2.9".
::testing::AssertionResult reads(const QColor& colour, const QColor& background, double minimum) {
    const double found = ratio(colour, background);
    if (found >= minimum)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << colour.name(QColor::HexArgb).toStdString() << " on " << background.name().toStdString() << ": "
           << found << " < " << minimum;
}

// The highest contrast that any pixel of `area` has against `background`: what the eye finds there.
double strongestInk(const QImage& image, const QRect& area, const QColor& background) {
    double strongest = 1;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x)
            strongest = std::max(strongest, ratio(image.pixelColor(x, y), background));
    }
    return strongest;
}

// A check box as drawn, with where its box is and the background it stands on: the far end of the row,
// past the label.
struct CheckBoxPicture {
    QImage image;
    QRect indicator;
    QColor behind;
};

CheckBoxPicture picture(QCheckBox& box) {
    QStyleOptionButton option;
    option.initFrom(&box);
    CheckBoxPicture shown;
    shown.indicator = box.style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, &box);
    shown.image = box.grab().toImage();
    shown.behind = shown.image.pixelColor(shown.image.width() - 1, shown.indicator.center().y());
    return shown;
}

class SchemeContrastTest : public ::testing::TestWithParam<Scheme> {
protected:
    void SetUp() override {
        Theme::apply(*qApp, GetParam());
        palette = QApplication::palette();
        window = palette.color(QPalette::Window);
    }
    void TearDown() override { Theme::apply(*qApp, Scheme::Light); }

    QPalette palette;
    QColor window;
};

TEST_P(SchemeContrastTest, TextRolesReadOnTheSurfacesTheyAreDrawnOn) {
    struct Pair {
        const char* name;
        QColor text;
        QColor surface;
    };
    const QColor secondary = palette.color(QPalette::PlaceholderText);
    const QColor card = StatCardView::tileColor(palette);
    const Pair pairs[] = {
        {"window text", palette.color(QPalette::WindowText), window},
        {"field text", palette.color(QPalette::Text), palette.color(QPalette::Base)},
        {"list text on alternate rows", palette.color(QPalette::Text),
         palette.color(QPalette::AlternateBase)},
        {"button text", palette.color(QPalette::ButtonText), palette.color(QPalette::Button)},
        {"tooltip text", palette.color(QPalette::ToolTipText), palette.color(QPalette::ToolTipBase)},
        {"selected text", palette.color(QPalette::HighlightedText), palette.color(QPalette::Highlight)},
        {"secondary text on the window", secondary, window},
        {"secondary text in a field", secondary, palette.color(QPalette::Base)},
        {"secondary text on a button", secondary, palette.color(QPalette::Button)},
        {"secondary text on a card", secondary, card},
        {"text on a card", palette.color(QPalette::WindowText), card},
        {"link on the window", palette.color(QPalette::Link), window},
        {"link in a field", palette.color(QPalette::Link), palette.color(QPalette::Base)},
    };
    for (const Pair& pair : pairs)
        EXPECT_TRUE(reads(pair.text, pair.surface, Contrast::textMinimum)) << pair.name;
}

TEST_P(SchemeContrastTest, AccentAndControlEdgesStandOut) {
    // The accent fills a checked box and a progress bar and draws the spinners' arcs.
    EXPECT_TRUE(reads(palette.color(QPalette::Highlight), window, Contrast::markMinimum));
    EXPECT_TRUE(
        reads(palette.color(QPalette::Highlight), palette.color(QPalette::Base), Contrast::markMinimum));
    EXPECT_TRUE(reads(Theme::controlEdge(palette), window, Contrast::markMinimum));
    EXPECT_TRUE(reads(Theme::controlEdge(palette), palette.color(QPalette::Base), Contrast::markMinimum));
}

TEST_P(SchemeContrastTest, TheSettingsCheckBoxShowsItsEdgeAndItsStateOnTheWindow) {
    TempHome home;
    SettingsView view;
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    auto* box = view.findChild<QCheckBox*>();
    ASSERT_NE(box, nullptr);
    const QRect indicator = picture(*box).indicator;
    ASSERT_GE(indicator.width(), 8);

    if (box->isChecked())
        QTest::mouseClick(box, Qt::LeftButton, {}, indicator.center());
    ASSERT_FALSE(box->isChecked());
    const CheckBoxPicture unchecked = picture(*box);
    EXPECT_GE(strongestInk(unchecked.image, indicator, unchecked.behind), Contrast::markMinimum)
        << "the unchecked box's edge";

    QTest::mouseClick(box, Qt::LeftButton, {}, indicator.center());
    ASSERT_TRUE(box->isChecked());
    const CheckBoxPicture checked = picture(*box);
    // Away from the tick, a checked box is filled, not bare.
    const QColor fill = checked.image.pixelColor(indicator.left() + indicator.width() * 3 / 4,
                                                 indicator.top() + indicator.height() * 4 / 5);
    EXPECT_GE(ratio(fill, checked.behind), Contrast::markMinimum) << "the checked box's fill";
    EXPECT_GE(strongestInk(checked.image, indicator.adjusted(2, 2, -2, -2), fill), Contrast::markMinimum)
        << "the tick on the fill";
}

TEST_P(SchemeContrastTest, ATextFieldShowsItsEdgeOnTheWindow) {
    QWidget holder;
    auto* layout = new QVBoxLayout(&holder);
    auto* field = new QLineEdit(&holder);
    auto* other = new QLineEdit(&holder);
    layout->addWidget(field);
    layout->addWidget(other);
    holder.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&holder));
    QTest::mouseClick(other, Qt::LeftButton);
    ASSERT_FALSE(field->hasFocus());
    const QImage image = field->grab().toImage();
    const QRect topEdge(field->width() / 4, 0, field->width() / 2, 2);
    EXPECT_GE(strongestInk(image, topEdge, window), Contrast::markMinimum);
}

TEST_P(SchemeContrastTest, QualityColoursReadOnTheCards) {
    const QColor card = StatCardView::tileColor(palette);
    for (const QualityRating::Value value : QualityRating::allCases()) {
        const QualityRating rating(value);
        SCOPED_TRACE(rating.rawValue().toStdString());
        StatCard figure;
        figure.value = u"0.0 %"_s;
        figure.rating = rating;
        EXPECT_TRUE(reads(StatCardView::valueColor(figure, palette), card, Contrast::textMinimum));
        EXPECT_TRUE(reads(StatCardView::ratingColor(rating, palette), card, Contrast::textMinimum));
    }
    StatCard idle;
    idle.value = u"idle"_s;
    idle.valueColor = CardColor::secondaryText();
    EXPECT_TRUE(reads(StatCardView::valueColor(idle, palette), card, Contrast::textMinimum));
}

TEST_P(SchemeContrastTest, TheLossFigureIsDrawnInItsReadableShade) {
    StatCard loss;
    loss.title = u"Loss"_s;
    loss.value = u"0.0 %"_s;
    loss.rating = QualityRating::superior;
    StatCardView view;
    view.setCard(loss);
    view.resize(view.sizeHint());
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    const QColor expected = StatCardView::valueColor(loss, palette);
    ASSERT_GE(ratio(expected, StatCardView::tileColor(palette)), Contrast::textMinimum);
    const QImage image = view.grab().toImage();
    bool found = false;
    for (int y = 0; y < image.height() && !found; ++y) {
        for (int x = 0; x < image.width() && !found; ++x)
            found = image.pixelColor(x, y).rgb() == expected.rgb();
    }
    EXPECT_TRUE(found) << "no pixel of the figure in " << expected.name().toStdString();
}

TEST_P(SchemeContrastTest, TheDiagnosisMarksAndIconsStandOut) {
    for (const auto tone : {DiagnosticsVerdictText::Tone::yellow, DiagnosticsVerdictText::Tone::orange,
                            DiagnosticsVerdictText::Tone::red}) {
        EXPECT_TRUE(reads(DiagnosticsView::verdictColour(tone, palette), window, Contrast::markMinimum))
            << "verdict tone " << int(tone);
    }
    using Mark = DiagnosticsScreen::Mark;
    for (const Mark mark : {Mark::passed, Mark::failed, Mark::waiting}) {
        DiagnosticsScreen::CheckRow row;
        row.mark = mark;
        // A filled mark has its tick or cross cut out in the window colour, so one ratio serves both.
        EXPECT_TRUE(reads(DiagnosticsView::markColour(row, palette), window, Contrast::markMinimum))
            << "mark " << int(mark);
    }
    DiagnosticsScreen::CheckRow waiting;
    waiting.mark = Mark::waiting;
    EXPECT_LT(ratio(DiagnosticsView::markColour(waiting, palette), window),
              ratio(palette.color(QPalette::PlaceholderText), window))
        << "a ring still waiting stays dimmer than the secondary text";
}

class DesktopSchemeContrastTest : public ::testing::Test {
protected:
    void TearDown() override { Theme::apply(*qApp, Scheme::Light); }
};

// The program itself keeps the desktop's style and palette, and only the edges are drawn its own way.
TEST_F(DesktopSchemeContrastTest, TheDesktopStyleStaysAndACheckBoxEdgeShows) {
    // A desktop with plain Fusion and its standard palette, whose check box edge is faint on the window.
    QApplication::setStyle(QStyleFactory::create(u"Fusion"_s));
    QApplication::setPalette(QApplication::style()->standardPalette());
    Theme::follow(*qApp);
    const auto* style = qobject_cast<const QProxyStyle*>(QApplication::style());
    ASSERT_NE(style, nullptr);
    EXPECT_EQ(style->baseStyle()->name(), u"fusion"_s);

    QCheckBox box(u"Auto-upload captures"_s);
    box.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&box));
    const CheckBoxPicture shown = picture(box);
    EXPECT_GE(strongestInk(shown.image, shown.indicator, shown.behind), Contrast::markMinimum);
}

INSTANTIATE_TEST_SUITE_P(BothSchemes, SchemeContrastTest, ::testing::Values(Scheme::Light, Scheme::Dark),
                         [](const ::testing::TestParamInfo<Scheme>& info) {
                             return std::string(Theme::name(info.param)) == "light" ? "Light" : "Dark";
                         });

} // namespace
