#pragma once

#include <QDateTime>
#include <QJsonValue>
#include <QString>

#include <optional>

// JSON values of the command line's reports: an absent figure is null, a date is ISO 8601 in UTC.
namespace CliJson {

inline QJsonValue json(const std::optional<QString>& value) {
    return value ? QJsonValue(*value) : QJsonValue();
}
inline QJsonValue json(const std::optional<double>& value) {
    return value ? QJsonValue(*value) : QJsonValue();
}
inline QJsonValue json(const std::optional<int>& value) {
    return value ? QJsonValue(*value) : QJsonValue();
}
inline QJsonValue json(const QDateTime& value) {
    return value.isValid() ? QJsonValue(value.toUTC().toString(Qt::ISODateWithMs)) : QJsonValue();
}
inline QJsonValue json(const std::optional<QDateTime>& value) {
    return value ? json(*value) : QJsonValue();
}

} // namespace CliJson
