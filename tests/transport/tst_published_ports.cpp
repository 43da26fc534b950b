#include "simulator/port/portpublication.h"
#include "tests/support/pseudo_terminal.h"
#include "transport/commdev.h"
#include "transport/platform/platform.h"
#include "transport/platform/published_ports.h"
#include "transport/uartcomm.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <memory>
#include <utility>

using simulator::Error;
using simulator::PortPublication;

namespace {

QString inDir(const QString &name)
{
    return published_ports_dir() + QLatin1Char('/') + name;
}

// Leaves a link and a lock as a process does that was killed.
void leaveBehind(const QString &name, const QString &target)
{
    QDir().mkpath(published_ports_dir());
    QVERIFY(QFile::link(target, inDir(name)));
    QFile lock(published_port_lock(name));
    QVERIFY(lock.open(QIODevice::WriteOnly));
    constexpr int noProcess = 0x7fffffff; // above the largest process id of the kernel
    lock.write(QByteArray::number(noProcess) + "\nkilled\n" + QSysInfo::machineHostName().toLocal8Bit() +
               "\n");
}

// "name=path;" of each port.
QString listed()
{
    QString all;
    for (const published_port &port : list_published_ports())
        all += port.name + QLatin1Char('=') + port.path + QLatin1Char(';');
    return all;
}

} // namespace

// Ports that a program publishes, in a runtime directory of the test's own.
class TestPublishedPorts : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> runtime;
    const PseudoTerminal module;
    const PseudoTerminal other;

private Q_SLOTS:
    void init()
    {
        runtime = std::make_unique<QTemporaryDir>();
        qputenv("XDG_RUNTIME_DIR", runtime->path().toLocal8Bit());
    }

    void listedWhileTheyLive()
    {
        QCOMPARE(listed(), QString());
        {
            PortPublication b;
            PortPublication a;
            QVERIFY(!b.publish(QStringLiteral("b c"), other.path()));
            QVERIFY(!a.publish(QStringLiteral("a"), module.path()));
            QCOMPARE(listed(), QStringLiteral("a=%1;b c=%2;").arg(module.path(), other.path()));
            QStringList found;
            UartComm comm;
            connect(&comm, &UartComm::DeviceFound, &comm, [&](const QString &name, const QString &port) {
                found << name + QLatin1Char('=') + port;
            });
            comm.DiscoverDevices();
            QCOMPARE(found.count(QStringLiteral("b c=") + other.path()), 1);
        }
        QCOMPARE(listed(), QString());
        QVERIFY(QDir(published_ports_dir())
                    .isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));
    }

    void heldNameIsRefusedAndStaleOneTakenOver()
    {
        const QString name = QStringLiteral("module");
        leaveBehind(name, other.path());
        QCOMPARE(listed(), QString());
        PortPublication holder;
        QCOMPARE(holder.publish(name, module.path()), Error());
        PortPublication refused;
        QVERIFY(refused.publish(name, other.path()).value_or(QString()).contains(QLatin1String("already")));
        QCOMPARE(listed(), QStringLiteral("module=%1;").arg(module.path()));
    }

    void badNames()
    {
        for (const QString &name : {QString(), QStringLiteral(".module"), QStringLiteral("../../module"),
                                    QString(241, QLatin1Char('x'))}) {
            PortPublication publication;
            QVERIFY2(publication.publish(name, module.path()), qPrintable(name));
            QCOMPARE(listed(), QString());
        }
    }

    void onlyDevicesAreListed()
    {
        for (const char *target : {"/etc/passwd", "/dev", "/dev/pts/there-is-none", "../../module"}) {
            PortPublication publication;
            QCOMPARE(publication.publish(QStringLiteral("module"), QString::fromLatin1(target)), Error());
            QCOMPARE(listed(), QString());
        }
    }

    // The number of a pseudo-terminal that was published goes to another one.
    void goneModuleIsNotOpened()
    {
        UartComm comm;
        {
            PortPublication publication;
            publication.publish(QStringLiteral("module"), module.path());
            comm.DiscoverDevices();
            const std::unique_ptr<CommDev> attached(comm.Open(module.path()));
            QVERIFY(attached);
        }
        QVERIFY(!comm.Open(module.path()));
        PortPublication again;
        again.publish(QStringLiteral("other name"), module.path());
        const std::unique_ptr<CommDev> attached(comm.Open(module.path()));
        QVERIFY(attached);
    }

    void whatIsInTheWayStays()
    {
        QDir().mkpath(published_ports_dir());
        QFile file(inDir(QStringLiteral("module")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        PortPublication publication;
        QVERIFY(publication.publish(QStringLiteral("module"), module.path()));
        QVERIFY(file.exists());
        // Without a runtime directory nothing can be published or listed.
        qputenv("XDG_RUNTIME_DIR", "/dev/null");
        qputenv("TMPDIR", "/dev/null");
        QVERIFY(publication.publish(QStringLiteral("other"), module.path()));
        QCOMPARE(listed(), QString());
        qunsetenv("TMPDIR");
    }

    // A buffer holds the whole text and its terminating zero, or nothing.
    void textsThatDoNotFit()
    {
        PortPublication publication;
        QCOMPARE(publication.publish(QStringLiteral("module"), module.path()), Error());
        const vs::handle list = vs::open_device_list();
        vs::device_record device;
        std::uint32_t last = 0; // published ports follow those of the hardware
        while (vs::device_at(list, last + 1, device))
            ++last;
        QVERIFY(vs::device_at(list, last, device));
        char name[7] = "######";
        std::uint32_t needed = 0;
        QVERIFY(!vs::friendly_name(list, device, name, 6, &needed));
        QCOMPARE(needed, 7U);
        QCOMPARE(name, "######");
        QVERIFY(vs::friendly_name(list, device, name, needed, nullptr));
        QCOMPARE(name, "module");
        const vs::handle key = vs::open_device_key(list, device);
        char port[64] = "#";
        auto size = std::uint32_t(module.path().size() - int(qstrlen(vs::port_path_prefix())));
        QVERIFY(!vs::query_port_name(key, port, size));
        QCOMPARE(port, "#");
        ++size;
        QVERIFY(vs::query_port_name(key, port, size));
        QCOMPARE(QByteArray(vs::port_path_prefix()).append(port), module.path().toLatin1());
        vs::close_device_key(key);
        vs::destroy_device_list(list);
        QVERIFY(!vs::device_at(list, last, device));
    }

    void listingDoesNotDisturbPublishing()
    {
        std::atomic<bool> enough{false};
        const std::unique_ptr<QThread> lister(QThread::create([&] {
            while (!enough)
                list_published_ports();
        }));
        lister->start();
        int published = 0;
        for (int round = 0; round < 100; ++round) {
            leaveBehind(QStringLiteral("module"), QStringLiteral("/dev/null"));
            PortPublication publication;
            published += publication.publish(QStringLiteral("module"), module.path()) ? 0 : 1;
        }
        enough = true;
        QVERIFY(lister->wait());
        QCOMPARE(published, 100);
    }
};

QTEST_GUILESS_MAIN(TestPublishedPorts)
#include "tst_published_ports.moc"
