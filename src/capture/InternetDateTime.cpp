#include "capture/InternetDateTime.h"

#include <cstring>

namespace {

constexpr size_t prefixLength = 19; // "yyyy-MM-ddTHH:mm:ss"

bool digitsAt(std::string_view text, size_t at, size_t count, int& value) {
    int result = 0;
    for (size_t i = at; i < at + count; ++i) {
        const unsigned digit = static_cast<unsigned char>(text[i]) - '0';
        if (digit > 9)
            return false;
        result = result * 10 + static_cast<int>(digit);
    }
    value = result;
    return true;
}

bool isLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysInMonth(int year, int month) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : days[month - 1];
}

// Days from 1970-01-01 to a date of the proleptic Gregorian calendar (H. Hinnant's days_from_civil).
qint64 daysFromCivil(int year, int month, int day) {
    year -= month <= 2;
    const qint64 era = (year >= 0 ? year : year - 399) / 400;
    const unsigned yearOfEra = static_cast<unsigned>(year - era * 400);
    const unsigned dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + static_cast<qint64>(dayOfEra) - 719468;
}

// "yyyy-MM-dd" as days since the epoch.
std::optional<qint64> dayNumber(std::string_view text) {
    int year, month, day;
    if (!digitsAt(text, 0, 4, year) || text[4] != '-' || !digitsAt(text, 5, 2, month) || text[7] != '-' ||
        !digitsAt(text, 8, 2, day))
        return std::nullopt;
    if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month))
        return std::nullopt;
    return daysFromCivil(year, month, day);
}

// "THH:mm:ss" behind the date, as seconds into the day.
std::optional<int> timeOfDay(std::string_view text) {
    int hour, minute, second;
    if (text[10] != 'T' || !digitsAt(text, 11, 2, hour) || text[13] != ':' ||
        !digitsAt(text, 14, 2, minute) || text[16] != ':' || !digitsAt(text, 17, 2, second))
        return std::nullopt;
    if (hour > 23 || minute > 59 || second > 59)
        return std::nullopt;
    return hour * 3600 + minute * 60 + second;
}

// The zone behind the fraction, "Z" or "+HH:MM", as the milliseconds to subtract.
std::optional<qint64> zoneMSecs(std::string_view zone) {
    if (zone == "Z")
        return 0;
    int hours, minutes;
    if (zone.size() != 6 || (zone[0] != '+' && zone[0] != '-') || zone[3] != ':' ||
        !digitsAt(zone, 1, 2, hours) || !digitsAt(zone, 4, 2, minutes) || hours > 23 || minutes > 59)
        return std::nullopt;
    const qint64 offset = (hours * 60 + minutes) * 60'000;
    return zone[0] == '-' ? -offset : offset;
}

} // namespace

std::optional<qint64> InternetDateTimeReader::msecsSinceEpoch(std::string_view text) {
    // "yyyy-MM-ddTHH:mm:ss.fZ" is the shortest form.
    if (text.size() < prefixLength + 3 || text[prefixLength] != '.')
        return std::nullopt;
    // Three overlapping words cover the 19 bytes of the second: cheaper than a call to memcmp.
    quint64 words[3];
    std::memcpy(&words[0], text.data(), 8);
    std::memcpy(&words[1], text.data() + 8, 8);
    std::memcpy(&words[2], text.data() + prefixLength - 8, 8);
    if (!m_hasLast || words[0] != m_lastSecond[0] || words[1] != m_lastSecond[1] ||
        words[2] != m_lastSecond[2]) {
        const std::optional<qint64> days = dayNumber(text);
        if (!days)
            return std::nullopt;
        const std::optional<int> seconds = timeOfDay(text);
        if (!seconds)
            return std::nullopt;
        std::memcpy(m_lastSecond, words, sizeof words);
        m_lastSeconds = *days * 86400 + *seconds;
        m_hasLast = true;
    }

    size_t at = prefixLength + 1;
    int millis = 0;
    int fractionDigits = 0;
    for (; at < text.size(); ++at, ++fractionDigits) {
        const unsigned digit = static_cast<unsigned char>(text[at]) - '0';
        if (digit > 9)
            break;
        if (fractionDigits < 3)
            millis = millis * 10 + static_cast<int>(digit);
    }
    if (fractionDigits == 0)
        return std::nullopt;
    for (int i = fractionDigits; i < 3; ++i)
        millis *= 10;

    // The zone, "Z" or "+HH:MM", as one word for the comparison with the last one.
    const std::string_view zone = text.substr(at);
    quint64 zoneWord = 0;
    if (zone.size() == 6)
        std::memcpy(&zoneWord, zone.data(), 6);
    else if (zone.size() == 1)
        zoneWord = static_cast<unsigned char>(zone[0]);
    else
        return std::nullopt;
    if (!m_hasZone || zoneWord != m_lastZone) {
        const std::optional<qint64> offset = zoneMSecs(zone);
        if (!offset)
            return std::nullopt;
        m_lastZone = zoneWord;
        m_lastZoneMSecs = *offset;
        m_hasZone = true;
    }
    return m_lastSeconds * 1000 + millis - m_lastZoneMSecs;
}

std::optional<QDateTime> parseInternetDateTime(std::string_view text) {
    InternetDateTimeReader reader;
    const std::optional<qint64> msecs = reader.msecsSinceEpoch(text);
    if (!msecs)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(*msecs, Qt::UTC);
}
