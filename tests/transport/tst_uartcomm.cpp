#include "tests/transport/scripted_platform.h"
#include "tests/transport/thread_sanitizer.h"
#include "transport/uartcomm.h"

#include <QMetaMethod>
#include <QtTest>

#include <memory>

using devices = QList<scripted_device>;
Q_DECLARE_METATYPE(devices)

namespace {

QByteArray zero_terminated(const QByteArray &text)
{
    return text + '\0';
}

scripted_device device(const QByteArray &name, const QByteArray &port, bool opens = true)
{
    return {zero_terminated(name), zero_terminated(port), opens};
}

// The methods of the class itself, in their order.
QByteArray methods_of(const QMetaObject &meta)
{
    QByteArray all;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index)
        all += meta.method(index).methodSignature() + ' ';
    return all;
}

} // namespace

// Discovery over scripted devices, and what becomes of a device that is opened.
class tst_UartComm : public QObject
{
    Q_OBJECT

    std::unique_ptr<scripted_platform> play;

private Q_SLOTS:
    void init() { play = std::make_unique<scripted_platform>(); }

    void metaObjectOrder()
    {
        QCOMPARE(methods_of(UartComm::staticMetaObject),
                 QByteArray("DeviceFound(QString,QString) DeviceDisconnect(int,int) debugText(QString) "
                            "Start() DiscoverDevices() "));
        QCOMPARE(methods_of(CommDev::staticMetaObject),
                 QByteArray("RxData(QByteArray) TxData(QByteArray) Disconnect() "));
    }

    void discover_data()
    {
        QTest::addColumn<devices>("present");
        QTest::addColumn<QString>("found"); // "name|port;", the port without its prefix
        const scripted_device good = device("USB (COM12)", "COM12");
        const QString good_text = QStringLiteral("USB (COM12)|COM12;");
        const QByteArray longest(260, 'L'), longer(261, 'L');
        const QByteArray cut_name("Na\0me", 6), cut_port("COM\0X", 6);
        QTest::newRow("none") << devices{} << QString();
        QTest::newRow("own order") << devices{device("Z", "COM1"), device("A", "LPT1")} << "Z|COM1;A|LPT1;";
        QTest::newRow("name twice") << devices{device("P", "COM1"), device("P", "COM2")} << "P|COM1;P|COM2;";
        QTest::newRow("no friendly name") << devices{{std::nullopt, cut_port}, good} << good_text;
        QTest::newRow("empty friendly name") << devices{device("", "COM1")} << "|COM1;";
        QTest::newRow("no key") << devices{device("No key", "COM1", false), good} << good_text;
        QTest::newRow("no port name") << devices{{zero_terminated("N"), std::nullopt}, good} << good_text;
        QTest::newRow("port name of 260 bytes")
            << devices{device("L", longest)} << QStringLiteral("L|%1;").arg(QLatin1String(longest));
        QTest::newRow("port name of 261 bytes") << devices{device("L", longer), good} << good_text;
        QTest::newRow("no terminating zeros") << devices{{QByteArray("R"), QByteArray("C")}} << "R|C;";
        QTest::newRow("261 bytes and no zero")
            << devices{{cut_name, longer}} << QStringLiteral("Na|%1;").arg(QLatin1String(longer));
        QTest::newRow("texts after a zero") << devices{{cut_name, cut_port}} << "Na|COM;";
    }

    void discover()
    {
        QFETCH(devices, present);
        play->devices = present;
        UartComm comm;
        QString heard;
        connect(&comm, &UartComm::DeviceFound, &comm, [&](const QString &name, const QString &port) {
            QVERIFY(port.startsWith(QStringLiteral("\\\\.\\")));
            heard += name + QLatin1Char('|') + port.mid(4) + QLatin1Char(';');
            // Told while the device's key is still open.
            QVERIFY(play->calls().endsWith(QStringLiteral("query_port_name 261")));
        });
        comm.Start();
        comm.DiscoverDevices();
        QTEST(heard, "found");
        QString calls;
        for (int index = 0; index < present.size(); ++index) {
            if (present[index].friendly_name)
                calls += QStringLiteral("open_device_key %1, ").arg(index);
            if (present[index].friendly_name && present[index].opens)
                calls += QStringLiteral("query_port_name 261, close_device_key %1, ").arg(index);
        }
        QCOMPARE(play->calls(), calls + QStringLiteral("destroy_device_list"));
    }

    void noDeviceList()
    {
        play->device_list_opens = false;
        play->devices = {device("Port", "COM1")};
        UartComm().DiscoverDevices();
        QCOMPARE(play->calls(), QString());
    }

    void open()
    {
        UartComm comm;
        {
            const std::unique_ptr<CommDev> opened(comm.Open(QStringLiteral("\\\\.\\COM3")));
            QVERIFY(opened && opened->isRunning() && opened->parent() == nullptr);
            show_end_of_thread(*opened);
        }
        QCOMPARE(play->calls("open_port"), QStringLiteral("open_port \\\\.\\COM3"));
        play = std::make_unique<scripted_platform>();
        play->port_opens = false;
        QTest::ignoreMessage(QtDebugMsg, "ERROR: cannot open serialport: \"COM3\"");
        QVERIFY(comm.Open(QStringLiteral("COM3")) == nullptr);
        // The device was deleted.
        QCOMPARE(play->calls("close_handle"),
                 QStringLiteral("close_handle 0, close_handle 0, close_handle 0"));
    }
};

QTEST_GUILESS_MAIN(tst_UartComm)
#include "tst_uartcomm.moc"
