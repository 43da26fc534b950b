#pragma once

#include "simulator/remotedevice.h"

#include <QObject>

namespace simulator {

class SimulatedModule;

// Interval in units of 1.25 ms, timeout in units of 10 ms, latency in connection events.
struct LinkParameters
{
    uint16 interval;
    uint16 timeout;
    uint16 latency;
};

// The module's open connections, by handle.
class Links : public QObject
{
    Q_OBJECT

public:
    static constexpr int capacity = 8;

    explicit Links(SimulatedModule &owner);

    // The lowest handle that no link has, or -1.
    int freeHandle() const;
    bool isConnected(const DeviceAddress &address) const;

    // The device took up the connection: raises the events of it, and later those of its end.
    void open(uint8 handle, const RemoteDevice &device, const LinkParameters &parameters);

    // Ends all links without a word, as a restart does.
    void drop();

private:
    SimulatedModule &module;
};

} // namespace simulator
