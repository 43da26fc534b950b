#include "simulator/attributesbehaviour.h"

#include "simulator/catalogue.h"
#include "simulator/simulatedmodule.h"

namespace simulator {
namespace {

constexpr uint8 everyConnection = 0xff;
constexpr uint8 longestRead = 22; // of one read request without a longer MTU

} // namespace

AttributesBehaviour::AttributesBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
    , database(localDatabase())
{
    static constexpr CommandEntry<AttributesBehaviour> commands[] = {
        {"attributes_write", &AttributesBehaviour::write},
        {"attributes_read", &AttributesBehaviour::read},
        {"attributes_read_type", &AttributesBehaviour::readType},
        {"attributes_user_read_response", &AttributesBehaviour::userReadResponse},
        {"attributes_user_write_response", &AttributesBehaviour::userWriteResponse},
        {"attributes_send", &AttributesBehaviour::send},
    };
    module.addCommands(this, commands);
}

void AttributesBehaviour::restart()
{
    database = localDatabase();
    pending = {};
}

Result AttributesBehaviour::remoteWrite(uint8 connection, uint16 handle, uint16 offset,
                                        const QByteArray &value)
{
    Result result = database.write(handle, offset, value);
    const bool isUser = result == resultUserAttribute;
    if (isUser)
        result = resultOk;
    if (result != resultOk)
        return result;
    const uint8 reason = isUser ? writeRequestUser : writeRequest;
    if (isUser)
        pending = {Request::write, connection, handle};
    module.raise("attributes_value",
                 PayloadWriter().put(connection).put(reason).put(handle).put(offset).put(value));
    const Attribute *attribute = database.find(handle);
    if (attribute->configures != 0) {
        const auto flags = uint8(attribute->value[0] & (Attribute::notify | Attribute::indicate));
        module.raise("attributes_status", PayloadWriter().put(attribute->configures).put(flags));
    }
    return resultOk;
}

Result AttributesBehaviour::remoteRead(uint8 connection, uint16 handle)
{
    constexpr uint16 offset = 0;
    QByteArray value;
    const Result result = database.read(handle, offset, &value);
    if (result == resultUserAttribute) {
        pending = {Request::read, connection, handle};
        module.raise("attributes_user_read_request",
                     PayloadWriter().put(connection).put(handle).put(offset).put(longestRead));
        return resultOk;
    }
    if (result == resultOk)
        Q_EMIT module.note(
            QStringLiteral("remote read of %1: %2").arg(handle).arg(spacedHex(value.left(longestRead))));
    return result;
}

void AttributesBehaviour::userReadResponse(payload_reader &command, PayloadWriter &)
{
    answer(Request::read, command);
}

void AttributesBehaviour::userWriteResponse(payload_reader &command, PayloadWriter &)
{
    answer(Request::write, command);
}

// An answer to nothing is ignored.
void AttributesBehaviour::answer(Request::Kind kind, payload_reader &command)
{
    const auto connection = command.take<uint8>();
    const auto error = command.take<uint8>();
    if (pending.kind != kind || pending.connection != connection)
        return;
    QString outcome = QStringLiteral("done");
    if (error != 0)
        outcome = QStringLiteral("refused with %1").arg(error, 2, 16, QLatin1Char('0'));
    else if (kind == Request::read)
        outcome = spacedHex(command.take<QByteArray>().left(longestRead));
    Q_EMIT module.note(QStringLiteral("remote %1 of %2: %3")
                           .arg(kind == Request::read ? QStringLiteral("read") : QStringLiteral("write"))
                           .arg(pending.handle)
                           .arg(outcome));
    pending = {};
}

void AttributesBehaviour::write(payload_reader &command, PayloadWriter &response)
{
    const auto handle = command.take<uint16>();
    const auto offset = command.take<uint8>();
    response.put(uint16(database.write(handle, offset, command.take<QByteArray>())));
}

void AttributesBehaviour::read(payload_reader &command, PayloadWriter &response)
{
    const auto handle = command.take<uint16>();
    const auto offset = command.take<uint16>();
    QByteArray value;
    const Result result = database.read(handle, offset, &value);
    response.put(handle).put(offset).put(uint16(result)).put(value);
}

void AttributesBehaviour::readType(payload_reader &command, PayloadWriter &response)
{
    const auto handle = command.take<uint16>();
    QByteArray type;
    const Result result = database.readType(handle, &type);
    response.put(handle).put(uint16(result)).put(type);
}

Result AttributesBehaviour::sendResult(uint8 connection, uint16 handle) const
{
    const Attribute *attribute = database.find(handle);
    if (!attribute)
        return resultInvalidHandle;
    if (attribute->properties == Attribute::none)
        return resultWrongState;
    const bool isLinked = module.links().find(connection) != nullptr;
    return connection == everyConnection || isLinked ? resultOk : resultNoSuchConnection;
}

void AttributesBehaviour::send(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    const auto handle = command.take<uint16>();
    const Result result = sendResult(connection, handle);
    response.put(uint16(result));
    if (result != resultOk || !isIndicated(handle))
        return;
    for (uint8 number = 0; number < Links::capacity; ++number) {
        Link *link = module.links().find(number);
        if (!link || (connection != everyConnection && connection != number))
            continue;
        link->whenAnswered(module.identity().answerDelay, [this, number, handle] {
            module.raise("attclient_indicated", PayloadWriter().put(number).put(handle));
        });
    }
}

// Whether a remote device has asked for indications of the value, which it then confirms.
bool AttributesBehaviour::isIndicated(uint16 handle) const
{
    for (int other = 1; other <= database.size(); ++other) {
        const Attribute *configuration = database.find(uint16(other));
        if (configuration->configures == handle && (configuration->value[0] & Attribute::indicate) != 0)
            return true;
    }
    return false;
}

} // namespace simulator
