#include "LiveLatencyChartView.h"

#include "ChartMarkers.h"
#include "RoundTimeAxis.h"

#include "RunningParts.h"
#include "core/AppState.h"
#include "screens/ProbeColors.h"

#include <QAreaSeries>
#include <QCategoryAxis>
#include <QChart>
#include <QChartView>
#include <QEvent>
#include <QGraphicsLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineSeries>
#include <QPainter>
#include <QPainterPath>
#include <QProgressBar>
#include <QShowEvent>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <QValueAxis>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;
using namespace LiveLatencyChart;

namespace {

QColor toColor(const RgbColor& color, double opacity = 1.0) {
    QColor result(color.red, color.green, color.blue);
    result.setAlphaF(float(opacity));
    return result;
}

QColor secondaryText(const QPalette& palette) {
    return palette.color(QPalette::PlaceholderText);
}

// The outline of one kind's bands for an area series that fills down to 0: up at each band's start,
// across at the top, and down again at its end. Between bands the outline runs along 0 and fills nothing.
QList<QPointF> bandOutline(const QList<Band>& bands, BandKind kind, double top) {
    QList<QPointF> outline;
    for (const Band& band : bands) {
        if (band.kind != kind)
            continue;
        outline.append({band.startMs, 0});
        outline.append({band.startMs, top});
        outline.append({band.endMs, top});
        outline.append({band.endMs, 0});
    }
    return outline;
}

} // namespace

// The fixed legend, painted in one piece and wrapped onto as many lines as the width needs.
class LiveLatencyLegend : public QWidget {
public:
    explicit LiveLatencyLegend(QWidget* parent)
        : QWidget(parent)
        , m_entries(legend()) {
        QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
        policy.setHeightForWidth(true);
        setSizePolicy(policy);
        QStringList labels;
        for (const LegendEntry& entry : m_entries)
            labels.append(entry.label);
        setAccessibleName(u"Legend"_s);
        setAccessibleDescription(labels.join(u", "_s));
    }

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override {
        const QList<QRect> boxes = layoutEntries(width);
        return boxes.isEmpty() ? 0 : boxes.last().bottom() + 1;
    }
    QSize sizeHint() const override {
        const int width = naturalWidth();
        return {width, heightForWidth(width)};
    }
    // As narrow as the widest entry, one line high; the layout asks heightForWidth for the real height.
    QSize minimumSizeHint() const override { return {widestEntry(), lineHeight()}; }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QList<QRect> boxes = layoutEntries(width());
        const int mark = markSize();
        for (qsizetype i = 0; i < m_entries.size(); ++i) {
            const LegendEntry& entry = m_entries[i];
            const QRect& box = boxes[i];
            // Set in a little, so that the outline of a mark at the left edge isn't cut.
            const QRectF markBox(box.left() + 1.5, box.center().y() - mark / 2.0, mark, mark);
            switch (entry.mark) {
            case Mark::dot:
                painter.setPen(Qt::NoPen);
                painter.setBrush(toColor(entry.color, dotOpacity));
                painter.drawEllipse(markBox.adjusted(mark * 0.1, mark * 0.1, -mark * 0.1, -mark * 0.1));
                break;
            case Mark::cross:
                ChartMarkers::drawCross(painter, markBox, toColor(entry.color));
                break;
            case Mark::bar:
                // The bands are faint on purpose; their swatch must still be told apart at this size.
                painter.setPen(QPen(toColor(entry.color, 0.6), 1));
                painter.setBrush(toColor(entry.color, 0.3));
                painter.drawRoundedRect(markBox.adjusted(0, mark * 0.1, markWidth(entry) - mark, -mark * 0.1),
                                        2, 2);
                break;
            }
            painter.setPen(secondaryText(palette()));
            painter.drawText(box.adjusted(textOffset(entry), 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                             entry.label);
        }
    }

