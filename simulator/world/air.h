#pragma once

#include "simulator/world/remotedevice.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <queue>
#include <random>
#include <utility>
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

// The radio's surroundings: makes the remote devices advertise and move. Nothing is sent while the radio is
// off.
class Air : public QObject
{
    Q_OBJECT

public:
    // `rate` is in advertisements per second of all devices together; 0 lets each keep its own interval.
    Air(quint32 seed, std::vector<RemoteDevice> devices, int rate = 0);

    // Switches the radio on or off. With `active`, scannable devices send a scan response after each
    // advertisement. `share` is the share of the time, above 0 up to 1, that the radio listens.
    void listen(bool on, bool active = false, double share = 1);

    int8 rssiOf(const RemoteDevice &device);

    // Moves a device, which then stays where it is. Returns false if there is no such device.
    bool move(const DeviceAddress &address, bool inRange);

    // A device does not advertise while it is connected.
    void setConnected(const RemoteDevice &device, bool connected);

    // Null if there is no such device.
    const RemoteDevice *find(const DeviceAddress &address) const;

Q_SIGNALS:
    void heard(const simulator::Advertisement &packet);
    // Emitted even while the radio is off.
    void rangeChanged(const simulator::RemoteDevice &device, bool inRange);

private:
    struct State
    {
        bool inRange = true;
        bool connected = false;
        bool wanders = true;
    };
    using Due = std::pair<qint64, std::size_t>; // milliseconds since listening began, index of the device

    State &stateOf(const RemoteDevice &device) { return states[std::size_t(&device - world.data())]; }
    int upTo(int max); // 0 to max
    void wander(const RemoteDevice &device);
    void setInRange(const RemoteDevice &device, bool inRange);
    void advertise();
    void advertiseByInterval(qint64 now);
    void advertiseByRate(qint64 now);
    void send(const RemoteDevice &device);

    const std::vector<RemoteDevice> world;
    const int rate;
    std::vector<State> states;
    std::mt19937 random;
    bool listening = false;
    bool activeScan = false;
    double heardShare = 1;
    QElapsedTimer clock;
    QTimer timer;
    std::priority_queue<Due, std::vector<Due>, std::greater<>> queue;
    qint64 sent = 0;      // advertisements since listening began, with a rate
    std::size_t next = 0; // index of the next device to send, with a rate
};

} // namespace simulator
