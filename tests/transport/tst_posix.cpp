#include "tests/support/pseudo_terminal.h"
#include "tests/transport/captured_output.h"
#include "tests/transport/thread_sanitizer.h"
#include "transport/platform/platform.h"
#include "transport/uartcomm.h"
#include "transport/uartdev.h"

#include <QTemporaryDir>
#include <QtTest>

#include <asm/termbits.h>
#include <csignal>
#include <memory>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/time.h>

namespace {

const QByteArray emptyFrame = QByteArray::fromHex("00000001");
const QString refusal = QStringLiteral("ERROR: cannot open serialport: \"%1\"");

volatile int lateFd = -1;
volatile std::sig_atomic_t ticks = 0;

// The third signal brings the bytes that are waited for.
extern "C" void tick(int)
{
    ticks = ticks + 1;
    if (ticks == 3 && ::write(lateFd, "later", 5) != 5)
        ::_exit(1);
}

// The slave's end as another program opens it.
int openBeside(const QString &path)
{
    return ::open(path.toLatin1().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

} // namespace

// UartDev over real pseudo-terminals.
class TestPosix : public QObject
{
    Q_OBJECT

    QList<QByteArray> frames;

    std::unique_ptr<UartDev> open(const QString &path)
    {
        auto device = std::make_unique<UartDev>(path, nullptr);
        connect(device.get(), &CommDev::RxData, this, [this](const QByteArray &frame) { frames << frame; });
        showEndOfThread(*device);
        return device->Open() ? std::move(device) : nullptr;
    }

private Q_SLOTS:
    void init()
    {
        QCoreApplication::removePostedEvents(this); // frames of a device that is gone
        frames.clear();
    }

    // Bytes are read ahead of the frames; the rest of them must not come apart.
    void detachLeavesNoPartOfAFrame()
    {
        PseudoTerminal module;
        const vs::handle port = vs::open_port(module.path().toLatin1().constData());
        QVERIFY(module.send(QByteArray::fromHex("000201010203").repeated(1000)));
        vs::transfer state;
        state.event = vs::create_event();
        char head[4];
        std::uint32_t moved = 0;
        QVERIFY(vs::start_read(port, head, sizeof head, moved, state));
        vs::close_handle(port);
        vs::close_handle(state.event);

        const auto device = open(module.path());
        QVERIFY(device);
        QVERIFY(module.send(emptyFrame));
        QTRY_COMPARE(frames, QList<QByteArray>{emptyFrame});
    }

    void speeds()
    {
        PseudoTerminal module;
        const int beside = openBeside(module.path());
        termios2 before = {};
        QCOMPARE(::ioctl(beside, TCGETS2, &before), 0);
        auto device = open(module.path());
        QVERIFY(device);
        for (unsigned baud : {256000U, 128000U, 115200U, 57600U, 38400U, 19200U, 14400U, 9600U, 4800U, 2400U,
                              1200U, 600U, 300U, 110U}) {
            for (int asked : {int(baud), 0, -1}) // the last two are no speeds
                device->SetBaudrate(asked);
            termios2 line = {};
            QCOMPARE(::ioctl(beside, TCGETS2, &line), 0);
            QCOMPARE(line.c_ospeed, baud);
            QCOMPARE(line.c_ispeed, baud);
            QCOMPARE(line.c_cflag & (CSIZE | CSTOPB | CRTSCTS | CREAD | CLOCAL),
                     CS8 | CRTSCTS | CREAD | CLOCAL);
            QCOMPARE(line.c_lflag & (ICANON | ECHO | ISIG | IEXTEN), 0U);
            QCOMPARE(line.c_iflag & (INPCK | ISTRIP | IXON | IXOFF | ICRNL | INLCR | IGNCR), 0U);
            QCOMPARE(line.c_oflag & OPOST, 0U);
        }
        QVERIFY(module.send(emptyFrame));
        QTRY_COMPARE(frames.size(), 1);
        device.reset();
        termios2 after = {};
        QCOMPARE(::ioctl(beside, TCGETS2, &after), 0);
        QCOMPARE(after.c_cflag, before.c_cflag);
        QCOMPARE(after.c_ospeed, before.c_ospeed);
        QCOMPARE(after.c_lflag & (ECHO | ICANON), 0U); // an echo would come back to the module
        ::close(beside);
    }

    void otherEndGoesAway()
    {
        PseudoTerminal module;
        CapturedOutput captured;
        auto device = open(module.path());
        QVERIFY(device);
        QVERIFY(module.send(QByteArray::fromHex("000200"))); // the start of a frame that never ends
        module.unplug();
        QVERIFY(device->wait(10000));
        device->SetBaudrate(9600);
        device->TxData(emptyFrame);
        device->Disconnect();
        device.reset();
        QCOMPARE(captured.standardOutput(),
                 QByteArray("ERROR: ReadFile failed:5\nERROR: WriteFile failed:9\n"));
        QCOMPARE(captured.debugOutput().join(QLatin1Char('/')),
                 QStringLiteral("UART disconnecting/UART thread exit"));
        QCoreApplication::processEvents();
        QVERIFY(frames.isEmpty());
    }

    void stopRightAfterOpen()
    {
        PseudoTerminal module;
        for (int round = 0; round < 50; ++round) {
            const auto device = open(module.path());
            QVERIFY(device);
            device->TxData(emptyFrame);
        }
        QCOMPARE(module.receive(200), emptyFrame.repeated(50));
    }

    void busyPortIsRefused()
    {
        PseudoTerminal module;
        const int beside = openBeside(module.path());
        QCOMPARE(::flock(beside, LOCK_EX | LOCK_NB), 0); // as another program has it
        QVERIFY(!open(module.path()));
        ::close(beside);

        CapturedOutput captured;
        const auto device = open(module.path());
        QVERIFY(device);
        UartComm comm;
        QVERIFY(comm.Open(module.path()) == nullptr);
        QCOMPARE(captured.debugOutput(), QStringList(refusal.arg(module.path())));
        // The refused one must not have hurt the one that has it.
        QVERIFY(module.send(emptyFrame));
        QTRY_COMPARE(frames.size(), 1);

        device->Disconnect(); // ends the read in progress, the last to leave the port
        QVERIFY(device->wait(10000));
        QCOMPARE(captured.standardOutput(), QByteArray("ERROR: ReadFile failed:9\n"));
        const std::unique_ptr<CommDev> next(comm.Open(module.path()));
        QVERIFY(next);
        showEndOfThread(*next);
    }

    void notAPort()
    {
        const QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("file")),
                      pipe = dir.filePath(QStringLiteral("pipe"));
        QCOMPARE(::mknod(file.toLocal8Bit().constData(), S_IFREG | S_IRUSR | S_IWUSR, 0), 0);
        QCOMPARE(::mknod(pipe.toLocal8Bit().constData(), S_IFIFO | S_IRUSR | S_IWUSR, 0), 0);
        for (const QString &path : {QString(), QStringLiteral("/dev/there-is-no-such-port"), dir.path(), file,
                                    pipe, QStringLiteral("/dev/null"), QString(100000, QLatin1Char('x'))}) {
            CapturedOutput captured;
            QVERIFY2(!open(path), qPrintable(path));
            QCOMPARE(captured.debugOutput(), QStringList(refusal.arg(path)));
        }
    }

    void closedHandleNamesNothingElse()
    {
        PseudoTerminal first;
        PseudoTerminal second;
        const vs::handle stale = vs::open_port(first.path().toLatin1().constData());
        QVERIFY(vs::close_handle(stale) && !vs::close_handle(stale));
        const vs::handle live = vs::open_port(second.path().toLatin1().constData());
        QVERIFY(live != vs::invalid_handle && live != stale);
        vs::transfer state;
        state.event = vs::create_event();
        std::uint32_t moved = 0;
        QVERIFY(!vs::start_write(stale, "stale", 5, moved, state));
        QCOMPARE(vs::last_error(), 9U);
        QVERIFY(!vs::set_event(live)); // a port is no event
        vs::line_state line = {};
        QVERIFY(!vs::get_line_state(stale, line) && !vs::set_line_state(stale, line));
        QVERIFY(!vs::set_queue_sizes(stale, 1, 1) && !vs::clear_timeouts(stale));
        QVERIFY(!vs::transfer_result(live, state, moved)); // none was started
        QCOMPARE(vs::wait_for_either(state.event, live), -1);
        vs::transfer stopped;
        stopped.event = stale;
        QVERIFY(!vs::transfer_result(live, stopped, moved) && !vs::cancel_transfers(live, stopped));
        char name[9];
        std::uint32_t size = sizeof name;
        vs::device_record device;
        QVERIFY(!vs::friendly_name(live, device, name, size, nullptr));
        QCOMPARE(vs::open_device_key(live, device), vs::invalid_handle);
        QVERIFY(!vs::query_port_name(live, name, size));
        QVERIFY(!vs::set_event(vs::no_event) && !vs::close_handle(vs::no_event));
        QVERIFY(vs::start_write(live, "alive", 5, moved, state));
        QCOMPARE(second.receive(5), QByteArray("alive"));
        QVERIFY(vs::get_line_state(live, line));
        second.unplug();
        QVERIFY(!vs::get_line_state(live, line) && !vs::set_line_state(live, line));
        QVERIFY(vs::close_handle(live) && vs::close_handle(state.event));
    }

    void signalsDoNotEndAWait()
    {
        for (const bool isForEitherEvent : {true, false}) { // else for the result
            PseudoTerminal module;
            const vs::handle port = vs::open_port(module.path().toLatin1().constData());
            const vs::handle other = vs::create_event();
            vs::transfer state;
            state.event = vs::create_event();
            std::uint32_t moved = 0;
            char got[5] = {};
            QVERIFY(!vs::start_read(port, got, sizeof got, moved, state));
            QCOMPARE(vs::last_error(), vs::error_io_pending);
            lateFd = module.descriptor();
            ticks = 0;
            struct sigaction before = {}, ticking = {};
            ticking.sa_handler = tick; // without SA_RESTART, which poll() would pass over anyway
            QCOMPARE(::sigaction(SIGALRM, &ticking, &before), 0);
            const itimerval often = {{0, 20000}, {0, 20000}}, never = {};
            ::setitimer(ITIMER_REAL, &often, nullptr);
            const int first = isForEitherEvent ? vs::wait_for_either(other, state.event) : 1;
            const bool ok = vs::transfer_result(port, state, moved);
            ::setitimer(ITIMER_REAL, &never, nullptr);
            ::sigaction(SIGALRM, &before, nullptr);
            QVERIFY(first == 1 && ok && ticks >= 3);
            QCOMPARE(QByteArray(got, int(moved)), QByteArray("later"));
            QVERIFY(vs::close_handle(port) && vs::close_handle(state.event) && vs::close_handle(other));
        }
    }

    // A port takes two descriptors and three events. With fewer left it is refused, and none is lost.
    void descriptorsRunOut()
    {
        PseudoTerminal module;
        const CapturedOutput captured;
        const int next = lowestFreeDescriptor();
        for (unsigned left = 0; left < 5; ++left) {
            bool isRefused = false;
            withDescriptorsLeft(left, [&] { isRefused = open(module.path()) == nullptr; });
            QVERIFY2(isRefused, qPrintable(QString::number(left)));
            QCOMPARE(lowestFreeDescriptor(), next);
        }
        QVERIFY(open(module.path()));
    }
};

QTEST_GUILESS_MAIN(TestPosix)
#include "tst_posix.moc"
