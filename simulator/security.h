#pragma once

#include "simulator/results.h"

namespace simulator {

// How far a link is protected, and how far an attribute wants it to be.
enum class Security : uint8 { none, encrypted, authenticated };

// Values of sm_set_parameters and of the packets that the devices pair by.
enum IoCapability : uint8 { displayOnly, displayYesNo, keyboardOnly, noInputNoOutput, keyboardDisplay };

// What a device says of itself before it pairs. Key sizes in bytes.
struct PairingFeatures
{
    static constexpr uint8 shortestKey = 7, longestKey = 16;

    IoCapability io = noInputNoOutput;
    bool mitm = false; // demands protection from a man in the middle
    uint8 minKeySize = shortestKey;
    uint8 maxKeySize = longestKey;
};

// What the devices agree upon. The other members mean nothing if `refusal` is not 0.
struct PairingPlan
{
    enum Association { justWorks, initiatorShows, initiatorAsks };

    Result refusal = resultOk;
    Association association = justWorks;
    uint8 keySize = 0;
};

constexpr uint32 lastPasskey = 999999;

PairingPlan planPairing(const PairingFeatures &initiator, const PairingFeatures &responder);

} // namespace simulator
