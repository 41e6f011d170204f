#pragma once

#include <QDateTime>

#include <optional>
#include <string_view>

// Reads the timestamps of the capture CSV: an internet date-time such as
// "2026-01-02T03:04:05.250+01:00" or "...05.250Z". The fraction and the zone are both required, and a
// text with anything around it doesn't parse. The result is in UTC; sub-millisecond digits are cut.
// Pure and allocation-free, so it can run on any thread.
std::optional<QDateTime> parseInternetDateTime(std::string_view text);

// The same as milliseconds since the epoch, for a reader of many rows: it remembers the second and
// the zone of the last text, which neighbouring rows of a capture nearly always share, and then
// reads only the fraction. One object per thread.
class InternetDateTimeReader {
public:
    std::optional<qint64> msecsSinceEpoch(std::string_view text);

private:
    quint64 m_lastSecond[3] = {}; // "yyyy-MM-ddTHH:mm:ss" of the last text read, as three words
    qint64 m_lastSeconds = 0;
    quint64 m_lastZone = 0; // "Z" or "+HH:MM" of the last text read, as one word
    qint64 m_lastZoneMSecs = 0;
    bool m_hasLast = false;
    bool m_hasZone = false;
};
