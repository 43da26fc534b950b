#include "simulator/smbehaviour.h"

#include "simulator/simulatedmodule.h"

#include <algorithm>

namespace simulator {
namespace {

// Bits of the event bond_status.
enum BondKeys : uint8 { longTermKey = 1, publicAddress = 2, staticAddress = 4, diversifier = 16 };

} // namespace

SmBehaviour::SmBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
    , random(owner.identity().seed)
{
    static constexpr CommandEntry<SmBehaviour> commands[] = {
        {"sm_encrypt_start", &SmBehaviour::encryptStart},
        {"sm_set_bondable_mode", &SmBehaviour::setBondableMode},
        {"sm_delete_bonding", &SmBehaviour::deleteBonding},
        {"sm_set_parameters", &SmBehaviour::setParameters},
        {"sm_passkey_entry", &SmBehaviour::passkeyEntry},
        {"sm_set_oob_data", &SmBehaviour::setOobData},
        {"sm_set_pairing_distribution_keys", &SmBehaviour::setDistributionKeys},
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
    link->pairing = std::make_unique<Pairing>(bonding == 1 && bondable);
    link->whenAnswered(module.identity().answerDelay, [this, link] { agree(*link); });
}

// A bond brings its key along; without one the devices pair. Whoever takes a frame may answer it at once with
// a command that ends the link, so that an event comes last here and below.
void SmBehaviour::agree(Link &link)
{
    if (link.bond != noBond) {
        finish(link);
        return;
    }
    if (!link.device.pairing) {
        fail(link, resultPairingUnsupported);
        return;
    }
    const PairingPlan plan = link.pairing->plan = planPairing(parameters, *link.device.pairing);
    if (plan.refusal != resultOk) {
        fail(link, plan.refusal);
    } else if (plan.association == PairingPlan::initiatorAsks) {
        askPasskey(link);
    } else if (plan.association == PairingPlan::justWorks) {
        finish(link);
    } else {
        const auto passkey = uint32(random() % (lastPasskey + 1));
        link.whenAnswered(module.identity().answerDelay, [this, &link] { finish(link); });
        module.raise("sm_passkey_display", PayloadWriter().put(link.handle).put(passkey));
    }
}

void SmBehaviour::askPasskey(Link &link)
{
    link.pairing->awaitsPasskey = true;
    QTimer::singleShot(module.identity().pairingTimeout, link.pairing.get(), [this, &link] {
        if (link.pairing->awaitsPasskey)
            fail(link, resultTimeout);
    });
    const bool hasDisplay = link.device.pairing->io != keyboardOnly;
    Q_EMIT module.note(QStringLiteral("%1 %2 %3")
                           .arg(QString::fromUtf8(link.device.name),
                                hasDisplay ? QStringLiteral("shows the passkey")
                                           : QStringLiteral("has been typed the passkey"))
                           .arg(RemoteDevice::passkey, 6, 10, QLatin1Char('0')));
    module.raise("sm_passkey_request", PayloadWriter().put(link.handle));
}

Result SmBehaviour::passkeyResult(const Link *link, uint32 passkey) const
{
    if (!link)
        return resultNoSuchConnection;
    if (passkey > lastPasskey)
        return resultInvalidParameter;
    return link->pairing && link->pairing->awaitsPasskey ? resultOk : resultWrongState;
}

void SmBehaviour::passkeyEntry(payload_reader &command, PayloadWriter &response)
{
    Link *link = module.links().find(command.take<uint8>());
    const auto passkey = command.take<uint32>();
    const Result result = passkeyResult(link, passkey);
    response.put(uint16(result));
    if (result != resultOk)
        return;
    link->pairing->awaitsPasskey = false;
    link->whenAnswered(module.identity().answerDelay, [this, link, passkey] {
        if (passkey == RemoteDevice::passkey)
            finish(*link);
        else
            fail(*link, resultConfirmMismatch);
    });
}

void SmBehaviour::fail(Link &link, Result reason)
{
    link.pairing.reset();
    module.raise("sm_bonding_fail", PayloadWriter().put(link.handle).put(uint16(reason)));
}

void SmBehaviour::finish(Link &link)
{
    const bool makesBond = link.bond == noBond && link.pairing->bonding;
    const int number = freeBond();
    if (makesBond && number < 0) { // another link took the last
        fail(link, resultNoRoomForBond);
        return;
    }
    const PairingPlan plan = link.pairing->plan;
    const bool mitm =
        link.bond == noBond ? plan.association != PairingPlan::justWorks : bonds[link.bond]->mitm != 0;
    if (makesBond) {
        const DeviceAddress &device = link.device.address;
        const BondKeys addressKind = device.type == 0 ? publicAddress : staticAddress;
        bonds[size_t(number)] =
            Bond{device, plan.keySize, uint8(mitm), uint8(longTermKey | diversifier | addressKind)};
        link.bond = uint8(number);
    }
    link.security = mitm ? Security::authenticated : Security::encrypted;
    link.pairing.reset();
    module.links().raiseStatus(link.handle);
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
    constexpr uint8 every = 0xff;
    const auto wanted = command.take<uint8>();
    const bool exists = wanted == every || (wanted < capacity && bonds[wanted]);
    response.put(uint16(exists ? resultOk : resultInvalidParameter));
    for (uint8 number = 0; number < capacity; ++number) {
        if (wanted != every && wanted != number)
            continue;
        bonds[number].reset();
        module.links().forgetBond(number);
    }
}

// The response of some commands has no room for a refusal, so that one follows as an event.
void SmBehaviour::refuseSilentCommand()
{
    module.raise("system_protocol_error", PayloadWriter().put(uint16(resultInvalidParameter)));
}

void SmBehaviour::setParameters(payload_reader &command, PayloadWriter &)
{
    const auto mitm = command.take<uint8>();
    const auto minKeySize = command.take<uint8>();
    const auto io = command.take<uint8>();
    if (mitm <= 1 && minKeySize >= PairingFeatures::shortestKey &&
        minKeySize <= PairingFeatures::longestKey && io <= keyboardDisplay)
        parameters = {IoCapability(io), mitm == 1, minKeySize};
    else
        refuseSilentCommand();
}

// Data that went another way help only a device that has some too, and no remote device has.
void SmBehaviour::setOobData(payload_reader &command, PayloadWriter &)
{
    const int size = command.take<QByteArray>().size();
    if (size != 0 && size != PairingFeatures::longestKey)
        refuseSilentCommand();
}

// Remote devices give what they have, whatever is asked for.
void SmBehaviour::setDistributionKeys(payload_reader &command, PayloadWriter &response)
{
    constexpr uint8 allKeys = 7;
    const auto initiator = command.take<uint8>();
    const auto responder = command.take<uint8>();
    response.put(uint16(initiator <= allKeys && responder <= allKeys ? resultOk : resultInvalidParameter));
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
