#pragma once

#include <QElapsedTimer>
#include <QTest>

#include <functional>

// Lets the event loop run, a few milliseconds at a time, until the condition holds or twenty real
// seconds have passed; between rounds `eachRound` may move a virtual clock. False on the time-out.
inline bool pumpUntil(const std::function<bool()>& done, const std::function<void()>& eachRound = {}) {
    QElapsedTimer real;
    real.start();
    while (!done()) {
        if (real.elapsed() > 20'000)
            return false;
        QTest::qWait(5);
        if (eachRound)
            eachRound();
    }
    return true;
}
