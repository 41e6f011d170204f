#pragma once

#include "support/TestPaths.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QList>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>

#include <memory>
#include <optional>
#include <utility>

// Sets environment variables for one scope and puts the old values back afterwards.
class ScopedEnvironment {
public:
    ScopedEnvironment() = default;
    ~ScopedEnvironment() {
        for (auto it = m_saved.rbegin(); it != m_saved.rend(); ++it) {
            if (it->second)
                qputenv(it->first.constData(), *it->second);
            else
                qunsetenv(it->first.constData());
        }
    }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

    void set(const char* name, const QByteArray& value) {
        remember(name);
        qputenv(name, value);
    }
    void unset(const char* name) {
        remember(name);
        qunsetenv(name);
    }

private:
    void remember(const char* name) {
        std::optional<QByteArray> old;
        if (qEnvironmentVariableIsSet(name))
            old = qgetenv(name);
        m_saved.append({QByteArray(name), old});
    }
    QList<std::pair<QByteArray, std::optional<QByteArray>>> m_saved;
};

// A web server on 127.0.0.1 with one canned answer, standing in for the captive-portal probe host. With
// no answer set it accepts connections and never replies, as a black-holing network would.
class LoopbackHttpServer {
public:
    LoopbackHttpServer() {
        m_server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                ++m_connections;
                m_sockets.append(socket);
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    const QByteArray chunk = socket->readAll();
                    m_request += chunk;
                    const QByteArray seen = socket->property("seen").toByteArray() + chunk;
                    socket->setProperty("seen", seen);
                    if (!m_answer || !seen.contains("\r\n\r\n"))
                        return;
                    socket->write(*m_answer);
                    if (m_trickle.isEmpty())
                        socket->disconnectFromHost();
                    else
                        startTrickle(socket);
                });
            }
        });
    }

    static QByteArray response(int status, const QByteArray& reason, const QByteArray& body) {
        return "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason +
               "\r\nContent-Type: text/html\r\nConnection: close\r\nContent-Length: " +
               QByteArray::number(body.size()) + "\r\n\r\n" + body;
    }

    void answer(QByteArray raw) {
        m_answer = std::move(raw);
        m_trickle.clear();
    }
    // Answers with the head at once and then the body one byte a second, as a network that is barely
    // alive would. The wait between bytes is real time: it is the network's, not the program's.
    void trickle(const QByteArray& head, QByteArray body) {
        m_answer = head;
        m_trickle = std::move(body);
    }
    void answerPage(const QByteArray& body) { answer(response(200, "OK", body)); }
    void neverAnswer() { m_answer.reset(); }

    QUrl url(const QString& path = QStringLiteral("/")) const {
        QUrl url;
        url.setScheme(QStringLiteral("http"));
        url.setHost(QStringLiteral("127.0.0.1"));
        url.setPort(m_server.serverPort());
        url.setPath(path);
        return url;
    }
    int connections() const { return m_connections; }
    // Bytes of the trickled body sent so far, over all connections.
    int trickledBytes() const { return m_trickled; }
    // Everything the clients sent, for checking the request line.
    const QByteArray& requests() const { return m_request; }

private:
    void startTrickle(QTcpSocket* socket) {
        auto* timer = new QTimer(socket);
        auto sent = std::make_shared<qsizetype>(0);
        const auto sendOne = [this, socket, timer, sent] {
            if (*sent >= m_trickle.size()) {
                timer->stop();
                socket->disconnectFromHost();
                return;
            }
            socket->write(m_trickle.sliced((*sent)++, 1));
            ++m_trickled;
        };
        QObject::connect(timer, &QTimer::timeout, socket, sendOne);
        sendOne();
        timer->start(1000);
    }

    QTcpServer m_server;
    std::optional<QByteArray> m_answer;
    QByteArray m_trickle;
    int m_trickled = 0;
    QList<QPointer<QTcpSocket>> m_sockets;
    QByteArray m_request;
    int m_connections = 0;
};

// A loopback URL on which nothing listens: a portal probe sent there fails at once.
inline QUrl closedLoopbackUrl() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const quint16 port = probe.serverPort();
    probe.close();
    return QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(port));
}
