#include "simulator/platform/win32link.h"

#include <algorithm>
#include <utility>
#include <windows.h>

namespace simulator {
namespace {

constexpr std::uint32_t queueSize = 32768;
constexpr std::uint32_t mostAtOnce = 4096;

QString systemError(const QString &what)
{
    return QStringLiteral("%1: %2").arg(what, qt_error_string(int(vs::last_error())));
}

std::uint32_t queuedBytes(vs::handle port)
{
    DWORD errors = 0;
    COMSTAT state = {};
    return ClearCommError(reinterpret_cast<HANDLE>(port), &errors, &state) != FALSE ? state.cbInQue : 0;
}

} // namespace

const ModuleLink::Help ModuleLink::help = {
    "opens the serial port that --port names, says \"ready: <port>\"",
    "A name of the module; nothing shows it here.",
    "Speak on this serial port, as in COM7. This option is always needed here.",
};

std::unique_ptr<ModuleLink> ModuleLink::make()
{
    return std::make_unique<Win32Link>();
}

Win32Link::~Win32Link()
{
    close();
    for (Direction *const direction : {&in, &out}) {
        direction->ended.reset();
        vs::close_handle(direction->state.event);
    }
    vs::close_handle(queuedRead);
}

bool Win32Link::openPseudoTerminal(const QString &, QString *error)
{
    *error = QStringLiteral("this system has no pseudo-terminals; name a port, as in \"--port COM7\"");
    return false;
}

bool Win32Link::openPort(const QString &path, int speed, QString *error)
{
    const QString prefix = QString::fromLatin1(vs::port_path_prefix());
    port = vs::open_port((path.startsWith(prefix) ? path : prefix + path).toLocal8Bit().constData());
    if (port == vs::invalid_handle) {
        *error = systemError(QStringLiteral("cannot open %1").arg(path));
        return false;
    }
    if (!setUp(speed)) {
        *error = systemError(QStringLiteral("cannot set up %1 with a speed of %2").arg(path).arg(speed));
        close();
        return false;
    }
    watch(in, &Win32Link::takeRead);
    watch(out, &Win32Link::takeWritten);
    if (!startRead()) {
        *error = systemError(QStringLiteral("cannot read from %1").arg(path));
        close();
        return false;
    }
    devicePath = path;
    return true;
}

// Eight bits, no parity, one stop bit, with hardware handshake.
bool Win32Link::setUp(int speed)
{
    vs::set_queue_sizes(port, queueSize, queueSize);
    vs::line_state line = {};
    line.length = sizeof(line);
    if (!vs::clear_timeouts(port) || !vs::get_line_state(port, line))
        return false;
    line.baud_rate = std::uint32_t(speed);
    line.binary = 1;
    line.outx_cts_flow = 1;
    line.dtr_control = vs::dtr_enable;
    line.rts_control = vs::rts_handshake;
    line.check_parity = line.outx_dsr_flow = line.dsr_sensitivity = line.out_x = line.in_x = 0;
    line.error_char_on = line.strip_null = line.abort_on_error = 0;
    line.byte_size = 8;
    line.parity = 0;
    line.stop_bits = vs::one_stop_bit;
    in.state.event = vs::create_event();
    out.state.event = vs::create_event();
    queuedRead = vs::create_event();
    return in.state.event != vs::no_event && out.state.event != vs::no_event && queuedRead != vs::no_event &&
           vs::set_line_state(port, line);
}

void Win32Link::watch(Direction &direction, void (Win32Link::*takeEnd)())
{
    direction.ended.emplace(reinterpret_cast<HANDLE>(direction.state.event));
    connect(&*direction.ended, &QWinEventNotifier::activated, this, takeEnd);
}

// A transfer that ends at once signals its event, too.
bool Win32Link::startRead()
{
    std::uint32_t moved = 0;
    in.isBusy =
        vs::start_read(port, &firstByte, 1, moved, in.state) || vs::last_error() == vs::error_io_pending;
    return in.isBusy;
}

void Win32Link::takeRead()
{
    std::uint32_t moved = 0;
    if (!in.isBusy)
        return;
    in.isBusy = false;
    if (!vs::transfer_result(port, in.state, moved)) {
        hangUp();
        return;
    }
    Q_EMIT received(QByteArray(1, firstByte) + readQueued());
    if (port != vs::invalid_handle && !startRead())
        hangUp();
}

// What has come beside the first byte. It is there, so this ends at once.
QByteArray Win32Link::readQueued()
{
    QByteArray bytes(int(std::min(queuedBytes(port), mostAtOnce)), '\0');
    vs::transfer state;
    state.event = queuedRead;
    std::uint32_t moved = 0;
    const bool isRead =
        !bytes.isEmpty() &&
        (vs::start_read(port, bytes.data(), std::uint32_t(bytes.size()), moved, state) ||
         (vs::last_error() == vs::error_io_pending && vs::transfer_result(port, state, moved)));
    return isRead ? bytes.left(int(moved)) : QByteArray(); // the next read meets the failure, too
}

bool Win32Link::write(const QByteArray &bytes)
{
    if (port == vs::invalid_handle)
        return false;
    if (inFlight.size() + pending.size() + bytes.size() > maxPending) {
        Q_EMIT overrun(bytes.size());
        return false;
    }
    pending += bytes;
    writeMore();
    return true;
}

void Win32Link::writeMore()
{
    if (out.isBusy || pending.isEmpty())
        return;
    inFlight = std::exchange(pending, QByteArray());
    std::uint32_t moved = 0;
    out.isBusy =
        vs::start_write(port, inFlight.constData(), std::uint32_t(inFlight.size()), moved, out.state) ||
        vs::last_error() == vs::error_io_pending;
    if (!out.isBusy)
        inFlight.clear(); // the failure shows itself to the reader, too
}

void Win32Link::takeWritten()
{
    std::uint32_t moved = 0;
    if (!out.isBusy)
        return;
    out.isBusy = false;
    if (vs::transfer_result(port, out.state, moved))
        pending.prepend(inFlight.mid(int(moved)));
    inFlight.clear();
    writeMore();
}

bool Win32Link::hasUnreadOutput() const
{
    return !inFlight.isEmpty() || !pending.isEmpty();
}

void Win32Link::hangUp()
{
    close();
    Q_EMIT lost();
}

// The system writes to the buffers until a transfer has ended, so that is waited for.
void Win32Link::stop(Direction &direction)
{
    if (direction.ended) // only switched off: it may be the sender of the signal that led here
        direction.ended->setEnabled(false);
    if (std::exchange(direction.isBusy, false))
        vs::cancel_transfers(port, direction.state);
}

void Win32Link::close()
{
    stop(in);
    stop(out);
    pending.clear();
    inFlight.clear();
    if (port != vs::invalid_handle)
        vs::close_handle(std::exchange(port, vs::invalid_handle));
}

} // namespace simulator
