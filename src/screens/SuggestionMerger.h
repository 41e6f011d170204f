#pragma once

#include <QString>
#include <QStringList>

// The suggestions under a text field: the user's own earlier entries first, but never so many that the
// preset names are crowded out. Pure functions.
class SuggestionMerger {
public:
    // The rows that match `query`, at most `limit` of them: first up to min(limit, maxUserShare) of the
    // user's rows, then the presets, then the rest of the user's rows while there is room. Rows that
    // differ only by case count once, in the spelling met first.
    static QStringList merge(const QStringList& userHistory, const QStringList& globalPresets,
                             const QString& query, int limit, int maxUserShare);

    // An empty query matches everything; otherwise some word of the candidate, compared in lower case,
    // must begin with the query. Words are the runs of letters and digits, so "jfk" and "san" both find
    // "DAL 709 JFK-SAN" while "an" doesn't, and a query that holds a blank or a hyphen finds nothing.
    static bool matches(const QString& candidate, const QString& query);
};
