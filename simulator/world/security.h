#pragma once

#include "simulator/wire/results.h"

namespace simulator {

// Protection of a connection, and the protection that an attribute requires.
enum class Security : uint8 { none, encrypted, authenticated };

// Input and output capabilities, as in sm_set_parameters.
enum IoCapability : uint8 { displayOnly, displayYesNo, keyboardOnly, noInputNoOutput, keyboardDisplay };

// What a device declares before it pairs. Key sizes in bytes.
struct PairingFeatures
{
    static constexpr uint8 minKey = 7, maxKey = 16;

    IoCapability io = noInputNoOutput;
    bool mitm = false; // demands protection from a man in the middle
    uint8 minKeySize = minKey;
    uint8 maxKeySize = maxKey;
};

// What the devices agree on. If `refusal` is not 0, the other members are undefined.
struct PairingPlan
{
    enum Association { justWorks, initiatorShows, initiatorAsks };

    Result refusal = resultOk;
    Association association = justWorks;
    uint8 keySize = 0;
};

constexpr uint32 maxPasskey = 999999;

PairingPlan planPairing(const PairingFeatures &initiator, const PairingFeatures &responder);

} // namespace simulator
