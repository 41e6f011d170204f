#pragma once

// A sandbox home with one large capture in it, made with the simulator's gen_capture.py, for the
// benchmarks that open a capture as the program does.

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <cstdio>
#include <optional>

namespace GeneratedCapture {

// Points HOME at `home`, so that nothing of the user's settings or captures is read or written, and
// writes a capture of `rows` rows into its capture folder. The capture's path, or nothing when the
// generator failed (its message has then gone to standard error).
inline std::optional<QString> make(const QTemporaryDir& home, int rows) {
    qputenv("HOME", home.path().toUtf8());
    for (const char* variable : {"XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
        qunsetenv(variable);

    const QString capture = home.path() + QStringLiteral("/captures/wifi_capture_20250601T120000Z.csv");
    QDir().mkpath(home.path() + QStringLiteral("/captures"));
    QElapsedTimer timer;
    timer.start();
    QProcess python;
    python.start(QStringLiteral("python3"),
                 {QStringLiteral(NORVANE_SIMULATOR_DIR) + QStringLiteral("/gen_capture.py"),
                  QStringLiteral("--rows"), QString::number(rows), QStringLiteral("--out"), capture,
                  QStringLiteral("--seed"), QStringLiteral("1")});
    if (!python.waitForFinished(600'000) || python.exitCode() != 0) {
        std::fprintf(stderr, "gen_capture.py failed: %s\n", python.readAllStandardError().constData());
        return std::nullopt;
    }
    std::printf("generated capture: %d rows in %.1f s (not counted)\n", rows, double(timer.elapsed()) / 1000);
    return capture;
}

} // namespace GeneratedCapture
