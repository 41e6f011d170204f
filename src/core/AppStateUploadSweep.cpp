// The upload sweep of AppState: when a run of the upload tool may start, what its events change, and
// the retry ladder and idle timer that follow a failure.

#include "core/AppState.h"

#include "base/NumberText.h"
#include "base/Settings.h"
#include "platform/Locations.h"
#include "services/FileLogger.h"
#include "subprocess/Bootstrap.h"
#include "subprocess/PythonProcess.h"
#include "subprocess/UploadRunner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QSet>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {
const QString tag = u"AppState"_s;
constexpr double compressionFactor = 6.0;

QSet<QString> uploadedFileNames() {
    QFile file(Locations::toolStateDir() + u"/uploaded.json"_s);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject())
        return {};
    const QStringList keys = document.object().keys();
    return QSet<QString>(keys.begin(), keys.end());
}
} // namespace

bool AppState::autoUploadEnabled() const {
    if (m_uploadsSuppressed)
        return false;
    // Only a stored false turns it off; a missing or odd value means on.
    return Settings().boolValue(Settings::autoUpload) != false;
}

qint64 AppState::estimatePendingUploadBytes(const QString& capturesDir) {
    const QDir dir(capturesDir);
    if (!dir.exists())
        return 0;
    const QSet<QString> uploaded = uploadedFileNames();
    qint64 total = 0;
    const QStringList names = dir.entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& name : names) {
        if (!name.startsWith(u"wifi_capture_"_s) || !name.endsWith(u".csv"_s) ||
            name.contains(u"throughput_raw"_s) || uploaded.contains(name))
            continue;
        const QFileInfo info(dir.filePath(name));
        total += std::max<qint64>(info.size(), 0);
    }
    return total;
}

void AppState::runUploadSweep(const QString& reason, bool manual) {
    if (!autoUploadEnabled())
        return;

    const PythonProcess::State::Kind processState = m_pythonProcess->state().kind;
    if (processState == PythonProcess::State::Kind::starting ||
        processState == PythonProcess::State::Kind::running ||
        processState == PythonProcess::State::Kind::finishing) {
        m_log.info(tag, u"upload sweep skipped (%1): capture in progress"_s.arg(reason));
        m_upload.uploadPreparing = false;
        emit uploadStateChanged();
        return;
    }
    if (m_uploadRunner) {
        m_log.info(tag, u"upload sweep skipped (%1): runner already active"_s.arg(reason));
        m_upload.uploadPreparing = false;
        emit uploadStateChanged();
        return;
    }

    stopIdleTimer();

    if (!manual && m_measuredUplinkMbps && *m_measuredUplinkMbps > 0) {
        const qint64 bytes = estimatePendingUploadBytes(PythonProcess::outputDirectory());
        if (bytes >= 1) {
            const double mbps = *m_measuredUplinkMbps;
            const double seconds = (double(bytes) / compressionFactor) * 8.0 / (mbps * 1000000.0);
            if (seconds > deferAboveSeconds) {
                m_log.info(tag, u"upload deferred (%1): estimated %2s at %3 Mbps"_s.arg(
                                    reason, QString::number(NumberText::wholeSeconds(seconds)),
                                    NumberText::fixed(mbps, 1)));
                m_upload.uploadDeferred = true;
                m_upload.estimatedUploadSecs = seconds;
                m_upload.uploadDone = true;
                m_upload.uploadPreparing = false;
                emit uploadStateChanged();
                return;
            }
        }
    }

    // uploadPreparing stays: the results go on saying "Preparing" until the tool speaks.
    m_upload.uploadDeferred = false;
    m_upload.estimatedUploadSecs.reset();
    m_upload.uploadDone = false;
    m_upload.uploadInProgress = false;
    m_upload.uploadSucceeded = 0;
    m_upload.uploadFailed = 0;
    m_upload.uploadErrors.clear();
    m_upload.uploadSizeSkips.clear();
    m_upload.uploadSkippedReason.reset();
    emit uploadStateChanged();

    m_log.info(tag, u"upload sweep starting (%1)"_s.arg(reason));

    const int generation = ++m_uploadGeneration;
    m_uploadRunner = std::make_unique<UploadRunner>(m_log);
    const QPointer<AppState> self(this);
    m_uploadRunner->setOnEvent([self, generation](const JSONEvent& event) {
        if (self)
            self->onUploadEvent(generation, event);
    });
    m_uploadRunner->setOnCompleted([self, generation](int exitCode) {
        if (self)
            self->onUploadCompleted(generation, exitCode);
    });
    // May report its end before it returns (no uv, failed spawn): nothing may follow this call.
    m_uploadRunner->run(PythonProcess::outputDirectory());
}

