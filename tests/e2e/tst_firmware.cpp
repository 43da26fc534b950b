// A new firmware by each road, held against what arrived at the other end, byte for byte.

#include "tests/e2e/remote_fixture.h"

#include <QRandomGenerator>

#include <numeric>

namespace {

constexpr int imageSize = 128 * 1024;
constexpr int loadAddress = 0x1000; // what is below is not sent over the serial link
constexpr int uploadMs = 240000;

QByteArray intelHex(const QByteArray &image)
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

class TestFirmware : public RemoteFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void byUart();
    void overTheAir_data();
    void overTheAir();
    void byUsb();
    void readFlash();

private:
    bool isTextLogged() { return find<QCheckBox>("checkLogText"_s)->isChecked(); }
    QString path(const char *name) const { return folder.filePath(QLatin1String(name)); }
    QByteArray dumped(const QByteArray &command, int size);

    QTemporaryDir folder;
    QByteArray image;
};

void TestFirmware::init()
{
    QRandomGenerator random(1);
    image.resize(imageSize);
    for (char &byte : image)
        byte = char(random.bounded(256));
    QFile file(path("image.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(image) == imageSize);
}

// What the module writes to a file at a control line's word, of that size.
QByteArray TestFirmware::dumped(const QByteArray &command, int size)
{
    const QString file = path("dump.bin");
    QFile::remove(file);
    module.control(command + ' ' + file.toLocal8Bit() + (command == "dump" ? " 1000 1f000" : ""));
    const auto isWritten = [&] { return QFileInfo(file).size() == size; };
    return QTest::qWaitFor(isWritten, answerMs) ? readFile(file) : QByteArray();
}

void TestFirmware::byUart()
{
    QFile file(path("image.hex"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(intelHex(image)) > 0 && file.flush());
    start({"--quiet"_s});
    play("actionDFU;open DFUDialog;tabWidget=1;pushButton;log ble_evt_dfu_boot;fileEdit="_s +
         path("image.hex"));
    QSignalSpy logSwitched(find("checkLogHex"_s), SIGNAL(toggled(bool)));
    click("uploadButton"_s);
    QVERIFY(logSwitched.wait(answerMs));
    QVERIFY(!isTextLogged());
    QVERIFY(logSwitched.wait(uploadMs)); // by events: the test's other waits would slow the upload down
    QVERIFY(isTextLogged());
    play("log ble_evt_system_boot;infoText~Loaded:126976/126976 (;picture firmware-uart"_s);
    QVERIFY(dumped("dump", imageSize - loadAddress) == image.mid(loadAddress));
}

void TestFirmware::overTheAir_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("discovery");
    QTest::addColumn<int>("size"); // bytes
    QTest::newRow("found by its declarations")
        << QStringList{"--quiet"_s} << "pushGATTCharacteristicDiscover"_s << imageSize;
    QTest::newRow("buffers run full")
        << QStringList{"--quiet"_s, "--result"_s, "attclient_write_command=0x0182@5"_s}
        << "pushGATTDescriptors"_s << imageSize / 8;
}

void TestFirmware::overTheAir()
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
    QVERIFY(!isTextLogged());
    QVERIFY(QSignalSpy(place, SIGNAL(ota_running(bool))).wait(uploadMs));
    QCOMPARE(text("labelOTAState"), "OTA Completed"_s);
    QVERIFY(isTextLogged());
    play("picture firmware-ota"_s);
    QVERIFY(dumped("dump-ota", size) == image.left(size));
}

void TestFirmware::byUsb()
{
    start();
    play("actionDFU;open DFUDialog;tabWidget=0;pushBootUSB"_s);
    QCOMPARE(window->deviceText(), "Disconnected"_s);
    play("wire dfu_boot;fileEditUSB="_s + path("image.bin"));
    play("pushButton_2;outputTextUSB~Finished;picture firmware-usb"_s);
    QVERIFY(text("outputTextUSB").contains("2458:FFFE "_s + path("image.bin")));
}

void TestFirmware::readFlash()
{
    start();
    play("actionMagic;actionFlash;open FlashMem"_s);
    play("savefileName=%1;saveaddressEdit=1000;savesizeEdit=1010;readButton"_s.arg(path("read.bin")));
    QTRY_COMPARE_WITH_TIMEOUT(QFileInfo(path("read.bin")).size(), 0x1010, answerMs);
    QVERIFY(dumped("dump", imageSize - loadAddress).startsWith(readFile(path("read.bin"))));
    play("lineAddress=1f800;pushErase;wire <- 00 01 01 06 3f;picture firmware-flash"_s);
}

QTEST_MAIN(TestFirmware)
#include "tst_firmware.moc"
