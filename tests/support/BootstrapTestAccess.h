#pragma once

#include "subprocess/Bootstrap.h"

#include <optional>

// Puts an installer into a given state without running anything, for pictures of each state.
class BootstrapTestAccess {
public:
    static void show(Bootstrap& bootstrap, Bootstrap::State state, const QString& progressMessage,
                     const std::optional<QString>& diagnosticDetail = std::nullopt) {
        bootstrap.setState(std::move(state));
        bootstrap.setProgressMessage(progressMessage);
        bootstrap.setDiagnosticDetail(diagnosticDetail);
    }
};
