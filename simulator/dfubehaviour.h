#pragma once

#include "simulator/behaviour.h"

#include <optional>

namespace simulator {

// The uploads of the class dfu, which only the bootloader takes. What they write stays in the flash.
class DfuBehaviour : public Behaviour
{
public:
    static constexpr uint32 version = 0x00010002; // of the bootloader

    explicit DfuBehaviour(SimulatedModule &owner);

    void restart() override;

private:
    void setAddress(payload_reader &command, PayloadWriter &response);
    void upload(payload_reader &command, PayloadWriter &response);
    void finish(payload_reader &command, PayloadWriter &response);

    std::optional<uint32> next; // where the next chunk goes
    uint32 erasedEnd = 0;       // up to here the upload has erased its pages
};

} // namespace simulator
