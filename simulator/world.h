#pragma once

#include "simulator/remotedevice.h"

#include <vector>

namespace simulator {

// How many remote devices there are and how often they advertise.
struct WorldSize
{
    static constexpr int made = 20;
    static constexpr int most = 500;
    static constexpr int fastest = 10000;

    int devices = made; // the made ones first, then a crowd of plain ones
    int rate = 0;       // advertisements a second of all devices together; 0 lets each keep its own interval
};

// The remote devices, the same for the same seed. A number beyond `most` is taken as that.
std::vector<RemoteDevice> makeWorld(quint32 seed, const WorldSize &size);

// Whether the device's advertisements carry one of these flags: bit 0 limited, bit 1 general discoverable.
bool advertisesFlags(const RemoteDevice &device, uint8 flags);

} // namespace simulator
