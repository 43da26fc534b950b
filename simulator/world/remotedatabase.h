#pragma once

#include "simulator/world/attributedatabase.h"
#include "simulator/world/remotedevice.h"

namespace simulator {

constexpr uint16 batteryLevelUuid = 0x2a19;
constexpr uint16 heartRateMeasurementUuid = 0x2a37;
constexpr uint16 heartRateControlPointUuid = 0x2a39;

// UUIDs of the firmware update over the air, in wire order.
inline QByteArray otaServiceUuid()
{
    return QByteArray::fromHex("f01921b4478fa4bfa14f63fdeed6141d");
}
inline QByteArray otaControlPointUuid()
{
    return QByteArray::fromHex("636032e0375ea488534e6dfb6435bff7");
}
inline QByteArray otaDataUuid()
{
    return QByteArray::fromHex("53a1811f582cd0a54540fc34f3274298");
}

// The attributes of a remote device when it is first connected.
AttributeDatabase remoteDatabase(const RemoteDevice &device);

} // namespace simulator
