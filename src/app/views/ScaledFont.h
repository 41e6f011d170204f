#pragma once

#include <QFont>
#include <QFontDatabase>
#include <QFontInfo>

#include <algorithm>

// The smallest text that the desktop still calls readable.
inline QFont smallestReadableFont() {
    return QFontDatabase::systemFont(QFontDatabase::SmallestReadableFont);
}

// A font a given factor larger or smaller than `font`, whether it is sized in points or in pixels, but
// never smaller than `floor`: sizes meant for a larger body text must not shrink past legibility on a
// desktop whose text is small already. Where the body text itself is below the floor, shrinking keeps it
// as it is rather than making it larger.
inline QFont scaledFont(QFont font, double factor, const QFont& floor = smallestReadableFont()) {
    // The floor may be sized in the other unit; what it comes to on this screen is what counts then.
    if (font.pointSizeF() > 0) {
        const double size = font.pointSizeF();
        const double lowest = floor.pointSizeF() > 0 ? floor.pointSizeF() : QFontInfo(floor).pointSizeF();
        font.setPointSizeF(std::max(size * factor, std::min(size, lowest)));
    } else if (font.pixelSize() > 0) {
        const int size = font.pixelSize();
        const int lowest = floor.pixelSize() > 0 ? floor.pixelSize() : QFontInfo(floor).pixelSize();
        font.setPixelSize(std::max({1, qRound(size * factor), std::min(size, lowest)}));
    }
    return font;
}
