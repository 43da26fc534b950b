#pragma once

#include "simulator/air.h"
#include "simulator/behaviour.h"
#include "simulator/links.h"

#include <QObject>
#include <QSet>

namespace simulator {

// The class gap: discovering and connecting, one procedure at a time, and the module's own advertising, which
// nobody takes up.
class GapBehaviour : public Behaviour
{
public:
    explicit GapBehaviour(SimulatedModule &owner);

    void restart() override;

private:
    enum class Procedure { none, discover, connectDirect, connectSelective };

    // Interval and window in units of 0.625 ms. At first the radio listens all the time.
    struct ScanParameters
    {
        uint16 interval = 200;
        uint16 window = 200;
        bool active = false;
    };

    void setPrivacyFlags(payload_reader &command, PayloadWriter &response);
    void setMode(payload_reader &command, PayloadWriter &response);
    void discover(payload_reader &command, PayloadWriter &response);
    void connectDirect(payload_reader &command, PayloadWriter &response);
    void endProcedure(payload_reader &command, PayloadWriter &response);
    void connectSelective(payload_reader &command, PayloadWriter &response);
    void setFiltering(payload_reader &command, PayloadWriter &response);
    void setScanParameters(payload_reader &command, PayloadWriter &response);
    void setAdvParameters(payload_reader &command, PayloadWriter &response);
    void setAdvData(payload_reader &command, PayloadWriter &response);
    void setDirectedConnectableMode(payload_reader &command, PayloadWriter &response);
    void setInitiatingConParameters(payload_reader &command, PayloadWriter &response);
    void setNonresolvableAddress(payload_reader &command, PayloadWriter &response);

    Result changeMode(uint8 discover, uint8 connect);
    Result connectResult(const LinkParameters &parameters, uint16 shortest) const;
    void connectTo(Procedure procedure, payload_reader &command, PayloadWriter &response, Result obstacle);
    void begin(Procedure procedure, const ScanParameters &parameters);
    void end();
    void hear(const Advertisement &packet);
    void report(const Advertisement &packet);
    QByteArray numbered(const QByteArray &elements);

    Procedure running = Procedure::none;
    uint8 discoverMode = 0;
    ScanParameters scanning;
    ScanParameters initiating;
    bool scanWhitelistOnly = false;
    bool filterDuplicates = false;
    QSet<QByteArray> reported; // address, its type and packet type
    quint32 reportsNumbered = 0;

    DeviceAddress wanted; // of connectDirect
    uint8 reservedHandle = 0;
    LinkParameters linkParameters{};

    uint8 discoverable = 0; // of the module itself
    uint8 connectable = 0;

    QObject listener;
};

} // namespace simulator
