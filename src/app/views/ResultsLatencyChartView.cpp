#include "ResultsLatencyChartView.h"

#include "ChartMarkers.h"
#include "RoundTimeAxis.h"

#include "FlowLayout.h"
#include "core/AppState.h"
#include "screens/LiveLatencyChart.h"
#include "screens/ProbeColors.h"

#include <QAbstractButton>
#include <QCategoryAxis>
#include <QChart>
#include <QChartView>
#include <QEvent>
#include <QFocusEvent>
#include <QGraphicsLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineSeries>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QShowEvent>
#include <QVBoxLayout>
#include <QValueAxis>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <functional>

using namespace Qt::StringLiterals;
using namespace ResultsLatencyChart;

namespace {

QColor toColor(const RgbColor& color, double opacity = 1.0) {
    QColor result(color.red, color.green, color.blue);
    result.setAlphaF(float(opacity));
    return result;
}

QColor secondaryText(const QPalette& palette) {
    return palette.color(QPalette::PlaceholderText);
}

} // namespace

// The chart itself. The bands and the percentile rules are painted behind the series, straight from
// the frame (their labels over them): a few rectangles and lines cost less than series of their own, and each
// band keeps its own opacity. A drag along the plot moves the window.
class ResultsLatencyPlot : public QChartView {
public:
    ResultsLatencyPlot(QChart* chart, QWidget* parent)
        : QChartView(chart, parent) {}

    const Frame* frame = nullptr;
    QColor ruleColor;
    QColor ruleLabelColor;
    QColor labelBackground;
    // Where the last paint put the rules' labels, in the view's coordinates.
    QList<QRectF> labelBoxes;
    // Called with the seconds that a drag or a sideways wheel moves the window by.
    std::function<void(double)> onPan;

protected:
    void drawBackground(QPainter* painter, const QRectF& rect) override {
        QChartView::drawBackground(painter, rect);
        if (!frame)
            return;
        const QRectF plot = chart()->mapRectToScene(chart()->plotArea());
        const double xSpan = frame->xDomain.upperBound - frame->xDomain.lowerBound;
        const double ySpan = frame->yDomain.upperBound - frame->yDomain.lowerBound;
        if (plot.isEmpty() || !(xSpan > 0) || !(ySpan > 0))
            return;
        const auto xOf = [&](double ms) {
            return plot.left() + (ms - frame->xDomain.lowerBound) / xSpan * plot.width();
        };
        const auto yOf = [&](double value) {
            return plot.bottom() - (value - frame->yDomain.lowerBound) / ySpan * plot.height();
        };

        painter->save();
        painter->setClipRect(plot);
        painter->setPen(Qt::NoPen);
        for (const Band& band : frame->bands) {
            // At least a pixel wide, so that a short test still shows.
            const double left = xOf(band.startMs);
            const double width = std::max(1.0, xOf(band.endMs) - left);
            painter->fillRect(QRectF(left, plot.top(), width, plot.height()),
                              toColor(band.color, band.opacity));
        }

        painter->setRenderHint(QPainter::Antialiasing);
        QPen dashed(ruleColor, 1, Qt::DashLine);
        painter->setPen(dashed);
        for (const Rule& rule : frame->rules) {
            const double y = std::round(yOf(rule.value)) + 0.5;
            painter->drawLine(QPointF(plot.left(), y), QPointF(plot.right(), y));
        }
        painter->restore();
    }

