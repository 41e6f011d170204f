#include "Theme.h"

#include "capture/Contrast.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QProxyStyle>
#include <QStyle>
#include <QStyleFactory>
#include <QStyleOption>

#include <algorithm>

namespace Theme {

namespace {

// A desktop style, but with check boxes and text fields whose edges show in either scheme: Fusion, for
// one, takes their outline from a darker window colour, which vanishes on a dark window and is faint on
// a light one. A checked box is filled with the accent colour, so that its state reads at a glance and
// not only by a thin tick. Flat and default buttons and framed lists show the keyboard's focus with a
// frame of the accent colour, which Fusion leaves unmarked or alike on them.
class Style : public QProxyStyle {
public:
    explicit Style(const QString& base)
        : QProxyStyle(QStyleFactory::create(base)) {}

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override {
        QProxyStyle::drawControl(element, option, painter, widget);
        // Fusion outlines a default button just as it does a focused one, so the default needs the frame too.
        const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
        const bool unmarkedButton =
            element == CE_PushButtonBevel && button &&
            (button->features & (QStyleOptionButton::Flat | QStyleOptionButton::DefaultButton));
        if ((unmarkedButton || element == CE_ShapedFrame) && showsKeyboardFocus(*option))
            drawFocusFrame(*option, *painter);
    }

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override {
        if (element == PE_IndicatorCheckBox) {
            drawCheckBox(*option, *painter);
            return;
        }
        QProxyStyle::drawPrimitive(element, option, painter, widget);
        if (element == PE_FrameLineEdit && !(option->state & State_HasFocus)) {
            painter->save();
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setPen(QPen(controlEdge(option->palette), 1));
            painter->setBrush(Qt::NoBrush);
            painter->drawRoundedRect(QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5), 2, 2);
            painter->restore();
        }
    }

private:
    static bool showsKeyboardFocus(const QStyleOption& option) {
        return (option.state & State_HasFocus) && (option.state & State_KeyboardFocusChange);
    }

    static void drawFocusFrame(const QStyleOption& option, QPainter& painter) {
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(option.palette.color(QPalette::Highlight), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(option.rect).adjusted(1, 1, -1, -1), 4, 4);
        painter.restore();
    }

    static void drawCheckBox(const QStyleOption& option, QPainter& painter) {
        const QPalette& palette = option.palette;
        const bool marked = option.state & (State_On | State_NoChange);
        const bool focused = (option.state & State_HasFocus) && (option.state & State_KeyboardFocusChange);
        const QColor accent = palette.color(QPalette::Highlight);
        const QRectF box = QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5);
        const qreal radius = std::max(2.0, box.width() / 6);

        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        if (!(option.state & State_Enabled))
            painter.setOpacity(0.5);
        QColor fill = marked ? accent : palette.color(QPalette::Base);
        if (option.state & State_Sunken) {
            QColor press = palette.color(QPalette::Text);
            press.setAlphaF(0.15f);
            fill = marked ? accent.darker(115) : seenOver(press, fill);
        }
        painter.setBrush(fill);
        painter.setPen(QPen(marked || focused ? accent : controlEdge(palette), focused && !marked ? 2 : 1));
        painter.drawRoundedRect(box, radius, radius);

        if (marked) {
            const qreal w = box.width();
            const qreal h = box.height();
            QPainterPath mark;
            if (option.state & State_NoChange) {
                mark.moveTo(box.left() + w * 0.25, box.center().y());
                mark.lineTo(box.right() - w * 0.25, box.center().y());
            } else {
                mark.moveTo(box.left() + w * 0.24, box.top() + h * 0.52);
                mark.lineTo(box.left() + w * 0.42, box.top() + h * 0.70);
                mark.lineTo(box.left() + w * 0.77, box.top() + h * 0.30);
            }
            painter.setPen(QPen(palette.color(QPalette::HighlightedText), std::max(1.5, w / 7), Qt::SolidLine,
                                Qt::RoundCap, Qt::RoundJoin));
            painter.setBrush(Qt::NoBrush);
            painter.drawPath(mark);
        }
        painter.restore();
    }
};

} // namespace

void follow(QApplication& app) {
    app.setStyle(new Style(app.style()->name()));
}

