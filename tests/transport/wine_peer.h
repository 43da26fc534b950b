#pragma once

#include "transport/platform/platform.h"

#include <cstdio>
#include <cstdlib>
#include <string>

// For a Windows program under wine_peer.py: what it asks of the other end of its COM7, and its own end.

constexpr char com7[] = "\\\\.\\COM7";

inline void ask(const std::string &request)
{
    std::printf("@%s\n", request.c_str());
    std::fflush(stdout);
}

inline std::string answer()
{
    char line[256];
    if (!std::fgets(line, sizeof line, stdin))
        std::exit(1);
    const std::string text = line;
    return text.substr(0, text.find_last_not_of("\r\n") + 1);
}

inline std::string peer(const std::string &request)
{
    ask(request);
    return answer();
}

// What "stream" sends, and takes in the same order.
inline std::string numberedFrame(std::uint32_t number)
{
    std::string frame{'\0', char(number * 37 % 256), 1, 2};
    const std::size_t length = number * 37 % 256;
    for (std::size_t at = 0; at < length; ++at)
        frame += char(at < 4 ? number >> (8 * at) : number);
    return frame;
}

enum Outcome { whole, failed, stopped };

// COM7 newly plugged in, used as the serial device does: transfers go on until they are whole, fail, or are
// told to stop.
class OpenLine
{
public:
    OpenLine()
    {
        peer("plug");
        port = vs::open_port(com7);
        isReady = vs::set_queue_sizes(port, 32768, 32768) && vs::clear_timeouts(port);
        reading.event = vs::create_event();
        writing.event = vs::create_event();
    }
    ~OpenLine()
    {
        for (vs::handle each : {port, exit, waits, reading.event, writing.event})
            vs::close_handle(each);
    }
    OpenLine(const OpenLine &) = delete;
    OpenLine &operator=(const OpenLine &) = delete;

    Outcome read(char *buffer, std::uint32_t count)
    {
        return move(reading, count, [&](std::uint32_t done, std::uint32_t &moved) {
            return vs::start_read(port, buffer + done, count - done, moved, reading);
        });
    }
    Outcome write(const std::string &bytes)
    {
        const auto count = std::uint32_t(bytes.size());
        return move(writing, count, [&](std::uint32_t done, std::uint32_t &moved) {
            return vs::start_write(port, bytes.data() + done, count - done, moved, writing);
        });
    }

    vs::handle port;
    bool isReady;
    vs::handle exit = vs::create_event();
    vs::handle waits = vs::create_event(); // signalled when a transfer goes on in the background
    vs::transfer reading, writing;

private:
    template <typename Start>
    Outcome move(vs::transfer &state, std::uint32_t count, Start start)
    {
        for (std::uint32_t done = 0, moved = 0; done < count; done += moved) {
            if (start(done, moved))
                continue;
            if (vs::last_error() != vs::error_io_pending)
                return failed;
            vs::set_event(waits);
            if (vs::wait_for_either(state.event, exit) == 1)
                return vs::cancel_transfers(port, state) ? stopped : failed;
            if (!vs::transfer_result(port, state, moved))
                return failed;
        }
        return whole;
    }
};
