#pragma once

#include <QColor>
#include <QImage>

class QPainter;
class QRectF;
class QXYSeries;

// Markers that a chart stamps at every point of a series. Each is drawn once at the screen's pixel
// density, which costs far less than a graphics item for each point would.
namespace ChartMarkers {

// A filled round dot `size` logical pixels across.
QImage dot(const QColor& color, qreal size, qreal pixelRatio);

// The charts give the size of a mark as its area in square points, so that a mark of twice the size
// carries twice the ink. This is the width of the square that holds a round mark of that area.
qreal sideOfArea(qreal area);

enum class Shape { dot, cross };

// Two strokes corner to corner, inside `box`.
void drawCross(QPainter& painter, const QRectF& box, const QColor& color);

// Makes the series draw nothing but a mark of `area` square points at each point: a round dot, or a
// cross over the same square.
void showMarks(QXYSeries* series, Shape shape, const QColor& color, qreal area, qreal pixelRatio);

} // namespace ChartMarkers
