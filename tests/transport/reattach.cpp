// Attaches to a port, passes frames, detaches and attaches again, while the port vanishes at any moment or
// its other end stops reading. A line a figure on standard output; ends with 1 if something was lost, changed
// or left behind. To be run under the thread sanitizer:
//
//     reattach [ROUNDS [SEED]]      (50 and 1)

#include "bench/common/figure.h"
#include "tests/support/process.h"
#include "tests/transport/captured_output.h"
#include "tests/transport/pseudo_terminal.h"
#include "tests/transport/thread_sanitizer.h"
#include "transport/uartdev.h"

#include <QCoreApplication>

#include <atomic>
#include <memory>
#include <random>
#include <termios.h>
#include <thread>

namespace {

constexpr int patience_ms = 10000;
constexpr int peer_frames = 400;       // of one round
constexpr int much = 256 * 1024;       // bytes, more than a pseudo-terminal takes with nobody reading
constexpr int latest_moment_us = 8000; // of an end that comes at random
constexpr int detach_limit_ms = 2000;

enum Course {
    detaches,         // while frames pass both ways
    receives_all,     // waits for the last of the peer's frames first
    vanishes,         // the peer closes while frames pass both ways
    leaves_unread,    // the peer reads nothing, and what was written fits
    blocked_reads,    // the peer reads nothing until a write waits for it; then all
    blocked_vanishes, // it closes instead
    blocked_closed,   // the port is closed by another thread, as its own does after a failure
    courses
};

bool is_blocked(Course course)
{
    return course >= blocked_reads;
}

// The system drops what is on its way when the other end of a pseudo-terminal closes, and a read of that
// moment may go on behind the gap.
bool peer_closes(Course course)
{
    return course == vanishes || course == blocked_vanishes;
}

// Frame `number` of a stream: sizes of all kinds, and the number in it if there is room.
QByteArray numbered_frame(quint32 number)
{
    const int length = int(number * 37 % 256);
    QByteArray payload(length, static_cast<char>(number));
    for (int at = 0; at < qMin(4, length); ++at)
        payload[at] = static_cast<char>(number >> (8 * at));
    return QByteArray(1, '\0') + static_cast<char>(length) + "\1\2" + payload;
}

// The module's end of a round, in a thread of its own.
class Peer
{
public:
    Peer(pseudo_terminal &line, Course course, int moment, UartDev &other)
        : terminal(line)
        , kind(course)
        , moment_us(moment)
        , device(other)
        , thread([this] { run(); })
    {
    }

    // What came until the device had gone, or to the peer's own end.
    QByteArray finish()
    {
        host_is_gone = true;
        thread.join();
        return received;
    }

private:
    void run()
    {
        const int fd = terminal.descriptor();
        if (is_blocked(kind)) {
            pollfd ready = {fd, POLLIN, 0};
            ::poll(&ready, 1, patience_ms); // the write has begun
        }
        QElapsedTimer clock;
        clock.start();
        const bool ends = peer_closes(kind) || kind == blocked_closed;
        while (!ends || clock.nsecsElapsed() < moment_us * 1000LL) {
            if (!pass(fd))
                break;
        }
        if (kind == blocked_closed)
            device.Disconnect();
        else if (ends)
            terminal.unplug();
    }

    // Moves what can be moved; false once the host has gone and all that it wrote is here.
    bool pass(int fd)
    {
        const bool reads = kind != leaves_unread && (!is_blocked(kind) || kind == blocked_reads);
        const bool sends = !host_is_gone && (!outgoing.isEmpty() || next < peer_frames);
        pollfd ready = {fd, short((reads ? POLLIN : 0) | (sends ? POLLOUT : 0)), 0};
        ::poll(&ready, 1, 1);
        char chunk[4096];
        const ssize_t got = reads ? ::read(fd, chunk, sizeof chunk) : 0;
        const bool hung_up = reads && (got == 0 || (got < 0 && errno != EAGAIN)); // and nothing is on its way
        if (got > 0)
            received.append(chunk, static_cast<int>(got));
        if (sends && outgoing.isEmpty())
            outgoing = numbered_frame(next++);
        const ssize_t put = sends ? ::write(fd, outgoing.constData(), size_t(outgoing.size())) : 0;
        if (put > 0)
            outgoing.remove(0, static_cast<int>(put));
        return !host_is_gone || (reads && !hung_up);
    }

    pseudo_terminal &terminal;
    const Course kind;
    const int moment_us;
    UartDev &device;
    std::atomic<bool> host_is_gone{false};
    QByteArray received;
    QByteArray outgoing;
    quint32 next = 0;
    std::thread thread; // last: it uses the others
};

class Rounds
{
public:
    explicit Rounds(quint32 seed)
        : random(seed)
    {
        plug_in();
    }

