#include "simulator/module/behaviours.h"

#include <algorithm>
#include <array>
#include <random>

namespace simulator {
namespace {

// Field keys of the event sm_bond_status.
enum BondKeys : uint8 { longTermKey = 1, publicAddress = 2, staticAddress = 4, diversifier = 16 };

// The class sm: encryption, bonds and their parameters. Bonds survive a restart.
class SecurityManager : public SmBehaviour
{
public:
    explicit SecurityManager(Module &owner)
        : SmBehaviour(owner)
        , random(owner.options().seed)
    {
        addPairing();
        addBonds();
    }

    void restart() override
    {
        features = {};
        isBondable = false;
    }

    uint8 bondOf(const DeviceAddress &address) const override
    {
        const auto bond = std::find_if(bonds.begin(), bonds.end(),
                                       [&address](const auto &b) { return b && b->device == address; });
        return bond == bonds.end() ? noBond : uint8(bond - bonds.begin());
    }

private:
    struct Bond
    {
        DeviceAddress device;
        uint8 keySize;
        bool mitm;
        uint8 keys;
    };

    void addPairing()
    {
        on("sm_encrypt_start", [this](uint8 handle, uint8 bonding) {
            Connection *connection = module.connections().find(handle);
            const Result result = encryptResult(connection, bonding);
            if (result == resultOk) {
                connection->pairing = std::make_unique<Pairing>(bonding == 1 && isBondable);
                connection->whenAnswered(answerDelay(), [this, connection] { agree(*connection); });
            }
            return payload(handle, result);
        });
        on("sm_set_parameters", [this](uint8 mitm, uint8 minKeySize, uint8 io) {
            if (mitm > 1 || minKeySize < PairingFeatures::minKey || minKeySize > PairingFeatures::maxKey ||
                io > keyboardDisplay)
                refuseByEvent();
            else
                features = {IoCapability(io), mitm == 1, minKeySize};
        });
        on("sm_passkey_entry", [this](uint8 handle, uint32 passkey) {
            Connection *connection = module.connections().find(handle);
            const Result result = passkeyResult(connection, passkey);
            if (result == resultOk)
                enter(*connection, passkey);
            return result;
        });
    }

    void addBonds()
    {
        on("sm_set_bondable_mode", [this](uint8 bondable) { isBondable = bondable != 0; });
        on("sm_get_bonds", [this] {
            const auto isBond = [](const auto &bond) { return bond.has_value(); };
            for (uint8 number = 0; number < maxBonds; ++number)
                raiseBond(number);
            return payload(uint8(std::count_if(bonds.begin(), bonds.end(), isBond)));
        });
        on("sm_delete_bonding", [this](uint8 wanted) {
            constexpr uint8 all = 0xff;
            const bool exists = wanted == all || (wanted < bonds.size() && bonds[wanted]);
            for (uint8 number = 0; number < maxBonds; ++number) {
                if (wanted != all && wanted != number)
                    continue;
                bonds[number].reset();
                module.connections().forgetBond(number);
            }
            return exists ? resultOk : resultInvalidParameter;
        });
    }

    int answerDelay() const { return module.options().answerDelay; }

    int freeBond() const
    {
        const auto free = std::find(bonds.begin(), bonds.end(), std::nullopt);
        return free == bonds.end() ? -1 : int(free - bonds.begin());
    }

    Result encryptResult(const Connection *connection, uint8 bonding) const
    {
        if (!connection)
            return resultNoSuchConnection;
        if (bonding > 1)
            return resultInvalidParameter;
        if (connection->pairing)
            return resultWrongState;
        const bool makesBond = bonding == 1 && isBondable && connection->bond == noBond;
        return makesBond && freeBond() < 0 ? resultTooManyBonds : resultOk;
    }

    Result passkeyResult(const Connection *connection, uint32 passkey) const
    {
        if (!connection)
            return resultNoSuchConnection;
        if (passkey > maxPasskey)
            return resultInvalidParameter;
        return connection->pairing && connection->pairing->awaitsPasskey ? resultOk : resultWrongState;
    }

