#pragma once

#include "simulator/world/remotedevice.h"

#include <vector>

namespace simulator {

// How many remote devices there are and how often they advertise.
struct WorldSize
{
    static constexpr int special = 20;
    static constexpr int maxDevices = 500;
    static constexpr int maxRate = 10000;

    int devices = special; // the special ones first, then plain ones
    int rate = 0; // advertisements a second of all devices together; 0 lets each keep its own interval
};

// The remote devices, the same for the same seed. Larger numbers are cut to `maxDevices`.
std::vector<RemoteDevice> makeDevices(quint32 seed, const WorldSize &size);

// Whether the device's advertisements carry one of these flags: bit 0 limited, bit 1 general discoverable.
bool advertisesFlags(const RemoteDevice &device, uint8 flags);

} // namespace simulator