    // The rules' labels go over the dots, on a patch of the background, so that the points can't hide
    // them. Close percentiles would put them on top of each other: ruleLabelTops keeps them apart.
    void drawForeground(QPainter* painter, const QRectF& rect) override {
        QChartView::drawForeground(painter, rect);
        labelBoxes.clear();
        if (!frame || frame->rules.isEmpty())
            return;
        const QRectF plot = chart()->mapRectToScene(chart()->plotArea());
        const double ySpan = frame->yDomain.upperBound - frame->yDomain.lowerBound;
        if (plot.isEmpty() || !(ySpan > 0))
            return;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setFont(font());
        const QFontMetricsF metrics(font());
        QList<Rule> shown;
        QList<double> ys;
        for (const Rule& rule : frame->rules) {
            const double y = plot.bottom() - (rule.value - frame->yDomain.lowerBound) / ySpan * plot.height();
            if (y < plot.top() || y > plot.bottom())
                continue;
            shown.append(rule);
            ys.append(y);
        }
        const QList<double> tops = ruleLabelTops(ys, metrics.height(), 1, plot.bottom());
        for (qsizetype i = 0; i < shown.size(); ++i) {
            const Rule& rule = shown[i];
            const double width = metrics.horizontalAdvance(rule.label) + 6;
            const QRectF box(plot.right() - width - 2, tops[i], width, metrics.height());
            labelBoxes.append(box);
            painter->setPen(Qt::NoPen);
            painter->setBrush(labelBackground);
            painter->drawRoundedRect(box, 3, 3);
            painter->setPen(ruleLabelColor);
            painter->drawText(box, Qt::AlignCenter, rule.label);
        }
        painter->restore();
    }

    void mousePressEvent(QMouseEvent* event) override {
        if (event->button() == Qt::LeftButton) {
            m_dragX = event->position().x();
            event->accept();
            return;
        }
        QChartView::mousePressEvent(event);
    }

    void mouseMoveEvent(QMouseEvent* event) override {
        if (m_dragX && (event->buttons() & Qt::LeftButton)) {
            const double x = event->position().x();
            pan(*m_dragX - x);
            m_dragX = x;
            event->accept();
            return;
        }
        QChartView::mouseMoveEvent(event);
    }

    void mouseReleaseEvent(QMouseEvent* event) override {
        m_dragX.reset();
        QChartView::mouseReleaseEvent(event);
    }

    // Only a sideways wheel moves the window: the upright wheel scrolls the screen the chart stands in.
    void wheelEvent(QWheelEvent* event) override {
        const QPoint delta = event->angleDelta();
        if (std::abs(delta.x()) > std::abs(delta.y())) {
            pan(-double(delta.x()) / 120.0 * chart()->plotArea().width() / 10.0);
            event->accept();
            return;
        }
        event->ignore();
    }

private:
    // A move by so many pixels of the plot.
    void pan(double pixels) {
        const double width = chart()->plotArea().width();
        if (!frame || !onPan || !(width > 0))
            return;
        onPan(pixels / width * (frame->xDomain.upperBound - frame->xDomain.lowerBound) / 1000.0);
    }

    std::optional<double> m_dragX;
};

namespace {

// One dot of the legend: a button, so that it takes the keyboard and a screen reader as well as a click.
class LegendDot : public QAbstractButton {
public:
    LegendDot(const ResultsPalette::LegendEntry& entry, QWidget* parent)
        : QAbstractButton(parent)
        , m_entry(entry) {
        setText(entry.label);
        setCheckable(true);
        setChecked(true);
        setCursor(Qt::PointingHandCursor);
        setFocusPolicy(Qt::TabFocus);
        setAccessibleName(entry.label);
    }

    const QString& key() const { return m_entry.key; }
    void setOpacity(double opacity) {
        if (opacity == m_opacity)
            return;
        m_opacity = opacity;
        update();
    }

    QSize sizeHint() const override {
        const QFontMetrics metrics = fontMetrics();
        return {dotSide() + gap() + metrics.horizontalAdvance(text()) + 4, metrics.height() + 4};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setOpacity(m_opacity);
        const int side = dotSide();
        const QRectF dot(1, (height() - side) / 2.0, side, side);
        painter.setPen(Qt::NoPen);
        painter.setBrush(toColor(m_entry.color));
        painter.drawEllipse(dot);
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(QRect(side + gap(), 0, width() - side - gap(), height()),
                         Qt::AlignLeft | Qt::AlignVCenter, text());
        if (hasFocus() && m_keyboardFocus) {
            painter.setOpacity(1);
            painter.setPen(QPen(palette().color(QPalette::Highlight), 1, Qt::DotLine));
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
        }
    }

    void focusInEvent(QFocusEvent* event) override {
        // The ring marks a dot reached with the keyboard; a click or the window's first focus needs none.
        m_keyboardFocus = event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
        QAbstractButton::focusInEvent(event);
    }

private:
    int dotSide() const { return std::max(6, fontMetrics().height() * 6 / 10); }
    int gap() const { return std::max(4, fontMetrics().averageCharWidth() / 2 + 2); }

