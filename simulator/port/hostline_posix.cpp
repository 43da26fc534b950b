#include "simulator/port/hostline.h"
#include "simulator/port/portpublication.h"
#include "transport/platform/objects_posix.h"

#include <QFile>
#include <QSocketNotifier>
#include <QTimer>

#include <asm/termbits.h> // arbitrary speeds; conflicts with <termios.h>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace simulator {
namespace {

using namespace std::chrono_literals;

// A pseudo-terminal does not signal when its slave is opened, and polls as hung up until then.
constexpr auto attachInterval = 10ms;

QString systemError(const QString &what)
{
    return QStringLiteral("%1: %2").arg(what, QString::fromLocal8Bit(std::strerror(errno)));
}

short pollNow(int fd)
{
    pollfd entry{fd, POLLIN, 0};
    return ::poll(&entry, 1, 0) > 0 ? entry.revents : short(0);
}

// Eight bits, no parity, one stop bit, every byte as it is.
void setUp(termios2 &line)
{
    vs::posix::make_raw(line);
    line.c_cflag &= ~tcflag_t(CSIZE | PARENB | CSTOPB);
    line.c_cflag |= CS8;
}

// A driver that does not support a speed silently sets another one.
bool runsAt(int fd, int speed)
{
    termios2 line{};
    return ::ioctl(fd, TCGETS2, &line) == 0 && qAbs(qint64(line.c_ospeed) - speed) <= speed / 25;
}

// The slave is opened only for a moment; while it were kept open, the end of the last host would go
// unnoticed.
class PosixLine : public HostLine
{
public:
    PosixLine();
    ~PosixLine() override { close(); }

    Error openPseudoTerminal(const QString &name) override;
    Error openPort(const QString &path, int speed) override;
    bool hasUnreadOutput() const override;
    void close() final;

private:
    void watch();
    void readMore();
    bool hasHost() const override { return isAttached; }
    void writeMore() override;
    void lookForHost();
    void hangUp();
    int openSlave() const;
    void settleSlave(bool isNew) const;

    int fd = -1;
    bool isPseudoTerminal = false;
    bool isAttached = false;
    std::unique_ptr<QSocketNotifier> readable;
    std::unique_ptr<QSocketNotifier> writable;
    QTimer attachTimer;
    PortPublication publication;
};

PosixLine::PosixLine()
{
    attachTimer.setInterval(attachInterval);
    connect(&attachTimer, &QTimer::timeout, this, &PosixLine::lookForHost);
}

Error PosixLine::openPseudoTerminal(const QString &name)
{
    fd = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    char slave[128];
    if (fd < 0 || ::grantpt(fd) != 0 || ::unlockpt(fd) != 0 || ::ptsname_r(fd, slave, sizeof(slave)) != 0) {
        const QString error = systemError(QStringLiteral("cannot open a pseudo-terminal"));
        close();
        return error;
    }
    devicePath = QFile::decodeName(slave);
    isPseudoTerminal = true;
    settleSlave(true);
    watch();
    attachTimer.start();
    return publication.publish(name, devicePath);
}

Error PosixLine::openPort(const QString &path, int speed)
{
    fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios2 line{};
    if (fd < 0 || ::ioctl(fd, TCGETS2, &line) != 0) {
        const QString error = systemError(QStringLiteral("cannot open %1").arg(path));
        close();
        return error;
    }
    setUp(line);
    line.c_cflag &= ~tcflag_t(CBAUD | (CBAUD << IBSHIFT));
    line.c_cflag |= CLOCAL | CREAD | CRTSCTS | BOTHER | (BOTHER << IBSHIFT);
    line.c_ispeed = line.c_ospeed = speed_t(speed);
    const bool isSet = ::ioctl(fd, TCSETS2, &line) == 0;
    if (!isSet || !runsAt(fd, speed)) {
        const QString error = isSet ? QStringLiteral("%1 cannot do a speed of %2").arg(path).arg(speed)
                                    : systemError(QStringLiteral("cannot set up %1").arg(path));
        close();
        return error;
    }
    devicePath = path;
    watch();
    isAttached = true;
    readable->setEnabled(true);
    return {};
}

void PosixLine::watch()
{
    readable = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
    writable = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Write);
    readable->setEnabled(false);
    writable->setEnabled(false);
    connect(readable.get(), &QSocketNotifier::activated, this, &PosixLine::readMore);
    connect(writable.get(), &QSocketNotifier::activated, this, &PosixLine::writeMore);
}

int PosixLine::openSlave() const
{
    return ::open(QFile::encodeName(devicePath).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
}

// Opening and closing the slave makes it count as hung up. Raw mode stops a new one from echoing. Flushing
// drops what the last host did not read, so that the next host does not get it.
void PosixLine::settleSlave(bool isNew) const
{
    const int slave = openSlave();
    if (slave < 0)
        return;
    termios2 line{};
    if (isNew && ::ioctl(slave, TCGETS2, &line) == 0) {
        setUp(line);
        ::ioctl(slave, TCSETS2, &line);
    }
    ::ioctl(slave, TCFLSH, TCIFLUSH);
    ::close(slave);
}

void PosixLine::lookForHost()
{
    // POLLIN and POLLHUP together: since the last look a host has attached, written and left.
    const short state = pollNow(fd);
    if ((state & POLLHUP) != 0 && (state & POLLIN) == 0)
        return;
    attachTimer.stop();
    isAttached = true;
    readable->setEnabled(true);
    Q_EMIT hostAttached();
}

void PosixLine::readMore()
{
    char buffer[4096];
    const ssize_t count = ::read(fd, buffer, sizeof(buffer));
    if (count > 0)
        Q_EMIT received(QByteArray(buffer, int(count)));
    else if (count == 0 || (errno != EAGAIN && errno != EINTR))
        hangUp();
}

void PosixLine::writeMore()
{
    while (!pending.isEmpty()) {
        const ssize_t count = ::write(fd, pending.constData(), size_t(pending.size()));
        if (count > 0)
            pending.remove(0, int(count));
        else if (count == 0 || errno != EINTR)
            break;
    }
    // Ignore write errors: the next read reports them.
    writable->setEnabled(!pending.isEmpty());
}

bool PosixLine::hasUnreadOutput() const
{
    if (!pending.isEmpty() || !isPseudoTerminal || !isAttached)
        return !pending.isEmpty();
    const int slave = openSlave();
    if (slave < 0)
        return false;
    int unread = 0;
    const bool known = ::ioctl(slave, FIONREAD, &unread) == 0;
    ::close(slave);
    return known && unread > 0;
}

void PosixLine::hangUp()
{
    isAttached = false;
    pending.clear();
    readable->setEnabled(false);
    writable->setEnabled(false);
    if (!isPseudoTerminal) {
        close();
        Q_EMIT lost();
        return;
    }
    settleSlave(false);
    attachTimer.start();
    Q_EMIT hostDetached();
}

void PosixLine::close()
{
    attachTimer.stop();
    isAttached = false;
    pending.clear();
    // Do not delete a notifier: it may be the sender of the current signal.
    for (const auto *notifier : {&readable, &writable}) {
        if (*notifier)
            (*notifier)->setEnabled(false);
    }
    publication.withdraw(); // before the number of the pseudo-terminal is free again
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

} // namespace

std::unique_ptr<HostLine> HostLine::make()
{
    return std::make_unique<PosixLine>();
}

} // namespace simulator
