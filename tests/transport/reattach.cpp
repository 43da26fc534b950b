// Attaches to a port, passes frames, detaches and attaches again, while the port vanishes at any moment or
// its other end stops reading. A line a figure on standard output; ends with 1 if something was lost, changed
// or left behind. To be run under the thread sanitizer:
//
//     reattach [ROUNDS [SEED]]      (50 and 1)

#include "bench/common/figure.h"
#include "tests/support/process.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/transport/captured_output.h"
#include "tests/transport/thread_sanitizer.h"
#include "transport/uartdev.h"

#include <QCoreApplication>

#include <atomic>
#include <memory>
#include <random>
#include <termios.h>
#include <thread>

namespace {

constexpr int timeoutMs = 10000;
constexpr int peerFrames = 400;      // of one round
constexpr int much = 256 * 1024;     // bytes, more than a pseudo-terminal takes with nobody reading
constexpr int latestMomentUs = 8000; // of an end that comes at random
constexpr int detachLimitMs = 2000;

enum Course {
    detaches,        // while frames pass both ways
    receivesAll,     // waits for the last of the peer's frames first
    vanishes,        // the peer closes while frames pass both ways
    leavesUnread,    // the peer reads nothing, and what was written fits
    blockedReads,    // the peer reads nothing until a write waits for it; then all
    blockedVanishes, // it closes instead
    blockedClosed,   // the port is closed by another thread, as its own does after a failure
    courses
};

bool isBlocked(Course course)
{
    return course >= blockedReads;
}

// The system drops what is on its way when the other end of a pseudo-terminal closes, and a read of that
// moment may go on behind the gap.
bool peerCloses(Course course)
{
    return course == vanishes || course == blockedVanishes;
}

// Frame `number` of a stream: sizes of all kinds, and the number in it if there is room.
QByteArray numberedFrame(quint32 number)
{
    const int length = int(number * 37 % 256);
    QByteArray payload(length, char(number));
    for (int at = 0; at < qMin(4, length); ++at)
        payload[at] = char(number >> (8 * at));
    return QByteArray(1, '\0') + char(length) + "\1\2" + payload;
}

// The module's end of a round, in a thread of its own.
class Peer
{
public:
    Peer(PseudoTerminal &line, Course course, int moment, UartDev &other)
        : terminal(line)
        , kind(course)
        , momentUs(moment)
        , device(other)
        , thread([this] { run(); })
    {
    }

    // What came until the device had gone, or to the peer's own end.
    QByteArray finish()
    {
        hostIsGone = true;
        thread.join();
        return received;
    }

private:
    void run()
    {
        const int fd = terminal.descriptor();
        if (isBlocked(kind)) {
            pollfd ready = {fd, POLLIN, 0};
            ::poll(&ready, 1, timeoutMs); // the write has begun
        }
        QElapsedTimer clock;
        clock.start();
        const bool ends = peerCloses(kind) || kind == blockedClosed;
        while (!ends || clock.nsecsElapsed() < momentUs * 1000LL) {
            if (!pass(fd))
                break;
        }
        if (kind == blockedClosed)
            device.Disconnect();
        else if (ends)
            terminal.unplug();
    }

    // Moves what can be moved; false once the host has gone and all that it wrote is here.
    bool pass(int fd)
    {
        const bool reads = kind != leavesUnread && (!isBlocked(kind) || kind == blockedReads);
        const bool sends = !hostIsGone && (!outgoing.isEmpty() || next < peerFrames);
        pollfd ready = {fd, short((reads ? POLLIN : 0) | (sends ? POLLOUT : 0)), 0};
        ::poll(&ready, 1, 1);
        char chunk[4096];
        const ssize_t got = reads ? ::read(fd, chunk, sizeof chunk) : 0;
        const bool hungUp = reads && (got == 0 || (got < 0 && errno != EAGAIN)); // and nothing is on its way
        if (got > 0)
            received.append(chunk, int(got));
        if (sends && outgoing.isEmpty())
            outgoing = numberedFrame(next++);
        const ssize_t put = sends ? ::write(fd, outgoing.constData(), size_t(outgoing.size())) : 0;
        if (put > 0)
            outgoing.remove(0, int(put));
        return !hostIsGone || (reads && !hungUp);
    }

    PseudoTerminal &terminal;
    const Course kind;
    const int momentUs;
    UartDev &device;
    std::atomic<bool> hostIsGone{false};
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
        plugIn();
    }

