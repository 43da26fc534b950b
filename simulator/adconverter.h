#pragma once

#include "protocol/types.h"

#include <array>
#include <optional>
#include <random>

namespace simulator {

// An analogue to digital converter and the voltages at its inputs, which the seed decides. Adjacent inputs
// carry nearly the same voltage, so that their differences lie around 0.
class AdConverter
{
public:
    explicit AdConverter(uint32 seed);

    // Inputs 0 to 7 are pins, 8 to 11 differences of two, 12 ground, 14 the temperature sensor and 15 a third
    // of the supply. Decimations 0 to 3 give 7, 9, 10 and 12 bits with sign, at the upper end of the value.
    // References are 0 to 3. Nothing for other numbers.
    std::optional<int16> convert(uint8 input, uint8 decimation, uint8 reference);

private:
    struct Source
    {
        int millivolts;
        int noise; // millivolts to either side
    };

    int upTo(int most); // 0 to most

    std::mt19937 random;
    std::array<Source, 16> sources{};
};

} // namespace simulator
