#pragma once

#include "capture/CaptureSnapshot.h"
#include "capture/QualityRating.h"
#include "capture/ResultsCharts.h"
#include "capture/ResultsFormat.h"

#include <QList>
#include <QString>

#include <optional>

// One figure of the results as a card shows it: the field names are those of StatCard.
struct ResultFigure {
    QString title;
    QString value;
    std::optional<QualityRating> rating;
    std::optional<QString> ratingQualifier;
    std::optional<QString> subtitle;
    friend bool operator==(const ResultFigure&, const ResultFigure&) = default;
};

// What a finished capture amounts to: the headline figures, the verdict and the cards. Pure functions
// of one snapshot, recomputed whenever a screen draws; each is a single linear pass over the series.
namespace ResultsAnalysis {

// The latency samples that speak for the link: the "ping" points, or, if there are none, the "udp"
// points; never a mix.
QList<LatencyPoint> referenceLatencyPoints(const QList<LatencyPoint>& points);

// The headline latency: the end-to-end figure when pings are answered on the way, else the median of
// the reference samples.
std::optional<double> realMedianRTT(const CaptureSnapshot& capture);
// The headline loss in percent, over the reference samples without blocked targets.
std::optional<double> realLossPct(const CaptureSnapshot& capture);
std::optional<double> medianDownload(const CaptureSnapshot& capture);
std::optional<double> medianUpload(const CaptureSnapshot& capture);
std::optional<double> netflixMedianMbps(const CaptureSnapshot& capture);
std::optional<double> youtubeSegmentMedianMbps(const CaptureSnapshot& capture);
// The figure of the download and upload cards: the median of the tests, or else the last rate.
std::optional<double> downloadFigure(const CaptureSnapshot& capture);
std::optional<double> uploadFigure(const CaptureSnapshot& capture);

bool isGeo(const CaptureSnapshot& capture);
// The verdict reads the last download and upload rates, where the cards read the medians: the two
// may differ, and that is wanted.
QualityRating quality(const CaptureSnapshot& capture);
QString qualityExplanation(const CaptureSnapshot& capture);

// "RTT (P50)", "Packet Loss", "Download (P50)", "Upload (P50)", "Signal", in this order.
QList<ResultFigure> summaryFigures(const CaptureSnapshot& capture);

bool hasVideoData(const CaptureSnapshot& capture);
// "Netflix", "YouTube", "Stalls", "Startup", "Buffer", each only when measured.
QList<ResultFigure> videoFigures(const CaptureSnapshot& capture);

// The percentiles of the latency chart, over `percentileValues` of the capture's samples.
std::optional<Percentiles> latencyPercentiles(const CaptureSnapshot& capture);

// The charts' inputs as the results screen takes them from the snapshot.
QList<ObservedThroughputPoint> filteredObservedPoints(const CaptureSnapshot& capture);

} // namespace ResultsAnalysis
