#include "simulator/module/behaviours.h"

#include <QObject>
#include <QSet>

namespace simulator {
namespace {

enum DiscoverMode : uint8 { discoverLimited, discoverGeneric, discoverObservation };

constexpr int maxAdvertisingData = 31;

Result validity(bool isValid)
{
    return isValid ? resultOk : resultInvalidParameter;
}

// The class gap: discovering and connecting, one procedure at a time, and the modes of the module itself.
class GapBehaviour : public Behaviour
{
public:
    explicit GapBehaviour(Module &owner)
        : Behaviour(owner)
    {
        addAdvertising();
        addParameters();
        addProcedures();
        QObject::connect(&module.air(), &Air::heard, &listener,
                         [this](const Advertisement &packet) { hear(packet); });
    }

    void restart() override
    {
        end();
        scanning = {};
        scanWhitelistOnly = false;
        filterDuplicates = false;
        discoverable = 0;
        connectable = 0;
    }

private:
    enum class Procedure { none, discover, connectDirect, connectSelective };

    // Interval and window in units of 0.625 ms. The default listens all the time.
    struct ScanParameters
    {
        uint16 interval = 200;
        uint16 window = 200;
        bool isActive = false;
    };

    void addAdvertising()
    {
        on("gap_set_mode", [this](uint8 discover, uint8 connect) {
            constexpr uint8 maxDiscoverable = 4, maxConnectable = 3;
            if (discover > maxDiscoverable || connect > maxConnectable)
                return resultInvalidParameter;
            if (discover != discoverable || connect != connectable)
                module.raise("gap_mode_changed", discover, connect);
            discoverable = discover;
            connectable = connect;
            return resultOk;
        });
        on("gap_set_adv_parameters", [](uint16 minInterval, uint16 maxInterval, uint8 channels) {
            return validity(minInterval >= 0x20 && minInterval <= maxInterval && maxInterval <= 0x4000 &&
                            channels >= 1 && channels <= 7);
        });
    }

    void addParameters()
    {
        on("gap_set_filtering", [this](uint8 scanPolicy, uint8 advertisingPolicy, uint8 duplicates) {
            const Result result =
                whileIdle(validity(scanPolicy <= 1 && advertisingPolicy <= 3 && duplicates <= 1));
            if (result == resultOk) {
                scanWhitelistOnly = scanPolicy == 1;
                filterDuplicates = duplicates == 1;
            }
            return result;
        });
        on("gap_set_scan_parameters", [this](uint16 interval, uint16 window, uint8 active) {
            const Result result =
                whileIdle(validity(window >= 4 && window <= interval && interval <= 0x4000 && active <= 1));
            if (result == resultOk)
                scanning = {interval, window, active == 1};
            return result;
        });
    }

    void addProcedures()
    {
        on("gap_discover", [this](uint8 mode) {
            const Result result = whileIdle(validity(mode <= discoverObservation));
            if (result == resultOk) {
                discoverMode = mode;
                begin(Procedure::discover, scanning);
            }
            return result;
        });
        on("gap_end_procedure", [this] {
            const bool isRunning = running != Procedure::none;
            end();
            return isRunning ? resultOk : resultWrongState;
        });
        on("gap_connect_direct", [this](const bd_addr &address, uint8 type, uint16 minInterval,
                                        uint16 maxInterval, uint16 timeout, uint16 latency) {
            const DeviceAddress device{address, type};
            Result obstacle = validity(type <= 1);
            if (module.connections().isConnected(device))
                obstacle = resultWrongState;
            if (running == Procedure::none)
                wanted = device;
            return connectTo(Procedure::connectDirect, minInterval, {maxInterval, timeout, latency},
                             obstacle);
        });
        on("gap_connect_selective",
           [this](uint16 minInterval, uint16 maxInterval, uint16 timeout, uint16 latency) {
               return connectTo(Procedure::connectSelective, minInterval, {maxInterval, timeout, latency},
                                module.whitelist().isEmpty() ? resultWrongState : resultOk);
           });
    }

