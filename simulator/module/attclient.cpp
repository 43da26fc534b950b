#include "simulator/module/behaviours.h"
#include "simulator/world/gattserver.h"

#include <QPointer>

#include <algorithm>
#include <functional>
#include <map>

namespace simulator {
namespace {

constexpr int reportInterval = 1000; // ms

// Field type of the event attclient_attribute_value.
enum ValueType : uint8 {
    valueRead,
    valueNotify,
    valueIndicate,
    valueByType,
    valueBlob,
    valueIndicateRequest
};

struct Event
{
    const char *name;
    QByteArray payload;
};

// The events of a procedure and its result.
struct Answer
{
    QVector<Event> events;
    Outcome end;
    int duration = 0; // ms from the events to the end
};

// A step of the attribute protocol, carried out when the remote device answers.
using Procedure = std::function<Answer(GattServer &server, const Connection &connection)>;

bool isRange(uint16 first, uint16 last)
{
    return first != 0 && first <= last;
}

bool isUuid(const QByteArray &uuid)
{
    return uuid.size() == 2 || uuid.size() == 16;
}

Event valueEvent(uint8 connection, uint16 handle, ValueType type, const QByteArray &value)
{
    return {"attclient_attribute_value", payload(connection, handle, type, value)};
}

// A characteristic declaration raises attribute_found as well as attribute_value.
Event characteristicEvent(uint8 connection, uint16 handle, const QByteArray &declaration)
{
    constexpr int uuidOffset = 3; // after the properties and the handle of the value
    payload_reader reader(message_payload{declaration.constData(), declaration.size()});
    const auto properties = reader.take<uint8>();
    const auto valueHandle = reader.take<uint16>();
    return {"attclient_attribute_found",
            payload(connection, handle, valueHandle, properties, declaration.mid(uuidOffset))};
}

Event groupEvent(uint8 connection, uint16 handle, const AttributeDatabase &attributes)
{
    return {"attclient_group_found",
            payload(connection, handle, attributes.groupEnd(handle), attributes.find(handle)->value)};
}

// The values of these attributes, up to the first that cannot be read.
Answer typedValues(const Connection &connection, const GattServer &server, const QVector<uint16> &handles)
{
    Answer answer;
    for (const uint16 handle : handles) {
        QByteArray value;
        const Result result = server.read(handle, 0, connection.security, &value);
        if (result != resultOk) {
            answer.end = {result, handle};
            break;
        }
        if (server.attributes().find(handle)->type == uuid16(characteristicUuid))
            answer.events.append(characteristicEvent(connection.handle, handle, value));
        answer.events.append(
            valueEvent(connection.handle, handle, valueByType, value.left(GattServer::maxTypedRead)));
    }
    return answer;
}

// The whole value in pieces of one packet; an empty value is one empty piece.
Answer longValue(const Connection &connection, const GattServer &server, uint16 handle)
{
    QByteArray value;
    Answer answer{{}, {server.read(handle, 0, connection.security, &value), handle}};
    if (answer.end.result != resultOk)
        return answer;
    int offset = 0;
    do {
        answer.events.append(
            valueEvent(connection.handle, handle, valueBlob, value.mid(offset, GattServer::maxRead)));
        offset += GattServer::maxRead;
    } while (offset < value.size());
    return answer;
}

// The class attclient: a client with the default MTU, which runs one procedure at a time on a connection. The
// event procedure_completed names the handle that was read, written or refused, or 0.
class AttClientBehaviour : public Behaviour
{
public:
    explicit AttClientBehaviour(Module &owner)
        : Behaviour(owner)
    {
        addDiscovery();
        addReads();
        addWrites();
        QObject::connect(&module.connections(), &Connections::closed, &listener,
                         [this](const RemoteDevice &device) { serverOf(device).forgetClient(); });
    }

private:
    void addDiscovery()
    {
        on("attclient_read_by_group_type",
           [this](uint8 connection, uint16 start, uint16 end, const QByteArray &uuid) {
               return begin(connection, isRange(start, end) && isUuid(uuid), [=](GattServer &server, auto &) {
                   const QByteArray type = shortUuid(uuid);
                   if (type != uuid16(primaryServiceUuid) && type != uuid16(secondaryServiceUuid))
                       return Answer{{}, {resultUnsupportedGroupType, start}};
                   Answer answer{{}, {resultAttributeNotFound, start}};
                   for (const uint16 handle : server.attributes().ofType(type, start, end)) {
                       answer.events.append(groupEvent(connection, handle, server.attributes()));
                       answer.end = {};
                   }
                   return answer;
               });
           });
        on("attclient_find_information", [this](uint8 connection, uint16 start, uint16 end) {
            return begin(connection, isRange(start, end), [=](GattServer &server, auto &) {
                Answer answer{{}, {resultAttributeNotFound, start}};
                const int last = std::min<int>(end, server.attributes().size());
                for (int handle = start; handle <= last; ++handle) {
                    const Attribute &attribute = *server.attributes().find(uint16(handle));
                    answer.events.append({"attclient_find_information_found",
                                          payload(connection, uint16(handle), attribute.type)});
                    answer.end = {};
                }
                return answer;
            });
        });
    }

