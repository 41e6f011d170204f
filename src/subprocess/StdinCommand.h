#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The closing figures that the measurement tool stores when a capture is stopped. A figure that isn't
// known is left out of the command; whether the gateway answered is always sent.
struct EndMeta {
    std::optional<qint64> rssi;
    std::optional<double> uploadMbps;
    std::optional<double> lossPct;
    std::optional<double> latencyMs;
    bool gatewayReachable = false;

    friend bool operator==(const EndMeta&, const EndMeta&) = default;
};

// The plain text commands that the measurement tool reads on its standard input, one per line.
namespace StdinCommand {

inline const QString speedTest = QStringLiteral("SPEEDTEST");
inline const QString testYouTube = QStringLiteral("TESTYOUTUBE");

// "NOTE {text}", the text as it stands.
QString note(const QString& text);

// "ENDMETA {json}", or nothing when the figures can't be written as JSON (a figure that is not a
// finite number).
std::optional<QString> endMeta(const EndMeta& meta);

// The JSON object of ENDMETA; the order of its keys means nothing.
std::optional<QByteArray> endMetaJson(const EndMeta& meta);

// Nearest tenth, halves away from zero: round(x * 10) / 10.
double roundToTenth(double value);

// The bytes written to the tool: the command, one line feed, UTF-8. Nothing when the text can't be
// encoded (a lone surrogate), so that a broken command is dropped rather than garbled.
std::optional<QByteArray> encodeLine(const QString& command);

} // namespace StdinCommand
