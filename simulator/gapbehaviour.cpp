#include "simulator/gapbehaviour.h"

#include "simulator/simulatedmodule.h"

namespace simulator {
namespace {

enum DiscoverMode : uint8 { discoverLimited, discoverGeneric, discoverObservation };

constexpr int longestAdvertisingData = 31;

bool isScanTiming(uint16 interval, uint16 window)
{
    return window >= 4 && window <= interval && interval <= 0x4000;
}

Result validity(bool valid)
{
    return valid ? resultOk : resultInvalidParameter;
}

} // namespace

GapBehaviour::GapBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
{
    using G = GapBehaviour;
    static constexpr CommandEntry<G> commands[] = {
        {"gap_set_privacy_flags", &G::setPrivacyFlags},
        {"gap_set_mode", &G::setMode},
        {"gap_discover", &G::discover},
        {"gap_connect_direct", &G::connectDirect},
        {"gap_end_procedure", &G::endProcedure},
        {"gap_connect_selective", &G::connectSelective},
        {"gap_set_filtering", &G::setFiltering},
        {"gap_set_scan_parameters", &G::setScanParameters},
        {"gap_set_adv_parameters", &G::setAdvParameters},
        {"gap_set_adv_data", &G::setAdvData},
        {"gap_set_directed_connectable_mode", &G::setDirectedConnectableMode},
        {"gap_set_initiating_con_parameters", &G::setInitiatingConParameters},
        {"gap_set_nonresolvable_address", &G::setNonresolvableAddress},
    };
    module.addCommands(this, commands);
    QObject::connect(&module.air(), &Air::heard, &listener,
                     [this](const Advertisement &packet) { hear(packet); });
}

void GapBehaviour::restart()
{
    end();
    scanning = {};
    initiating = {};
    scanWhitelistOnly = false;
    filterDuplicates = false;
    discoverable = 0;
    connectable = 0;
}

// --- the module's own advertising

void GapBehaviour::setPrivacyFlags(payload_reader &, PayloadWriter &) {}

Result GapBehaviour::changeMode(uint8 discover, uint8 connect)
{
    constexpr uint8 lastDiscoverable = 4, lastConnectable = 3;
    if (discover > lastDiscoverable || connect > lastConnectable)
        return resultInvalidParameter;
    if (discover != discoverable || connect != connectable)
        module.raise("gap_mode_changed", PayloadWriter().put(discover).put(connect));
    discoverable = discover;
    connectable = connect;
    return resultOk;
}

void GapBehaviour::setMode(payload_reader &command, PayloadWriter &response)
{
    const auto discover = command.take<uint8>();
    response.put(uint16(changeMode(discover, command.take<uint8>())));
}

void GapBehaviour::setDirectedConnectableMode(payload_reader &command, PayloadWriter &response)
{
    constexpr uint8 directed = 1;
    command.take<bd_addr>();
    const auto type = command.take<uint8>();
    response.put(uint16(type > 1 ? resultInvalidParameter : changeMode(discoverable, directed)));
}

void GapBehaviour::setAdvParameters(payload_reader &command, PayloadWriter &response)
{
    const auto shortest = command.take<uint16>();
    const auto longest = command.take<uint16>();
    const auto channels = command.take<uint8>();
    const bool valid =
        shortest >= 0x20 && shortest <= longest && longest <= 0x4000 && channels >= 1 && channels <= 7;
    response.put(uint16(validity(valid)));
}

void GapBehaviour::setAdvData(payload_reader &command, PayloadWriter &response)
{
    const auto place = command.take<uint8>();
    response.put(uint16(validity(place <= 1 && command.take<QByteArray>().size() <= longestAdvertisingData)));
}

// The two highest bits of such an address are 0.
void GapBehaviour::setNonresolvableAddress(payload_reader &command, PayloadWriter &response)
{
    response.put(uint16(validity((command.take<bd_addr>().addr[5] & 0xc0) == 0)));
}

// --- what the procedures go by

void GapBehaviour::setFiltering(payload_reader &command, PayloadWriter &response)
{
    const auto scanPolicy = command.take<uint8>();
    const auto advPolicy = command.take<uint8>();
    const auto duplicates = command.take<uint8>();
    Result result = validity(scanPolicy <= 1 && advPolicy <= 3 && duplicates <= 1);
    if (result == resultOk && running != Procedure::none)
        result = resultWrongState;
    response.put(uint16(result));
    if (result != resultOk)
        return;
    scanWhitelistOnly = scanPolicy == 1;
    filterDuplicates = duplicates == 1;
}

void GapBehaviour::setScanParameters(payload_reader &command, PayloadWriter &response)
{
    const auto interval = command.take<uint16>();
    const auto window = command.take<uint16>();
    const auto active = command.take<uint8>();
    Result result = validity(isScanTiming(interval, window) && active <= 1);
    if (result == resultOk && running != Procedure::none)
        result = resultWrongState;
    if (result == resultOk)
        scanning = {interval, window, active == 1};
    response.put(uint16(result));
}

void GapBehaviour::setInitiatingConParameters(payload_reader &command, PayloadWriter &response)
{
    const auto interval = command.take<uint16>();
    const auto window = command.take<uint16>();
    const bool valid = isScanTiming(interval, window);
    if (valid)
        initiating = {interval, window, false};
    response.put(uint16(validity(valid)));
}

// --- the procedures

void GapBehaviour::begin(Procedure procedure, const ScanParameters &parameters)
{
    running = procedure;
    reported.clear();
    // Behind the response: the first packet may be heard at once.
    QTimer::singleShot(0, &listener, [this, parameters] {
        if (running != Procedure::none)
            module.air().listen(true, parameters.active, double(parameters.window) / parameters.interval);
    });
}

void GapBehaviour::end()
{
    running = Procedure::none;
    module.air().listen(false);
}

void GapBehaviour::discover(payload_reader &command, PayloadWriter &response)
{
    const auto mode = command.take<uint8>();
    Result result = validity(mode <= discoverObservation);
    if (result == resultOk && running != Procedure::none)
        result = resultWrongState;
    response.put(uint16(result));
    if (result != resultOk)
        return;
    discoverMode = mode;
    begin(Procedure::discover, scanning);
}

void GapBehaviour::endProcedure(payload_reader &, PayloadWriter &response)
{
    response.put(uint16(running == Procedure::none ? resultWrongState : resultOk));
    end();
}

Result GapBehaviour::connectResult(const LinkParameters &parameters, uint16 shortest) const
{
    if (!areValid(parameters, shortest, parameters.interval))
        return resultInvalidParameter;
    return running == Procedure::none ? resultOk : resultWrongState;
}

void GapBehaviour::connectTo(Procedure procedure, payload_reader &command, PayloadWriter &response,
                             Result obstacle)
{
    LinkParameters parameters{};
    const auto shortest = command.take<uint16>();
    parameters.interval = command.take<uint16>();
    parameters.timeout = command.take<uint16>();
    parameters.latency = command.take<uint16>();
    Result result = connectResult(parameters, shortest);
    if (result == resultOk)
        result = obstacle;
    const int handle = module.links().freeHandle();
    if (result == resultOk && handle < 0)
        result = resultOutOfMemory;
    response.put(uint16(result)).put(uint8(result == resultOk ? handle : 0));
    if (result != resultOk)
        return;
    reservedHandle = uint8(handle);
    linkParameters = parameters;
    begin(procedure, initiating);
}

void GapBehaviour::connectDirect(payload_reader &command, PayloadWriter &response)
{
    DeviceAddress device;
    device.address = command.take<bd_addr>();
    device.type = command.take<uint8>();
    Result obstacle = validity(device.type <= 1);
    if (module.links().isConnected(device))
        obstacle = resultWrongState;
    if (running == Procedure::none)
        wanted = device;
    connectTo(Procedure::connectDirect, command, response, obstacle);
}

void GapBehaviour::connectSelective(payload_reader &command, PayloadWriter &response)
{
    connectTo(Procedure::connectSelective, command, response,
              module.whitelist().isEmpty() ? resultWrongState : resultOk);
}

void GapBehaviour::hear(const Advertisement &packet)
{
    const DeviceAddress &sender = packet.device->address;
    if (running == Procedure::discover) {
        report(packet);
        return;
    }
    const bool isWanted =
        running == Procedure::connectDirect ? sender == wanted : module.whitelist().contains(sender);
    const bool takesConnections =
        packet.packetType == connectableUndirected || packet.packetType == connectableDirected;
    if (!isWanted || !takesConnections)
        return;
    end();
    module.links().open(reservedHandle, *packet.device, linkParameters);
}

void GapBehaviour::report(const Advertisement &packet)
{
    constexpr uint8 limited = 1, limitedOrGeneral = 3;
    const DeviceAddress &sender = packet.device->address;
    if (discoverMode != discoverObservation &&
        !advertisesFlags(*packet.device, discoverMode == discoverLimited ? limited : limitedOrGeneral))
        return;
    if (scanWhitelistOnly && !module.whitelist().contains(sender))
        return;
    if (filterDuplicates) {
        const QByteArray key =
            PayloadWriter().put(sender.address).put(sender.type).put(uint8(packet.packetType)).payload();
        if (reported.contains(key))
            return;
        reported.insert(key);
    }
    module.raise("gap_scan_response",
                 PayloadWriter()
                     .put(packet.rssi)
                     .put(uint8(packet.packetType))
                     .put(sender.address)
                     .put(sender.type)
                     .put(module.bondOf(sender))
                     .put(module.identity().numberReports ? numbered(packet.data) : packet.data));
}

QByteArray GapBehaviour::numbered(const QByteArray &elements)
{
    const QByteArray number =
        QByteArray("\x07\xff\xff\xff", 4) + PayloadWriter().put(++reportsNumbered).payload();
    int kept = 0;
    while (kept < elements.size()) {
        const int next = kept + uint8(elements[kept]) + 1;
        if (number.size() + next > longestAdvertisingData)
            break;
        kept = next;
    }
    return number + elements.left(kept);
}

} // namespace simulator
