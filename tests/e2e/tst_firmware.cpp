// A new firmware by each road, held against what arrived at the other end, byte for byte.

#include "tests/e2e/remote_fixture.h"

#include <QRandomGenerator>

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
    bool is_text_logged() { return find<QCheckBox>("checkLogText"_s)->isChecked(); }
    QString path(const char *name) const { return folder.filePath(QLatin1String(name)); }
    QByteArray dumped(const QByteArray &command, int size);

    QTemporaryDir folder;
    QByteArray image;
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
    start({"--quiet"_s});
    play("actionDFU;open DFUDialog;tabWidget=1;pushButton;log ble_evt_dfu_boot;fileEdit="_s +
         path("image.hex"));
    QSignalSpy log_switched(find("checkLogHex"_s), SIGNAL(toggled(bool)));
    click("uploadButton"_s);
    QVERIFY(log_switched.wait(answer_ms));
    QVERIFY(!is_text_logged());
    QVERIFY(log_switched.wait(upload_ms)); // by events: the test's other waits would slow the upload down
    QVERIFY(is_text_logged());
    play("log ble_evt_system_boot;infoText~Loaded:126976/126976 (;picture firmware-uart"_s);
    QVERIFY(dumped("dump", image_size - load_address) == image.mid(load_address));
}

void tst_firmware::over_the_air_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("discovery");
    QTest::addColumn<int>("size"); // bytes
    QTest::newRow("found by its declarations")
        << QStringList{"--quiet"_s} << "pushGATTCharacteristicDiscover"_s << image_size;
    QTest::newRow("buffers run full")
        << QStringList{"--quiet"_s, "--result"_s, "attclient_write_command=0x0182@5"_s}
        << "pushGATTDescriptors"_s << image_size / 8;
}

void tst_firmware::over_the_air()
{
    QFETCH(QStringList, options);
    QFETCH(QString, discovery);
    QFETCH(int, size);
    QFile file(path("ota.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(image.left(size)) == size && file.flush());
    start(options);
    play("scan Updatable;connect Updatable;pushShow;%1;log ble_evt_attclient_procedure_completed"_s.arg(
        discovery));
    play("actionDFU;open DFUDialog;tabWidget=2;spinOTAConnection?0;fileOTAEdit="_s + path("ota.bin"));
    click("pushOTAUpload"_s);
    QCOMPARE(text("labelOTAState"), "Power on memory"_s);
    QVERIFY(!is_text_logged());
    QVERIFY(QSignalSpy(place, SIGNAL(ota_running(bool))).wait(upload_ms));
    QCOMPARE(text("labelOTAState"), "OTA Completed"_s);
    QVERIFY(is_text_logged());
    play("picture firmware-ota"_s);
    QVERIFY(dumped("dump-ota", size) == image.left(size));
}

void tst_firmware::by_usb()
{
    start();
    play("actionDFU;open DFUDialog;tabWidget=0;pushBootUSB"_s);
    QCOMPARE(window->device_text(), "Disconnected"_s);
    play("wire dfu_boot;fileEditUSB="_s + path("image.bin"));
    play("pushButton_2;outputTextUSB~Finished;picture firmware-usb"_s);
    QVERIFY(text("outputTextUSB").contains("2458:FFFE "_s + path("image.bin")));
}

void tst_firmware::read_flash()
{
    start();
    play("actionMagic;actionFlash;open FlashMem"_s);
    play("savefileName=%1;saveaddressEdit=1000;savesizeEdit=1010;readButton"_s.arg(path("read.bin")));
    QTRY_COMPARE_WITH_TIMEOUT(QFileInfo(path("read.bin")).size(), 0x1010, answer_ms);
    QVERIFY(dumped("dump", image_size - load_address).startsWith(read_file(path("read.bin"))));
    play("lineAddress=1f800;pushErase;wire <- 00 01 01 06 3f;picture firmware-flash"_s);
}

QTEST_MAIN(tst_firmware)
#include "tst_firmware.moc"
