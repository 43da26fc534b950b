#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QTest>
#include <QToolTip>

#include <poll.h>

#include "protocol/types.h"
#include "tests/mainwindow/window_fixture.h"
#include "tests/transport/pseudo_terminal.h"
#include "transport/commdev.h"

namespace {

// A device that only remembers what it was told.
class FakeDevice : public CommDev
{
    Q_OBJECT

public:
    FakeDevice()
        : CommDev(nullptr)
    {
    }

    void SetBaudrate(int baud) override { speeds << baud; }
    void TxData(QByteArray data) override { written += data; }
    void Disconnect() override {}

    void receive(const char *hex) { Q_EMIT RxData(QByteArray::fromHex(hex)); }

    QList<int> speeds;
    QByteArray written;
};

// Whether no byte waits; a closed other end hangs up, which is no byte.
bool is_quiet(const pseudo_terminal &module)
{
    pollfd readable{module.descriptor(), POLLIN, 0};
    return ::poll(&readable, 1, 0) == 0 || (readable.revents & POLLIN) == 0;
}

QString state_of(const MainWindow &window)
{
    const auto *const label = find<QLabel>(window, "labelDev");
    return QStringLiteral("%1 %2 %3 %4")
        .arg(label->text(), label->palette().color(QPalette::Window).name(),
             label->palette().color(QPalette::Button).name(),
             find<QPushButton>(window, "pushConnectDev")->text());
}

const QString attached_state = QStringLiteral("Connected #00ff00 #000000 Detach");
const QString detached_state = QStringLiteral("Disconnected #ff0000 #000000 Attach");

void type_line(const MainWindow &window, const char *line)
{
    auto *const edit = find<QLineEdit>(window, "lineCommand");
    edit->clear();
    QTest::keyClicks(edit, QString::fromLatin1(line));
    QTest::keyClick(edit, Qt::Key_Return);
}

} // namespace

class MainWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void bytes_without_a_device_are_logged_and_dropped();
    void stamps_tell_the_current_time();
    void gates_decide_at_the_moment_of_logging();
    void packet_mode_prefixes_the_length_data();
    void packet_mode_prefixes_the_length();
    void received_frame_is_decoded_above_its_hex();
    void menu_commands_data();
    void menu_commands();
    void resets_give_the_port_up_data();
    void resets_give_the_port_up();
    void speed_changes_at_once_on_an_attached_device();
    void second_device_replaces_the_first();
    void window_leaves_an_attached_device_behind();
    void upload_quiets_the_log();
    void update_over_the_air_quiets_the_log();
    void clear_empties_the_log();
    void ports_are_sorted_by_name();
    void ports_by_bus_and_number();
    void attach_without_a_port_does_nothing();
    void attach_to_a_port_that_cannot_be_opened();
    void first_exchange_over_a_terminal();
    void refresh_keeps_the_device();
    void frames_after_the_window_is_gone();
    void typed_lines_are_judged_data();
    void typed_lines_are_judged();
    void return_without_a_device_is_silent();
    void return_sends_good_lines_only();
    void very_long_line();

private:
    start_conditions conditions;
};

void MainWindowTest::initTestCase()
{
    register_meta_types();
}

void MainWindowTest::bytes_without_a_device_are_logged_and_dropped()
{
    MainWindow window;
    window.txData(QByteArray::fromHex("000000ABff"));
    window.rxData(QByteArray());
    QCOMPARE(log_lines(window), QStringList({QStringLiteral("TX: 000000abff"), QStringLiteral("RX: ")}));
}

// Long enough to pass a whole second, which is where a stamp that is not made anew would go back.
void MainWindowTest::stamps_tell_the_current_time()
{
    MainWindow window;
    const QDateTime end = QDateTime::currentDateTime().addMSecs(1200);
    QDateTime before;
    while (before < end) {
        find<QPushButton>(window, "pushLogClear")->click();
        before = QDateTime::currentDateTime();
        window.debugPrint(QStringLiteral("x"));
        const QDateTime after = QDateTime::currentDateTime();
        find<QPushButton>(window, "pushLogCopy")->click();
        const QString html = QApplication::clipboard()->mimeData()->html();
        const QDateTime stamp =
            QDateTime::fromString(html, QStringLiteral("'<b>'yyyy.MM.dd HH:mm:ss.zzz'</b> x<br><br />'"));
        QVERIFY2(before <= stamp && stamp <= after, qPrintable(html));
    }
}

