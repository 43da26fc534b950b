#pragma once

#include "simulator/wire/results.h"
#include "simulator/world/remotedevice.h"

#include <QObject>

#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace simulator {

class Module;

constexpr uint8 noBond = 0xff;

// Interval in units of 1.25 ms, timeout in units of 10 ms, latency in connection events.
struct ConnectionParameters
{
    uint16 interval;
    uint16 timeout;
    uint16 latency;
};

// Whether all values are in range, and the timeout is longer than the events that the latency skips.
bool areValid(const ConnectionParameters &parameters, uint16 minInterval, uint16 maxInterval);

// A pairing in progress, the context of its timers.
struct Pairing : public QObject
{
    explicit Pairing(bool makesBond)
        : isBonding(makesBond)
    {
    }

    const bool isBonding;
    bool awaitsPasskey = false; // from the host
    PairingPlan plan;
};

// One connection of the module. The device must outlive the connection.
class Connection : public QObject
{
public:
    Connection(uint8 ownHandle, const RemoteDevice &remote, const ConnectionParameters &chosen,
               uint8 bondNumber);

    // Calls back `delay` milliseconds from now, when the remote device answers, or when the device is in
    // range again. Never calls back at once.
    void whenAnswered(int delay, std::function<void()> call);

    bool isInRange() const { return inRange; }
    void setInRange(bool isNear);

    // Milliseconds.
    int timeout() const { return parameters.timeout * 10; }
    int intervals(int count) const { return parameters.interval * count * 5 / 4; }

    const uint8 handle;
    const RemoteDevice &device;
    ConnectionParameters parameters;
    uint8 bond; // its number, or noBond
    bool isEstablished = false;
    Security security = Security::none;
    std::unique_ptr<Pairing> pairing; // null unless pairing is in progress
    bool procedureRunning = false;    // of the attribute protocol
    bool isReporting = false;         // the device notifies or indicates
    int absences = 0;                 // how often the device has gone out of range

private:
    bool inRange = true;
    std::vector<std::function<void()>> waiting;
};

// The open connections of the module, by handle.
class Connections : public QObject
{
    Q_OBJECT

public:
    static constexpr int maxCount = 8;

    // Bits of the event connection_status.
    enum StatusFlag : uint8 { connected = 1, encrypted = 2, completed = 4, parametersChange = 8 };

    explicit Connections(Module &owner);

    // The lowest free handle, or -1.
    int freeHandle() const;
    bool isConnected(const DeviceAddress &address) const;

    // Null for a handle without an established connection.
    Connection *find(uint8 handle);

    // Opens a connection that the device has accepted, and raises its events. Ignores a handle that is used.
    void open(uint8 handle, const RemoteDevice &device, const ConnectionParameters &parameters);

    // Closes a connection and raises the event disconnected. Ignores a free handle.
    void close(uint8 handle, Result reason);

    // Closes a connection as the remote device does. Returns false if no device in range is connected.
    bool hangUp(uint8 handle);

    // Raises the event status with the state of the connection and `extraFlags`; with zeros for a free
    // handle.
    void raiseStatus(uint8 handle, int extraFlags = 0);

    // Removes a deleted bond from its connections.
    void forgetBond(uint8 bond);

    // Closes all connections without events, as a restart does.
    void drop();

Q_SIGNALS:
    // Emitted before the event disconnected.
    void closed(const simulator::RemoteDevice &device);

private:
    void closeLater(const Connection &connection, int milliseconds, Result reason);
    void follow(const RemoteDevice &device, bool inRange);
    void remove(uint8 handle);

    Module &module;
    std::array<std::unique_ptr<Connection>, maxCount> connections;
};

} // namespace simulator
