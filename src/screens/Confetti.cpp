#include "screens/Confetti.h"

#include "screens/Motion.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Confetti {

int particleCount(QualityRating quality) {
    switch (quality.value()) {
    case QualityRating::superior:
        return 55;
    case QualityRating::excellent:
        return 38;
    case QualityRating::good:
        return 22;
    case QualityRating::fair:
    case QualityRating::impaired:
    case QualityRating::broken:
        break;
    }
    return 0;
}

QList<ConfettiParticle> generateParticles(QualityRating quality, QRandomGenerator& random) {
    const RgbColor colors[] = {quality.color(), white, green, gold};
    const auto between = [&random](double low, double high) { return low + random.bounded(high - low); };
    QList<ConfettiParticle> particles;
    const int count = particleCount(quality);
    particles.reserve(count);
    for (int index = 0; index < count; ++index) {
        ConfettiParticle particle;
        particle.index = index;
        particle.angle = between(0, 2 * std::numbers::pi);
        particle.distance = between(minDistance, maxDistance);
        particle.size = between(minSize, maxSize);
        particle.isCircle = random.bounded(2) == 0;
        particle.color = colors[random.bounded(4)];
        particle.duration = between(minDuration, maxDuration);
        particle.rotation = between(0, maxRotation);
        particles.append(particle);
    }
    return particles;
}

ConfettiFrame frameAt(const ConfettiParticle& particle, double seconds) {
    const double linear = particle.duration > 0 ? std::clamp(seconds / particle.duration, 0.0, 1.0) : 1.0;
    const double eased = Motion::easeOut(linear);
    ConfettiFrame frame;
    frame.x = std::cos(particle.angle) * particle.distance * eased;
    frame.y = std::sin(particle.angle) * particle.distance * eased;
    frame.rotation = particle.rotation * eased;
    frame.opacity = 1 - eased;
    return frame;
}

double burstSeconds(const QList<ConfettiParticle>& particles) {
    double longest = 0;
    for (const ConfettiParticle& particle : particles)
        longest = std::max(longest, particle.duration);
    return longest;
}

} // namespace Confetti
