#pragma once

#include <QElapsedTimer>

#include <fcntl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

// What a pseudo-terminal gives with nothing of ours in the way.

constexpr int exchanges = 4000;
constexpr char hello[] = {0x00, 0x00, 0x00, 0x01}; // the command and its response are the same four bytes

inline bool readFully(int fd, char *buffer, std::size_t count)
{
    while (count > 0) {
        const ssize_t got = read(fd, buffer, count);
        if (got <= 0)
            return false;
        buffer += got;
        count -= std::size_t(got);
    }
    return true;
}

// A pseudo-terminal whose master side answers every four bytes with the same four.
class Echo
{
public:
    Echo()
        : master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        grantpt(master);
        unlockpt(master);
        keepOpen = openSlave();
        peer = std::thread([this] {
            char frame[sizeof hello];
            while (readFully(master, frame, sizeof frame) && write(master, frame, sizeof frame) > 0) {
            }
        });
    }

    ~Echo()
    {
        close(keepOpen); // the last slave: the peer's read fails
        peer.join();
        close(master);
    }

    Echo(const Echo &) = delete;
    Echo &operator=(const Echo &) = delete;

    const char *slaveName() const { return ptsname(master); }

    int openSlave() const
    {
        const int fd = open(slaveName(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios line;
        tcgetattr(fd, &line);
        cfmakeraw(&line);
        tcsetattr(fd, TCSANOW, &line);
        return fd;
    }

private:
    int master;
    int keepOpen;
    std::thread peer;
};

// Exchanges a second of two threads that pass four bytes to and fro.
inline double bareRate()
{
    Echo echo;
    const int fd = echo.openSlave();
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < exchanges; ++i) {
        char answer[sizeof hello];
        if (write(fd, hello, sizeof hello) != sizeof hello || !readFully(fd, answer, sizeof answer))
            qFatal("the bare exchange broke off");
    }
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    close(fd);
    return exchanges / seconds;
}
