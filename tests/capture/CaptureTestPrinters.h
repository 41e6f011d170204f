#pragma once

#include "capture/QualityRating.h"
#include "capture/RgbColor.h"

#include <QString>

#include <ostream>

// Readable failure messages for the capture tests: gtest finds these through argument lookup.

inline void PrintTo(const QualityRating& rating, std::ostream* os) {
    *os << rating.rawValue().toStdString();
}

inline void PrintTo(const RgbColor& colour, std::ostream* os) {
    *os << colour.hexName().toStdString();
}

inline void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}
