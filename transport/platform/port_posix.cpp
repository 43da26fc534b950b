#include "transport/platform/objects_posix.h"

#include <algorithm>
#include <asm/termbits.h> // arbitrary speeds; not to be mixed with <termios.h>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace vs {
namespace posix {

namespace {

enum parity : std::uint8_t { none, odd, even, mark, space };

bool is_pseudo_terminal(int fd)
{
    constexpr unsigned first_major = 136;
    constexpr unsigned last_major = 143;
    struct stat info = {};
    return ::fstat(fd, &info) == 0 && major(info.st_rdev) >= first_major && major(info.st_rdev) <= last_major;
}

template <typename Flags>
void set_flags(Flags &flags, Flags mask, bool on)
{
    flags = on ? flags | mask : flags & ~mask;
}

std::uint8_t parity_of(tcflag_t control)
{
    if ((control & PARENB) == 0)
        return none;
    const bool is_odd = (control & PARODD) != 0;
    if ((control & CMSPAR) != 0)
        return is_odd ? mark : space;
    return is_odd ? odd : even;
}

std::uint8_t byte_size_of(tcflag_t control)
{
    switch (control & CSIZE) {
    case CS5: return 5;
    case CS6: return 6;
    case CS7: return 7;
    default: return 8;
    }
}

tcflag_t size_flag(std::uint8_t byte_size)
{
    constexpr tcflag_t flags[] = {CS5, CS6, CS7, CS8};
    return flags[std::clamp<int>(byte_size, 5, 8) - 5];
}

// A write ends when the driver has taken the bytes, so the last ones may still be on their way when the port
// is closed; but a line that is held must not hold up the close, as the system itself does for half a minute.
void drain(int fd)
{
    constexpr int pause_ms = 5;
    constexpr unsigned frame_bits_times_1000 = 2600 * 1000; // 260 bytes: longer ones may lose their end
    constexpr int max_ms = 5000;
    termios2 line = {};
    int queued = 0;
    if (::ioctl(fd, TCGETS2, &line) != 0)
        return;
    int left_ms = std::min(max_ms, 250 + int(frame_bits_times_1000 / std::max(line.c_ospeed, 50U)));
    while (::ioctl(fd, TIOCOUTQ, &queued) == 0 && queued > 0) {
        if (left_ms <= 0) {
            ::ioctl(fd, TCFLSH, TCOFLUSH);
            return;
        }
        ::poll(nullptr, 0, pause_ms);
        left_ms -= pause_ms;
    }
}

// Refuses a port that somebody has locked. True with the line ready to carry bytes as they are; `afterwards`
// is how to leave it: with the speed, the handshake and so on that it had, but never with an echo, which
// would send the module its own bytes.
bool take_line(int fd, termios2 &afterwards)
{
    termios2 line = {};
    if (::ioctl(fd, TCGETS2, &line) != 0)
        return fail(errno);
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0)
        return fail(errno == EWOULDBLOCK ? EBUSY : errno);
    afterwards = line;
    make_raw(line);
    afterwards.c_iflag = line.c_iflag;
    afterwards.c_oflag = line.c_oflag;
    afterwards.c_lflag = line.c_lflag;
    if (::ioctl(fd, TCSETS2, &line) != 0)
        return fail(errno);
    // On a pseudo-terminal the exclusive mode would outlive a process that ends with its port open.
    if (!is_pseudo_terminal(fd))
        ::ioctl(fd, TIOCEXCL);
    return true;
}

} // namespace

void make_raw(termios2 &line)
{
    line.c_iflag &=
        ~tcflag_t(IGNBRK | BRKINT | PARMRK | INPCK | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF | IXANY);
    line.c_oflag &= ~tcflag_t(OPOST);
    line.c_lflag &= ~tcflag_t(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
    line.c_cflag |= CREAD | CLOCAL;
    line.c_cc[VMIN] = 1;
    line.c_cc[VTIME] = 0;
}

port::~port()
{
    // What is read ahead and not served is lost. With the rest in the queue the next user of a
    // pseudo-terminal would begin in the middle of a frame; the driver of a real port drops its queue by
    // itself.
    if (ahead_begin != ahead_end)
        ::ioctl(line.get(), TCFLSH, TCIFLUSH);
    drain(line.get());
    ::ioctl(line.get(), TCSETS2, afterwards.get());
    ::ioctl(line.get(), TIOCNXCL);
    ::flock(line.get(), LOCK_UN); // a child between fork and exec would hold it on
}

ssize_t port::read(char *buffer, std::size_t count)
{
    if (ahead_begin == ahead_end) {
        const ssize_t got = ::read(line.get(), ahead, sizeof ahead);
        if (got <= 0)
            return got;
        ahead_begin = 0;
        ahead_end = std::size_t(got);
    }
    const std::size_t served = std::min(count, ahead_end - ahead_begin);
    std::copy_n(ahead + ahead_begin, served, buffer);
    ahead_begin += served;
    return ssize_t(served);
}

void port::shut()
{
    is_shut = true;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(shut_event.get(), &one, sizeof one);
}

} // namespace posix

