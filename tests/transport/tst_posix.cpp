#include "tests/transport/captured_output.h"
#include "tests/transport/pseudo_terminal.h"
#include "tests/transport/thread_sanitizer.h"
#include "transport/platform/serial_platform.h"
#include "transport/uartcomm.h"
#include "transport/uartdev.h"

#include <QTemporaryDir>
#include <QtTest>

#include <asm/termbits.h>
#include <atomic>
#include <memory>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <thread>

namespace {

QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

// A frame of every byte value, for the line to leave alone.
QByteArray all_values()
{
    QByteArray frame = hex("00fc");
    for (int value = 0; value < 254; ++value)
        frame.append(static_cast<char>(value + 2));
    return frame;
}

termios2 settings_of(const QString &path)
{
    termios2 line = {};
    const int fd = ::open(path.toLatin1().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ::ioctl(fd, TCGETS2, &line);
    ::close(fd);
    return line;
}

} // namespace

// UartDev over real pseudo-terminals.
class tst_Posix : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void framesByteByByte();
    void framesAtOnce();
    void bytesPassUnchanged();
    void speeds_data();
    void speeds();
    void unusableSpeed_data();
    void unusableSpeed();
    void otherEndGoesAway();
    void stopWhileFramesPourIn();
    void stopRightAfterOpen();
    void busyPortIsRefused();
    void portIsFreeAfterEachUse();
    void notAPort_data();
    void notAPort();
    void closingEndsAPendingWrite();
    void closingEndsAPendingRead();
    void closedHandleNamesNothingElse();
    void portsOfTheMachine();

private:
    std::unique_ptr<UartDev> open(const QString &path);

    QList<QByteArray> frames;
};

void tst_Posix::init()
{
    QCoreApplication::removePostedEvents(this); // frames of a device that is gone
    frames.clear();
}

std::unique_ptr<UartDev> tst_Posix::open(const QString &path)
{
    auto device = std::make_unique<UartDev>(path, nullptr);
    connect(device.get(), &CommDev::RxData, this, [this](const QByteArray &frame) { frames << frame; });
    show_end_of_thread(*device);
    if (!device->Open())
        device.reset();
    return device;
}

void tst_Posix::framesByteByByte()
{
    pseudo_terminal module;
    const auto device = open(module.path());
    QVERIFY(device);
    const QList<QByteArray> sent = {hex("00000001"), hex("0003aabb010203"), all_values(), hex("ff000304")};
    for (const QByteArray &frame : sent) {
        for (char byte : frame)
            QVERIFY(module.send(QByteArray(1, byte)));
    }
    QTRY_COMPARE(frames.size(), sent.size());
    QCOMPARE(frames, sent);
}

void tst_Posix::framesAtOnce()
{
    pseudo_terminal module;
    const auto device = open(module.path());
    QVERIFY(device);
    QVERIFY(module.send(hex("00000001") + hex("0001020304") + all_values() + hex("0002")));
    QTRY_COMPARE(frames.size(), 3);
    QVERIFY(module.send(hex("0304") + hex("0506")));
    QTRY_COMPARE(frames.size(), 4);
    QCOMPARE(frames,
             QList<QByteArray>({hex("00000001"), hex("0001020304"), all_values(), hex("000203040506")}));
}

void tst_Posix::bytesPassUnchanged()
{
    pseudo_terminal module;
    const auto device = open(module.path());
    QVERIFY(device);
    device->TxData(all_values());
    QCOMPARE(module.receive(256), all_values());
    QVERIFY(module.send(all_values()));
    QTRY_COMPARE(frames, QList<QByteArray>{all_values()});
    device->TxData(QByteArray());
    device->TxData(hex("00000001"));
    QCOMPARE(module.receive(4), hex("00000001")); // and nothing was echoed before it
}

void tst_Posix::speeds_data()
{
    QTest::addColumn<int>("baud");
    for (int baud :
         {256000, 128000, 115200, 57600, 38400, 19200, 14400, 9600, 4800, 2400, 1200, 600, 300, 110})
        QTest::addRow("%d", baud) << baud;
}

