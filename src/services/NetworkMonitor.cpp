#include "services/NetworkMonitor.h"

#include <QNetworkInformation>

using namespace Qt::StringLiterals;

namespace {

const QString tag = QString::fromLatin1(NetworkMonitor::logTag);

// Only a confirmed route to the internet counts: a local or site-only link is no use to an upload.
bool reachesInternet(QNetworkInformation::Reachability reachability) {
    return reachability == QNetworkInformation::Reachability::Online;
}

} // namespace

NetworkMonitor& NetworkMonitor::shared() {
    static NetworkMonitor* const monitor = [] {
        auto* created = new NetworkMonitor(FileLogger::shared());
        created->startWatching();
        return created;
    }();
    return *monitor;
}

NetworkMonitor::NetworkMonitor(FileLogger& log, QObject* parent)
    : QObject(parent)
    , m_log(log) {}

bool NetworkMonitor::startWatching() {
    if (m_watching)
        return true;
    if (!QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability))
        return false;
    QNetworkInformation* information = QNetworkInformation::instance();
    if (!information)
        return false;
    m_watching = true;
    // Reports are queued, so that handle() always runs from the event loop on this object's thread,
    // never inside the backend's own call.
    connect(
        information, &QNetworkInformation::reachabilityChanged, this,
        [this](QNetworkInformation::Reachability reachability) { handle(reachesInternet(reachability)); },
        Qt::QueuedConnection);
    const QNetworkInformation::Reachability current = information->reachability();
    if (current != QNetworkInformation::Reachability::Unknown)
        QMetaObject::invokeMethod(
            this, [this, current] { handle(reachesInternet(current)); }, Qt::QueuedConnection);
    return true;
}

void NetworkMonitor::addReconnectHandler(std::function<void()> handler) {
    m_reconnectHandlers.push_back(std::move(handler));
}

void NetworkMonitor::handle(bool online) {
    const std::optional<bool> previous = m_isOnline;
    m_isOnline = online;
    if (previous == false && online) {
        m_log.info(tag,
                   u"network reachable — firing %1 reconnect handler(s)"_s.arg(m_reconnectHandlers.size()));
        // A handler may register another; only those present now run for this report.
        const auto handlers = m_reconnectHandlers;
        for (const auto& handler : handlers)
            handler();
        return;
    }
    if (previous == online)
        return;
    m_log.debug(tag, online ? u"network state: online"_s : u"network state: offline"_s);
}
