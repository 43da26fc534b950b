#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QPointer>
#include <QTest>

#include "tests/mainwindow/fake_device.h"
#include "tests/mainwindow/window_fixture.h"

class MainWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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

private:
    start_conditions conditions;
};

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

QTEST_MAIN(MainWindowTest)
#include "tst_bytes.moc"
