#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QString>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

inline int lowestFreeDescriptor()
{
    const int free = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(free);
    return free;
}

// Does the work while the system gives this process no more than so many descriptors.
template <typename Work>
void withDescriptorsLeft(unsigned count, const Work &work)
{
    rlimit before = {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few = {rlim_t(lowestFreeDescriptor()) + count, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
    work();
    ::setrlimit(RLIMIT_NOFILE, &before);
}

// The module's end of a pseudo-terminal; UartDev opens the other one by its path.
class PseudoTerminal
{
public:
    PseudoTerminal()
        : fd(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        ::grantpt(fd);
        ::unlockpt(fd);
        char name[64] = {};
        ::ptsname_r(fd, name, sizeof name);
        ownPath = QString::fromLatin1(name);
    }
    ~PseudoTerminal() { unplug(); }
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    const QString &path() const { return ownPath; }
    int descriptor() const { return fd; }

    bool send(const QByteArray &bytes)
    {
        return ::write(fd, bytes.constData(), size_t(bytes.size())) == bytes.size();
    }

    // What arrives until `count` bytes are there, or until five seconds have passed without any.
    QByteArray receive(int count)
    {
        QByteArray got;
        pollfd ready = {fd, POLLIN, 0};
        while (got.size() < count && ::poll(&ready, 1, 5000) > 0) {
            char chunk[4096];
            const ssize_t size = ::read(fd, chunk, sizeof chunk);
            if (size <= 0)
                break;
            got.append(chunk, int(size));
        }
        return got;
    }

    void unplug()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }

private:
    int fd;
    QString ownPath;
};
