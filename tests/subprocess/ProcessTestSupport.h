#pragma once

// Helpers shared by the supervisor's tests: environment changes that undo themselves, the log lines
// of a private FileLogger, and the console lines that go through Qt's message handler.

#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <optional>
#include <ostream>
#include <vector>

#include <signal.h>
#include <sys/types.h>

// Readable failure messages: gtest finds these through argument lookup. The QString printer is the
// same as the capture tests' one, word for word.
inline void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}

inline void PrintTo(const PythonProcess::State& state, std::ostream* os) {
    *os << state.description().toStdString();
}

// Sets or clears environment variables for one test and puts the old values back afterwards.
class ScopedEnv {
public:
    ScopedEnv() = default;
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;
    ~ScopedEnv() {
        for (auto it = m_saved.rbegin(); it != m_saved.rend(); ++it) {
            if (it->second)
                qputenv(it->first.constData(), *it->second);
            else
                qunsetenv(it->first.constData());
        }
    }

    void set(const char* name, const QByteArray& value) {
        save(name);
        qputenv(name, value);
    }
    void unset(const char* name) {
        save(name);
        qunsetenv(name);
    }

private:
    void save(const char* name) {
        std::optional<QByteArray> old;
        if (qEnvironmentVariableIsSet(name))
            old = qgetenv(name);
        m_saved.emplace_back(QByteArray(name), old);
    }

    std::vector<std::pair<QByteArray, std::optional<QByteArray>>> m_saved;
};

// "{level} [{tag}] {message}" for every line of a logger's file, timestamps taken off. A message with
// a line feed continues on the next entries, as it does in the file.
inline QStringList logEntries(FileLogger& logger) {
    logger.waitForIdle();
    QFile file(logger.logPath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList entries;
    static const QRegularExpression stamp(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d "));
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    for (const QString& line : lines) {
        if (line.isEmpty())
            continue;
        QString entry = line;
        entry.remove(stamp);
        entries.append(entry);
    }
    return entries;
}

inline QString logText(FileLogger& logger) {
    logger.waitForIdle();
    QFile file(logger.logPath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}

// Collects what goes to the console through qInfo() and friends while it lives, and still hands every
// message on to the handler before it (the test main's, which watches for leaked processes).
class ConsoleCapture {
public:
    ConsoleCapture() {
        current() = this;
        m_previous = qInstallMessageHandler(&ConsoleCapture::handle);
    }
    ~ConsoleCapture() {
        qInstallMessageHandler(m_previous);
        current() = nullptr;
    }
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    QStringList messages() const {
        QMutexLocker lock(&m_mutex);
        return m_messages;
    }

private:
    static ConsoleCapture*& current() {
        static ConsoleCapture* capture = nullptr;
        return capture;
    }
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message) {
        ConsoleCapture* capture = current();
        if (!capture)
            return;
        {
            QMutexLocker lock(&capture->m_mutex);
            capture->m_messages.append(message);
        }
        if (capture->m_previous)
            capture->m_previous(type, context, message);
    }

    QtMessageHandler m_previous = nullptr;
    mutable QMutex m_mutex;
    QStringList m_messages;
};

// Whether a process id still names a process of any state, zombies included.
inline bool processExists(qint64 pid) {
    return pid > 0 && ::kill(static_cast<pid_t>(pid), 0) == 0;
}

// A uv outside the home, which a test that needs uv missing can't take away.
inline bool systemUvExists() {
    return QFileInfo::exists(QStringLiteral("/opt/homebrew/bin/uv")) ||
           QFileInfo::exists(QStringLiteral("/usr/local/bin/uv"));
}

// An executable file of the test's own, such as a uv that behaves in one particular way.
inline void writeExecutable(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}
