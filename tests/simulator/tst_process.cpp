#include "transport/platform/published_ports.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int patienceMs = 20'000;

// The host's end of the line.
class Host
{
public:
    explicit Host(const QString &path)
        : fd(::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {
    }
    ~Host() { close(); }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    void close()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }

    bool send(const char *hex)
    {
        const QByteArray bytes = QByteArray::fromHex(hex);
        return ::write(fd, bytes.constData(), size_t(bytes.size())) == bytes.size();
    }

    // So many bytes in hex; fewer if the line fails or nothing more comes.
    QByteArray receive(int size)
    {
        QByteArray bytes;
        while (bytes.size() < size && waitFor(POLLIN)) {
            char buffer[512];
            const ssize_t count =
                ::read(fd, buffer, size_t(std::min(size - bytes.size(), int(sizeof(buffer)))));
            if (count <= 0)
                break;
            bytes.append(buffer, int(count));
        }
        return bytes.toHex();
    }

    bool isGone()
    {
        char byte = 0;
        return waitFor(POLLIN) && ::read(fd, &byte, 1) <= 0 && errno != EAGAIN;
    }

    bool hasEcho() const
    {
        termios line{};
        return ::tcgetattr(fd, &line) != 0 || (line.c_lflag & (ECHO | ICANON)) != 0 ||
               (line.c_oflag & OPOST) != 0;
    }

private:
    bool waitFor(short what) const
    {
        pollfd entry{fd, what, 0};
        return ::poll(&entry, 1, patienceMs) > 0;
    }

    int fd;
};

// A running simulated module, in a runtime directory of its own.
class Module
{
public:
    Module(const QString &runtimeDir, const QStringList &arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeDir);
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(VORSEL_MODULE), arguments);
        waitForLog("ready: ");
        path = QString::fromLocal8Bit(output).section(QLatin1Char(' '), 1, 1).trimmed();
    }

    ~Module()
    {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(patienceMs);
        }
    }
    Module(const Module &) = delete;
    Module &operator=(const Module &) = delete;

    bool waitForLog(const QByteArray &text, int from = 0)
    {
        QElapsedTimer time;
        time.start();
        while (output.indexOf(text, from) < 0 || !output.endsWith('\n')) {
            if (time.elapsed() > patienceMs || !process.waitForReadyRead(patienceMs))
                return output.indexOf(text, from) >= 0;
            output += process.readAllStandardOutput();
        }
        return true;
    }

    void tell(const QByteArray &line)
    {
        process.write(line + '\n');
        while (process.bytesToWrite() > 0 && process.waitForBytesWritten(patienceMs)) {
        }
    }

    // The exit code, or -1 for a crash or a program that goes on.
    int wait()
    {
        if (process.state() != QProcess::NotRunning)
            process.waitForFinished(patienceMs);
        const bool ended =
            process.state() == QProcess::NotRunning && process.exitStatus() == QProcess::NormalExit;
        return ended ? process.exitCode() : -1;
    }

    QProcess process;
    QByteArray output;
    QString path;
};

} // namespace

// The program over its pseudo-terminal.
class TestProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void firstExchange();
    void signalTakesTheLinkAway_data();
    void signalTakesTheLinkAway();
    void hostsComeAndGo();
    void unplugsAfterItsLastFrame();
    void controlLines();
    void packetMode();
    void unreadLogHoldsNothingUp();
    void secondOfTheSameNameIsRefused();
    void badOptionEndsWithTwo();

private:
    QString linkPath(const QString &name) const
    {
        return runtimeDir.path() + QStringLiteral("/vorsel/ports/") + name;
    }

    QTemporaryDir runtimeDir;
};

void TestProcess::initTestCase()
{
    QVERIFY(runtimeDir.isValid());
    qputenv("XDG_RUNTIME_DIR", runtimeDir.path().toLocal8Bit());
}

void TestProcess::firstExchange()
{
    Module module(runtimeDir.path(), {});
    QVERIFY2(module.output.startsWith("ready: /dev/pts/"), module.output.constData());
    QVERIFY(module.output.endsWith(" Simulated module\n"));
    QCOMPARE(QFileInfo(linkPath(QStringLiteral("Simulated module"))).symLinkTarget(), module.path);
    const auto ports = list_published_ports();
    QCOMPARE(int(ports.size()), 1);
    QCOMPARE(QString::fromStdString(ports[0].name), QStringLiteral("Simulated module"));
    Host host(module.path);
    QVERIFY(!host.hasEcho());
    QVERIFY(host.send("00000001"));
    QCOMPARE(host.receive(4), QByteArray("00000001"));
    QVERIFY(host.send("00000002"));
    QCOMPARE(host.receive(10), QByteArray("000600020504030201c0"));
    QVERIFY(module.waitForLog("-> 00 00 00 01  rsp system_hello"));
    QVERIFY(module.output.contains("<- 00 00 00 01  cmd system_hello"));
    module.process.closeWriteChannel(); // the end of its input is no reason to end
    QVERIFY(host.send("00000001"));
    QCOMPARE(host.receive(4), QByteArray("00000001"));
    module.process.terminate();
    QCOMPARE(module.wait(), 0);
}

