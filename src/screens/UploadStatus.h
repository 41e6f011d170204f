#pragma once

#include "core/AppState.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

// What the results screen shows about the upload, worked out from the upload state alone so the view
// only has to draw it. The view redraws each second while a retry is pending, because the countdown
// in the failure line depends on `now`.
struct UploadStatus {
    enum class Kind {
        none,              // nothing to show
        preparing,         // `text` and a spinner
        deferred,          // `text` and the "Upload Now" button
        uploadingCount,    // `text` and a spinner, before the byte totals are known
        uploadingProgress, // the bar, `percentText`, `etaText` and `sizeLine`
        skipped,           // `text`
        uploaded,          // `text`
        block,             // `heading`, `rows` and `failureLine`, with the "Retry Now" button after a failure
    };

    Kind kind = Kind::none;
    QString text;
    bool showsSpinner = false;

    bool showsProgressBar = false;
    qint64 progressValue = 0;
    qint64 progressMaximum = 0;
    QString percentText;
    std::optional<QString> etaText;
    QString sizeLine;

    std::optional<QString> heading;
    QStringList rows;
    std::optional<QString> failureLine;

    // Both buttons call AppState::retryUpload.
    std::optional<QString> buttonLabel;

    static UploadStatus forState(const AppState::UploadState& upload,
                                 std::optional<double> measuredUplinkMbps, const QDateTime& now);

    // The time to the next retry, rounded to whole seconds and never below zero: "59s", "5m 0s".
    static QString countdownText(double secondsLeft);

    friend bool operator==(const UploadStatus&, const UploadStatus&) = default;
};
