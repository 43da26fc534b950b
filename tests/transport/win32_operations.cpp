// Refers to every operation of the serial platform, so that linking it shows that each is there with all it
// calls. Not meant to be run.

#include "transport/platform/serial_platform.h"

template <auto... operations>
int use_all()
{
    void (*volatile last)() = nullptr;
    ((last = reinterpret_cast<void (*)()>(operations)), ...);
    return last == nullptr;
}

int main()
{
    return use_all<vs::open_port, vs::set_queue_sizes, vs::clear_timeouts, vs::get_line_state,
                   vs::set_line_state, vs::create_event, vs::set_event, vs::close_handle, vs::poll_event,
                   vs::wait_for_either, vs::start_read, vs::start_write, vs::transfer_result,
                   vs::cancel_transfers, vs::last_error, vs::port_path_prefix, vs::open_device_list,
                   vs::device_at, vs::friendly_name, vs::open_device_key, vs::query_port_name,
                   vs::close_device_key, vs::destroy_device_list>();
}
