#pragma once

#include "simulator/behaviour.h"

namespace simulator {

class Link;

// The class connection. What the remote device has to answer first comes in a later turn of the event loop.
class ConnectionBehaviour : public Behaviour
{
public:
    explicit ConnectionBehaviour(SimulatedModule &owner);

private:
    void disconnect(payload_reader &command, PayloadWriter &response);
    void getRssi(payload_reader &command, PayloadWriter &response);
    void update(payload_reader &command, PayloadWriter &response);
    void versionUpdate(payload_reader &command, PayloadWriter &response);
    void channelMapGet(payload_reader &command, PayloadWriter &response);
    void channelMapSet(payload_reader &command, PayloadWriter &response);
    void featuresGet(payload_reader &command, PayloadWriter &response);
    void getStatus(payload_reader &command, PayloadWriter &response);
    void rawTx(payload_reader &command, PayloadWriter &response);
    void slaveLatencyDisable(payload_reader &command, PayloadWriter &response);

    // Reads the connection and puts it and the result of a plain request into the response. Null if there is
    // no such link.
    Link *begin(payload_reader &command, PayloadWriter &response);
    int answerDelay() const;
};

} // namespace simulator
