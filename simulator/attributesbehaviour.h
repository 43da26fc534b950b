#pragma once

#include "simulator/attributedatabase.h"
#include "simulator/behaviour.h"

namespace simulator {

// The class attributes: the module's own GATT database. Values go back to their first state on a restart.
class AttributesBehaviour : public Behaviour
{
public:
    // Values of the event value's field reason.
    enum ChangeReason : uint8 { writeRequest = 0, writeRequestUser = 2 };

    explicit AttributesBehaviour(SimulatedModule &owner);

    void restart() override;

    // What a remote device does that writes an attribute: the module reports it by the event value, and by
    // the event status if it configures notifications. A write that is refused is not reported. One of a user
    // attribute is stored nowhere and waits for the host's user_write_response.
    Result remoteWrite(uint8 connection, uint16 handle, uint16 offset, const QByteArray &value);

    // The same for a read. The event user_read_request asks the host for the value of a user attribute. What
    // the remote device gets in the end is a note of the module.
    Result remoteRead(uint8 connection, uint16 handle);

private:
    // What a remote device waits for. A later request takes the place of one that is never answered.
    struct Request
    {
        enum Kind { none, read, write } kind = none;
        uint8 connection = 0;
        uint16 handle = 0;
    };

    void write(payload_reader &command, PayloadWriter &response);
    void read(payload_reader &command, PayloadWriter &response);
    void readType(payload_reader &command, PayloadWriter &response);
    void send(payload_reader &command, PayloadWriter &response);
    void userReadResponse(payload_reader &command, PayloadWriter &response);
    void userWriteResponse(payload_reader &command, PayloadWriter &response);
    void answer(Request::Kind kind, payload_reader &command);
    Result sendResult(uint8 connection, uint16 handle) const;
    bool isIndicated(uint16 handle) const;

    AttributeDatabase database;
    Request pending;
};

} // namespace simulator
