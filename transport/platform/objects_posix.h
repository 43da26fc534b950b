#pragma once

#include "transport/platform/platform.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>
#include <utility>

struct termios2;

// What the handles of the POSIX half stand for. A handle is a number that is never given out twice, so a
// stale one names nothing; the object behind it, and with it the descriptor, lives until the last operation
// that found it has ended.

namespace vs::posix {

class unique_fd
{
public:
    explicit unique_fd(int descriptor = -1)
        : fd(descriptor)
    {
    }
    unique_fd(unique_fd &&other) noexcept
        : fd(std::exchange(other.fd, -1))
    {
    }
    unique_fd &operator=(unique_fd &&) = delete;
    ~unique_fd()
    {
        if (fd >= 0)
            ::close(fd);
    }
    int get() const { return fd; }

private:
    int fd;
};

class object
{
public:
    object() = default;
    object(const object &) = delete;
    object &operator=(const object &) = delete;
    virtual ~object() = default;
    virtual void shut() {} // its handle was closed
};

class port : public object
{
public:
    port(unique_fd line_fd, unique_fd shut_fd, std::shared_ptr<const termios2> line_afterwards)
        : line(std::move(line_fd))
        , shut_event(std::move(shut_fd))
        , afterwards(std::move(line_afterwards))
    {
    }
    ~port() override;
    void shut() override;

    // Reads what the line has, up to 4 KB, and serves later calls from there: a frame alone would take two
    // system calls. Returns what ::read() returns. Only the reading thread calls it.
    ssize_t read(char *buffer, std::size_t count);

    unique_fd line;
    unique_fd shut_event;                       // readable for good once the handle is closed
    std::shared_ptr<const termios2> afterwards; // the settings that the line is left with
    std::atomic<bool> is_shut{false};

private:
    char ahead[4096] = {}; // bytes that are read and not yet served
    std::size_t ahead_begin = 0;
    std::size_t ahead_end = 0;
};

// A transfer that did not end at once. Driven by the thread that waits for it.
struct pending_transfer
{
    std::shared_ptr<posix::port> port;
    bool writes;
    char *next; // for a write only read from
    std::uint32_t remaining;
    std::uint32_t moved = 0;
    int error = 0;

    bool advance(); // moves what can be moved without waiting; true when ended, with `error` set on failure
    bool ended() const { return remaining == 0 || error != 0; }
};

class event : public object
{
public:
    explicit event(unique_fd counter_fd)
        : counter(std::move(counter_fd))
    {
    }
    bool signal();      // false on failure, with errno
    bool take_signal(); // true if it was signalled, which it then is no longer

    unique_fd counter;
    std::atomic<bool> may_be_signalled{false}; // if not, take_signal() needs no system call
    std::optional<pending_transfer> pending;   // of an event that one thread alone waits for
};

handle add(std::shared_ptr<object> made);
std::shared_ptr<object> find(handle name);
std::shared_ptr<object> remove(handle name); // null if there is none

template <typename T>
std::shared_ptr<T> find_as(handle name)
{
    return std::dynamic_pointer_cast<T>(find(name));
}

bool fail(int error); // sets last_error() and gives false

unique_fd make_eventfd();

// Passes every byte on as it is, both ways, and reads at least one byte at a time.
void make_raw(termios2 &line);

// Whether a list offered this device because a program published it, and no program does so any more. A
// pseudo-terminal's number is soon given to another terminal.
bool is_no_longer_published(const std::string &path);

} // namespace vs::posix
