#pragma once

#include "services/FileLogger.h"

#include <QObject>

#include <functional>
#include <optional>
#include <vector>

// Tells the program when a lost network comes back, so that waiting uploads can run. One instance
// for the process, watching the platform's reachability; without a reachability backend it simply
// never reports.
class NetworkMonitor : public QObject {
    Q_OBJECT

public:
    static constexpr const char* logTag = "NetworkMonitor";
    static constexpr const char* queueLabel = "network-monitor";

    // The process-wide monitor, made and started on first use.
    static NetworkMonitor& shared();

    // A monitor that hears nothing until startWatching(); tests feed it through handle().
    explicit NetworkMonitor(FileLogger& log = FileLogger::shared(), QObject* parent = nullptr);

    // Loads the platform's reachability backend and reports its state from now on. Returns false, and
    // stays silent for good, when there is none.
    bool startWatching();

    // The last state seen; absent until the first report.
    std::optional<bool> isOnline() const { return m_isOnline; }
    // Called, in order of registration, each time the network comes back after being offline.
    void addReconnectHandler(std::function<void()> handler);
    qsizetype reconnectHandlerCount() const { return static_cast<qsizetype>(m_reconnectHandlers.size()); }

    // One reachability report. Only offline to online fires the handlers; the first report and a
    // repeated state fire nothing.
    void handle(bool online);

private:
    FileLogger& m_log;
    std::optional<bool> m_isOnline;
    std::vector<std::function<void()>> m_reconnectHandlers;
    bool m_watching = false;
};