    ResultsPalette::LegendEntry m_entry;
    double m_opacity = 1;
    bool m_keyboardFocus = false;
};

} // namespace

ResultsLatencyChartView::ResultsLatencyChartView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state) {
    setAccessibleName(title());

    m_title = new QLabel(title(), this);
    m_percentiles = new QLabel(this);
    m_percentiles->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* header = new QHBoxLayout;
    header->setContentsMargins(0, 0, 0, 0);
    header->addWidget(m_title);
    header->addStretch();
    header->addWidget(m_percentiles);

    m_chart = new QChart;
    m_chart->legend()->hide();
    m_chart->setBackgroundVisible(false);
    m_chart->setPlotAreaBackgroundVisible(false);
    m_chart->setBackgroundRoundness(0);

    m_xAxis = RoundTimeAxis::make();
    m_xAxis->setTitleText(timeAxisTitle());
    m_yAxis = new QValueAxis(m_chart);
    m_yAxis->setLabelFormat(u"%.0f"_s);
    m_yAxis->setTickType(QValueAxis::TicksDynamic);
    m_yAxis->setTickAnchor(0);
    m_yAxis->setTitleText(rttAxisTitle() + u" ("_s + unit() + u')');
    m_chart->addAxis(m_xAxis, Qt::AlignBottom);
    m_chart->addAxis(m_yAxis, Qt::AlignLeft);

    // The lost samples' points are added first and then kept last: syncDotSeries puts the probe
    // types' series under them.
    m_lossSeries = new QLineSeries;
    m_lossSeries->setName(lossKey());
    m_chart->addSeries(m_lossSeries);
    m_lossSeries->attachAxis(m_xAxis);
    m_lossSeries->attachAxis(m_yAxis);

    m_plot = new ResultsLatencyPlot(m_chart, this);
    m_plot->setRenderHint(QPainter::Antialiasing);
    m_plot->setFrameShape(QFrame::NoFrame);
    m_plot->setBackgroundBrush(Qt::NoBrush);
    m_plot->viewport()->setAutoFillBackground(false);
    m_plot->setFocusPolicy(Qt::NoFocus);
    m_plot->setAccessibleName(title() + u" chart"_s);
    m_plot->onPan = [this](double seconds) { scrollTo(m_scrollSeconds + seconds); };

    m_scrollBar = new QScrollBar(Qt::Horizontal, this);
    m_scrollBar->setAccessibleName(u"Time window"_s);
    m_scrollBar->setRange(0, 0);
    m_scrollBar->hide();
    connect(m_scrollBar, &QScrollBar::valueChanged, this, [this](int value) {
        // A drag may have left the window between whole seconds: only a real move of the bar counts.
        if (value != int(std::lround(m_scrollSeconds)))
            scrollTo(value);
    });

    m_legend = new QWidget(this);
    m_legend->setAccessibleName(u"Legend"_s);
    auto* legendLayout = new FlowLayout(m_legend);
    legendLayout->setContentsMargins(0, 0, 0, 0);
    syncLegend();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addLayout(header);
    layout->addWidget(m_plot);
    layout->addWidget(m_scrollBar);
    layout->addWidget(m_legend);

    applyFonts();
    applyPalette();
    makeMarkers();

    connect(&m_state, &AppState::latencyPointsChanged, this, [this] { m_rebuild.request(); });
    connect(&m_state, &AppState::seriesChanged, this, [this] { m_rebuild.request(); });
}

QAbstractButton* ResultsLatencyChartView::legendButton(const QString& key) const {
    for (QAbstractButton* button : m_legendButtons) {
        if (static_cast<LegendDot*>(button)->key() == key)
            return button;
    }
    return nullptr;
}

QString ResultsLatencyChartView::percentileText() const {
    return m_percentiles->text();
}

QList<QRectF> ResultsLatencyChartView::ruleLabelBoxes() const {
    return m_plot->labelBoxes;
}

