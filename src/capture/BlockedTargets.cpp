#include "capture/BlockedTargets.h"

#include <QHash>

#include <utility>

namespace {

struct KeyCounts {
    qsizetype total = 0;
    qsizetype losses = 0;
};

// The protocol of a key is the text before its first ":", as the key itself says.
QStringView protocolOf(const QString& key) {
    return QStringView(key).first(qMax<qsizetype>(key.indexOf(u':'), 0));
}

template <typename Accept> QSet<QString> blockedAmong(const QList<LatencyPoint>& points, Accept accept) {
    // Counted by (type, target) so that no key text is built per sample; only once per key below.
    QHash<std::pair<QString, QString>, KeyCounts> perProbe;
    for (const LatencyPoint& point : points) {
        if (!accept(point))
            continue;
        KeyCounts& counts = perProbe[{point.probeType, point.target}];
        ++counts.total;
        if (point.loss)
            ++counts.losses;
    }
    QHash<QString, KeyCounts> counts;
    counts.reserve(perProbe.size());
    for (auto it = perProbe.cbegin(); it != perProbe.cend(); ++it) {
        // Two probes can only spell one key if a type or target holds ":"; they then count as one.
        KeyCounts& key = counts[it.key().first + u':' + it.key().second];
        key.total += it->total;
        key.losses += it->losses;
    }

    // How many keys of each protocol got at least one answer through.
    QHash<QStringView, qsizetype> answeringKeys;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
        if (it->losses < it->total)
            ++answeringKeys[protocolOf(it.key())];
    }

    QSet<QString> blocked;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
        const KeyCounts& key = *it;
        // losses / total >= 0.98 in integers, so 49 of 50 is a candidate exactly.
        const bool candidate = key.total >= 5 && key.losses * 50 >= key.total * 49;
        if (!candidate)
            continue;
        // A candidate that lost 49 of 50 answered itself; only another key counts as the sibling.
        const qsizetype siblings =
            answeringKeys.value(protocolOf(it.key())) - (key.losses < key.total ? 1 : 0);
        if (siblings > 0)
            blocked.insert(it.key());
    }
    return blocked;
}

} // namespace

QSet<QString> findBlockedTargets(const QList<LatencyPoint>& points) {
    return blockedAmong(points, [](const LatencyPoint&) { return true; });
}

QSet<QString> findBlockedTargets(const QList<LatencyPoint>& points, const QString& probeType) {
    return blockedAmong(points, [&](const LatencyPoint& point) { return point.probeType == probeType; });
}
