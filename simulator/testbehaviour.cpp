#include "simulator/testbehaviour.h"

#include "simulator/simulatedmodule.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr uint8 lastChannel = 39; // 2402 MHz and 2 MHz a channel
constexpr uint8 longestPayload = 37;
constexpr uint8 lastPayloadType = 3;
constexpr uint8 lastChannelMode = 3;
constexpr qint64 packetInterval = 625; // microseconds

} // namespace

TestBehaviour::TestBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
{
    static constexpr CommandEntry<TestBehaviour> commands[] = {
        {"test_phy_tx", &TestBehaviour::phyTx},
        {"test_phy_rx", &TestBehaviour::phyRx},
        {"test_phy_end", &TestBehaviour::phyEnd},
        {"test_phy_reset", &TestBehaviour::phyReset},
        {"test_get_channel_map", &TestBehaviour::getChannelMap},
        {"test_debug", &TestBehaviour::debug},
        {"test_channel_mode", &TestBehaviour::channelMode},
    };
    module.addCommands(this, commands);
}

void TestBehaviour::restart()
{
    test = Test::none;
}

// The responses have no room for a refusal, so that one follows as an event.
void TestBehaviour::refuse()
{
    module.raise("system_protocol_error", PayloadWriter().put(uint16(resultInvalidParameter)));
}

void TestBehaviour::start(Test wanted, uint8 wantedChannel, bool valid)
{
    if (!valid || wantedChannel > lastChannel) {
        refuse();
        return;
    }
    test = wanted;
    channel = wantedChannel;
    clock.start();
}

void TestBehaviour::phyTx(payload_reader &command, PayloadWriter &)
{
    const auto wanted = command.take<uint8>();
    const auto length = command.take<uint8>();
    const auto type = command.take<uint8>();
    start(Test::transmit, wanted, length <= longestPayload && type <= lastPayloadType);
}

void TestBehaviour::phyRx(payload_reader &command, PayloadWriter &)
{
    start(Test::receive, command.take<uint8>(), true);
}

// Up to 4 % are lost, as the seed and the channel have it. The count stays at its end rather than to begin
// anew, which would look like loss.
uint16 TestBehaviour::packetsReceived() const
{
    const qint64 lossPercent = (module.identity().seed + channel) % 5;
    const qint64 sent = clock.nsecsElapsed() / 1000 / packetInterval;
    return uint16(std::min<qint64>(sent - sent * lossPercent / 100, 0xffff));
}

void TestBehaviour::phyEnd(payload_reader &, PayloadWriter &response)
{
    response.put(test == Test::receive ? packetsReceived() : uint16(0));
    test = Test::none;
}

void TestBehaviour::phyReset(payload_reader &, PayloadWriter &)
{
    test = Test::none;
}

// A bit for each of the 37 data channels, none of which is bad.
void TestBehaviour::getChannelMap(payload_reader &, PayloadWriter &response)
{
    response.put(QByteArray::fromHex("ffffffff1f"));
}

void TestBehaviour::debug(payload_reader &command, PayloadWriter &response)
{
    const auto opcode = command.take<uint8>();
    response.put(opcode).put(command.take<QByteArray>());
}

void TestBehaviour::channelMode(payload_reader &command, PayloadWriter &)
{
    if (command.take<uint8>() > lastChannelMode)
        refuse();
}

} // namespace simulator
