#pragma once

#include "core/AppState.h"

#include <QString>

// What the quit confirmation says. The title looks at a preparing upload; the message deliberately
// doesn't.
struct QuitAlert {
    QString title;
    QString message;
    QString destructiveButton; // quits
    QString cancelButton;
    friend bool operator==(const QuitAlert&, const QuitAlert&) = default;

    // A quit needs confirming while a capture runs or saves, or an upload is under way or about to be.
    static bool isNeeded(AppState::Screen screen, bool uploadInProgress, bool uploadPreparing);
    static QuitAlert make(AppState::Screen screen, bool uploadInProgress, bool uploadPreparing);
};
