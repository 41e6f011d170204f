#include "ChartMarkers.h"

#include <QPainter>

#include <cmath>

namespace ChartMarkers {

QImage canvas(qreal size, qreal pixelRatio) {
    const int side = int(std::ceil(size * pixelRatio));
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(pixelRatio);
    image.fill(Qt::transparent);
    return image;
}

QImage dot(const QColor& color, qreal size, qreal pixelRatio) {
    QImage image = canvas(size, pixelRatio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QRectF(0, 0, size, size));
    return image;
}

} // namespace ChartMarkers
