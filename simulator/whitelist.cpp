#include "simulator/whitelist.h"

namespace simulator {

Result Whitelist::append(const DeviceAddress &device)
{
    if (device.type > 1)
        return resultInvalidParameter;
    if (contains(device))
        return resultOk;
    if (devices.size() == capacity)
        return resultOutOfMemory;
    devices.append(device);
    return resultOk;
}

Result Whitelist::remove(const DeviceAddress &device)
{
    return devices.removeOne(device) ? resultOk : resultInvalidParameter;
}

} // namespace simulator
