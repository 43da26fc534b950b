#pragma once

#include "simulator/remotedevice.h"
#include "simulator/results.h"

#include <QVector>

namespace simulator {

// The module's list of devices that the filter policies let pass.
class Whitelist
{
public:
    static constexpr int capacity = 8;

    bool contains(const DeviceAddress &device) const { return devices.contains(device); }

    // One that is listed already takes no second place.
    Result append(const DeviceAddress &device);
    Result remove(const DeviceAddress &device);
    bool isEmpty() const { return devices.isEmpty(); }
    void clear() { devices.clear(); }

private:
    QVector<DeviceAddress> devices;
};

} // namespace simulator
