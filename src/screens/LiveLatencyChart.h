#pragma once

#include "capture/CaptureSeries.h"
#include "capture/ResultsCharts.h"
#include "capture/RgbColor.h"
#include "screens/TimeAxisTicks.h"

#include <QDateTime>
#include <QList>
#include <QPointF>
#include <QString>

#include <optional>
#include <span>

// The running screen's live latency chart as values: which samples it shows, where and in which colour,
// the test bands behind them, its scales and its legend. The view only hands these to the charting
// library. Times on the horizontal axis are milliseconds since the epoch, as the library's date axis
// reads them.
namespace LiveLatencyChart {

// The chart shows the newest samples only, so that a capture of hours costs what one of minutes does.
inline constexpr qsizetype windowSize = 600;
// Below this many samples a chart says nothing yet; a placeholder stands there instead.
inline constexpr qsizetype minimumPoints = 3;

// Mark sizes are areas in square points, as in every chart.
inline constexpr double dotSize = 10;
inline constexpr double dotOpacity = 0.7;
inline constexpr double crossSize = 20;
inline constexpr double crossOpacity = 0.6;
inline constexpr double bandOpacity = 0.12;
// Lost samples have no round trip, so their crosses sit near the top: the scale ends at one and a half
// times the 99th percentile, which leaves that stripe free of dots.
inline constexpr double lossMarkHeight = 0.95;
// The time axis is cut into at most this many steps between labels, at round times.
inline constexpr int timeLabelIntervals = 4;
// A window of one moment still gets a time axis a few seconds long.
inline constexpr double shortestSpanMs = 4000;
// Room at either end of the time axis, as a share of the window: the marks of the oldest and the
// newest samples stand whole inside the plot rather than cut in half by its edges.
inline constexpr double edgeRoom = 0.01;
// The chart follows its inputs at most twice a second, as the latency series itself does.
inline constexpr double rebuildIntervalSeconds = 0.5;

QString title();       // "Live Latency"
QString unit();        // "ms"
QString waitingText(); // "Waiting for first measurements..."
QString collectingText();

// The colours of the marks that aren't a probe's: the probes' own come from ProbeColors. Loss and speed
// tests look as they do in the results.
RgbColor lossColor();
RgbColor speedTestBandColor();
RgbColor videoBandColor();

enum class Mark { dot, cross, bar };

struct LegendEntry {
    QString label;
    Mark mark = Mark::dot;
    RgbColor color;
    friend bool operator==(const LegendEntry&, const LegendEntry&) = default;
};

// Always the same nine entries, whatever the capture holds.
QList<LegendEntry> legend();

// The newest samples, at most `windowSize` of them, oldest first. A view into `points`: it is valid as
// long as that list is left unchanged.
std::span<const LatencyPoint> window(const QList<LatencyPoint>& points);

// 0 up to one and a half times the near-top round trip of the window, at least 10; 0 to 100 while fewer
// than five samples have a round trip.
ClosedRange liveLatencyYDomain(std::span<const LatencyPoint> window);

// The step between the labelled values of the vertical scale: 1, 2 or 5 times a power of ten, giving
// about five steps up to the top. The scale itself stays as `liveLatencyYDomain` made it.
double yTickInterval(const ClosedRange& yDomain);

// From the earliest to the latest sample of the window, at least `shortestSpanMs` wide.
std::optional<ClosedRange> xDomain(std::span<const LatencyPoint> window);
// The time axis of the samples' span: `edgeRoom` of it added at each end.
ClosedRange withEdgeRoom(const ClosedRange& samplesSpan);

// The dots of one probe type, or of all unknown types together.
struct DotSeries {
    QString probeType; // empty for the unknown types
    RgbColor color;
    QList<QPointF> points;
    friend bool operator==(const DotSeries&, const DotSeries&) = default;
};

enum class BandKind { speedTest, video };

struct Band {
    BandKind kind = BandKind::speedTest;
    double startMs = 0;
    double endMs = 0;
    friend bool operator==(const Band&, const Band&) = default;
};

// The bands of the ranges that touch the horizontal domain, cut to it, overlapping ones merged. A range
// still running reaches `now`.
QList<Band> bands(const QList<SpeedTestRange>& ranges, BandKind kind, const ClosedRange& xDomain,
                  const QDateTime& now);

// Everything the chart draws at one moment.
struct Frame {
    // False while there are too few samples: the placeholder text shows instead of the chart.
    bool drawn = false;
    QString placeholderText;
    ClosedRange xDomain; // the samples' span with room at its ends
    ClosedRange yDomain;
    QList<TimeAxisTicks::Tick> timeLabels;
    // One entry for each of `ProbeColors::knownProbeTypes` in that order, then one for the unknown types;
    // present even when empty, so that a view can keep one series for each.
    QList<DotSeries> dots;
    QList<QPointF> losses;
    QList<Band> bands; // the speed-test bands, then the video bands

    friend bool operator==(const Frame&, const Frame&) = default;
};

Frame frame(const QList<LatencyPoint>& latencyPoints, const QList<SpeedTestRange>& speedTestRanges,
            const QList<SpeedTestRange>& videoStreamingRanges, double elapsedSec, const QDateTime& now);

// The chart in words, for a screen reader: how many samples it shows, the newest and the median round
// trip among them in whole milliseconds, and how many were lost: "120 samples, latest 24 ms, median
// 22 ms, 2 lost". A figure that isn't there is left out.
QString spokenSummary(std::span<const LatencyPoint> window);

// How long a rebuild asked for at `now` has to wait so that rebuilds stay `rebuildIntervalSeconds`
// apart; 0 means at once.
double rebuildDelaySeconds(const std::optional<QDateTime>& lastRebuild, const QDateTime& now);

} // namespace LiveLatencyChart
