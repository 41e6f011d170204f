#include "Theme.h"

#include <QApplication>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>

namespace Theme {

void apply(QApplication& app, Scheme scheme) {
    app.setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    if (scheme == Scheme::Light) {
        app.setPalette(app.style()->standardPalette());
        return;
    }
    QPalette dark;
    const QColor window(0x1e, 0x1f, 0x22);
    const QColor base(0x16, 0x17, 0x19);
    const QColor text(0xe8, 0xe9, 0xeb);
    const QColor disabledText(0x7a, 0x7c, 0x80);
    dark.setColor(QPalette::Window, window);
    dark.setColor(QPalette::WindowText, text);
    dark.setColor(QPalette::Base, base);
    dark.setColor(QPalette::AlternateBase, QColor(0x25, 0x26, 0x2a));
    dark.setColor(QPalette::ToolTipBase, QColor(0x2b, 0x2d, 0x31));
    dark.setColor(QPalette::ToolTipText, text);
    dark.setColor(QPalette::PlaceholderText, disabledText);
    dark.setColor(QPalette::Text, text);
    dark.setColor(QPalette::Button, QColor(0x2b, 0x2d, 0x31));
    dark.setColor(QPalette::ButtonText, text);
    dark.setColor(QPalette::BrightText, QColor(0xff, 0x6b, 0x6b));
    dark.setColor(QPalette::Light, QColor(0x3a, 0x3c, 0x41));
    dark.setColor(QPalette::Midlight, QColor(0x32, 0x34, 0x38));
    dark.setColor(QPalette::Mid, QColor(0x28, 0x29, 0x2d));
    dark.setColor(QPalette::Dark, QColor(0x10, 0x10, 0x12));
    dark.setColor(QPalette::Shadow, Qt::black);
    dark.setColor(QPalette::Highlight, QColor(0x3d, 0x8b, 0xfd));
    dark.setColor(QPalette::HighlightedText, Qt::white);
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

} // namespace Theme
