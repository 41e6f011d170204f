#pragma once

#include "screens/ResultsBottomCharts.h"

#include <QWidget>

class AppState;
class QGridLayout;

// The grid of charts at the foot of the results screen, two cards a row. It follows the capture's
// series in AppState: each change builds the model again and new cards from it, and only while the
// grid is visible; a hidden grid catches up when it shows.
class ResultsBottomChartsView : public QWidget {
    Q_OBJECT
public:
    explicit ResultsBottomChartsView(AppState& state, QWidget* parent = nullptr);

    // What is drawn now, and how many times it was built: for the tests.
    const ResultsBottomCharts::Model& model() const { return m_model; }
    int rebuildCount() const { return m_rebuildCount; }
    // The card, or placeholder, at a row and a column (0 left, 1 right); null outside the grid.
    QWidget* cell(int row, int column) const;
    int rowCount() const { return int(m_model.rows.size()); }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void requestRebuild();
    void rebuild();
    QWidget* makeCell(const ResultsBottomCharts::Cell& cell);

    AppState& m_state;
    QGridLayout* m_grid = nullptr;
    QList<QWidget*> m_cells; // row by row, left then right
    ResultsBottomCharts::Model m_model;
    bool m_stale = true;
    bool m_rebuildQueued = false;
    int m_rebuildCount = 0;
};
