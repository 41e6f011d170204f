#pragma once

#include "base/Clock.h"
#include "core/AppState.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

// The wait between a stop and the saved results. It offers no action; its one job besides saying so is
// the last safety net of a stop: after 30 seconds on this screen a capture that is still finishing moves
// on to the celebration, so that a termination notice that never comes can't keep the user here.
class FinishingScreen : public QObject {
    Q_OBJECT
public:
    static constexpr double fallbackSeconds = 30.0;
    // Between the progress indicator and the text.
    static constexpr int spacing = 16;
    static QString message(); // "Saving results..."

    // What the wait does with the screen that it finds when it ends: a capture still finishing goes on
    // to the celebration; any other screen means that the capture has already moved on, and is left.
    static std::optional<AppState::Screen> screenAfterWait(AppState::Screen current);

    // `moveToCelebration` carries out the move when the wait finds the capture still finishing.
    FinishingScreen(AppState& state, std::function<void()> moveToCelebration, QObject* parent = nullptr);

    // The screen came into view: the wait starts, or starts again from the full length.
    void appear();
    // The screen left view before the wait ran out. That ends the wait early, and an early end counts as
    // one that ran out: the screen is read at once.
    void disappear();
    bool isWaiting() const { return m_wait.isActive(); }

private:
    void waitEnded();

    AppState& m_state;
    std::function<void()> m_moveToCelebration;
    Timer m_wait;
};
