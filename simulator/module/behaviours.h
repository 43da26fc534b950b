#pragma once

#include "simulator/module/behaviour.h"

#include <memory>

// A factory for each class of messages, and the interfaces of the classes that other code calls.

namespace simulator {

// The module's own attributes, as a remote device reaches them.
class AttributesBehaviour : public Behaviour
{
public:
    using Behaviour::Behaviour;

    // Writes an attribute as a remote device does. The event attributes_value reports the write, and the
    // event attributes_status a changed client configuration; a refused write is not reported. A write to a
    // user attribute is not stored and waits for the host's user_write_response.
    virtual Result remoteWrite(uint8 connection, uint16 handle, uint16 offset, const QByteArray &value) = 0;

    // Reads an attribute as a remote device does; the module notes the value that the device gets. The event
    // user_read_request asks the host for the value of a user attribute.
    virtual Result remoteRead(uint8 connection, uint16 handle) = 0;
};

class HardwareBehaviour : public Behaviour
{
public:
    using Behaviour::Behaviour;

    // Drives the pins of a port that are set in `driven` to `levels`, one bit a pin; the other pins show
    // their pull. Returns false if there is no such port.
    virtual bool drivePins(uint port, uint8 levels, uint8 driven) = 0;

    virtual void setComparatorOutput(bool high) = 0;
};

class SmBehaviour : public Behaviour
{
public:
    using Behaviour::Behaviour;

    // The number of the bond with this device, or noBond.
    virtual uint8 bondOf(const DeviceAddress &address) const = 0;
};

std::unique_ptr<Behaviour> makeSystemBehaviour(Module &module);
std::unique_ptr<Behaviour> makeFlashBehaviour(Module &module);
std::unique_ptr<Behaviour> makeDfuBehaviour(Module &module);
std::unique_ptr<AttributesBehaviour> makeAttributesBehaviour(Module &module);
std::unique_ptr<Behaviour> makeConnectionBehaviour(Module &module);
std::unique_ptr<Behaviour> makeAttClientBehaviour(Module &module);
std::unique_ptr<SmBehaviour> makeSmBehaviour(Module &module);
std::unique_ptr<Behaviour> makeGapBehaviour(Module &module);
std::unique_ptr<HardwareBehaviour> makeHardwareBehaviour(Module &module);
std::unique_ptr<Behaviour> makeTestBehaviour(Module &module);

} // namespace simulator