    // A bonded device uses its key; any other device pairs. A receiver may answer an event at once with a
    // command that closes the connection, so an event comes last here and below.
    void agree(Connection &connection)
    {
        if (connection.bond != noBond) {
            finish(connection);
            return;
        }
        if (!connection.device.pairing) {
            fail(connection, resultPairingUnsupported);
            return;
        }
        const PairingPlan plan = connection.pairing->plan = planPairing(features, *connection.device.pairing);
        if (plan.refusal != resultOk) {
            fail(connection, plan.refusal);
        } else if (plan.association == PairingPlan::initiatorAsks) {
            askPasskey(connection);
        } else if (plan.association == PairingPlan::justWorks) {
            finish(connection);
        } else {
            const auto passkey = uint32(random() % (maxPasskey + 1));
            connection.whenAnswered(answerDelay(), [this, &connection] { finish(connection); });
            module.raise("sm_passkey_display", connection.handle, passkey);
        }
    }

    void askPasskey(Connection &connection)
    {
        connection.pairing->awaitsPasskey = true;
        QTimer::singleShot(module.options().pairingTimeout, connection.pairing.get(), [this, &connection] {
            if (connection.pairing->awaitsPasskey)
                fail(connection, resultTimeout);
        });
        const bool hasDisplay = connection.device.pairing->io != keyboardOnly;
        Q_EMIT module.note(QStringLiteral("%1 %2 %3")
                               .arg(QString::fromUtf8(connection.device.name),
                                    hasDisplay ? QStringLiteral("shows the passkey")
                                               : QStringLiteral("has been typed the passkey"))
                               .arg(RemoteDevice::passkey, 6, 10, QLatin1Char('0')));
        module.raise("sm_passkey_request", connection.handle);
    }

    void enter(Connection &connection, uint32 passkey)
    {
        connection.pairing->awaitsPasskey = false;
        connection.whenAnswered(answerDelay(), [this, &connection, passkey] {
            if (passkey == RemoteDevice::passkey)
                finish(connection);
            else
                fail(connection, resultConfirmMismatch);
        });
    }

    void fail(Connection &connection, Result reason)
    {
        connection.pairing.reset();
        module.raise("sm_bonding_fail", connection.handle, reason);
    }

    void finish(Connection &connection)
    {
        const bool makesBond = connection.bond == noBond && connection.pairing->isBonding;
        const int number = freeBond();
        if (makesBond && number < 0) { // another connection took the last one
            fail(connection, resultTooManyBonds);
            return;
        }
        const PairingPlan plan = connection.pairing->plan;
        const bool mitm = connection.bond == noBond ? plan.association != PairingPlan::justWorks
                                                    : bonds[connection.bond]->mitm;
        if (makesBond) {
            const DeviceAddress &device = connection.device.address;
            const BondKeys addressKey = device.type == 0 ? publicAddress : staticAddress;
            bonds[size_t(number)] =
                Bond{device, plan.keySize, mitm, uint8(longTermKey | diversifier | addressKey)};
            connection.bond = uint8(number);
        }
        connection.security = mitm ? Security::authenticated : Security::encrypted;
        connection.pairing.reset();
        module.connections().raiseStatus(connection.handle);
        if (makesBond)
            raiseBond(uint8(number));
    }

    void raiseBond(uint8 number)
    {
        if (const auto &bond = bonds[number])
            module.raise("sm_bond_status", number, bond->keySize, bond->mitm, bond->keys);
    }

    static constexpr uint8 maxBonds = 8;
    std::array<std::optional<Bond>, maxBonds> bonds;
    PairingFeatures features; // of the module
    bool isBondable = false;
    std::mt19937 random; // makes up the passkeys that the module shows
};

} // namespace

std::unique_ptr<SmBehaviour> makeSmBehaviour(Module &module)
{
    return std::make_unique<SecurityManager>(module);
}

} // namespace simulator
