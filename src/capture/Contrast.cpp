#include "capture/Contrast.h"

#include <algorithm>
#include <cmath>

namespace Contrast {

namespace {

double linear(int channel) {
    const double c = std::clamp(channel, 0, 255) / 255.0;
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

RgbColor mix(RgbColor from, RgbColor to, double amount) {
    const auto channel = [amount](int a, int b) { return int(std::lround(a + (b - a) * amount)); };
    return {channel(from.red, to.red), channel(from.green, to.green), channel(from.blue, to.blue)};
}

} // namespace

double relativeLuminance(RgbColor colour) {
    return 0.2126 * linear(colour.red) + 0.7152 * linear(colour.green) + 0.0722 * linear(colour.blue);
}

double ratio(RgbColor first, RgbColor second) {
    const double a = relativeLuminance(first);
    const double b = relativeLuminance(second);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

RgbColor over(RgbColor colour, double opacity, RgbColor background) {
    return mix(background, colour, std::clamp(opacity, 0.0, 1.0));
}

RgbColor atLeast(RgbColor colour, RgbColor background, double minimum) {
    if (ratio(colour, background) >= minimum)
        return colour;
    // Against a mid-grey background the far end on one side can fall short where the other reaches:
    // go the way that reaches further.
    const RgbColor white{255, 255, 255};
    const RgbColor black{0, 0, 0};
    const RgbColor target = ratio(white, background) >= ratio(black, background) ? white : black;
    if (ratio(target, background) < minimum)
        return target;
    // The ratio grows steadily along the way to the far end: halve the interval down to one step of a
    // channel.
    double low = 0;
    double high = 1;
    while (high - low > 1.0 / 512) {
        const double middle = (low + high) / 2;
        (ratio(mix(colour, target, middle), background) >= minimum ? high : low) = middle;
    }
    return mix(colour, target, high);
}

} // namespace Contrast
