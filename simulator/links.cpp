#include "simulator/links.h"

namespace simulator {

Links::Links(SimulatedModule &owner)
    : module(owner)
{
}

int Links::freeHandle() const
{
    return 0;
}

bool Links::isConnected(const DeviceAddress &) const
{
    return false;
}

void Links::open(uint8, const RemoteDevice &, const LinkParameters &) {}

void Links::drop() {}

} // namespace simulator
