#pragma once

#include "support/TestPaths.h"

#include <QProcess>
#include <QString>

// The simulator's loopback server of the uv installer stand-in, running for one test. `url()` is the
// address to put into NORVANE_UV_INSTALLER_URL; the server ends with this object.
class InstallerServer {
public:
    InstallerServer() {
        m_process.setProgram(QStringLiteral("python3"));
        m_process.setArguments({simulatorDir() + QStringLiteral("/installer_server.py")});
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start();
        if (!m_process.waitForStarted())
            return;
        // The address may come in more than one piece.
        while (!m_process.canReadLine() && m_process.waitForReadyRead(20'000)) {
        }
        if (m_process.canReadLine())
            m_url = QString::fromUtf8(m_process.readLine()).trimmed();
    }
    ~InstallerServer() {
        // The end of its standard input ends the server.
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(10'000)) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }
    InstallerServer(const InstallerServer&) = delete;
    InstallerServer& operator=(const InstallerServer&) = delete;

    // Empty when the server did not come up.
    QString url() const { return m_url; }

private:
    QProcess m_process;
    QString m_url;
};
