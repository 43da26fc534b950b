#pragma once

#include "protocol/types.h"
#include "simulator/world/security.h"

#include <QByteArray>

#include <cstring>
#include <optional>

namespace simulator {

// Identity of a Bluetooth device: the address in wire order and its type, 0 public, 1 random.
struct DeviceAddress
{
    bd_addr address{};
    uint8 type = 0;

    bool operator==(const DeviceAddress &other) const
    {
        return type == other.type && std::memcmp(address.addr, other.address.addr, sizeof(address.addr)) == 0;
    }
};

// Types of advertising packets, as in the event scan_response.
enum PacketType : uint8 {
    connectableUndirected = 0,
    connectableDirected = 1,
    nonConnectableUndirected = 2,
    scanResponse = 4,
    scannableUndirected = 6,
};

// Properties of a remote device: what it sends, how it moves, how it answers. Times in milliseconds.
struct RemoteDevice
{
    DeviceAddress address;

    PacketType packetType = connectableUndirected;
    int interval = 100; // between two advertisements
    QByteArray advertisingData;
    QByteArray scanResponseData;
    int rssi = -60; // dBm; varies by up to rssiSpread
    int rssiSpread = 0;
    int nearTime = 0; // in range for nearTime, then out of range for awayTime, and so on; 0 stays in range
    int awayTime = 0;

    enum class Connecting {
        stays,
        neverAnswers, // the connection is never established
        hangsUp,      // closes the connection after hangUpTime
    } connecting = Connecting::stays;
    int hangUpTime = 0;
    uint16 minInterval = 6; // shortest accepted connection interval, in units of 1.25 ms

    QByteArray features = QByteArray(8, '\0'); // of the link layer
    uint8 version = 6;
    uint16 company = 0;
    uint16 subVersion = 0;

    static constexpr uint32 passkey = 123456; // shown by every device with a display
    std::optional<PairingFeatures> pairing;   // no value: the device does not pair

    enum Service : unsigned { battery = 1, heartRate = 2, vendor = 4, update = 8, lock = 16 };
    unsigned services = 0; // bits of Service; Generic Access and Device Information all have
    QByteArray name;       // of Generic Access, UTF-8
};

} // namespace simulator