void apply(QApplication& app, Scheme scheme) {
    app.setStyle(new Style(QStringLiteral("Fusion")));
    const QColor white(Qt::white);
    if (scheme == Scheme::Light) {
        QPalette light = app.style()->standardPalette();
        // The standard secondary text is black at half strength, which misses body-text contrast on the
        // window and on the cards; the accent is a shade too light for white text on it.
        light.setColor(QPalette::PlaceholderText, QColor(0x60, 0x62, 0x67));
        for (auto group : {QPalette::Active, QPalette::Inactive})
            light.setColor(group, QPalette::Highlight,
                           legibleText(light.color(group, QPalette::Highlight), white));
        app.setPalette(light);
        return;
    }
    QPalette dark;
    const QColor window(0x1e, 0x1f, 0x22);
    const QColor base(0x16, 0x17, 0x19);
    const QColor text(0xe8, 0xe9, 0xeb);
    const QColor secondaryText(0x9a, 0x9c, 0xa1);
    const QColor disabledText(0x7a, 0x7c, 0x80);
    dark.setColor(QPalette::Window, window);
    dark.setColor(QPalette::WindowText, text);
    dark.setColor(QPalette::Base, base);
    dark.setColor(QPalette::AlternateBase, QColor(0x25, 0x26, 0x2a));
    dark.setColor(QPalette::ToolTipBase, QColor(0x2b, 0x2d, 0x31));
    dark.setColor(QPalette::ToolTipText, text);
    dark.setColor(QPalette::PlaceholderText, secondaryText);
    dark.setColor(QPalette::Text, text);
    dark.setColor(QPalette::Button, QColor(0x2b, 0x2d, 0x31));
    dark.setColor(QPalette::ButtonText, text);
    dark.setColor(QPalette::BrightText, QColor(0xff, 0x6b, 0x6b));
    dark.setColor(QPalette::Light, QColor(0x3a, 0x3c, 0x41));
    dark.setColor(QPalette::Midlight, QColor(0x32, 0x34, 0x38));
    dark.setColor(QPalette::Mid, QColor(0x28, 0x29, 0x2d));
    dark.setColor(QPalette::Dark, QColor(0x10, 0x10, 0x12));
    dark.setColor(QPalette::Shadow, Qt::black);
    // Dark enough for white text on it, and still light enough to stand out from the window.
    dark.setColor(QPalette::Highlight, legibleText(QColor(0x3d, 0x8b, 0xfd), white));
    dark.setColor(QPalette::HighlightedText, white);
    dark.setColor(QPalette::Link, QColor(0x6c, 0xa8, 0xff));
    dark.setColor(QPalette::LinkVisited, QColor(0xb0, 0x8c, 0xff));
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        dark.setColor(QPalette::Disabled, role, disabledText);
    app.setPalette(dark);
}

bool isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128;
}

const char* name(Scheme scheme) {
    return scheme == Scheme::Light ? "light" : "dark";
}

QColor toColor(RgbColor rgb) {
    return QColor(rgb.red, rgb.green, rgb.blue);
}

RgbColor toRgb(const QColor& colour) {
    const QColor rgb = colour.toRgb();
    return {rgb.red(), rgb.green(), rgb.blue()};
}

QColor seenOver(const QColor& colour, const QColor& background) {
    return toColor(Contrast::over(toRgb(colour), colour.alphaF(), toRgb(background)));
}

static QColor legible(const QColor& colour, const QColor& background, double minimum) {
    return toColor(Contrast::atLeast(toRgb(seenOver(colour, background)), toRgb(background), minimum));
}

QColor legibleText(const QColor& colour, const QColor& background) {
    return legible(colour, background, Contrast::textMinimum);
}

QColor legibleMark(const QColor& colour, const QColor& background) {
    return legible(colour, background, Contrast::markMinimum);
}

QColor orange(const QPalette& palette) {
    return isDark(palette) ? QColor(0xff, 0x9f, 0x0a) : QColor(0xe0, 0x6c, 0x00);
}

QColor bannerOrange() {
    return QColor(0xa3, 0x42, 0x00);
}

QColor controlEdge(const QPalette& palette) {
    const QColor window = palette.color(QPalette::Window);
    return legibleMark(palette.color(QPalette::PlaceholderText), window);
}

} // namespace Theme
