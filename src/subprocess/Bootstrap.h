#pragma once

#include <QString>
#include <QStringList>

#include <optional>

class FileLogger;

// First-run installation of what the measurement tool needs. So far only the search for uv lives
// here; AppState, the upload runner and the installer share this one.
class Bootstrap {
public:
    static constexpr const char* logTag = "Bootstrap";

    // Where uv may be installed, in the order it is searched.
    static QStringList uvCandidates();
    // The first candidate that is an executable file.
    static std::optional<QString> findUV(FileLogger& log);
};
