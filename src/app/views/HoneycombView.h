#pragma once

#include "core/HoneycombState.h"

#include <QColor>
#include <QPen>
#include <QPointer>
#include <QPolygonF>
#include <QWidget>

#include <optional>

class AppState;

// The running screen's strip of hexagons: the capture's history at a glance. It draws the cells of the
// session's HoneycombState in one pass and lays the grid out for its own width; a new capture brings
// a new model, which it picks up by itself.
class HoneycombView : public QWidget {
    Q_OBJECT

public:
    static constexpr int stripHeight = 50;
    static constexpr double cornerRadius = 6;
    static constexpr double cellGap = 1;
    static constexpr double fadedOpacity = 0.25;
    static constexpr double speedTestStrokeWidth = 1.2;
    // The label's size against the body text, as 9 points stand to 13.
    static constexpr double labelFontScale = 9.0 / 13.0;
    static QColor backgroundColor(bool dark);
    static QColor borderColor(bool dark);
    static QColor labelColor(bool dark);
    // The quality's colour, a dark grey for `broken` so that it doesn't shout, dimmed when faded.
    static std::optional<QColor> cellFill(const HexCell& cell);
    // The outline that marks a sample taken during a speed test.
    static std::optional<QPen> cellStroke(const HexCell& cell, bool dark);
    // A hexagon with one corner pointing up.
    static QPolygonF hexagon(QPointF centre, double radius);

    explicit HoneycombView(AppState& state, QWidget* parent = nullptr);

    HoneycombState* model() const { return m_model; }
    // What the corner label reads, in which font, and the clear patch it stands on.
    QString labelText() const;
    QFont labelFont() const;
    QRectF labelArea() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void attach();
    void relayout();
    void relayoutForNewTarget();
    void modelChanged();
    QRect labelTextArea() const;
    int labelAlignment() const;

    AppState& m_state;
    QPointer<HoneycombState> m_model;
    int m_laidOutWidth = -1;
    int m_laidOutTarget = -1;
};