    void changeEvent(QEvent* event) override {
        if (event->type() == QEvent::FontChange)
            updateGeometry();
        QWidget::changeEvent(event);
    }

private:
    int lineHeight() const { return std::max(fontMetrics().height(), markSize()) + 2; }
    int markSize() const { return std::max(6, fontMetrics().height() * 6 / 10); }
    // The bands' swatches are wider than the dots, as the bands are.
    int markWidth(const LegendEntry& entry) const {
        return entry.mark == Mark::bar ? markSize() * 16 / 10 : markSize();
    }
    int textOffset(const LegendEntry& entry) const {
        return markWidth(entry) + fontMetrics().averageCharWidth() / 2 + 3;
    }
    // Clearly wider than the gap between a mark and its label, so that each label stays with its mark.
    int spacing() const { return fontMetrics().horizontalAdvance(u'M') * 3 / 2; }
    int entryWidth(const LegendEntry& entry) const {
        return textOffset(entry) + fontMetrics().horizontalAdvance(entry.label) + 1;
    }
    int widestEntry() const {
        int widest = 0;
        for (const LegendEntry& entry : m_entries)
            widest = std::max(widest, entryWidth(entry));
        return widest;
    }
    int naturalWidth() const {
        int width = 0;
        for (const LegendEntry& entry : m_entries)
            width += entryWidth(entry) + spacing();
        return width - spacing();
    }
    QList<QRect> layoutEntries(int width) const {
        QList<QRect> boxes;
        int x = 0;
        int y = 0;
        for (const LegendEntry& entry : m_entries) {
            const int w = entryWidth(entry);
            if (x > 0 && x + w > width) {
                x = 0;
                y += lineHeight();
            }
            boxes.append(QRect(x, y, w, lineHeight()));
            x += w + spacing();
        }
        return boxes;
    }

    QList<LegendEntry> m_entries;
};

LiveLatencyChartView::LiveLatencyChartView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state) {
    setAccessibleName(title());

    m_title = new QLabel(title(), this);
    m_unit = new QLabel(unit(), this);
    m_unit->setAccessibleName(u"Unit: "_s + unit());
    auto* header = new QHBoxLayout;
    header->setContentsMargins(0, 0, 0, 0);
    header->addWidget(m_title);
    header->addWidget(m_unit);
    header->addStretch();

    // The placeholder: a small busy bar with its words, where the chart will stand.
    m_placeholder = new QWidget(this);
    auto* busy = new QProgressBar(m_placeholder);
    busy->setRange(0, 0);
    busy->setTextVisible(false);
    busy->setAccessibleName(u"Waiting for measurements"_s);
    m_placeholderLabel = new QLabel(m_placeholder);
    m_placeholderLabel->setAlignment(Qt::AlignCenter);
    auto* placeholderLayout = new QVBoxLayout(m_placeholder);
    placeholderLayout->addStretch();
    placeholderLayout->addWidget(busy, 0, Qt::AlignHCenter);
    placeholderLayout->addWidget(m_placeholderLabel);
    placeholderLayout->addStretch();
    busy->setFixedWidth(fontMetrics().averageCharWidth() * 16);
    busy->setMaximumHeight(fontMetrics().height() / 2 + 2);

    m_chart = new QChart;
    m_chart->legend()->hide();
    m_chart->setBackgroundVisible(false);
    m_chart->setPlotAreaBackgroundVisible(false);
    m_chart->setBackgroundRoundness(0);

    m_xAxis = RoundTimeAxis::make();
    m_yAxis = new QValueAxis(m_chart);
    m_yAxis->setLabelFormat(u"%.0f"_s);
    m_yAxis->setTickType(QValueAxis::TicksDynamic);
    m_yAxis->setTickAnchor(0);
    m_chart->addAxis(m_xAxis, Qt::AlignBottom);
    m_chart->addAxis(m_yAxis, Qt::AlignLeft);

    // Added in drawing order: the bands behind the dots, the crosses on top.
    m_speedTestOutline = new QLineSeries;
    m_videoOutline = new QLineSeries;
    addBandSeries(m_speedTestOutline, speedTestBandColor());
    addBandSeries(m_videoOutline, videoBandColor());
    const QStringList types = ProbeColors::knownProbeTypes();
    for (qsizetype i = 0; i <= types.size(); ++i) {
        auto* series = new QLineSeries;
        series->setName(i < types.size() ? types[i] : u"other"_s);
        m_dotSeries.append(series);
    }
    m_lossSeries = new QLineSeries;
    m_lossSeries->setName(u"loss"_s);
    QList<QLineSeries*> markSeries = m_dotSeries;
    markSeries.append(m_lossSeries);
    for (QLineSeries* series : std::as_const(markSeries)) {
        // Only the markers show: samples of one probe are not a line.
        series->setPen(Qt::NoPen);
        m_chart->addSeries(series);
        series->attachAxis(m_xAxis);
        series->attachAxis(m_yAxis);
    }

    m_chartView = new QChartView(m_chart, this);
    m_chartView->setRenderHint(QPainter::Antialiasing);
    m_chartView->setFrameShape(QFrame::NoFrame);
    m_chartView->setBackgroundBrush(Qt::NoBrush);
    m_chartView->viewport()->setAutoFillBackground(false);
    m_chartView->setFocusPolicy(Qt::NoFocus);
    m_chartView->setAccessibleName(title() + u" chart"_s);

    m_stack = new QStackedWidget(this);
    m_stack->addWidget(m_placeholder);
    m_stack->addWidget(m_chartView);
    m_stack->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);

    m_legend = new LiveLatencyLegend(this);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(header);
    layout->addWidget(m_stack);
    layout->addWidget(m_legend);

    applyFonts();
    applyPalette();
    makeMarkers();

    connect(&m_state, &AppState::latencyPointsChanged, this, &LiveLatencyChartView::requestRebuild);
    connect(&m_state, &AppState::seriesChanged, this, &LiveLatencyChartView::requestRebuild);
    // The placeholder's words change with the first second of the capture.
    connect(&m_state, &AppState::statsChanged, this, [this] {
        if (!m_frame.drawn)
            requestRebuild();
    });
    requestRebuild();
}

