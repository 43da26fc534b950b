#include "simulator/smbehaviour.h"

#include "simulator/simulatedmodule.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr uint8 longestKey = 16; // bytes, and what remote devices agree to

// Bits of the event bond_status.
enum BondKeys : uint8 { longTermKey = 1, publicAddress = 2, staticAddress = 4, diversifier = 16 };

} // namespace

SmBehaviour::SmBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
{
    static constexpr CommandEntry<SmBehaviour> commands[] = {
        {"sm_encrypt_start", &SmBehaviour::encryptStart},
        {"sm_set_bondable_mode", &SmBehaviour::setBondableMode},
        {"sm_delete_bonding", &SmBehaviour::deleteBonding},
        {"sm_set_parameters", &SmBehaviour::setParameters},
        {"sm_passkey_entry", &SmBehaviour::passkeyEntry},
        {"sm_get_bonds", &SmBehaviour::getBonds},
        {"sm_whitelist_bonds", &SmBehaviour::whitelistBonds},
    };
    module.addCommands(this, commands);
}

void SmBehaviour::restart()
{
    parameters = {};
    bondable = false;
}

uint8 SmBehaviour::bondOf(const DeviceAddress &address) const
{
    const auto bond = std::find_if(bonds.begin(), bonds.end(),
                                   [&address](const auto &b) { return b && b->device == address; });
    return bond == bonds.end() ? noBond : uint8(bond - bonds.begin());
}

int SmBehaviour::freeBond() const
{
    const auto free = std::find(bonds.begin(), bonds.end(), std::nullopt);
    return free == bonds.end() ? -1 : int(free - bonds.begin());
}

Result SmBehaviour::encryptResult(const Link *link, uint8 bonding) const
{
    if (!link)
        return resultNoSuchConnection;
    if (bonding > 1)
        return resultInvalidParameter;
    if (link->pairing)
        return resultWrongState;
    const bool needsRoom = bonding == 1 && bondable && link->bond == noBond;
    return needsRoom && freeBond() < 0 ? resultNoRoomForBond : resultOk;
}

void SmBehaviour::encryptStart(payload_reader &command, PayloadWriter &response)
{
    const auto handle = command.take<uint8>();
    const auto bonding = command.take<uint8>();
    Link *link = module.links().find(handle);
    const Result result = encryptResult(link, bonding);
    response.put(handle).put(uint16(result));
    if (result != resultOk)
        return;
    link->pairing = true;
    link->whenAnswered(module.identity().answerDelay,
                       [this, link, bonding] { pair(*link, bonding == 1 && bondable); });
}

// A bond brings its key along; without one the devices pair. A device that just works has nothing to type or
// show a passkey with, so that nobody in the middle can be kept out.
void SmBehaviour::pair(Link &link, bool bonding)
{
    const uint8 handle = link.handle;
    link.pairing = false;
    const bool hadBond = link.bond != noBond;
    Result failure = resultOk;
    if (!hadBond && link.device.pairing == RemoteDevice::Pairing::unsupported)
        failure = resultPairingUnsupported;
    else if (!hadBond && parameters.mitm != 0)
        failure = resultAuthenticationImpossible;
    const int number = freeBond();
    const bool makesBond = !hadBond && bonding;
    if (failure == resultOk && makesBond && number < 0) // another link took the last
        failure = resultNoRoomForBond;
    if (failure != resultOk) {
        module.raise("sm_bonding_fail", PayloadWriter().put(handle).put(uint16(failure)));
        return;
    }
    link.encrypted = true;
    if (makesBond) {
        const DeviceAddress &device = link.device.address;
        const BondKeys addressKind = device.type == 0 ? publicAddress : staticAddress;
        bonds[size_t(number)] = Bond{device, longestKey, 0, uint8(longTermKey | diversifier | addressKind)};
        link.bond = uint8(number);
    }
    module.links().raiseStatus(handle);
    if (makesBond)
        raiseBond(uint8(number));
}

void SmBehaviour::raiseBond(uint8 number)
{
    if (const auto &bond = bonds[number])
        module.raise("sm_bond_status",
                     PayloadWriter().put(number).put(bond->keySize).put(bond->mitm).put(bond->keys));
}

void SmBehaviour::setBondableMode(payload_reader &command, PayloadWriter &)
{
    bondable = command.take<uint8>() != 0;
}

void SmBehaviour::deleteBonding(payload_reader &command, PayloadWriter &response)
{
    const auto number = command.take<uint8>();
    const bool exists = number < capacity && bonds[number];
    response.put(uint16(exists ? resultOk : resultInvalidParameter));
    if (!exists)
        return;
    bonds[number].reset();
    module.links().forgetBond(number);
}

// The response has no room for a refusal, so that one follows as an event.
void SmBehaviour::setParameters(payload_reader &command, PayloadWriter &)
{
    constexpr uint8 shortestKey = 7, lastCapability = 4;
    Parameters wanted;
    wanted.mitm = command.take<uint8>();
    wanted.minKeySize = command.take<uint8>();
    wanted.ioCapabilities = command.take<uint8>();
    const bool valid = wanted.mitm <= 1 && wanted.minKeySize >= shortestKey &&
                       wanted.minKeySize <= longestKey && wanted.ioCapabilities <= lastCapability;
    if (valid)
        parameters = wanted;
    else
        module.raise("system_protocol_error", PayloadWriter().put(uint16(resultInvalidParameter)));
}

// No remote device asks for one.
void SmBehaviour::passkeyEntry(payload_reader &command, PayloadWriter &response)
{
    const bool isLinked = module.links().find(command.take<uint8>()) != nullptr;
    response.put(uint16(isLinked ? resultWrongState : resultNoSuchConnection));
}

void SmBehaviour::getBonds(payload_reader &, PayloadWriter &response)
{
    const auto isBond = [](const auto &bond) { return bond.has_value(); };
    response.put(uint8(std::count_if(bonds.begin(), bonds.end(), isBond)));
    for (uint8 number = 0; number < capacity; ++number)
        raiseBond(number);
}

void SmBehaviour::whitelistBonds(payload_reader &, PayloadWriter &response)
{
    Result result = resultOk;
    uint8 count = 0;
    for (const auto &bond : bonds) {
        if (!bond)
            continue;
        const Result appended = module.whitelist().append(bond->device);
        if (appended == resultOk)
            ++count;
        else
            result = appended;
    }
    response.put(uint16(result)).put(count);
}

} // namespace simulator
