#include "simulator/connectionbehaviour.h"

#include "simulator/simulatedmodule.h"

#include <QtAlgorithms>

#include <algorithm>

namespace simulator {
namespace {

// 37 channels in 5 bytes, of which a link needs two.
bool isChannelMap(const QByteArray &map)
{
    if (map.size() != 5 || (uint8(map[4]) & 0xe0) != 0)
        return false;
    uint used = 0;
    for (const char byte : map)
        used += qPopulationCount(quint8(byte));
    return used >= 2;
}

} // namespace

ConnectionBehaviour::ConnectionBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
{
    using C = ConnectionBehaviour;
    static constexpr CommandEntry<C> commands[] = {
        {"connection_disconnect", &C::disconnect},
        {"connection_get_rssi", &C::getRssi},
        {"connection_update", &C::update},
        {"connection_version_update", &C::versionUpdate},
        {"connection_channel_map_get", &C::channelMapGet},
        {"connection_channel_map_set", &C::channelMapSet},
        {"connection_features_get", &C::featuresGet},
        {"connection_get_status", &C::getStatus},
        {"connection_raw_tx", &C::rawTx},
        {"connection_slave_latency_disable", &C::slaveLatencyDisable},
    };
    module.addCommands(this, commands);
}

Link *ConnectionBehaviour::begin(payload_reader &command, PayloadWriter &response)
{
    const auto handle = command.take<uint8>();
    Link *link = module.links().find(handle);
    response.put(handle).put(uint16(link ? resultOk : resultNoSuchConnection));
    return link;
}

int ConnectionBehaviour::answerDelay() const
{
    return module.identity().answerDelay;
}

void ConnectionBehaviour::disconnect(payload_reader &command, PayloadWriter &response)
{
    if (Link *link = begin(command, response))
        module.links().close(link->handle, resultEndedLocally);
}

void ConnectionBehaviour::getRssi(payload_reader &command, PayloadWriter &response)
{
    const auto handle = command.take<uint8>();
    const Link *link = module.links().find(handle);
    response.put(handle).put(link ? module.air().rssiOf(link->device) : int8(0));
}

// The module takes the shortest interval of the range that the remote device accepts. If there is none, the
// status comes all the same, so that the end of the procedure is seen: unchanged, and without the flag.
void ConnectionBehaviour::update(payload_reader &command, PayloadWriter &response)
{
    const auto handle = command.take<uint8>();
    LinkParameters wanted{};
    wanted.interval = command.take<uint16>();
    const auto longest = command.take<uint16>();
    wanted.latency = command.take<uint16>();
    wanted.timeout = command.take<uint16>();
    Link *link = module.links().find(handle);
    Result result = resultOk;
    if (!link)
        result = resultNoSuchConnection;
    else if (!areValid(wanted, wanted.interval, longest))
        result = resultInvalidParameter;
    response.put(handle).put(uint16(result));
    if (result != resultOk)
        return;
    wanted.interval = std::max(wanted.interval, link->device.shortestInterval);
    const bool accepted = wanted.interval <= longest;
    link->whenAnswered(answerDelay(), [this, link, wanted, accepted] {
        if (accepted)
            link->parameters = wanted;
        module.links().raiseStatus(link->handle, accepted ? Links::parametersChange : 0);
    });
}

void ConnectionBehaviour::versionUpdate(payload_reader &command, PayloadWriter &response)
{
    Link *link = begin(command, response);
    if (!link)
        return;
    link->whenAnswered(answerDelay(), [this, link] {
        const RemoteDevice &device = link->device;
        module.raise(
            "connection_version_ind",
            PayloadWriter().put(link->handle).put(device.version).put(device.company).put(device.subVersion));
    });
}

void ConnectionBehaviour::channelMapGet(payload_reader &command, PayloadWriter &response)
{
    const auto handle = command.take<uint8>();
    const Link *link = module.links().find(handle);
    response.put(handle).put(link ? link->channelMap : QByteArray());
}

void ConnectionBehaviour::channelMapSet(payload_reader &command, PayloadWriter &response)
{
    const auto handle = command.take<uint8>();
    const auto map = command.take<QByteArray>();
    Link *link = module.links().find(handle);
    Result result = resultOk;
    if (!link)
        result = resultNoSuchConnection;
    else if (!isChannelMap(map))
        result = resultInvalidParameter;
    else
        link->channelMap = map;
    response.put(handle).put(uint16(result));
}

void ConnectionBehaviour::featuresGet(payload_reader &command, PayloadWriter &response)
{
    Link *link = begin(command, response);
    if (!link)
        return;
    link->whenAnswered(answerDelay(), [this, link] {
        module.raise("connection_feature_ind", PayloadWriter().put(link->handle).put(link->device.features));
    });
}

void ConnectionBehaviour::getStatus(payload_reader &command, PayloadWriter &response)
{
    const auto handle = command.take<uint8>();
    response.put(handle);
    module.links().raiseStatus(handle);
}

// A packet that no layer knows: the remote device passes over it.
void ConnectionBehaviour::rawTx(payload_reader &command, PayloadWriter &response)
{
    response.put(command.take<uint8>());
}

// Concerns a slave only, and the module is the master of all its links.
void ConnectionBehaviour::slaveLatencyDisable(payload_reader &command, PayloadWriter &response)
{
    response.put(uint16(command.take<uint8>() <= 1 ? resultOk : resultInvalidParameter));
}

} // namespace simulator
