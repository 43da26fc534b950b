#include "simulator/trafficlog.h"

#include "simulator/catalogue.h"

namespace simulator {
namespace {

constexpr int maxWaiting = 1 << 20;

QString frameText(const QByteArray &frame, bool fromHost)
{
    const char *outgoing = uint8(frame[0]) & 0x80 ? "evt" : "rsp";
    return QStringLiteral("%1  %2 %3")
        .arg(spacedHex(frame), QLatin1String(fromHost ? "cmd" : outgoing), describeFrame(frame, fromHost));
}

} // namespace

TrafficLog::TrafficLog(int descriptor, bool isOn)
    : on(isOn)
    , output(descriptor)
{
    sinceStart.start();
}

void TrafficLog::received(const QByteArray &frame)
{
    if (isWanted())
        line("<-", frameText(frame, true));
}

void TrafficLog::sent(const QByteArray &frame)
{
    if (isWanted())
        line("->", frameText(frame, false));
}

void TrafficLog::note(const QString &text)
{
    if (isWanted())
        line("--", text);
}

void TrafficLog::say(const QString &text)
{
    line("--", text);
}

void TrafficLog::line(const char *direction, const QString &text)
{
    const QByteArray body = text.toUtf8();
    if (output.waiting() + body.size() > maxWaiting) {
        ++lostLines;
        return;
    }
    QByteArray lines;
    if (lostLines > 0)
        lines = "-- " + QByteArray::number(lostLines) + " lines of this log were lost\n";
    lostLines = 0;
    const qint64 microseconds = sinceStart.nsecsElapsed() / 1000;
    lines += QByteArray::number(double(microseconds) / 1e6, 'f', 6).rightJustified(12) + ' ' + direction +
             ' ' + body + '\n';
    output.write(lines);
}

} // namespace simulator
