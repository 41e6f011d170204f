#include "subprocess/StdinCommand.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringEncoder>

#include <cmath>

using namespace Qt::StringLiterals;

namespace StdinCommand {

QString note(const QString& text) {
    return u"NOTE "_s + text;
}

double roundToTenth(double value) {
    return std::round(value * 10.0) / 10.0;
}

std::optional<QByteArray> endMetaJson(const EndMeta& meta) {
    QJsonObject object;
    if (meta.rssi)
        object.insert("rssi_dbm"_L1, *meta.rssi);
    const auto insertRounded = [&object](QLatin1StringView key, std::optional<double> value) {
        if (!value)
            return true;
        const double rounded = roundToTenth(*value);
        // JSON has no NaN or infinity, and writing them as null would change what the tool reads.
        if (!std::isfinite(rounded))
            return false;
        object.insert(key, rounded);
        return true;
    };
    if (!insertRounded("upload_speed_mbps"_L1, meta.uploadMbps) ||
        !insertRounded("packet_loss_pct"_L1, meta.lossPct) || !insertRounded("latency_ms"_L1, meta.latencyMs))
        return std::nullopt;
    object.insert("gateway_reachable"_L1, meta.gatewayReachable);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<QString> endMeta(const EndMeta& meta) {
    const std::optional<QByteArray> json = endMetaJson(meta);
    if (!json)
        return std::nullopt;
    return u"ENDMETA "_s + QString::fromUtf8(*json);
}

std::optional<QByteArray> encodeLine(const QString& command) {
    QStringEncoder encoder(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    QByteArray bytes = encoder.encode(command);
    if (encoder.hasError())
        return std::nullopt;
    bytes.append('\n');
    return bytes;
}

} // namespace StdinCommand
