#include "services/CrashReportUploader.h"

#include "base/Clock.h"
#include "base/ThreadHandOff.h"
#include "platform/Locations.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSaveFile>
#include <QScopeGuard>
#include <QStringDecoder>
#include <QThread>
#include <QUrl>
#include <QUuid>

#include <algorithm>
#include <chrono>
#include <iterator>

#include <zlib.h>

using namespace Qt::StringLiterals;

namespace {

// The program's names as a report gives them: the program's own handler writes "app_name" "Norvane" from
// either executable.
bool isOurName(const QString& name) {
    return name == u"Norvane"_s;
}

void appendLittleEndian(QByteArray& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        out.append(char((value >> (8 * i)) & 0xff));
}

// "{version} ({build})", each "dev" when the build didn't set it.
QString appVersionText() {
    return Platform::appVersion() + u" ("_s + Platform::buildNumber() + u')';
}

// Strict UTF-8: a file that doesn't decode gives nothing.
std::optional<QString> decodeUtf8(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

std::optional<QJsonObject> jsonObject(const QByteArray& bytes) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

// Written beside the old file and renamed over it, so that a crash or a full disk mid-write leaves the old
// file whole. The words of what went wrong, or nothing.
std::optional<QString> writeReplacing(const QString& path, const QByteArray& bytes,
                                      QFileDevice::Permissions permissions = {}) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    if (permissions)
        file.setPermissions(permissions);
    if (file.write(bytes) != bytes.size()) {
        const QString error = file.errorString();
        file.cancelWriting();
        return error;
    }
    if (!file.commit())
        return file.errorString();
    return std::nullopt;
}

} // namespace

CrashReportUploader& CrashReportUploader::shared() {
    static CrashReportUploader* const instance = [] {
        auto* uploader = new CrashReportUploader(FileLogger::shared());
        // The log and Qt go away after the application object: no background run may outlive it.
        qAddPostRoutine([] { shared().shutdown(); });
        return uploader;
    }();
    return *instance;
}

CrashReportUploader::CrashReportUploader(FileLogger& log)
    : CrashReportUploader(log, Sources()) {}

CrashReportUploader::CrashReportUploader(FileLogger& log, Sources sources)
    : m_log(log)
    , m_sources(std::move(sources))
    , m_sleeper([this](double seconds) { return sleepUnlessStopping(seconds); }) {
    QDir().mkpath(QFileInfo(m_sources.trackingPath).absolutePath());
}

CrashReportUploader::~CrashReportUploader() {
    shutdown();
}

QString CrashReportUploader::defaultConfigPath() {
    return Locations::toolStateDir() + u"/r2.json"_s;
}
QString CrashReportUploader::defaultTrackingPath() {
    return Locations::applicationSupportDir() + u"/uploaded_crashes.json"_s;
}
QString CrashReportUploader::defaultSentinelPath() {
    return Locations::applicationSupportDir() + u"/crash_upload_in_progress"_s;
}
QString CrashReportUploader::defaultReportsDir() {
    return Locations::diagnosticReportsDir();
}
QString CrashReportUploader::defaultLogPath() {
    return Locations::logFilePath();
}

CrashReportUploader::Defaults CrashReportUploader::bundledDefaults() {
    static const Defaults defaults = [] {
        QFile resource(u":/norvane/default_r2.json"_s);
        return resource.open(QIODevice::ReadOnly) ? parseDefaults(resource.readAll()) : Defaults();
    }();
    return defaults;
}

CrashReportUploader::Defaults CrashReportUploader::parseDefaults(const QByteArray& json) {
    const QJsonObject object = jsonObject(json).value_or(QJsonObject());
    return {object.value(u"upload_url"_s).toString(), object.value(u"upload_token"_s).toString()};
}

bool CrashReportUploader::sleepUnlessStopping(double seconds) {
    std::unique_lock lock(m_mutex);
    return !m_wake.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return m_stopping; });
}

bool CrashReportUploader::stopping() const {
    std::lock_guard lock(m_mutex);
    return m_stopping;
}

void CrashReportUploader::startBackground(std::function<void()> work) {
    std::lock_guard lock(m_mutex);
    if (m_stopping)
        return;
    std::erase_if(m_threads, [this](const std::unique_ptr<QThread>& thread) { return finished(*thread); });
    std::unique_ptr<QThread> thread(QThread::create([this, work = std::move(work)] {
        work();
        ThreadHandOff::release(this);
    }));
    thread->setObjectName(QString::fromLatin1(tag));
    thread->start(QThread::LowPriority);
    m_threads.push_back(std::move(thread));
}

void CrashReportUploader::scanAndUpload() {
    startBackground([this] {
        run();
        if (m_sleeper(secondRunDelay) && !stopping())
            run();
    });
}

