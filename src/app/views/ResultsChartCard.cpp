#include "ResultsChartCard.h"

#include "ChartMarkers.h"

#include "Icons.h"
#include "screens/LiveLatencyChart.h"

#include <QAbstractAxis>
#include <QCategoryAxis>
#include <QChart>
#include <QEvent>
#include <QGraphicsLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLegend>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <QValueAxis>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

QColor mix(const QColor& a, const QColor& b, double amount) {
    return QColor::fromRgbF(float(a.redF() + (b.redF() - a.redF()) * amount),
                            float(a.greenF() + (b.greenF() - a.greenF()) * amount),
                            float(a.blueF() + (b.blueF() - a.blueF()) * amount));
}

int padding(const QWidget& widget) {
    return std::max(6, widget.fontMetrics().height() * 3 / 4);
}

} // namespace

namespace ResultsChartParts {

QColor toColor(const RgbColor& color, double opacity) {
    QColor result(color.red, color.green, color.blue);
    result.setAlphaF(float(opacity));
    return result;
}

QFont smallFont(const QFont& base) {
    QFont small = base;
    if (small.pointSizeF() > 0)
        small.setPointSizeF(small.pointSizeF() * 0.85);
    else
        small.setPixelSize(std::max(8, small.pixelSize() * 85 / 100));
    return small;
}

QValueAxis* makeValueAxis(const ClosedRange& domain, const QString& title) {
    auto* axis = new QValueAxis;
    axis->setRange(domain.lowerBound, domain.upperBound);
    axis->setTickType(QValueAxis::TicksDynamic);
    axis->setTickAnchor(0);
    const double step = LiveLatencyChart::yTickInterval(domain);
    axis->setTickInterval(step);
    // Steps below 1 (a link that idles under 2 Mbps) need a decimal, or labels repeat.
    axis->setLabelFormat(step < 1 ? u"%.1f"_s : u"%.0f"_s);
    axis->setTitleText(title);
    return axis;
}

ClosedRange roundedUp(double top) {
    if (!(top > 0))
        return {0, 1};
    const double step = LiveLatencyChart::yTickInterval({0, top});
    return {0, std::ceil(top / step) * step};
}

void attach(QChart* chart, QAbstractSeries* series, QAbstractAxis* x, QAbstractAxis* y) {
    chart->addSeries(series);
    series->attachAxis(x);
    series->attachAxis(y);
}

} // namespace ResultsChartParts

using ResultsChartParts::smallFont;
using ResultsChartParts::toColor;

ResultsChartTile::ResultsChartTile(QWidget* parent)
    : QWidget(parent) {}

void ResultsChartTile::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor window = palette().color(QPalette::Window);
    const QColor text = palette().color(QPalette::WindowText);
    const double radius = padding(*this) * 0.8;
    QPainterPath tile;
    tile.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    painter.fillPath(tile, mix(window, text, 0.04));
    painter.setPen(QPen(mix(window, text, 0.14), 1));
    painter.drawPath(tile);
}

ResultsChartCard::ResultsChartCard(const QString& title, const QStringList& trailingTexts, QWidget* parent)
    : ResultsChartTile(parent) {
    setAccessibleName(title);
    setAccessibleDescription(trailingTexts.join(u", "_s));
    m_title = new QLabel(title, this);
    m_title->setTextInteractionFlags(Qt::NoTextInteraction);

    // The texts at the right keep to one line each, side by side: a card is never narrower than its
    // header, so nothing of it is cut.
    auto* trailing = new QHBoxLayout;
    trailing->setContentsMargins(0, 0, 0, 0);
    for (const QString& text : trailingTexts) {
        auto* label = new QLabel(text, this);
        label->setForegroundRole(QPalette::PlaceholderText);
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        m_trailing.append(label);
        trailing->addWidget(label);
    }
    auto* header = new QHBoxLayout;
    header->setContentsMargins(0, 0, 0, 0);
    header->addWidget(m_title, 0, Qt::AlignLeft | Qt::AlignVCenter);
    header->addStretch(1);
    header->addLayout(trailing);

    m_body = new QVBoxLayout;
    m_body->setContentsMargins(0, 0, 0, 0);

    const int inner = padding(*this);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(inner, inner * 3 / 4, inner, inner * 3 / 4);
    layout->addLayout(header);
    layout->addLayout(m_body, 1);
    applyFonts();
}

QString ResultsChartCard::title() const {
    return m_title->text();
}

void ResultsChartCard::describeChart(QWidget* chart, const QString& name, const QStringList& figures) const {
    chart->setAccessibleName(name + u" chart"_s);
    chart->setAccessibleDescription(figures.isEmpty() ? accessibleDescription() : figures.join(u", "_s));
}

void ResultsChartCard::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange)
        applyFonts();
    ResultsChartTile::changeEvent(event);
}

void ResultsChartCard::applyFonts() {
    QFont titleFont = font();
    titleFont.setWeight(QFont::DemiBold);
    m_title->setFont(titleFont);
    for (QLabel* label : std::as_const(m_trailing))
        label->setFont(smallFont(font()));
}

