// Remote devices on a real port: found, connected, browsed, read, written, and left again. Each step is held
// against the window and against what the module saw and sent.

#include "tests/e2e/remote_fixture.h"

namespace {

const QString everything = QStringLiteral("Everything"); // has all services and pairs
const QString lost = QStringLiteral("Never answers");
const QString leaves = QStringLiteral("Hangs up");

// Handles of the attributes of "Everything".
enum Handle {
    nameValue = 3,
    heartRateService = 18,
    heartRate = 20,
    heartRateConfiguration = 21,
    bodyLocation = 23,
    writeOnly = 31,
    text = 34,
    commanded = 37,
    longValue = 40,
    secret = 47,
};

} // namespace

class tst_devices : public RemoteFixture
{
    Q_OBJECT

private Q_SLOTS:
    void browse();
    void links_that_fail();
    void names_are_plain_text();
    void clear_while_connected();
    void twice_the_font_size();
};

void tst_devices::browse()
{
    start();
    scan_for(everything);
    QTRY_VERIFY_WITH_TIMEOUT(window->widget().findChildren<DeviceListItem *>().size() >= 12, answer_ms);
    picture("devices-1-scanning");
    connect_to(everything);
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("gap_connect_direct"), answer_ms); // its log comes beside the port
    const Panel panel(*window, everything);

    panel.click("pushShow");
    panel.click("pushGATTServiceDiscover");
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_evt_attclient_procedure_completed"), answer_ms);
    QCOMPARE(panel.rows(), (QStringList{
                               QStringLiteral("1|5|1800|Generic Access||"),
                               QStringLiteral("6|6|1801|Generic Attribute||"),
                               QStringLiteral("7|13|180a|Device Information||"),
                               QStringLiteral("14|17|180f|Battery Service||"),
                               QStringLiteral("18|25|180d|Heart Rate||"),
                               QStringLiteral("26|48|000001009d1e4c5b8a573b6c2f41d0e7|||"),
                           }));
    panel.select(heartRateService);
    panel.click("pushGATTCharacteristicDiscover");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("-> 80 09 04 03 00 13 00 14 00 10 02 37 2a"), answer_ms);
    QVERIFY(logged("TX: 00080402001200190002"
                   "0328"));
    panel.select(heartRateService);
    panel.click("pushGATTDescriptors");
    QTRY_VERIFY_WITH_TIMEOUT(
        panel.rows().contains(QStringLiteral("21||2902|Client Characteristic Configuration||")), answer_ms);
    panel.table()->clearSelection();
    panel.click("pushGATTDescriptors"); // all handles
    QTRY_VERIFY_WITH_TIMEOUT(panel.table()->rowCount() == 48, answer_ms);

    panel.select(nameValue);
    panel.click("pushGATTRead");
    const QString name_bytes = QString::fromLatin1(everything.toUtf8().toHex());
    QTRY_COMPARE_WITH_TIMEOUT(panel.raw(nameValue), name_bytes, answer_ms);
    panel.select(longValue);
    panel.click("pushGATTReadLong");
    const QString tail = QStringLiteral("c6c7"); // the last piece stays in the cell
    QTRY_COMPARE_WITH_TIMEOUT(panel.raw(longValue), tail, answer_ms);
    QCOMPARE(window->log().filter(QStringLiteral("atthandle: 40 (0x0028) type: 4 ")).size(), 10);

    panel.write(text, "68656c6c6f", "pushGATTWrite");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("-> 80 05 04 01 00 00 00 22 00"), answer_ms);
    panel.click("pushGATTRead");
    QTRY_COMPARE_WITH_TIMEOUT(panel.raw(text), QStringLiteral("68656c6c6f"), answer_ms);
    panel.write(commanded, "0a0b", "pushGATTWriteCommand");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("-> 00 03 04 06 00 00 00"), answer_ms);
    panel.click("pushGATTRead");
    QTRY_COMPARE_WITH_TIMEOUT(panel.raw(commanded), QStringLiteral("0a0b"), answer_ms);
    panel.select(writeOnly);
    panel.click("pushGATTRead");
    QTRY_VERIFY_WITH_TIMEOUT(logged("The attribute cannot be read"), answer_ms);

    panel.write(heartRateConfiguration, "0100", "pushGATTWrite");
    QTRY_VERIFY_WITH_TIMEOUT(!panel.raw(heartRate).isEmpty(), answer_ms);
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("04 05 00 14 00 01"), answer_ms);
    panel.write(heartRateConfiguration, "0000", "pushGATTWrite");
    // One procedure at a time: both writes have ended.
    QTRY_COMPARE_WITH_TIMEOUT(module.output().count("-> 80 05 04 01 00 00 00 15 00"), 2, answer_ms);

    panel.select(secret);
    panel.click("pushGATTRead");
    QTRY_VERIFY_WITH_TIMEOUT(logged("The attribute requires encryption before it can be read or written."),
                             answer_ms);
    QCOMPARE(panel.raw(secret), QString());
    window->send("sm_set_bondable_mode 1");
    panel.click("pushEncrypt");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("evt sm_bond_status bond:00"), answer_ms);
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("evt connection_status connection:00 flags:03"), answer_ms);
    panel.click("pushGATTRead");
    QTRY_COMPARE_WITH_TIMEOUT(panel.raw(secret), QString::fromLatin1(QByteArray("secret").toHex()),
                              answer_ms);
    picture("devices-2-gatt");

    window->trigger("actionMagic");
    panel.find<QTabWidget>("pages")->setCurrentIndex(1);
    panel.click("pushVersion");
    panel.click("pushFeature");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("connection_version_ind") && on_wire("connection_feature_ind"),
                             answer_ms);
    panel.click("pushUpdate");
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_evt_connection_status"), answer_ms);
    picture("devices-3-development");

    panel.click("pushConnect");
    QTRY_COMPARE_WITH_TIMEOUT(panel.status(), QStringLiteral("Disconnected Reason: 0x216"), answer_ms);
    QVERIFY(!panel.find<QPushButton>("pushEncrypt")->isEnabled());
    QCOMPARE(panel.table()->rowCount(), 48);
    panel.click("pushShow");
    window->click("pushClearDevices");
    QVERIFY(window->widget().findChildren<DeviceListItem *>().isEmpty());
}