void CrashReportUploader::sendEvent(const QString& type, const QJsonObject& details) {
    startBackground([this, type, details] { uploadEvent(type, details); });
}

void CrashReportUploader::shutdown() {
    std::vector<std::unique_ptr<QThread>> threads;
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
        // Each reply belongs to the thread that waits for it; the abort is delivered there.
        for (QNetworkReply* reply : m_replies)
            QMetaObject::invokeMethod(reply, &QNetworkReply::abort, Qt::QueuedConnection);
        threads.swap(m_threads);
    }
    m_wake.notify_all();
    for (const std::unique_ptr<QThread>& thread : threads)
        thread->wait();
    ThreadHandOff::acquire(this);
}

bool CrashReportUploader::finished(const QThread& thread) const {
    if (!thread.isFinished())
        return false;
    ThreadHandOff::acquire(this);
    return true;
}

bool CrashReportUploader::idle() const {
    std::lock_guard lock(m_mutex);
    return std::all_of(m_threads.begin(), m_threads.end(),
                       [this](const std::unique_ptr<QThread>& thread) { return finished(*thread); });
}

void CrashReportUploader::watchReply(QNetworkReply* reply) {
    bool stopped = false;
    {
        std::lock_guard lock(m_mutex);
        stopped = m_stopping;
        if (!stopped)
            m_replies.push_back(reply);
    }
    // Outside the lock: the abort emits the reply's signals on the spot.
    if (stopped)
        reply->abort();
}

void CrashReportUploader::forgetReply(QNetworkReply* reply) {
    std::lock_guard lock(m_mutex);
    std::erase(m_replies, reply);
}

CrashReportUploader::RunOutcome CrashReportUploader::run() {
    RunOutcome outcome;
    if (QFileInfo::exists(m_sources.sentinelPath)) {
        m_log.warn(tag, u"Crash upload sentinel found — skipping (previous upload crashed)"_s);
        QFile::remove(m_sources.sentinelPath);
        outcome.ending = RunOutcome::Ending::skippedForSentinel;
        return outcome;
    }
    const std::optional<R2Config> config = loadConfig();
    if (!config) {
        outcome.ending = RunOutcome::Ending::notConfigured;
        return outcome;
    }

    QDir().mkpath(QFileInfo(m_sources.sentinelPath).absolutePath());
    QFile(m_sources.sentinelPath).open(QIODevice::WriteOnly);
    const auto removeSentinel = qScopeGuard([this] { QFile::remove(m_sources.sentinelPath); });

    QSet<QString> uploaded = loadUploadedSet();
    QStringList fresh;
    for (const QString& report : findCrashReports()) {
        if (!uploaded.contains(QFileInfo(report).fileName()))
            fresh.append(report);
    }
    if (fresh.isEmpty())
        return outcome;
    outcome.newReports = int(fresh.size());
    m_log.info(tag, u"Found %1 new crash report(s)"_s.arg(fresh.size()));

    for (const QString& report : fresh) {
        if (stopping()) {
            outcome.ending = RunOutcome::Ending::stopped;
            break;
        }
        const QFileInfo info(report);
        const QString name = info.fileName();
        QString error;
        std::optional<QByteArray> body;
        if (const std::optional<QByteArray> payload = buildPayload(report, *config, error)) {
            body = gzip(*payload);
            if (!body)
                error = u"gzip compression failed"_s;
        }
        if (body) {
            const QString key = u"diagnostics/%1/%2_crash_%3.json.gz"_s.arg(
                config->uploaderId, keyTimestamp(), info.completeBaseName().replace(u' ', u'_'));
            if (upload(*body, key, *config, error)) {
                uploaded.insert(name);
                saveUploadedSet(uploaded);
                m_log.info(tag, u"Uploaded crash report: "_s + name);
                ++outcome.uploaded;
            }
        }
        if (!error.isEmpty())
            m_log.error(tag, u"Failed to process %1: %2"_s.arg(name, error));
    }
    return outcome;
}

void CrashReportUploader::uploadEvent(const QString& type, const QJsonObject& details) {
    const std::optional<R2Config> config = loadConfig();
    if (!config)
        return;
    QJsonObject payload{
        {u"version"_s, 1},
        {u"platform"_s, Platform::name()},
        {u"event_type"_s, type},
        {u"app_version"_s, appVersionText()},
        {u"os_version"_s, Platform::osVersion()},
        {u"uploader_id"_s, config->uploaderId},
        {u"timestamp"_s, Time::clock().now().toUTC().toString(Qt::ISODate)},
    };
    for (auto it = details.begin(); it != details.end(); ++it)
        payload.insert(it.key(), it.value());
    const std::optional<QByteArray> body = gzip(QJsonDocument(payload).toJson(QJsonDocument::Compact));
    if (!body)
        return;
    const QString key = u"diagnostics/%1/%2_event_%3.json.gz"_s.arg(config->uploaderId, keyTimestamp(), type);
    QString error;
    if (upload(*body, key, *config, error))
        m_log.info(tag, u"Uploaded event: "_s + type);
}

