#pragma once

#include "DeferredRebuild.h"
#include "screens/LossHeatmap.h"

#include <QWidget>

class AppState;
class QLabel;
class LossHeatmapScale;
class LossHeatmapStrip;

// The results screen's loss strip: its title with the scale and the "Blocked" key, one painted row per
// protocol over the whole capture, and the line that names the blocked targets. It works the strip out
// again only when AppState's latency points change.
class LossHeatmapView : public QWidget {
    Q_OBJECT
public:
    explicit LossHeatmapView(AppState& state, QWidget* parent = nullptr);

    // For the tests: what is drawn, and how often it was worked out.
    const LossHeatmap::Frame& frame() const { return m_frame; }
    int rebuildCount() const { return m_rebuild.count(); }
    QWidget* stripWidget() const;
    QWidget* scaleWidget() const;
    QLabel* excludedLabel() const { return m_excluded; }

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void rebuild();
    void applyFonts();
    void applyPalette();

    AppState& m_state;
    QLabel* m_title = nullptr;
    LossHeatmapScale* m_scale = nullptr;
    LossHeatmapStrip* m_strip = nullptr;
    QLabel* m_excluded = nullptr;

    LossHeatmap::Frame m_frame;
    DeferredRebuild m_rebuild{this, [this] { rebuild(); }};
};
