#include "core/HoneycombState.h"

#include <QRandomGenerator>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

using namespace Qt::StringLiterals;

HoneycombState::HoneycombState(QObject* parent)
    : QObject(parent) {}

QString HoneycombState::label() const {
    QString text = u"%1 samples"_s.arg(m_filledCount);
    if (m_generation > 0)
        text += u" · gen %1"_s.arg(m_generation + 1);
    return text;
}

QList<HexCell> HoneycombState::gridCells(double radius, double width, double height) {
    QList<HexCell> cells;
    const double pitch = radius * std::sqrt(3.0);
    const double half = pitch / 2;
    // Rows and columns overhang the bottom and right edges; the strip clips them.
    for (int row = 0;; ++row) {
        const double y = radius + 1.5 * radius * row;
        if (y > height + radius)
            break;
        const double shift = row % 2 == 1 ? half : 0.0;
        for (int column = 0;; ++column) {
            const double x = half + shift + pitch * column;
            if (x > width + half)
                break;
            cells.append(HexCell{x, y, std::nullopt, false, false});
        }
    }
    return cells;
}

double HoneycombState::pickRadius(int targetCells, double width, double height) {
    double best = 5;
    qsizetype bestDistance = -1;
    for (const double radius : {5.0, 6.0, 7.0, 8.0, 9.0, 10.0}) {
        const qsizetype distance = std::abs(gridCells(radius, width, height).size() - targetCells);
        if (bestDistance < 0 || distance < bestDistance) {
            best = radius;
            bestDistance = distance;
        }
    }
    return best;
}

void HoneycombState::layoutCells(double width, double height) {
    m_hexRadius = pickRadius(m_targetFillSeconds, width, height);
    m_cells = gridCells(m_hexRadius, width, height);
    m_filledCount = 0;
    m_generation = 0;
    m_fillIndex = 0;
    reshuffle();
    emit changed();
}

void HoneycombState::reshuffle() {
    m_fillOrder.resize(m_cells.size());
    std::iota(m_fillOrder.begin(), m_fillOrder.end(), 0);
    std::shuffle(m_fillOrder.begin(), m_fillOrder.end(), *QRandomGenerator::global());
}

void HoneycombState::fade() {
    for (HexCell& cell : m_cells) {
        if (cell.quality) {
            cell.isSpeedTest = false;
            cell.faded = true;
        }
    }
    ++m_generation;
    m_fillIndex = 0;
    reshuffle();
}

void HoneycombState::fillNext(QualityRating quality, bool isSpeedTest) {
    if (m_cells.isEmpty())
        return;
    if (m_fillIndex >= m_cells.size())
        fade();
    HexCell& cell = m_cells[m_fillOrder[m_fillIndex]];
    cell.quality = quality;
    cell.isSpeedTest = isSpeedTest;
    cell.faded = false;
    ++m_fillIndex;
    ++m_filledCount;
    emit changed();
}
