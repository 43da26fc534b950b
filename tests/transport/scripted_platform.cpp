#include "tests/transport/scripted_platform.h"

#include <algorithm>
#include <cstring>

scripted_platform *script = nullptr;

namespace {
thread_local std::uint32_t last_failure = 0;

QString text(const char *format, long long first, long long second = 0)
{
    return QString::asprintf(format, first, second);
}
} // namespace

QStringList scripted_platform::calls() const
{
    const std::lock_guard lock(mutex);
    return noted;
}

QStringList scripted_platform::calls(const QString &prefix) const
{
    QStringList found;
    for (const QString &call : calls()) {
        if (call.startsWith(prefix))
            found << call;
    }
    return found;
}

QList<QByteArray> scripted_platform::written() const
{
    const std::lock_guard lock(mutex);
    return moved_out;
}

void scripted_platform::signal(vs::handle event)
{
    const std::lock_guard lock(mutex);
    signals_on.insert(event);
    signalled.notify_all();
}

void scripted_platform::note(const QString &call)
{
    const std::lock_guard lock(mutex);
    noted << call;
}

bool scripted_platform::fail(std::uint32_t error)
{
    last_failure = error;
    return false;
}

vs::handle scripted_platform::create()
{
    note(QStringLiteral("create_event"));
    return events_made < events_available ? exit_event + events_made++ : vs::no_event;
}

bool scripted_platform::take(vs::handle event)
{
    const std::lock_guard lock(mutex);
    return signals_on.remove(event);
}

int scripted_platform::wait(vs::handle first, vs::handle second)
{
    std::unique_lock lock(mutex);
    const auto &pending = first == read_event ? pending_read : pending_write;
    if (pending)
        return 0;
    while (!signals_on.remove(second))
        signalled.wait(lock);
    return 1;
}

bool scripted_platform::start_read(char *buffer, std::uint32_t count, std::uint32_t &moved)
{
    std::unique_lock lock(mutex);
    if (reads.isEmpty())
        return fail(vs::error_io_pending);
    const scripted_step step = reads.takeFirst();
    const std::uint32_t moves = std::min({step.moves, count, static_cast<std::uint32_t>(incoming.size())});
    std::memcpy(buffer, incoming.constData(), moves);
    incoming.remove(0, static_cast<int>(moves));
    if (step.then_stop)
        signals_on.insert(exit_event);
    if (step.pending) {
        pending_read = scripted_step{moves, true, step.error};
        return fail(vs::error_io_pending);
    }
    moved = moves;
    return step.error == 0 || fail(step.error);
}

bool scripted_platform::start_write(vs::handle to, const char *buffer, std::uint32_t count,
                                    std::uint32_t &moved)
{
    std::unique_lock lock(mutex);
    if (to != port)
        return fail(6);
    const scripted_step step = writes.isEmpty() ? scripted_step{count} : writes.takeFirst();
    if (step.pending && step.then_stop) {
        signals_on.insert(exit_event);
        return fail(vs::error_io_pending);
    }
    if (step.pending || step.error == 0)
        moved_out << QByteArray(buffer, static_cast<int>(count)).left(static_cast<int>(step.moves));
    if (step.pending) {
        pending_write = step;
        return fail(vs::error_io_pending);
    }
    moved = step.moves;
    return step.error == 0 || fail(step.error);
}

bool scripted_platform::result(vs::handle event, std::uint32_t &moved)
{
    const std::lock_guard lock(mutex);
    auto &pending = event == read_event ? pending_read : pending_write;
    if (!pending)
        return fail(996);
    const scripted_step step = *pending;
    pending.reset();
    moved = step.moves;
    return step.error == 0 || fail(step.error);
}

