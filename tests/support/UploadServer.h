#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>

// One HTTP request as the server received it, body included.
struct ReceivedRequest {
    QByteArray method;
    QByteArray path;
    QHash<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
};

// An object store on 127.0.0.1 that takes whole requests (it reads the body up to its Content-Length)
// and answers each with the next status of its list, then with the last one again. With `hold()` it
// takes requests and never answers.
class UploadServer {
public:
    explicit UploadServer(QList<int> statuses = {200})
        : m_statuses(std::move(statuses)) {
        m_server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                m_sockets.append(socket);
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { read(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
    // The sockets go before the lists that their signals write to.
    ~UploadServer() {
        for (const QPointer<QTcpSocket>& socket : m_sockets)
            delete socket.data();
    }
    UploadServer(const UploadServer&) = delete;
    UploadServer& operator=(const UploadServer&) = delete;

    void answer(QList<int> statuses) { m_statuses = std::move(statuses); }
    void hold() { m_statuses.clear(); }
    // Called with each whole request, as it arrives.
    void onRequest(std::function<void(const ReceivedRequest&)> callback) {
        m_onRequest = std::move(callback);
    }

    QString url() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort()); }
    const QList<ReceivedRequest>& requests() const { return m_requests; }

private:
    void read(QTcpSocket* socket) {
        QByteArray& pending = m_pending[socket];
        pending += socket->readAll();
        const qsizetype headEnd = pending.indexOf("\r\n\r\n");
        if (headEnd < 0)
            return;
        ReceivedRequest request;
        const QList<QByteArray> lines = pending.first(headEnd).split('\n');
        const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
        request.method = requestLine.value(0);
        request.path = requestLine.value(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines[i].indexOf(':');
            if (colon > 0)
                request.headers.insert(lines[i].first(colon).trimmed().toLower(),
                                       lines[i].sliced(colon + 1).trimmed());
        }
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (pending.size() < headEnd + 4 + length)
            return;
        request.body = pending.sliced(headEnd + 4, length);
        m_pending.remove(socket);
        m_requests.append(request);
        if (m_onRequest)
            m_onRequest(request);
        if (m_statuses.isEmpty())
            return;
        const int status = m_statuses.size() > 1 ? m_statuses.takeFirst() : m_statuses.first();
        socket->write("HTTP/1.1 " + QByteArray::number(status) +
                      " Answer\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        socket->disconnectFromHost();
    }

    QTcpServer m_server;
    QList<int> m_statuses;
    QList<QPointer<QTcpSocket>> m_sockets;
    QHash<QTcpSocket*, QByteArray> m_pending;
    QList<ReceivedRequest> m_requests;
    std::function<void(const ReceivedRequest&)> m_onRequest;
};
