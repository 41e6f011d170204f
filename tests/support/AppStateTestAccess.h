#pragma once

#include "core/AppState.h"

// Reaches the private working parts of AppState that the reducer tests drive directly: the buffers
// and timers that a capture would start, and the termination step.
class AppStateTestAccess {
public:
    static void startFlushTimer(AppState& state) { state.startFlushTimer(); }
    static void terminate(AppState& state) { state.onProcessTerminated(); }
    static void setScreen(AppState& state, AppState::Screen screen) { state.setScreen(screen); }
};
