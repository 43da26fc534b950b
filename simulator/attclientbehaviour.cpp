#include "simulator/attclientbehaviour.h"

#include "simulator/databasebuilder.h"
#include "simulator/simulatedmodule.h"

#include <QPointer>

#include <algorithm>

namespace simulator {
namespace {

constexpr int reportInterval = 1000; // milliseconds

// Of the event attribute_value.
enum ValueType : uint8 {
    valueRead,
    valueNotify,
    valueIndicate,
    valueByType,
    valueBlob,
    valueIndicateRequest
};

bool isRange(uint16 first, uint16 last)
{
    return first != 0 && first <= last;
}

bool isUuid(const QByteArray &uuid)
{
    return uuid.size() == 2 || uuid.size() == 16;
}

} // namespace

AttClientBehaviour::AttClientBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
{
    using A = AttClientBehaviour;
    static constexpr CommandEntry<A> commands[] = {
        {"attclient_find_by_type_value", &A::findByTypeValue},
        {"attclient_read_by_group_type", &A::readByGroupType},
        {"attclient_read_by_type", &A::readByType},
        {"attclient_find_information", &A::findInformation},
        {"attclient_read_by_handle", &A::readByHandle},
        {"attclient_attribute_write", &A::attributeWrite},
        {"attclient_write_command", &A::writeCommand},
        {"attclient_indicate_confirm", &A::indicateConfirm},
        {"attclient_read_long", &A::readLong},
        {"attclient_prepare_write", &A::prepareWrite},
        {"attclient_execute_write", &A::executeWrite},
        {"attclient_read_multiple", &A::readMultiple},
    };
    module.addCommands(this, commands);
    Links &links = module.links();
    QObject::connect(&links, &Links::closed, &links,
                     [this](const RemoteDevice &device) { serverOf(device).forgetClient(); });
}

GattServer &AttClientBehaviour::serverOf(const RemoteDevice &device)
{
    const QByteArray key = PayloadWriter().put(device.address.address).put(device.address.type).payload();
    return servers.try_emplace(key, device, module.identity().seed, module.ota()).first->second;
}

void AttClientBehaviour::begin(uint8 connection, bool validParameters, PayloadWriter &response,
                               const Procedure &procedure)
{
    Link *link = module.links().find(connection);
    Result result = resultOk;
    if (!link)
        result = resultNoSuchConnection;
    else if (!validParameters)
        result = resultInvalidParameter;
    else if (link->procedureRunning)
        result = resultWrongState;
    response.put(connection).put(uint16(result));
    if (result != resultOk)
        return;
    link->procedureRunning = true;
    link->whenAnswered(module.identity().answerDelay, [this, link, procedure] { run(*link, procedure); });
}

// Whoever takes a frame may answer it at once with a command that ends the link.
void AttClientBehaviour::run(Link &link, const Procedure &procedure)
{
    const QPointer<Link> alive(&link);
    GattServer &server = serverOf(link.device);
    const Answer answer = procedure(server, link);
    for (const Event &event : answer.events) {
        module.raise(event.name, event.fields);
        if (!alive)
            return;
    }
    if (answer.lasts == 0)
        complete(link, answer.end);
    else
        link.whenAnswered(answer.lasts, [this, &link, end = answer.end] { complete(link, end); });
}

void AttClientBehaviour::complete(Link &link, const Outcome &end)
{
    link.procedureRunning = false;
    if (serverOf(link.device).isSubscribed() && !link.reporting)
        scheduleReports(link);
    module.raise("attclient_procedure_completed",
                 PayloadWriter().put(link.handle).put(uint16(end.result)).put(end.handle));
}

void AttClientBehaviour::scheduleReports(Link &link)
{
    link.reporting = true;
    link.whenAnswered(reportInterval, [this, &link] { sendReports(link); });
}

void AttClientBehaviour::sendReports(Link &link)
{
    const QPointer<Link> alive(&link);
    GattServer &server = serverOf(link.device);
    for (const GattServer::Report &report : server.report()) {
        const ValueType type = report.needsConfirmation ? valueIndicateRequest : valueNotify;
        const Event event = valueEvent(link.handle, report.handle, type, report.value);
        module.raise(event.name, event.fields);
        if (!alive)
            return;
    }
    link.reporting = server.isSubscribed();
    if (link.reporting)
        scheduleReports(link);
}

AttClientBehaviour::Event AttClientBehaviour::valueEvent(uint8 connection, uint16 handle, uint8 type,
                                                         const QByteArray &value)
{
    return {"attclient_attribute_value", PayloadWriter().put(connection).put(handle).put(type).put(value)};
}

void AttClientBehaviour::findByTypeValue(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto start = command.take<uint16>();
    const auto end = command.take<uint16>();
    const auto uuid = command.take<uint16>();
    const auto wanted = command.take<QByteArray>();
    begin(connection, isRange(start, end), response, [=](GattServer &server, const Link &link) {
        Answer answer{{}, {resultAttributeNotFound, start}};
        for (const uint16 handle : server.attributes().ofType(uuid16(uuid), start, end)) {
            QByteArray value;
            if (server.read(handle, 0, link.security, &value) != resultOk || value != wanted)
                continue;
            answer.events.append({"attclient_group_found", PayloadWriter()
                                                               .put(connection)
                                                               .put(handle)
                                                               .put(server.attributes().groupEnd(handle))
                                                               .put(value)});
            answer.end = {};
        }
        return answer;
    });
}

void AttClientBehaviour::readByGroupType(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto start = command.take<uint16>();
    const auto end = command.take<uint16>();
    const auto uuid = command.take<QByteArray>();
    begin(connection, isRange(start, end) && isUuid(uuid), response, [=](GattServer &server, const Link &) {
        const QByteArray type = shortestUuid(uuid);
        if (type != uuid16(primaryServiceUuid) && type != uuid16(secondaryServiceUuid))
            return Answer{{}, {resultUnsupportedGroupType, start}};
        Answer answer{{}, {resultAttributeNotFound, start}};
        const AttributeDatabase &attributes = server.attributes();
        for (const uint16 handle : attributes.ofType(type, start, end)) {
            answer.events.append({"attclient_group_found", PayloadWriter()
                                                               .put(connection)
                                                               .put(handle)
                                                               .put(attributes.groupEnd(handle))
                                                               .put(attributes.find(handle)->value)});
            answer.end = {};
        }
        return answer;
    });
}

void AttClientBehaviour::readByType(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto start = command.take<uint16>();
    const auto end = command.take<uint16>();
    const auto uuid = command.take<QByteArray>();
    begin(connection, isRange(start, end) && isUuid(uuid), response,
          [=](GattServer &server, const Link &link) {
              Answer answer{{}, {resultAttributeNotFound, start}};
              addTypedValues(link, server, server.attributes().ofType(uuid, start, end), answer);
              return answer;
          });
}

// Up to the first that cannot be read. A characteristic declaration is told twice: taken apart and raw.
void AttClientBehaviour::addTypedValues(const Link &link, const GattServer &server,
                                        const QVector<uint16> &handles, Answer &answer)
{
    for (const uint16 handle : handles) {
        QByteArray value;
        answer.end.result = server.read(handle, 0, link.security, &value);
        answer.end.handle = answer.end.result == resultOk ? uint16(0) : handle;
        if (answer.end.result != resultOk)
            return;
        if (server.attributes().find(handle)->type == uuid16(characteristicUuid)) {
            constexpr int uuidOffset = 3; // behind the properties and the handle of the value
            payload_reader declaration(message_payload{value.constData(), value.size()});
            const auto properties = declaration.take<uint8>();
            const auto valueHandle = declaration.take<uint16>();
            answer.events.append({"attclient_attribute_found", PayloadWriter()
                                                                   .put(link.handle)
                                                                   .put(handle)
                                                                   .put(valueHandle)
                                                                   .put(properties)
                                                                   .put(value.mid(uuidOffset))});
        }
        answer.events.append(
            valueEvent(link.handle, handle, valueByType, value.left(GattServer::longestTypedRead)));
    }
}

void AttClientBehaviour::findInformation(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto start = command.take<uint16>();
    const auto end = command.take<uint16>();
    begin(connection, isRange(start, end), response, [=](GattServer &server, const Link &) {
        Answer answer{{}, {resultAttributeNotFound, start}};
        const int last = std::min<int>(end, server.attributes().size());
        for (int handle = start; handle <= last; ++handle) {
            const Attribute &attribute = *server.attributes().find(uint16(handle));
            answer.events.append({"attclient_find_information_found",
                                  PayloadWriter().put(connection).put(uint16(handle)).put(attribute.type)});
            answer.end = {};
        }
        return answer;
    });
}

void AttClientBehaviour::readByHandle(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto handle = command.take<uint16>();
    begin(connection, true, response, [=](GattServer &server, const Link &link) {
        QByteArray value;
        Answer answer{{}, {server.read(handle, 0, link.security, &value), handle}};
        if (answer.end.result == resultOk)
            answer.events.append(
                valueEvent(connection, handle, valueRead, value.left(GattServer::longestRead)));
        return answer;
    });
}

void AttClientBehaviour::readLong(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto handle = command.take<uint16>();
    begin(connection, true, response, [=](GattServer &server, const Link &link) {
        QByteArray value;
        Answer answer{{}, {server.read(handle, 0, link.security, &value), handle}};
        if (answer.end.result != resultOk)
            return answer;
        int offset = 0;
        do { // an empty value is one empty piece
            answer.events.append(
                valueEvent(connection, handle, valueBlob, value.mid(offset, GattServer::longestRead)));
            offset += GattServer::longestRead;
        } while (offset < value.size());
        return answer;
    });
}

void AttClientBehaviour::attributeWrite(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto handle = command.take<uint16>();
    const auto value = command.take<QByteArray>();
    begin(connection, value.size() <= GattServer::longestWrite, response,
          [=](GattServer &server, const Link &link) {
              const int lasts = server.isErase(handle, value) ? module.identity().eraseTime : 0;
              return Answer{{}, {server.write(handle, value, link.security), handle}, lasts};
          });
}

// While nothing gets through to the remote device the module's buffers stay full.
void AttClientBehaviour::writeCommand(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto handle = command.take<uint16>();
    const auto value = command.take<QByteArray>();
    const Link *link = module.links().find(connection);
    Result result = resultOk;
    if (!link)
        result = resultNoSuchConnection;
    else if (value.size() > GattServer::longestWrite)
        result = resultInvalidParameter;
    else if (!link->isInReach())
        result = resultOutOfMemory;
    else
        serverOf(link->device).writeCommand(handle, value, link->security);
    response.put(connection).put(uint16(result));
}

void AttClientBehaviour::indicateConfirm(payload_reader &command, PayloadWriter &response)
{
    const Link *link = module.links().find(command.take<uint8>());
    Result result = resultNoSuchConnection;
    if (link)
        result = serverOf(link->device).confirm() ? resultOk : resultWrongState;
    response.put(uint16(result));
}

void AttClientBehaviour::prepareWrite(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto handle = command.take<uint16>();
    const auto offset = command.take<uint16>();
    const auto value = command.take<QByteArray>();
    begin(connection, value.size() <= GattServer::longestPreparedWrite, response,
          [=](GattServer &server, const Link &link) {
              return Answer{{}, {server.prepareWrite(handle, offset, value, link.security), handle}};
          });
}

void AttClientBehaviour::executeWrite(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto commit = command.take<uint8>();
    begin(connection, commit <= 1, response, [=](GattServer &server, const Link &) {
        return Answer{{}, server.executeWrites(commit == 1)};
    });
}

// The request is for two handles at least and the values come in one packet without their lengths.
void AttClientBehaviour::readMultiple(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto handles = command.take<QByteArray>();
    const int size = handles.size();
    const bool valid = size % 2 == 0 && size >= 4 && size <= GattServer::longestRead;
    begin(connection, valid, response, [=](GattServer &server, const Link &link) {
        payload_reader reader(message_payload{handles.constData(), size});
        QByteArray values;
        for (int i = 0; i < size / 2; ++i) {
            const auto handle = reader.take<uint16>();
            QByteArray value;
            const Result result = server.read(handle, 0, link.security, &value);
            if (result != resultOk)
                return Answer{{}, {result, handle}};
            values += value;
        }
        return Answer{{{"attclient_read_multiple_response",
                        PayloadWriter().put(connection).put(values.left(GattServer::longestRead))}},
                      {}};
    });
}

} // namespace simulator
