#include "simulator/simulatedmodule.h"

#include "simulator/attclientbehaviour.h"
#include "simulator/attributesbehaviour.h"
#include "simulator/catalogue.h"
#include "simulator/connectionbehaviour.h"
#include "simulator/dfubehaviour.h"
#include "simulator/flashbehaviour.h"
#include "simulator/gapbehaviour.h"
#include "simulator/hardwarebehaviour.h"
#include "simulator/smbehaviour.h"
#include "simulator/systembehaviour.h"
#include "simulator/testbehaviour.h"

#include <algorithm>

namespace simulator {
namespace {

// What the bootloader knows: a whole name, or the class with its underscore.
constexpr const char *bootloaderNames[] = {
    "dfu_", "system_hello", "system_reset", "system_delay_reset", "system_get_bootloader_crc",
};

QSet<int> commandsOfBootloader()
{
    QSet<int> commands;
    for (int command = 0; command < command_count; ++command) {
        const QString name = message_name(command);
        if (std::any_of(std::begin(bootloaderNames), std::end(bootloaderNames),
                        [&name](const char *known) { return name.startsWith(QLatin1String(known)); }))
            commands.insert(command);
    }
    return commands;
}

} // namespace

SimulatedModule::SimulatedModule(const ModuleIdentity &identity, QObject *parent)
    : QObject(parent)
    , who(identity)
    , flashMemory(identity.seed)
    , surroundings(identity.seed, makeWorld(identity.seed, identity.world), identity.world.rate)
    , openLinks(*this)
    , bootloaderCommands(commandsOfBootloader())
{
    auto attributesOwner = std::make_unique<AttributesBehaviour>(*this);
    attributesBehaviour = attributesOwner.get();
    auto hardwareOwner = std::make_unique<HardwareBehaviour>(*this);
    hardwareBehaviour = hardwareOwner.get();
    auto smOwner = std::make_unique<SmBehaviour>(*this);
    smBehaviour = smOwner.get();
    behaviours.push_back(std::make_unique<SystemBehaviour>(*this));
    behaviours.push_back(std::make_unique<FlashBehaviour>(*this));
    behaviours.push_back(std::make_unique<DfuBehaviour>(*this));
    behaviours.push_back(std::move(attributesOwner));
    behaviours.push_back(std::make_unique<GapBehaviour>(*this));
    behaviours.push_back(std::make_unique<ConnectionBehaviour>(*this));
    behaviours.push_back(std::make_unique<AttClientBehaviour>(*this));
    behaviours.push_back(std::move(smOwner));
    behaviours.push_back(std::move(hardwareOwner));
    behaviours.push_back(std::make_unique<TestBehaviour>(*this));
    restartTimer.setSingleShot(true);
    restartTimer.setTimerType(Qt::PreciseTimer);
    connect(&restartTimer, &QTimer::timeout, this, &SimulatedModule::restart);
}

SimulatedModule::~SimulatedModule() = default;

void SimulatedModule::setResultOverride(ResultOverride chosen)
{
    resultOverride = std::move(chosen);
}

uint8 SimulatedModule::bondOf(const DeviceAddress &address) const
{
    return smBehaviour->bondOf(address);
}

void SimulatedModule::addCommand(const char *name, Handler handler)
{
    const int command = commandIndex(QLatin1String(name));
    if (command < 0)
        qFatal("no command is named %s", name);
    handlers[command] = std::move(handler);
}

void SimulatedModule::takeFrame(const QByteArray &frame)
{
    const int command = frameIndex(frame, true);
    const bool isKnown = command >= 0 && command < command_count &&
                         (!inBootloader || bootloaderCommands.contains(command) || hasResult(command));
    if (!isKnown) {
        refuse(resultCommandNotRecognized);
        return;
    }
    const QByteArray payload = frame.mid(headerSize);
    if (payload.size() != announcedLength(frame.constData()) || !lengthFits(command, payload)) {
        refuse(resultInvalidParameter);
        return;
    }
    ++frameCounters.accepted;
    carryingOut = true;
    carryOut(command, payload);
    carryingOut = false;
    while (!heldEvents.isEmpty())
        send(heldEvents.takeFirst());
    if (restartTimer.isActive() && restartTimer.interval() == 0)
        restart();
}

void SimulatedModule::carryOut(int command, const QByteArray &payload)
{
    if (const auto chosen = resultOverride ? resultOverride(command) : std::nullopt) {
        send(plainResponse(command, payload, *chosen));
        return;
    }
    const bool isRefused = inBootloader && !bootloaderCommands.contains(command);
    const auto handler = handlers.constFind(command);
    if (isRefused || handler == handlers.constEnd()) {
        send(plainResponse(command, payload, isRefused ? resultWrongState : resultOk));
        return;
    }
    payload_reader in(message_payload{payload.constData(), payload.size()});
    PayloadWriter out;
    (*handler)(in, out);
    send(makeFrame(responseIndex(command), out.payload()));
}

void SimulatedModule::refuse(Result reason)
{
    ++frameCounters.refused;
    raise("system_protocol_error", PayloadWriter().put(uint16(reason)));
}

void SimulatedModule::raise(const char *event, const PayloadWriter &fields)
{
    const int index = eventIndex(QLatin1String(event));
    if (index < 0)
        qFatal("no event is named %s", event);
    const QByteArray frame = makeFrame(index, fields.payload());
    if (carryingOut)
        heldEvents.append(frame);
    else
        send(frame);
}

void SimulatedModule::send(const QByteArray &frame)
{
    ++frameCounters.sent;
    Q_EMIT frameReady(frame);
}

void SimulatedModule::restartAfter(int milliseconds, bool intoBootloader)
{
    bootloaderNext = intoBootloader;
    restartTimer.start(milliseconds);
}

void SimulatedModule::restart()
{
    restartTimer.stop();
    inBootloader = bootloaderNext;
    frameCounters = {};
    openLinks.drop();
    for (const auto &behaviour : behaviours)
        behaviour->restart();
    if (inBootloader)
        raise("dfu_boot", PayloadWriter().put(DfuBehaviour::version));
    else
        raise("system_boot", SystemBehaviour::info());
}

} // namespace simulator