void tst_Posix::speeds()
{
    QFETCH(int, baud);
    pseudo_terminal module;
    const auto device = open(module.path());
    QVERIFY(device);
    device->SetBaudrate(baud);
    const termios2 line = settings_of(module.path());
    QCOMPARE(line.c_ospeed, static_cast<unsigned>(baud));
    QCOMPARE(line.c_ispeed, static_cast<unsigned>(baud));
    QCOMPARE(line.c_cflag & (CSIZE | CSTOPB | CRTSCTS | CREAD | CLOCAL), CS8 | CRTSCTS | CREAD | CLOCAL);
    QCOMPARE(line.c_lflag & (ICANON | ECHO | ISIG | IEXTEN), 0U);
    QCOMPARE(line.c_iflag & (INPCK | ISTRIP | IXON | IXOFF | ICRNL | INLCR | IGNCR), 0U);
    QCOMPARE(line.c_oflag & OPOST, 0U);
    QVERIFY(module.send(hex("00000001")));
    QTRY_COMPARE(frames.size(), 1);
}

void tst_Posix::unusableSpeed_data()
{
    QTest::addColumn<int>("baud");
    QTest::newRow("zero") << 0;
    QTest::newRow("negative") << -1;
}

void tst_Posix::unusableSpeed()
{
    QFETCH(int, baud);
    pseudo_terminal module;
    const auto device = open(module.path());
    QVERIFY(device);
    device->SetBaudrate(57600);
    device->SetBaudrate(baud);
    QCOMPARE(settings_of(module.path()).c_ospeed, 57600U);
    QVERIFY(device->isRunning());
}

void tst_Posix::otherEndGoesAway()
{
    pseudo_terminal module;
    captured_output captured;
    auto device = open(module.path());
    QVERIFY(device);
    QVERIFY(module.send(hex("000200"))); // the start of a frame that never ends
    module.unplug();
    QVERIFY(device->wait(10000));
    device->SetBaudrate(9600);
    device->TxData(hex("00000001"));
    device->Disconnect();
    device.reset();
    QCOMPARE(captured.standard_output(), QByteArray("ERROR: ReadFile failed:5\nERROR: WriteFile failed:9\n"));
    QCOMPARE(captured.debug_output(),
             QStringList({QStringLiteral("UART disconnecting"), QStringLiteral("UART thread exit")}));
    QCoreApplication::processEvents();
    QVERIFY(frames.isEmpty());
}

void tst_Posix::stopWhileFramesPourIn()
{
    pseudo_terminal module;
    auto device = open(module.path());
    QVERIFY(device);
    ::fcntl(module.descriptor(), F_SETFL, O_NONBLOCK);
    std::atomic<bool> enough{false};
    std::thread pouring([&] {
        pollfd ready = {module.descriptor(), POLLOUT, 0};
        while (!enough) {
            if (::poll(&ready, 1, 20) > 0)
                module.send(all_values());
        }
    });
    QTRY_VERIFY(frames.size() >= 20);
    device.reset();
    enough = true;
    pouring.join();
    QCOMPARE(frames.constFirst(), all_values());
}

void tst_Posix::stopRightAfterOpen()
{
    pseudo_terminal module;
    for (int round = 0; round < 50; ++round) {
        const auto device = open(module.path());
        QVERIFY(device);
        device->TxData(hex("00000001"));
    }
    QCOMPARE(module.receive(200), hex("00000001").repeated(50));
}

void tst_Posix::busyPortIsRefused()
{
    pseudo_terminal module;
    auto device = open(module.path());
    QVERIFY(device);
    captured_output captured;
    UartComm comm;
    QVERIFY(comm.Open(module.path()) == nullptr);
    QCOMPARE(captured.debug_output(),
             QStringList(QStringLiteral("ERROR: cannot open serialport: \"%1\"").arg(module.path())));
    // The refused one must not have hurt the one that has it.
    QVERIFY(module.send(hex("00000001")));
    QTRY_COMPARE(frames.size(), 1);
    device.reset();
    const std::unique_ptr<CommDev> next(comm.Open(module.path()));
    QVERIFY(next);
    show_end_of_thread(*next);
}

void tst_Posix::portIsFreeAfterEachUse()
{
    pseudo_terminal module;
    const int other = ::open(module.path().toLatin1().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(other >= 0);
    QCOMPARE(::flock(other, LOCK_EX | LOCK_NB), 0);
    QVERIFY(!open(module.path()));
    ::close(other);

    auto device = open(module.path());
    QVERIFY(device);
    device->Disconnect();
    QVERIFY(device->wait(10000)); // its read was the last to leave the port
    QVERIFY(open(module.path()));
}

void tst_Posix::notAPort_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("empty") << QString();
    QTest::newRow("missing") << "/dev/there-is-no-such-port";
    QTest::newRow("directory") << "/dev";
    QTest::newRow("another device") << "/dev/null";
    QTest::newRow("file") << "FILE";
    QTest::newRow("pipe") << "PIPE";
    QTest::newRow("not Latin-1") << QStringLiteral("/dev/\u4e32\u53e3");
    QTest::newRow("endless") << QString(100000, QLatin1Char('x'));
}

