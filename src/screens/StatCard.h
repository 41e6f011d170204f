#pragma once

#include "capture/QualityRating.h"
#include "capture/RgbColor.h"

#include <QDateTime>
#include <QString>

#include <optional>

// The colour of a card's figure when the card chooses one: a fixed colour, or the scheme's secondary
// text colour, which only the view can resolve because it differs between light and dark.
struct CardColor {
    enum class Kind { fixed, secondaryText };

    Kind kind = Kind::fixed;
    RgbColor rgb; // meaningful for `fixed` only

    static CardColor fixedColor(RgbColor rgb) { return {Kind::fixed, rgb}; }
    static CardColor secondaryText() { return {Kind::secondaryText, {}}; }

    friend bool operator==(const CardColor&, const CardColor&) = default;
};

// The labelled figure tile shared by the live, results and celebration screens: what it says and in
// which colours. How the figure breathes over time is StatCardPulse's business.
struct StatCard {
    QString title;
    QString value;
    std::optional<QualityRating> rating;
    std::optional<QString> ratingQualifier;
    std::optional<CardColor> valueColor;
    std::optional<QString> subtitle;
    // The figure is still being measured: its value pulses.
    bool breathing = false;

    // The title as the card prints it, in upper case.
    QString displayTitle() const;
    // The figure's colour: `valueColor`, else the rating's colour; empty means the primary text colour.
    std::optional<CardColor> effectiveValueColor() const;
    // "Good", or "Good (GEO)" with a qualifier; nothing without a rating, the qualifier included.
    std::optional<QString> ratingLine() const;

    friend bool operator==(const StatCard&, const StatCard&) = default;
};

// The opacity of a breathing figure as a function of time, so that a view only has to sample it at its
// own frame rate. While breathing it swings from full to dimmed and back, 1.5 s each way with the
// standard ease-in-out; once breathing stops it eases back to full in 0.3 s from wherever it was.
class StatCardPulse {
public:
    static constexpr double fullOpacity = 1.0;
    static constexpr double dimmedOpacity = 0.35;
    static constexpr double swingSeconds = 1.5;
    static constexpr double settleSeconds = 0.3;

    // Starting again while breathing, or stopping while still, changes nothing.
    void setBreathing(bool breathing, const QDateTime& now);
    bool breathing() const { return m_breathing; }

    double opacity(const QDateTime& now) const;
    // Whether the opacity still changes with time: while breathing, and while settling back to full.
    bool isMoving(const QDateTime& now) const;

    // The ease-in-out curve (cubic Bézier 0.42, 0, 0.58, 1) at progress 0…1; clamped outside.
    static double easeInOut(double progress);

private:
    bool m_breathing = false;
    QDateTime m_since; // start of the breathing, or of the settling
    double m_settleFrom = fullOpacity;
};