    // One attach and detach; a text that says what went wrong, or none.
    const char *run(Course course)
    {
        quint32 arrived = 0;
        bool gap = false;
        QObject window; // where the frames go, in the main thread
        auto device = std::make_unique<UartDev>(terminal->path(), nullptr);
        QObject::connect(device.get(), &CommDev::RxData, &window, [&](const QByteArray &frame) {
            gap = gap || frame != numbered_frame(arrived);
            arrived += gap ? 0 : 1;
        });
        show_end_of_thread(*device);
        if (!device->Open())
            return "the port does not open";
        device->SetBaudrate(115200);
        Peer peer(*terminal, course, up_to(latest_moment_us), *device);

        QByteArray written;
        const bool write_ok = is_blocked(course) ? write_much(*device, course, written)
                                                 : write_frames(*device, course, written);
        const bool complete = course != receives_all || wait_for([&] { return arrived == peer_frames; });
        QElapsedTimer clock;
        clock.start();
        device.reset();
        longest_detach_ms = std::max(longest_detach_ms, double(clock.nsecsElapsed()) / 1e6);
        const QByteArray received = peer.finish();
        QCoreApplication::processEvents(); // frames of before the end
        frames += arrived;
        gaps += gap;

        if (!write_ok)
            return "a write did not end as it had to";
        if (!complete)
            return "frames are missing";
        if (gap && !peer_closes(course))
            return "a frame came changed or out of order";
        const bool all_read = course == detaches || course == receives_all || course == blocked_reads;
        if (all_read ? received != written : !written.startsWith(received))
            return "the other end read something else than was written";
        settle();
        return nullptr;
    }

    Course next_course() { return Course(up_to(courses - 1)); }

    double longest_detach_ms = 0;
    long long frames = 0;
    long long gaps = 0;
    long long blocked_writes = 0;

private:
    int up_to(int most) { return int(random() % uint(most + 1)); }

    template <typename Condition>
    bool wait_for(const Condition &condition)
    {
        QElapsedTimer clock;
        clock.start();
        while (!condition() && !clock.hasExpired(patience_ms))
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        return condition();
    }

    bool write_frames(UartDev &device, Course course, QByteArray &written)
    {
        constexpr int fits = 8; // frames that nobody needs to read
        QElapsedTimer clock;
        clock.start();
        const int moment_us = up_to(latest_moment_us);
        for (quint32 number = 0; clock.nsecsElapsed() < moment_us * 1000LL; ++number) {
            if (course == leaves_unread && number == fits)
                break;
            const QByteArray frame = numbered_frame(number);
            written += frame;
            device.TxData(frame);
            if (number % 16 == 0)
                device.SetBaudrate(number % 32 == 0 ? 9600 : 256000);
            QCoreApplication::processEvents();
        }
        return true;
    }

    bool write_much(UartDev &device, Course course, QByteArray &written)
    {
        for (quint32 number = 0; written.size() < much; ++number)
            written += numbered_frame(number);
        const int result = device.Write(uint(written.size()), written.constData());
        ++blocked_writes;
        return result == (course == blocked_reads ? 0 : -1);
    }

    void plug_in()
    {
        terminal = std::make_unique<pseudo_terminal>();
        ::fcntl(terminal->descriptor(), F_SETFL, O_NONBLOCK);
    }

    // The next round has a port with nothing left in it: this one, or another if it is gone.
    void settle()
    {
        if (terminal->descriptor() < 0)
            return plug_in();
        const int slave = ::open(terminal->path().toLatin1().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        ::tcflush(slave, TCIFLUSH);
        ::close(slave);
        char rest[4096];
        // With nobody at the slave the last of it is followed by a failure.
        while (::read(terminal->descriptor(), rest, sizeof rest) > 0 || errno == EAGAIN) {
        }
    }

    std::mt19937 random;
    std::unique_ptr<pseudo_terminal> terminal;
};

// The lines of what the reading threads say that are no known failure of a read or a write.
int strange_lines(const QByteArray &said)
{
    int strange = 0;
    for (const QByteArray &line : said.toLower().split('\n')) {
        const bool known =
            line.startsWith("error: readfile failed:") || line.startsWith("error: writefile failed:");
        strange += !line.isEmpty() && (!known || !(line.endsWith(":5") || line.endsWith(":9")));
    }
    return strange;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 50;
    const quint32 seed = argc > 2 ? quint32(std::atoi(argv[2])) : 1;
    if (count < 1) {
        std::fprintf(stderr, "reattach [ROUNDS [SEED]]\n");
        return 2;
    }
    captured_output captured;
    Rounds rounds(seed);
    const int descriptors = open_descriptors();
    int threads = 0; // without the one that counts; the sanitizer's own begins with the first
    std::thread([&threads] { threads = running_threads() - 1; }).join();
    int good = 0;
    for (; good < count; ++good) {
        // Each course once, then any.
        const Course course = good < courses ? Course(good) : rounds.next_course();
        if (const char *fault = rounds.run(course)) {
            std::fprintf(stderr, "round %d, course %d: %s\n", good, int(course), fault);
            break;
        }
    }
    // A thread that has ended may take a moment to leave the process.
    QElapsedTimer clock;
    clock.start();
    while (running_threads() > threads && !clock.hasExpired(patience_ms))
        std::this_thread::yield();
    const int descriptors_after = open_descriptors();
    const int strange = strange_lines(captured.standard_output());
    const int threads_ended = captured.debug_output().count(QStringLiteral("UART thread exit"));

    const int gap_limit = 2 + count / 50;
    bool kept = print_equal("reattach_rounds", good, count);
    kept = print_equal("reattach_threads_ended", threads_ended, count) && kept;
    kept = print_equal("reattach_threads_left", running_threads(), threads) && kept;
    kept = print_equal("reattach_descriptors_left", descriptors_after, descriptors) && kept;
    kept = print_equal("reattach_unknown_messages", strange, 0) && kept;
    kept = print_limited("reattach_gaps_at_an_end", double(rounds.gaps), gap_limit) && kept;
    kept = print_limited("reattach_longest_detach_ms", rounds.longest_detach_ms, detach_limit_ms) && kept;
    std::printf("reattach_frames_received ours=%lld\nreattach_blocked_writes ours=%lld\n", rounds.frames,
                rounds.blocked_writes);
    return kept ? 0 : 1;
}
