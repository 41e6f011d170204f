#include "capture/CSVLoader.h"

#include "capture/CsvLineReader.h"
#include "capture/InternetDateTime.h"
#include "services/FileLogger.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(Q_OS_LINUX)
#include <sys/mman.h>
#endif

using namespace Qt::StringLiterals;

namespace {

// Columns are found by position; a line is split at every comma, with no quoting.
constexpr int timeColumn = 0;
constexpr int typeColumn = 1;
constexpr int targetColumn = 2;
constexpr int valueColumn = 3;
constexpr int lostColumn = 4;
constexpr int hopCountColumn = 6;
constexpr int mbpsColumn = 7;
constexpr int detailsColumn = 10;
constexpr int minimumColumns = 5;

// The columns of one line, split at every comma up to `maxColumns` of them. The last column wanted
// ends at the next comma: nothing behind it is looked at.
class Columns {
public:
    Columns(std::string_view line, int maxColumns)
        : m_begin(line.data())
        , m_size(line.size()) {
        size_t at = 0;
#if defined(__SSE2__)
        // Sixteen bytes at a time: most rows of a capture have ten commas in seventy bytes.
        const __m128i comma = _mm_set1_epi8(',');
        for (; at + 16 <= m_size && m_found < maxColumns; at += 16) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m_begin + at));
            unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, comma)));
            while (mask != 0 && m_found < maxColumns) {
                m_commas[m_found++] = at + static_cast<size_t>(__builtin_ctz(mask));
                mask &= mask - 1;
            }
        }
#endif
        for (; at < m_size && m_found < maxColumns; ++at) {
            if (m_begin[at] == ',')
                m_commas[m_found++] = at;
        }
        m_count = std::min(m_found + 1, maxColumns);
    }

    int count() const {
        return m_count;
    }
    // Column `index`, or empty if the line is too short for it.
    std::string_view operator[](int index) const {
        if (index >= m_count)
            return {};
        const size_t start = index == 0 ? 0 : m_commas[index - 1] + 1;
        const size_t end = index < m_found ? m_commas[index] : m_size;
        return std::string_view(m_begin + start, end - start);
    }

private:
    const char* m_begin;
    size_t m_size;
    // Positions of the commas found; left uninitialised behind m_found, as this runs for every row.
    size_t m_commas[detailsColumn + 1];
    int m_found = 0;
    int m_count = 0;
};

// A decimal number as the tool writes it, with an optional sign. Anything else is absent, and so,
// deliberately, is an infinite or not-a-number value: a damaged file then loses a figure instead of
// stopping the program or spreading NaN through every average.
std::optional<double> parseDecimalSlowly(std::string_view text) {
    const char* begin = text.data();
    const char* const end = begin + text.size();
    if (begin != end && *begin == '+') {
        ++begin;
        if (begin != end && *begin == '-')
            return std::nullopt;
    }
    if (begin == end)
        return std::nullopt;
    double value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value))
        return std::nullopt;
    return value;
}

// Inlined: it runs for nearly every row.
inline __attribute__((always_inline)) std::optional<double> parseDecimal(std::string_view text) {
    // The tool's own form, such as "23.41", read directly: with at most 15 digits the digits make an
    // exact integer, and one division by an exact power of ten rounds just as a full parser would.
    static constexpr double powersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                             1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const char* at = text.data();
    const char* const end = at + text.size();
    const bool negative = at != end && *at == '-';
    if (at != end && (*at == '-' || *at == '+'))
        ++at;
    quint64 mantissa = 0;
    int digits = 0;
    int fractionDigits = 0;
    for (; at != end && static_cast<unsigned>(*at - '0') <= 9; ++at, ++digits)
        mantissa = mantissa * 10 + static_cast<unsigned>(*at - '0');
    if (at != end && *at == '.') {
        for (++at; at != end && static_cast<unsigned>(*at - '0') <= 9; ++at, ++digits, ++fractionDigits)
            mantissa = mantissa * 10 + static_cast<unsigned>(*at - '0');
    }
    if (at != end || digits == 0 || digits > 15)
        return parseDecimalSlowly(text);
    const double value = static_cast<double>(mantissa) / powersOfTen[fractionDigits];
    return negative ? -value : value;
}

