#include "simulator/program/trafficlog.h"

#include "simulator/program/standardstreams.h"
#include "simulator/wire/frames.h"
#include "simulator/wire/parsing.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <utility>

namespace simulator {
namespace {

using namespace std::chrono_literals;

constexpr int maxWaiting = 1 << 20; // bytes
constexpr int maxWrite = 4096;      // bytes at once, so that a slow reader is seen to make progress
constexpr auto maxStall = 200ms;

QString frameText(const QByteArray &frame, bool fromHost)
{
    const char *outgoing = uint8(frame[0]) & 0x80 ? "evt" : "rsp";
    return QStringLiteral("%1  %2 %3")
        .arg(spacedHex(frame), QLatin1String(fromHost ? "cmd" : outgoing), describeFrame(frame, fromHost));
}

} // namespace

struct TrafficLog::Writer
{
    void writeAll()
    {
        std::unique_lock<std::mutex> guard(mutex);
        while (!hasFailed) {
            changed.wait(guard, [this] { return isEnding || !queued.isEmpty(); });
            if (queued.isEmpty())
                return;
            inFlight = std::exchange(queued, QByteArray());
            while (!inFlight.isEmpty() && !hasFailed) {
                const int size = std::min(inFlight.size(), maxWrite);
                guard.unlock();
                const int count = int(::write(STDOUT_FILENO, inFlight.constData(), unsigned(size)));
                const bool isOver = count == 0 || (count < 0 && !mayRetry());
                guard.lock();
                hasFailed = isOver;
                inFlight.remove(0, std::max(count, 0));
                changed.notify_all();
            }
        }
    }

    int waiting() const { return hasFailed ? 0 : queued.size() + inFlight.size(); }

    std::mutex mutex; // guards all members
    std::condition_variable changed;
    QByteArray queued;
    QByteArray inFlight; // changed by the thread only
    bool isEnding = false;
    bool hasFailed = false;
};

TrafficLog::TrafficLog(bool isOn)
    : on(isOn)
    , writer(std::make_shared<Writer>())
{
    sinceStart.start();
    std::thread([shared = writer] { shared->writeAll(); }).detach();
}

TrafficLog::~TrafficLog()
{
    std::unique_lock<std::mutex> guard(writer->mutex);
    writer->isEnding = true;
    writer->changed.notify_all();
    for (int before = writer->waiting(); before > 0; before = writer->waiting()) {
        if (!writer->changed.wait_for(guard, maxStall, [&] { return writer->waiting() != before; }))
            break;
    }
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

void TrafficLog::line(const char *direction, const QString &text)
{
    const double seconds = double(sinceStart.nsecsElapsed()) / 1e9;
    print(QStringLiteral("%1 %2 %3").arg(seconds, 12, 'f', 6).arg(QLatin1String(direction), text));
}

void TrafficLog::print(const QString &text)
{
    const std::lock_guard<std::mutex> guard(writer->mutex);
    const QByteArray bytes = text.toUtf8() + '\n';
    if (writer->hasFailed || writer->waiting() + bytes.size() > maxWaiting) {
        ++lostLines;
        return;
    }
    if (lostLines > 0)
        writer->queued += "-- " + QByteArray::number(lostLines) + " lines of this log were lost\n";
    lostLines = 0;
    writer->queued += bytes;
    writer->changed.notify_all();
}

} // namespace simulator
