#include "simulator/attributesbehaviour.h"

#include "simulator/simulatedmodule.h"

namespace simulator {

AttributesBehaviour::AttributesBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
    , database(localDatabase())
{
    static constexpr CommandEntry<AttributesBehaviour> commands[] = {
        {"attributes_write", &AttributesBehaviour::write},
        {"attributes_read", &AttributesBehaviour::read},
        {"attributes_read_type", &AttributesBehaviour::readType},
        {"attributes_send", &AttributesBehaviour::send},
    };
    module.addCommands(this, commands);
}

void AttributesBehaviour::restart()
{
    database = localDatabase();
}

Result AttributesBehaviour::remoteWrite(uint8 connection, uint16 handle, uint16 offset,
                                        const QByteArray &value)
{
    Result result = database.write(handle, offset, value);
    const bool isUser = result == resultUserAttribute;
    if (isUser)
        result = resultOk;
    if (result == resultOk) {
        const uint8 reason = isUser ? writeRequestUser : writeRequest;
        module.raise("attributes_value",
                     PayloadWriter().put(connection).put(reason).put(handle).put(offset).put(value));
    }
    return result;
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
    constexpr uint8 everyConnection = 0xff;
    const Attribute *attribute = database.find(handle);
    if (!attribute)
        return resultInvalidHandle;
    if (attribute->properties == Attribute::none)
        return resultWrongState;
    return connection == everyConnection ? resultOk : resultNoSuchConnection;
}

void AttributesBehaviour::send(payload_reader &command, PayloadWriter &response)
{
    const auto connection = command.take<uint8>();
    response.put(uint16(sendResult(connection, command.take<uint16>())));
}

} // namespace simulator
