#include "transport/platform/published_ports.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int timeoutMs = 20'000;

// The host's end of the line.
struct Host
{
    explicit Host(const QString &path)
        : fd(::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
    }
    ~Host() { ::close(fd); }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    // Sends bytes in hex and gives the next `size` bytes, in hex too; fewer if nothing more comes.
    QByteArray exchange(const char *hex, int size) const
    {
        const QByteArray bytes = QByteArray::fromHex(hex);
        const bool sent =
            bytes.isEmpty() || ::write(fd, bytes.constData(), size_t(bytes.size())) == bytes.size();
        QByteArray got;
        char byte = 0;
        pollfd entry{fd, POLLIN, 0};
        while (sent && got.size() < size && ::poll(&entry, 1, timeoutMs) > 0 && ::read(fd, &byte, 1) == 1)
            got.append(byte);
        return got.toHex();
    }

    bool isGone() const
    {
        char byte = 0;
        pollfd entry{fd, POLLIN, 0};
        return ::poll(&entry, 1, timeoutMs) > 0 && ::read(fd, &byte, 1) <= 0;
    }

    int fd;
};

// A running simulated module.
struct Module
{
    explicit Module(const QString &arguments = QString(),
                    const QString &program = QStringLiteral(VORSEL_MODULE))
    {
        process.start(program, arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts));
        waitForLog("ready: ");
        path = QString::fromLocal8Bit(output).section(QLatin1Char(' '), 1, 1).trimmed();
    }
    ~Module()
    {
        process.kill();
        process.waitForFinished(timeoutMs);
    }

    // Waits for whole lines with so many of `text` from the given place on.
    bool waitForLog(const QByteArray &text, int from = 0, int times = 1)
    {
        while (output.mid(from).count(text) < times || !output.endsWith('\n')) {
            if (!process.waitForReadyRead(timeoutMs))
                return false;
            output += process.readAllStandardOutput();
        }
        return true;
    }

    void tell(const QByteArray &line)
    {
        process.write(line + '\n');
        while (process.bytesToWrite() > 0 && process.waitForBytesWritten(timeoutMs)) {
        }
    }

    // The exit code, or -1 for a crash or a program that goes on.
    int wait()
    {
        const bool ended = process.state() == QProcess::NotRunning || process.waitForFinished(timeoutMs);
        return ended && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    QProcess process;
    QByteArray output;
    QString path;
};

// The one port that is published, as "name=path"; empty without any.
QString published()
{
    const auto ports = list_published_ports();
    return ports.empty() ? QString() : ports[0].name + QLatin1Char('=') + ports[0].path;
}

} // namespace

// The program over its pseudo-terminal, in a runtime directory of the test's own.
class TestProcess : public QObject
{
    Q_OBJECT

    QTemporaryDir runtimeDir;

private Q_SLOTS:
    void initTestCase() { qputenv("XDG_RUNTIME_DIR", runtimeDir.path().toLocal8Bit()); }

    void firstExchange()
    {
        Module module;
        QCOMPARE(QString::fromLocal8Bit(module.output),
                 QStringLiteral("ready: %1 Simulated module\n").arg(module.path));
        QCOMPARE(published(), QStringLiteral("Simulated module=") + module.path);
        const Host host(module.path);
        termios line{};
        QCOMPARE(::tcgetattr(host.fd, &line), 0);
        QVERIFY((line.c_lflag & (ECHO | ICANON)) == 0 && (line.c_oflag & OPOST) == 0);
        QCOMPARE(host.exchange("00000001", 4), QByteArray("00000001"));
        QVERIFY(module.waitForLog("-> 00 00 00 01  rsp system_hello"));
        QVERIFY(module.output.contains("<- 00 00 00 01  cmd system_hello"));
        module.process.closeWriteChannel(); // the end of its input is no reason to end
        QCOMPARE(host.exchange("00000002", 10), QByteArray("000600020504030201c0"));
    }

