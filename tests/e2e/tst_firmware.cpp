// A new firmware by each road, held against what arrived at the other end, byte for byte.

#include "firmware/dfudialog.h"
#include "firmware/flashmem.h"
#include "tests/e2e/remote_fixture.h"

#include <QCheckBox>
#include <QPlainTextEdit>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTabWidget>

#include <numeric>

namespace {

constexpr int image_size = 128 * 1024;
constexpr int load_address = 0x1000; // what is below is not sent over the serial link
constexpr int upload_ms = 240000;

QByteArray intel_hex(const QByteArray &image)
{
    QByteArray text;
    const auto record = [&text](int address, int type, const QByteArray &data) {
        QByteArray bytes;
        for (const int each : {data.size(), address >> 8, address, type})
            bytes += char(each);
        bytes += data;
        bytes += char(-std::accumulate(bytes.cbegin(), bytes.cend(), 0));
        text += ':' + bytes.toHex().toUpper() + '\n';
    };
    for (int at = 0; at < image.size(); at += 16) {
        if (at % 0x10000 == 0)
            record(0, 4, QByteArray(1, '\0') + char(at / 0x10000)); // the upper half of what follows
        record(at % 0x10000, 0, image.mid(at, 16));
    }
    record(0, 1, QByteArray());
    return text;
}

} // namespace

class tst_firmware : public RemoteFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void by_uart();
    void over_the_air_data();
    void over_the_air();
    void by_usb();
    void read_flash();

private:
    DFUDialog *open_dialog(const char *page);
    template <typename Widget>
    Widget *find(const char *name) const
    {
        return dialog->findChild<Widget *>(QLatin1String(name));
    }
    void click(const char *button) const { QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton); }
    void type(const char *edit, const QString &text) const
    {
        find<QLineEdit>(edit)->selectAll();
        QTest::keyClicks(find<QLineEdit>(edit), text);
    }
    QString path(const char *name) const { return folder.filePath(QLatin1String(name)); }
    QByteArray dumped(const QByteArray &command, int size);

    QTemporaryDir folder;
    QByteArray image;
    QDialog *dialog = nullptr;
};

