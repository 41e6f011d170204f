#include "base/SystemTime.h"

#include <QPointer>
#include <QTimer>

#include <cmath>

namespace {

class QTimerState final : public TimerState {
public:
    explicit QTimerState(QTimer* timer)
        : m_timer(timer) {}
    ~QTimerState() override { delete m_timer.data(); }

    void cancel() override {
        m_active = false;
        if (m_timer)
            m_timer->stop();
    }
    bool isActive() const override { return m_active && m_timer; }
    void markFired() { m_active = false; }

private:
    QPointer<QTimer> m_timer;
    bool m_active = true;
};

SystemClock systemClock;
SystemScheduler systemScheduler;
Clock* currentClock = &systemClock;
Scheduler* currentScheduler = &systemScheduler;

} // namespace

namespace Time {

Clock& clock() {
    return *currentClock;
}
Scheduler& scheduler() {
    return *currentScheduler;
}

void install(Clock* newClock, Scheduler* newScheduler) {
    currentClock = newClock ? newClock : &systemClock;
    currentScheduler = newScheduler ? newScheduler : &systemScheduler;
}

} // namespace Time

qint64 timerIntervalMs(double seconds) {
    if (!(seconds > 0.001)) // also catches NaN
        return 1;
    return std::llround(seconds * 1000.0);
}

QDateTime SystemClock::now() const {
    return QDateTime::currentDateTimeUtc();
}

void SystemScheduler::post(double seconds, QObject* context, std::function<void()> callback) {
    QTimer::singleShot(std::chrono::milliseconds(timerIntervalMs(seconds)), Qt::PreciseTimer, context,
                       std::move(callback));
}

Timer SystemScheduler::start(double seconds, bool repeats, QObject* context, std::function<void()> callback) {
    auto* timer = new QTimer;
    timer->setTimerType(Qt::PreciseTimer);
    timer->setSingleShot(!repeats);
    timer->setInterval(std::chrono::milliseconds(timerIntervalMs(seconds)));
    auto state = std::make_shared<QTimerState>(timer);
    std::weak_ptr<QTimerState> weak = state;
    QObject::connect(timer, &QTimer::timeout, context ? context : timer, [weak, repeats, callback] {
        auto alive = weak.lock();
        if (!alive || !alive->isActive())
            return;
        if (!repeats)
            alive->markFired();
        callback();
    });
    if (context) {
        QObject::connect(context, &QObject::destroyed, timer, [weak] {
            if (auto alive = weak.lock())
                alive->cancel();
        });
    }
    timer->start();
    return Timer(state);
}
