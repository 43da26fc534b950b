#pragma once

#include "protocol/payload_reader.h"
#include "simulator/payloadwriter.h"
#include "simulator/results.h"

namespace simulator {

class SimulatedModule;

// What the module does in one class of messages: the state behind it and a handler a command. A subclass
// names its handlers in a table and hands that to SimulatedModule::addCommands().
class Behaviour
{
public:
    explicit Behaviour(SimulatedModule &owner);
    virtual ~Behaviour();
    Behaviour(const Behaviour &) = delete;
    Behaviour &operator=(const Behaviour &) = delete;

    // Takes the state back to what it is after power-up, except for what a real module keeps.
    virtual void restart();

protected:
    SimulatedModule &module;
};

// A command by name and the member function that carries it out: reads the command's fields, writes the
// response's. The command's length has been checked before.
template <typename T>
struct CommandEntry
{
    const char *name;
    void (T::*handler)(payload_reader &command, PayloadWriter &response);
};

} // namespace simulator
