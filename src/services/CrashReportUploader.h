#pragma once

#include "services/FileLogger.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QJsonObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

class QNetworkReply;
class QThread;

// Sends the program's crash reports, each joined with the tail of the log, to the crash-report store,
// and carries small event records the same way. It is silent to the user and fails open: what goes
// wrong becomes a log line, and the next launch tries again. A sentinel file keeps a crash inside the
// uploader from turning into a crash at every launch.
//
// run() and uploadEvent() work on the calling thread with a local event loop; scanAndUpload() and
// sendEvent() start them on a thread of their own and return at once.
class CrashReportUploader {
public:
    static constexpr const char* tag = "CrashUpload";
    static constexpr double retryDelays[] = {5, 15, 30};
    static constexpr double requestTimeout = 120;
    // The system may write a report a while after the crash, so a launch looks twice.
    static constexpr double secondRunDelay = 60;
    static constexpr qint64 maxReportBytes = 5'000'000;
    static constexpr qsizetype logTailLines = 200;

    // The endpoint compiled into the build; empty texts when the build wasn't given one.
    struct Defaults {
        QString uploadURL;
        QString uploadToken;
    };

    // What a run works with.
    struct R2Config {
        QString uploadURL;
        QString uploadToken;
        QString uploaderId;
    };

    // Where the uploader reads and writes; the defaults are the program's own, tests point them elsewhere.
    struct Sources {
        QString configPath = defaultConfigPath();
        QString trackingPath = defaultTrackingPath();
        QString sentinelPath = defaultSentinelPath();
        QString reportsDir = defaultReportsDir();
        QString logPath = defaultLogPath();
        Defaults bundled = bundledDefaults();
    };

    // How one run ended, for a caller that waits for it.
    struct RunOutcome {
        enum class Ending { finished, skippedForSentinel, notConfigured, stopped };
        Ending ending = Ending::finished;
        int newReports = 0;
        int uploaded = 0;

        bool nothingFailed() const { return ending == Ending::finished && uploaded == newReports; }
    };

    // Waits the given number of seconds; false when the uploader is stopping and the caller should too.
    using Sleeper = std::function<bool(double seconds)>;

    // The process-wide uploader, over the shared log and the program's own paths; made on first use. Its
    // background work is stopped before the application object goes.
    static CrashReportUploader& shared();

    explicit CrashReportUploader(FileLogger& log);
    CrashReportUploader(FileLogger& log, Sources sources);
    ~CrashReportUploader();
    CrashReportUploader(const CrashReportUploader&) = delete;
    CrashReportUploader& operator=(const CrashReportUploader&) = delete;

    static QString defaultConfigPath();
    static QString defaultTrackingPath();
    static QString defaultSentinelPath();
    static QString defaultReportsDir();
    static QString defaultLogPath();
    // Read once from the resource "default_r2.json".
    static Defaults bundledDefaults();
    // The "upload_url" and "upload_token" texts of a JSON object; empty for anything missing.
    static Defaults parseDefaults(const QByteArray& json);

    const Sources& sources() const { return m_sources; }
    // Replaces the real wait between attempts and between the two runs of a launch.
    void setSleeper(Sleeper sleeper) { m_sleeper = std::move(sleeper); }
    // The real wait, which ends early when the uploader stops.
    bool sleepUnlessStopping(double seconds);

    // One run, then after secondRunDelay a second, in the background.
    void scanAndUpload();
    // Sends one event record in the background.
    void sendEvent(const QString& type, const QJsonObject& details);
    // Ends the waits and requests of the background work and waits for it; nothing starts afterwards.
    void shutdown();
    // True when no background work is under way.
    bool idle() const;

    RunOutcome run();
    void uploadEvent(const QString& type, const QJsonObject& details);

    std::optional<R2Config> loadConfig();
    std::optional<R2Config> provisionConfig();
    QSet<QString> loadUploadedSet() const;
    void saveUploadedSet(const QSet<QString>& names) const;
    // Our reports in the reports folder and its direct subfolders, folder by folder, by name.
    QStringList findCrashReports() const;
    QString readLogTail() const;
    // The JSON of one report's payload, or the words of what went wrong in `error`.
    std::optional<QByteArray> buildPayload(const QString& ipsFile, const R2Config& config,
                                           QString& error) const;
    // PUT with retries. False with `error` empty when the server refused (logged here), false with
    // `error` set when the connection failed after the last retry, false with neither when stopping.
    bool upload(const QByteArray& data, const QString& key, const R2Config& config, QString& error);

    // "20261123T203121Z": the present moment as object keys carry it.
    static QString keyTimestamp();

    // True when the report's first line is a JSON object whose "app_name" or "name" is one of the
    // program's names. Only the first line is read; a file without a line feed never matches.
    static bool matchesAppName(const QString& file);
    // The reflected CRC-32 of gzip (polynomial EDB88320), bit by bit: payloads are small.
    static std::uint32_t crc32(QByteArrayView data);
    // One gzip member around a raw DEFLATE stream. Nothing for an empty input, or when the stream
    // doesn't fit in the input's size plus 512 bytes: "gzip compression failed".
    static std::optional<QByteArray> gzip(QByteArrayView data);

private:
    void startBackground(std::function<void()> work);
    // True when `thread` has ended; what it did is then visible to the caller.
    bool finished(const QThread& thread) const;
    bool stopping() const;
    void watchReply(QNetworkReply* reply);
    void forgetReply(QNetworkReply* reply);

    FileLogger& m_log;
    const Sources m_sources;
    Sleeper m_sleeper;

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stopping = false;
    std::vector<std::unique_ptr<QThread>> m_threads;
    // The requests in flight, so that stopping can abort them.
    std::vector<QNetworkReply*> m_replies;
};
