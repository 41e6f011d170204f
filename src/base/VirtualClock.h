#pragma once

#include "base/Clock.h"

#include <QPointer>

#include <vector>

// A clock that moves only when told to. advance() fires every timer that falls due on the way, in time
// order (ties in the order they were armed), with now() reading each timer's own due time as it fires.
class VirtualClock final : public Clock, public Scheduler {
public:
    explicit VirtualClock(QDateTime start = defaultStart());
    ~VirtualClock() override;

    static QDateTime defaultStart();

    QDateTime now() const override;
    void advance(double seconds);
    // Moves the clock without firing anything, as a suspended machine would see it. What fell due
    // meanwhile fires at the next advance, each timer once, however many periods a repeating one missed.
    void jump(double seconds);
    int activeTimerCount() const;

    void post(double seconds, QObject* context, std::function<void()> callback) override;

protected:
    Timer start(double seconds, bool repeats, QObject* context, std::function<void()> callback) override;

private:
    class State;
    std::shared_ptr<State> arm(double seconds, bool repeats, QObject* context,
                               std::function<void()> callback);
    std::shared_ptr<State> nextDue(qint64 untilMs);

    QDateTime m_origin;
    qint64 m_nowMs = 0;
    quint64 m_nextSequence = 0;
    std::vector<std::shared_ptr<State>> m_timers;
    std::vector<std::shared_ptr<State>> m_posted; // kept alive here: nobody holds a handle
};

// Installs a VirtualClock as the program's clock and scheduler for the lifetime of this object.
class ScopedVirtualTime {
public:
    explicit ScopedVirtualTime(VirtualClock& clock) { Time::install(&clock, &clock); }
    ~ScopedVirtualTime() { Time::install(nullptr, nullptr); }
    ScopedVirtualTime(const ScopedVirtualTime&) = delete;
    ScopedVirtualTime& operator=(const ScopedVirtualTime&) = delete;
};