void TestProcess::signalTakesTheLinkAway_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void TestProcess::signalTakesTheLinkAway()
{
    QFETCH(int, number);
    Module module(runtimeDir.path(), {QStringLiteral("--name"), QStringLiteral("to end")});
    const QFileInfo link(linkPath(QStringLiteral("to end")));
    QVERIFY(link.isSymLink());
    QCOMPARE(::kill(pid_t(module.process.processId()), number), 0);
    QCOMPARE(module.wait(), 0);
    QVERIFY(!QFileInfo(link.filePath()).isSymLink());
    QVERIFY(list_published_ports().empty());
}

void TestProcess::hostsComeAndGo()
{
    Module module(runtimeDir.path(), {});
    for (int i = 0; i < 3; ++i) {
        const int from = module.output.size();
        Host host(module.path);
        QVERIFY(host.send("00000001"));
        QCOMPARE(host.receive(4), QByteArray("00000001"));
        // Half a frame and an answer that stays unread: neither may reach the next host.
        QVERIFY(host.send("00000002 0003"));
        QVERIFY(module.waitForLog("rsp system_address_get", from));
        host.close();
        QVERIFY(module.waitForLog("detached", from));
        QCOMPARE(module.output.mid(from).count("attached\n"), 1);
    }
    module.tell("send-hex 00000001");
    QVERIFY(module.waitForLog("obeyed: send-hex"));
    Host host(module.path);
    QVERIFY(host.send("00000008"));
    QCOMPARE(host.receive(4), QByteArray("000c0008"));
}

void TestProcess::unplugsAfterItsLastFrame()
{
    Module module(runtimeDir.path(), {QStringLiteral("--unplug"), QStringLiteral("2")});
    Host host(module.path);
    QVERIFY(host.send("00000001 0000000c 00000001"));
    QCOMPARE(host.receive(8), QByteArray("000000010000000c"));
    host.receive(4); // the third may or may not come before the end
    QVERIFY(host.isGone());
    QCOMPARE(module.wait(), 0);
    QVERIFY(list_published_ports().empty());
}

void TestProcess::controlLines()
{
    Module module(runtimeDir.path(), {});
    Host host(module.path);
    QVERIFY(module.waitForLog("attached"));
    for (const char *line : {"", "   ", "nonsense", "send-hex xyz", "send-hex", "lose", "remote-write 1 00",
                             "remote-write x", "\xff\xfe\x00 garbage", "result system_hello=1"})
        module.tell(line);
    module.tell(QByteArray(100'000, 'x'));
    module.tell("send-hex 80 02 00 06 80 01");
    QCOMPARE(host.receive(6), QByteArray("800200068001"));
    QVERIFY(module.waitForLog("not obeyed: remote-write 1 00 (refused with 0403)"));
    module.tell("lose 1");
    QVERIFY(module.waitForLog("-- obeyed: lose 1"));
    QVERIFY(host.send("00000001 0000000c"));
    QCOMPARE(host.receive(4), QByteArray("0000000c"));
    module.tell("remote-write 3 41");
    QCOMPARE(host.receive(12), QByteArray("80080200"
                                          "0000030000000141"));
    module.tell("unplug");
    QVERIFY(host.isGone());
    QCOMPARE(module.wait(), 0);
}

void TestProcess::packetMode()
{
    Module module(runtimeDir.path(), {QStringLiteral("--packet-mode")});
    Host host(module.path);
    QVERIFY(host.send("00000001 04 00000001 05 00010001 00"));
    QCOMPARE(host.receive(10), QByteArray("00000001800200068001"));
    QVERIFY(module.waitForLog("dropped: 00 00 00 01"));
}

void TestProcess::unreadLogHoldsNothingUp()
{
    Module module(runtimeDir.path(), {});
    Host host(module.path);
    constexpr int exchanges = 3000; // far more of a log than a pipe takes
    for (int i = 0; i < exchanges; ++i) {
        QVERIFY(host.send("00000008"));
        QCOMPARE(host.receive(16).size(), 32);
    }
    QVERIFY(module.waitForLog("attached"));
    while (module.output.count("rsp system_get_info") < exchanges &&
           module.process.waitForReadyRead(patienceMs))
        module.output += module.process.readAllStandardOutput();
    QCOMPARE(module.output.count("rsp system_get_info"), exchanges);
}

void TestProcess::secondOfTheSameNameIsRefused()
{
    Module first(runtimeDir.path(), {QStringLiteral("--quiet")});
    Module second(runtimeDir.path(), {});
    QCOMPARE(second.wait(), 1);
    QVERIFY(second.process.readAllStandardError().contains("published already"));
    QCOMPARE(QFileInfo(linkPath(QStringLiteral("Simulated module"))).symLinkTarget(), first.path);
    // A crash leaves the link behind, and the next one takes it over.
    first.process.kill();
    QVERIFY(first.process.waitForFinished(patienceMs));
    Module third(runtimeDir.path(), {});
    QVERIFY2(third.output.startsWith("ready: "), third.output.constData());
}

void TestProcess::badOptionEndsWithTwo()
{
    Module module(runtimeDir.path(), {QStringLiteral("--late"), QStringLiteral("soon")});
    QCOMPARE(module.wait(), 2);
    QVERIFY(
        module.process.readAllStandardError().contains("--late soon: a number from 0 to 60000 was expected"));
}

QTEST_GUILESS_MAIN(TestProcess)
#include "tst_process.moc"
