#include "simulator/platform/posixlink.h"

#include "transport/platform/published_ports.h"

#include <QFile>

#include <asm/termbits.h> // arbitrary speeds; not to be mixed with <termios.h>
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

// A pseudo-terminal says nothing when it is opened, and polls as hung up without end while it is not.
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
void makeRaw(termios2 &line)
{
    line.c_iflag &=
        ~tcflag_t(IGNBRK | BRKINT | PARMRK | INPCK | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF | IXANY);
    line.c_oflag &= ~tcflag_t(OPOST);
    line.c_lflag &= ~tcflag_t(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
    line.c_cflag &= ~tcflag_t(CSIZE | PARENB | CSTOPB);
    line.c_cflag |= CS8;
    line.c_cc[VMIN] = 1;
    line.c_cc[VTIME] = 0;
}

// A driver that cannot do a speed takes another one without a word.
bool runsAt(int fd, int speed)
{
    termios2 line{};
    return ::ioctl(fd, TCGETS2, &line) == 0 && qAbs(qint64(line.c_ospeed) - speed) <= speed / 25;
}

} // namespace

const ModuleLink::Help ModuleLink::help = {
    "opens a pseudo-terminal, publishes it for the port list, says \"ready: <path> <name>\"",
    "Publish the pseudo-terminal under NAME (\"Simulated module\").",
    "Speak on this serial port instead of a pseudo-terminal of its own.",
};

std::unique_ptr<ModuleLink> ModuleLink::make()
{
    return std::make_unique<PosixLink>();
}

PosixLink::PosixLink()
{
    attachTimer.setInterval(attachInterval);
    connect(&attachTimer, &QTimer::timeout, this, &PosixLink::lookForHost);
}

PosixLink::~PosixLink()
{
    publication.reset();
    close();
}

bool PosixLink::openPseudoTerminal(const QString &name, QString *error)
{
    fd = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    char slave[128];
    if (fd < 0 || ::grantpt(fd) != 0 || ::unlockpt(fd) != 0 || ::ptsname_r(fd, slave, sizeof(slave)) != 0) {
        *error = systemError(QStringLiteral("cannot open a pseudo-terminal"));
        close();
        return false;
    }
    devicePath = QFile::decodeName(slave);
    isPseudoTerminal = true;
    settleSlave(true);
    watch();
    attachTimer.start();
    publication = std::make_unique<port_publication>(name.toStdString(), devicePath.toStdString());
    *error = QString::fromStdString(publication->error());
    return publication->is_published();
}

bool PosixLink::openPort(const QString &path, int speed, QString *error)
{
    fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios2 line{};
    if (fd < 0 || ::ioctl(fd, TCGETS2, &line) != 0) {
        *error = systemError(QStringLiteral("cannot open %1").arg(path));
        close();
        return false;
    }
    makeRaw(line);
    line.c_cflag &= ~tcflag_t(CBAUD | (CBAUD << IBSHIFT));
    line.c_cflag |= CLOCAL | CREAD | CRTSCTS | BOTHER | (BOTHER << IBSHIFT);
    line.c_ispeed = line.c_ospeed = speed_t(speed);
    const bool isSet = ::ioctl(fd, TCSETS2, &line) == 0;
    if (!isSet || !runsAt(fd, speed)) {
        *error = isSet ? QStringLiteral("%1 cannot do a speed of %2").arg(path).arg(speed)
                       : systemError(QStringLiteral("cannot set up %1").arg(path));
        close();
        return false;
    }
    devicePath = path;
    watch();
    attached = true;
    readable->setEnabled(true);
    return true;
}

void PosixLink::watch()
{
    readable = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
    writable = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Write);
    readable->setEnabled(false);
    writable->setEnabled(false);
    connect(readable.get(), &QSocketNotifier::activated, this, &PosixLink::readMore);
    connect(writable.get(), &QSocketNotifier::activated, this, &PosixLink::writeMore);
}

// Opens the slave for a moment, which also makes it count as hung up afterwards. Raw mode keeps it from
// echoing; what a gone host did not read must not reach the next one. It is never kept open: the end of the
// last host would not be seen then.
void PosixLink::settleSlave(bool isNew) const
{
    const int slave =
        ::open(QFile::encodeName(devicePath).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (slave < 0)
        return;
    termios2 line{};
    if (isNew && ::ioctl(slave, TCGETS2, &line) == 0) {
        makeRaw(line);
        ::ioctl(slave, TCSETS2, &line);
    }
    ::ioctl(slave, TCFLSH, TCIFLUSH);
    ::close(slave);
}

void PosixLink::lookForHost()
{
    // Data beside the hang-up: a host came, wrote and went since the last look.
    const short state = pollNow(fd);
    if ((state & POLLHUP) != 0 && (state & POLLIN) == 0)
        return;
    attachTimer.stop();
    attached = true;
    readable->setEnabled(true);
    Q_EMIT hostAttached();
}

void PosixLink::readMore()
{
    char buffer[4096];
    const ssize_t count = ::read(fd, buffer, sizeof(buffer));
    if (count > 0)
        Q_EMIT received(QByteArray(buffer, int(count)));
    else if (count == 0 || (errno != EAGAIN && errno != EINTR))
        hangUp();
}

bool PosixLink::write(const QByteArray &bytes)
{
    if (!attached)
        return false;
    if (pending.size() + bytes.size() > maxPending) {
        Q_EMIT overrun(bytes.size());
        return false;
    }
    pending += bytes;
    writeMore();
    return true;
}

void PosixLink::writeMore()
{
    while (!pending.isEmpty()) {
        const ssize_t count = ::write(fd, pending.constData(), size_t(pending.size()));
        if (count > 0)
            pending.remove(0, int(count));
        else if (count == 0 || errno != EINTR)
            break;
    }
    // A failure shows itself to the reader, too.
    writable->setEnabled(!pending.isEmpty());
}

bool PosixLink::hasUnreadOutput() const
{
    if (!pending.isEmpty() || !isPseudoTerminal || !attached)
        return !pending.isEmpty();
    const int slave =
        ::open(QFile::encodeName(devicePath).constData(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (slave < 0)
        return false;
    int unread = 0;
    const bool known = ::ioctl(slave, FIONREAD, &unread) == 0;
    ::close(slave);
    return known && unread > 0;
}

void PosixLink::hangUp()
{
    attached = false;
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

void PosixLink::close()
{
    attachTimer.stop();
    attached = false;
    pending.clear();
    // Only switched off: one of them may be the sender of the signal that led here.
    for (const auto *notifier : {&readable, &writable}) {
        if (*notifier)
            (*notifier)->setEnabled(false);
    }
    if (fd >= 0)
        ::close(fd);
    fd = -1;
    publication.reset();
}

} // namespace simulator
