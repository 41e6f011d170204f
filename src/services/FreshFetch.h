#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

class QNetworkAccessManager;
class QObject;
class QUrl;

// How one GET of fetchFresh ended.
struct FetchAnswer {
    // Set when no HTTP answer came: refused, unreachable, silent or cut at the deadline.
    std::optional<QString> failure;
    // The HTTP status of the answer; 0 when it wasn't HTTP.
    int status = 0;
    QByteArray body;

    bool succeeded() const { return !failure && status >= 200 && status <= 299; }
};

// A GET that asks past any local HTTP cache and stores nothing in one. The deadline, on the injected
// scheduler, bounds the whole request, however slowly a server trickles its answer. `done` runs once,
// on the main thread, and not at all once `context` is gone.
void fetchFresh(QNetworkAccessManager& network, const QUrl& url, double deadline, QObject* context,
                std::function<void(const FetchAnswer&)> done);