    void signalTakesTheLinkAway()
    {
        for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
            Module module(QStringLiteral("--name to-end"));
            QCOMPARE(published(), QStringLiteral("to-end=") + module.path);
            QCOMPARE(::kill(pid_t(module.process.processId()), number), 0);
            QCOMPARE(module.wait(), 0);
            QVERIFY(!QFileInfo(published_ports_dir() + QStringLiteral("/to-end")).isSymLink());
        }
    }

    void hostsComeAndGo()
    {
        Module module;
        for (int i = 0; i < 3; ++i) {
            const int from = module.output.size();
            {
                const Host host(module.path);
                QCOMPARE(host.exchange("00000001", 4), QByteArray("00000001"));
                // Half a frame and an answer that stays unread: neither may reach the next host.
                host.exchange("00000002 0003", 0);
                QVERIFY(module.waitForLog("rsp system_address_get", from));
            }
            QVERIFY(module.waitForLog("detached", from));
            QCOMPARE(module.output.mid(from).count("attached\n"), 1);
        }
        module.tell("send-hex 00000001");
        QVERIFY(module.waitForLog("obeyed: send-hex"));
        QCOMPARE(Host(module.path).exchange("00000008", 4), QByteArray("000c0008"));
    }

    // A developer builds the module anew while it runs.
    void listedAfterItsFileIsReplaced()
    {
        const QString copy = runtimeDir.filePath(QStringLiteral("copied-module"));
        QVERIFY(QFile::copy(QStringLiteral(VORSEL_MODULE), copy));
        Module module({}, copy);
        QVERIFY(QFile::remove(copy));
        QCOMPARE(published(), QStringLiteral("Simulated module=") + module.path);
    }

    // Lines that come faster than they are obeyed must not fill the memory, or hold up the end.
    void floodOfControlLines()
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        QSKIP("the sanitizers' own memory would be most of what is measured");
#endif
        constexpr int lineCount = 1'000'000;
        Module module(QStringLiteral("--quiet"));
        module.process.write(QByteArray("junk 0\n").repeated(lineCount));
        while (module.process.bytesToWrite() > lineCount)
            QVERIFY(module.process.waitForBytesWritten(timeoutMs));
        QFile status(QStringLiteral("/proc/%1/status").arg(module.process.processId()));
        QVERIFY(status.open(QIODevice::ReadOnly));
        const QByteArray text = status.readAll();
        const int peakKib = text.mid(text.indexOf("VmHWM:") + 6).simplified().split(' ').value(0).toInt();
        QVERIFY2(peakKib > 0 && peakKib < 50'000, text.constData());
        QCOMPARE(::kill(pid_t(module.process.processId()), SIGTERM), 0);
        QCOMPARE(module.wait(), 0);
    }

    void unplugsAfterItsLastFrame()
    {
        Module module(QStringLiteral("--unplug 2"));
        const Host host(module.path);
        QCOMPARE(host.exchange("00000001 0000000c 00000001", 8), QByteArray("000000010000000c"));
        QVERIFY(host.isGone()); // and not a byte of a third frame
        QCOMPARE(module.wait(), 0);
        QCOMPARE(published(), QString());
    }

    void controlLines()
    {
        Module module;
        const Host host(module.path);
        QVERIFY(module.waitForLog("attached"));
        for (const char *line :
             {"", "   ", "nonsense", "send-hex xyz", "send-hex", "lose", "remote-write 1 00",
              "remote-write x", "\xff\xfe garbage", "result system_hello=1", "ota-fail 0x100=1",
              "dump /nowhere/flash", "dump flash 7ffff 2", "dump-ota"})
            module.tell(line);
        module.tell(QByteArray(100'000, 'x') + '\0');
        module.tell(QByteArray(3 * 4096, 'x') + "quit"); // no line of its own
        QVERIFY(module.waitForLog("x (the line is too long)"));
        module.tell("send-hex 80 02 00 06 80 01");
        QCOMPARE(host.exchange("", 6), QByteArray("800200068001"));
        QVERIFY(module.waitForLog("not obeyed: remote-write 1 00 (refused with 0403)"));
        QVERIFY(module.waitForLog("not obeyed: dump /nowhere/flash ("));
        module.tell("lose 1");
        QVERIFY(module.waitForLog("-- obeyed: lose 1"));
        QCOMPARE(host.exchange("00000001 0000000c", 4), QByteArray("0000000c"));
        module.tell("remote-write 3 41");
        QCOMPARE(host.exchange("", 12), QByteArray("800802000000030000000141"));
        module.tell("unplug");
        QVERIFY(host.isGone());
        QCOMPARE(module.wait(), 0);
    }

    void countsWhatItWrote()
    {
        Module module(QStringLiteral("--quiet --rate 1000 --devices 5"));
        const Host host(module.path);
        // Each device is reported once, and the scan goes on behind that.
        QCOMPARE(host.exchange("00030606 000001 00010602 02", 12), QByteArray("000206060000000206020000"));
        for (int i = 0; i < 5; ++i) {
            const QByteArray header = QByteArray::fromHex(host.exchange("", 4));
            QCOMPARE(header.mid(2), QByteArray("\6\0", 2));
            host.exchange("", header[1]);
        }
        module.tell("count");
        QVERIFY(module.waitForLog("count: 7 frames, 5 of gap_scan_response, 5 devices\n"));
    }

    void packetMode()
    {
        Module module(QStringLiteral("--packet-mode"));
        const Host host(module.path);
        QCOMPARE(host.exchange("00000001 04 00000001 05 00010001 00", 10),
                 QByteArray("00000001800200068001"));
        QVERIFY(module.waitForLog("dropped: 00 00 00 01"));
    }

    void unreadLogHoldsNothingUp()
    {
        Module module;
        const Host host(module.path);
        constexpr int exchanges = 3000; // far more of a log than a pipe takes
        for (int i = 0; i < exchanges; ++i)
            QCOMPARE(host.exchange("00000008", 16).size(), 32);
        QVERIFY(module.waitForLog("rsp system_get_info", 0, exchanges));
    }

    void secondOfTheSameNameIsRefused()
    {
        Module first(QStringLiteral("--quiet"));
        Module second;
        QCOMPARE(second.wait(), 1);
        QVERIFY(second.process.readAllStandardError().contains("published already"));
        QCOMPARE(published(), QStringLiteral("Simulated module=") + first.path);
        // A crash leaves the link behind, and the next one takes it over.
        first.process.kill();
        QVERIFY(first.process.waitForFinished(timeoutMs));
        const Module third;
        QVERIFY2(third.output.startsWith("ready: "), third.output.constData());
    }

    void badOptionEndsWithTwo()
    {
        Module module(QStringLiteral("--late soon"));
        QCOMPARE(module.wait(), 2);
        QVERIFY(module.process.readAllStandardError().contains(
            "--late soon: a number from 0 to 60000 was expected"));
    }
};

QTEST_GUILESS_MAIN(TestProcess)
#include "tst_process.moc"
