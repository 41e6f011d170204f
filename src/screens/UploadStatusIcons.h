#pragma once

#include "capture/RgbColor.h"
#include "core/AppState.h"
#include "screens/UploadStatus.h"

#include <QList>
#include <QString>

#include <optional>

// A symbol, drawn in the text colour unless it has a tint of its own.
struct SymbolIcon {
    QString name;
    std::optional<RgbColor> tint;
    friend bool operator==(const SymbolIcon&, const SymbolIcon&) = default;
};

// The icons in front of the lines of the upload status: a clock for a deferred upload, a cloud with a
// check or an exclamation mark for the counts, a cloud with an arrow for the next attempt, and a struck
// cloud for what was skipped. Lines without an entry have no icon.
struct UploadStatusIcons {
    std::optional<SymbolIcon> text;        // before `text`
    std::optional<SymbolIcon> heading;     // before the block's heading
    QList<std::optional<SymbolIcon>> rows; // one for each of the block's rows, in their order
    std::optional<SymbolIcon> failureLine; // before the line about the next attempt

    // `upload` must be the state that `status` was made from: it tells the error rows from the size
    // skips.
    static UploadStatusIcons forStatus(const UploadStatus& status, const AppState::UploadState& upload);

    // Whether the status shows a countdown that must be redrawn every second.
    static bool showsCountdown(const UploadStatus& status, const AppState::UploadState& upload);

    friend bool operator==(const UploadStatusIcons&, const UploadStatusIcons&) = default;
};
