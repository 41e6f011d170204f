#include "base/VirtualClock.h"

#include <algorithm>

class VirtualClock::State final : public TimerState {
public:
    void cancel() override { active = false; }
    bool isActive() const override { return active && (!hasContext || context); }

    qint64 dueMs = 0;
    qint64 periodMs = 0;
    quint64 sequence = 0;
    bool repeats = false;
    bool active = true;
    bool hasContext = false;
    QPointer<QObject> context;
    std::function<void()> callback;
};

VirtualClock::VirtualClock(QDateTime start)
    : m_origin(std::move(start)) {}

VirtualClock::~VirtualClock() {
    for (const auto& timer : m_timers)
        timer->active = false;
}

QDateTime VirtualClock::defaultStart() {
    return QDateTime(QDate(2026, 3, 14), QTime(9, 30), Qt::UTC);
}

QDateTime VirtualClock::now() const {
    return m_origin.addMSecs(m_nowMs);
}

void VirtualClock::jump(double seconds) {
    m_nowMs += std::max<qint64>(0, qint64(seconds * 1000.0 + 0.5));
}

int VirtualClock::activeTimerCount() const {
    return int(std::count_if(m_timers.begin(), m_timers.end(), [](const auto& t) { return t->isActive(); }));
}

std::shared_ptr<VirtualClock::State> VirtualClock::arm(double seconds, bool repeats, QObject* context,
                                                       std::function<void()> callback) {
    auto state = std::make_shared<State>();
    state->periodMs = timerIntervalMs(seconds);
    state->dueMs = m_nowMs + state->periodMs;
    state->sequence = m_nextSequence++;
    state->repeats = repeats;
    state->hasContext = context != nullptr;
    state->context = context;
    state->callback = std::move(callback);
    m_timers.push_back(state);
    return state;
}

Timer VirtualClock::start(double seconds, bool repeats, QObject* context, std::function<void()> callback) {
    return Timer(arm(seconds, repeats, context, std::move(callback)));
}

void VirtualClock::post(double seconds, QObject* context, std::function<void()> callback) {
    m_posted.push_back(arm(seconds, false, context, std::move(callback)));
}

std::shared_ptr<VirtualClock::State> VirtualClock::nextDue(qint64 untilMs) {
    std::erase_if(m_timers, [](const auto& t) { return !t->isActive(); });
    std::erase_if(m_posted, [](const auto& t) { return !t->isActive(); });
    std::shared_ptr<State> best;
    for (const auto& timer : m_timers) {
        if (timer->dueMs > untilMs)
            continue;
        if (!best || std::tie(timer->dueMs, timer->sequence) < std::tie(best->dueMs, best->sequence))
            best = timer;
    }
    return best;
}

void VirtualClock::advance(double seconds) {
    const qint64 targetMs = m_nowMs + std::max<qint64>(0, qint64(seconds * 1000.0 + 0.5));
    while (auto timer = nextDue(targetMs)) {
        m_nowMs = std::max(m_nowMs, timer->dueMs);
        if (timer->repeats) {
            // Behind the clock only after a jump: like a real timer after a sleep, it fires once for all
            // the ticks it missed and then keeps its period from now on.
            timer->dueMs = std::max(timer->dueMs, m_nowMs) + timer->periodMs;
            timer->sequence = m_nextSequence++;
        } else {
            timer->active = false;
        }
        // A copy, so that a callback that cancels or re-arms its own timer can't pull it from under us.
        auto callback = timer->callback;
        callback();
    }
    m_nowMs = targetMs;
}
