#pragma once

#include "capture/CaptureStats.h"
#include "capture/RgbColor.h"

#include <QHashFunctions>
#include <QString>
#include <QStringView>

#include <array>
#include <compare>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <optional>

// The six-step scale on which every figure of a capture is judged, and the one home of the
// thresholds. Cases are ordered best first, so the maximum of a set of ratings is the worst of them.
// A rate* function gives no rating when it has nothing to rate; no rating is not `broken`.
class QualityRating {
public:
    enum Value : quint8 { superior, excellent, good, fair, impaired, broken };

    constexpr QualityRating(Value value) // implicit, so QualityRating::good reads as a rating
        : m_value(value) {}

    static constexpr std::array<Value, 6> allCases() {
        return {superior, excellent, good, fair, impaired, broken};
    }
    // Exact, case-sensitive match on the six words; anything else gives no rating.
    static std::optional<QualityRating> fromRawValue(QStringView text);

    constexpr Value value() const { return m_value; }
    constexpr int position() const { return m_value; }
    // The word shown to the user: "Superior" … "Broken".
    QString rawValue() const;
    RgbColor color() const;

    friend constexpr bool operator==(QualityRating, QualityRating) = default;
    friend constexpr std::strong_ordering operator<=>(QualityRating, QualityRating) = default;

    // The terrestrial scale has strict bounds, the geostationary one inclusive bounds; the asymmetry is
    // wanted. A value that compares false throughout (NaN) lands on the last row of each table.
    static std::optional<QualityRating> rateLatency(std::optional<double> ms, bool isGeo);
    static std::optional<QualityRating> rateDownload(std::optional<double> mbps);
    static std::optional<QualityRating> rateUpload(std::optional<double> mbps);
    static std::optional<QualityRating> rateLoss(std::optional<double> percent);
    static std::optional<QualityRating> rateSignal(std::optional<int> dBm);
    static std::optional<QualityRating> rateNetflix(std::optional<double> mbps);
    static std::optional<QualityRating> rateYouTubeResolution(const std::optional<QString>& resolution);
    static std::optional<QualityRating> rateYouTubeThroughput(std::optional<double> mbps);
    static std::optional<QualityRating> rateBufferHealth(std::optional<double> seconds);

    // Height of a "{width}x{height}" text such as 1920x1080 or 854x480p30; 0 for any other form.
    static qint64 parseResolutionHeight(QStringView resolution);

    // A link is rated on the geostationary scale exactly when the live latency figure is above 400 ms,
    // whichever figure is being rated.
    static bool isGeo(std::optional<double> liveLatencyMs) { return liveLatencyMs && *liveLatencyMs > 400; }
    static bool isGeo(const CaptureStats& stats) { return isGeo(stats.latencyMs); }

    // The overall rating of up to four ratings (latency, loss, download, upload): the worst of those
    // present, `good` when none is.
    static QualityRating worstOf(std::initializer_list<std::optional<QualityRating>> ratings);

    // The clause under a verdict: "all metrics within normal range", or the figure to blame.
    static QString explanation(std::optional<double> latencyMs, std::optional<double> lossPct,
                               std::optional<double> downloadMbps, std::optional<double> uploadMbps,
                               bool isGeo);

private:
    Value m_value;
};

// Hashing goes by the raw value.
inline size_t qHash(QualityRating rating, size_t seed = 0) noexcept {
    return qHash(rating.rawValue(), seed);
}

template <> struct std::hash<QualityRating> {
    size_t operator()(QualityRating rating) const noexcept { return qHash(rating); }
};
