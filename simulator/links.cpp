#include "simulator/links.h"

#include "simulator/simulatedmodule.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr int establishingIntervals = 6; // without an answer a link is given up after these

} // namespace

Links::Links(SimulatedModule &owner)
    : module(owner)
{
    connect(&module.air(), &Air::rangeChanged, this, &Links::follow);
}

int Links::freeHandle() const
{
    const auto free = std::find(links.begin(), links.end(), nullptr);
    return free == links.end() ? -1 : int(free - links.begin());
}

bool Links::isConnected(const DeviceAddress &address) const
{
    return std::any_of(links.begin(), links.end(),
                       [&address](const auto &link) { return link && link->device.address == address; });
}

Link *Links::find(uint8 handle)
{
    return handle < capacity && links[handle] && links[handle]->established ? links[handle].get() : nullptr;
}

void Links::open(uint8 handle, const RemoteDevice &device, const LinkParameters &parameters)
{
    if (handle >= capacity || links[handle])
        return;
    links[handle] = std::make_unique<Link>(handle, device, parameters, module.bondOf(device.address));
    Link &link = *links[handle];
    if (device.connecting == RemoteDevice::Connecting::neverAnswers) {
        endLater(link, link.intervals(establishingIntervals), resultNotEstablished);
        return;
    }
    link.established = true;
    module.air().setConnected(device, true);
    raiseStatus(handle, completed);
    if (parameters.interval < device.shortestInterval)
        endLater(link, link.intervals(1), resultUnacceptableInterval);
    else if (device.connecting == RemoteDevice::Connecting::hangsUp)
        endLater(link, device.hangUpTime, resultEndedByRemote);
}

void Links::endLater(const Link &link, int milliseconds, Result reason)
{
    QTimer::singleShot(milliseconds, &link, [this, &link, reason] {
        if (link.isInReach()) // else the link ends by its timeout
            close(link.handle, reason);
    });
}

void Links::close(uint8 handle, Result reason)
{
    if (handle >= capacity || !links[handle])
        return;
    remove(handle);
    module.raise("connection_disconnected", PayloadWriter().put(handle).put(uint16(reason)));
}

bool Links::hangUp(uint8 handle)
{
    const Link *link = find(handle);
    if (!link || !link->isInReach())
        return false;
    close(handle, resultEndedByRemote);
    return true;
}

void Links::raiseStatus(uint8 handle, int extraFlags)
{
    PayloadWriter fields;
    fields.put(handle);
    if (const Link *link = find(handle)) {
        const LinkParameters &parameters = link->parameters;
        fields.put(uint8(connected | (link->security != Security::none ? encrypted : 0) | extraFlags))
            .put(link->device.address.address)
            .put(link->device.address.type)
            .put(parameters.interval)
            .put(parameters.timeout)
            .put(parameters.latency)
            .put(link->bond);
    }
    module.raise("connection_status", fields);
}

void Links::forgetBond(uint8 bond)
{
    for (const auto &link : links) {
        if (link && link->bond == bond)
            link->bond = noBond;
    }
}

void Links::drop()
{
    for (uint8 handle = 0; handle < capacity; ++handle)
        remove(handle);
}

void Links::remove(uint8 handle)
{
    const std::unique_ptr<Link> link = std::move(links[handle]);
    if (!link || !link->established)
        return;
    Q_EMIT closed(link->device);
    module.air().setConnected(link->device, false);
}

void Links::follow(const RemoteDevice &device, bool inRange)
{
    for (const auto &link : links) {
        if (!link || !link->established || !(link->device.address == device.address) ||
            link->isInReach() == inRange)
            continue;
        link->setInReach(inRange);
        if (inRange)
            continue;
        QTimer::singleShot(link->timeout(), Qt::PreciseTimer, link.get(),
                           [this, &lost = *link, absence = link->absences] {
                               if (!lost.isInReach() && lost.absences == absence)
                                   close(lost.handle, resultSupervisionTimeout);
                           });
    }
}

} // namespace simulator
