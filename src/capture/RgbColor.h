#pragma once

#include <QString>

// An opaque sRGB colour as three channels of 0 to 255. The core library has no QtGui, so colours
// travel as plain values and the views turn them into QColor.
struct RgbColor {
    int red = 0;
    int green = 0;
    int blue = 0;

    // "#rrggbb", the form that QColor and style sheets read.
    QString hexName() const {
        return QString::asprintf("#%02x%02x%02x", red & 0xff, green & 0xff, blue & 0xff);
    }
    friend constexpr bool operator==(const RgbColor&, const RgbColor&) = default;
};