    // Refuses a good request while a procedure runs.
    Result whileIdle(Result result) const
    {
        return result == resultOk && running != Procedure::none ? resultWrongState : result;
    }

    void begin(Procedure procedure, const ScanParameters &parameters)
    {
        running = procedure;
        reported.clear();
        // The first packet may be heard at once, and comes after the response.
        QTimer::singleShot(0, &listener, [this, parameters] {
            if (running != Procedure::none)
                module.air().listen(true, parameters.isActive,
                                    double(parameters.window) / parameters.interval);
        });
    }

    void end()
    {
        running = Procedure::none;
        module.air().listen(false);
    }

    // Returns the payload of the response: the result, and the handle of the connection to come.
    QByteArray connectTo(Procedure procedure, uint16 minInterval, const ConnectionParameters &parameters,
                         Result obstacle)
    {
        Result result = whileIdle(validity(areValid(parameters, minInterval, parameters.interval)));
        if (result == resultOk)
            result = obstacle;
        const int handle = module.connections().freeHandle();
        if (result == resultOk && handle < 0)
            result = resultOutOfMemory;
        if (result != resultOk)
            return payload(result);
        reservedHandle = uint8(handle);
        connectionParameters = parameters;
        begin(procedure, {});
        return payload(result, reservedHandle);
    }

    void hear(const Advertisement &packet)
    {
        const DeviceAddress &sender = packet.device->address;
        if (running == Procedure::discover) {
            if (isDiscovered(packet))
                report(packet);
            return;
        }
        const bool isWanted =
            running == Procedure::connectDirect ? sender == wanted : module.whitelist().contains(sender);
        const bool isConnectable =
            packet.packetType == connectableUndirected || packet.packetType == connectableDirected;
        if (!isWanted || !isConnectable)
            return;
        end();
        module.connections().open(reservedHandle, *packet.device, connectionParameters);
    }

    bool isDiscovered(const Advertisement &packet)
    {
        constexpr uint8 limited = 1, limitedOrGeneral = 3;
        const DeviceAddress &sender = packet.device->address;
        const uint8 flags = discoverMode == discoverLimited ? limited : limitedOrGeneral;
        if (discoverMode != discoverObservation && !advertisesFlags(*packet.device, flags))
            return false;
        if (scanWhitelistOnly && !module.whitelist().contains(sender))
            return false;
        const QByteArray key = payload(sender.address, sender.type, packet.packetType);
        const bool isRepeated = filterDuplicates && reported.contains(key);
        if (filterDuplicates)
            reported.insert(key);
        return !isRepeated;
    }

    void report(const Advertisement &packet)
    {
        const DeviceAddress &sender = packet.device->address;
        module.raise("gap_scan_response", packet.rssi, packet.packetType, sender.address, sender.type,
                     module.bondOf(sender),
                     module.options().numberReports ? numbered(packet.data) : packet.data);
    }

    // Puts an element with the running number first; elements that no longer fit are left out.
    QByteArray numbered(const QByteArray &elements)
    {
        const QByteArray number = QByteArray("\x07\xff\xff\xff", 4) + payload(++reportsNumbered);
        int kept = 0;
        while (kept < elements.size()) {
            const int next = kept + uint8(elements[kept]) + 1;
            if (number.size() + next > maxAdvertisingData)
                break;
            kept = next;
        }
        return number + elements.left(kept);
    }

    Procedure running = Procedure::none;
    uint8 discoverMode = 0;
    ScanParameters scanning;
    bool scanWhitelistOnly = false;
    bool filterDuplicates = false;
    QSet<QByteArray> reported; // address, its type and packet type
    uint32 reportsNumbered = 0;

    DeviceAddress wanted; // of connectDirect
    uint8 reservedHandle = 0;
    ConnectionParameters connectionParameters{};

    uint8 discoverable = 0; // modes of the module itself
    uint8 connectable = 0;

    QObject listener;
};

} // namespace

std::unique_ptr<Behaviour> makeGapBehaviour(Module &module)
{
    return std::make_unique<GapBehaviour>(module);
}

} // namespace simulator