// An integer with an optional sign.
std::optional<int> parseInteger(std::string_view text) {
    const char* begin = text.data();
    const char* const end = begin + text.size();
    if (begin != end && *begin == '+') {
        ++begin;
        if (begin != end && *begin == '-')
            return std::nullopt;
    }
    if (begin == end)
        return std::nullopt;
    int value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return value;
}

// The value of a `key=value` item of the details column: found anywhere in the text, running to
// the next blank or the end.
std::optional<std::string_view> detailValue(std::string_view details, std::string_view keyWithSign) {
    const size_t at = details.find(keyWithSign);
    if (at == std::string_view::npos)
        return std::nullopt;
    const std::string_view value = details.substr(at + keyWithSign.size());
    return value.substr(0, value.find(' '));
}

// "duration=125.4s": every letter "s" goes before the number is read.
std::optional<double> parseDuration(std::string_view value) {
    std::string digits(value);
    std::erase(digits, 's');
    return parseDecimal(digits);
}

QString text(std::string_view bytes) {
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

enum class RowType {
    latency,
    throughputDown,
    throughputUp,
    throughputObserved,
    wifi,
    traceroute,
    sessionStart,
    sessionEnd,
    other,
};

struct RowKind {
    RowType type = RowType::other;
    const QString* probeType = nullptr; // for latency rows
    int probeIndex = 0;                 // for latency rows: 0 to 5
};

RowKind classify(std::string_view type) {
    static const QString ping = u"ping"_s, udp = u"udp"_s, tcp = u"tcp"_s, http = u"http"_s, quic = u"quic"_s,
                         dns = u"dns"_s;
    switch (type.size()) {
    case 3:
        if (type == "udp")
            return {RowType::latency, &udp, 1};
        if (type == "tcp")
            return {RowType::latency, &tcp, 2};
        if (type == "dns")
            return {RowType::latency, &dns, 5};
        break;
    case 4:
        if (type == "ping")
            return {RowType::latency, &ping, 0};
        if (type == "http")
            return {RowType::latency, &http, 3};
        if (type == "quic")
            return {RowType::latency, &quic, 4};
        if (type == "wifi")
            return {RowType::wifi};
        break;
    case 10:
        if (type == "traceroute")
            return {RowType::traceroute};
        break;
    case 11:
        if (type == "session_end")
            return {RowType::sessionEnd};
        break;
    case 13:
        if (type == "throughput_up")
            return {RowType::throughputUp};
        if (type == "session_start")
            return {RowType::sessionStart};
        break;
    case 15:
        if (type == "throughput_down")
            return {RowType::throughputDown};
        break;
    case 19:
        if (type == "throughput_observed")
            return {RowType::throughputObserved};
        break;
    default:
        break;
    }
    return {};
}

// One QString per distinct target, shared by every point that names it: a million latency points
// hold a handful of strings between them. Each probe type cycles through a few targets, so a short
// list of the targets last seen per type answers nearly every row without hashing.
class TargetPool {
public:
    static constexpr int groups = 6;

    const QString& intern(std::string_view bytes, int group) {
        const Key key(bytes);
        Recent& recent = m_recent[group];
        for (Entry& entry : recent.entries) {
            if (entry.key == key && (bytes.size() <= 16 || entry.bytes == bytes))
                return entry.text;
        }
        Entry& entry = recent.entries[recent.next];
        recent.next = (recent.next + 1) % recent.entries.size();
        entry.key = key;
        entry.bytes.assign(bytes);
        entry.text = shared(bytes);
        return entry.text;
    }

private:
    // The length with the first and the last eight bytes (zero-padded when shorter): the whole text
    // up to sixteen bytes.
    struct Key {
        size_t size = std::string_view::npos;
        quint64 head = 0;
        quint64 tail = 0;
        Key() = default;
        explicit Key(std::string_view bytes)
            : size(bytes.size()) {
            if (bytes.size() >= 8) {
                std::memcpy(&head, bytes.data(), 8);
                std::memcpy(&tail, bytes.data() + bytes.size() - 8, 8);
            } else {
                std::memcpy(&head, bytes.data(), bytes.size());
            }
        }
        friend bool operator==(const Key&, const Key&) = default;
    };
    struct Entry {
        Key key;
        std::string bytes;
        QString text;
    };
    struct Recent {
        std::array<Entry, 4> entries;
        size_t next = 0;
    };

    QString shared(std::string_view bytes) {
        const QByteArray key(bytes.data(), static_cast<qsizetype>(bytes.size()));
        auto found = m_all.find(key);
        if (found == m_all.end())
            found = m_all.insert(key, text(bytes));
        return found.value();
    }

    std::array<Recent, groups> m_recent;
    QHash<QByteArray, QString> m_all;
};

// A list of a million points is tens of megabytes of fresh memory: in 4 kB pages, faulting it in
// costs about as much as parsing the file. Where the kernel gives transparent huge pages on request,
// ask for them for the part of the list that hasn't been touched yet.
template <typename T> void adviseHugePages(const QList<T>& list) {
#if defined(Q_OS_LINUX) && defined(MADV_HUGEPAGE)
    constexpr quintptr hugePage = 2 * 1024 * 1024;
    const quintptr begin = reinterpret_cast<quintptr>(list.constData() + list.size());
    const quintptr end = reinterpret_cast<quintptr>(list.constData() + list.capacity());
    const quintptr alignedBegin = (begin + hugePage - 1) & ~(hugePage - 1);
    const quintptr alignedEnd = end & ~(hugePage - 1);
    if (alignedEnd > alignedBegin)
        madvise(reinterpret_cast<void*>(alignedBegin), alignedEnd - alignedBegin, MADV_HUGEPAGE);
#else
    Q_UNUSED(list);
#endif
}

struct CaptureEntry {
    std::optional<QString> location;
    std::optional<QString> networkType;
};

// An optional text key: absent and null are the same; any other type spoils the element.
bool optionalText(const QJsonObject& object, QLatin1StringView key, std::optional<QString>& out) {
    const QJsonValue value = object.value(key);
    if (value.isUndefined() || value.isNull())
        return true;
    if (!value.isString())
        return false;
    out = value.toString();
    return true;
}

// The first entry of captures.json for this file name. The list counts only as a whole: one element
// without a text "file" makes all of it unusable, and then nothing is taken from it.
std::optional<CaptureEntry> captureEntry(const QString& folder, const QString& fileName) {
    QFile file(folder + u"/captures.json"_s);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isArray())
        return std::nullopt;
    std::optional<CaptureEntry> match;
    const QJsonArray entries = document.array();
    for (const QJsonValue& element : entries) {
        if (!element.isObject())
            return std::nullopt;
        const QJsonObject object = element.toObject();
        const QJsonValue name = object.value("file"_L1);
        CaptureEntry entry;
        if (!name.isString() || !optionalText(object, "location"_L1, entry.location) ||
            !optionalText(object, "network_type"_L1, entry.networkType))
            return std::nullopt;
        if (!match && name.toString() == fileName)
            match = entry;
    }
    return match;
}