void LiveLatencyChartView::addBandSeries(QLineSeries* outline, const RgbColor& color) {
    auto* area = new QAreaSeries(outline);
    // The outline lives and dies with its area, which the chart owns.
    outline->setParent(area);
    area->setPen(Qt::NoPen);
    area->setBrush(toColor(color, bandOpacity));
    m_chart->addSeries(area);
    area->attachAxis(m_xAxis);
    area->attachAxis(m_yAxis);
}

bool LiveLatencyChartView::isShowingChart() const {
    return m_stack->currentWidget() == m_chartView;
}

QString LiveLatencyChartView::placeholderText() const {
    return m_placeholderLabel->text();
}

QWidget* LiveLatencyChartView::legendWidget() const {
    return m_legend;
}

void LiveLatencyChartView::requestRebuild() {
    m_stale = true;
    // A hidden chart does no work; it catches up when it shows again.
    if (!isVisible() || m_pendingRebuild.isActive())
        return;
    const double delay = rebuildDelaySeconds(m_lastRebuild, Time::clock().now());
    if (delay <= 0)
        rebuild();
    else
        m_pendingRebuild = Time::scheduler().singleShot(delay, this, [this] { rebuild(); });
}

void LiveLatencyChartView::rebuild() {
    m_pendingRebuild.cancel();
    m_stale = false;
    const QDateTime now = Time::clock().now();
    m_lastRebuild = now;
    ++m_rebuildCount;
    m_frame = LiveLatencyChart::frame(m_state.latencyPoints(), m_state.speedTestRanges(),
                                      m_state.videoStreamingRanges(), m_state.stats().elapsedSec, now);
    applyFrame();
}

void LiveLatencyChartView::applyFrame() {
    if (!m_frame.drawn) {
        m_placeholderLabel->setText(m_frame.placeholderText);
        m_stack->setCurrentWidget(m_placeholder);
        return;
    }
    RoundTimeAxis::show(m_xAxis, m_frame.xDomain, m_frame.timeLabels);
    m_yAxis->setRange(m_frame.yDomain.lowerBound, m_frame.yDomain.upperBound);
    m_yAxis->setTickInterval(yTickInterval(m_frame.yDomain));
    for (qsizetype i = 0; i < m_dotSeries.size() && i < m_frame.dots.size(); ++i)
        m_dotSeries[i]->replace(m_frame.dots[i].points);
    m_lossSeries->replace(m_frame.losses);
    const double top = m_frame.yDomain.upperBound;
    m_speedTestOutline->replace(bandOutline(m_frame.bands, BandKind::speedTest, top));
    m_videoOutline->replace(bandOutline(m_frame.bands, BandKind::video, top));
    m_chartView->setAccessibleDescription(spokenSummary(LiveLatencyChart::window(m_state.latencyPoints())));
    m_stack->setCurrentWidget(m_chartView);
}

