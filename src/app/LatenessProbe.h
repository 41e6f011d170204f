#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QTimer>

#include <algorithm>

// Opt-in: with NORVANE_LATENESS_PROBE=FILE in the environment, a 50 ms timer measures how late the
// event loop serves it, and FILE holds the worst lateness so far, rewritten every second and at exit.
// The fault drills read it to tell a busy but responsive program from one whose window froze.
class LatenessProbe {
public:
    LatenessProbe()
        : m_path(qEnvironmentVariable("NORVANE_LATENESS_PROBE")) {
        if (m_path.isEmpty())
            return;
        // A precise timer, so that the timer's own slack isn't counted as lateness.
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(period);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { tick(); });
        // Measuring starts with the event loop: building the window before it is start-up, not lateness.
        QTimer::singleShot(0, &m_timer, [this] {
            m_sinceTick.start();
            m_timer.start();
        });
    }
    ~LatenessProbe() {
        if (!m_path.isEmpty())
            write();
    }
    LatenessProbe(const LatenessProbe&) = delete;
    LatenessProbe& operator=(const LatenessProbe&) = delete;

private:
    static constexpr int period = 50;

    void tick() {
        const qint64 lateNs = m_sinceTick.nsecsElapsed() - qint64(period) * 1'000'000;
        m_sinceTick.start();
        m_worstNs = std::max(m_worstNs, lateNs);
        if (++m_ticks % (1000 / period) == 0)
            write();
    }

    void write() const {
        QFile file(m_path);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(QStringLiteral("{\"worst_lateness_ms\": %1, \"ticks\": %2}\n")
                           .arg(double(m_worstNs) / 1e6, 0, 'f', 1)
                           .arg(m_ticks)
                           .toUtf8());
    }

    QString m_path;
    QTimer m_timer;
    QElapsedTimer m_sinceTick;
    qint64 m_worstNs = 0;
    qint64 m_ticks = 0;
};
