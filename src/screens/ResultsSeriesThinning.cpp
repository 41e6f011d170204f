#include "ResultsSeriesThinning.h"

#include <algorithm>

namespace ResultsSeriesThinning {

QList<QPointF> thin(const QList<QPointF>& points, int bucketCount) {
    if (bucketCount < 1 || points.size() <= qsizetype(bucketCount) * 2 + 2)
        return points;
    const double first = points.first().x();
    const double span = points.last().x() - first;
    if (!(span > 0))
        return {points.first(), points.last()};

    QList<QPointF> kept;
    kept.reserve(qsizetype(bucketCount) * 2 + 2);
    kept.append(points.first());
    qsizetype i = 1;
    const qsizetype end = points.size() - 1; // the last point is appended on its own
    while (i < end) {
        const int bucket = std::min(bucketCount - 1, int((points[i].x() - first) / span * bucketCount));
        qsizetype low = i;
        qsizetype high = i;
        qsizetype j = i + 1;
        for (; j < end; ++j) {
            if (std::min(bucketCount - 1, int((points[j].x() - first) / span * bucketCount)) != bucket)
                break;
            if (points[j].y() < points[low].y())
                low = j;
            if (points[j].y() > points[high].y())
                high = j;
        }
        kept.append(points[std::min(low, high)]);
        if (low != high)
            kept.append(points[std::max(low, high)]);
        i = j;
    }
    kept.append(points.last());
    return kept;
}

QList<QPointF> visible(const QList<QPointF>& points, const ClosedRange& window, int bucketCount) {
    const auto byX = [](const QPointF& point, double x) { return point.x() < x; };
    auto from = std::lower_bound(points.cbegin(), points.cend(), window.lowerBound, byX);
    auto to = std::upper_bound(points.cbegin(), points.cend(), window.upperBound,
                               [](double x, const QPointF& point) { return x < point.x(); });
    if (from != points.cbegin())
        --from;
    if (to != points.cend())
        ++to;
    return thin(QList<QPointF>(from, to), bucketCount);
}

void sortByX(QList<QPointF>& points) {
    const auto byX = [](const QPointF& a, const QPointF& b) { return a.x() < b.x(); };
    if (!std::is_sorted(points.cbegin(), points.cend(), byX))
        std::stable_sort(points.begin(), points.end(), byX);
}

} // namespace ResultsSeriesThinning