void LiveLatencyChartView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!qFuzzyCompare(devicePixelRatioF(), m_markerPixelRatio))
        makeMarkers();
    if (m_stale)
        requestRebuild();
}

void LiveLatencyChartView::changeEvent(QEvent* event) {
    switch (event->type()) {
    case QEvent::PaletteChange:
        applyPalette();
        break;
    case QEvent::FontChange:
        applyFonts();
        break;
    default:
        break;
    }
    QWidget::changeEvent(event);
}

void LiveLatencyChartView::makeMarkers() {
    m_markerPixelRatio = devicePixelRatioF();
    const qreal ratio = std::max<qreal>(1, m_markerPixelRatio);
    const QStringList types = ProbeColors::knownProbeTypes();
    for (qsizetype i = 0; i < m_dotSeries.size(); ++i) {
        const RgbColor color = ProbeColors::probeColor(types.value(i));
        ChartMarkers::showMarks(m_dotSeries[i], ChartMarkers::Shape::dot, toColor(color, dotOpacity), dotSize,
                                ratio);
    }
    ChartMarkers::showMarks(m_lossSeries, ChartMarkers::Shape::cross, toColor(lossColor(), crossOpacity),
                            crossSize, ratio);
}

void LiveLatencyChartView::applyPalette() {
    const QPalette& colors = palette();
    const QColor text = colors.color(QPalette::WindowText);
    const QColor secondary = secondaryText(colors);
    QColor grid = text;
    grid.setAlphaF(0.12f);
    QColor axisLine = text;
    axisLine.setAlphaF(0.35f);
    for (QAbstractAxis* axis : {static_cast<QAbstractAxis*>(m_xAxis), static_cast<QAbstractAxis*>(m_yAxis)}) {
        axis->setLabelsColor(secondary);
        axis->setGridLineColor(grid);
        axis->setLinePenColor(axisLine);
    }
    QPalette unitPalette = m_unit->palette();
    unitPalette.setColor(QPalette::WindowText, secondary);
    m_unit->setPalette(unitPalette);
    QPalette placeholderPalette = m_placeholderLabel->palette();
    placeholderPalette.setColor(QPalette::WindowText, secondary);
    m_placeholderLabel->setPalette(placeholderPalette);
    m_legend->update();
}

void LiveLatencyChartView::applyFonts() {
    QFont titleFont = font();
    titleFont.setBold(true);
    m_title->setFont(titleFont);
    QFont small = font();
    if (small.pointSizeF() > 0)
        small.setPointSizeF(small.pointSizeF() * 0.85);
    else
        small.setPixelSize(std::max(8, small.pixelSize() * 85 / 100));
    m_unit->setFont(small);
    m_placeholderLabel->setFont(small);
    m_legend->setFont(small);
    m_xAxis->setLabelsFont(small);
    m_yAxis->setLabelsFont(small);
    // The time labels are centred on their ticks, and the top value's label on the top edge: the plot
    // leaves half a label of room on the right and at the top, so that neither is cut.
    const QFontMetrics labelMetrics(small);
    m_chart->setMargins(QMargins(0, labelMetrics.height() / 2 + 1, 0, 0));
    m_chart->layout()->setContentsMargins(0, 0, labelMetrics.horizontalAdvance(u"00:00:00"_s) / 2 + 2, 0);
    // The plot keeps room for about a dozen lines of text, whatever the font size, and takes any height
    // that the screen has to spare.
    m_stack->setMinimumHeight(fontMetrics().height() * 13);
}

QWidget* makeLiveLatencyChart(AppState& state, QWidget* parent) {
    return new LiveLatencyChartView(state, parent);
}
