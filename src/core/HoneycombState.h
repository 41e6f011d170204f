#pragma once

#include "capture/QualityRating.h"

#include <QList>
#include <QObject>

#include <optional>

// One hexagon of the strip. Its centre never moves; what it shows changes as samples land on it.
struct HexCell {
    double x = 0;
    double y = 0;
    std::optional<QualityRating> quality; // empty until a sample lands
    bool isSpeedTest = false;
    bool faded = false; // painted in an earlier generation
    friend bool operator==(const HexCell&, const HexCell&) = default;
};

// The model of the running screen's strip: cells filled one at a time in random order, each with the
// worst quality of a short window. When every cell is painted the strip fades and a new generation
// paints over it.
class HoneycombState : public QObject {
    Q_OBJECT
public:
    static constexpr int defaultTargetFillSeconds = 300;
    static constexpr double defaultHexRadius = 8;

    explicit HoneycombState(QObject* parent = nullptr);

    const QList<HexCell>& cells() const { return m_cells; }
    int filledCount() const { return m_filledCount; }
    int generation() const { return m_generation; }
    int targetFillSeconds() const { return m_targetFillSeconds; }
    void setTargetFillSeconds(int seconds) { m_targetFillSeconds = seconds; }
    double hexRadius() const { return m_hexRadius; }
    const QList<int>& fillOrder() const { return m_fillOrder; }
    int fillIndex() const { return m_fillIndex; }

    // "{filledCount} samples", with " · gen {n}" from the first fade on.
    QString label() const;

    // Rebuilds the grid for a strip of this size; every painted cell and count is lost.
    void layoutCells(double width, double height);
    void fillNext(QualityRating quality, bool isSpeedTest);

    // The radius among 5…10 whose grid holds the number of cells nearest to the target; the smaller wins a
    // tie.
    static double pickRadius(int targetCells, double width, double height);
    // The centres of the grid for this radius, row by row.
    static QList<HexCell> gridCells(double radius, double width, double height);

signals:
    void changed();

private:
    void reshuffle();
    void fade();

    QList<HexCell> m_cells;
    int m_filledCount = 0;
    int m_generation = 0;
    int m_targetFillSeconds = defaultTargetFillSeconds;
    double m_hexRadius = defaultHexRadius;
    QList<int> m_fillOrder;
    int m_fillIndex = 0;
};
