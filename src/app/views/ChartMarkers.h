#pragma once

#include <QColor>
#include <QImage>

// Markers that a chart stamps at every point of a series. Each is drawn once at the screen's pixel
// density, which costs far less than a graphics item for each point would.
namespace ChartMarkers {

// A transparent square canvas of `size` logical pixels.
QImage canvas(qreal size, qreal pixelRatio);
// A filled round dot `size` logical pixels across.
QImage dot(const QColor& color, qreal size, qreal pixelRatio);

} // namespace ChartMarkers
