#pragma once

#include "simulator/remotedevice.h"

#include <QObject>

#include <functional>
#include <memory>
#include <vector>

namespace simulator {

constexpr uint8 noBond = 0xff;

// Interval in units of 1.25 ms, timeout in units of 10 ms, latency in connection events.
struct LinkParameters
{
    uint16 interval;
    uint16 timeout;
    uint16 latency;
};

// Whether a link layer takes them: each in its range, and the timeout longer than the events let pass.
bool areValid(const LinkParameters &parameters, uint16 shortestInterval, uint16 longestInterval);

// From the request for encryption to its end, a passkey asked for on the way.
struct Pairing : public QObject
{
    explicit Pairing(bool makesBond)
        : bonding(makesBond)
    {
    }

    const bool bonding;
    bool awaitsPasskey = false; // from the host
    PairingPlan plan;
};

// One connection of the module. What is scheduled with it as its context ends with it. The device has to
// outlive it.
class Link : public QObject
{
public:
    Link(uint8 ownHandle, const RemoteDevice &remote, const LinkParameters &chosen, uint8 bondNumber);

    // Calls back in a later turn of the event loop, `delay` milliseconds from now: when the remote device
    // answers. While that is out of reach it does not, and the call waits for its return. Calls with the same
    // delay keep their order.
    void whenAnswered(int delay, std::function<void()> call);

    bool isInReach() const { return inReach; }
    void setInReach(bool reachable);

    // Milliseconds.
    int timeout() const { return parameters.timeout * 10; }
    int intervals(int count) const { return parameters.interval * count * 5 / 4; }

    const uint8 handle;
    const RemoteDevice &device;
    LinkParameters parameters;
    uint8 bond; // its number, or noBond
    bool established = false;
    Security security = Security::none;
    std::unique_ptr<Pairing> pairing; // null unless it is going on
    bool procedureRunning = false;    // of the attribute protocol
    bool reporting = false;           // the device notifies or indicates
    QByteArray channelMap = QByteArray::fromHex("ffffffff1f");
    int absences = 0; // how often the device has gone out of reach

private:
    bool inReach = true;
    std::vector<std::function<void()>> waiting;
};

} // namespace simulator
