#include "capture/QualityRating.h"

#include "base/NumberText.h"

#include <QList>

using namespace Qt::StringLiterals;

std::optional<QualityRating> QualityRating::fromRawValue(QStringView text) {
    for (const Value value : allCases()) {
        if (QualityRating(value).rawValue() == text)
            return QualityRating(value);
    }
    return std::nullopt;
}

QString QualityRating::rawValue() const {
    switch (m_value) {
    case superior:
        return u"Superior"_s;
    case excellent:
        return u"Excellent"_s;
    case good:
        return u"Good"_s;
    case fair:
        return u"Fair"_s;
    case impaired:
        return u"Impaired"_s;
    case broken:
        return u"Broken"_s;
    }
    Q_UNREACHABLE();
    return {};
}

RgbColor QualityRating::color() const {
    switch (m_value) {
    case superior:
    case excellent: // the top two share one blue on purpose
        return {50, 136, 189};
    case good:
        return {44, 160, 44};
    case fair:
        return {212, 168, 0};
    case impaired:
        return {214, 39, 40};
    case broken: // past red the scale turns to a neutral grey
        return {140, 140, 140};
    }
    Q_UNREACHABLE();
    return {};
}

std::optional<QualityRating> QualityRating::rateLatency(std::optional<double> ms, bool isGeo) {
    if (!ms)
        return std::nullopt;
    const double v = *ms;
    if (isGeo) {
        // A geostationary hop alone costs ~600 ms, so the best it can be is `good`.
        if (v <= 700)
            return good;
        if (v <= 900)
            return fair;
        if (v <= 1200)
            return impaired;
        return broken;
    }
    if (v < 20)
        return superior;
    if (v < 50)
        return excellent;
    if (v < 100)
        return good;
    if (v < 200)
        return fair;
    if (v < 500)
        return impaired;
    return broken;
}

std::optional<QualityRating> QualityRating::rateDownload(std::optional<double> mbps) {
    if (!mbps)
        return std::nullopt;
    const double v = *mbps;
    if (v >= 200)
        return superior;
    if (v >= 100)
        return excellent;
    if (v >= 25)
        return good;
    if (v >= 12)
        return fair;
    if (v >= 3)
        return impaired;
    return broken;
}

std::optional<QualityRating> QualityRating::rateUpload(std::optional<double> mbps) {
    if (!mbps)
        return std::nullopt;
    const double v = *mbps;
    if (v >= 100)
        return superior;
    if (v >= 25)
        return excellent;
    if (v >= 3)
        return good;
    if (v >= 1)
        return fair;
    if (v >= 0.5)
        return impaired;
    return broken;
}

std::optional<QualityRating> QualityRating::rateLoss(std::optional<double> percent) {
    if (!percent)
        return std::nullopt;
    const double v = *percent;
    if (v < 0.1)
        return superior;
    if (v < 0.5)
        return excellent;
    if (v < 1)
        return good;
    if (v < 5)
        return fair;
    if (v < 10)
        return impaired;
    return broken;
}

std::optional<QualityRating> QualityRating::rateSignal(std::optional<int> dBm) {
    if (!dBm)
        return std::nullopt;
    const int v = *dBm;
    if (v >= -50)
        return excellent;
    if (v >= -67)
        return good;
    if (v >= -70)
        return fair;
    return impaired;
}

std::optional<QualityRating> QualityRating::rateNetflix(std::optional<double> mbps) {
    if (!mbps)
        return std::nullopt;
    const double v = *mbps;
    if (v >= 8)
        return superior;
    if (v >= 4)
        return good;
    if (v >= 2)
        return fair;
    return impaired;
}

std::optional<QualityRating> QualityRating::rateYouTubeResolution(const std::optional<QString>& resolution) {
    if (!resolution)
        return std::nullopt;
    const qint64 height = parseResolutionHeight(*resolution);
    if (height >= 1080)
        return excellent;
    if (height >= 720)
        return good;
    if (height >= 480)
        return fair;
    return impaired;
}

std::optional<QualityRating> QualityRating::rateYouTubeThroughput(std::optional<double> mbps) {
    if (!mbps)
        return std::nullopt;
    const double v = *mbps;
    if (v >= 20)
        return superior;
    if (v >= 4)
        return excellent;
    if (v >= 1.6)
        return good;
    if (v >= 0.8)
        return fair;
    return impaired;
}

std::optional<QualityRating> QualityRating::rateBufferHealth(std::optional<double> seconds) {
    if (!seconds)
        return std::nullopt;
    const double v = *seconds;
    if (v >= 10)
        return superior;
    if (v >= 5)
        return excellent;
    if (v >= 2)
        return good;
    if (v >= 1)
        return fair;
    return impaired;
}

qint64 QualityRating::parseResolutionHeight(QStringView resolution) {
    const QList<QStringView> pieces = resolution.split(u'x', Qt::SkipEmptyParts);
    if (pieces.size() != 2)
        return 0;
    return NumberText::leadingNumber(pieces.at(1)).value_or(0);
}

QualityRating QualityRating::worstOf(std::initializer_list<std::optional<QualityRating>> ratings) {
    std::optional<QualityRating> worst;
    for (const std::optional<QualityRating>& rating : ratings) {
        if (rating && (!worst || *rating > *worst))
            worst = rating;
    }
    return worst.value_or(good);
}

QString QualityRating::explanation(std::optional<double> latencyMs, std::optional<double> lossPct,
                                   std::optional<double> downloadMbps, std::optional<double> uploadMbps,
                                   bool isGeo) {
    const std::optional<QualityRating> latency = rateLatency(latencyMs, isGeo);
    const std::optional<QualityRating> loss = rateLoss(lossPct);
    const std::optional<QualityRating> download = rateDownload(downloadMbps);
    const std::optional<QualityRating> upload = rateUpload(uploadMbps);
    const QualityRating worst = worstOf({latency, loss, download, upload});
    if (worst <= good)
        return u"all metrics within normal range"_s;

    // Loss is told first, whatever order the ratings were formed in; on a tie the earlier row wins.
    // The whole-number texts truncate toward zero (99.9 Mbps reads "99") without an integer
    // conversion, so even a value the system never produces (NaN, infinity) can't make them undefined.
    if (loss == worst)
        return u"packet loss was "_s + NumberText::fixed(*lossPct, 1) + u"% during testing"_s;
    if (latency == worst)
        return u"median latency was "_s + NumberText::wholePart(*latencyMs) + u"ms"_s;
    if (download == worst)
        return u"download speed was "_s + NumberText::wholePart(*downloadMbps) + u" Mbps"_s;
    if (upload == worst)
        return u"upload speed was "_s + NumberText::fixed(*uploadMbps, 1) + u" Mbps"_s;
    // Only reachable if the rules above stop agreeing with worstOf: every rating present has its value.
    return u"some metrics were below normal"_s;
}