void MainWindowTest::gates_decide_at_the_moment_of_logging()
{
    MainWindow window;
    auto *const hex = find<QCheckBox>(window, "checkLogHex");
    auto *const text = find<QCheckBox>(window, "checkLogText");
    const auto log_all = [&window](const char *mark) {
        const QString line = QString::fromLatin1(mark);
        window.debugPrintHex(line + QLatin1String(" hex"));
        window.debugPrintText(line + QLatin1String(" text"));
        window.debugPrintStringList({line, QStringLiteral("list")});
        window.debugPrint(line + QLatin1String(" plain"));
        window.debugPrintList({line, QStringLiteral("plain list")});
    };
    hex->click();
    log_all("1");
    text->click();
    log_all("2");
    hex->click();
    text->click();
    log_all("3");
    QCOMPARE(log_lines(window).join(QLatin1Char('|')),
             QStringLiteral("1 text|1 list|1 plain|1 plain list|2 plain|2 plain list|"
                            "3 hex|3 text|3 list|3 plain|3 plain list"));
}

void MainWindowTest::packet_mode_prefixes_the_length_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("prefix");
    QTest::newRow("empty") << 0 << QByteArray("00");
    QTest::newRow("four") << 4 << QByteArray("04");
    QTest::newRow("255") << 255 << QByteArray("ff");
    QTest::newRow("256") << 256 << QByteArray("00");
    QTest::newRow("300") << 300 << QByteArray("2c");
}

void MainWindowTest::packet_mode_prefixes_the_length()
{
    QFETCH(int, size);
    QFETCH(QByteArray, prefix);
    MainWindow window;
    auto *const device = new FakeDevice;
    window.setCommDevice(device);
    const QByteArray frame(size, '\x5a');
    find<QAction>(window, "actionPacket_Flow")->trigger();
    window.txData(frame);
    QCOMPARE(device->written.toHex(), prefix + frame.toHex());
    QCOMPARE(log_lines(window),
             QStringList(QStringLiteral("TX: ") + QString::fromLatin1(prefix + frame.toHex())));
    device->written.clear();
    find<QAction>(window, "actionPacket_Flow")->trigger();
    window.txData(frame);
    QCOMPARE(device->written, frame);
    window.setCommDevice(nullptr);
}

void MainWindowTest::received_frame_is_decoded_above_its_hex()
{
    MainWindow window;
    auto *const device = new FakeDevice;
    window.setCommDevice(device);
    device->receive("00000001");
    device->receive("00060002ccbbaa800700");
    device->receive("00000e00"); // no such class: no decoded line
    QCOMPARE(log_lines(window),
             QStringList({QStringLiteral("Hello"), QStringLiteral("ble_rsp_system_hello\t"),
                          QStringLiteral("RX: 00000001"),
                          QStringLiteral("ble_rsp_system_address_get\t  address:00:07:80:aa:bb:cc"),
                          QStringLiteral("RX: 00060002ccbbaa800700"), QStringLiteral("RX: 00000e00")}));
    window.setCommDevice(nullptr);
}

void MainWindowTest::menu_commands_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("line");
    QTest::newRow("actionInfo") << QByteArray("00000008") << QStringLiteral("ble_cmd_system_get_info\t");
    QTest::newRow("actionGet_Address")
        << QByteArray("00000002") << QStringLiteral("ble_cmd_system_address_get\t");
    QTest::newRow("actionGet_Channel_Quality_Map")
        << QByteArray("00000804") << QStringLiteral("ble_cmd_test_get_channel_map\t");
}

