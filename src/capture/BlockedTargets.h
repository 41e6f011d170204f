#pragma once

#include "capture/CaptureSeries.h"

#include <QList>
#include <QSet>
#include <QString>

// The probe keys ("{probeType}:{target}") of a finished capture that never answered while a sibling of
// the same protocol did: a target that is cut off, not a lossy link. At least 5 samples and at least 98%
// of them lost make a candidate; it is blocked only if another key of its protocol lost less than all.
// A capture with one target of a type can't yield that target. Time plays no part.
QSet<QString> findBlockedTargets(const QList<LatencyPoint>& points);
// The same over the points of one probe type only, as if they had been taken out of the list first.
QSet<QString> findBlockedTargets(const QList<LatencyPoint>& points, const QString& probeType);