namespace vs {

handle open_port(const char *path)
{
    script->note(QStringLiteral("open_port ") + QString::fromLatin1(path));
    return script->port_opens ? scripted_platform::port : invalid_handle;
}

bool set_queue_sizes(handle, std::uint32_t input, std::uint32_t output)
{
    script->note(text("set_queue_sizes %lld %lld", input, output));
    return script->fail(1); // results that nobody is to look at are failures here
}

bool clear_timeouts(handle)
{
    script->note(QStringLiteral("clear_timeouts"));
    return script->fail(1);
}

bool get_line_state(handle, line_state &state)
{
    script->note(text("get_line_state %lld", state.length));
    if (!script->line_state_readable)
        return script->fail(6);
    const std::uint32_t length = state.length;
    state = script->line;
    state.length = length;
    return true;
}

bool set_line_state(handle, const line_state &state)
{
    script->note(QStringLiteral("set_line_state"));
    script->line = state;
    return script->fail(87);
}

handle create_event()
{
    return script->create();
}

bool set_event(handle event)
{
    script->note(text("set_event %lld", event));
    script->signal(event);
    return true;
}

bool close_handle(handle any)
{
    script->note(text("close_handle %lld", any));
    return true;
}

bool poll_event(handle event)
{
    return script->take(event);
}

int wait_for_either(handle first, handle second)
{
    script->note(text("wait_for_either %lld %lld", first, second));
    return script->wait(first, second);
}

bool start_read(handle, void *buffer, std::uint32_t count, std::uint32_t &moved, transfer &)
{
    script->note(text("start_read %lld", count));
    return script->start_read(static_cast<char *>(buffer), count, moved);
}

bool start_write(handle port, const void *buffer, std::uint32_t count, std::uint32_t &moved, transfer &)
{
    script->note(text("start_write %lld", count));
    return script->start_write(port, static_cast<const char *>(buffer), count, moved);
}

bool transfer_result(handle, transfer &state, std::uint32_t &moved)
{
    return script->result(state.event, moved);
}

bool cancel_transfers(handle port, transfer &state)
{
    script->note(text("cancel_transfers %lld %lld", port, state.event));
    return true;
}

std::uint32_t last_error()
{
    return last_failure;
}

const char *port_path_prefix()
{
    return "\\\\.\\";
}

handle open_device_list()
{
    return script->device_list_opens ? 50 : invalid_handle;
}

bool device_at(handle, std::uint32_t index, device_record &device)
{
    device.instance = index;
    return static_cast<int>(index) < script->devices.size();
}

static bool copy(const std::optional<QByteArray> &value, char *buffer, std::uint32_t size)
{
    if (!value || static_cast<std::uint32_t>(value->size()) > size)
        return script->fail(122);
    std::memcpy(buffer, value->constData(), static_cast<std::size_t>(value->size()));
    return true;
}

bool friendly_name(handle, device_record &device, char *buffer, std::uint32_t size, std::uint32_t *needed)
{
    const auto &name = script->devices.at(static_cast<int>(device.instance)).friendly_name;
    if (needed != nullptr && name)
        *needed = static_cast<std::uint32_t>(name->size());
    return buffer != nullptr ? copy(name, buffer, size) : script->fail(122);
}

handle open_device_key(handle, device_record &device)
{
    const bool opens = script->devices.at(static_cast<int>(device.instance)).opens;
    script->note(text("open_device_key %lld", device.instance));
    return opens ? 60 + static_cast<handle>(device.instance) : invalid_handle;
}

bool query_port_name(handle key, char *buffer, std::uint32_t &size)
{
    const auto &name = script->devices.at(static_cast<int>(key) - 60).port_name;
    script->note(text("query_port_name %lld", size));
    if (!copy(name, buffer, size))
        return false;
    size = static_cast<std::uint32_t>(name->size());
    return true;
}

void close_device_key(handle key)
{
    script->note(text("close_device_key %lld", key - 60));
}

void destroy_device_list(handle)
{
    script->note(QStringLiteral("destroy_device_list"));
}

} // namespace vs
