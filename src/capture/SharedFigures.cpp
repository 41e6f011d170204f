#include "capture/SharedFigures.h"

#include "base/Clock.h"
#include "base/NumberText.h"

#include <algorithm>
#include <cmath>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// The whole text as a decimal integer with an optional sign, as a strict integer parser reads it: no
// spaces, no other characters.
std::optional<qint64> wholeInteger(QStringView text) {
    QStringView digits = text;
    if (!digits.isEmpty() && (digits.front() == u'+' || digits.front() == u'-'))
        digits = digits.sliced(1);
    if (digits.isEmpty() ||
        !std::all_of(digits.begin(), digits.end(), [](QChar c) { return c >= u'0' && c <= u'9'; }))
        return std::nullopt;
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

QString heightLabel(qint64 height, qint64 fourKFrom) {
    return height >= fourKFrom ? u"4K"_s : QString::number(height) + u'p';
}

} // namespace

std::optional<double> median(const QList<double>& values) {
    std::vector<double> sorted;
    sorted.reserve(size_t(values.size()));
    for (const double value : values) {
        if (std::isfinite(value))
            sorted.push_back(value);
    }
    if (sorted.empty())
        return std::nullopt;
    // Only the middle matters: selection instead of a full sort keeps this linear on long captures.
    const size_t middle = sorted.size() / 2;
    std::nth_element(sorted.begin(), sorted.begin() + qsizetype(middle), sorted.end());
    const double upper = sorted[middle];
    if (sorted.size() % 2 == 1)
        return upper;
    const double lower = *std::max_element(sorted.begin(), sorted.begin() + qsizetype(middle));
    // Halving first can't overflow, and for finite values gives the same double as (a + b) / 2.
    return lower / 2 + upper / 2;
}

std::optional<QString> formatTimeAgo(const std::optional<QDateTime>& date) {
    if (!date)
        return std::nullopt;
    const qint64 s = date->secsTo(Time::clock().now());
    if (s < 30)
        return std::nullopt;
    if (s <= 89)
        return u"1m ago"_s;
    const qint64 rounded = s + 30;
    if (rounded < 3600)
        return QString::number(rounded / 60) + u"m ago"_s;
    if (rounded < 7200)
        return u">1h ago"_s;
    return u">"_s + QString::number(rounded / 3600) + u"h ago"_s;
}

QString parseYouTubeResolution(const QString& resolution) {
    const QList<QStringView> pieces = QStringView(resolution).split(u'x', Qt::SkipEmptyParts);
    if (pieces.size() == 2) {
        if (const std::optional<qint64> height = NumberText::leadingNumber(pieces.at(1)))
            return heightLabel(*height, 2160);
    }
    if (resolution.startsWith(u"hd"_s)) {
        if (const std::optional<qint64> height = wholeInteger(QStringView(resolution).sliced(2)))
            return heightLabel(*height, 2160); // "above 2159" for a whole number is "at least 2160"
    }
    return resolution;
}
