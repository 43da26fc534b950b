#include "simulator/platform/process.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <io.h>
#include <mutex>
#include <thread>
#include <utility>

// Consoles and pipes of this system cannot be waited for beside the event loop, so each stream has a thread.
// One that is inside a read or write when the program ends ends with it; what it uses is therefore shared.

namespace simulator {
namespace {

using namespace std::chrono_literals;

constexpr int portion = 4096; // so that slow reading shows
constexpr auto lastPatience = 200ms;
std::atomic<EndRequests *> endRequests = nullptr;

BOOL WINAPI onControl(DWORD)
{
    EndRequests *const receiver = endRequests;
    if (receiver == nullptr)
        return FALSE;
    QMetaObject::invokeMethod(receiver, &EndRequests::requested, Qt::QueuedConnection);
    return TRUE;
}

} // namespace

void fillStandardStreams()
{
    for (std::FILE *const stream : {stdin, stdout, stderr}) {
        if (_fileno(stream) < 0 || _get_osfhandle(_fileno(stream)) < 0)
            static_cast<void>(std::freopen("NUL", stream == stdin ? "r" : "w", stream));
    }
}

struct ByteInput::State
{
    void deliver(const QByteArray &bytes)
    {
        const std::lock_guard<std::mutex> guard(lock);
        if (receiver != nullptr)
            QMetaObject::invokeMethod(
                receiver, [to = receiver, bytes] { Q_EMIT to->received(bytes); }, Qt::QueuedConnection);
    }

    std::mutex lock;
    ByteInput *receiver;
};

ByteInput::ByteInput(int descriptor, QObject *parent)
    : QObject(parent)
    , state(std::make_shared<State>())
{
    state->receiver = this;
    std::thread([shared = state, descriptor] {
        char buffer[4096];
        for (int count = 0; (count = _read(descriptor, buffer, sizeof(buffer))) > 0;)
            shared->deliver(QByteArray(buffer, count));
    }).detach();
}

ByteInput::~ByteInput()
{
    const std::lock_guard<std::mutex> guard(state->lock);
    state->receiver = nullptr;
}

struct ByteOutput::State
{
    // Takes all that waits; empty when there will be no more.
    QByteArray take()
    {
        std::unique_lock<std::mutex> guard(lock);
        beingWritten = 0;
        changed.notify_all();
        changed.wait(guard, [this] { return ending || !queued.isEmpty(); });
        beingWritten = queued.size();
        return std::exchange(queued, QByteArray());
    }

    void writeAll(int descriptor)
    {
        for (QByteArray bytes = take(); !bytes.isEmpty(); bytes = take()) {
            for (int at = 0, count = 0; at < bytes.size() && !failed; at += count) {
                count = _write(descriptor, bytes.constData() + at,
                               unsigned(std::min(bytes.size() - at, portion)));
                failed = count <= 0;
                noteWritten(count);
            }
        }
    }

    void noteWritten(int count)
    {
        const std::lock_guard<std::mutex> guard(lock);
        beingWritten -= count;
        changed.notify_all();
    }

    // With the lock held.
    int waiting() const { return queued.size() + beingWritten; }

    std::mutex lock;
    std::condition_variable changed;
    QByteArray queued;
    int beingWritten = 0;
    bool ending = false;
    std::atomic<bool> failed = false;
};

ByteOutput::ByteOutput(int descriptor, QObject *parent)
    : QObject(parent)
    , state(std::make_shared<State>())
{
    std::thread([shared = state, descriptor] { shared->writeAll(descriptor); }).detach();
}

ByteOutput::~ByteOutput()
{
    std::unique_lock<std::mutex> guard(state->lock);
    state->ending = true;
    state->changed.notify_all();
    for (int before = state->waiting(); before > 0 && !state->failed; before = state->waiting()) {
        if (!state->changed.wait_for(guard, lastPatience, [&] { return state->waiting() != before; }))
            break;
    }
}

void ByteOutput::write(const QByteArray &bytes)
{
    if (state->failed)
        return;
    const std::lock_guard<std::mutex> guard(state->lock);
    state->queued += bytes;
    state->changed.notify_all();
}

int ByteOutput::waiting() const
{
    const std::lock_guard<std::mutex> guard(state->lock);
    return state->waiting();
}

bool ByteOutput::hasFailed() const
{
    return state->failed;
}

struct EndRequests::State
{
    bool heard = SetConsoleCtrlHandler(onControl, TRUE) != FALSE;
};

EndRequests::EndRequests(QObject *parent)
    : QObject(parent)
    , state(std::make_unique<State>())
{
    endRequests = this;
}

EndRequests::~EndRequests()
{
    SetConsoleCtrlHandler(onControl, FALSE);
    endRequests = nullptr;
}

bool EndRequests::areHeard() const
{
    return state->heard;
}

} // namespace simulator
