#pragma once

#include <QElapsedTimer>

#include <fcntl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

// What a pseudo-terminal gives with nothing of ours in the way.

constexpr int exchanges = 4000;
constexpr char hello[] = {0x00, 0x00, 0x00, 0x01}; // the command and its response are the same four bytes

inline bool read_fully(int fd, char *buffer, std::size_t count)
{
    while (count > 0) {
        const ssize_t got = read(fd, buffer, count);
        if (got <= 0)
            return false;
        buffer += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

// A pseudo-terminal whose master side answers every four bytes with the same four.
class Echo
{
public:
    Echo()
        : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        grantpt(m_master);
        unlockpt(m_master);
        m_keep_open = open_slave();
        m_peer = std::thread([this] {
            char frame[sizeof hello];
            while (read_fully(m_master, frame, sizeof frame) && write(m_master, frame, sizeof frame) > 0) {
            }
        });
    }

    ~Echo()
    {
        close(m_keep_open); // the last slave: the peer's read fails
        m_peer.join();
        close(m_master);
    }

    Echo(const Echo &) = delete;
    Echo &operator=(const Echo &) = delete;

    const char *slave_name() const { return ptsname(m_master); }

    int open_slave() const
    {
        const int fd = open(slave_name(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios line;
        tcgetattr(fd, &line);
        cfmakeraw(&line);
        tcsetattr(fd, TCSANOW, &line);
        return fd;
    }

private:
    int m_master;
    int m_keep_open;
    std::thread m_peer;
};

// Exchanges a second of two threads that pass four bytes to and fro.
inline double bare_rate()
{
    Echo echo;
    const int fd = echo.open_slave();
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < exchanges; ++i) {
        char answer[sizeof hello];
        if (write(fd, hello, sizeof hello) != sizeof hello || !read_fully(fd, answer, sizeof answer))
            qFatal("the bare exchange broke off");
    }
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    close(fd);
    return exchanges / seconds;
}
