#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <optional>

// A throw-away HOME for one test: every path of the program moves into it, and the XDG variables
// are cleared so that the defaults under HOME apply. The old environment comes back afterwards.
class TempHome {
public:
    TempHome();
    ~TempHome();
    TempHome(const TempHome&) = delete;
    TempHome& operator=(const TempHome&) = delete;

    QString path() const { return m_dir.path(); }
    // Puts the tool simulator's `uv` into {home}/.local/bin, where the program looks first.
    void installFakeUv() const;

private:
    QTemporaryDir m_dir;
    QList<std::pair<QByteArray, std::optional<QByteArray>>> m_saved;
};
