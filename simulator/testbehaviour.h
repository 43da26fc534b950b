#pragma once

#include "simulator/behaviour.h"

#include <QElapsedTimer>

namespace simulator {

// The class test: direct test mode, in which the radio sends or counts packets on one channel, with a tester
// in reach that sends one every 625 us.
class TestBehaviour : public Behaviour
{
public:
    explicit TestBehaviour(SimulatedModule &owner);

    void restart() override;

private:
    enum class Test { none, transmit, receive };

    void phyTx(payload_reader &command, PayloadWriter &response);
    void phyRx(payload_reader &command, PayloadWriter &response);
    void phyEnd(payload_reader &command, PayloadWriter &response);
    void phyReset(payload_reader &command, PayloadWriter &response);
    void getChannelMap(payload_reader &command, PayloadWriter &response);
    void debug(payload_reader &command, PayloadWriter &response);
    void channelMode(payload_reader &command, PayloadWriter &response);

    // Starts a test in the place of one that runs; with bad fields that one goes on.
    void start(Test wanted, uint8 wantedChannel, bool valid);
    void refuse();
    uint16 packetsReceived() const;

    Test test = Test::none;
    uint8 channel = 0;
    QElapsedTimer clock; // since the test's start
};

} // namespace simulator
