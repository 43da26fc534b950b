#pragma once

#include "simulator/results.h"

#include <QHash>
#include <QObject>

namespace simulator {

// Timers that the host sets and tells apart by handles of its choice.
class SoftTimers : public QObject
{
    Q_OBJECT

public:
    static constexpr int capacity = 8;
    static constexpr int leastPeriod = 10; // milliseconds; a repeating timer does not run faster

    // Starts a timer of so many 1/32768 s, rounded up to milliseconds, in the place of one that runs on the
    // handle. A time of 0 stops that one. Out of memory if all timers run already.
    Result set(uint8 handle, uint32 time, bool singleShot);

    void stopAll();

Q_SIGNALS:
    void expired(uint8 handle);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    struct Timer
    {
        int id;
        bool singleShot;
    };

    void stop(uint8 handle);

    QHash<uint8, Timer> running; // by handle
};

} // namespace simulator