void ResultsLatencyChartView::rebuild() {
    m_timeline = Timeline(m_state.latencyPoints(), m_state.speedTestRanges());
    m_scrollSeconds = 0;
    m_fixedWindow.reset();
    m_percentiles->setText(ResultsLatencyChart::percentileText(m_timeline.percentiles()).value_or(QString()));
    // The percentiles over the plot are what the chart says in words.
    m_plot->setAccessibleDescription(m_percentiles->text());
    m_yAxis->setRange(m_timeline.yDomain().lowerBound, m_timeline.yDomain().upperBound);
    m_yAxis->setTickInterval(LiveLatencyChart::yTickInterval(m_timeline.yDomain()));

    const double range = m_timeline.scrollRangeSeconds();
    {
        const QSignalBlocker quiet(m_scrollBar);
        m_scrollBar->setRange(0, int(std::ceil(range)));
        m_scrollBar->setPageStep(int(std::lround(m_timeline.span().visibleSeconds)));
        m_scrollBar->setSingleStep(std::max(1, int(std::lround(m_timeline.span().visibleSeconds / 10))));
        m_scrollBar->setValue(0);
    }
    m_scrollBar->setVisible(range > 0);
    syncDotSeries();
    syncLegend();
    applyFrame();
}

void ResultsLatencyChartView::syncLegend() {
    const QList<ResultsPalette::LegendEntry> entries = ResultsPalette::latencyLegend(m_timeline.probeTypes());
    bool same = entries.size() == m_legendButtons.size();
    for (qsizetype i = 0; same && i < entries.size(); ++i)
        same = static_cast<LegendDot*>(m_legendButtons[i])->key() == entries[i].key;
    if (same)
        return;
    qDeleteAll(m_legendButtons);
    m_legendButtons.clear();
    const QFont small = ChartText::smaller(font());
    for (const ResultsPalette::LegendEntry& entry : entries) {
        auto* dot = new LegendDot(entry, m_legend);
        dot->setFont(small);
        connect(dot, &QAbstractButton::clicked, this, [this, key = entry.key] { toggle(key); });
        m_legend->layout()->addWidget(dot);
        m_legendButtons.append(dot);
    }
}

void ResultsLatencyChartView::syncDotSeries() {
    const QStringList& types = m_timeline.probeTypes();
    bool same = types.size() == m_dotSeries.size();
    for (qsizetype i = 0; same && i < types.size(); ++i)
        same = m_dotSeries[i]->name() == types[i];
    if (same)
        return;
    for (QLineSeries* series : std::as_const(m_dotSeries)) {
        m_chart->removeSeries(series);
        delete series;
    }
    m_dotSeries.clear();
    // The loss points go on top of every probe's dots: taken out and put back last.
    m_chart->removeSeries(m_lossSeries);
    for (const QString& type : types) {
        auto* series = new QLineSeries;
        series->setName(type);
        m_chart->addSeries(series);
        series->attachAxis(m_xAxis);
        series->attachAxis(m_yAxis);
        m_dotSeries.append(series);
    }
    m_chart->addSeries(m_lossSeries);
    m_lossSeries->attachAxis(m_xAxis);
    m_lossSeries->attachAxis(m_yAxis);
    makeMarkers();
}

void ResultsLatencyChartView::scrollTo(double seconds) {
    const double clamped = std::clamp(seconds, 0.0, m_timeline.scrollRangeSeconds());
    if (clamped == m_scrollSeconds && !m_fixedWindow)
        return;
    m_fixedWindow.reset();
    m_scrollSeconds = clamped;
    {
        const QSignalBlocker quiet(m_scrollBar);
        m_scrollBar->setValue(int(std::lround(clamped)));
    }
    applyFrame();
}

void ResultsLatencyChartView::toggle(const QString& key) {
    m_hidden = toggled(m_hidden, key);
    applyFrame();
}

void ResultsLatencyChartView::showWindow(const ClosedRange& window) {
    m_fixedWindow = window;
    applyFrame();
}

QWidget* ResultsLatencyChartView::plotWidget() const {
    return m_plot;
}

