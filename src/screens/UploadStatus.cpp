#include "screens/UploadStatus.h"

#include "base/NumberText.h"
#include "capture/ResultsFormat.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

QString fileCount(int count) {
    return QString::number(count) + (count == 1 ? u" file"_s : u" files"_s);
}

// The file being sent is counted as well as the ones already done, so the first upload reads "1/3".
QString position(const AppState::UploadState& upload) {
    return QString::number(upload.uploadSucceeded + upload.uploadFailed + 1) + u'/' +
           QString::number(upload.uploadTotal);
}

QString sizeSkipRow(const UploadSkippedEvent& skip) {
    const QString file = skip.file.value_or(u"file"_s);
    const QString size = skip.sizeMb ? NumberText::wholePart(*skip.sizeMb) : u"0"_s;
    const QString limit = skip.limitMb ? NumberText::wholePart(*skip.limitMb) : u"100"_s;
    return file + u" too large ("_s + size + u" MB, limit "_s + limit + u" MB) — available locally"_s;
}

UploadStatus block(const AppState::UploadState& upload, const QDateTime& now) {
    UploadStatus status;
    status.kind = UploadStatus::Kind::block;
    if (upload.uploadSucceeded >= 1) {
        if (upload.uploadFailed > 0)
            status.heading = QString::number(upload.uploadSucceeded) + u" uploaded, "_s +
                             QString::number(upload.uploadFailed) + u" failed"_s;
        else
            status.heading = fileCount(upload.uploadSucceeded) + u" uploaded"_s;
    }
    for (const UploadErrorEvent& error : upload.uploadErrors)
        status.rows.append(error.file + u": "_s + error.message);
    for (const UploadSkippedEvent& skip : upload.uploadSizeSkips)
        status.rows.append(sizeSkipRow(skip));
    // While uploads are still running a failure may yet be retried within the run, so the failure line
    // waits for the run to end.
    if (upload.uploadFailed >= 1 && upload.uploadDone) {
        if (upload.pendingRetryAt) {
            const double secondsLeft = double(now.msecsTo(*upload.pendingRetryAt)) / 1000.0;
            status.failureLine = u"Upload failed. Next attempt in "_s +
                                 UploadStatus::countdownText(secondsLeft) +
                                 u". You can close the app; the next launch will try again."_s;
        } else {
            status.failureLine = u"Upload failed. Will keep trying periodically and on next launch."_s;
        }
        status.buttonLabel = u"Retry Now"_s;
    }
    return status;
}

} // namespace

UploadStatus UploadStatus::forState(const AppState::UploadState& upload,
                                    std::optional<double> measuredUplinkMbps, const QDateTime& now) {
    UploadStatus status;
    if (upload.uploadPreparing) {
        status.kind = Kind::preparing;
        status.text = u"Preparing upload..."_s;
        status.showsSpinner = true;
        return status;
    }
    if (upload.uploadDeferred) {
        // Without an estimate the deferral itself says the upload is long; ten minutes stands in.
        const QString minutes =
            upload.estimatedUploadSecs ? NumberText::wholePart(*upload.estimatedUploadSecs / 60) : u"10"_s;
        status.kind = Kind::deferred;
        status.text = u"Results saved locally. Upload would take ~"_s + minutes + u"m on your "_s +
                      NumberText::fixed(measuredUplinkMbps.value_or(0.0), 1) +
                      u" Mbps uplink. Will retry on a faster connection or next launch."_s;
        status.buttonLabel = u"Upload Now"_s;
        return status;
    }
    if (upload.uploadInProgress) {
        // The byte totals arrive with the first progress event; until then only the file count is known.
        if (upload.uploadBytesTotal < 1) {
            status.kind = Kind::uploadingCount;
            status.text = u"Uploading ("_s + position(upload) + u")..."_s;
            status.showsSpinner = true;
            return status;
        }
        status.kind = Kind::uploadingProgress;
        status.showsProgressBar = true;
        status.progressValue = upload.uploadBytesSent;
        status.progressMaximum = upload.uploadBytesTotal;
        status.percentText = QString::number(upload.uploadProgressPct) + u'%';
        if (upload.uploadEtaSecs && *upload.uploadEtaSecs > 0)
            status.etaText = u'~' + ResultsAnalysis::formatEta(*upload.uploadEtaSecs) + u" left"_s;
        status.sizeLine = u"Uploading "_s + ResultsAnalysis::formatBytes(upload.uploadBytesTotal);
        if (upload.uploadTotal > 1)
            status.sizeLine += u" ("_s + position(upload) + u')';
        return status;
    }
    if (upload.uploadSkippedReason) {
        status.kind = Kind::skipped;
        const QString& reason = *upload.uploadSkippedReason;
        status.text =
            u"Upload skipped — "_s + (reason == u"no_credentials"_s ? u"no R2 credentials"_s : reason);
        return status;
    }
    if (upload.uploadFailed < 1 && upload.uploadSizeSkips.isEmpty()) {
        if (upload.uploadSucceeded < 1)
            return status;
        status.kind = Kind::uploaded;
        status.text = fileCount(upload.uploadSucceeded) + u" uploaded to R2"_s;
        return status;
    }
    return block(upload, now);
}

QString UploadStatus::countdownText(double secondsLeft) {
    // wholeSeconds takes the NaN that a NaN input rounds to as zero.
    const qint64 seconds = std::max<qint64>(0, NumberText::wholeSeconds(std::round(secondsLeft)));
    if (seconds < 60)
        return QString::number(seconds) + u's';
    return QString::number(seconds / 60) + u"m "_s + QString::number(seconds % 60) + u's';
}