void AppState::onUploadEvent(int generation, const JSONEvent& event) {
    if (generation != m_uploadGeneration)
        return;
    m_upload.uploadPreparing = false;
    handleUploadEvent(event);
    emit uploadStateChanged();
}

void AppState::onUploadCompleted(int generation, int exitCode) {
    if (generation != m_uploadGeneration)
        return;
    releaseUploadRunner();
    m_upload.uploadPreparing = false;
    if (exitCode != 0 && !m_upload.uploadDone) {
        m_log.warn(tag, u"upload runner crashed (exit %1), scheduling retry"_s.arg(exitCode));
        emit uploadStateChanged();
        scheduleNextRetry();
        return;
    }
    // Closes a run whose upload_summary was lost.
    m_upload.uploadInProgress = false;
    m_upload.uploadDone = true;
    emit uploadStateChanged();
}

void AppState::releaseUploadRunner() {
    // Called from inside the runner's own callbacks, so it goes once they are over.
    if (UploadRunner* runner = m_uploadRunner.release())
        runner->deleteLater();
}

void AppState::cancelUploadRunner() {
    if (!m_uploadRunner)
        return;
    m_uploadRunner->cancel();
    releaseUploadRunner();
    emit uploadStateChanged();
}

void AppState::handleUploadEvent(const JSONEvent& event) {
    if (const auto* start = event.get<UploadStartEvent>()) {
        m_upload.uploadTotal = int(start->total);
        m_upload.uploadSucceeded = 0;
        m_upload.uploadFailed = 0;
        m_upload.uploadInProgress = true;
        m_upload.uploadDone = false;
        clearUploadProgress();
    } else if (const auto* progress = event.get<UploadProgressEvent>()) {
        reduceUploadProgress(*progress);
    } else if (event.get<UploadCompleteEvent>()) {
        ++m_upload.uploadSucceeded;
        clearUploadProgress();
    } else if (const auto* error = event.get<UploadErrorEvent>()) {
        ++m_upload.uploadFailed;
        m_upload.uploadErrors.append(*error);
        clearUploadProgress();
    } else if (const auto* skipped = event.get<UploadSkippedEvent>()) {
        if (skipped->reason == u"exceeds_size_limit"_s) {
            m_upload.uploadSizeSkips.append(*skipped);
        } else {
            m_upload.uploadSkippedReason = skipped->reason;
            m_upload.uploadInProgress = false;
            m_upload.uploadDone = true;
        }
    } else if (event.get<UploadSummaryEvent>()) {
        // The summary's own counts aren't read: ours decide.
        m_upload.uploadInProgress = false;
        m_upload.uploadDone = true;
        if (m_upload.uploadFailed < 1) {
            m_retryAttempt = 0;
            stopIdleTimer();
        } else {
            scheduleNextRetry();
        }
    } else {
        return;
    }
    emit uploadStateChanged();
}

void AppState::clearUploadProgress() {
    m_upload.uploadProgressPct = 0;
    m_upload.uploadBytesSent = 0;
    m_upload.uploadBytesTotal = 0;
    m_upload.uploadProgressFile.reset();
    m_upload.uploadEtaSecs.reset();
    m_uploadProgressStartTime.reset();
}