void ResultsLatencyChartView::applyFrame() {
    if (m_fixedWindow) {
        // A dot is about four pixels across: one in each two-pixel cell covers the same ink.
        const QSizeF plot = m_chart->plotArea().size() / 2;
        m_frame =
            thinnedToGrid(m_timeline.frame(*m_fixedWindow, m_hidden), int(plot.width()), int(plot.height()));
    } else {
        m_frame = m_timeline.frame(m_scrollSeconds, m_hidden);
    }
    m_plot->frame = &m_frame;

    RoundTimeAxis::show(m_xAxis, m_frame.xDomain, m_frame.timeLabels);

    for (qsizetype i = 0; i < m_dotSeries.size() && i < m_frame.dots.size(); ++i)
        m_dotSeries[i]->replace(m_frame.dots[i].points);
    m_lossSeries->replace(m_frame.losses);

    for (const LegendItem& item : legend(m_timeline.probeTypes(), m_hidden)) {
        if (auto* dot = static_cast<LegendDot*>(legendButton(item.entry.key))) {
            dot->setOpacity(item.opacity);
            dot->setChecked(!item.hidden);
        }
    }
    // The bands and rules are painted behind the scene, which doesn't know when they change.
    m_plot->viewport()->update();
}

void ResultsLatencyChartView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!qFuzzyCompare(devicePixelRatioF(), m_markerPixelRatio))
        makeMarkers();
    // Caught up at once, so that the first picture already has the capture in it.
    m_rebuild.catchUp();
}

void ResultsLatencyChartView::changeEvent(QEvent* event) {
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

void ResultsLatencyChartView::makeMarkers() {
    m_markerPixelRatio = devicePixelRatioF();
    const qreal ratio = std::max<qreal>(1, m_markerPixelRatio);
    // Only the marks show: samples of one probe are not a line.
    for (QLineSeries* series : std::as_const(m_dotSeries))
        ChartMarkers::showMarks(series, ChartMarkers::Shape::dot,
                                toColor(ProbeColors::probeColor(series->name()), dotOpacity), dotSize, ratio);
    ChartMarkers::showMarks(m_lossSeries, ChartMarkers::Shape::dot,
                            toColor(ResultsPalette::lossColor(), lossPointOpacity), lossPointSize, ratio);
}

void ResultsLatencyChartView::applyPalette() {
    const QPalette& colors = palette();
    const QColor text = colors.color(QPalette::WindowText);
    const QColor secondary = secondaryText(colors);
    for (QAbstractAxis* axis : {static_cast<QAbstractAxis*>(m_xAxis), static_cast<QAbstractAxis*>(m_yAxis)}) {
        axis->setLabelsColor(secondary);
        axis->setTitleBrush(secondary);
        axis->setGridLineColor(ChartText::withAlpha(text, 0.1));
        axis->setLinePenColor(ChartText::withAlpha(text, 0.35));
    }
    m_plot->ruleColor = ChartText::withAlpha(text, 0.45);
    m_plot->ruleLabelColor = secondary;
    m_plot->labelBackground = ChartText::withAlpha(colors.color(QPalette::Window), 0.85);
    QPalette percentilePalette = m_percentiles->palette();
    percentilePalette.setColor(QPalette::WindowText, secondary);
    m_percentiles->setPalette(percentilePalette);
    m_plot->viewport()->update();
}

void ResultsLatencyChartView::applyFonts() {
    QFont titleFont = font();
    titleFont.setBold(true);
    m_title->setFont(titleFont);
    const QFont small = ChartText::smaller(font());
    m_percentiles->setFont(small);
    m_plot->setFont(small);
    m_xAxis->setLabelsFont(small);
    m_yAxis->setLabelsFont(small);
    m_xAxis->setTitleFont(small);
    m_yAxis->setTitleFont(small);
    for (QAbstractButton* button : std::as_const(m_legendButtons))
        button->setFont(small);
    // The time labels are centred on their moments and the top value's label on the top edge: half a
    // label of room on the right and at the top keeps either from being cut.
    const QFontMetrics labelMetrics(small);
    m_chart->setMargins(QMargins(0, labelMetrics.height() / 2 + 1, 0, 0));
    m_chart->layout()->setContentsMargins(0, 0, labelMetrics.horizontalAdvance(u"00:00:00"_s) / 2 + 2, 0);
    // A fixed height, whatever the capture: about fourteen lines of text.
    m_plot->setFixedHeight(fontMetrics().height() * 14);
}
