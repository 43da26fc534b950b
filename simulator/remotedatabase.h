#pragma once

#include "simulator/attributedatabase.h"
#include "simulator/remotedevice.h"

namespace simulator {

constexpr uint16 batteryLevelUuid = 0x2a19;
constexpr uint16 heartRateMeasurementUuid = 0x2a37;
constexpr uint16 heartRateControlPointUuid = 0x2a39;

// Of the firmware update over the air, as they lie on the wire.
const QByteArray &otaServiceUuid();
const QByteArray &otaControlPointUuid();
const QByteArray &otaDataUuid();

// What the remote device holds when it is first connected. Its permissions decide what a client may do: the
// access of every value is writable.
AttributeDatabase remoteDatabase(const RemoteDevice &device);

} // namespace simulator