using namespace posix;

handle open_port(const char *path)
{
    unique_fd line(::open(path, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (line.get() < 0) {
        fail(errno);
        return invalid_handle;
    }
    unique_fd shut_event = make_eventfd();
    if (shut_event.get() < 0) {
        fail(errno);
        return invalid_handle;
    }
    // Not asked before it is open, which keeps its number from going to somebody else.
    if (is_no_longer_published(path)) {
        fail(ENODEV);
        return invalid_handle;
    }
    const auto afterwards = std::make_shared<termios2>();
    if (!take_line(line.get(), *afterwards))
        return invalid_handle;
    return add(std::make_shared<port>(std::move(line), std::move(shut_event), afterwards));
}

// The queues are the driver's own here, and the line is set to have no timeouts when it is opened.
bool set_queue_sizes(handle name, std::uint32_t, std::uint32_t)
{
    return find_as<port>(name) || fail(EBADF);
}

bool clear_timeouts(handle name)
{
    return find_as<port>(name) || fail(EBADF);
}

bool get_line_state(handle name, line_state &state)
{
    const auto found = find_as<port>(name);
    if (!found)
        return fail(EBADF);
    termios2 line = {};
    if (::ioctl(found->line.get(), TCGETS2, &line) != 0)
        return fail(errno);
    int modem = TIOCM_DTR; // what a line without modem signals is taken for
    ::ioctl(found->line.get(), TIOCMGET, &modem);
    const bool handshake = (line.c_cflag & CRTSCTS) != 0;
    state = {};
    state.length = sizeof state;
    state.baud_rate = line.c_ospeed;
    state.binary = (line.c_lflag & ICANON) == 0;
    state.check_parity = (line.c_iflag & INPCK) != 0;
    state.outx_cts_flow = handshake;
    state.dtr_control = (modem & TIOCM_DTR) != 0 ? dtr_enable : 0;
    state.out_x = (line.c_iflag & IXON) != 0;
    state.in_x = (line.c_iflag & IXOFF) != 0;
    state.rts_control = handshake ? rts_handshake : 0;
    state.byte_size = byte_size_of(line.c_cflag);
    state.parity = parity_of(line.c_cflag);
    state.stop_bits = (line.c_cflag & CSTOPB) != 0 ? 2 : one_stop_bit;
    return true;
}

bool set_line_state(handle name, const line_state &state)
{
    const auto found = find_as<port>(name);
    if (!found)
        return fail(EBADF);
    // Speed 0 would hang up.
    if (state.baud_rate == 0 || state.baud_rate > std::numeric_limits<std::int32_t>::max())
        return fail(EINVAL);
    const int fd = found->line.get();
    termios2 line = {};
    if (::ioctl(fd, TCGETS2, &line) != 0)
        return fail(errno);
    make_raw(line);
    set_flags<tcflag_t>(line.c_iflag, INPCK, state.check_parity);
    set_flags<tcflag_t>(line.c_iflag, IXON, state.out_x);
    set_flags<tcflag_t>(line.c_iflag, IXOFF, state.in_x);
    set_flags<tcflag_t>(line.c_cflag, CSTOPB, state.stop_bits != one_stop_bit);
    set_flags<tcflag_t>(line.c_cflag, PARENB, state.parity != none);
    set_flags<tcflag_t>(line.c_cflag, PARODD, state.parity == odd || state.parity == mark);
    set_flags<tcflag_t>(line.c_cflag, CMSPAR, state.parity == mark || state.parity == space);
    set_flags<tcflag_t>(line.c_cflag, CRTSCTS, state.outx_cts_flow && state.rts_control == rts_handshake);
    line.c_cflag &= ~tcflag_t(CSIZE | CBAUD | (CBAUD << IBSHIFT));
    line.c_cflag |= size_flag(state.byte_size) | BOTHER | (tcflag_t(BOTHER) << IBSHIFT);
    line.c_ispeed = line.c_ospeed = state.baud_rate;
    if (::ioctl(fd, TCSETS2, &line) != 0)
        return fail(errno);
    const int dtr = TIOCM_DTR;
    ::ioctl(fd, state.dtr_control != 0 ? TIOCMBIS : TIOCMBIC, &dtr); // pseudo-terminals have none
    return true;
}

} // namespace vs
