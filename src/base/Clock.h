#pragma once

#include <QDateTime>
#include <QObject>

#include <functional>
#include <memory>

// "Now" as the program sees it. Production reads the system clock; tests install a VirtualClock so
// that minutes of timers run in milliseconds.
class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
};

// What a Scheduler keeps for one armed timer; shared between the scheduler and the Timer handle.
class TimerState {
public:
    virtual ~TimerState() = default;
    virtual void cancel() = 0;
    virtual bool isActive() const = 0;
};

// Owning handle of one armed timer. Dropping or reassigning the handle cancels the timer, so a field
// of type Timer is stopped by clearing it, and an owner's destructor can't leave one behind.
class [[nodiscard]] Timer {
public:
    Timer() = default;
    explicit Timer(std::shared_ptr<TimerState> state)
        : m_state(std::move(state)) {}
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    Timer(Timer&& other) noexcept = default;
    Timer& operator=(Timer&& other) noexcept {
        if (this != &other) {
            cancel();
            m_state = std::move(other.m_state);
        }
        return *this;
    }
    ~Timer() { cancel(); }

    void cancel() {
        if (m_state)
            m_state->cancel();
        m_state.reset();
    }
    bool isActive() const { return m_state && m_state->isActive(); }
    explicit operator bool() const { return isActive(); }

private:
    std::shared_ptr<TimerState> m_state;
};

// Single-shot and repeating timers on the main thread. A timer whose context object is destroyed
// never fires again: callbacks may capture `this` of their context freely.
class Scheduler {
public:
    virtual ~Scheduler() = default;

    Timer singleShot(double seconds, QObject* context, std::function<void()> callback) {
        return start(seconds, false, context, std::move(callback));
    }
    Timer repeating(double seconds, QObject* context, std::function<void()> callback) {
        return start(seconds, true, context, std::move(callback));
    }
    // A single shot that nobody needs to cancel; it still dies with its context.
    virtual void post(double seconds, QObject* context, std::function<void()> callback) = 0;

protected:
    virtual Timer start(double seconds, bool repeats, QObject* context, std::function<void()> callback) = 0;
};

// The clock and scheduler in force. Both are the system's unless a test installed others.
namespace Time {
Clock& clock();
Scheduler& scheduler();
void install(Clock* clock, Scheduler* scheduler);
} // namespace Time

// Milliseconds for a duration in seconds; never below one, so a repeating timer always moves time on.
qint64 timerIntervalMs(double seconds);
