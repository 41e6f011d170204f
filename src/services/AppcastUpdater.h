#pragma once

#include "services/UpdateLogger.h"
#include "services/Updater.h"

#include <QString>
#include <QUrl>

#include <functional>

class QNetworkAccessManager;
struct FetchAnswer;

// The updater of the Linux build. It reads the web site's appcast, the feed the desktop update framework
// reads on macOS, and tells the update listener whether a newer version is out, as that framework
// would. There is no in-place install here: checking for updates opens the download page, and the
// user installs the new version as they installed this one.
class AppcastUpdater final : public Updater {
    Q_OBJECT

public:
    static constexpr double fetchTimeout = 10;

    // Opens a page in the user's browser; the program's main hands in the desktop's own.
    using UrlOpener = std::function<void(const QUrl&)>;

    // What the updater works from; the defaults are the program's own, tests point them elsewhere.
    struct Sources {
        QString running = defaultRunningVersion();
        QString feedUrl = defaultFeedUrl();
        // The download page as it stands at the moment it is needed: the version gate may move it.
        std::function<QString()> downloadPage = defaultDownloadPage;
    };

    explicit AppcastUpdater(UpdateLogger& listener = UpdateLogger::shared(), QObject* parent = nullptr);
    AppcastUpdater(UpdateLogger& listener, Sources sources, QObject* parent = nullptr);
    ~AppcastUpdater() override;

    static QString defaultRunningVersion();
    static QString defaultFeedUrl();
    static QString defaultDownloadPage();

    void setUrlOpener(UrlOpener opener) { m_openUrl = std::move(opener); }

    // Checks the feed once, as the framework does when it starts at launch. Does nothing while a
    // check is under way.
    void start();

    bool canCheckForUpdates() const override { return !m_checking; }
    void checkForUpdates() override;

private:
    void finishCheck(const FetchAnswer& answer);
    void reportFeed(const QByteArray& body);
    void setChecking(bool checking);

    UpdateLogger& m_listener;
    const Sources m_sources;
    UrlOpener m_openUrl;
    bool m_checking = false;
    QNetworkAccessManager* m_network = nullptr;
};
