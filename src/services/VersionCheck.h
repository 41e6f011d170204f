#pragma once

#include "services/FileLogger.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QString>

#include <optional>

class QNetworkAccessManager;

// The gate that keeps a build below the web site's published minimum from running unnoticed. It fails
// open everywhere: no network, no cache or bad data never close it. The verdict of the cache (or of the
// bundled fallback) is settled synchronously at construction, before the first screen; one fetch per
// launch then refreshes the cache and can only close the gate further, never reopen it.
//
// Everything runs on the main thread; the fetch is an asynchronous request whose deadline comes from
// Time::scheduler().
class VersionCheck : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool updateRequired READ updateRequired NOTIFY updateRequiredChanged)
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    Q_PROPERTY(QString downloadUrl READ downloadUrl NOTIFY downloadUrlChanged)

public:
    static constexpr const char* tag = "VersionCheck";
    static constexpr double fetchTimeout = 10;

    // Where the rules come from; the defaults are the program's own, tests point them elsewhere.
    struct Sources {
        QString cachePath = defaultCachePath();
        QString fallbackPath = defaultFallbackPath();
        QString remoteUrl = defaultRemoteUrl();
    };

    // The process-wide gate, for the running version of this build; made on first use.
    static VersionCheck& shared();

    // Runs the whole construction: nothing for a "dev" build, otherwise the cache's verdict at once and
    // the fetch in the background.
    VersionCheck(const QString& running, FileLogger& log, QObject* parent = nullptr);
    VersionCheck(const QString& running, FileLogger& log, Sources sources, QObject* parent = nullptr);
    ~VersionCheck() override;

    static QString defaultCachePath();
    static QString defaultFallbackPath();
    static QString defaultRemoteUrl();
    static QString defaultDownloadUrl();

    // Whether version `a` is below version `b`, comparing the numeric pieces between dots.
    static bool compareVersions(const QString& a, const QString& b);
    // The top-level object of a rules file, when it is one and carries "minimum" as text (and "latest"
    // too when `needsLatest`, as a fetched file must).
    static std::optional<QJsonObject> parseRules(const QByteArray& bytes, bool needsLatest);

    bool updateRequired() const { return m_updateRequired; }
    QString message() const { return m_message; }
    QString downloadUrl() const { return m_downloadUrl; }
    // The minimum of the rules read last (cache, fallback or this launch's fetch); empty before any.
    QString minimum() const { return m_minimum; }
    QString cachePath() const { return m_sources.cachePath; }
    QString remoteUrl() const { return m_sources.remoteUrl; }
    // True while the fetch of this launch is under way.
    bool fetchInProgress() const { return m_fetchInProgress; }

    void loadCacheAndEvaluate(const QString& running);
    void startBackgroundFetch(const QString& running);

signals:
    void updateRequiredChanged(bool required);
    void messageChanged(const QString& message);
    void downloadUrlChanged(const QString& url);
    // The fetch of this launch has ended: answered, refused, timed out or skipped.
    void fetchFinished();

private:
    void finishFetch(const QString& running, const QByteArray& body);
    void applyTexts(const QJsonObject& rules);
    void requireUpdate();
    void endFetch();

    FileLogger& m_log;
    const Sources m_sources;
    bool m_updateRequired = false;
    QString m_message;
    QString m_downloadUrl;
    QString m_minimum;
    bool m_fetchInProgress = false;
    QNetworkAccessManager* m_network = nullptr;
};
