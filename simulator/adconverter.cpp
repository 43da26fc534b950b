#include "simulator/adconverter.h"

#include <algorithm>
#include <iterator>

namespace simulator {
namespace {

constexpr int bitsOfDecimation[] = {7, 9, 10, 12};
constexpr int supply = 3300; // millivolts

// Millivolts: internal, external on a pin, supply, external between two pins.
constexpr int references[] = {1250, 2000, supply, 1500};

constexpr int firstDifference = 8, ground = 12, noInput = 13, temperature = 14, supplyThird = 15;

} // namespace

AdConverter::AdConverter(uint32 seed)
    : random(seed)
{
    constexpr int pinNoise = 12, ownNoise = 2;
    for (std::size_t pair = 0; pair < 4; ++pair) {
        const int first = 200 + upTo(800);
        const int second = first + 1 + upTo(7);
        sources[2 * pair] = {first, pinNoise};
        sources[2 * pair + 1] = {second, pinNoise};
        sources[firstDifference + pair] = {first - second, 2 * pinNoise};
    }
    sources[ground] = {0, ownNoise};
    sources[temperature] = {700 + upTo(50), ownNoise};
    sources[supplyThird] = {supply / 3, ownNoise};
}

int AdConverter::upTo(int most)
{
    return int(random() % uint(most + 1));
}

std::optional<int16> AdConverter::convert(uint8 input, uint8 decimation, uint8 reference)
{
    if (input >= sources.size() || input == noInput || decimation >= std::size(bitsOfDecimation) ||
        reference >= std::size(references))
        return std::nullopt;
    const Source &source = sources[input];
    const int millivolts = source.millivolts - source.noise + upTo(2 * source.noise);
    const int bits = bitsOfDecimation[decimation];
    const int fullScale = 1 << (bits - 1);
    const int steps = std::clamp(millivolts * fullScale / references[reference], -fullScale, fullScale - 1);
    return int16(steps * (1 << (16 - bits)));
}

} // namespace simulator
