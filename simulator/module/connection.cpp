#include "simulator/module/behaviours.h"

#include <algorithm>

namespace simulator {
namespace {

// The class connection.
class ConnectionBehaviour : public Behaviour
{
public:
    explicit ConnectionBehaviour(Module &owner)
        : Behaviour(owner)
    {
        on("connection_disconnect", [this](uint8 handle) {
            const bool isOpen = find(handle);
            if (isOpen)
                module.connections().close(handle, resultEndedLocally);
            return payload(handle, isOpen ? resultOk : resultNoSuchConnection);
        });
        on("connection_get_rssi", [this](uint8 handle) {
            const Connection *connection = find(handle);
            return payload(handle, connection ? module.air().rssiOf(connection->device) : int8(0));
        });
        on("connection_get_status", [this](uint8 handle) {
            module.connections().raiseStatus(handle);
            return payload(handle);
        });
        on("connection_update",
           [this](uint8 handle, uint16 minInterval, uint16 maxInterval, uint16 latency, uint16 timeout) {
               return payload(handle, update(handle, {minInterval, timeout, latency}, maxInterval));
           });
        addDeviceInformation();
    }

private:
    Connection *find(uint8 handle) const { return module.connections().find(handle); }

    // The status event ends the procedure, without its flag if the remote device accepts no interval.
    Result update(uint8 handle, ConnectionParameters wanted, uint16 maxInterval)
    {
        Connection *connection = find(handle);
        if (!connection)
            return resultNoSuchConnection;
        if (!areValid(wanted, wanted.interval, maxInterval))
            return resultInvalidParameter;
        wanted.interval = std::max(wanted.interval, connection->device.minInterval);
        const bool isAccepted = wanted.interval <= maxInterval;
        connection->whenAnswered(module.options().answerDelay, [this, connection, wanted, isAccepted] {
            if (isAccepted)
                connection->parameters = wanted;
            module.connections().raiseStatus(connection->handle,
                                             isAccepted ? Connections::parametersChange : 0);
        });
        return resultOk;
    }

    void addDeviceInformation()
    {
        on("connection_version_update", [this](uint8 handle) {
            return ask(handle, [this, handle](const RemoteDevice &device) {
                module.raise("connection_version_ind", handle, device.version, device.company,
                             device.subVersion);
            });
        });
        on("connection_features_get", [this](uint8 handle) {
            return ask(handle, [this, handle](const RemoteDevice &device) {
                module.raise("connection_feature_ind", handle, device.features);
            });
        });
    }

    // Returns the response's payload, and calls back when the device answers.
    template <typename Callback>
    QByteArray ask(uint8 handle, Callback callback)
    {
        Connection *connection = find(handle);
        if (!connection)
            return payload(handle, resultNoSuchConnection);
        connection->whenAnswered(module.options().answerDelay,
                                 [connection, callback] { callback(connection->device); });
        return payload(handle, resultOk);
    }
};

} // namespace

std::unique_ptr<Behaviour> makeConnectionBehaviour(Module &module)
{
    return std::make_unique<ConnectionBehaviour>(module);
}

} // namespace simulator
