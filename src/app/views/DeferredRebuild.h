#pragma once

#include <QColor>
#include <QFont>
#include <QPointer>
#include <QWidget>

#include <functional>

// The work a results chart redoes when its inputs change. While the widget is hidden (during a live
// capture, which changes the inputs twice a second) a request is only remembered; while it shows,
// the requests of one turn of the event loop (the notices of one load) make one rebuild.
class DeferredRebuild {
public:
    DeferredRebuild(QWidget* owner, std::function<void()> work);

    void request();
    // From the owner's showEvent: a remembered request is done at once, so that the first picture
    // already shows the inputs.
    void catchUp();
    int count() const { return m_count; }

private:
    void run();

    QPointer<QWidget> m_owner;
    std::function<void()> m_work;
    bool m_stale = true;
    bool m_queued = false;
    int m_count = 0;
};

namespace ChartText {

// The size of the charts' secondary words: axis labels, legends, scales.
QFont smaller(const QFont& base);
QColor withAlpha(QColor color, double opacity);

} // namespace ChartText
