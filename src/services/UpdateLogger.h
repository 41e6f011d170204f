#pragma once

#include "services/Updater.h"

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <optional>

class FileLogger;

// Listens to the updater: writes what it does to the log, remembers a found version for the banners,
// and reports a failed download through the crash-report channel. The calls may arrive on the
// updater's own thread; only what the screens observe hops to the main thread.
class UpdateLogger : public QObject {
    Q_OBJECT

public:
    static constexpr const char* tag = "Update";

    // Sends one event record, such as "update_failed", without waiting for it.
    using EventSender = std::function<void(const QString& type, const QJsonObject& details)>;
    // Starts the background scan for crash reports, without waiting for it.
    using CrashScan = std::function<void()>;

    // The process-wide listener on the shared log; made on first use.
    static UpdateLogger& shared();

    explicit UpdateLogger(FileLogger& log, QObject* parent = nullptr);

    void setEventSender(EventSender sender) { m_sendEvent = std::move(sender); }
    void setCrashScan(CrashScan scan) { m_crashScan = std::move(scan); }

    // The display version of an update that has been found and not since dropped.
    std::optional<QString> pendingVersion() const { return m_pendingVersion; }
    // The updater that found it: what the banners' restart asks. Held weakly, like the framework's
    // own updater on macOS, whose name it keeps.
    Updater* sparkleUpdater() const { return m_sparkleUpdater; }

    void didFindValidUpdate(Updater* updater, const UpdateItem& item);
    void didNotFindUpdate(Updater* updater, const QString& error);
    void willDownloadUpdate(Updater* updater, const UpdateItem& item);
    void failedToDownloadUpdate(Updater* updater, const UpdateItem& item, const QString& error);
    void willInstallUpdate(Updater* updater, const UpdateItem& item);
    void willRelaunchApplication(Updater* updater);

signals:
    void pendingVersionChanged();

private:
    void setPendingVersion(std::optional<QString> version);

    FileLogger& m_log;
    EventSender m_sendEvent;
    CrashScan m_crashScan;
    std::optional<QString> m_pendingVersion;
    QPointer<Updater> m_sparkleUpdater;
};
