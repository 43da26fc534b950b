// The Windows half of the serial platform, on real calls: run under Wine by wine_peer.py, which plays the
// module.

#include "tests/transport/seeded_port.h"
#include "tests/transport/wine_peer.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

int failures = 0;
std::string subject;

void check(bool isSo, const std::string &what, int line)
{
    if (isSo)
        return;
    ++failures;
    std::printf("FAILED %s, line %d: %s (last error %u)\n", subject.c_str(), line, what.c_str(),
                vs::last_error());
    std::fflush(stdout);
}
#define CHECK(...) check((__VA_ARGS__), #__VA_ARGS__, __LINE__)

const std::string much(1 << 20, 'w'); // bytes, more than a pseudo-terminal takes with nobody reading
const std::string zero(1, '\0');

HANDLE native(vs::handle any)
{
    return reinterpret_cast<HANDLE>(any);
}

void refusals()
{
    OpenLine line;
    const std::string file = "C:\\vorsel-no-port", prefix = vs::port_path_prefix();
    CHECK(prefix + "COM7" == com7);
    CloseHandle(CreateFileA(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    // Wine lets a second program open a port that is in use; Windows does not.
    for (const std::string &path :
         {std::string(), prefix, prefix + "COM199", prefix + "COM\xe9", prefix + std::string(40000, 'x'),
          file, prefix + file, std::string("C:\\windows")}) {
        const vs::handle port = vs::open_port(path.c_str());
        check(port == vs::invalid_handle && vs::last_error() != 0, path.substr(0, 40), __LINE__);
        if (port != vs::invalid_handle)
            vs::close_handle(port);
    }
    peer("send 07"); // the refused ones have not hurt the one that has it
    char byte = 0;
    CHECK(line.read(&byte, 1) == whole && byte == 7);
}

void lineSettings()
{
    OpenLine line;
    CHECK(line.isReady);
    COMMTIMEOUTS timeouts = {MAXDWORD, 1, 2, 3, 4}, none = {};
    CHECK(SetCommTimeouts(native(line.port), &timeouts) && vs::clear_timeouts(line.port));
    CHECK(GetCommTimeouts(native(line.port), &timeouts) && !std::memcmp(&timeouts, &none, sizeof none));
    vs::line_state state = {};
    state.length = 28;
    CHECK(vs::get_line_state(line.port, state) && state.length == 28);
    state.out_x = state.in_x = 1;
    state.parity = ODDPARITY;
    state.stop_bits = TWOSTOPBITS;
    state.xon_char = 'q';
    CHECK(vs::set_line_state(line.port, state));
    CHECK(peer("line") == std::to_string(state.baud_rate) + ", odd, two stop bits, xon/xoff");
    DCB block = {};
    block.DCBlength = sizeof block;
    CHECK(vs::get_line_state(line.port, state) && GetCommState(native(line.port), &block));
    CHECK(state.out_x && state.in_x && state.stop_bits == TWOSTOPBITS && state.xon_char == 'q');
    CHECK(block.fOutX && block.fInX && block.StopBits == TWOSTOPBITS && block.XonChar == 'q');

    state.parity = NOPARITY; // all that a pseudo-terminal knows
    state.stop_bits = vs::one_stop_bit;
    state.binary = state.outx_cts_flow = 1;
    state.dtr_control = vs::dtr_enable;
    state.rts_control = vs::rts_handshake;
    state.check_parity = state.outx_dsr_flow = state.out_x = state.in_x = state.strip_null = 0;
    std::memcpy(&block, &state, sizeof block);
    CHECK(block.fBinary && block.fOutxCtsFlow && block.fDtrControl == DTR_CONTROL_ENABLE &&
          block.fRtsControl == RTS_CONTROL_HANDSHAKE && !block.fAbortOnError && !block.fNull);
    // Wine makes a speed that has no name on Linux from a divisor, which a pseudo-terminal lacks: it gets the
    // 38400 that should go with it. It also tells a handshake on RTS as RTS that is on.
    const std::pair<std::uint32_t, const char *> speeds[] = {
        {115200, "115200"}, {9600, "9600"}, {110, "110"}, {256000, "38400"}, {921600, "921600"}};
    for (const auto &[asked, set] : speeds) {
        state.baud_rate = asked;
        CHECK(vs::set_line_state(line.port, state));
        CHECK(peer("line") == std::string(set) + ", rts/cts");
        vs::line_state after = {};
        after.length = 28;
        CHECK(vs::get_line_state(line.port, after) && after.baud_rate == std::stoul(set) && after.binary &&
              after.outx_cts_flow && after.dtr_control == vs::dtr_enable && after.byte_size == 8 &&
              after.parity == NOPARITY && after.stop_bits == vs::one_stop_bit && !after.out_x);
    }
}

void events()
{
    const vs::handle one = vs::create_event(), other = vs::create_event();
    CHECK(one != vs::no_event && other != vs::no_event && !vs::poll_event(one));
    CHECK(vs::set_event(one) && vs::set_event(one) && vs::poll_event(one) && !vs::poll_event(one));
    CHECK(vs::set_event(other) && vs::wait_for_either(one, other) == 1 && !vs::poll_event(other));
    CHECK(vs::set_event(one) && vs::set_event(other) && vs::wait_for_either(one, other) == 0);
    CHECK(!vs::poll_event(one) && vs::poll_event(other));
    CHECK(vs::close_handle(one) && vs::close_handle(other) && !vs::close_handle(other));
    CHECK(vs::wait_for_either(one, other) == -1 && !vs::poll_event(one));
    CHECK(!vs::set_event(vs::no_event) && !vs::close_handle(vs::no_event));
}

// A read ends with all its bytes, however they come.
void reads()
{
    OpenLine line;
    char got[11] = {};
    std::uint32_t moved = 0;
    CHECK(!vs::start_read(line.port, got, 10, moved, line.reading));
    CHECK(vs::last_error() == vs::error_io_pending);
    for (const char *part : {"send 30313233", "send 34", "send 353637383941424344"}) {
        CHECK(!vs::poll_event(line.reading.event));
        peer(part);
    }
    CHECK(vs::wait_for_either(line.reading.event, line.exit) == 0);
    CHECK(vs::transfer_result(line.port, line.reading, moved) && moved == 10);
    CHECK(std::string(got) == "0123456789");
    CHECK(line.read(got, 4) == whole && std::string(got, 4) == "ABCD"); // what was there already
    CHECK(!vs::start_read(line.port, got, 4, moved, line.reading));
    ask("send 45464748");
    CHECK(vs::transfer_result(line.port, line.reading, moved) && std::string(got, moved) == "EFGH");
    CHECK(answer() == "done");
}

void streamsBothWays()
{
    constexpr std::uint32_t frames = 5000;
    OpenLine line;
    ask("stream " + std::to_string(frames));
    std::uint32_t read = 0;
    std::thread reader([&] {
        char got[259];
        while (read < frames && line.read(got, 4) == whole) {
            const auto length = std::uint8_t(got[1]);
            if (length != 0 && line.read(got + 4, length) != whole)
                break;
            if (std::string(got, 4U + length) != numberedFrame(read))
                break;
            ++read;
        }
    });
    std::uint32_t written = 0;
    while (written < frames && line.write(numberedFrame(written)) == whole)
        ++written;
    CHECK(written == frames);
    CHECK(answer() == "done");
    reader.join();
    CHECK(read == frames);
}

// No bytes come while the read is told to stop: Wine may lose the cancel of one that has just got a part.
void stops()
{
    OpenLine line;
    char got[8] = "-------", next[2] = {};
    CHECK(vs::set_event(line.exit) && line.read(got, 7) == stopped && !vs::poll_event(line.exit));
    peer("send 62");
    CHECK(line.read(next, 1) == whole && next[0] == 'b' && std::string(got) == "-------");
    Outcome ended = whole;
    std::thread writer([&] { ended = line.write(much); });
    peer("await_write");
    CHECK(vs::set_event(line.exit));
    writer.join();
    CHECK(ended == stopped);
}

// The port is closed or unplugged while a read waits for bytes or a write for a reader.
void goesAway(bool isUnplugged, bool writes)
{
    OpenLine line;
    char got[4];
    Outcome ended = whole;
    std::thread waiting([&] { ended = writes ? line.write(much) : line.read(got, 4); });
    CHECK(vs::wait_for_either(line.waits, line.exit) == 0);
    CHECK(isUnplugged ? peer("unplug") == "done" : vs::close_handle(line.port));
    waiting.join();
    CHECK(ended == failed);
    vs::line_state state = {};
    CHECK(!vs::get_line_state(line.port, state) && !vs::set_line_state(line.port, state));
    CHECK(line.read(got, 1) == failed && line.write("w") == failed);
    if (!isUnplugged)
        line.port = vs::invalid_handle;
}

// "name|port;" of each port, asked for in the way of the program; zeros that come with them are shown as "$".
std::string listed()
{
    std::string all;
    const vs::handle list = vs::open_device_list();
    CHECK(list != vs::invalid_handle);
    vs::device_record device;
    for (std::uint32_t index = 0; vs::device_at(list, index, device); ++index) {
        std::uint32_t needed = 0, size = 261;
        vs::friendly_name(list, device, nullptr, 0, &needed);
        std::vector<char> friendly(needed + 1, '#');
        if (!vs::friendly_name(list, device, friendly.data(), needed, nullptr))
            continue;
        const vs::handle key = vs::open_device_key(list, device);
        if (key == vs::invalid_handle)
            continue;
        char name[262];
        std::memset(name, '#', sizeof name);
        if (vs::query_port_name(key, name, size)) {
            CHECK(size <= 261 && name[261] == '#' && friendly.back() == '#');
            all += std::string(friendly.data(), needed) + '|' + std::string(name, size) + ';';
        }
        vs::close_device_key(key);
    }
    vs::destroy_device_list(list);
    std::replace(all.begin(), all.end(), '\0', '$');
    return all;
}

void lists()
{
    const std::string longest(260, 'L');
    const SeededPort good = {L"USB (COM12)", "COM12" + zero};
    const std::string goodText = "USB (COM12)$|COM12$;";
    const std::tuple<const char *, std::vector<SeededPort>, std::string> rows[] = {
        {"none", {}, ""},
        {"one", {good}, goodText},
        {"two of one name", {good, {L"USB (COM12)", "COM3" + zero}}, goodText + "USB (COM12)$|COM3$;"},
        {"no friendly name", {{{}, "COM1" + zero}, good}, goodText},
        {"empty friendly name", {{L"", "COM1" + zero}, good}, "$|COM1$;" + goodText},
        {"long friendly name", {{std::wstring(3000, L'n'), "C" + zero}}, std::string(3000, 'n') + "$|C$;"},
        {"non-ASCII friendly name", {{L"Ger\u00e4t", "COM4" + zero}}, "Ger\xe4t$|COM4$;"},
        {"no key", {{L"No key", "", nullptr}, good}, goodText},
        {"no port name", {{L"No port", "COM1" + zero, "OtherName"}, good}, goodText},
        {"260 bytes with the zero", {{L"P", longest.substr(1) + zero}}, "P$|" + longest.substr(1) + "$;"},
        {"261 bytes with the zero", {{L"P", longest + zero}, good}, "P$|" + longest + "$;" + goodText},
        {"262 bytes with the zero", {{L"P", longest + "L" + zero}, good}, goodText},
        {"261 bytes without a zero", {{L"P", longest + "L"}, good}, "P$|" + longest + "L;" + goodText},
        {"262 bytes without a zero", {{L"P", longest + "LL"}, good}, goodText},
        {"no terminating zero", {{L"P", "COM5"}, good}, "P$|COM5;" + goodText},
        {"text after a zero", {{L"P", "COM6" + zero + "X" + zero}}, "P$|COM6$X$;"},
        {"printer port", {{L"Printer Port (LPT1)", "LPT1" + zero}}, "Printer Port (LPT1)$|LPT1$;"},
    };
    for (const auto &[what, ports, expected] : rows) {
        std::vector<std::unique_ptr<RegistrySeed>> seeds;
        for (const SeededPort &port : ports)
            seeds.push_back(std::make_unique<RegistrySeed>(port, int(seeds.size())));
        const std::string all = listed();
        check(all == expected, what + (": " + all), __LINE__);
    }
}

} // namespace

int main()
{
    const std::pair<const char *, void (*)()> subjects[] = {
        {"events", events},
        {"line settings", lineSettings},
        {"refusals", refusals},
        {"reads", reads},
        {"streams both ways", streamsBothWays},
        {"stops", stops},
        {"closed while it reads", [] { goesAway(false, false); }},
        {"closed while it writes", [] { goesAway(false, true); }},
        {"unplugged while it reads", [] { goesAway(true, false); }},
        {"unplugged while it writes", [] { goesAway(true, true); }},
        {"lists", lists}};
    for (const auto &[name, run] : subjects) {
        subject = name;
        const int before = failures;
        const DWORD begin = GetTickCount();
        run();
        std::printf("%s: %s, %u ms\n", name, failures == before ? "ok" : "failed",
                    unsigned(GetTickCount() - begin));
        std::fflush(stdout);
    }
    return failures == 0 ? 0 : 1;
}
