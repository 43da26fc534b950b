// The simulated module as a whole: bytes of a host at its port, lines on its control input, and time that
// passes.

#include "fuzz.h"

#include "protocol/message_record.h"
#include "simulator/program/moduleprogram.h"

#include <QCoreApplication>

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <sys/syscall.h>

using namespace simulator;

namespace {

qint64 passedMs = 0;

} // namespace

// The clock of all timers, which can be moved on. Nothing here waits for time to pass.
extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    const auto result = int(::syscall(SYS_clock_gettime, clock, time));
    if (result == 0 && clock == CLOCK_MONOTONIC) {
        time->tv_nsec += (passedMs % 1000) * 1'000'000;
        time->tv_sec += passedMs / 1000 + time->tv_nsec / 1'000'000'000;
        time->tv_nsec %= 1'000'000'000;
    }
    return result;
}

namespace {

// Two lines write files. Here they are given the name of one that is refused.
QString harmless(const QString &line)
{
    const QString name = line.section(u' ', 0, 0);
    const QString arguments = line.section(u' ', 1).trimmed();
    if (name == QLatin1String("dump"))
        return QStringLiteral("dump /dev/null ") + arguments.section(u' ', 1);
    return name == QLatin1String("dump-ota") ? QStringLiteral("dump-ota /dev/null") : line;
}

struct Host
{
    explicit Host(uint8 how)
        : terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {
        REQUIRE(terminal >= 0 && ::unlockpt(terminal) == 0);
        char name[64];
        REQUIRE(::ptsname_r(terminal, name, sizeof(name)) == 0);
        Options options;
        options.port = QString::fromLatin1(name);
        options.packetMode = (how & 1) != 0;
        options.isQuiet = (how & 2) != 0;
        options.module.answerDelay = (how & 4) != 0 ? 20 : 0;
        program.emplace(options);
        REQUIRE(!program->start());
        QObject::connect(&*program, &ModuleProgram::finished, &*program, [this] { isOver = true; });
    }
    ~Host() { ::close(terminal); }

    void send(const QByteArray &bytes) const { put(terminal, bytes); }
    void say(const QByteArray &line)
    {
        if (!isOver)
            program->obey(harmless(QString::fromUtf8(line).trimmed()));
    }

    // Lets all take place that is due, and takes what the module sends.
    void turn(QByteArray &received) const
    {
        QCoreApplication::processEvents();
        char buffer[4096];
        ssize_t count = 0;
        while ((count = ::read(terminal, buffer, sizeof(buffer))) > 0)
            received.append(buffer, int(count));
    }

    // What is written at once is short, and has been read by the next time.
    static void put(int fd, const QByteArray &bytes)
    {
        REQUIRE(bytes.isEmpty() || ::write(fd, bytes.constData(), std::size_t(bytes.size())) == bytes.size());
    }

    bool isOver = false;
    const int terminal;
    std::optional<ModuleProgram> program;
};

// A command that fits its record, with the packet byte in front if there is one.
QByteArray command(Input &input, bool inPacketMode)
{
    const message_record *record = record_at(input.byte() % command_count);
    QByteArray payload = input.bytes(record->header[1]);
    payload += QByteArray(record->header[1] - payload.size(), '\0');
    uint32 types = record->parameter_types;
    while (types > 0xf)
        types >>= 4;
    if (types == code_uint8array) {
        const QByteArray array = input.bytes(uint8(payload.back()) & 0x3f);
        payload.back() = char(array.size());
        payload += array;
    }
    const char frame[] = {char(4 + payload.size()), 0, char(payload.size()), char(record->header[2]),
                          char(record->header[3])};
    return QByteArray(frame, 5).mid(inPacketMode ? 0 : 1) + payload;
}

// Whole frames and nothing else; gives how many of them answer a command.
int responsesIn(const QByteArray &received)
{
    int responses = 0;
    for (int at = 0; at < received.size();) {
        const auto first = uint8(received.at(at));
        REQUIRE((first & 0x78) == 0 && at + 4 <= received.size());
        at += 4 + ((first & 7) << 8 | uint8(received.at(at + 1)));
        REQUIRE(at <= received.size());
        responses += first < 0x80;
    }
    return responses;
}

} // namespace

int LLVMFuzzerInitialize(int *, char ***)
{
    ::setenv("QT_NO_GLIB", "1", 1);
    startApplication<QCoreApplication>();
    // The module's log goes to standard output, and is made to the last byte.
    const int sink = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    REQUIRE(sink >= 0 && ::dup2(sink, STDOUT_FILENO) == STDOUT_FILENO);
    ::close(sink);
    return 0;
}

// A byte of options, then steps: a byte of which one, then what it takes.
int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Input input(data, size);
    const uint8 how = input.byte();
    Host host(how);
    QByteArray received;
    int commands = 0;
    bool isPlain = true; // nothing but good commands so far
    for (int steps = 0; !input.isEmpty() && !host.isOver && steps < 200; ++steps) {
        const uint8 step = input.byte();
        isPlain = isPlain && step % 8 > 1;
        switch (step % 8) {
        case 0: host.send(input.counted()); break;
        case 1: host.say(input.counted()); break;
        case 2: passedMs += input.byte(); break;
        case 3: passedMs += 100LL * input.byte(); break;
        default: host.send(command(input, (how & 1) != 0)); ++commands;
        }
        host.turn(received);
    }
    if (isPlain)
        REQUIRE(responsesIn(received) <= commands);
    return 0;
}
