#pragma once

#include "capture/ResultsCharts.h"

#include <QList>
#include <QPointF>

// A chart of a few hundred pixels can't show a million points, and handing it all of them costs
// seconds. Thinning keeps, per slice of the horizontal range, the lowest and the highest point, so the
// line keeps its shape and its peaks while the chart gets a few points per pixel column.
namespace ResultsSeriesThinning {

// About one slice per pixel column of the widest chart, with room to spare.
inline constexpr int defaultBucketCount = 1000;

// `points` ascending by x. Short series come back as they are; longer ones keep the first and the last
// point and, of each of `bucketCount` equal slices of the x range, the lowest and the highest point in
// their order along x.
QList<QPointF> thin(const QList<QPointF>& points, int bucketCount = defaultBucketCount);

// The points whose x lies inside `window`, with the nearest one outside each edge so that a line runs
// on to the edges, thinned as above. `points` ascending by x.
QList<QPointF> visible(const QList<QPointF>& points, const ClosedRange& window,
                       int bucketCount = defaultBucketCount);

// Sorts by x unless already in order, keeping the order of points at the same x.
void sortByX(QList<QPointF>& points);

} // namespace ResultsSeriesThinning
