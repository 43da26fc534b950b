#pragma once

#include "simulator/wire/results.h"
#include "simulator/world/remotedevice.h"

#include <QVector>

namespace simulator {

// The module's list of devices that the filter policies accept.
class Whitelist
{
public:
    static constexpr int maxCount = 8;

    bool contains(const DeviceAddress &device) const { return devices.contains(device); }
    bool isEmpty() const { return devices.isEmpty(); }
    void clear() { devices.clear(); }

    // Ignores addresses that are already listed.
    Result append(const DeviceAddress &device)
    {
        if (device.type > 1)
            return resultInvalidParameter;
        if (contains(device))
            return resultOk;
        if (devices.size() == maxCount)
            return resultOutOfMemory;
        devices.append(device);
        return resultOk;
    }

    Result remove(const DeviceAddress &device)
    {
        return devices.removeOne(device) ? resultOk : resultInvalidParameter;
    }

private:
    QVector<DeviceAddress> devices;
};

} // namespace simulator