// A stretch of the file that starts where a line starts and ends just behind a line feed, or at the
// end of the file.
struct FileStretch {
    qint64 start = 0;
    qint64 length = -1; // to the end of the file
    qint64 size = 0;
};

// Cuts the file into stretches of about `pieceSize` bytes at line feeds: a line feed always ends a
// line, whatever the other line ends around it, so each stretch reads as the same lines it holds in
// the whole file. One stretch for a small file, or when `pieceSize` isn't positive.
QList<FileStretch> splitAtLineFeeds(QFile& file, qint64 pieceSize) {
    const qint64 size = file.size();
    QList<FileStretch> stretches;
    qint64 start = 0;
    while (pieceSize > 0 && size - start > pieceSize + pieceSize / 2 && file.seek(start + pieceSize)) {
        qint64 lineFeed = -1;
        char block[4096];
        for (qint64 at = start + pieceSize; lineFeed < 0;) {
            const qint64 count = file.read(block, sizeof block);
            if (count <= 0)
                break;
            if (const void* found = std::memchr(block, '\n', size_t(count)))
                lineFeed = at + (static_cast<const char*>(found) - block);
            at += count;
        }
        if (lineFeed < 0 || lineFeed + 1 >= size)
            break;
        stretches.append({start, lineFeed + 1 - start, lineFeed + 1 - start});
        start = lineFeed + 1;
    }
    stretches.append({start, -1, size - start});
    return stretches;
}