void MainWindowTest::menu_commands()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, line);
    MainWindow window;
    auto *const device = new FakeDevice;
    window.setCommDevice(device);
    window.dev_mode(true);
    find<QAction>(window, QTest::currentDataTag())->trigger();
    QCOMPARE(device->written.toHex(), frame);
    QCOMPARE(log_lines(window), QStringList({line, QStringLiteral("TX: ") + QString::fromLatin1(frame)}));
    window.setCommDevice(nullptr);
}

void MainWindowTest::resets_give_the_port_up_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("reset") << QByteArray("0001000000");
    QTest::newRow("reset into the boot loader") << QByteArray("0001000001");
}

void MainWindowTest::resets_give_the_port_up()
{
    QFETCH(QByteArray, frame);
    MainWindow window;
    const QPointer<FakeDevice> device = new FakeDevice;
    window.setCommDevice(device);
    find<QPushButton>(window, "pushConnectDev")->setText(QStringLiteral("Detach"));
    QCOMPARE(state_of(window), attached_state);
    QByteArray written;
    connect(device, &QObject::destroyed, this, [&written] { written += " deleted"; });
    connect(&window.engine, &cls_ble::tx_data, this, [&] { written += device->written.toHex(); });
    if (frame.endsWith("01"))
        window.USBReset();
    else
        find<QAction>(window, "actionReset")->trigger();
    QCOMPARE(written, frame + " deleted");
    QVERIFY(device.isNull());
    QCOMPARE(state_of(window), detached_state);
    QCOMPARE(log_lines(window).last(), QStringLiteral("TX: ") + QString::fromLatin1(frame));
}

void MainWindowTest::speed_changes_at_once_on_an_attached_device()
{
    MainWindow window;
    auto *const speed = find<QComboBox>(window, "comboBaudrate");
    speed->setCurrentIndex(2);
    auto *const device = new FakeDevice;
    window.setCommDevice(device);
    QCOMPARE(device->speeds, QList<int>());
    speed->setCurrentIndex(6);
    speed->setCurrentIndex(13);
    QCOMPARE(device->speeds, QList<int>({14400, 110}));
    window.setCommDevice(nullptr);
    speed->setCurrentIndex(0);
}

void MainWindowTest::second_device_replaces_the_first()
{
    MainWindow window;
    const QPointer<FakeDevice> first = new FakeDevice;
    window.setCommDevice(first);
    auto *const second = new FakeDevice;
    window.setCommDevice(second);
    QVERIFY(first.isNull());
    window.txData("ab");
    QCOMPARE(second->written, QByteArray("ab"));
    window.setCommDevice(nullptr);
}

void MainWindowTest::window_leaves_an_attached_device_behind()
{
    const QPointer<FakeDevice> device = new FakeDevice;
    {
        MainWindow window;
        window.setCommDevice(device);
    }
    QVERIFY(!device.isNull());
    QCOMPARE(device->written, QByteArray());
    device->receive("00000001");
    delete device;
}

void MainWindowTest::upload_quiets_the_log()
{
    MainWindow window;
    auto *const device = new FakeDevice;
    window.setCommDevice(device);
    device->receive("000209018101"); // even a refused flash_set_address
    device->receive("00000001");
    device->receive("000209038101"); // flash_upload_finish
    // The gate opens before the finish is logged, and closes before the line of the set address.
    QCOMPARE(log_lines(window),
             QStringList({QStringLiteral(
                              "ble_rsp_dfu_flash_upload_finish\t  result:0x0181 [<font color=red>'Device is "
                              "in wrong state to receive command'</font>]"),
                          QStringLiteral("RX: 000209038101")}));
    window.setCommDevice(nullptr);
}

void MainWindowTest::update_over_the_air_quiets_the_log()
{
    MainWindow window;
    const auto checked = [&window] {
        return QPair(find<QCheckBox>(window, "checkLogHex")->isChecked(),
                     find<QCheckBox>(window, "checkLogText")->isChecked());
    };
    find<QCheckBox>(window, "checkLogHex")->setChecked(false);
    window.ota_running(true);
    QCOMPARE(checked(), QPair(false, false));
    window.ota_running(false);
    QCOMPARE(checked(), QPair(true, true));
}

