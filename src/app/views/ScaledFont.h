#pragma once

#include <QFont>

#include <algorithm>

// A font a step larger or smaller than `font`, whether its size is given in points or in pixels.
inline QFont scaledFont(QFont font, double factor) {
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * factor);
    else if (font.pixelSize() > 0)
        font.setPixelSize(std::max(1, qRound(font.pixelSize() * factor)));
    return font;
}
