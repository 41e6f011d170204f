#pragma once

#include "capture/CaptureSeries.h"
#include "capture/ResultsCharts.h"
#include "capture/RgbColor.h"
#include "screens/ResultsPalette.h"
#include "screens/TimeAxisTicks.h"

#include <QList>
#include <QPointF>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

// The results screen's latency timeline as values: the whole capture's figures, worked out once, and
// the frame of the window of time that shows, worked out at every scroll. Times on the horizontal axis
// are milliseconds since the epoch. The view only hands these to the charting library.
namespace ResultsLatencyChart {

// Mark sizes are areas in square points, as in every chart: a lost sample's point covers five thirds of
// the ink of an answered one, and thousands of answered points stay apart.
inline constexpr double dotSize = 12;
inline constexpr double dotOpacity = 0.7;
inline constexpr double lossPointSize = 20;
inline constexpr double lossPointOpacity = 0.6;
inline constexpr double speedTestBandOpacity = 0.12;
inline constexpr double lossBucketSeconds = 10;
// A legend entry whose marks are switched off.
inline constexpr double hiddenLegendOpacity = 0.3;
// Lost samples have no round trip: their points sit near the top, in the stripe above one and a half
// times P99 that the answered samples leave free.
inline constexpr double lossMarkHeight = 0.9;
// The visible window is cut into at most this many steps between time labels.
inline constexpr int timeLabelIntervals = 5;

QString title();         // "Latency Timeline"
QString timeAxisTitle(); // "Time"
QString rttAxisTitle();  // "RTT"
QString unit();          // "ms"
QString lossKey();       // "loss"
QString speedTestKey();  // "speedtest"

// "P50: 21ms | P95: 30ms | P99: 41ms", each cut to its whole milliseconds as every whole number of the
// program is (30.6 reads 30); nothing without percentiles.
std::optional<QString> percentileText(const std::optional<Percentiles>& percentiles);

// A loss bucket's band: fainter for a little loss, stronger for much.
double lossBandOpacity(double lossRate);

// One legend dot with its label, dimmed while its key is hidden.
struct LegendItem {
    ResultsPalette::LegendEntry entry;
    bool hidden = false;
    double opacity = 1;
    friend bool operator==(const LegendItem&, const LegendItem&) = default;
};
// The legend of a capture whose dots are of `probeTypes` (Timeline::probeTypes).
QList<LegendItem> legend(const QStringList& probeTypes, const QSet<QString>& hidden);
// A click on a legend dot: its key leaves the hidden set if it is in it, and joins it otherwise.
QSet<QString> toggled(QSet<QString> hidden, const QString& key);

struct Band {
    QString key; // "speedtest" or "loss"
    double startMs = 0;
    double endMs = 0;
    RgbColor color;
    double opacity = 0;
    friend bool operator==(const Band&, const Band&) = default;
};

// A dashed horizontal rule at a percentile.
struct Rule {
    QString label; // "P50", "P95", "P99"
    double value = 0;
    friend bool operator==(const Rule&, const Rule&) = default;
};

// Where the rules' labels go, up and down the plot (in pixels, growing downwards). Each label of
// `labelHeight` wants to sit just above its rule at `ruleYs`; close percentiles would put labels over
// each other, so each one moves down as little as keeps it `gap` below the label over it, and all move
// back up as far as the lowest needs to stay above `bottom`. The tops, in the order of `ruleYs`.
QList<double> ruleLabelTops(const QList<double>& ruleYs, double labelHeight, double gap, double bottom);

struct DotSeries {
    QString key; // the probe type
    RgbColor color;
    QList<QPointF> points;
    friend bool operator==(const DotSeries&, const DotSeries&) = default;
};

// What the chart draws for one window.
struct Frame {
    ClosedRange xDomain;
    ClosedRange yDomain;
    QList<Band> bands; // the speed tests, then the loss buckets, each cut to the window
    QList<Rule> rules; // always drawn while percentiles exist, whatever is hidden
    // One entry for each probe type of the capture (Timeline::probeTypes), present even when empty or
    // hidden, so that a view can keep one series for each.
    QList<DotSeries> dots;
    QList<QPointF> losses;
    QList<TimeAxisTicks::Tick> timeLabels; // at round times of the window
    friend bool operator==(const Frame&, const Frame&) = default;
};

// A frame of hours holds more samples than a plot of a few hundred pixels can tell apart: this keeps
// the first mark of each series in each cell of a grid of `columns` by `rows` over the frame's domains,
// so the picture stays the same while the marks drop to at most one per cell.
Frame thinnedToGrid(Frame frame, int columns, int rows);

// The whole capture, prepared once for every window to come: the percentiles, the scale, the time span
// and the bands over all samples, and the samples in time order so that a window is found by binary
// search. Building it is a few passes over the points; a frame costs only the points of its window.
class Timeline {
public:
    Timeline() = default;
    Timeline(const QList<LatencyPoint>& points, const QList<SpeedTestRange>& speedTestRanges);

    bool isEmpty() const { return m_samples.empty(); }
    const std::optional<Percentiles>& percentiles() const { return m_percentiles; }
    const ClosedRange& yDomain() const { return m_yDomain; }
    const TimeSpan& span() const { return m_span; }
    double startMs() const { return m_startMs; }
    // The probe types of the capture's dots: those of ProbeColors in legend order, then others as
    // they first appear.
    const QStringList& probeTypes() const { return m_probeTypes; }
    const QList<Band>& speedTestBands() const { return m_speedTestBands; }
    const QList<Band>& lossBands() const { return m_lossBands; }

    // How far the window can move from the capture's start, in seconds; 0 when all of it shows.
    double scrollRangeSeconds() const;
    // The window that starts `scrollSeconds` after the capture's start, held inside the capture.
    ClosedRange window(double scrollSeconds) const;
    // How many samples lie in the window, lost or answered, whatever their kind.
    qsizetype sampleCount(const ClosedRange& window) const;

    Frame frame(double scrollSeconds, const QSet<QString>& hidden) const;
    // The frame of any stretch of the capture, however long: a printed timeline shows the whole
    // capture in rows of its own length.
    Frame frame(const ClosedRange& window, const QSet<QString>& hidden) const;

private:
    struct Sample {
        double ms = 0;
        double rttMs = 0;
        int series = -1; // index into m_probeTypes; -1 for a lost sample
    };
    // The samples of a window: indexes into m_samples, first and one past the last.
    std::pair<size_t, size_t> range(const ClosedRange& window) const;

    std::optional<Percentiles> m_percentiles;
    ClosedRange m_yDomain{0, 100};
    TimeSpan m_span{300, 300};
    double m_startMs = 0;
    QStringList m_probeTypes;
    QList<Band> m_speedTestBands;  // merged where they overlap, in time order
    QList<Band> m_lossBands;       // in time order
    std::vector<Sample> m_samples; // in time order
};

} // namespace ResultsLatencyChart