std::optional<CrashReportUploader::R2Config> CrashReportUploader::loadConfig() {
    QFile file(m_sources.configPath);
    if (file.open(QIODevice::ReadOnly)) {
        if (const std::optional<QJsonObject> object = jsonObject(file.readAll())) {
            const QJsonValue url = object->value(u"upload_url"_s);
            const QJsonValue token = object->value(u"upload_token"_s);
            const QJsonValue id = object->value(u"uploader_id"_s);
            if (url.isString() && token.isString() && id.isString())
                return R2Config{url.toString(), token.toString(), id.toString()};
        }
    }
    return provisionConfig();
}

std::optional<CrashReportUploader::R2Config> CrashReportUploader::provisionConfig() {
    const Defaults& bundled = m_sources.bundled;
    if (bundled.uploadURL.isEmpty() || bundled.uploadToken.isEmpty()) {
        m_log.error(tag, u"Bundled default_r2.json missing or invalid; cannot provision crash uploader"_s);
        return std::nullopt;
    }
    const R2Config config{bundled.uploadURL, bundled.uploadToken,
                          QUuid::createUuid().toString(QUuid::Id128).toLower()};
    QDir().mkpath(QFileInfo(m_sources.configPath).absolutePath());
    const QJsonObject object{
        {u"upload_url"_s, config.uploadURL},
        {u"upload_token"_s, config.uploadToken},
        {u"uploader_id"_s, config.uploaderId},
        {u"config_version"_s, 2},
    };
    // The token is a secret of this user: the file is never readable by others, not even while written.
    if (const std::optional<QString> error =
            writeReplacing(m_sources.configPath, QJsonDocument(object).toJson(QJsonDocument::Indented),
                           QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        m_log.warn(tag, u"r2.json write failed: "_s + *error);
    m_log.info(tag, u"Auto-provisioned R2 config (uploader_id=%1)"_s.arg(config.uploaderId));
    return config;
}

QSet<QString> CrashReportUploader::loadUploadedSet() const {
    QFile file(m_sources.trackingPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isArray())
        return {};
    QSet<QString> names;
    for (const QJsonValue& value : document.array()) {
        if (!value.isString())
            return {};
        names.insert(value.toString());
    }
    return names;
}

void CrashReportUploader::saveUploadedSet(const QSet<QString>& names) const {
    QStringList sorted(names.begin(), names.end());
    sorted.sort();
    QDir().mkpath(QFileInfo(m_sources.trackingPath).absolutePath());
    if (const std::optional<QString> error =
            writeReplacing(m_sources.trackingPath,
                           QJsonDocument(QJsonArray::fromStringList(sorted)).toJson(QJsonDocument::Indented)))
        m_log.warn(tag, u"uploaded_crashes.json write failed: "_s + *error);
}

QStringList CrashReportUploader::findCrashReports() const {
    const QDir root(m_sources.reportsDir);
    if (m_sources.reportsDir.isEmpty() || !root.exists())
        return {};
    QStringList folders{root.path()};
    for (const QString& folder : root.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name))
        folders.append(root.filePath(folder));

    QStringList reports;
    for (const QString& folder : folders) {
        const QDir dir(folder);
        for (const QFileInfo& file : dir.entryInfoList(QDir::Files | QDir::Hidden, QDir::Name)) {
            if (file.suffix() != u"ips"_s)
                continue;
            // A size that can't be read (0 here) is no reason to leave the report out.
            if (file.size() > maxReportBytes)
                continue;
            if (matchesAppName(file.filePath()))
                reports.append(file.filePath());
        }
    }
    return reports;
}

QString CrashReportUploader::readLogTail() const {
    QStringList lines;
    for (const QString& path : {QString(m_sources.logPath + u".1"_s), m_sources.logPath}) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        if (const std::optional<QString> text = decodeUtf8(file.readAll()))
            lines += text->split(u'\n');
    }
    return lines.mid(std::max<qsizetype>(0, lines.size() - logTailLines)).join(u'\n');
}

