#include "base/Settings.h"

#include "platform/Locations.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSettings>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

Settings::WriteFailed& writeFailedHandler() {
    static Settings::WriteFailed handler;
    return handler;
}

} // namespace

void Settings::onWriteFailed(WriteFailed handler) {
    writeFailedHandler() = std::move(handler);
}

Settings::Settings()
    : Settings(Locations::settingsFilePath()) {}

Settings::Settings(const QString& filePath)
    : m_settings(std::make_unique<QSettings>(filePath, QSettings::IniFormat)) {}

Settings::~Settings() = default;

QString Settings::filePath() const {
    return m_settings->fileName();
}

bool Settings::contains(const QString& key) const {
    return m_settings->contains(key);
}

void Settings::remove(const QString& key) {
    m_settings->remove(key);
    sync();
}

void Settings::store(const QString& key, const QVariant& value) {
    m_settings->setValue(key, value);
    sync();
}

// QSettings writes a new file and renames it over the old one, so a failed write leaves the old file
// whole; it only has to be told.
void Settings::sync() {
    m_settings->sync();
    // A file that didn't parse reports a format error here too; only access errors are failed writes.
    if (m_settings->status() != QSettings::AccessError)
        return;
    if (const WriteFailed& handler = writeFailedHandler())
        handler(m_settings->fileName());
}

std::optional<bool> Settings::boolValue(const QString& key) const {
    const QVariant value = m_settings->value(key);
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    // The INI format gives back what setValue(bool) wrote as text; nothing else counts as a boolean.
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        if (text == u"true"_s)
            return true;
        if (text == u"false"_s)
            return false;
    }
    return std::nullopt;
}

void Settings::setBool(const QString& key, bool value) {
    store(key, value);
}

std::optional<double> Settings::doubleValue(const QString& key) const {
    const QVariant value = m_settings->value(key);
    if (!value.isValid())
        return std::nullopt;
    bool ok = false;
    const double number = value.toDouble(&ok);
    // A stored "inf" or "nan" is no figure anyone measured: read it as absent, like every other
    // non-finite number the program meets.
    if (!ok || !std::isfinite(number))
        return std::nullopt;
    return number;
}

void Settings::setDouble(const QString& key, double value) {
    store(key, value);
}

std::optional<QString> Settings::stringValue(const QString& key) const {
    const QVariant value = m_settings->value(key);
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

void Settings::setString(const QString& key, const QString& value) {
    store(key, value);
}

QStringList Settings::stringList(const QString& key) const {
    const auto text = stringValue(key);
    if (!text)
        return {};
    const QJsonDocument document = QJsonDocument::fromJson(text->toUtf8());
    QStringList values;
    const QJsonArray array = document.array();
    for (const QJsonValue& entry : array) {
        if (entry.isString())
            values.append(entry.toString());
    }
    return values;
}

void Settings::setStringList(const QString& key, const QStringList& values) {
    const QJsonDocument document(QJsonArray::fromStringList(values));
    store(key, QString::fromUtf8(document.toJson(QJsonDocument::Compact)));
}
