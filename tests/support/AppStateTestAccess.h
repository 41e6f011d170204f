#pragma once

#include "core/AppState.h"
#include "subprocess/UploadRunner.h"

// Reaches the private working parts of AppState that the reducer tests drive directly: the buffers
// and timers that a capture would start, and the termination step.
class AppStateTestAccess {
public:
    static void startFlushTimer(AppState& state) { state.startFlushTimer(); }
    static void terminate(AppState& state) { state.onProcessTerminated(); }
    static void setScreen(AppState& state, AppState::Screen screen) { state.setScreen(screen); }

    // The upload sweep's inner parts.
    static void setMeasuredUplinkMbps(AppState& state, std::optional<double> mbps) {
        state.setMeasuredUplinkMbps(mbps);
    }
    static void setUploadPreparing(AppState& state, bool preparing) {
        state.m_upload.uploadPreparing = preparing;
    }
    static void setUploadFailed(AppState& state, int failed) { state.m_upload.uploadFailed = failed; }
    // Forgets every upload figure and any retry, as if no sweep had ever run.
    static void resetUpload(AppState& state) {
        state.cancelPendingRetry();
        state.resetUploadFields(true);
    }
    static void setRetryAttempt(AppState& state, int attempt) { state.m_retryAttempt = attempt; }
    // The callbacks of a runner of the given generation, as the runner would call them.
    static void uploadEvent(AppState& state, int generation, const JSONEvent& event) {
        state.onUploadEvent(generation, event);
    }
    static void uploadCompleted(AppState& state, int generation, int exitCode) {
        state.onUploadCompleted(generation, exitCode);
    }
    // A runner that holds the sweep's place without running anything.
    static void holdIdleRunner(AppState& state) {
        state.m_uploadRunner = std::make_unique<UploadRunner>(state.m_log);
    }
    static const std::optional<QDateTime>& uploadProgressStartTime(const AppState& state) {
        return state.m_uploadProgressStartTime;
    }
};
