#include "simulator/module/behaviours.h"

#include <QElapsedTimer>

#include <algorithm>

namespace simulator {
namespace {

constexpr uint8 maxChannel = 39; // 2402 MHz + 2 MHz * channel
constexpr uint8 maxPayload = 37;
constexpr uint8 maxPayloadType = 3;
constexpr qint64 packetInterval = 625; // us

// The class test: direct test mode, in which the radio sends or counts packets on one channel. A tester in
// range sends one packet every 625 us.
class TestBehaviour : public Behaviour
{
public:
    explicit TestBehaviour(Module &owner)
        : Behaviour(owner)
    {
        on("test_phy_tx", [this](uint8 wantedChannel, uint8 length, uint8 type) {
            start(Test::transmit, wantedChannel, length <= maxPayload && type <= maxPayloadType);
        });
        on("test_phy_rx", [this](uint8 wantedChannel) { start(Test::receive, wantedChannel, true); });
        on("test_phy_end", [this] {
            const auto count = test == Test::receive ? packetsReceived() : uint16(0);
            test = Test::none;
            return payload(count);
        });
        on("test_phy_reset", [this] { test = Test::none; });
        // One bit for each of the 37 data channels, all of them good.
        on("test_get_channel_map", [] { return payload(QByteArray::fromHex("ffffffff1f")); });
    }

    void restart() override { test = Test::none; }

private:
    enum class Test { none, transmit, receive };

    // Replaces a running test. Invalid fields leave the running test unchanged.
    void start(Test wanted, uint8 wantedChannel, bool isValid)
    {
        if (!isValid || wantedChannel > maxChannel) {
            refuseByEvent();
            return;
        }
        test = wanted;
        channel = wantedChannel;
        clock.start();
    }

    // Up to 4 % of the packets are lost, depending on seed and channel.
    uint16 packetsReceived() const
    {
        const qint64 lossPercent = (module.options().seed + channel) % 5;
        const qint64 sent = clock.nsecsElapsed() / 1000 / packetInterval;
        return uint16(std::min<qint64>(sent - sent * lossPercent / 100, 0xffff));
    }

    Test test = Test::none;
    uint8 channel = 0;
    QElapsedTimer clock; // since the start of the test
};

} // namespace

std::unique_ptr<Behaviour> makeTestBehaviour(Module &module)
{
    return std::make_unique<TestBehaviour>(module);
}

} // namespace simulator
