#pragma once

#include "simulator/platform/process.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QString>

namespace simulator {

// What the module sees and sends, a line each: seconds since the start, "<-" from the host or "->" to it, the
// bytes in hex and the decoded message; "--" for everything else. A log that is off writes nothing. One that
// nobody reads does not hold the module up: lines wait in memory, and beyond 1 MiB they are lost.
class TrafficLog
{
public:
    TrafficLog(int descriptor, bool isOn);

    void received(const QByteArray &frame);
    void sent(const QByteArray &frame);
    void note(const QString &text);

    // A note even in a log that is off: something that was asked for.
    void say(const QString &text);

private:
    void line(const char *direction, const QString &text);
    bool isWanted() const { return on && !output.hasFailed(); }

    const bool on;
    QElapsedTimer sinceStart;
    int lostLines = 0;
    ByteOutput output;
};

} // namespace simulator
