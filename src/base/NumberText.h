#pragma once

#include <QChar>
#include <QString>
#include <QStringView>

#include <charconv>
#include <cmath>
#include <optional>

// Number-to-text conversions shared by the rating texts and the results figures. They never convert
// a double to an integer type, so no input can make them undefined; the figures that reach them are
// finite anyway (see `median`), and a non-finite value would read "nan" or "inf" instead of crashing.
namespace NumberText {

// C's "%.{decimals}f" as in the C locale, whatever the user's locale. Qt's own formatter rounds exact
// halves away from zero where C rounds them to even (0.25 reads "0.2"); std::to_chars follows C.
inline QString fixed(double value, int decimals) {
    char buffer[400]; // the longest finite double in %.2f is 312 characters
    const auto result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    return QString::fromLatin1(buffer, result.ptr - buffer);
}

// The whole part, truncated toward zero: 99.9 reads "99", -0.5 reads "0".
inline QString wholePart(double value) {
    // Adding 0.0 turns the -0.0 that trunc gives for (-1, 0) into 0.0, which prints without a sign.
    return fixed(std::trunc(value) + 0.0, 0);
}

// Whole seconds of a duration, truncated toward zero, for the minute and second texts. Durations come
// from the tool's JSON or the capture file as finite numbers; a non-finite or absurd value is clamped
// here so that the integer conversion stays defined.
inline qint64 wholeSeconds(double seconds) {
    constexpr double limit = 9.0e15; // exactly representable, and far beyond any capture
    if (std::isnan(seconds))
        return 0;
    if (seconds >= limit)
        return static_cast<qint64>(limit);
    if (seconds <= -limit)
        return -static_cast<qint64>(limit);
    return static_cast<qint64>(std::trunc(seconds));
}

// The longest leading run of Unicode number characters, read as a decimal integer. Nothing when the run
// is empty, holds a number character that isn't an ASCII digit (Arabic-Indic digits, ½), or overflows
// 64 bits. The run is taken by code point, so a number outside the basic plane counts as one character.
inline std::optional<qint64> leadingNumber(QStringView text) {
    qsizetype runLength = 0;
    bool asciiOnly = true;
    while (runLength < text.size()) {
        char32_t codePoint = text.at(runLength).unicode();
        qsizetype width = 1;
        if (QChar::isHighSurrogate(codePoint) && runLength + 1 < text.size() &&
            text.at(runLength + 1).isLowSurrogate()) {
            codePoint = QChar::surrogateToUcs4(text.at(runLength), text.at(runLength + 1));
            width = 2;
        }
        if (!QChar::isNumber(codePoint))
            break;
        asciiOnly = asciiOnly && codePoint >= U'0' && codePoint <= U'9';
        runLength += width;
    }
    if (runLength == 0 || !asciiOnly)
        return std::nullopt;
    bool ok = false;
    const qint64 value = text.first(runLength).toLongLong(&ok);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

} // namespace NumberText
