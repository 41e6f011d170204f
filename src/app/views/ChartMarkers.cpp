#include "ChartMarkers.h"

#include <QPainter>
#include <QXYSeries>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ChartMarkers {

namespace {

// A transparent square canvas of `size` logical pixels.
QImage canvas(qreal size, qreal pixelRatio) {
    const int side = int(std::ceil(size * pixelRatio));
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(pixelRatio);
    image.fill(Qt::transparent);
    return image;
}

} // namespace

QImage dot(const QColor& color, qreal size, qreal pixelRatio) {
    QImage image = canvas(size, pixelRatio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QRectF(0, 0, size, size));
    return image;
}

qreal sideOfArea(qreal area) {
    return 2.0 * std::sqrt(std::max<qreal>(0, area) / std::numbers::pi);
}

void drawCross(QPainter& painter, const QRectF& box, const QColor& color) {
    // Strokes a fifth of the box wide, kept inside it by their round caps.
    const qreal stroke = std::max<qreal>(1, box.width() / 5);
    painter.setPen(QPen(color, stroke, Qt::SolidLine, Qt::RoundCap));
    const qreal inset = stroke / 2;
    const QRectF arms = box.adjusted(inset, inset, -inset, -inset);
    painter.drawLine(arms.topLeft(), arms.bottomRight());
    painter.drawLine(arms.topRight(), arms.bottomLeft());
}

void showMarks(QXYSeries* series, Shape shape, const QColor& color, qreal area, qreal pixelRatio) {
    const qreal side = sideOfArea(area);
    // At least two pixels to a point: a mark of a few points drawn at one would be a smudge.
    const qreal ratio = std::max<qreal>(2, pixelRatio);
    QImage marker;
    if (shape == Shape::dot) {
        marker = dot(color, side, ratio);
    } else {
        marker = canvas(side, ratio);
        QPainter painter(&marker);
        painter.setRenderHint(QPainter::Antialiasing);
        drawCross(painter, QRectF(0, 0, side, side), color);
    }
    series->setPen(Qt::NoPen);
    series->setMarkerSize(side);
    series->setLightMarker(marker);
}

} // namespace ChartMarkers
