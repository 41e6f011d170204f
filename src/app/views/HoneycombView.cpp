#include "HoneycombView.h"

#include "Theme.h"

#include "RunningParts.h"
#include "ScaledFont.h"
#include "core/AppState.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>

#include <cmath>
#include <numbers>

using namespace Qt::StringLiterals;

namespace {

QColor grey(double level, double opacity = 1) {
    return QColor::fromRgbF(float(level), float(level), float(level), float(opacity));
}

QColor blackOrWhite(bool white, double opacity) {
    return white ? grey(1, opacity) : grey(0, opacity);
}

} // namespace

QColor HoneycombView::backgroundColor(bool dark) {
    return dark ? grey(0.06) : grey(0.92);
}

QColor HoneycombView::borderColor(bool dark) {
    return blackOrWhite(dark, 0.1);
}

QColor HoneycombView::labelColor(bool dark) {
    return blackOrWhite(dark, 0.3);
}

std::optional<QColor> HoneycombView::cellFill(const HexCell& cell) {
    if (!cell.quality)
        return std::nullopt;
    QColor color;
    if (*cell.quality == QualityRating::broken) {
        color = grey(0.25);
    } else {
        const RgbColor rgb = cell.quality->color();
        color = QColor(rgb.red, rgb.green, rgb.blue);
    }
    if (cell.faded)
        color.setAlphaF(float(fadedOpacity));
    return color;
}

std::optional<QPen> HoneycombView::cellStroke(const HexCell& cell, bool dark) {
    if (!cell.quality || !cell.isSpeedTest)
        return std::nullopt;
    QPen pen(dark ? grey(1, 0.7) : grey(0, 0.5));
    pen.setWidthF(speedTestStrokeWidth);
    return pen;
}

QPolygonF HoneycombView::hexagon(QPointF centre, double radius) {
    QPolygonF polygon;
    for (int corner = 0; corner < 6; ++corner) {
        // Corners at 30°, 90°, …: with y growing downwards, the one at 270° points up.
        const double angle = (30.0 + 60.0 * corner) * std::numbers::pi / 180.0;
        polygon << centre + QPointF(radius * std::cos(angle), radius * std::sin(angle));
    }
    return polygon;
}

HoneycombView::HoneycombView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state) {
    setFixedHeight(stripHeight);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(u"Honeycomb"_s);
    connect(&m_state, &AppState::honeycombChanged, this, &HoneycombView::attach);
    // The capture's length arrives with its first event and sets how many cells the strip should hold.
    connect(&m_state, &AppState::sessionChanged, this, &HoneycombView::relayoutForNewTarget);
    attach();
}

QString HoneycombView::labelText() const {
    return m_model ? m_model->label() : QString();
}

QFont HoneycombView::labelFont() const {
    return scaledFont(font(), labelFontScale);
}

QSize HoneycombView::sizeHint() const {
    return QSize(fontMetrics().averageCharWidth() * 60, stripHeight);
}

QSize HoneycombView::minimumSizeHint() const {
    return QSize(fontMetrics().averageCharWidth() * 12, stripHeight);
}

void HoneycombView::attach() {
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = &m_state.honeycomb();
    connect(m_model, &HoneycombState::changed, this, &HoneycombView::modelChanged);
    m_laidOutWidth = -1;
    m_laidOutTarget = -1;
    if (isVisible())
        relayout();
    modelChanged();
}

void HoneycombView::relayout() {
    if (!m_model)
        return;
    m_laidOutWidth = width();
    m_laidOutTarget = m_model->targetFillSeconds();
    m_model->layoutCells(width(), stripHeight);
}

void HoneycombView::relayoutForNewTarget() {
    // Only while nothing is painted yet: a layout wipes the strip.
    if (!m_model || m_laidOutWidth < 0 || m_model->filledCount() > 0 || m_model->generation() > 0)
        return;
    if (m_model->targetFillSeconds() != m_laidOutTarget)
        relayout();
}

void HoneycombView::modelChanged() {
    setAccessibleDescription(labelText());
    update();
}

void HoneycombView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (isVisible() && width() != m_laidOutWidth)
        relayout();
}

void HoneycombView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (width() != m_laidOutWidth)
        relayout();
}

void HoneycombView::paintEvent(QPaintEvent*) {
    const bool dark = Theme::isDark(palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);

    const QRectF strip = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath outline;
    outline.addRoundedRect(strip, cornerRadius, cornerRadius);
    painter.fillPath(outline, backgroundColor(dark));
    painter.strokePath(outline, QPen(borderColor(dark), 1));

    if (m_model) {
        painter.save();
        painter.setClipPath(outline);
        const double radius = m_model->hexRadius() - cellGap;
        for (const HexCell& cell : m_model->cells()) {
            const std::optional<QColor> fill = cellFill(cell);
            if (!fill)
                continue;
            const QPolygonF shape = hexagon(QPointF(cell.x, cell.y), radius);
            painter.setPen(Qt::NoPen);
            painter.setBrush(*fill);
            painter.drawPolygon(shape);
            if (const std::optional<QPen> stroke = cellStroke(cell, dark)) {
                painter.setBrush(Qt::NoBrush);
                painter.setPen(*stroke);
                painter.drawPolygon(shape);
            }
        }
        painter.restore();
    }

    const QString label = labelText();
    if (label.isEmpty())
        return;
    // A faint label over cells can't be read: it stands on a clear patch of the strip's own colour,
    // which the cells under it give way to.
    const QRectF plate = labelArea();
    const double plateRadius = QFontMetricsF(labelFont()).height() / 2;
    QPainterPath platePath;
    platePath.addRoundedRect(plate, plateRadius, plateRadius);
    painter.save();
    painter.setClipPath(outline);
    painter.fillPath(platePath, backgroundColor(dark));
    painter.restore();
    painter.setFont(labelFont());
    painter.setPen(labelColor(dark));
    painter.drawText(labelTextArea(), labelAlignment(), label);
}

QRect HoneycombView::labelTextArea() const {
    return rect().adjusted(8, 4, -8, -4);
}

int HoneycombView::labelAlignment() const {
    return int(QStyle::visualAlignment(layoutDirection(), Qt::AlignRight | Qt::AlignTop));
}

QRectF HoneycombView::labelArea() const {
    const QString label = labelText();
    if (label.isEmpty())
        return {};
    const QFontMetricsF metrics(labelFont());
    const QRectF text = metrics.boundingRect(QRectF(labelTextArea()), labelAlignment(), label);
    const double margin = metrics.height() / 4;
    return text.adjusted(-margin * 2, -margin, margin * 2, margin);
}

QWidget* makeHoneycombView(AppState& state, QWidget* parent) {
    return new HoneycombView(state, parent);
}
