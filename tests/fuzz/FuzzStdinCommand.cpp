#include "FuzzTarget.h"

#include "subprocess/LineBuffer.h"
#include "subprocess/StdinCommand.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

// The closing figures: the first 33 bytes, when there are that many, as raw numbers and a flag.
void checkEndMeta(const std::uint8_t* data) {
    EndMeta meta;
    double figures[3];
    qint64 rssi = 0;
    std::memcpy(figures, data, sizeof figures);
    std::memcpy(&rssi, data + sizeof figures, sizeof rssi);
    const std::uint8_t flags = data[sizeof figures + sizeof rssi];
    if (flags & 1)
        meta.rssi = rssi;
    if (flags & 2)
        meta.uploadMbps = figures[0];
    if (flags & 4)
        meta.lossPct = figures[1];
    if (flags & 8)
        meta.latencyMs = figures[2];
    meta.gatewayReachable = flags & 16;

    const std::optional<QByteArray> json = StdinCommand::endMetaJson(meta);
    const bool allFinite = std::ranges::all_of(
        std::initializer_list<std::optional<double>>{meta.uploadMbps, meta.lossPct, meta.latencyMs},
        [](std::optional<double> value) {
            return !value || std::isfinite(StdinCommand::roundToTenth(*value));
        });
    fuzzCheck(json.has_value() == allFinite, "ENDMETA is written exactly when every figure is finite");
    if (!json)
        return;

    // What the tool reads back is what was meant, rounded to tenths.
    const QJsonObject object = QJsonDocument::fromJson(*json).object();
    fuzzCheck(object.value("gateway_reachable"_L1) == QJsonValue(meta.gatewayReachable),
              "ENDMETA carries whether the gateway answered");
    fuzzCheck(meta.rssi ? object.value("rssi_dbm"_L1).toInteger() == *meta.rssi
                        : !object.contains("rssi_dbm"_L1),
              "ENDMETA carries the signal as given");
    const std::pair<QLatin1StringView, std::optional<double>> rounded[] = {
        {"upload_speed_mbps"_L1, meta.uploadMbps},
        {"packet_loss_pct"_L1, meta.lossPct},
        {"latency_ms"_L1, meta.latencyMs}};
    for (const auto& [key, value] : rounded) {
        fuzzCheck(value ? object.value(key).toDouble() == StdinCommand::roundToTenth(*value)
                        : !object.contains(key),
                  "ENDMETA carries each figure rounded to a tenth");
    }
}

} // namespace

// The commands written to the tool's standard input, read back the way the tool's lines are cut.
int fuzzStdinCommand(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t endMetaBytes = 3 * sizeof(double) + sizeof(qint64) + 1;
    if (size >= endMetaBytes)
        checkEndMeta(data);

    const QByteArray bytes = fuzzBytes(data, size);
    const std::optional<QString> text = LineBuffer::decodeUtf8(bytes);
    if (!text)
        return 0;
    const QString command = StdinCommand::note(*text);
    const std::optional<QByteArray> line = StdinCommand::encodeLine(command);
    fuzzCheck(line.has_value(), "text decoded from UTF-8 can be encoded again");
    fuzzCheck(*line == "NOTE " + bytes + '\n', "a note goes out byte for byte, one line feed behind");
    if (!bytes.contains('\n')) {
        LineBuffer reader;
        fuzzCheck(reader.append(*line) == QStringList{command},
                  "the tool reads back the one line it was sent");
    }
    return 0;
}
