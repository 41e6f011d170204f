#pragma once

#include "services/FileLogger.h"
#include "services/Updater.h"
#include "services/VersionCheck.h"
#include "support/TestPaths.h"

#include <QFile>
#include <QString>

#include <memory>

// An updater that counts the checks it is asked for and says whether it can check as the test tells it.
class StandInUpdater : public Updater {
public:
    bool canCheckForUpdates() const override { return m_canCheck; }
    void checkForUpdates() override { ++checks; }

    void setCanCheck(bool canCheck) {
        if (m_canCheck == canCheck)
            return;
        m_canCheck = canCheck;
        emit canCheckForUpdatesChanged(canCheck);
    }

    int checks = 0;

private:
    bool m_canCheck = true;
};

// A version gate for `running` on rules of the test's own: `rules` as the cache in `folder` (no cache
// when empty), no bundled fallback, and a fetch only from `remoteUrl` when one is given.
inline std::unique_ptr<VersionCheck> gateOnRules(const QString& folder, const QString& running,
                                                 const QByteArray& rules, FileLogger& log,
                                                 const QString& remoteUrl = QString()) {
    VersionCheck::Sources sources;
    sources.cachePath = folder + QStringLiteral("/version_check.json");
    sources.fallbackPath = folder + QStringLiteral("/no-bundled-rules.json");
    sources.remoteUrl = remoteUrl;
    QFile::remove(sources.cachePath);
    if (!rules.isEmpty())
        writeFileAt(sources.cachePath, rules);
    return std::make_unique<VersionCheck>(running, log, sources);
}
