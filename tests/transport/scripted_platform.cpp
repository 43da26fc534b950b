#include "tests/transport/scripted_platform.h"

#include <algorithm>
#include <cstring>

static ScriptedPlatform *&play = ScriptedPlatform::current;

namespace {

thread_local std::uint32_t lastFailure = 0;

bool fail(std::uint32_t error)
{
    lastFailure = error;
    return false;
}

bool end(const ScriptedStep &step, std::uint32_t &moved)
{
    moved = step.moves;
    return step.error == 0 || fail(step.error);
}

bool start(const ScriptedStep &step, std::optional<ScriptedStep> &pending, std::uint32_t &moved)
{
    if (!step.pending)
        return end(step, moved);
    pending = step;
    return fail(vs::error_io_pending);
}

bool copy(const std::optional<QByteArray> &value, char *buffer, std::uint32_t size)
{
    if (!buffer || !value || std::uint32_t(value->size()) > size)
        return fail(122);
    std::memcpy(buffer, value->constData(), std::size_t(value->size()));
    return true;
}

} // namespace

QString ScriptedPlatform::calls(const char *prefix) const
{
    const std::lock_guard lock(mutex);
    QStringList found;
    std::copy_if(noted.begin(), noted.end(), std::back_inserter(found),
                 [&](const QString &call) { return call.startsWith(QLatin1String(prefix)); });
    return found.join(QStringLiteral(", "));
}

QList<QByteArray> ScriptedPlatform::written() const
{
    const std::lock_guard lock(mutex);
    return movedOut;
}

bool ScriptedPlatform::note(const char *format, long long first, long long second)
{
    const std::lock_guard lock(mutex);
    noted << QString::asprintf(format, first, second);
    return true;
}

namespace vs {

handle open_port(const char *path)
{
    play->note("open_port ");
    play->noted.last() += QString::fromLatin1(path);
    return play->portOpens ? ScriptedPlatform::port : invalid_handle;
}

// Results that nobody is to look at are failures here.
bool set_queue_sizes(handle, std::uint32_t input, std::uint32_t output)
{
    return play->note("set_queue_sizes %lld %lld", input, output) && fail(1);
}

bool clear_timeouts(handle)
{
    return play->note("clear_timeouts") && fail(1);
}

bool get_line_state(handle, line_state &state)
{
    play->note("get_line_state %lld", state.length);
    if (!play->lineStateReadable)
        return fail(6);
    play->line.length = state.length;
    state = play->line;
    return true;
}

bool set_line_state(handle, const line_state &state)
{
    play->note("set_line_state");
    play->line = state;
    return fail(87);
}

handle create_event()
{
    play->note("create_event");
    const int made = play->eventsMade++;
    return made < play->eventsAvailable ? ScriptedPlatform::exitEvent + made : no_event;
}

bool set_event(handle event)
{
    play->note("set_event %lld", event);
    const std::lock_guard lock(play->mutex);
    play->signalsOn.insert(event);
    play->signalled.notify_all();
    return true;
}

bool close_handle(handle any)
{
    return play->note("close_handle %lld", any);
}

bool poll_event(handle event)
{
    const std::lock_guard lock(play->mutex);
    return play->signalsOn.remove(event);
}

int wait_for_either(handle first, handle second)
{
    play->note("wait_for_either %lld %lld", first, second);
    std::unique_lock lock(play->mutex);
    const auto &pending = first == ScriptedPlatform::readEvent ? play->pendingRead : play->pendingWrite;
    if (pending)
        return pending->thenStop ? 1 : 0;
    while (!play->signalsOn.remove(second))
        play->signalled.wait(lock);
    return 1;
}

bool start_read(handle, void *buffer, std::uint32_t count, std::uint32_t &moved, transfer &)
{
    play->note("start_read %lld", count);
    const std::lock_guard lock(play->mutex);
    if (play->reads.isEmpty())
        return fail(error_io_pending);
    ScriptedStep step = play->reads.takeFirst();
    QByteArray &incoming = play->incoming;
    step.moves = std::min({step.moves, count, std::uint32_t(incoming.size())});
    std::memcpy(buffer, incoming.constData(), step.moves);
    incoming.remove(0, int(step.moves));
    if (step.thenStop)
        play->signalsOn.insert(ScriptedPlatform::exitEvent);
    return start(step, play->pendingRead, moved);
}

bool start_write(handle port, const void *buffer, std::uint32_t count, std::uint32_t &moved, transfer &)
{
    play->note("start_write %lld", count);
    const std::lock_guard lock(play->mutex);
    if (port != ScriptedPlatform::port)
        return fail(6);
    auto &writes = play->writes;
    const ScriptedStep step = writes.isEmpty() ? ScriptedStep{count} : writes.takeFirst();
    if (step.moves != 0) {
        const QByteArray offered(static_cast<const char *>(buffer), int(count));
        play->movedOut << offered.left(int(step.moves));
    }
    return start(step, play->pendingWrite, moved);
}

bool transfer_result(handle, transfer &state, std::uint32_t &moved)
{
    const std::lock_guard lock(play->mutex);
    auto &pending = state.event == ScriptedPlatform::readEvent ? play->pendingRead : play->pendingWrite;
    const auto step = std::exchange(pending, std::nullopt);
    return step ? end(*step, moved) : fail(996);
}

bool cancel_transfers(handle port, transfer &state)
{
    return play->note("cancel_transfers %lld %lld", port, state.event);
}

std::uint32_t last_error()
{
    return lastFailure;
}

const char *port_path_prefix()
{
    return "\\\\.\\";
}

handle open_device_list()
{
    return play->deviceListOpens ? 50 : invalid_handle;
}

bool device_at(handle, std::uint32_t index, device_record &device)
{
    device.instance = index;
    return int(index) < play->devices.size();
}

bool friendly_name(handle, device_record &device, char *buffer, std::uint32_t size, std::uint32_t *needed)
{
    const auto &name = play->devices.at(int(device.instance)).friendlyName;
    if (needed && name)
        *needed = std::uint32_t(name->size());
    return copy(name, buffer, size);
}

handle open_device_key(handle, device_record &device)
{
    play->note("open_device_key %lld", device.instance);
    const bool opens = play->devices.at(int(device.instance)).opens;
    return opens ? 60 + static_cast<handle>(device.instance) : invalid_handle;
}

bool query_port_name(handle key, char *buffer, std::uint32_t &size)
{
    play->note("query_port_name %lld", size);
    const auto &name = play->devices.at(int(key) - 60).port_name;
    if (!copy(name, buffer, size))
        return false;
    size = std::uint32_t(name->size());
    return true;
}

void close_device_key(handle key)
{
    play->note("close_device_key %lld", key - 60);
}

void destroy_device_list(handle)
{
    play->note("destroy_device_list");
}

} // namespace vs