// Reads every stretch into a Piece, on all cores when there are several, and hands the pieces to
// `join` one by one in file order, each as soon as it and all before it are read, so that few are
// held at once. The error of the first stretch that failed, if any.
template <typename Piece, typename Join>
std::optional<QString> readStretches(const QString& path, const QList<FileStretch>& stretches, Join join) {
    const auto readOne = [&path](const FileStretch& stretch) {
        Piece piece;
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || !file.seek(stretch.start)) {
            piece.error = file.errorString();
            return piece;
        }
        CsvLineReader reader(file, CsvLineReader::defaultChunkSize, stretch.length);
        if (!reader.forEachLine([&](std::string_view line) { piece.onLine(line, stretch); }))
            piece.error = reader.errorString();
        return piece;
    };
    if (stretches.size() == 1) {
        Piece piece = readOne(stretches.first());
        if (piece.error)
            return piece.error;
        join(piece);
        return std::nullopt;
    }
    // Only a few pieces are read ahead of the one being joined, so that memory holds the joined
    // capture and a few pieces, not a second copy of the whole file's points.
    const qsizetype ahead = std::max(2, QThreadPool::globalInstance()->maxThreadCount()) + 1;
    QList<QFuture<Piece>> futures;
    futures.reserve(stretches.size());
    const auto startNext = [&] {
        if (futures.size() < stretches.size())
            futures.append(QtConcurrent::run(readOne, stretches[futures.size()]));
    };
    while (futures.size() < std::min(ahead, stretches.size()))
        startNext();
    std::optional<QString> error;
    for (qsizetype i = 0; i < futures.size(); ++i) {
        futures[i].waitForFinished();
        Piece piece = futures[i].takeResult();
        if (!error && piece.error)
            error = piece.error;
        if (!error) {
            join(piece);
            startNext();
        }
    }
    return error;
}

// Moves the elements of `from` behind those of `to`.
template <typename T> void appendMoved(QList<T>& to, QList<T>& from) {
    if (to.isEmpty() && to.capacity() == 0)
        to.swap(from);
    else
        to.append(std::move(from));
    from = QList<T>();
}

// What one stretch of a capture holds. The figures that the last row of their kind sets are kept
// with a note of whether a row set them here; a speed test's numbers and its range count from the
// stretch's start and are moved on when the pieces are joined.
struct LoadedPiece {
    CSVLoader::LoadedCapture capture;
    std::optional<QString> error;
    qint64 lines = 0;
    qint64 bytesSeen = 0;
    bool wifiLineSeen = false;
    bool sessionStartSeen = false;
    bool durationSeen = false;
    int downloads = 0;
    // The first upload that comes before any download of the stretch: it closes an earlier one's range.
    std::optional<QDateTime> uploadBeforeDownload;
    std::optional<QDateTime> pendingStart;
    TargetPool targets;
    InternetDateTimeReader dates;

    // The latency points of a whole file of `fileSize` bytes, guessed from the share read so far.
    qsizetype expectedLatencyPoints(qint64 fileSize) const {
        const double share =
            static_cast<double>(fileSize) / static_cast<double>(std::max<qint64>(bytesSeen, 1));
        return static_cast<qsizetype>(static_cast<double>(capture.latencyPoints.size()) * share * 1.02) + 64;
    }

    void onLine(std::string_view line, const FileStretch& stretch);
};