    void addReads()
    {
        on("attclient_read_by_type",
           [this](uint8 connection, uint16 start, uint16 end, const QByteArray &uuid) {
               return begin(connection, isRange(start, end) && isUuid(uuid),
                            [=](GattServer &server, const Connection &peer) {
                                const auto handles = server.attributes().ofType(uuid, start, end);
                                return handles.isEmpty() ? Answer{{}, {resultAttributeNotFound, start}}
                                                         : typedValues(peer, server, handles);
                            });
           });
        on("attclient_read_by_handle", [this](uint8 connection, uint16 handle) {
            return begin(connection, true, [=](GattServer &server, const Connection &peer) {
                QByteArray value;
                Answer answer{{}, {server.read(handle, 0, peer.security, &value), handle}};
                if (answer.end.result == resultOk)
                    answer.events.append(
                        valueEvent(connection, handle, valueRead, value.left(GattServer::maxRead)));
                return answer;
            });
        });
        on("attclient_read_long", [this](uint8 connection, uint16 handle) {
            return begin(connection, true, [=](GattServer &server, const Connection &peer) {
                return longValue(peer, server, handle);
            });
        });
    }

    void addWrites()
    {
        on("attclient_attribute_write", [this](uint8 connection, uint16 handle, const QByteArray &value) {
            return begin(
                connection, value.size() <= GattServer::maxWrite,
                [=](GattServer &server, const Connection &peer) {
                    const int duration = server.isErase(handle, value) ? module.options().eraseTime : 0;
                    return Answer{{}, {server.write(handle, value, peer.security), handle}, duration};
                });
        });
        on("attclient_write_command", [this](uint8 connection, uint16 handle, const QByteArray &value) {
            return payload(connection, writeCommand(connection, handle, value));
        });
        on("attclient_indicate_confirm", [this](uint8 connection) {
            const Connection *peer = module.connections().find(connection);
            if (!peer)
                return resultNoSuchConnection;
            return serverOf(peer->device).confirm() ? resultOk : resultWrongState;
        });
    }

    // While the remote device is out of range, the module's buffers stay full.
    Result writeCommand(uint8 connection, uint16 handle, const QByteArray &value)
    {
        const Connection *peer = module.connections().find(connection);
        if (!peer)
            return resultNoSuchConnection;
        if (value.size() > GattServer::maxWrite)
            return resultInvalidParameter;
        if (!peer->isInRange())
            return resultOutOfMemory;
        serverOf(peer->device).writeCommand(handle, value, peer->security);
        return resultOk;
    }

    GattServer &serverOf(const RemoteDevice &device)
    {
        const QByteArray key = payload(device.address.address, device.address.type);
        return servers.try_emplace(key, device, module.options().seed, module.ota()).first->second;
    }

    // Returns the payload of the response, and starts the procedure if the result is 0.
    QByteArray begin(uint8 handle, bool validParameters, const Procedure &procedure)
    {
        Connection *connection = module.connections().find(handle);
        if (!connection)
            return payload(handle, resultNoSuchConnection);
        if (!validParameters)
            return payload(handle, resultInvalidParameter);
        if (connection->procedureRunning)
            return payload(handle, resultWrongState);
        connection->procedureRunning = true;
        connection->whenAnswered(module.options().answerDelay,
                                 [this, connection, procedure] { run(*connection, procedure); });
        return payload(handle, resultOk);
    }

    // A receiver may answer a frame at once with a command that closes the connection.
    bool raiseAll(const Connection &connection, const QVector<Event> &events)
    {
        const QPointer<const Connection> alive(&connection);
        for (const Event &event : events) {
            module.raisePayload(event.name, event.payload);
            if (!alive)
                return false;
        }
        return true;
    }

    void run(Connection &connection, const Procedure &procedure)
    {
        const Answer answer = procedure(serverOf(connection.device), connection);
        if (!raiseAll(connection, answer.events))
            return;
        if (answer.duration == 0)
            complete(connection, answer.end);
        else
            connection.whenAnswered(answer.duration,
                                    [this, &connection, end = answer.end] { complete(connection, end); });
    }

    void complete(Connection &connection, const Outcome &end)
    {
        connection.procedureRunning = false;
        if (serverOf(connection.device).isSubscribed() && !connection.isReporting)
            scheduleReports(connection);
        module.raise("attclient_procedure_completed", connection.handle, end.result, end.handle);
    }

    void scheduleReports(Connection &connection)
    {
        connection.isReporting = true;
        connection.whenAnswered(reportInterval, [this, &connection] { sendReports(connection); });
    }

    void sendReports(Connection &connection)
    {
        GattServer &server = serverOf(connection.device);
        QVector<Event> events;
        for (const GattServer::Report &report : server.report()) {
            const ValueType type = report.needsConfirmation ? valueIndicateRequest : valueNotify;
            events.append(valueEvent(connection.handle, report.handle, type, report.value));
        }
        if (!raiseAll(connection, events))
            return;
        connection.isReporting = server.isSubscribed();
        if (connection.isReporting)
            scheduleReports(connection);
    }

    std::map<QByteArray, GattServer> servers; // by address and type
    QObject listener;
};

} // namespace

std::unique_ptr<Behaviour> makeAttClientBehaviour(Module &module)
{
    return std::make_unique<AttClientBehaviour>(module);
}

} // namespace simulator
