#include "simulator/link.h"

#include <QTimer>

#include <utility>

namespace simulator {

bool areValid(const LinkParameters &parameters, uint16 shortestInterval, uint16 longestInterval)
{
    return shortestInterval >= 6 && shortestInterval <= longestInterval && longestInterval <= 3200 &&
           parameters.timeout >= 10 && parameters.timeout <= 3200 && parameters.latency <= 499 &&
           parameters.timeout * 8 > (1 + parameters.latency) * longestInterval; // 1.25 ms, in range by now
}

Link::Link(uint8 ownHandle, const RemoteDevice &remote, const LinkParameters &chosen, uint8 bondNumber)
    : handle(ownHandle)
    , device(remote)
    , parameters(chosen)
    , bond(bondNumber)
{
}

void Link::whenAnswered(int delay, std::function<void()> call)
{
    QTimer::singleShot(delay, Qt::PreciseTimer, this, [this, call = std::move(call)] {
        if (inReach)
            call();
        else
            waiting.push_back(call);
    });
}

void Link::setInReach(bool reachable)
{
    if (inReach && !reachable)
        ++absences;
    inReach = reachable;
    if (!inReach)
        return;
    for (auto &call : std::exchange(waiting, {}))
        whenAnswered(0, std::move(call));
}

} // namespace simulator
