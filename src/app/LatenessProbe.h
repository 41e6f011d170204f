#pragma once

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <deque>
#include <utility>

// Opt-in: with NORVANE_LATENESS_PROBE=FILE in the environment, a 50 ms timer measures how late the
// event loop serves it, and FILE holds the worst lateness so far and that of each second (the last ten
// minutes of them, stamped with the wall clock), rewritten every second and at exit. The fault drills
// read it to tell a busy but responsive program from one whose window froze, and the seconds let them
// leave out the window's first appearance.
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
        m_secondWorstNs = std::max(m_secondWorstNs, lateNs);
        if (++m_ticks % (1000 / period) == 0) {
            m_seconds.emplace_back(QDateTime::currentMSecsSinceEpoch(), m_secondWorstNs);
            if (m_seconds.size() > keptSeconds)
                m_seconds.pop_front();
            m_secondWorstNs = 0;
            write();
        }
    }

    // Tenths of a millisecond are as fine as a drill needs.
    static double milliseconds(qint64 ns) { return std::round(double(ns) / 1e5) / 10.0; }

    void write() const {
        QJsonArray seconds;
        for (const auto& [at, worstNs] : m_seconds)
            seconds.append(QJsonObject{{QStringLiteral("at_ms"), at},
                                       {QStringLiteral("worst_ms"), milliseconds(worstNs)}});
        const QJsonObject probe{{QStringLiteral("worst_lateness_ms"), milliseconds(m_worstNs)},
                                {QStringLiteral("ticks"), m_ticks},
                                {QStringLiteral("seconds"), seconds}};
        QFile file(m_path);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(QJsonDocument(probe).toJson(QJsonDocument::Compact) + '\n');
    }

    static constexpr std::size_t keptSeconds = 600;

    QString m_path;
    QTimer m_timer;
    QElapsedTimer m_sinceTick;
    qint64 m_worstNs = 0;
    qint64 m_ticks = 0;
    qint64 m_secondWorstNs = 0;
    // (wall clock in ms, worst lateness in ns) of each whole second
    std::deque<std::pair<qint64, qint64>> m_seconds;
};
