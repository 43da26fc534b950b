#pragma once

#include "simulator/remotedevice.h"

#include <QObject>

#include <vector>

namespace simulator {

// One packet as the module's radio hears it.
struct Advertisement
{
    const RemoteDevice *device;
    PacketType packetType;
    int8 rssi;
    QByteArray data;
};

// The radio's surroundings: makes the remote devices advertise and move. Nothing is sent while nobody
// listens.
class Air : public QObject
{
    Q_OBJECT

public:
    Air(quint32 seed, std::vector<RemoteDevice> devices);

    // Whether the module's radio listens. With `active`, scannable devices send a scan response behind each
    // advertisement. `share` is the part of the time that is listened, above 0 up to 1.
    void listen(bool on, bool active = false, double share = 1);

    bool isInRange(const RemoteDevice &device) const;
    int8 rssiOf(const RemoteDevice &device);

    // A device does not advertise while it is connected.
    void setConnected(const RemoteDevice &device, bool connected);

    // Null if there is no such device.
    const RemoteDevice *find(const DeviceAddress &address) const;

Q_SIGNALS:
    void heard(const simulator::Advertisement &packet);
    // Whether or not the radio listens.
    void rangeChanged(const simulator::RemoteDevice &device, bool inRange);

private:
    const std::vector<RemoteDevice> world;
};

} // namespace simulator
