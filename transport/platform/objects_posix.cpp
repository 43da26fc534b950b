#include "transport/platform/objects_posix.h"

#include <cerrno>
#include <map>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>

namespace vs {
namespace posix {

namespace {

thread_local std::uint32_t last_failure = 0;

struct handle_table
{
    std::mutex mutex;
    std::map<handle, std::shared_ptr<object>> objects;
    handle next = 1;
};

// Never destroyed: a port that is left open has its thread running while the process ends.
handle_table &table()
{
    static auto *const instance = new handle_table;
    return *instance;
}

// What poll() looks at for one event: its counter, and if a transfer is to signal it, the port.
void watch(const event &watched, pollfd *fds, nfds_t &count)
{
    fds[count++] = {watched.counter.get(), POLLIN, 0};
    if (watched.pending) {
        const short ready = watched.pending->writes ? POLLOUT : POLLIN;
        fds[count++] = {watched.pending->port->line.get(), ready, 0};
        fds[count++] = {watched.pending->port->shut_event.get(), POLLIN, 0};
    }
}

// Carries on the transfer of an event, if it has one; true if it has ended.
bool drive(event &driven, const pollfd *fds)
{
    auto &pending = driven.pending;
    if (!pending || pending->ended())
        return pending.has_value();
    if (fds[1].revents == 0 && fds[2].revents == 0)
        return false;
    if (!pending->advance() && (fds[1].revents & (POLLHUP | POLLERR)) != 0)
        pending->error = EIO;
    return pending->ended();
}

bool start(handle port_name, bool writes, char *buffer, std::uint32_t count, std::uint32_t &moved,
           const transfer &state)
{
    auto line = find_as<port>(port_name);
    const auto done = find_as<event>(state.event);
    if (!line || !done)
        return fail(EBADF);
    pending_transfer transfer{std::move(line), writes, buffer, count};
    if (!transfer.advance()) {
        done->pending = std::move(transfer);
        last_failure = error_io_pending;
        return false;
    }
    moved = transfer.moved;
    return transfer.error == 0 || fail(transfer.error);
}

} // namespace

bool fail(int error)
{
    last_failure = std::uint32_t(error);
    return false;
}

handle add(std::shared_ptr<object> made)
{
    const std::lock_guard lock(table().mutex);
    const handle name = table().next++;
    table().objects.emplace(name, std::move(made));
    return name;
}

std::shared_ptr<object> find(handle name)
{
    const std::lock_guard lock(table().mutex);
    const auto found = table().objects.find(name);
    return found == table().objects.end() ? nullptr : found->second;
}

std::shared_ptr<object> remove(handle name)
{
    const std::lock_guard lock(table().mutex);
    const auto node = table().objects.extract(name);
    return node ? node.mapped() : nullptr;
}

unique_fd make_eventfd()
{
    return unique_fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
}

bool event::signal()
{
    const std::uint64_t one = 1;
    const bool is_written = ::write(counter.get(), &one, sizeof one) == sizeof one;
    may_be_signalled = true; // set before, it could be taken while the counter is still empty
    return is_written;
}

bool event::take_signal()
{
    std::uint64_t count = 0;
    if (!may_be_signalled.exchange(false))
        return false;
    return ::read(counter.get(), &count, sizeof count) == sizeof count;
}

bool pending_transfer::advance()
{
    while (!ended()) {
        if (port->is_shut) {
            error = EBADF;
            break;
        }
        const ssize_t got = writes ? ::write(port->line.get(), next, remaining) : port->read(next, remaining);
        if (got > 0) {
            next += got;
            moved += std::uint32_t(got);
            remaining -= std::uint32_t(got);
        } else if (got == 0) {
            error = EIO; // the line hung up
        } else if (errno == EAGAIN) {
            return false;
        } else if (errno != EINTR) {
            error = errno;
        }
    }
    return true;
}

} // namespace posix

using namespace posix;

handle create_event()
{
    unique_fd counter = make_eventfd();
    if (counter.get() < 0) {
        fail(errno);
        return no_event;
    }
    return add(std::make_shared<event>(std::move(counter)));
}

bool set_event(handle name)
{
    const auto found = find_as<event>(name);
    return found ? found->signal() || fail(errno) : fail(EBADF);
}

bool close_handle(handle any)
{
    const auto found = remove(any);
    if (!found)
        return fail(EBADF);
    found->shut();
    return true;
}

bool poll_event(handle name)
{
    const auto found = find_as<event>(name);
    return found ? found->take_signal() : fail(EBADF);
}

int wait_for_either(handle first, handle second)
{
    const std::shared_ptr<event> events[] = {find_as<event>(first), find_as<event>(second)};
    if (!events[0] || !events[1]) {
        fail(EBADF);
        return -1;
    }
    for (;;) {
        pollfd fds[6];
        nfds_t starts[2];
        nfds_t count = 0;
        for (int index : {0, 1}) {
            starts[index] = count;
            watch(*events[index], fds, count);
        }
        if (::poll(fds, count, -1) < 0) {
            if (errno == EINTR)
                continue;
            fail(errno);
            return -1;
        }
        for (int index : {0, 1}) {
            const pollfd *own = fds + starts[index];
            if (drive(*events[index], own) || (own->revents != 0 && events[index]->take_signal()))
                return index;
        }
    }
}

bool start_read(handle port, void *buffer, std::uint32_t count, std::uint32_t &moved, transfer &state)
{
    return start(port, false, static_cast<char *>(buffer), count, moved, state);
}

bool start_write(handle port, const void *buffer, std::uint32_t count, std::uint32_t &moved, transfer &state)
{
    return start(port, true, static_cast<char *>(const_cast<void *>(buffer)), count, moved, state);
}

bool transfer_result(handle, transfer &state, std::uint32_t &moved)
{
    const auto done = find_as<event>(state.event);
    if (!done || !done->pending)
        return fail(EBADF);
    while (!done->pending->ended()) {
        pollfd fds[3];
        nfds_t count = 0;
        watch(*done, fds, count);
        fds[0].events = 0;
        if (::poll(fds, count, -1) < 0) {
            if (errno == EINTR)
                continue;
            done->pending.reset();
            return fail(errno);
        }
        drive(*done, fds);
    }
    moved = done->pending->moved;
    const int error = done->pending->error;
    done->pending.reset();
    return error == 0 || fail(error);
}

bool cancel_transfers(handle, transfer &state)
{
    const auto done = find_as<event>(state.event);
    if (!done)
        return fail(EBADF);
    done->pending.reset();
    return true;
}

std::uint32_t last_error()
{
    return last_failure;
}

} // namespace vs
