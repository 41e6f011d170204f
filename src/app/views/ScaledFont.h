#pragma once

#include <QFont>
#include <QFontDatabase>
#include <QFontInfo>

#include <algorithm>

// A font's size in points, also for one sized in pixels: what it comes to on this screen.
inline double pointsOf(const QFont& font) {
    return font.pointSizeF() > 0 ? font.pointSizeF() : QFontInfo(font).pointSizeF();
}

// The smallest text that the desktop still calls readable. Desktops that name no such size (GNOME, Qt's
// own platforms) answer with their body font or a larger one, which would forbid every caption; there the
// floor is 8 points, the size that the desktops which do name one ship by default.
inline QFont smallestReadableFont(const QFont& reported, const QFont& body) {
    if (pointsOf(reported) < pointsOf(body))
        return reported;
    QFont fallback = body;
    fallback.setPointSizeF(8);
    return fallback;
}

inline QFont smallestReadableFont() {
    return smallestReadableFont(QFontDatabase::systemFont(QFontDatabase::SmallestReadableFont),
                                QFontDatabase::systemFont(QFontDatabase::GeneralFont));
}

// A font a given factor larger or smaller than `font`, whether it is sized in points or in pixels, but
// never smaller than `floor`: sizes meant for a larger body text must not shrink past legibility on a
// desktop whose text is small already. Where the body text itself is below the floor, shrinking keeps it
// as it is rather than making it larger.
inline QFont scaledFont(QFont font, double factor, const QFont& floor = smallestReadableFont()) {
    // The floor may be sized in the other unit; what it comes to on this screen is what counts then.
    if (font.pointSizeF() > 0) {
        const double size = font.pointSizeF();
        const double lowest = pointsOf(floor);
        font.setPointSizeF(std::max(size * factor, std::min(size, lowest)));
    } else if (font.pixelSize() > 0) {
        const int size = font.pixelSize();
        const int lowest = floor.pixelSize() > 0 ? floor.pixelSize() : QFontInfo(floor).pixelSize();
        font.setPixelSize(std::max({1, qRound(size * factor), std::min(size, lowest)}));
    }
    return font;
}
