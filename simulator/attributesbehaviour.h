#pragma once

#include "simulator/attributedatabase.h"
#include "simulator/behaviour.h"

namespace simulator {

// The class attributes: the module's own GATT database. Values go back to their first state on a restart.
class AttributesBehaviour : public Behaviour
{
public:
    // Values of the event value's field reason.
    enum ChangeReason : uint8 { writeRequest = 0, writeCommand = 1, writeRequestUser = 2 };

    explicit AttributesBehaviour(SimulatedModule &owner);

    void restart() override;

    // What a remote device does that writes an attribute: the module reports it by the event value. A write
    // that is refused is not reported. One of a user attribute is always reported and stored nowhere.
    Result remoteWrite(uint8 connection, uint16 handle, uint16 offset, const QByteArray &value);

private:
    void write(payload_reader &command, PayloadWriter &response);
    void read(payload_reader &command, PayloadWriter &response);
    void readType(payload_reader &command, PayloadWriter &response);
    void send(payload_reader &command, PayloadWriter &response);
    Result sendResult(uint8 connection, uint16 handle) const;

    AttributeDatabase database;
};

} // namespace simulator
