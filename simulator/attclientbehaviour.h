#pragma once

#include "simulator/behaviour.h"
#include "simulator/gattserver.h"

#include <functional>
#include <map>

namespace simulator {

class Link;

// The class attclient: a stack with the default MTU, which runs one procedure at a time on a link. What a
// procedure finds, and its end, come in a later turn of the event loop than the response. The event
// procedure_completed names the handle that was read or written, 0 where that is none or several, and the
// handle of the error response where the remote device refused.
class AttClientBehaviour : public Behaviour
{
public:
    explicit AttClientBehaviour(SimulatedModule &owner);

private:
    struct Event
    {
        const char *name;
        PayloadWriter fields;
    };
    struct Answer
    {
        QVector<Event> events;
        Outcome end;
        int lasts = 0; // milliseconds until the end
    };
    using Procedure = std::function<Answer(GattServer &server, const Link &link)>;

    void findByTypeValue(payload_reader &command, PayloadWriter &response);
    void readByGroupType(payload_reader &command, PayloadWriter &response);
    void readByType(payload_reader &command, PayloadWriter &response);
    void findInformation(payload_reader &command, PayloadWriter &response);
    void readByHandle(payload_reader &command, PayloadWriter &response);
    void attributeWrite(payload_reader &command, PayloadWriter &response);
    void writeCommand(payload_reader &command, PayloadWriter &response);
    void indicateConfirm(payload_reader &command, PayloadWriter &response);
    void readLong(payload_reader &command, PayloadWriter &response);
    void prepareWrite(payload_reader &command, PayloadWriter &response);
    void executeWrite(payload_reader &command, PayloadWriter &response);
    void readMultiple(payload_reader &command, PayloadWriter &response);

    // Puts connection and result into the response and lets the procedure begin if that is 0.
    void begin(uint8 connection, bool validParameters, PayloadWriter &response, const Procedure &procedure);
    void run(Link &link, const Procedure &procedure);
    void complete(Link &link, const Outcome &end);
    void scheduleReports(Link &link);
    void sendReports(Link &link);
    GattServer &serverOf(const RemoteDevice &device);

    static Event valueEvent(uint8 connection, uint16 handle, uint8 type, const QByteArray &value);
    static void addTypedValues(const Link &link, const GattServer &server, const QVector<uint16> &handles,
                               Answer &answer);

    std::map<QByteArray, GattServer> servers; // by address and type
};

} // namespace simulator
