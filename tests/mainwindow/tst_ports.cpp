#include <QAction>
#include <QComboBox>
#include <QPointer>
#include <QTest>

#include <asm/termbits.h>
#include <poll.h>
#include <sys/ioctl.h>

#include "tests/mainwindow/fake_device.h"
#include "tests/mainwindow/window_fixture.h"
#include "tests/transport/pseudo_terminal.h"

namespace {

// Whether no byte waits; a closed other end hangs up, which is no byte.
bool is_quiet(const pseudo_terminal &module)
{
    pollfd readable{module.descriptor(), POLLIN, 0};
    return ::poll(&readable, 1, 0) == 0 || (readable.revents & POLLIN) == 0;
}

} // namespace

class MainWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ports_are_sorted_by_name();
    void ports_by_bus_and_number();
    void attach_without_a_port_does_nothing();
    void attach_to_a_port_that_cannot_be_opened();
    void attach_sets_the_chosen_speed();
    void first_exchange_over_a_terminal();
    void refresh_keeps_the_device();
    void frames_after_the_window_is_gone();

private:
    start_conditions conditions;
};

void MainWindowTest::ports_are_sorted_by_name()
{
    MainWindow window;
    auto *const ports = find<QComboBox>(window, "comboDev");
    ports->clear();
    const QPair<const char *, const char *> found[] = {
        {"M", "/m"}, {"C <b>x</b>", "/c"}, {"M", "/m2"}, {"A", "/a"}};
    for (const auto &[name, port] : found)
        window.DeviceFound(QString::fromLatin1(name), QString::fromLatin1(port));
    QStringList listed;
    for (int i = 0; i < ports->count(); ++i)
        listed << ports->itemText(i) + ports->itemData(i).toString();
    QCOMPARE(listed.join(QLatin1Char(' ')), QStringLiteral("A/a C <b>x</b>/c M/m M/m2"));
}

void MainWindowTest::ports_by_bus_and_number()
{
    MainWindow window;
    auto *const ports = find<QComboBox>(window, "comboDev");
    ports->clear();
    window.DeviceFound(1, 2, QStringLiteral("%2"), false);
    QCOMPARE(ports->itemText(0), QStringLiteral("%2 bus:1 addr:2"));
    QCOMPARE(ports->itemData(0), QVariant(QStringLiteral("%2")));
    ports->addItem(QStringLiteral("z"), 0x10002u);
    window.DeviceDisconnect(2, 1);
    QCOMPARE(ports->count(), 2);
    window.DeviceDisconnect(1, 2);
    QCOMPARE(ports->count(), 1);
    QCOMPARE(ports->itemText(0), QStringLiteral("%2 bus:1 addr:2"));
}

void MainWindowTest::attach_without_a_port_does_nothing()
{
    MainWindow window;
    const QPointer<FakeDevice> device = new FakeDevice;
    window.setCommDevice(device);
    find<QComboBox>(window, "comboDev")->clear();
    find<QPushButton>(window, "pushConnectDev")->setText(QStringLiteral("Detach"));
    find<QPushButton>(window, "pushConnectDev")->click();
    QCOMPARE(state_of(window), attached_state); // with an empty list there is no way to detach
    QVERIFY(!device.isNull());
    window.setCommDevice(nullptr);
}

void MainWindowTest::attach_to_a_port_that_cannot_be_opened()
{
    MainWindow window;
    find<QComboBox>(window, "comboDev")->clear();
    window.DeviceFound(QStringLiteral("gone"), QStringLiteral("/nonexistent/port"));
    find<QPushButton>(window, "pushConnectDev")->click();
    QCOMPARE(find<QPushButton>(window, "pushConnectDev")->text(), QStringLiteral("Attach"));
    QCOMPARE(find<QLabel>(window, "labelDev")->text(), QStringLiteral("Disconnected"));
    QCOMPARE(log_lines(window), QStringList());
}

