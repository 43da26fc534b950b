#include "simulator/module/module.h"

#include "simulator/module/behaviours.h"
#include "simulator/wire/frames.h"

#include <QRegularExpression>

namespace simulator {
namespace {

constexpr uint32 bootloaderVersion = 0x00010002;

bool isForBootloader(int command)
{
    static const QRegularExpression names(QRegularExpression::anchoredPattern(
        QStringLiteral("dfu_.*|system_(hello|reset|delay_reset|get_bootloader_crc)")));
    return names.match(message_name(command)).hasMatch();
}

} // namespace

Module::Module(const ModuleOptions &chosen, QObject *parent)
    : QObject(parent)
    , chosenOptions(chosen)
    , flashMemory(chosen.seed)
    , surroundings(chosen.seed, makeDevices(chosen.seed, chosen.world), chosen.world.rate)
    , openConnections(*this)
{
    const auto add = [this](auto behaviour) {
        auto *added = behaviour.get();
        behaviours.push_back(std::move(behaviour));
        return added;
    };
    add(makeSystemBehaviour(*this));
    add(makeFlashBehaviour(*this));
    add(makeDfuBehaviour(*this));
    attributesBehaviour = add(makeAttributesBehaviour(*this));
    add(makeGapBehaviour(*this));
    add(makeConnectionBehaviour(*this));
    add(makeAttClientBehaviour(*this));
    smBehaviour = add(makeSmBehaviour(*this));
    hardwareBehaviour = add(makeHardwareBehaviour(*this));
    add(makeTestBehaviour(*this));
    restartTimer.setSingleShot(true);
    restartTimer.setTimerType(Qt::PreciseTimer);
    connect(&restartTimer, &QTimer::timeout, this, &Module::restart);
}

Module::~Module() = default;

uint8 Module::bondOf(const DeviceAddress &address) const
{
    return smBehaviour->bondOf(address);
}

void Module::setHandler(const char *command, Handler handler)
{
    const int index = commandIndex(QLatin1String(command));
    if (index < 0)
        qFatal("no command is named %s", command);
    handlers[index] = std::move(handler);
}

void Module::takeFrame(const QByteArray &frame)
{
    const int command = frameIndex(frame, true);
    const bool isKnown = command >= 0 && command < command_count &&
                         (!inBootloader || isForBootloader(command) || hasResult(command));
    if (!isKnown) {
        raise("system_protocol_error", resultCommandNotRecognized);
        return;
    }
    const QByteArray payload = frame.mid(headerSize);
    if (payload.size() != announcedLength(frame.constData()) || !lengthFits(command, payload)) {
        raise("system_protocol_error", resultInvalidParameter);
        return;
    }
    isCarryingOut = true;
    const QByteArray response = responseTo(command, payload);
    Q_EMIT frameReady(response);
    isCarryingOut = false;
    while (!heldEvents.isEmpty())
        Q_EMIT frameReady(heldEvents.takeFirst());
    if (restartTimer.isActive() && restartTimer.interval() == 0)
        restart();
}

QByteArray Module::responseTo(int command, const QByteArray &payload)
{
    if (const auto chosen = resultOverride ? resultOverride(command) : std::nullopt)
        return defaultResponse(command, payload, *chosen);
    if (inBootloader && !isForBootloader(command))
        return defaultResponse(command, payload, resultWrongState);
    const auto handler = handlers.constFind(command);
    if (handler == handlers.constEnd())
        return defaultResponse(command, payload, resultOk);
    return makeFrame(responseIndex(command), (*handler)(payload));
}

void Module::raisePayload(const char *event, const QByteArray &payload)
{
    const int index = eventIndex(QLatin1String(event));
    if (index < 0)
        qFatal("no event is named %s", event);
    const QByteArray frame = makeFrame(index, payload);
    if (isCarryingOut)
        heldEvents.append(frame);
    else
        Q_EMIT frameReady(frame);
}

void Module::restartAfter(int milliseconds, bool intoBootloader)
{
    bootloaderNext = intoBootloader;
    restartTimer.start(milliseconds);
}

QByteArray Module::versionInfo()
{
    constexpr uint16 major = 2, minor = 1, patch = 0, build = 57, linkLayer = 9;
    constexpr uint8 protocol = 1, hardware = 4;
    return payload(major, minor, patch, build, linkLayer, protocol, hardware);
}

void Module::restart()
{
    restartTimer.stop();
    inBootloader = bootloaderNext;
    openConnections.drop();
    for (const auto &behaviour : behaviours)
        behaviour->restart();
    if (inBootloader)
        raise("dfu_boot", bootloaderVersion);
    else
        raisePayload("system_boot", versionInfo());
}

} // namespace simulator