void tst_devices::links_that_fail()
{
    start();
    scan_for(lost);
    QTRY_VERIFY_WITH_TIMEOUT(Panel(*window, leaves).exists(), answer_ms);
    window->click("pushStopScan");
    const Panel silent(*window, lost);
    silent.click("pushConnect");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("-> 80 03 03 04 00 3e 02"), answer_ms);
    const Panel impatient(*window, leaves);
    impatient.click("pushConnect");
    QTRY_COMPARE_WITH_TIMEOUT(impatient.status(), QStringLiteral("Disconnected Reason: 0x213"), answer_ms);
}

void tst_devices::names_are_plain_text()
{
    start();
    scan_for(QStringLiteral("<b>bold</b>"));
    const Panel panel(*window, QStringLiteral("<b>bold</b>"));
    const auto *label = panel.find<QLabel>("address");
    QCOMPARE(label->textFormat(), Qt::PlainText);
    QVERIFY(label->fontMetrics().horizontalAdvance(label->text()) <= label->width());
}

void tst_devices::clear_while_connected()
{
    start();
    scan_for(everything);
    connect_to(everything);
    window->click("pushClearDevices");
    window->send("connection_get_status 0"); // reports the link, which makes the panel anew
    QTRY_COMPARE_WITH_TIMEOUT(window->widget().findChildren<DeviceListItem *>().size(), 1, answer_ms);
    const Panel panel(*window, QStringLiteral("(noname)"));
    QCOMPARE(panel.status(), QStringLiteral("Connected handle:0x0"));
    panel.click("pushConnect");
    QTRY_COMPARE_WITH_TIMEOUT(panel.status(), QStringLiteral("Disconnected Reason: 0x216"), answer_ms);
}

void tst_devices::twice_the_font_size()
{
    const QFont usual = QApplication::font();
    QFont large = usual;
    large.setPointSizeF(2 * usual.pointSizeF());
    QApplication::setFont(large);
    start();
    scan_for(everything);
    connect_to(everything);
    const Panel panel(*window, everything);
    panel.click("pushShow");
    panel.click("pushGATTServiceDiscover");
    QTRY_VERIFY_WITH_TIMEOUT(panel.table()->rowCount() == 6, answer_ms);
    for (const char *name : {"address", "rssi", "status"}) {
        const auto *label = panel.find<QLabel>(name);
        QVERIFY2(label->fontMetrics().horizontalAdvance(label->text()) <= label->width(), name);
    }
    picture("devices-4-large-font");
    QApplication::setFont(usual);
}

QTEST_MAIN(tst_devices)
#include "tst_devices.moc"
