#pragma once

#include "simulator/aes128.h"
#include "simulator/behaviour.h"
#include "simulator/loopbackendpoint.h"

#include <QHash>

#include <array>

namespace simulator {

// The class system, and the restart and bootloader commands that the class dfu has too.
class SystemBehaviour : public Behaviour
{
public:
    static constexpr int endpointCount = 6;

    explicit SystemBehaviour(SimulatedModule &owner);

    void restart() override;

    // The fields that get_info and the event boot share.
    static PayloadWriter info();

private:
    void reset(payload_reader &command, PayloadWriter &response);
    void delayReset(payload_reader &command, PayloadWriter &response);
    void hello(payload_reader &command, PayloadWriter &response);
    void addressGet(payload_reader &command, PayloadWriter &response);
    void regWrite(payload_reader &command, PayloadWriter &response);
    void regRead(payload_reader &command, PayloadWriter &response);
    void getCounters(payload_reader &command, PayloadWriter &response);
    void getConnections(payload_reader &command, PayloadWriter &response);
    void readMemory(payload_reader &command, PayloadWriter &response);
    void getInfo(payload_reader &command, PayloadWriter &response);
    void endpointTx(payload_reader &command, PayloadWriter &response);
    void endpointRx(payload_reader &command, PayloadWriter &response);
    void endpointSetWatermarks(payload_reader &command, PayloadWriter &response);
    void whitelistAppend(payload_reader &command, PayloadWriter &response);
    void whitelistRemove(payload_reader &command, PayloadWriter &response);
    void whitelistClear(payload_reader &command, PayloadWriter &response);
    void aesSetKey(payload_reader &command, PayloadWriter &response);
    void aesEncrypt(payload_reader &command, PayloadWriter &response);
    void aesDecrypt(payload_reader &command, PayloadWriter &response);
    void usbEnumerationStatus(payload_reader &command, PayloadWriter &response);
    void bootloaderCrc(payload_reader &command, PayloadWriter &response);

    LoopbackEndpoint *endpoint(uint8 number);
    void reportWatermarks(uint8 number, bool rx, bool tx);

    QHash<uint16, uint8> registers; // those that were written; the others read as 0
    std::array<LoopbackEndpoint, endpointCount> endpoints;
    Aes128 aes;
};

} // namespace simulator