    // One attach and detach; a text that says what went wrong, or none.
    const char *run(Course course)
    {
        quint32 arrived = 0;
        bool gap = false;
        QObject window; // where the frames go, in the main thread
        auto device = std::make_unique<UartDev>(terminal->path(), nullptr);
        QObject::connect(device.get(), &CommDev::RxData, &window, [&](const QByteArray &frame) {
            gap = gap || frame != numberedFrame(arrived);
            arrived += gap ? 0 : 1;
        });
        showEndOfThread(*device);
        if (!device->Open())
            return "the port does not open";
        device->SetBaudrate(115200);
        Peer peer(*terminal, course, upTo(latestMomentUs), *device);

        QByteArray written;
        const bool writeOk =
            isBlocked(course) ? writeMuch(*device, course, written) : writeFrames(*device, course, written);
        const bool complete = course != receivesAll || waitFor([&] { return arrived == peerFrames; });
        QElapsedTimer clock;
        clock.start();
        device.reset();
        maxDetachMs = std::max(maxDetachMs, double(clock.nsecsElapsed()) / 1e6);
        const QByteArray received = peer.finish();
        QCoreApplication::processEvents(); // frames of before the end
        frames += arrived;
        gaps += gap;

        if (!writeOk)
            return "a write did not end as it had to";
        if (!complete)
            return "frames are missing";
        if (gap && !peerCloses(course))
            return "a frame came changed or out of order";
        const bool allRead = course == detaches || course == receivesAll || course == blockedReads;
        if (allRead ? received != written : !written.startsWith(received))
            return "the other end read something else than was written";
        settle();
        return nullptr;
    }

    Course nextCourse() { return Course(upTo(courses - 1)); }

    double maxDetachMs = 0;
    long long frames = 0;
    long long gaps = 0;
    long long blockedWrites = 0;

private:
    int upTo(int max) { return int(random() % uint(max + 1)); }

    template <typename Condition>
    bool waitFor(const Condition &condition)
    {
        QElapsedTimer clock;
        clock.start();
        while (!condition() && !clock.hasExpired(timeoutMs))
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        return condition();
    }

    bool writeFrames(UartDev &device, Course course, QByteArray &written)
    {
        constexpr int fits = 8; // frames that nobody needs to read
        QElapsedTimer clock;
        clock.start();
        const int momentUs = upTo(latestMomentUs);
        for (quint32 number = 0; clock.nsecsElapsed() < momentUs * 1000LL; ++number) {
            if (course == leavesUnread && number == fits)
                break;
            const QByteArray frame = numberedFrame(number);
            written += frame;
            device.TxData(frame);
            if (number % 16 == 0)
                device.SetBaudrate(number % 32 == 0 ? 9600 : 256000);
            QCoreApplication::processEvents();
        }
        return true;
    }

    bool writeMuch(UartDev &device, Course course, QByteArray &written)
    {
        for (quint32 number = 0; written.size() < much; ++number)
            written += numberedFrame(number);
        const int result = device.Write(uint(written.size()), written.constData());
        ++blockedWrites;
        return result == (course == blockedReads ? 0 : -1);
    }

    void plugIn()
    {
        terminal = std::make_unique<PseudoTerminal>();
        ::fcntl(terminal->descriptor(), F_SETFL, O_NONBLOCK);
    }

    // The next round has a port with nothing left in it: this one, or another if it is gone.
    void settle()
    {
        if (terminal->descriptor() < 0)
            return plugIn();
        const int slave = ::open(terminal->path().toLatin1().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        ::tcflush(slave, TCIFLUSH);
        ::close(slave);
        char rest[4096];
        // With nobody at the slave the last of it is followed by a failure.
        while (::read(terminal->descriptor(), rest, sizeof rest) > 0 || errno == EAGAIN) {
        }
    }

    std::mt19937 random;
    std::unique_ptr<PseudoTerminal> terminal;
};

// The lines of what the reading threads say that are no known failure of a read or a write.
int strangeLines(const QByteArray &said)
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
    CapturedOutput captured;
    Rounds rounds(seed);
    const int descriptors = openDescriptors();
    int threads = 0; // without the one that counts; the sanitizer's own begins with the first
    std::thread([&threads] { threads = runningThreads() - 1; }).join();
    int good = 0;
    for (; good < count; ++good) {
        // Each course once, then any.
        const Course course = good < courses ? Course(good) : rounds.nextCourse();
        if (const char *fault = rounds.run(course)) {
            std::fprintf(stderr, "round %d, course %d: %s\n", good, int(course), fault);
            break;
        }
    }
    // A thread that has ended may take a moment to leave the process.
    QElapsedTimer clock;
    clock.start();
    while (runningThreads() > threads && !clock.hasExpired(timeoutMs))
        std::this_thread::yield();
    const int descriptorsAfter = openDescriptors();
    const int strange = strangeLines(captured.standardOutput());
    const int threadsEnded = captured.debugOutput().count(QStringLiteral("UART thread exit"));

    const int gapLimit = 2 + count / 50;
    bool kept = printEqual("reattach_rounds", good, count);
    kept = printEqual("reattach_threads_ended", threadsEnded, count) && kept;
    kept = printEqual("reattach_threads_left", runningThreads(), threads) && kept;
    kept = printEqual("reattach_descriptors_left", descriptorsAfter, descriptors) && kept;
    kept = printEqual("reattach_unknown_messages", strange, 0) && kept;
    kept = printLimited("reattach_gaps_at_an_end", double(rounds.gaps), gapLimit) && kept;
    kept = printLimited("reattach_longest_detach_ms", rounds.maxDetachMs, detachLimitMs) && kept;
    std::printf("reattach_frames_received ours=%lld\nreattach_blocked_writes ours=%lld\n", rounds.frames,
                rounds.blockedWrites);
    return kept ? 0 : 1;
}