void LoadedPiece::onLine(std::string_view line, const FileStretch& stretch) {
    const qint64 index = lines++;
    bytesSeen += static_cast<qint64>(line.size()) + 1;
    // The network name comes from the first line that holds ",wifi,", header included, and from
    // no other, even if that one has no name.
    if (!wifiLineSeen && line.find(",wifi,") != std::string_view::npos) {
        wifiLineSeen = true;
        const Columns columns(line, detailsColumn + 1);
        if (columns.count() > detailsColumn) {
            const std::optional<std::string_view> ssid = detailValue(columns[detailsColumn], "ssid=");
            if (ssid && !ssid->empty())
                capture.ssid = text(*ssid);
        }
    }
    if (index == 0 && stretch.start == 0)
        return;
    // Growing a list of a million points by doubling would leave up to half of it unused: once
    // a sample of the stretch has been read, size the latency list for the whole of it.
    if (index == 8192 && stretch.size > bytesSeen) {
        capture.latencyPoints.reserve(expectedLatencyPoints(stretch.size));
        adviseHugePages(capture.latencyPoints);
    }

    // Most rows are latency samples and need the first five columns only.
    const Columns head(line, minimumColumns);
    if (head.count() < minimumColumns)
        return;
    const std::optional<qint64> msecs = dates.msecsSinceEpoch(head[timeColumn]);
    if (!msecs)
        return;
    ++capture.sampleCount;
    const RowKind kind = classify(head[typeColumn]);
    if (kind.type == RowType::latency) {
        // A copy of a UTC date set in place costs half as many calls into Qt as a new date moved in.
        static const QDateTime utcEpoch = QDateTime::fromMSecsSinceEpoch(0, Qt::UTC);
        LatencyPoint& point = capture.latencyPoints.emplaceBack(
            LatencyPoint{utcEpoch, parseDecimal(head[valueColumn]), head[lostColumn] == "1", *kind.probeType,
                         targets.intern(head[targetColumn], kind.probeIndex)});
        point.date.setMSecsSinceEpoch(*msecs);
        return;
    }

    const QDateTime date = QDateTime::fromMSecsSinceEpoch(*msecs, Qt::UTC);
    const Columns columns(line, detailsColumn + 1);
    switch (kind.type) {
    case RowType::throughputDown: {
        const std::optional<double> mbps = parseDecimal(columns[mbpsColumn]);
        if (!mbps)
            break;
        ++downloads;
        capture.throughputPoints.append({downloads, *mbps, u"download"_s, text(columns[targetColumn]), date});
        capture.lastDownloadMbps = mbps;
        pendingStart = date;
        break;
    }
    case RowType::throughputUp: {
        const std::optional<double> mbps = parseDecimal(columns[mbpsColumn]);
        if (!mbps)
            break;
        // The upload belongs to the download before it: same test number, and one range for both.
        capture.throughputPoints.append({downloads, *mbps, u"upload"_s, text(columns[targetColumn]), date});
        capture.lastUploadMbps = mbps;
        if (downloads == 0 && !uploadBeforeDownload) {
            uploadBeforeDownload = date;
        } else if (pendingStart) {
            capture.speedTestRanges.append({*pendingStart, date, u"download"_s, downloads});
            pendingStart.reset();
        }
        break;
    }
    case RowType::throughputObserved: {
        const std::string_view details = columns[detailsColumn];
        const std::optional<std::string_view> down = detailValue(details, "dl_mbps=");
        const std::optional<std::string_view> up = detailValue(details, "ul_mbps=");
        if (!down || !up)
            break;
        const std::optional<double> downMbps = parseDecimal(*down);
        const std::optional<double> upMbps = parseDecimal(*up);
        if (!downMbps || !upMbps)
            break;
        capture.observedThroughputPoints.append({date, *downMbps, *upMbps});
        break;
    }
    case RowType::wifi: {
        const std::optional<double> value = parseDecimal(columns[valueColumn]);
        // Cut toward zero; a value beyond any whole number can't be a signal and is passed over.
        if (!value || std::abs(*value) >= 2147483648.0)
            break;
        const int rssi = static_cast<int>(std::trunc(*value));
        capture.rssiHistory.append({date, rssi});
        capture.lastRSSI = rssi;
        break;
    }
    case RowType::traceroute: {
        const std::optional<int> hopCount = parseInteger(columns[hopCountColumn]);
        if (!hopCount)
            break;
        const std::string_view details = columns[detailsColumn];
        const std::optional<std::string_view> firstHop = detailValue(details, "first_hop=");
        capture.traceroutePoints.append({date, *hopCount, firstHop ? text(*firstHop) : QString(),
                                         text(columns[targetColumn]),
                                         CSVLoader::parseHopDetails(text(details))});
        break;
    }
    case RowType::sessionStart: {
        const std::optional<std::string_view> id = detailValue(columns[detailsColumn], "capture_id=");
        capture.captureId = id ? std::optional<QString>(text(*id)) : std::nullopt;
        capture.captureDate = date;
        sessionStartSeen = true;
        break;
    }
    case RowType::sessionEnd:
        if (const std::optional<std::string_view> value = detailValue(columns[detailsColumn], "duration=")) {
            capture.durationSec = parseDuration(*value).value_or(0.0);
            durationSeen = true;
        }
        break;
    case RowType::latency:
    case RowType::other:
        break;
    }
}

