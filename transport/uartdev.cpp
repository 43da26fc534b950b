#include "transport/uartdev.h"

#include <QDebug>

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t queueSize = 32768;
constexpr unsigned headerSize = 4;

bool cannotOpen(const QString &path)
{
    qDebug() << "ERROR: cannot open serialport:" << path;
    return false;
}

int transferFailed(const char *operation)
{
    std::printf("ERROR: %s failed:%d\n", operation, int(vs::last_error()));
    std::fflush(stdout);
    return -1;
}

} // namespace

UartDev::UartDev(QString portName, QObject *parent)
    : CommDev(parent)
    , port_name(std::move(portName))
{
}

UartDev::~UartDev()
{
    vs::set_event(exit_event);
    while (QThread::isRunning()) {
    }
    port_handle.load(); // what the thread wrote last: all that it did has come before
    vs::close_handle(exit_event);
    vs::close_handle(read_event);
    vs::close_handle(write_event);
}

bool UartDev::Open()
{
    port_handle = vs::open_port(port_name.toLatin1().constData());
    if (port_handle == vs::invalid_handle)
        return cannotOpen(port_name);
    vs::set_queue_sizes(port_handle, queueSize, queueSize);
    vs::clear_timeouts(port_handle);
    exit_event = vs::create_event();
    read_event = vs::create_event();
    write_event = vs::create_event();
    if (exit_event == vs::no_event || read_event == vs::no_event || write_event == vs::no_event) {
        Disconnect(); // without its events the thread could not be stopped
        return cannotOpen(port_name);
    }
    start();
    if (!isRunning() && !isFinished()) { // the system gave no thread
        Disconnect();
        return cannotOpen(port_name);
    }
    return true;
}

void UartDev::SetBaudrate(int baud)
{
    vs::line_state state = {};
    state.length = sizeof state;
    if (!vs::get_line_state(port_handle, state))
        return;
    state.baud_rate = std::uint32_t(baud);
    state.byte_size = 8;
    state.stop_bits = vs::one_stop_bit;
    state.binary = 1;
    state.outx_cts_flow = 1;
    state.dtr_control = vs::dtr_enable;
    state.rts_control = vs::rts_handshake;
    state.check_parity = 0;
    state.outx_dsr_flow = 0;
    state.out_x = 0;
    state.in_x = 0;
    state.strip_null = 0;
    vs::set_line_state(port_handle, state);
}

void UartDev::TxData(QByteArray data)
{
    Write(unsigned(data.size()), data.constData());
}

void UartDev::Disconnect()
{
    const vs::handle port = port_handle.exchange(vs::invalid_handle);
    if (port != vs::invalid_handle)
        vs::close_handle(port);
}

int UartDev::Read(unsigned count, char *buffer)
{
    vs::transfer state;
    state.event = read_event;
    for (unsigned remaining = count; remaining != 0;) {
        std::uint32_t moved = 0;
        if (!vs::start_read(port_handle, buffer, remaining, moved, state)) {
            if (vs::last_error() != vs::error_io_pending)
                return transferFailed("ReadFile");
            if (vs::wait_for_either(read_event, exit_event) == 1) {
                vs::cancel_transfers(port_handle, state);
                return -1;
            }
            if (!vs::transfer_result(port_handle, state, moved))
                return transferFailed("ReadFile");
        }
        buffer += moved;
        remaining -= moved;
    }
    return int(count);
}

int UartDev::Write(unsigned count, const char *buffer)
{
    vs::transfer state;
    state.event = write_event;
    const std::size_t size = count;
    std::size_t position = 0;
    std::vector<char> beyond;
    while (count != 0) {
        const char *next = buffer + position;
        if (position + count > size) {
            // What would lie past the caller's bytes goes out as zeros.
            beyond.assign(count, '\0');
            std::copy(buffer + std::min(position, size), buffer + size, beyond.begin());
            next = beyond.data();
        }
        std::uint32_t moved = 0;
        if (!vs::start_write(port_handle, next, count, moved, state)) {
            if (vs::last_error() != vs::error_io_pending)
                return transferFailed("WriteFile");
            if (vs::wait_for_either(write_event, exit_event) == 1) {
                vs::cancel_transfers(port_handle, state);
                return -1;
            }
            if (!vs::transfer_result(port_handle, state, moved))
                return transferFailed("Writefile");
        }
        count -= moved;
        position += count; // by what is left, not by what was written; whole writes move nothing
    }
    return 0;
}

void UartDev::run()
{
    char buffer[4096];
    while (!vs::poll_event(exit_event)) {
        const int got = Read(headerSize, buffer);
        if (got < 0)
            break;
        if (got == 0)
            continue;
        const unsigned length = uchar(buffer[1]);
        if (length != 0 && Read(length, buffer + headerSize) <= 0)
            break;
        Q_EMIT RxData(QByteArray(buffer, int(length + headerSize)));
    }
    qDebug("UART disconnecting");
    Disconnect();
    qDebug("UART thread exit");
}
