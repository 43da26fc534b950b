#pragma once

#include <cstdint>

// The system calls that the transport needs, one function an operation, named for what they do. One source a
// system stands beneath: platform_win32.cpp makes the calls themselves, *_posix.cpp give the same effects.
// Where a function returns bool, false means failure and last_error() tells the reason to the thread that
// called.

namespace vs {

// Names an open port, an event, a device list or a device key.
using handle = std::intptr_t;
constexpr handle invalid_handle = -1;
constexpr handle no_event = 0; // what an event is before it is made; setting or closing it fails, no more

constexpr std::uint32_t error_io_pending = 997; // last_error() when a transfer goes on in the background

// A transfer in progress. It and its buffer must stay in place until the transfer has ended or was cancelled.
struct transfer
{
    std::uintptr_t internal = 0; // the system's own
    std::uintptr_t internal_high = 0;
    std::uint32_t offset = 0;
    std::uint32_t offset_high = 0;
    handle event = no_event;
};

constexpr std::uint8_t one_stop_bit = 0;
constexpr std::uint32_t dtr_enable = 1;
constexpr std::uint32_t rts_handshake = 2;

// The settings of a line. Members and layout are those of the Windows device control block.
struct line_state
{
    std::uint32_t length;    // the block's own size, set by the caller
    std::uint32_t baud_rate; // bits a second
    std::uint32_t binary : 1;
    std::uint32_t check_parity : 1;
    std::uint32_t outx_cts_flow : 1;
    std::uint32_t outx_dsr_flow : 1;
    std::uint32_t dtr_control : 2;
    std::uint32_t dsr_sensitivity : 1;
    std::uint32_t tx_continue_on_xoff : 1;
    std::uint32_t out_x : 1;
    std::uint32_t in_x : 1;
    std::uint32_t error_char_on : 1;
    std::uint32_t strip_null : 1;
    std::uint32_t rts_control : 2;
    std::uint32_t abort_on_error : 1;
    std::uint32_t reserved_flags : 17;
    std::uint16_t reserved;
    std::uint16_t xon_limit;
    std::uint16_t xoff_limit;
    std::uint8_t byte_size; // data bits
    std::uint8_t parity;    // none, odd, even, mark, space
    std::uint8_t stop_bits; // one, one and a half, two
    char xon_char;
    char xoff_char;
    char error_char;
    char eof_char;
    char event_char;
    std::uint16_t reserved_end;
};

// Opens the serial port at `path` for asynchronous transfers by this process alone. Never waits for the line.
// Gives invalid_handle if there is no such port, or it is in use (on POSIX: locked), or `path` is something
// else. On POSIX a closed handle never names another port; Windows may give its value out again.
handle open_port(const char *path);

// Sizes the driver's queues, in bytes.
bool set_queue_sizes(handle port, std::uint32_t input, std::uint32_t output);

// No timeouts at all: a transfer ends with its full count or with a failure.
bool clear_timeouts(handle port);

bool get_line_state(handle port, line_state &state);
bool set_line_state(handle port, const line_state &state);

// Makes an event that is not signalled and that a successful wait resets.
handle create_event(); // gives no_event on failure
bool set_event(handle event);

// Closes a port or an event. Transfers in progress on a port fail, whichever thread waits for them.
bool close_handle(handle any);

// Whether the event is signalled, without waiting; if so the event is reset.
bool poll_event(handle event);

// Waits, without limit, for one of two events and gives its index, the first if both are signalled; -1 on
// failure. The event of a transfer is signalled when the transfer ends; the thread that started it waits.
int wait_for_either(handle first, handle second);

// Starts to move `count` bytes. True: it ended at once and `moved` tells how many bytes it moved. False with
// error_io_pending: it goes on, and signals the event of `state` when it ends. Else it failed.
bool start_read(handle port, void *buffer, std::uint32_t count, std::uint32_t &moved, transfer &state);
bool start_write(handle port, const void *buffer, std::uint32_t count, std::uint32_t &moved, transfer &state);

// Waits until a pending transfer has ended and tells how many bytes it moved; false if it failed.
bool transfer_result(handle port, transfer &state, std::uint32_t &moved);

// Drops the transfers on `port` that the calling thread has started, `state` the one it has pending.
bool cancel_transfers(handle port, transfer &state);

std::uint32_t last_error();

// A device of a list of ports. Members and layout are those of the Windows device record.
struct device_record
{
    std::uint32_t size = sizeof(device_record);
    std::uint8_t class_guid[16] = {};
    std::uint32_t instance = 0;
    std::uintptr_t reserved = 0;
};

// Put before a port's name to make the path that open_port() takes.
const char *port_path_prefix();

// The list of the ports that are present now, or invalid_handle.
handle open_device_list();

// Fills `device` with number `index` of the list; false past the end.
bool device_at(handle list, std::uint32_t index, device_record &device);

// Copies the device's friendly name, zero-terminated. `needed`, where not null, gets the bytes it takes.
// Fails if `size` is too small or the device has no such name.
bool friendly_name(handle list, device_record &device, char *buffer, std::uint32_t size,
                   std::uint32_t *needed);

// Opens what the system stores about a device, or gives invalid_handle. Valid no longer than the list.
handle open_device_key(handle list, device_record &device);

// Copies the port's name; `size` is the buffer's size before and the name's after, with a terminating zero if
// the system stores one. Fails if it does not fit or there is none.
bool query_port_name(handle key, char *buffer, std::uint32_t &size);

void close_device_key(handle key);
void destroy_device_list(handle list);

} // namespace vs
