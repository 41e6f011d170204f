#pragma once

#include "base/Clock.h"

// The real clock and QTimer-based timers.
class SystemClock final : public Clock {
public:
    QDateTime now() const override;
};

class SystemScheduler final : public Scheduler {
public:
    void post(double seconds, QObject* context, std::function<void()> callback) override;

protected:
    Timer start(double seconds, bool repeats, QObject* context, std::function<void()> callback) override;
};
