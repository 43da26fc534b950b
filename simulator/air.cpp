#include "simulator/air.h"

#include <utility>

namespace simulator {

Air::Air(quint32, std::vector<RemoteDevice> devices)
    : world(std::move(devices))
{
}

void Air::listen(bool, bool, double) {}

bool Air::isInRange(const RemoteDevice &) const
{
    return true;
}

int8 Air::rssiOf(const RemoteDevice &device)
{
    return int8(device.rssi);
}

void Air::setConnected(const RemoteDevice &, bool) {}

const RemoteDevice *Air::find(const DeviceAddress &) const
{
    return nullptr;
}

} // namespace simulator