void MainWindowTest::clear_empties_the_log()
{
    MainWindow window;
    window.hello();
    find<QPushButton>(window, "pushLogClear")->click();
    QCOMPARE(log_lines(window), QStringList());
}

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

void MainWindowTest::typed_lines_are_judged_data()
{
    QTest::addColumn<bool>("good");
    QTest::addColumn<QString>("tooltip");
    QTest::newRow("system_reset 0") << true << QString();
    QTest::newRow("00000001") << true << QString();
    QTest::newRow("system_reset x") << false
                                    << QStringLiteral(
                                           "<nobr><b>ble_cmd_system_reset</b> <b>boot_in_dfu</b>:uint8</nobr>"
                                           "<br>unable parse argument 'x' as uint8");
    QTest::newRow("0a") << false << QStringLiteral("Length of hex string must be at least two bytes");
    QTest::newRow("0A00") << false << QString();
    QTest::newRow("system_") << false << QString();
}

void MainWindowTest::typed_lines_are_judged()
{
    QFETCH(bool, good);
    QFETCH(QString, tooltip);
    QTRY_VERIFY(!QToolTip::isVisible()); // one of an earlier line fades slowly
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    auto *const edit = find<QLineEdit>(window, "lineCommand");
    const auto colour = [edit] {
        QSet<QRgb> colours;
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
            colours << edit->palette().brush(group, QPalette::Text).color().rgb();
        return colours;
    };
    edit->setText(QLatin1String(QTest::currentDataTag()).chopped(1));
    QTest::keyClicks(edit, QString::fromLatin1(QTest::currentDataTag()).right(1));
    QCOMPARE(colour(), QSet<QRgb>({good ? qRgb(0, 0, 0) : qRgb(255, 0, 0)}));
    QCOMPARE(QToolTip::isVisible() ? QToolTip::text() : QString(), tooltip);

    edit->setText(QStringLiteral("x"));
    QTest::keyClick(edit, Qt::Key_Backspace);
    QCOMPARE(colour(), QSet<QRgb>({qRgb(0, 0, 0)}));
    QTRY_VERIFY(!QToolTip::isVisible());
}

void MainWindowTest::return_without_a_device_is_silent()
{
    const MainWindow window;
    type_line(window, "system_hello");
    QCOMPARE(log_lines(window), QStringList());
    QCOMPARE(find<QLineEdit>(window, "lineCommand")->text(), QStringLiteral("system_hello"));
}

void MainWindowTest::return_sends_good_lines_only()
{
    MainWindow window;
    auto *const device = new FakeDevice;
    window.setCommDevice(device);
    for (const char *bad : {"", "system_", "system_reset", "000100ff", "nonsense"})
        type_line(window, bad);
    QCOMPARE(device->written, QByteArray());
    type_line(window, "system_reset 0");
    QTest::keyClick(find<QLineEdit>(window, "lineCommand"), Qt::Key_Return);
    QCOMPARE(device->written.toHex(), QByteArray("00010000000001000000"));
    QCOMPARE(log_lines(window),
             QStringList({QStringLiteral("TX: 0001000000"), QStringLiteral("TX: 0001000000")}));
    window.setCommDevice(nullptr);
}

// The box holds far less than a pasted megabyte; what it holds still gets its colour and a tooltip of decent
// size.
void MainWindowTest::very_long_line()
{
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QApplication::clipboard()->setText(QStringLiteral("system_reset ") + QString(1 << 20, QLatin1Char('x')));
    auto *const edit = find<QLineEdit>(window, "lineCommand");
    edit->setFocus();
    QTest::keyClick(edit, Qt::Key_V, Qt::ControlModifier);
    QVERIFY(edit->text().size() > 1000);
    QCOMPARE(edit->palette().color(QPalette::Text), QColor(Qt::red));
    QVERIFY(QToolTip::isVisible());
    QVERIFY(QToolTip::text().startsWith(QLatin1String("<nobr><b>ble_cmd_system_reset</b>")));
    QCOMPARE(QToolTip::text().size(), 1000);
}

QTEST_MAIN(MainWindowTest)
#include "tst_session.moc"