void AppState::reduceUploadProgress(const UploadProgressEvent& event) {
    const QDateTime now = Time::clock().now();
    if (!m_upload.uploadProgressFile || *m_upload.uploadProgressFile != event.file) {
        m_upload.uploadProgressFile = event.file;
        m_uploadProgressStartTime = now;
        m_uploadProgressStartBytes = 0;
    }
    m_upload.uploadBytesSent = event.bytesSent;
    m_upload.uploadBytesTotal = event.bytesTotal;
    m_upload.uploadProgressPct = event.pct;

    // The mean rate of the whole file so far, not a sliding one.
    const double elapsed = double(m_uploadProgressStartTime->msecsTo(now)) / 1000.0;
    const qint64 delta = event.bytesSent - m_uploadProgressStartBytes;
    if (elapsed > 1.0 && delta >= 1)
        m_upload.uploadEtaSecs = double(event.bytesTotal - event.bytesSent) / (double(delta) / elapsed);
}

void AppState::scheduleNextRetry() {
    cancelPendingRetry();
    if (m_retryAttempt < int(std::size(retryDelaysSeconds))) {
        const double delay = retryDelaysSeconds[m_retryAttempt];
        ++m_retryAttempt;
        m_upload.pendingRetryAt = Time::clock().now().addMSecs(qint64(delay * 1000));
        emit uploadStateChanged();
        m_log.info(tag, u"retry #%1 scheduled in %2s"_s.arg(m_retryAttempt).arg(qint64(delay)));
        m_pendingRetryTimer = Time::scheduler().singleShot(delay, this, [this] {
            m_pendingRetryTimer = Timer();
            m_upload.pendingRetryAt.reset();
            emit uploadStateChanged();
            runUploadSweep(u"auto-retry"_s, false);
        });
        return;
    }
    m_log.info(tag, u"retry budget exhausted after %1 attempts, starting idle timer"_s.arg(m_retryAttempt));
    startIdleTimer();
}

void AppState::startIdleTimer() {
    if (m_idleUploadTimer.isActive())
        return;
    m_idleUploadTicks = 0;
    m_idleUploadTimer =
        Time::scheduler().repeating(idleUploadIntervalSeconds, this, [this] { idleUploadTick(); });
}

void AppState::idleUploadTick() {
    ++m_idleUploadTicks;
    if (m_idleUploadTicks >= idleUploadTickLimit) {
        // The line names the ticks that swept, not the one that gives up.
        m_log.info(tag, u"idle upload timer expired after %1 ticks"_s.arg(idleUploadTickLimit - 1));
        stopIdleTimer();
        return;
    }
    // A sweep that passes its gates stops this timer, and a failed run starts a fresh one with the
    // count back at 0; only sweeps refused at the gates run the count out.
    runUploadSweep(u"idle-periodic"_s, false);
}

void AppState::retryUpload() {
    m_log.info(tag, u"retryUpload requested"_s);
    cancelUploadRunner();
    m_retryAttempt = 0;
    cancelPendingRetry();
    runUploadSweep(u"manual-button"_s, true);
}

void AppState::runLaunchSweep() {
    if (m_screen != Screen::setup)
        return;
    m_retryAttempt = 0;
    cancelPendingRetry();
    stopIdleTimer();
    runUploadSweep(u"app-launch"_s, false);
}

void AppState::onSystemWake() {
    // The sweep's upload tool runs --offline: it waits for the warm-up to fill the cache first.
    Bootstrap::afterWarmingTask(this, [this] {
        cancelPendingRetry();
        runUploadSweep(u"system-wake"_s, false);
    });
}

void AppState::onNetworkReconnected() {
    if (!m_upload.pendingRetryAt && m_upload.uploadFailed < 1)
        return;
    m_log.info(tag, u"network reconnected — running upload sweep"_s);
    cancelPendingRetry();
    runUploadSweep(u"network-reconnect"_s, true);
}
