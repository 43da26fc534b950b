#include "simulator/trafficlog.h"

#include "simulator/catalogue.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace simulator {
namespace {

constexpr int maxWaiting = 1 << 20;
constexpr int portion = 4096; // a pipe that polls as writable takes so much without blocking
constexpr int lastPatienceMs = 200;

bool isWritable(int fd, int patienceMs)
{
    pollfd entry{fd, POLLOUT, 0};
    return ::poll(&entry, 1, patienceMs) > 0;
}

QString frameText(const QByteArray &frame, bool fromHost)
{
    const char *outgoing = uint8(frame[0]) & 0x80 ? "evt" : "rsp";
    return QStringLiteral("%1  %2 %3")
        .arg(spacedHex(frame), QLatin1String(fromHost ? "cmd" : outgoing), describeFrame(frame, fromHost));
}

} // namespace

TrafficLog::TrafficLog(int descriptor, bool isOn, QObject *parent)
    : QObject(parent)
    , fd(descriptor)
    , on(isOn)
    , writable(descriptor, QSocketNotifier::Write)
{
    sinceStart.start();
    writable.setEnabled(false);
    connect(&writable, &QSocketNotifier::activated, this, &TrafficLog::writeMore);
}

TrafficLog::~TrafficLog()
{
    while (!waiting.isEmpty() && isWritable(fd, lastPatienceMs))
        writeMore();
}

void TrafficLog::received(const QByteArray &frame)
{
    if (on)
        line("<-", frameText(frame, true));
}

void TrafficLog::sent(const QByteArray &frame)
{
    if (on)
        line("->", frameText(frame, false));
}

void TrafficLog::note(const QString &text)
{
    if (on)
        line("--", text);
}

void TrafficLog::say(const QString &text)
{
    line("--", text);
}

void TrafficLog::line(const char *direction, const QString &text)
{
    const QByteArray body = text.toUtf8();
    if (waiting.size() + body.size() > maxWaiting) {
        ++lostLines;
        return;
    }
    if (lostLines > 0)
        waiting += "-- " + QByteArray::number(lostLines) + " lines of this log were lost\n";
    lostLines = 0;
    const qint64 microseconds = sinceStart.nsecsElapsed() / 1000;
    waiting += QByteArray::number(double(microseconds) / 1e6, 'f', 6).rightJustified(12) + ' ' + direction +
               ' ' + body + '\n';
    writeMore();
}

void TrafficLog::writeMore()
{
    while (!waiting.isEmpty() && isWritable(fd, 0)) {
        const ssize_t count = ::write(fd, waiting.constData(), size_t(std::min(waiting.size(), portion)));
        if (count > 0) {
            waiting.remove(0, int(count));
        } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
            on = false;
            waiting.clear();
        } else {
            break;
        }
    }
    writable.setEnabled(!waiting.isEmpty());
}

} // namespace simulator
