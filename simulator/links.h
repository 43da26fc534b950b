#pragma once

#include "simulator/link.h"
#include "simulator/results.h"

#include <array>
#include <memory>

namespace simulator {

class SimulatedModule;

// The module's open connections, by handle.
class Links : public QObject
{
    Q_OBJECT

public:
    static constexpr int capacity = 8;

    // Bits of the event connection_status.
    enum StatusFlag : uint8 { connected = 1, encrypted = 2, completed = 4, parametersChange = 8 };

    explicit Links(SimulatedModule &owner);

    // The lowest handle that no link has, or -1.
    int freeHandle() const;
    bool isConnected(const DeviceAddress &address) const;

    // Null for a handle without an established link, whatever the handle.
    Link *find(uint8 handle);

    // The device took up the connection: raises the events of it, and later those of its end. The device has
    // to outlive the link. A handle that is not free is left alone.
    void open(uint8 handle, const RemoteDevice &device, const LinkParameters &parameters);

    // Ends a link: raises the event disconnected. Nothing happens for a free handle.
    void close(uint8 handle, Result reason);

    // The remote device ends the link. False if there is none, or the device is out of reach.
    bool hangUp(uint8 handle);

    // Raises the event status with what the link is, and `extraFlags` besides; with zeros for a free handle.
    void raiseStatus(uint8 handle, int extraFlags = 0);

    // A bond is gone: its links have none.
    void forgetBond(uint8 bond);

    // Ends all links without a word, as a restart does.
    void drop();

Q_SIGNALS:
    // Before its event, the device still there.
    void closed(const simulator::RemoteDevice &device);

private:
    void endLater(const Link &link, int milliseconds, Result reason);
    void follow(const RemoteDevice &device, bool inRange);
    void remove(uint8 handle);

    SimulatedModule &module;
    std::array<std::unique_ptr<Link>, capacity> links;
};

} // namespace simulator
