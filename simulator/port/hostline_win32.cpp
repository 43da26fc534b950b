#include "simulator/port/hostline.h"
#include "transport/platform/platform.h"

#include <QWinEventNotifier>

#include <algorithm>
#include <optional>
#include <utility>
#include <windows.h>

namespace simulator {
namespace {

constexpr std::uint32_t queueSize = 32768;
constexpr std::uint32_t maxReadSize = 4096;

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

// This system has no pseudo-terminals. A serial port cannot tell whether a host is at its other end; it
// counts as attached.
class Win32Line : public HostLine
{
public:
    ~Win32Line() override;

    Error openPseudoTerminal(const QString &name) override;
    Error openPort(const QString &path, int speed) override;
    bool hasUnreadOutput() const override;
    void close() final;

private:
    // One direction: the transfer in progress, and the notifier of its end.
    struct Direction
    {
        vs::transfer state;
        std::optional<QWinEventNotifier> ended;
        bool isBusy = false;
    };

    void watch(Direction &direction, void (Win32Line::*takeEnd)());
    void stop(Direction &direction);
    bool setUp(int speed);
    bool startRead();
    void takeRead();
    QByteArray readQueued();
    bool hasHost() const override { return port != vs::invalid_handle; }
    int waiting() const override { return inFlight.size() + pending.size(); }
    void writeMore() override;
    void takeWritten();
    void hangUp();

    vs::handle port = vs::invalid_handle;
    Direction in;
    Direction out;
    vs::handle queuedRead = vs::no_event;
    char firstByte = 0;
    QByteArray inFlight; // stays in place until it is written
};

Win32Line::~Win32Line()
{
    close();
    for (Direction *const direction : {&in, &out}) {
        direction->ended.reset();
        vs::close_handle(direction->state.event);
    }
    vs::close_handle(queuedRead);
}

Error Win32Line::openPseudoTerminal(const QString &)
{
    return QStringLiteral("this system has no pseudo-terminals; name a port, as in \"--port COM7\"");
}

Error Win32Line::openPort(const QString &path, int speed)
{
    const QString prefix = QString::fromLatin1(vs::port_path_prefix());
    port = vs::open_port((path.startsWith(prefix) ? path : prefix + path).toLocal8Bit().constData());
    if (port == vs::invalid_handle)
        return systemError(QStringLiteral("cannot open %1").arg(path));
    if (!setUp(speed)) {
        const QString error =
            systemError(QStringLiteral("cannot set up %1 with a speed of %2").arg(path).arg(speed));
        close();
        return error;
    }
    watch(in, &Win32Line::takeRead);
    watch(out, &Win32Line::takeWritten);
    if (!startRead()) {
        const QString error = systemError(QStringLiteral("cannot read from %1").arg(path));
        close();
        return error;
    }
    devicePath = path;
    return {};
}

// Eight bits, no parity, one stop bit, with hardware handshake.
bool Win32Line::setUp(int speed)
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

void Win32Line::watch(Direction &direction, void (Win32Line::*takeEnd)())
{
    direction.ended.emplace(reinterpret_cast<HANDLE>(direction.state.event));
    connect(&*direction.ended, &QWinEventNotifier::activated, this, takeEnd);
}

// A transfer that completes at once also sets its event.
bool Win32Line::startRead()
{
    std::uint32_t moved = 0;
    in.isBusy =
        vs::start_read(port, &firstByte, 1, moved, in.state) || vs::last_error() == vs::error_io_pending;
    return in.isBusy;
}

void Win32Line::takeRead()
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

// Reads the bytes queued after the first one; they are present, so the read completes at once.
QByteArray Win32Line::readQueued()
{
    QByteArray bytes(int(std::min(queuedBytes(port), maxReadSize)), '\0');
    vs::transfer state;
    state.event = queuedRead;
    std::uint32_t moved = 0;
    const bool isRead =
        !bytes.isEmpty() &&
        (vs::start_read(port, bytes.data(), std::uint32_t(bytes.size()), moved, state) ||
         (vs::last_error() == vs::error_io_pending && vs::transfer_result(port, state, moved)));
    return isRead ? bytes.left(int(moved)) : QByteArray(); // the next read reports the failure
}

void Win32Line::writeMore()
{
    if (out.isBusy || pending.isEmpty())
        return;
    inFlight = std::exchange(pending, QByteArray());
    std::uint32_t moved = 0;
    out.isBusy =
        vs::start_write(port, inFlight.constData(), std::uint32_t(inFlight.size()), moved, out.state) ||
        vs::last_error() == vs::error_io_pending;
    if (!out.isBusy)
        inFlight.clear(); // the next read reports the failure
}

void Win32Line::takeWritten()
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

bool Win32Line::hasUnreadOutput() const
{
    return waiting() > 0;
}

void Win32Line::hangUp()
{
    close();
    Q_EMIT lost();
}

// Wait for the cancelled transfer: the system writes to its buffers until then.
void Win32Line::stop(Direction &direction)
{
    if (direction.ended) // disable only: it may be the current sender
        direction.ended->setEnabled(false);
    if (std::exchange(direction.isBusy, false))
        vs::cancel_transfers(port, direction.state);
}

void Win32Line::close()
{
    stop(in);
    stop(out);
    pending.clear();
    inFlight.clear();
    if (port != vs::invalid_handle)
        vs::close_handle(std::exchange(port, vs::invalid_handle));
}

} // namespace

std::unique_ptr<HostLine> HostLine::make()
{
    return std::make_unique<Win32Line>();
}

} // namespace simulator
