#pragma once

#include "simulator/behaviour.h"
#include "simulator/link.h"

#include <array>
#include <optional>

namespace simulator {

// The class sm: encryption, bonds and their parameters. Bonds survive a restart.
class SmBehaviour : public Behaviour
{
public:
    static constexpr int capacity = 8;

    explicit SmBehaviour(SimulatedModule &owner);

    void restart() override;

    // The number of the device's bond, or noBond.
    uint8 bondOf(const DeviceAddress &address) const;

private:
    struct Bond
    {
        DeviceAddress device;
        uint8 keySize;
        uint8 mitm;
        uint8 keys;
    };

    struct Parameters
    {
        uint8 mitm = 0;
        uint8 minKeySize = 7;
        uint8 ioCapabilities = 3; // neither input nor output
    };

    void encryptStart(payload_reader &command, PayloadWriter &response);
    void setBondableMode(payload_reader &command, PayloadWriter &response);
    void deleteBonding(payload_reader &command, PayloadWriter &response);
    void setParameters(payload_reader &command, PayloadWriter &response);
    void passkeyEntry(payload_reader &command, PayloadWriter &response);
    void getBonds(payload_reader &command, PayloadWriter &response);
    void whitelistBonds(payload_reader &command, PayloadWriter &response);

    Result encryptResult(const Link *link, uint8 bonding) const;
    void pair(Link &link, bool bonding);
    void raiseBond(uint8 number);
    int freeBond() const;

    std::array<std::optional<Bond>, capacity> bonds;
    Parameters parameters;
    bool bondable = false;
};

} // namespace simulator
