#include "simulator/softtimers.h"

#include <QTimerEvent>

#include <algorithm>

namespace simulator {
namespace {

constexpr qint64 ticksPerSecond = 32768;

} // namespace

Result SoftTimers::set(uint8 handle, uint32 time, bool singleShot)
{
    if (time != 0 && !running.contains(handle) && running.size() == capacity)
        return resultOutOfMemory;
    stop(handle);
    if (time == 0)
        return resultOk;
    const auto milliseconds = int((qint64(time) * 1000 + ticksPerSecond - 1) / ticksPerSecond);
    const int period = singleShot ? milliseconds : std::max(milliseconds, leastPeriod);
    running.insert(handle, {startTimer(period, Qt::PreciseTimer), singleShot});
    return resultOk;
}

void SoftTimers::stop(uint8 handle)
{
    const auto timer = running.find(handle);
    if (timer == running.end())
        return;
    killTimer(timer->id);
    running.erase(timer);
}

void SoftTimers::stopAll()
{
    for (const Timer &timer : qAsConst(running))
        killTimer(timer.id);
    running.clear();
}

void SoftTimers::timerEvent(QTimerEvent *event)
{
    const auto timer = std::find_if(running.constBegin(), running.constEnd(),
                                    [event](const Timer &t) { return t.id == event->timerId(); });
    if (timer == running.constEnd())
        return;
    const uint8 handle = timer.key();
    if (timer->singleShot)
        stop(handle);
    Q_EMIT expired(handle);
}

} // namespace simulator
