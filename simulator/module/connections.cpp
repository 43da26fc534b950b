#include "simulator/module/connections.h"

#include "simulator/module/module.h"

#include <QTimer>

#include <algorithm>
#include <utility>

namespace simulator {

bool areValid(const ConnectionParameters &parameters, uint16 minInterval, uint16 maxInterval)
{
    return minInterval >= 6 && minInterval <= maxInterval && maxInterval <= 3200 &&
           parameters.timeout >= 10 && parameters.timeout <= 3200 && parameters.latency <= 499 &&
           parameters.timeout * 8 > (1 + parameters.latency) * maxInterval; // both in 1.25 ms
}

Connection::Connection(uint8 ownHandle, const RemoteDevice &remote, const ConnectionParameters &chosen,
                       uint8 bondNumber)
    : handle(ownHandle)
    , device(remote)
    , parameters(chosen)
    , bond(bondNumber)
{
}

void Connection::whenAnswered(int delay, std::function<void()> call)
{
    QTimer::singleShot(delay, Qt::PreciseTimer, this, [this, call = std::move(call)] {
        if (inRange)
            call();
        else
            waiting.push_back(call);
    });
}

void Connection::setInRange(bool isNear)
{
    if (inRange && !isNear)
        ++absences;
    inRange = isNear;
    if (!inRange)
        return;
    for (auto &call : std::exchange(waiting, {}))
        whenAnswered(0, std::move(call));
}

Connections::Connections(Module &owner)
    : module(owner)
{
    connect(&module.air(), &Air::rangeChanged, this, &Connections::follow);
}

int Connections::freeHandle() const
{
    const auto free = std::find(connections.begin(), connections.end(), nullptr);
    return free == connections.end() ? -1 : int(free - connections.begin());
}

bool Connections::isConnected(const DeviceAddress &address) const
{
    return std::any_of(connections.begin(), connections.end(),
                       [&address](const auto &c) { return c && c->device.address == address; });
}

Connection *Connections::find(uint8 handle)
{
    if (handle >= maxCount || !connections[handle] || !connections[handle]->isEstablished)
        return nullptr;
    return connections[handle].get();
}

void Connections::open(uint8 handle, const RemoteDevice &device, const ConnectionParameters &parameters)
{
    if (handle >= maxCount || connections[handle])
        return;
    const uint8 bond = module.bondOf(device.address);
    connections[handle] = std::make_unique<Connection>(handle, device, parameters, bond);
    Connection &connection = *connections[handle];
    if (device.connecting == RemoteDevice::Connecting::neverAnswers) {
        constexpr int establishingIntervals = 6; // an unanswered connection is given up after these
        closeLater(connection, connection.intervals(establishingIntervals), resultNotEstablished);
        return;
    }
    connection.isEstablished = true;
    module.air().setConnected(device, true);
    raiseStatus(handle, completed);
    if (parameters.interval < device.minInterval)
        closeLater(connection, connection.intervals(1), resultUnacceptableInterval);
    else if (device.connecting == RemoteDevice::Connecting::hangsUp)
        closeLater(connection, device.hangUpTime, resultEndedByRemote);
}

void Connections::closeLater(const Connection &connection, int milliseconds, Result reason)
{
    QTimer::singleShot(milliseconds, &connection, [this, &connection, reason] {
        if (connection.isInRange()) // otherwise the timeout closes the connection
            close(connection.handle, reason);
    });
}

void Connections::close(uint8 handle, Result reason)
{
    if (handle >= maxCount || !connections[handle])
        return;
    remove(handle);
    module.raise("connection_disconnected", handle, reason);
}

bool Connections::hangUp(uint8 handle)
{
    const Connection *connection = find(handle);
    if (!connection || !connection->isInRange())
        return false;
    close(handle, resultEndedByRemote);
    return true;
}

void Connections::raiseStatus(uint8 handle, int extraFlags)
{
    const Connection *connection = find(handle);
    if (!connection) {
        module.raise("connection_status", handle);
        return;
    }
    const int encryption = connection->security != Security::none ? encrypted : 0;
    const DeviceAddress &device = connection->device.address;
    const ConnectionParameters &parameters = connection->parameters;
    module.raise("connection_status", handle, uint8(connected | encryption | extraFlags), device.address,
                 device.type, parameters.interval, parameters.timeout, parameters.latency, connection->bond);
}

void Connections::forgetBond(uint8 bond)
{
    for (const auto &connection : connections) {
        if (connection && connection->bond == bond)
            connection->bond = noBond;
    }
}

void Connections::drop()
{
    for (uint8 handle = 0; handle < maxCount; ++handle)
        remove(handle);
}

void Connections::remove(uint8 handle)
{
    const std::unique_ptr<Connection> connection = std::move(connections[handle]);
    if (!connection || !connection->isEstablished)
        return;
    Q_EMIT closed(connection->device);
    module.air().setConnected(connection->device, false);
}

void Connections::follow(const RemoteDevice &device, bool inRange)
{
    for (const auto &connection : connections) {
        if (!connection || !connection->isEstablished || !(connection->device.address == device.address) ||
            connection->isInRange() == inRange)
            continue;
        connection->setInRange(inRange);
        if (inRange)
            continue;
        QTimer::singleShot(connection->timeout(), Qt::PreciseTimer, connection.get(),
                           [this, &lost = *connection, absence = connection->absences] {
                               if (!lost.isInRange() && lost.absences == absence)
                                   close(lost.handle, resultSupervisionTimeout);
                           });
    }
}

} // namespace simulator
