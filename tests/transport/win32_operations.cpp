// Refers to every operation of the serial platform, so that linking it shows that each is there with all it
// calls. Run, it lists the ports and tells what opening a port that does not exist gives.

#include "transport/platform/serial_platform.h"

#include <cstdio>

static void use_port(vs::handle port)
{
    vs::line_state line = {};
    line.length = sizeof line;
    vs::transfer state;
    state.event = vs::create_event();
    const vs::handle stop = vs::create_event();
    char buffer[4] = {};
    std::uint32_t moved = 0;
    vs::set_queue_sizes(port, 32768, 32768);
    vs::clear_timeouts(port);
    if (vs::get_line_state(port, line))
        vs::set_line_state(port, line);
    vs::start_write(port, buffer, sizeof buffer, moved, state);
    if (!vs::start_read(port, buffer, sizeof buffer, moved, state) &&
        vs::last_error() == vs::error_io_pending) {
        vs::set_event(stop);
        if (vs::wait_for_either(state.event, stop) == 1)
            vs::cancel_transfers(port, state);
        else
            vs::transfer_result(port, state, moved);
    }
    vs::poll_event(stop);
    vs::close_handle(stop);
    vs::close_handle(state.event);
    vs::close_handle(port);
}

int main(int argc, char **argv)
{
    const vs::handle list = vs::open_device_list();
    vs::device_record device;
    for (std::uint32_t index = 0; vs::device_at(list, index, device); ++index) {
        char name[256] = {};
        char port[261] = {};
        std::uint32_t size = sizeof port;
        std::uint32_t needed = 0;
        vs::friendly_name(list, device, name, sizeof name, &needed);
        const vs::handle key = vs::open_device_key(list, device);
        if (vs::query_port_name(key, port, size))
            std::printf("%s: %s%s\n", name, vs::port_path_prefix(), port);
        vs::close_device_key(key);
    }
    vs::destroy_device_list(list);
    const vs::handle port = vs::open_port(argc > 1 ? argv[1] : "\\\\.\\COM255");
    if (port == vs::invalid_handle)
        std::printf("cannot open: %u\n", vs::last_error());
    else
        use_port(port);
    return 0;
}