// The picker's figures of one stretch of a capture.
struct QuickPiece {
    std::optional<QString> error;
    qint64 lines = 0;
    qint64 pingCount = 0;
    qint64 lostCount = 0;
    std::vector<double> roundTrips;
    std::optional<double> lastDownload;
    std::optional<double> lastUpload;
    // The duration of the last session end here, which may be unreadable.
    std::optional<std::optional<double>> durationSec;

    // Takes in the piece that follows this one in the file.
    void append(const QuickPiece& next) {
        lines += next.lines;
        pingCount += next.pingCount;
        lostCount += next.lostCount;
        roundTrips.insert(roundTrips.end(), next.roundTrips.begin(), next.roundTrips.end());
        if (next.lastDownload)
            lastDownload = next.lastDownload;
        if (next.lastUpload)
            lastUpload = next.lastUpload;
        if (next.durationSec)
            durationSec = next.durationSec;
    }

    void onLine(std::string_view line, const FileStretch& stretch) {
        if (lines++ == 0 && stretch.start == 0)
            return;
        // Only the type decides whether anything more of the row is looked at.
        const Columns head(line, minimumColumns);
        if (head.count() < minimumColumns)
            return;
        const std::string_view type = head[typeColumn];
        if (type == "ping") {
            ++pingCount;
            if (head[lostColumn] == "1")
                ++lostCount;
            else if (const std::optional<double> rtt = parseDecimal(head[valueColumn]))
                roundTrips.push_back(*rtt);
        } else if (type == "throughput_down" || type == "throughput_up") {
            // Unlike the full load, a rate of 0.1 or less counts as no result here.
            const std::optional<double> mbps = parseDecimal(Columns(line, mbpsColumn + 1)[mbpsColumn]);
            if (mbps && *mbps > 0.1)
                (type == "throughput_down" ? lastDownload : lastUpload) = mbps;
        } else if (type == "session_end") {
            if (const std::optional<std::string_view> value =
                    detailValue(Columns(line, detailsColumn + 1)[detailsColumn], "duration="))
                durationSec = parseDuration(*value);
        }
    }
};

void warn(const QString& message) {
    FileLogger::shared().warn(u"CSV"_s, message);
}

} // namespace

std::optional<CSVLoader::LoadedCapture> CSVLoader::load(const QString& csvPath, qint64 pieceSize) {
    QFile file(csvPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        warn(u"CSV load failed: "_s + csvPath + u" error="_s + file.errorString());
        return std::nullopt;
    }
    const qint64 fileSize = file.size();
    const QList<FileStretch> stretches = splitAtLineFeeds(file, pieceSize);
    file.close();

    LoadedCapture capture;
    capture.csvFile = csvPath;
    qint64 lineCount = 0;
    int downloadsBefore = 0;
    std::optional<QDateTime> pendingStart;
    bool wifiLineSeen = false;
    const std::optional<QString> error =
        readStretches<LoadedPiece>(csvPath, stretches, [&](LoadedPiece& piece) {
            // Pieces are joined in file order, each taking up where the one before left off.
            if (stretches.size() > 1 && capture.latencyPoints.capacity() == 0) {
                capture.latencyPoints.reserve(piece.expectedLatencyPoints(fileSize));
                adviseHugePages(capture.latencyPoints);
            }
            lineCount += piece.lines;
            capture.sampleCount += piece.capture.sampleCount;
            if (!wifiLineSeen && piece.wifiLineSeen) {
                wifiLineSeen = true;
                capture.ssid = piece.capture.ssid;
            }
            if (piece.sessionStartSeen) {
                capture.captureId = piece.capture.captureId;
                capture.captureDate = piece.capture.captureDate;
            }
            if (piece.durationSeen)
                capture.durationSec = piece.capture.durationSec;
            if (piece.capture.lastDownloadMbps)
                capture.lastDownloadMbps = piece.capture.lastDownloadMbps;
            if (piece.capture.lastUploadMbps)
                capture.lastUploadMbps = piece.capture.lastUploadMbps;
            if (piece.capture.lastRSSI)
                capture.lastRSSI = piece.capture.lastRSSI;

            // An upload that opens a piece closes the download that the pieces before it left open.
            if (piece.uploadBeforeDownload) {
                if (pendingStart)
                    capture.speedTestRanges.append(
                        {*pendingStart, *piece.uploadBeforeDownload, u"download"_s, downloadsBefore});
                pendingStart.reset();
            }
            if (piece.downloads > 0)
                pendingStart = piece.pendingStart;
            for (ThroughputPoint& point : piece.capture.throughputPoints)
                point.testNum += downloadsBefore;
            for (SpeedTestRange& range : piece.capture.speedTestRanges)
                range.testNum += downloadsBefore;
            downloadsBefore += piece.downloads;

            appendMoved(capture.latencyPoints, piece.capture.latencyPoints);
            appendMoved(capture.throughputPoints, piece.capture.throughputPoints);
            appendMoved(capture.rssiHistory, piece.capture.rssiHistory);
            appendMoved(capture.traceroutePoints, piece.capture.traceroutePoints);
            appendMoved(capture.speedTestRanges, piece.capture.speedTestRanges);
            appendMoved(capture.observedThroughputPoints, piece.capture.observedThroughputPoints);
        });
    if (error) {
        warn(u"CSV load failed: "_s + csvPath + u" error="_s + *error);
        return std::nullopt;
    }
    if (lineCount < 2)
        return std::nullopt;

    if (capture.latencyPoints.capacity() >
        capture.latencyPoints.size() + capture.latencyPoints.size() / 8 + 64)
        capture.latencyPoints.squeeze();
    if (capture.durationSec == 0 && !capture.latencyPoints.isEmpty())
        capture.durationSec = static_cast<double>(capture.latencyPoints.first().date.msecsTo(
                                  capture.latencyPoints.last().date)) /
                              1000.0;

    const QFileInfo info(csvPath);
    if (const std::optional<CaptureEntry> entry = captureEntry(info.path(), info.fileName())) {
        capture.location = entry->location;
        capture.network = entry->networkType;
    }
    return capture;
}

