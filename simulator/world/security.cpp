#include "simulator/world/security.h"

#include <algorithm>

namespace simulator {

PairingPlan planPairing(const PairingFeatures &initiator, const PairingFeatures &responder)
{
    constexpr auto works = PairingPlan::justWorks;
    constexpr auto shows = PairingPlan::initiatorShows;
    constexpr auto asks = PairingPlan::initiatorAsks;
    // Rows by capability of the responder, columns by that of the initiator.
    static constexpr PairingPlan::Association associations[5][5] = {
        {works, works, asks, works, asks},   // displayOnly
        {works, works, asks, works, asks},   // displayYesNo
        {shows, shows, asks, works, shows},  // keyboardOnly
        {works, works, works, works, works}, // noInputNoOutput
        {shows, shows, asks, works, shows},  // keyboardDisplay
    };
    PairingPlan plan;
    plan.keySize = std::min(initiator.maxKeySize, responder.maxKeySize);
    const bool mitm = initiator.mitm || responder.mitm;
    if (mitm) // otherwise the capabilities are ignored
        plan.association = associations[responder.io][initiator.io];
    if (mitm && plan.association == works)
        plan.refusal = resultAuthenticationImpossible;
    else if (plan.keySize < std::max(initiator.minKeySize, responder.minKeySize))
        plan.refusal = resultInsufficientKeySize;
    return plan;
}

} // namespace simulator
