#include "tests/transport/scripted_platform.h"
#include "tests/transport/thread_sanitizer.h"
#include "transport/uartcomm.h"

#include <QtTest>

#include <memory>
#include <tuple>

namespace {

ScriptedDevice device(const QByteArray &name, const QByteArray &port, bool opens = true)
{
    return {name + '\0', port + '\0', opens};
}

} // namespace

// Discovery over scripted devices, and what becomes of a device that is opened.
class TestUartComm : public QObject
{
    Q_OBJECT

    std::unique_ptr<ScriptedPlatform> play;

private Q_SLOTS:
    void init() { play = std::make_unique<ScriptedPlatform>(); }

    void discover()
    {
        const ScriptedDevice good = device("USB (COM12)", "COM12");
        const QByteArray goodText = "USB (COM12)|COM12;";
        const QByteArray longest(260, 'L'), longer(261, 'L');
        const QByteArray cutName("Na\0me", 6), cutPort("COM\0X", 6);
        // The devices, and "name|port;" of each, the port without its prefix.
        const std::tuple<const char *, QList<ScriptedDevice>, QByteArray> rows[] = {
            {"none", {}, ""},
            {"own order", {device("Z", "COM1"), device("A", "LPT1")}, "Z|COM1;A|LPT1;"},
            {"name twice", {device("P", "COM1"), device("P", "COM2")}, "P|COM1;P|COM2;"},
            {"no friendly name", {{std::nullopt, cutPort}, good}, goodText},
            {"empty friendly name", {device("", "COM1")}, "|COM1;"},
            {"no key", {device("No key", "COM1", false), good}, goodText},
            {"no port name", {{QByteArray("N\0", 2), std::nullopt}, good}, goodText},
            {"port name of 260 bytes", {device("L", longest)}, "L|" + longest + ';'},
            {"port name of 261 bytes", {device("L", longer), good}, goodText},
            {"no terminating zeros", {{QByteArray("R"), QByteArray("C")}}, "R|C;"},
            {"261 bytes and no zero", {{cutName, longer}}, "Na|" + longer + ';'},
            {"texts after a zero", {{cutName, cutPort}}, "Na|COM;"},
        };
        for (const auto &[row, present, found] : rows) {
            init();
            play->devices = present;
            UartComm comm;
            QByteArray heard;
            connect(&comm, &UartComm::DeviceFound, &comm, [&](const QString &name, const QString &port) {
                QVERIFY(port.startsWith(QStringLiteral("\\\\.\\")));
                heard += name.toLatin1() + '|' + port.mid(4).toLatin1() + ';';
                // Told while the device's key is still open.
                QVERIFY(play->calls().endsWith(QStringLiteral("query_port_name 261")));
            });
            comm.Start();
            comm.DiscoverDevices();
            QCOMPARE(row + (": " + heard), row + (": " + found));
            QString calls;
            for (int index = 0; index < present.size(); ++index) {
                const ScriptedDevice &each = present[index];
                if (each.friendlyName)
                    calls += QStringLiteral("open_device_key %1, ").arg(index);
                if (each.friendlyName && each.opens)
                    calls += QStringLiteral("query_port_name 261, close_device_key %1, ").arg(index);
            }
            QCOMPARE(play->calls(), calls + QStringLiteral("destroy_device_list"));
        }
        init();
        play->deviceListOpens = false;
        play->devices = {good};
        UartComm().DiscoverDevices();
        QCOMPARE(play->calls(), QString());
    }

    void open()
    {
        UartComm comm;
        {
            const std::unique_ptr<CommDev> opened(comm.Open(QStringLiteral("\\\\.\\COM3")));
            QVERIFY(opened && opened->isRunning() && !opened->parent());
            showEndOfThread(*opened);
        }
        QCOMPARE(play->calls("open_port"), QStringLiteral("open_port \\\\.\\COM3"));
        play = std::make_unique<ScriptedPlatform>();
        play->portOpens = false;
        QTest::ignoreMessage(QtDebugMsg, "ERROR: cannot open serialport: \"COM3\"");
        QVERIFY(comm.Open(QStringLiteral("COM3")) == nullptr);
        // The device was deleted.
        QCOMPARE(play->calls("close_handle"),
                 QStringLiteral("close_handle 0, close_handle 0, close_handle 0"));
    }
};

QTEST_GUILESS_MAIN(TestUartComm)
#include "tst_uartcomm.moc"
