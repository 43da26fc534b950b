#pragma once

#include "simulator/remotedevice.h"

#include <vector>

namespace simulator {

// How many remote devices there are and how often they advertise.
struct WorldSize
{
    static constexpr int most = 500;
    int devices = 14; // beyond the made ones, a crowd of plain ones
    int rate = 0;     // advertisements a second of all devices together; 0 lets each keep its own interval
};

// The remote devices, the same for the same seed.
std::vector<RemoteDevice> makeWorld(quint32 seed, const WorldSize &size);

} // namespace simulator
