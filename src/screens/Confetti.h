#pragma once

#include "capture/QualityRating.h"
#include "capture/RgbColor.h"

#include <QList>
#include <QRandomGenerator>

// One scrap of the burst behind a good verdict. It starts at the centre and flies out along `angle` to
// `distance`, turning by `rotation` degrees and fading out, over its own `duration`.
struct ConfettiParticle {
    int index = 0;         // its place in the burst, which tells the scraps apart
    double angle = 0;      // radians
    double distance = 0;   // pixels from the centre at the end of the flight
    double size = 0;       // pixels across
    bool isCircle = false; // else a square
    RgbColor color;
    double duration = 0; // seconds
    double rotation = 0; // degrees over the whole flight

    friend bool operator==(const ConfettiParticle&, const ConfettiParticle&) = default;
};

// Where one scrap is at a moment of its flight, relative to the centre of the burst.
struct ConfettiFrame {
    double x = 0;
    double y = 0;
    double rotation = 0; // degrees
    double opacity = 1;
};

namespace Confetti {

inline constexpr double minDistance = 80;
inline constexpr double maxDistance = 200;
inline constexpr double minSize = 5;
inline constexpr double maxSize = 9;
inline constexpr double minDuration = 0.6;
inline constexpr double maxDuration = 1.4;
inline constexpr double maxRotation = 720;
inline constexpr RgbColor white{255, 255, 255};
inline constexpr RgbColor green{44, 160, 44};
inline constexpr RgbColor gold{212, 168, 0};

// 55 scraps for a superior verdict, 38 for excellent, 22 for good, none below.
int particleCount(QualityRating quality);
// Every value drawn uniformly from its range; the colour is one of the rating's own, white, green and
// gold, each as likely.
QList<ConfettiParticle> generateParticles(QualityRating quality, QRandomGenerator& random);
// The scrap `seconds` after the launch: it eases out along its path and fades as it goes; once its
// flight is over it is gone (opacity 0).
ConfettiFrame frameAt(const ConfettiParticle& particle, double seconds);
// How long the longest flight of a burst lasts; 0 for none.
double burstSeconds(const QList<ConfettiParticle>& particles);

} // namespace Confetti
