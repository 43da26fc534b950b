#pragma once

#include "simulator/behaviour.h"
#include "simulator/link.h"

#include <array>
#include <optional>
#include <random>

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

    void encryptStart(payload_reader &command, PayloadWriter &response);
    void setBondableMode(payload_reader &command, PayloadWriter &response);
    void deleteBonding(payload_reader &command, PayloadWriter &response);
    void setParameters(payload_reader &command, PayloadWriter &response);
    void passkeyEntry(payload_reader &command, PayloadWriter &response);
    void setOobData(payload_reader &command, PayloadWriter &response);
    void setDistributionKeys(payload_reader &command, PayloadWriter &response);
    void getBonds(payload_reader &command, PayloadWriter &response);
    void whitelistBonds(payload_reader &command, PayloadWriter &response);

    Result encryptResult(const Link *link, uint8 bonding) const;
    Result passkeyResult(const Link *link, uint32 passkey) const;
    void agree(Link &link);
    void askPasskey(Link &link);
    void finish(Link &link);
    void fail(Link &link, Result reason);
    void refuseSilentCommand();
    void raiseBond(uint8 number);
    int freeBond() const;

    std::array<std::optional<Bond>, capacity> bonds;
    PairingFeatures parameters;
    bool bondable = false;
    std::mt19937 random; // makes up what the module shows
};

} // namespace simulator
