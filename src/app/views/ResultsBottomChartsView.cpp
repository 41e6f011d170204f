#include "ResultsBottomChartsView.h"

#include "ResultsChartCard.h"
#include "ResultsThroughputCard.h"
#include "ResultsTimeChartCards.h"
#include "ResultsTracerouteCard.h"
#include "core/AppState.h"

#include <QGridLayout>
#include <QShowEvent>

using namespace ResultsBottomCharts;

ResultsBottomChartsView::ResultsBottomChartsView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state) {
    setAccessibleName(QStringLiteral("Charts"));
    m_grid = new QGridLayout(this);
    m_grid->setContentsMargins(0, 0, 0, 0);
    const int gap = fontMetrics().height() * 3 / 4;
    m_grid->setHorizontalSpacing(gap);
    m_grid->setVerticalSpacing(gap);
    // Two columns of the same width, whatever their cards hold.
    m_grid->setColumnStretch(0, 1);
    m_grid->setColumnStretch(1, 1);
    connect(&m_state, &AppState::seriesChanged, this, &ResultsBottomChartsView::requestRebuild);
    connect(&m_state, &AppState::latencyPointsChanged, this, &ResultsBottomChartsView::requestRebuild);
    rebuild();
}

QWidget* ResultsBottomChartsView::cell(int row, int column) const {
    const qsizetype index = qsizetype(row) * 2 + column;
    if (row < 0 || column < 0 || column > 1 || index >= m_cells.size())
        return nullptr;
    return m_cells[index];
}

void ResultsBottomChartsView::requestRebuild() {
    m_stale = true;
    // A hidden grid does no work: during a capture the series change twice a second. A shown one
    // builds once for all the signals of one change (a loaded capture sends several at once).
    if (!isVisible() || m_rebuildQueued)
        return;
    m_rebuildQueued = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_rebuildQueued = false;
            if (m_stale && isVisible())
                rebuild();
        },
        Qt::QueuedConnection);
}

void ResultsBottomChartsView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (m_stale)
        rebuild();
}

void ResultsBottomChartsView::rebuild() {
    m_stale = false;
    ++m_rebuildCount;
    m_model = ResultsBottomCharts::model(m_state.snapshot());
    for (QWidget* old : std::as_const(m_cells)) {
        m_grid->removeWidget(old);
        old->deleteLater();
    }
    m_cells.clear();
    for (int row = 0; row < m_model.rows.size(); ++row) {
        const Row& cells = m_model.rows[row];
        QWidget* left = makeCell(cells.left);
        QWidget* right = makeCell(cells.right);
        m_grid->addWidget(left, row, 0);
        m_grid->addWidget(right, row, 1);
        m_cells.append(left);
        m_cells.append(right);
    }
}

QWidget* ResultsBottomChartsView::makeCell(const Cell& cell) {
    if (cell.placeholderText)
        return new ResultsChartPlaceholder(*cell.placeholderText, this);
    switch (cell.chart) {
    case Chart::throughput:
        return new ResultsThroughputCard(*m_model.throughput, this);
    case Chart::signal:
        return new ResultsSignalCard(*m_model.signal, this);
    case Chart::downloadUtilization:
        return new ResultsUtilizationCard(*m_model.downloadUtilization, this);
    case Chart::uploadUtilization:
        return new ResultsUtilizationCard(*m_model.uploadUtilization, this);
    case Chart::traceroute:
        return new ResultsTracerouteCard(*m_model.traceroute, this);
    case Chart::dnsQuic:
        return new ResultsDnsQuicCard(*m_model.dnsQuic, this);
    }
    return new ResultsChartPlaceholder(QString(), this);
}
