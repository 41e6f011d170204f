#include "services/VersionCheck.h"

#include "platform/Locations.h"
#include "platform/Platform.h"
#include "services/FreshFetch.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QList>
#include <QNetworkAccessManager>
#include <QSaveFile>
#include <QUrl>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

const QString defaultMessage = u"A newer version is required. Please update."_s;

QList<qlonglong> numericPieces(const QString& version) {
    QList<qlonglong> numbers;
    for (const QString& piece : version.split(u'.', Qt::SkipEmptyParts)) {
        bool ok = false;
        const qlonglong number = piece.toLongLong(&ok, 10);
        // toLongLong forgives surrounding blanks; a piece with blanks is not a number here.
        if (ok && piece.trimmed() == piece)
            numbers.append(number);
    }
    return numbers;
}

} // namespace

VersionCheck& VersionCheck::shared() {
    static VersionCheck* const instance = new VersionCheck(Platform::appVersion(), FileLogger::shared());
    return *instance;
}

VersionCheck::VersionCheck(const QString& running, FileLogger& log, QObject* parent)
    : VersionCheck(running, log, Sources(), parent) {}

VersionCheck::VersionCheck(const QString& running, FileLogger& log, Sources sources, QObject* parent)
    : QObject(parent)
    , m_log(log)
    , m_sources(std::move(sources))
    , m_message(defaultMessage)
    , m_downloadUrl(defaultDownloadUrl()) {
    QDir().mkpath(QFileInfo(m_sources.cachePath).absolutePath());
    if (running == u"dev"_s) {
        m_log.info(tag, u"version check: dev build, skipping"_s);
        return;
    }
    loadCacheAndEvaluate(running);
    startBackgroundFetch(running);
}

VersionCheck::~VersionCheck() = default;

QString VersionCheck::defaultCachePath() {
    return Locations::applicationSupportDir() + u"/version_check.json"_s;
}
QString VersionCheck::defaultFallbackPath() {
    return u":/norvane/version.json"_s;
}
QString VersionCheck::defaultRemoteUrl() {
    return Platform::siteUrl() + u"/download/version.json"_s;
}
QString VersionCheck::defaultDownloadUrl() {
    return Platform::siteUrl() + u"/download"_s;
}

bool VersionCheck::compareVersions(const QString& a, const QString& b) {
    const QList<qlonglong> left = numericPieces(a);
    const QList<qlonglong> right = numericPieces(b);
    for (qsizetype i = 0; i < qMax(left.size(), right.size()); ++i) {
        const qlonglong x = left.value(i, 0);
        const qlonglong y = right.value(i, 0);
        if (x != y)
            return x < y;
    }
    return false;
}

std::optional<QJsonObject> VersionCheck::parseRules(const QByteArray& bytes, bool needsLatest) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject rules = document.object();
    if (!rules.value(u"minimum"_s).isString())
        return std::nullopt;
    if (needsLatest && !rules.value(u"latest"_s).isString())
        return std::nullopt;
    return rules;
}

void VersionCheck::loadCacheAndEvaluate(const QString& running) {
    QByteArray bytes;
    QFile cache(m_sources.cachePath);
    if (cache.open(QIODevice::ReadOnly)) {
        bytes = cache.readAll();
    } else {
        QFile fallback(m_sources.fallbackPath);
        if (!fallback.open(QIODevice::ReadOnly)) {
            m_log.info(tag, u"version check: no cache and no bundled fallback, fail-open"_s);
            return;
        }
        bytes = fallback.readAll();
        m_log.info(tag, u"version check: no cache, using bundled fallback"_s);
    }

    const std::optional<QJsonObject> rules = parseRules(bytes, false);
    if (!rules) {
        m_log.warn(tag, u"version check: data malformed, fail-open"_s);
        return;
    }
    applyTexts(*rules);
    const QString minimum = rules->value(u"minimum"_s).toString();
    m_minimum = minimum;
    if (compareVersions(running, minimum)) {
        requireUpdate();
        m_log.warn(tag, u"version check: running=%1 < minimum=%2, update required"_s.arg(running, minimum));
    } else {
        m_log.info(tag, u"version check: running=%1 >= minimum=%2, ok"_s.arg(running, minimum));
    }
}

void VersionCheck::startBackgroundFetch(const QString& running) {
    const QUrl url(m_sources.remoteUrl, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty()) {
        endFetch();
        return;
    }
    if (!m_network)
        m_network = new QNetworkAccessManager(this);

    m_fetchInProgress = true;
    fetchFresh(*m_network, url, fetchTimeout, this, [this, running](const FetchAnswer& answer) {
        if (answer.failure)
            m_log.info(tag, u"version check fetch failed: "_s + *answer.failure);
        else if (!answer.succeeded())
            m_log.info(tag, u"version check fetch: HTTP %1"_s.arg(answer.status));
        else
            finishFetch(running, answer.body);
        endFetch();
    });
}

void VersionCheck::finishFetch(const QString& running, const QByteArray& body) {
    const std::optional<QJsonObject> rules = parseRules(body, true);
    if (!rules) {
        m_log.warn(tag, u"version check fetch: invalid JSON structure"_s);
        return;
    }
    // A cache that can't be written only costs the next launch its head start; this one's verdict stands.
    QDir().mkpath(QFileInfo(m_sources.cachePath).absolutePath());
    QSaveFile cache(m_sources.cachePath);
    if (cache.open(QIODevice::WriteOnly) && cache.write(body) == body.size())
        cache.commit();

    const QString minimum = rules->value(u"minimum"_s).toString();
    m_minimum = minimum;
    const QString latest = rules->value(u"latest"_s).toString();
    m_log.info(tag, u"version check: cache updated (minimum=%1, latest=%2)"_s.arg(minimum, latest));
    const bool required = compareVersions(running, minimum);
    if (required)
        m_log.warn(tag, u"version check: fresh fetch confirms update required"_s);
    applyTexts(*rules);
    if (required)
        requireUpdate();
}

void VersionCheck::applyTexts(const QJsonObject& rules) {
    const QJsonValue message = rules.value(u"message"_s);
    if (message.isString() && message.toString() != m_message) {
        m_message = message.toString();
        emit messageChanged(m_message);
    }
    const QJsonValue url = rules.value(u"download_url"_s);
    if (url.isString() && url.toString() != m_downloadUrl) {
        m_downloadUrl = url.toString();
        emit downloadUrlChanged(m_downloadUrl);
    }
}

void VersionCheck::requireUpdate() {
    if (m_updateRequired)
        return;
    m_updateRequired = true;
    emit updateRequiredChanged(true);
}

void VersionCheck::endFetch() {
    m_fetchInProgress = false;
    emit fetchFinished();
}