void MainWindowTest::attach_sets_the_chosen_speed()
{
    const pseudo_terminal module;
    const auto speed = [&module] {
        termios2 line{};
        return ::ioctl(module.descriptor(), TCGETS2, &line) == 0 ? line.c_ospeed : 0;
    };
    MainWindow window;
    find<QComboBox>(window, "comboDev")->clear();
    window.DeviceFound(QStringLiteral("Module"), module.path());
    find<QComboBox>(window, "comboBaudrate")->setCurrentText(QStringLiteral("14400"));
    find<QPushButton>(window, "pushConnectDev")->click();
    QCOMPARE(speed(), 14400u);
    find<QComboBox>(window, "comboBaudrate")->setCurrentText(QStringLiteral("110"));
    QCOMPARE(speed(), 110u);
    find<QPushButton>(window, "pushConnectDev")->click();
}

void MainWindowTest::first_exchange_over_a_terminal()
{
    pseudo_terminal module;
    MainWindow window;
    find<QComboBox>(window, "comboDev")->clear();
    window.DeviceFound(QStringLiteral("Module"), module.path());
    find<QPushButton>(window, "pushConnectDev")->click();
    QCOMPARE(state_of(window), attached_state);
    QVERIFY(is_quiet(module));

    type_line(window, "system_hello");
    QCOMPARE(module.receive(4).toHex(), QByteArray("00000001"));
    QVERIFY(module.send(QByteArray::fromHex("00000001")));
    QTRY_COMPARE(log_lines(window),
                 QStringList({QStringLiteral("TX: 00000001"), QStringLiteral("Hello"),
                              QStringLiteral("ble_rsp_system_hello\t"), QStringLiteral("RX: 00000001")}));

    find<QPushButton>(window, "pushConnectDev")->click();
    QCOMPARE(state_of(window), detached_state);
    QVERIFY(is_quiet(module));
    find<QPushButton>(window, "pushConnectDev")->click();
    QCOMPARE(state_of(window), attached_state);
    find<QAction>(window, "actionReset")->trigger();
    QCOMPARE(module.receive(5).toHex(), QByteArray("0001000000"));
    QCOMPARE(state_of(window), detached_state);
}

void MainWindowTest::refresh_keeps_the_device()
{
    pseudo_terminal module;
    MainWindow window;
    window.DeviceFound(QStringLiteral("Module"), module.path());
    auto *const ports = find<QComboBox>(window, "comboDev");
    ports->setCurrentIndex(ports->findData(module.path()));
    find<QPushButton>(window, "pushConnectDev")->click();
    find<QPushButton>(window, "pushDevRefresh")->click();
    QCOMPARE(ports->findData(module.path()), -1);
    QCOMPARE(state_of(window), attached_state);
    window.txData("ab");
    QCOMPARE(module.receive(2).toHex(), QByteArray("6162"));
    window.DeviceFound(QStringLiteral("Other"), QStringLiteral("/nonexistent/port"));
    ports->setCurrentIndex(0);
    find<QPushButton>(window, "pushConnectDev")->click();
    QCOMPARE(state_of(window), detached_state);
}

void MainWindowTest::frames_after_the_window_is_gone()
{
    pseudo_terminal module;
    QPointer<CommDev> device;
    {
        MainWindow window;
        find<QComboBox>(window, "comboDev")->clear();
        window.DeviceFound(QStringLiteral("Module"), module.path());
        find<QPushButton>(window, "pushConnectDev")->click();
        device = window.device;
        QVERIFY(module.send(QByteArray::fromHex("00000001")));
        QTRY_COMPARE(log_lines(window).size(), 3);
    }
    QVERIFY(!device.isNull());
    QVERIFY(device->isRunning());
    int frames = 0;
    connect(device, &CommDev::RxData, this, [&frames] { ++frames; });
    QVERIFY(module.send(QByteArray::fromHex("00000001")));
    QTRY_COMPARE(frames, 1);
    QVERIFY(is_quiet(module));
    delete device;
}

QTEST_MAIN(MainWindowTest)
#include "tst_ports.moc"