void tst_firmware::init()
{
    QRandomGenerator random(1);
    image.resize(image_size);
    for (char &byte : image)
        byte = char(random.bounded(256));
    QFile file(path("image.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(image) == image_size);
}

DFUDialog *tst_firmware::open_dialog(const char *page)
{
    window->trigger("actionDFU");
    auto *const found = window->widget().findChild<DFUDialog *>();
    dialog = found;
    auto *const pages = found->findChild<QTabWidget *>();
    pages->setCurrentWidget(found->findChild<QWidget *>(QLatin1String(page)));
    return QTest::qWaitForWindowExposed(found) ? found : nullptr;
}

// What the module writes to a file at a control line's word, of that size.
QByteArray tst_firmware::dumped(const QByteArray &command, int size)
{
    const QString file = path("dump.bin");
    QFile::remove(file);
    module.control(command + ' ' + file.toLocal8Bit() + (command == "dump" ? " 1000 1f000" : ""));
    const auto is_written = [&] { return QFileInfo(file).size() == size; };
    return QTest::qWaitFor(is_written, answer_ms) ? read_file(file) : QByteArray();
}

void tst_firmware::by_uart()
{
    QFile file(path("image.hex"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(intel_hex(image)) > 0 && file.flush());
    start({QStringLiteral("--quiet")});
    QVERIFY(open_dialog("tab_2"));
    click("pushButton");
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_evt_dfu_boot"), answer_ms);
    type("fileEdit", path("image.hex"));
    QSignalSpy log_switched(window->find<QCheckBox>("checkLogHex"), &QCheckBox::toggled);
    click("uploadButton");
    QVERIFY(log_switched.wait(answer_ms));
    QVERIFY(!window->find<QCheckBox>("checkLogText")->isChecked());
    QVERIFY(log_switched.wait(upload_ms)); // by events: the test's other waits would slow the upload down
    QVERIFY(window->find<QCheckBox>("checkLogText")->isChecked());
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_evt_system_boot"), answer_ms);
    QVERIFY(find<QLabel>("infoText")->text().startsWith(QStringLiteral("Loaded:126976/126976 (")));
    picture(dialog, "firmware-uart");
    QVERIFY(dumped("dump", image_size - load_address) == image.mid(load_address));
}

void tst_firmware::over_the_air_data()
{
    QTest::addColumn<bool>("by_declaration");
    QTest::addColumn<QStringList>("options");
    const QStringList quiet = {QStringLiteral("--quiet")};
    QTest::newRow("found by its declarations") << true << quiet;
    QTest::newRow("buffers run full")
        << false
        << quiet +
               QStringList{QStringLiteral("--result"), QStringLiteral("attclient_write_command=0x0182@5")};
}

void tst_firmware::over_the_air()
{
    QFETCH(bool, by_declaration);
    QFETCH(QStringList, options);
    start(options);
    const QString name = QStringLiteral("Updatable");
    scan_for(name);
    connect_to(name);
    const Panel panel(*window, name);
    panel.click("pushShow");
    panel.click(by_declaration ? "pushGATTCharacteristicDiscover" : "pushGATTDescriptors");
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_evt_attclient_procedure_completed"), answer_ms);
    QVERIFY(open_dialog("tabOTA"));
    QCOMPARE(find<QSpinBox>("spinOTAConnection")->value(), 0);
    type("fileOTAEdit", path("image.bin"));
    click("pushOTAUpload");
    QCOMPARE(find<QLabel>("labelOTAState")->text(), QStringLiteral("Power on memory"));
    QVERIFY(!window->find<QCheckBox>("checkLogText")->isChecked());
    QVERIFY(QSignalSpy(dialog, SIGNAL(ota_running(bool))).wait(upload_ms));
    QCOMPARE(find<QLabel>("labelOTAState")->text(), QStringLiteral("OTA Completed"));
    QVERIFY(window->find<QCheckBox>("checkLogText")->isChecked());
    picture(dialog, "firmware-ota");
    QVERIFY(dumped("dump-ota", image_size) == image);
}

void tst_firmware::by_usb()
{
    start();
    QVERIFY(open_dialog("usbTab"));
    click("pushBootUSB");
    QCOMPARE(window->device_text(), QStringLiteral("Disconnected"));
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("dfu_boot"), answer_ms);
    type("fileEditUSB", path("image.bin"));
    click("pushButton_2");
    auto *const output = find<QPlainTextEdit>("outputTextUSB");
    QTRY_VERIFY_WITH_TIMEOUT(output->toPlainText().contains(QStringLiteral("Finished")), answer_ms);
    QVERIFY(output->toPlainText().contains(QStringLiteral("2458:FFFE ") + path("image.bin")));
    picture(dialog, "firmware-usb");
}

void tst_firmware::read_flash()
{
    start();
    window->trigger("actionMagic");
    window->trigger("actionFlash");
    dialog = window->widget().findChild<FlashMem *>();
    QVERIFY(QTest::qWaitForWindowExposed(dialog));
    type("savefileName", path("read.bin"));
    type("saveaddressEdit", QStringLiteral("1000"));
    type("savesizeEdit", QStringLiteral("1010"));
    click("readButton");
    QTRY_COMPARE_WITH_TIMEOUT(QFileInfo(path("read.bin")).size(), 0x1010, answer_ms);
    QVERIFY(dumped("dump", image_size - load_address).startsWith(read_file(path("read.bin"))));
    type("lineAddress", QStringLiteral("1f800"));
    click("pushErase");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("<- 00 01 01 06 3f"), answer_ms);
    picture(dialog, "firmware-flash");
}

QTEST_MAIN(tst_firmware)
#include "tst_firmware.moc"
