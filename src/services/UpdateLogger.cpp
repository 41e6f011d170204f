#include "services/UpdateLogger.h"

#include "services/FileLogger.h"

using namespace Qt::StringLiterals;

UpdateLogger& UpdateLogger::shared() {
    static UpdateLogger* const instance = new UpdateLogger(FileLogger::shared());
    return *instance;
}

UpdateLogger::UpdateLogger(FileLogger& log, QObject* parent)
    : QObject(parent)
    , m_log(log) {}

void UpdateLogger::didFindValidUpdate(Updater* updater, const UpdateItem& item) {
    m_log.info(tag, u"update found: version=%1 build=%2"_s.arg(item.displayVersion, item.version));
    const QPointer<Updater> found(updater);
    QMetaObject::invokeMethod(this, [this, found, version = item.displayVersion] {
        m_sparkleUpdater = found;
        setPendingVersion(version);
    });
}

void UpdateLogger::didNotFindUpdate(Updater*, const QString& error) {
    m_log.info(tag, u"no update available: "_s + error);
    QMetaObject::invokeMethod(this, [this] { setPendingVersion(std::nullopt); });
}

void UpdateLogger::willDownloadUpdate(Updater*, const UpdateItem& item) {
    m_log.info(tag, u"downloading update: version="_s + item.displayVersion);
}

void UpdateLogger::failedToDownloadUpdate(Updater*, const UpdateItem& item, const QString& error) {
    m_log.warn(tag, u"update download failed: version=%1 error=%2"_s.arg(item.displayVersion, error));
    QMetaObject::invokeMethod(this, [this] { setPendingVersion(std::nullopt); });
    // The sender runs in the background itself; a failed report of a failure is of no concern here.
    if (m_sendEvent) {
        m_sendEvent(u"update_failed"_s, QJsonObject{{u"target_version"_s, item.displayVersion},
                                                    {u"target_build"_s, item.version},
                                                    {u"error"_s, error}});
    }
}

void UpdateLogger::willInstallUpdate(Updater*, const UpdateItem& item) {
    m_log.info(tag, u"installing update: version="_s + item.displayVersion);
    // Reports written by this version leave before the update replaces it.
    if (m_crashScan)
        m_crashScan();
}

void UpdateLogger::willRelaunchApplication(Updater*) {
    m_log.info(tag, u"relaunching for update"_s);
    QMetaObject::invokeMethod(this, [this] { setPendingVersion(std::nullopt); });
}

void UpdateLogger::setPendingVersion(std::optional<QString> version) {
    if (m_pendingVersion == version)
        return;
    m_pendingVersion = std::move(version);
    emit pendingVersionChanged();
}
