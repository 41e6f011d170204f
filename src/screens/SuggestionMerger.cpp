#include "screens/SuggestionMerger.h"

#include <QSet>
#include <QStringView>

#include <algorithm>

namespace {

// Combining marks belong to the word of the letter they sit on, so that a decomposed "é" doesn't cut
// "café" in two.
bool isWordCharacter(char32_t codePoint) {
    return QChar::isLetterOrNumber(codePoint) || QChar::isMark(codePoint);
}

QStringList matching(const QStringList& rows, const QString& query) {
    QStringList result;
    for (const QString& row : rows) {
        if (SuggestionMerger::matches(row, query))
            result.append(row);
    }
    return result;
}

} // namespace

bool SuggestionMerger::matches(const QString& candidate, const QString& query) {
    if (query.isEmpty())
        return true;
    const QString needle = query.toLower();
    const QString text = candidate.toLower();
    const qsizetype length = text.size();
    qsizetype wordStart = 0;
    qsizetype i = 0;
    while (i <= length) {
        char32_t codePoint = 0;
        qsizetype width = 1;
        bool atEnd = i == length;
        if (!atEnd) {
            codePoint = text.at(i).unicode();
            if (QChar::isHighSurrogate(codePoint) && i + 1 < length && text.at(i + 1).isLowSurrogate()) {
                codePoint = QChar::surrogateToUcs4(text.at(i), text.at(i + 1));
                width = 2;
            }
        }
        if (atEnd || !isWordCharacter(codePoint)) {
            if (QStringView(text).sliced(wordStart, i - wordStart).startsWith(needle))
                return true;
            wordStart = i + width;
        }
        i += width;
    }
    return false;
}

QStringList SuggestionMerger::merge(const QStringList& userHistory, const QStringList& globalPresets,
                                    const QString& query, int limit, int maxUserShare) {
    QStringList result;
    if (limit <= 0)
        return result;
    const QStringList userRows = matching(userHistory, query);
    const QStringList presetRows = matching(globalPresets, query);
    QSet<QString> seen;

    // Adds the row unless its key is known; true once the result is full.
    auto add = [&](const QString& row) {
        const QString key = row.toLower();
        if (!seen.contains(key)) {
            seen.insert(key);
            result.append(row);
        }
        return result.size() >= limit;
    };

    const qsizetype share = std::max(0, std::min(limit, maxUserShare));
    for (const QString& row : userRows.first(std::min(share, userRows.size()))) {
        if (add(row))
            return result;
    }
    for (const QString& row : presetRows) {
        if (add(row))
            return result;
    }
    for (const QString& row : userRows) {
        if (add(row))
            return result;
    }
    return result;
}
