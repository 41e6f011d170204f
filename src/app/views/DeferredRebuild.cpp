#include "DeferredRebuild.h"

#include <QMetaObject>

#include <algorithm>
#include <utility>

DeferredRebuild::DeferredRebuild(QWidget* owner, std::function<void()> work)
    : m_owner(owner)
    , m_work(std::move(work)) {}

void DeferredRebuild::request() {
    m_stale = true;
    if (!m_owner || !m_owner->isVisible() || m_queued)
        return;
    m_queued = true;
    QMetaObject::invokeMethod(
        m_owner,
        [this] {
            m_queued = false;
            if (m_stale && m_owner->isVisible())
                run();
        },
        Qt::QueuedConnection);
}

void DeferredRebuild::catchUp() {
    if (m_stale)
        run();
}

void DeferredRebuild::run() {
    m_stale = false;
    ++m_count;
    m_work();
}

namespace ChartText {

QFont smaller(const QFont& base) {
    QFont small = base;
    if (small.pointSizeF() > 0)
        small.setPointSizeF(small.pointSizeF() * 0.85);
    else
        small.setPixelSize(std::max(8, small.pixelSize() * 85 / 100));
    return small;
}

QColor withAlpha(QColor color, double opacity) {
    color.setAlphaF(float(opacity));
    return color;
}

} // namespace ChartText