CSVLoader::QuickStats CSVLoader::quickStats(const QString& csvPath, qint64 pieceSize) {
    QFile file(csvPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        warn(u"CSV quickStats failed: "_s + csvPath + u" error="_s + file.errorString());
        return {};
    }
    const QList<FileStretch> stretches = splitAtLineFeeds(file, pieceSize);
    file.close();

    QuickPiece whole;
    const std::optional<QString> error =
        readStretches<QuickPiece>(csvPath, stretches, [&whole](QuickPiece& piece) { whole.append(piece); });
    if (error) {
        warn(u"CSV quickStats failed: "_s + csvPath + u" error="_s + *error);
        return {};
    }
    if (whole.lines < 2)
        return {};

    QuickStats stats;
    std::vector<double>& roundTrips = whole.roundTrips;
    if (!roundTrips.empty()) {
        // The element at count / 2 of the sorted times: the upper middle one for an even count, no
        // averaging.
        const auto middle = roundTrips.begin() + static_cast<std::ptrdiff_t>(roundTrips.size() / 2);
        std::nth_element(roundTrips.begin(), middle, roundTrips.end());
        stats.medianLatencyMs = *middle;
    }
    if (whole.pingCount > 0)
        stats.lossPct = static_cast<double>(whole.lostCount) / static_cast<double>(whole.pingCount) * 100.0;
    stats.lastDownloadMbps = whole.lastDownload;
    stats.lastUploadMbps = whole.lastUpload;
    if (whole.durationSec && *whole.durationSec)
        stats.durationMin = **whole.durationSec / 60.0;
    return stats;
}

QList<HopDetail> CSVLoader::parseHopDetails(const QString& details) {
    // \d as the platform's expressions read it: any decimal digit, not only ASCII ones.
    static const QRegularExpression hopItem(uR"(h(\d+)=([\d.]+)\(([\d.]+)ms\))"_s,
                                            QRegularExpression::UseUnicodePropertiesOption);
    QList<HopDetail> hops;
    if (!hopItem.isValid())
        return hops;
    QRegularExpressionMatchIterator matches = hopItem.globalMatch(details);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        HopDetail hop;
        bool fits = false;
        hop.hop = match.captured(1).toInt(&fits);
        if (!fits)
            hop.hop = 0;
        hop.ip = match.captured(2);
        hop.rttMs = parseDecimal(match.captured(3).toStdString());
        if (hop.rttMs) {
            // What this hop adds to the one before (all of it if that one has no time), never below zero.
            const std::optional<double> before = hops.isEmpty() ? std::nullopt : hops.last().rttMs;
            hop.deltaMs = std::max(0.0, *hop.rttMs - before.value_or(0.0));
        }
        hops.append(hop);
    }
    return hops;
}