void tst_Posix::notAPort()
{
    QFETCH(QString, path);
    QTemporaryDir dir;
    if (path == QLatin1String("FILE") || path == QLatin1String("PIPE")) {
        const mode_t type = path == QLatin1String("FILE") ? S_IFREG : S_IFIFO;
        path = dir.filePath(path);
        QCOMPARE(::mknod(path.toLocal8Bit().constData(), type | S_IRUSR | S_IWUSR, 0), 0);
    }
    captured_output captured;
    QVERIFY(!open(path));
    QCOMPARE(captured.debug_output().size(), 1);
    QVERIFY(
        captured.debug_output().constFirst().startsWith(QStringLiteral("ERROR: cannot open serialport: \"")));
}

// Nobody reads what the write sends, so it blocks until the reading thread sees the line go and closes the
// port.
void tst_Posix::closingEndsAPendingWrite()
{
    pseudo_terminal module;
    captured_output captured;
    const auto device = open(module.path());
    QVERIFY(device);
    std::thread unplugger([&] {
        pollfd ready = {module.descriptor(), POLLIN, 0};
        ::poll(&ready, 1, -1);
        module.unplug();
    });
    const QByteArray much(1 << 20, 'w');
    QCOMPARE(device->Write(static_cast<unsigned>(much.size()), much.constData()), -1);
    unplugger.join();
    QVERIFY(device->wait(10000));
    const QByteArray output = captured.standard_output();
    QVERIFY2(output.contains("ERROR: WriteFile failed:") || output.contains("ERROR: Writefile failed:"),
             output.constData());

    // The same with the line still there and the handle alone closed.
    pseudo_terminal other;
    const auto still_there = open(other.path());
    QVERIFY(still_there);
    std::thread closer([&] {
        pollfd ready = {other.descriptor(), POLLIN, 0};
        ::poll(&ready, 1, -1);
        still_there->Disconnect();
    });
    QCOMPARE(still_there->Write(static_cast<unsigned>(much.size()), much.constData()), -1);
    closer.join();
}

void tst_Posix::closingEndsAPendingRead()
{
    pseudo_terminal module;
    captured_output captured;
    const auto device = open(module.path());
    QVERIFY(device);
    device->Disconnect();
    QVERIFY(device->wait(10000));
    QCOMPARE(captured.standard_output(), QByteArray("ERROR: ReadFile failed:9\n"));
}

void tst_Posix::closedHandleNamesNothingElse()
{
    pseudo_terminal first;
    pseudo_terminal second;
    const vs::handle stale = vs::open_port(first.path().toLatin1().constData());
    QVERIFY(stale != vs::invalid_handle);
    QVERIFY(vs::close_handle(stale));
    const vs::handle live = vs::open_port(second.path().toLatin1().constData());
    QVERIFY(live != vs::invalid_handle && live != stale);
    vs::transfer state;
    state.event = vs::create_event();
    std::uint32_t moved = 0;
    QVERIFY(!vs::start_write(stale, "stale", 5, moved, state));
    QCOMPARE(vs::last_error(), 9U);
    QVERIFY(!vs::close_handle(stale));
    QVERIFY(!vs::set_event(live)); // a port is no event
    QVERIFY(!vs::set_event(vs::no_event) && !vs::close_handle(vs::no_event));
    QVERIFY(vs::start_write(live, "alive", 5, moved, state));
    QCOMPARE(moved, 5U);
    QCOMPARE(second.receive(5), QByteArray("alive"));
    QVERIFY(vs::close_handle(live) && vs::close_handle(state.event));
}

// Whatever this machine has: each entry has a name and is a device that exists.
void tst_Posix::portsOfTheMachine()
{
    UartComm comm;
    connect(&comm, &UartComm::DeviceFound, &comm, [](const QString &name, const QString &port) {
        QVERIFY(!name.isEmpty());
        struct stat info = {};
        QCOMPARE(::stat(port.toLatin1().constData(), &info), 0);
        QVERIFY2(S_ISCHR(info.st_mode), qPrintable(port));
    });
    comm.DiscoverDevices();
}

QTEST_GUILESS_MAIN(tst_Posix)
#include "tst_posix.moc"
