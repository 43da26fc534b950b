#include "tests/transport/scripted_platform.h"
#include "tests/transport/thread_sanitizer.h"
#include "transport/uartcomm.h"

#include <QMetaMethod>
#include <QtTest>

#include <memory>

Q_DECLARE_METATYPE(QList<scripted_device>)

namespace {

using devices = QList<scripted_device>;

QByteArray zero_terminated(const char *text)
{
    return {text, static_cast<int>(qstrlen(text) + 1)};
}

scripted_device device(const char *name, const char *port)
{
    return {zero_terminated(name), true, zero_terminated(port)};
}

} // namespace

// Discovery over scripted devices, and what becomes of a device that is opened.
class tst_UartComm : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void metaObjectOrder();
    void discover_data();
    void discover();
    void noDeviceList();
    void open();
    void openFails();

private:
    std::unique_ptr<scripted_platform> play;
};

void tst_UartComm::init()
{
    play = std::make_unique<scripted_platform>();
    script = play.get();
}

void tst_UartComm::cleanup()
{
    script = nullptr;
    play.reset();
}

void tst_UartComm::metaObjectOrder()
{
    const QMetaObject &meta = UartComm::staticMetaObject;
    QList<QByteArray> own;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index)
        own << meta.method(index).methodSignature();
    QCOMPARE(own, QList<QByteArray>({"DeviceFound(QString,QString)", "DeviceDisconnect(int,int)",
                                     "debugText(QString)", "Start()", "DiscoverDevices()"}));
}

void tst_UartComm::discover_data()
{
    QTest::addColumn<QList<scripted_device>>("present");
    QTest::addColumn<QStringList>("found"); // "name|port"

    const scripted_device good = device("USB Serial Port (COM12)", "COM12");
    const QString good_text = QStringLiteral("USB Serial Port (COM12)|\\\\.\\COM12");
    const QByteArray longest(260, 'L');
    scripted_device no_key = device("No key", "COM1");
    no_key.opens = false;

    QTest::newRow("none") << devices{} << QStringList{};
    QTest::newRow("one") << devices{good} << QStringList{good_text};
    QTest::newRow("in the system's order")
        << devices{device("Z", "COM1"), device("A", "LPT1")}
        << QStringList{QStringLiteral("Z|\\\\.\\COM1"), QStringLiteral("A|\\\\.\\LPT1")};
    QTest::newRow("one name twice") << devices{device("Port", "COM1"), device("Port", "COM2")}
                                    << QStringList{QStringLiteral("Port|\\\\.\\COM1"),
                                                   QStringLiteral("Port|\\\\.\\COM2")};
    QTest::newRow("without a friendly name")
        << devices{{std::nullopt, true, zero_terminated("COM1")}, good} << QStringList{good_text};
    QTest::newRow("empty friendly name")
        << devices{device("", "COM1")} << QStringList{QStringLiteral("|\\\\.\\COM1")};
    QTest::newRow("without a key") << devices{no_key, good} << QStringList{good_text};
    QTest::newRow("without a port name")
        << devices{{zero_terminated("Nameless"), true, std::nullopt}, good} << QStringList{good_text};
    QTest::newRow("port name of 260 bytes")
        << devices{device("Long", longest.constData())}
        << QStringList{QStringLiteral("Long|\\\\.\\") + QString::fromLatin1(longest)};
    QTest::newRow("port name of 261 bytes")
        << devices{device("Longer", (longest + 'L').constData()), good} << QStringList{good_text};
    QTest::newRow("texts without a terminating zero")
        << devices{{QByteArray("Raw"), true, QByteArray("COM3")}}
        << QStringList{QStringLiteral("Raw|\\\\.\\COM3")};
    QTest::newRow("port name of 261 bytes without a terminating zero")
        << devices{{QByteArray("Raw"), true, longest + 'L'}}
        << QStringList{QStringLiteral("Raw|\\\\.\\") + QString::fromLatin1(longest + 'L')};
    QTest::newRow("texts after a zero") << devices{{QByteArray("Na\0me", 6), true,
                                                    QByteArray("COM\0"
                                                               "4",
                                                               6)}}
                                        << QStringList{QStringLiteral("Na|\\\\.\\COM")};
}

void tst_UartComm::discover()
{
    QFETCH(QList<scripted_device>, present);
    QFETCH(QStringList, found);

    play->devices = present;
    UartComm comm;
    QStringList heard;
    connect(&comm, &UartComm::DeviceFound, &comm, [&](const QString &name, const QString &port) {
        heard << name + QLatin1Char('|') + port;
        // Told while the device's key is still open.
        QVERIFY(!play->calls().constLast().startsWith(QStringLiteral("close_device_key")));
    });
    comm.Start();
    comm.DiscoverDevices();
    QCOMPARE(heard, found);

    QCOMPARE(play->calls(QStringLiteral("destroy_device_list")).size(), 1);
    int opened = 0;
    for (const scripted_device &one : present)
        opened += one.friendly_name && one.opens ? 1 : 0;
    QCOMPARE(play->calls(QStringLiteral("close_device_key")).size(), opened);
    QCOMPARE(play->calls(QStringLiteral("query_port_name 261")).size(), opened);
}

void tst_UartComm::noDeviceList()
{
    play->device_list_opens = false;
    play->devices = {device("Port", "COM1")};
    UartComm comm;
    connect(&comm, &UartComm::DeviceFound, &comm, [] { QFAIL("nothing is to be found"); });
    comm.DiscoverDevices();
    QVERIFY(play->calls().isEmpty());
}

void tst_UartComm::open()
{
    UartComm comm;
    const std::unique_ptr<CommDev> opened(comm.Open(QStringLiteral("\\\\.\\COM3")));
    QVERIFY(opened);
    show_end_of_thread(*opened);
    QVERIFY(opened->isRunning());
    QVERIFY(opened->parent() == nullptr);
    QCOMPARE(play->calls().value(0), QStringLiteral("open_port \\\\.\\COM3"));
}

void tst_UartComm::openFails()
{
    play->port_opens = false;
    QTest::ignoreMessage(QtDebugMsg, "ERROR: cannot open serialport: \"\\\\\\\\.\\\\COM3\"");
    UartComm comm;
    QVERIFY(comm.Open(QStringLiteral("\\\\.\\COM3")) == nullptr);
    QCOMPARE(play->calls(QStringLiteral("close_handle")).size(), 3); // the device was deleted
}

QTEST_GUILESS_MAIN(tst_UartComm)
#include "tst_uartcomm.moc"