std::optional<QByteArray> CrashReportUploader::buildPayload(const QString& ipsFile, const R2Config& config,
                                                            QString& error) const {
    QFile file(ipsFile);
    if (!file.open(QIODevice::ReadOnly)) {
        error = file.errorString();
        return std::nullopt;
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        error = file.errorString();
        return std::nullopt;
    }

    QJsonValue report = decodeUtf8(bytes).value_or(QString());
    if (const qsizetype lineEnd = bytes.indexOf('\n'); lineEnd >= 0) {
        QJsonObject parts = jsonObject(bytes.first(lineEnd)).value_or(QJsonObject());
        const QByteArray rest = bytes.sliced(lineEnd + 1);
        if (const std::optional<QJsonObject> body = jsonObject(rest))
            parts.insert(u"crash_body"_s, *body);
        else
            parts.insert(u"crash_body_raw"_s, decodeUtf8(rest).value_or(QString()));
        report = parts;
    }

    const QJsonObject payload{
        {u"version"_s, 1},
        {u"platform"_s, Platform::name()},
        {u"app_version"_s, appVersionText()},
        {u"os_version"_s, Platform::osVersion()},
        {u"uploader_id"_s, config.uploaderId},
        {u"ips_filename"_s, QFileInfo(ipsFile).fileName()},
        {u"crash_report"_s, report},
        {u"log_tail"_s, readLogTail()},
    };
    return QJsonDocument(payload).toJson(QJsonDocument::Compact);
}

bool CrashReportUploader::upload(const QByteArray& data, const QString& key, const R2Config& config,
                                 QString& error) {
    error.clear();
    const QUrl url(config.uploadURL + u"/upload/"_s + key, QUrl::StrictMode);
    // Only a web address can take a PUT here; a file: URL would write the report somewhere on disk.
    if (!url.isValid() || (url.scheme() != u"http"_s && url.scheme() != u"https"_s) || url.host().isEmpty())
        return false;

    QNetworkRequest request(url);
    request.setRawHeader("Authorization", "Bearer " + config.uploadToken.toUtf8());
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/octet-stream"));
    request.setHeader(QNetworkRequest::ContentLengthHeader, data.size());
    request.setTransferTimeout(qRound(requestTimeout * 1000));
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    QNetworkAccessManager network;

    for (std::size_t attempt = 0;; ++attempt) {
        if (stopping())
            return false;
        const std::unique_ptr<QNetworkReply> reply(network.put(request, data));
        watchReply(reply.get());
        QEventLoop loop;
        QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
        if (!reply->isFinished())
            loop.exec();
        forgetReply(reply.get());

        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        const int code = status.isValid() ? status.toInt() : 0;
        // As in every request of the program: codes below the proxy's are failures of the connection,
        // the content errors of 4xx and 5xx answers are HTTP answers.
        const bool transportFailed =
            reply->error() != QNetworkReply::NoError &&
            (reply->error() < QNetworkReply::ProxyConnectionRefusedError || !status.isValid());
        const bool delayLeft = attempt < std::size(retryDelays);
        if (transportFailed) {
            // An abort of ours, because the program is quitting, is no failure of the report.
            if (stopping())
                return false;
            if (!delayLeft) {
                error = reply->errorString();
                return false;
            }
        } else if (code >= 200 && code <= 299) {
            return true;
        } else if (!delayLeft || (code != 429 && code < 500)) {
            m_log.warn(tag, u"Crash upload HTTP %1 for %2"_s.arg(code).arg(key));
            return false;
        }
        if (!m_sleeper(retryDelays[attempt]))
            return false;
    }
}

QString CrashReportUploader::keyTimestamp() {
    QString stamp = Time::clock().now().toUTC().toString(Qt::ISODate);
    stamp.remove(u'-').remove(u':');
    return stamp.left(15) + u'Z';
}

bool CrashReportUploader::matchesAppName(const QString& file) {
    QFile report(file);
    if (!report.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = report.readLine();
    if (!line.endsWith('\n'))
        return false;
    const QJsonDocument document = QJsonDocument::fromJson(line);
    if (!document.isObject())
        return false;
    const QJsonObject header = document.object();
    return isOurName(header.value(u"app_name"_s).toString()) || isOurName(header.value(u"name"_s).toString());
}

std::uint32_t CrashReportUploader::crc32(QByteArrayView data) {
    std::uint32_t crc = 0xffffffffu;
    for (const char c : data) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) ? (crc >> 1) ^ 0xedb88320u : crc >> 1;
    }
    return ~crc;
}

std::optional<QByteArray> CrashReportUploader::gzip(QByteArrayView data) {
    if (data.isEmpty())
        return std::nullopt;
    QByteArray deflated(data.size() + 512, Qt::Uninitialized);
    z_stream stream{};
    // Negative window bits: a raw DEFLATE stream, with neither zlib's nor gzip's wrapper.
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(deflated.data());
    stream.avail_out = static_cast<uInt>(deflated.size());
    const int result = deflate(&stream, Z_FINISH);
    const auto written = static_cast<qsizetype>(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END)
        return std::nullopt;

    QByteArray member;
    member.reserve(10 + written + 8);
    // Magic, deflate, no flags, no modification time, no extra flags, made on Unix.
    member.append("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10);
    member.append(deflated.constData(), written);
    appendLittleEndian(member, crc32(data));
    appendLittleEndian(member, static_cast<std::uint32_t>(data.size()));
    return member;
}