ResultsChartPlaceholder::ResultsChartPlaceholder(const QString& text, QWidget* parent)
    : ResultsChartTile(parent) {
    setAccessibleName(text);
    m_icon = new QLabel(this);
    m_icon->setAlignment(Qt::AlignCenter);
    m_text = new QLabel(text, this);
    m_text->setAlignment(Qt::AlignCenter);
    m_text->setWordWrap(true);
    m_text->setForegroundRole(QPalette::PlaceholderText);
    auto* layout = new QVBoxLayout(this);
    const int inner = padding(*this);
    layout->setContentsMargins(inner, inner, inner, inner);
    layout->addStretch(1);
    layout->addWidget(m_icon);
    layout->addWidget(m_text);
    layout->addStretch(1);
    applyIcon();
    // As tall as a short chart, so that a row of one card and one placeholder stays even.
    setMinimumHeight(fontMetrics().height() * 8);
}

QString ResultsChartPlaceholder::text() const {
    return m_text->text();
}

void ResultsChartPlaceholder::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange)
        applyIcon();
    ResultsChartTile::changeEvent(event);
}

void ResultsChartPlaceholder::applyIcon() {
    const int side = fontMetrics().height() * 3 / 2;
    m_icon->setPixmap(Icons::symbol(u"chart.line.downtrend.xyaxis"_s)
                          .pixmap(QSize(side, side), devicePixelRatioF(), QIcon::Disabled));
}

ResultsChartView::ResultsChartView(QWidget* parent)
    : QChartView(new QChart, parent) {
    QChart* owned = chart();
    owned->legend()->hide();
    owned->setBackgroundVisible(false);
    owned->setPlotAreaBackgroundVisible(false);
    owned->setBackgroundRoundness(0);
    owned->setMargins(QMargins(0, 0, 0, 0));
    owned->layout()->setContentsMargins(0, 0, 0, 0);
    setRenderHint(QPainter::Antialiasing);
    setFrameShape(QFrame::NoFrame);
    setBackgroundBrush(Qt::NoBrush);
    viewport()->setAutoFillBackground(false);
    setFocusPolicy(Qt::NoFocus);
    setMinimumHeight(fontMetrics().height() * 10);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void ResultsChartView::restyle() {
    const QColor text = palette().color(QPalette::WindowText);
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    QColor grid = text;
    grid.setAlphaF(0.1f);
    QColor axisLine = text;
    axisLine.setAlphaF(0.3f);
    const QFont small = smallFont(font());
    const QList<QAbstractAxis*> axes = chart()->axes();
    for (QAbstractAxis* axis : axes) {
        axis->setLabelsColor(secondary);
        axis->setLabelsFont(small);
        axis->setTitleBrush(secondary);
        axis->setTitleFont(small);
        axis->setGridLineColor(grid);
        axis->setLinePenColor(axisLine);
        // A short label ("100", "#3") is never worth an ellipsis.
        axis->setTruncateLabels(false);
    }
    // The labels at the ends of the axes are centred on them: room for half a label all round. A time
    // axis may label its last moment to the second, at the plot's very edge.
    const QFontMetrics metrics(small);
    const bool timeAxis = qobject_cast<QCategoryAxis*>(chart()->axes(Qt::Horizontal).value(0));
    const int right = std::max(metrics.horizontalAdvance(timeAxis ? u"00:00:00"_s : u"00:00"_s) / 2,
                               m_rightLabel.isEmpty() ? 0 : metrics.horizontalAdvance(m_rightLabel) + 6);
    chart()->setMargins(QMargins(2, metrics.height() / 2, right, 0));
    schemeChanged();
}

void ResultsChartView::setRightLabelRoom(const QString& widestLabel) {
    m_rightLabel = widestLabel;
    restyle();
}

void ResultsChartView::changeEvent(QEvent* event) {
    QChartView::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange)
        restyle();
}

ResultsShareBar::ResultsShareBar(double start, double length, const QColor& color, QWidget* parent)
    : QWidget(parent)
    , m_start(std::clamp(start, 0.0, 1.0))
    , m_length(std::clamp(length, 0.0, 1.0 - m_start))
    , m_color(color) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize ResultsShareBar::sizeHint() const {
    return {fontMetrics().averageCharWidth() * 12, fontMetrics().height() * 2 / 3};
}

QSize ResultsShareBar::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * 4, fontMetrics().height() * 2 / 3};
}

void ResultsShareBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor window = palette().color(QPalette::Window);
    const QColor text = palette().color(QPalette::WindowText);
    const QRectF track = QRectF(rect()).adjusted(0, 1, 0, -1);
    const double radius = track.height() / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(mix(window, text, 0.1));
    painter.drawRoundedRect(track, radius, radius);
    if (m_length <= 0)
        return;
    // A hop that adds almost nothing still shows a sliver where it ends.
    const double width = std::max(track.height(), track.width() * m_length);
    const double left = std::min(track.left() + track.width() * m_start, track.right() - width);
    painter.setBrush(m_color);
    painter.drawRoundedRect(QRectF(left, track.top(), width, track.height()), radius, radius);
}

ResultsLegendEntry::ResultsLegendEntry(const QString& text, const QColor& color, QWidget* parent)
    : QWidget(parent) {
    auto* dot = new QLabel(this);
    const int side = std::max(6, fontMetrics().height() / 2);
    dot->setPixmap(
        QPixmap::fromImage(ChartMarkers::dot(color, side, std::max<qreal>(2, devicePixelRatioF()))));
    m_text = new QLabel(text, this);
    m_text->setForegroundRole(QPalette::PlaceholderText);
    m_text->setFont(smallFont(font()));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(std::max(3, fontMetrics().averageCharWidth() / 2));
    layout->addWidget(dot);
    layout->addWidget(m_text);
}

QString ResultsLegendEntry::text() const {
    return m_text->text();
}
