#include "simulator/world/air.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr int tick = 2;         // ms between two timer events with a rate
constexpr int maxDelay = 10;    // ms, maximum random delay of an advertisement
constexpr qint64 maxLag = 1000; // ms; advertisements missed for longer are skipped

} // namespace

Air::Air(quint32 seed, std::vector<RemoteDevice> devices, int chosenRate)
    : world(std::move(devices))
    , rate(chosenRate)
    , states(world.size())
    , random(seed)
{
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, &Air::advertise);
    for (const RemoteDevice &device : world) {
        if (device.nearTime > 0)
            wander(device);
    }
}

int Air::upTo(int max)
{
    return int(random() % uint(max + 1));
}

void Air::wander(const RemoteDevice &device)
{
    const int stay = stateOf(device).inRange ? device.nearTime : device.awayTime;
    QTimer::singleShot(stay, this, [this, &device] {
        if (!stateOf(device).wanders)
            return;
        setInRange(device, !stateOf(device).inRange);
        wander(device);
    });
}

void Air::setInRange(const RemoteDevice &device, bool inRange)
{
    if (stateOf(device).inRange == inRange)
        return;
    stateOf(device).inRange = inRange;
    Q_EMIT rangeChanged(device, inRange);
}

bool Air::move(const DeviceAddress &address, bool inRange)
{
    const RemoteDevice *device = find(address);
    if (!device)
        return false;
    stateOf(*device).wanders = false;
    setInRange(*device, inRange);
    return true;
}

int8 Air::rssiOf(const RemoteDevice &device)
{
    return int8(std::clamp(device.rssi - device.rssiSpread + upTo(2 * device.rssiSpread), -127, 20));
}

// Ignores devices that are not in this air.
void Air::setConnected(const RemoteDevice &device, bool connected)
{
    if (&device >= world.data() && &device < world.data() + world.size())
        stateOf(device).connected = connected;
}

const RemoteDevice *Air::find(const DeviceAddress &address) const
{
    const auto found = std::find_if(world.begin(), world.end(), [&address](const RemoteDevice &device) {
        return device.address == address;
    });
    return found == world.end() ? nullptr : &*found;
}

void Air::listen(bool on, bool active, double share)
{
    activeScan = active;
    heardShare = share;
    if (on == listening)
        return;
    listening = on;
    timer.stop();
    if (!on)
        return;
    queue = {};
    sent = 0;
    clock.start();
    for (std::size_t i = 0; rate == 0 && i < world.size(); ++i)
        queue.push({upTo(world[i].interval), i});
    advertise();
}

void Air::advertise()
{
    const qint64 now = clock.elapsed();
    if (rate > 0)
        advertiseByRate(now);
    else
        advertiseByInterval(now);
    if (!listening || (rate == 0 && queue.empty()))
        return;
    timer.start(rate > 0 ? tick : int(std::max<qint64>(queue.top().first - clock.elapsed(), 0)));
}

void Air::advertiseByInterval(qint64 now)
{
    while (listening && !queue.empty() && queue.top().first <= now) {
        const auto [due, index] = queue.top();
        queue.pop();
        const qint64 from = now - due > maxLag ? now : due;
        queue.push({from + world[index].interval + upTo(maxDelay), index});
        send(world[index]);
    }
}

void Air::advertiseByRate(qint64 now)
{
    const qint64 due = now * rate / 1000;
    sent = std::max(sent, due - maxLag * rate / 1000);
    for (; listening && sent < due; ++sent) {
        // Find the next device that can be heard, if there is one.
        for (std::size_t tries = 0; tries < world.size(); ++tries) {
            const std::size_t index = next++ % world.size();
            if (states[index].inRange && !states[index].connected) {
                send(world[index]);
                break;
            }
        }
    }
}

void Air::send(const RemoteDevice &device)
{
    const State &state = stateOf(device);
    if (!state.inRange || state.connected)
        return;
    if (heardShare < 1 && upTo(9999) >= heardShare * 10000)
        return;
    Q_EMIT heard({&device, device.packetType, rssiOf(device), device.advertisingData});
    const bool responds =
        device.packetType == connectableUndirected || device.packetType == scannableUndirected;
    if (activeScan && responds && listening)
        Q_EMIT heard({&device, scanResponse, rssiOf(device), device.scanResponseData});
}

} // namespace simulator
