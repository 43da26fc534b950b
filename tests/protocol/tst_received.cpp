// From a whole frame to the signal, the log line and the frame's own signal.

#include "protocol/error_table.h"
#include "tests/protocol/engine_log.h"

#include <QTest>

using namespace catalogue;

class tst_Received : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void examples_data();
    void examples();
    void everyMessage_data();
    void everyMessage();
    void everyMessageAtOnce();
    void argumentValues();
    void unknownResultGrowsTable();
};

void tst_Received::examples_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("line");
    const auto row = [](const char *title, const char *frame, const char *line) {
        QTest::newRow(title) << hex(frame) << QString::fromLatin1(line);
    };
    row("no fields", "00000001", "ble_rsp_system_hello\t");
    row("event without fields", "80000005", "ble_evt_system_no_license_key\t");
    row("uint16 and uint8", "000300040040ff",
        "ble_rsp_system_reg_read\t  address:   16384 (0x4000)  value:     255 (0xff)");
    row("address reads backwards", "00060002ccbbaa800700",
        "ble_rsp_system_address_get\t  address:00:07:80:aa:bb:cc");
    row("address of ascending bytes", "00060002050403020100",
        "ble_rsp_system_address_get\t  address:00:01:02:03:04:05");
    row("uint32 wider than its column", "00040716ffffffff",
        "ble_rsp_hardware_get_timestamp\t  value:4294967295 (0xffffffff)");
    row("array runs together",
        "000800070000010003"
        "0a0b0c",
        "ble_rsp_system_read_memory\t  address:   65536 (0x00010000)  data:0a0b0c");
    row("empty array", "0003010400 0000",
        "ble_rsp_flash_ps_load\t  result:0x0000 [<font color=green>'No Error'</font>]  value:");
    row("array as only field", "0003001002dead", "ble_rsp_system_aes_encrypt\t  data:dead");
    row("array behind a bad result", "0005010481 0102aabb",
        "ble_rsp_flash_ps_load\t  result:0x0181 [<font color=red>'Device is in wrong state to receive "
        "command'</font>]"
        "  value:aabb");
    row("result 0", "000201030000",
        "ble_rsp_flash_ps_save\t  result:0x0000 [<font color=green>'No Error'</font>]");
    row("No error that is red", "000201030001",
        "ble_rsp_flash_ps_save\t  result:0x0100 [<font color=red>'No error'</font>]");
    row("result in words", "000202008101",
        "ble_rsp_attributes_write\t  result:0x0181 [<font color=red>'Device is in wrong state to receive "
        "command'</font>]");
    row("apostrophe stays", "000205028b01",
        "ble_rsp_sm_delete_bonding\t  result:0x018b [<font color=red>'Bonding procedure can't be started "
        "because "
        "device has no space left for bond.'</font>]");
    row("unknown result", "00020602ffff",
        "ble_rsp_gap_discover\t  result:0xffff [<font color=red>''</font>]");
    row("rssi -50", "0002030101ce",
        "ble_rsp_connection_get_rssi\t  connection:       1 (0x01)  rssi:     -50 (0xffffffce)");
    row("rssi 127", "00020301027f",
        "ble_rsp_connection_get_rssi\t  connection:       2 (0x02)  rssi:     127 (0x7f)");
    row("rssi -128", "000203010080",
        "ble_rsp_connection_get_rssi\t  connection:       0 (0x00)  rssi:    -128 (0xffffff80)");
    row("int16 -2", "8003070201feff",
        "ble_evt_hardware_adc_result\t  input:       1 (0x01)  value:      -2 (0xfffffffe)");
    row("int16 32767", "8003070201ff7f",
        "ble_evt_hardware_adc_result\t  input:       1 (0x01)  value:   32767 (0x7fff)");
    row("int16 -32768", "80030702010080",
        "ble_evt_hardware_adc_result\t  input:       1 (0x01)  value:  -32768 (0xffff8000)");
    row("scan_response", "800e0600c400ccbbaa80070001ff03020106",
        "ble_evt_gap_scan_response\t  rssi:     -60 (0xffffffc4)  packet_type:       0 (0x00)  "
        "sender:00:07:80:aa:bb:cc  address_type:       1 (0x01)  bond:     255 (0xff)  data:020106");
    row("connection status", "80100300 00 05 060504030201 01 4e00 6400 0000 ff",
        "ble_evt_connection_status\t  connection:       0 (0x00)  flags:       5 (0x05)  "
        "address:01:02:03:04:05:06  address_type:       1 (0x01)  conn_interval:      78 (0x004e)  timeout:  "
        "   "
        "100 (0x0064)  latency:       0 (0x0000)  bonding:     255 (0xff)");
    row("disconnected has words", "80030304001302",
        "ble_evt_connection_disconnected\t  connection:       0 (0x00)  reason:0x0213 [<font color=red>'User "
        "on the "
        "remote device terminated the connection.'</font>]");
    row("script_failure has words", "8004000434128c01",
        "ble_evt_system_script_failure\t  address:    4660 (0x1234)  reason:0x018c [<font color=red>'Module "
        "was "
        "reset due to script stack overflow'</font>]");
    row("protocol_error has words", "800200068401",
        "ble_evt_system_protocol_error\t  reason:0x0184 [<font color=red>'Command was not "
        "recognized'</font>]");
    row("procedure_completed has words", "8005040100 0a04 1000",
        "ble_evt_attclient_procedure_completed\t  connection:       0 (0x00)  result:0x040a [<font "
        "color=red>'No "
        "attribute found within the given attribute handle range.'</font>]  chrhandle:      16 (0x0010)");
    row("bonding_fail is a number", "80030501010603",
        "ble_evt_sm_bonding_fail\t  handle:       1 (0x01)  result:     774 (0x0306)");
    row("uint8 reason is a number", "8008020001020300000001ab",
        "ble_evt_attributes_value\t  connection:       1 (0x01)  reason:       2 (0x02)  handle:       3 "
        "(0x0003)  "
        "offset:       0 (0x0000)  value:ab");
    row("status is a number", "00030012000001",
        "ble_rsp_system_usb_enumeration_status_get\t  result:0x0000 [<font color=green>'No Error'</font>]  "
        "status:    "
        "   1 (0x01)");
    row("dfu boot", "8004090001020304", "ble_evt_dfu_boot\t  version:67305985 (0x04030201)");
    row("test debug", "0004080507 02 0102", "ble_rsp_test_debug\t  opcode:       7 (0x07)  output:0102");
}

void tst_Received::examples()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, line);
    cls_ble engine;
    EngineLog log(engine);
    engine.rx_data(frame);
    QCOMPARE(log.lines(), QStringList(line));
    QCOMPARE(log.frames(EngineLog::data), QVector<QByteArray>{frame});
}

void tst_Received::everyMessage_data()
{
    QTest::addColumn<int>("index");
    for (int i = 116; i < 269; ++i)
        QTest::newRow(messages().at(i).title().constData()) << i;
}

// Signal, line, frame: the receivers of a message run before its line is shown.
void tst_Received::everyMessage()
{
    QFETCH(int, index);
    const Message &m = messages().at(index);
    for (int seed = 0; seed < 4; ++seed) {
        const Values values = sample(m, seed);
        cls_ble engine;
        EngineLog log(engine);
        engine.rx_data(frame(m, values));
        QCOMPARE(log.story(),
                 (QStringList{QString::fromLatin1(m.name), QStringLiteral("line"), QStringLiteral("data")}));
        QCOMPARE(log.entries.at(0).m->title(), m.title().constData());
        QCOMPARE(log.entries.at(0).values, values);
        QCOMPARE(log.entries.at(1).pieces, log_line(m, values));
        QCOMPARE(log.entries.at(2).bytes, frame(m, values));
    }
}

void tst_Received::everyMessageAtOnce()
{
    cls_ble engine;
    EngineLog log(engine);
    QByteArray stream;
    QStringList story;
    for (int i = 116; i < 269; ++i) {
        const Message &m = messages().at(i);
        stream += frame(m, sample(m, i));
        story << QString::fromLatin1(m.name) << QStringLiteral("line") << QStringLiteral("data");
    }
    engine.rx_data(stream);
    QCOMPARE(log.story(), story);
    QByteArray seen;
    for (const QByteArray &data : log.frames(EngineLog::data))
        seen += data;
    QCOMPARE(seen, stream);
}

// As a receiver in the program sees them: typed arguments, signs kept.
void tst_Received::argumentValues()
{
    cls_ble engine;
    int calls = 0;
    connect(
        &engine.gap, &cls_ble_gap::evt_scan_response, this,
        [&](int8 rssi, uint8 packet_type, bd_addr sender, uint8 address_type, uint8 bond, QByteArray data) {
            ++calls;
            QCOMPARE(int(rssi), -60);
            QCOMPARE(int(packet_type), 4);
            QCOMPARE(QByteArray(reinterpret_cast<const char *>(sender.addr), 6), hex("ccbbaa800700"));
            QCOMPARE(int(address_type), 1);
            QCOMPARE(int(bond), 255);
            QCOMPARE(data, hex("020106"));
        });
    connect(&engine.hardware, &cls_ble_hardware::evt_adc_result, this, [&](uint8 input, int16 value) {
        ++calls;
        QCOMPARE(int(input), 255);
        QCOMPARE(int(value), -300);
    });
    connect(&engine.system, &cls_ble_system::rsp_read_memory, this, [&](uint32 address, QByteArray data) {
        ++calls;
        QCOMPARE(address, 0xfedcba98U);
        QVERIFY(data.isEmpty());
    });
    engine.rx_data(hex("800e0600c404ccbbaa80070001ff03020106"));
    engine.rx_data(hex("80030702ffd4fe"));
    engine.rx_data(hex("0005000798badcfe00"));
    QCOMPARE(calls, 3);
}

void tst_Received::unknownResultGrowsTable()
{
    cls_ble engine;
    error_table.clear();
    cls_ble filler;
    QCOMPARE(error_table.size(), 60);
    engine.rx_data(hex("00020602ffff"));
    QCOMPARE(error_table.size(), 61);
    QVERIFY(error_table.contains(0xffff));
    engine.rx_data(hex("00020602ffff"));
    engine.rx_data(hex("800305010123ff")); // bonding_fail looks nothing up
    QCOMPARE(error_table.size(), 61);
}

QTEST_GUILESS_MAIN(tst_Received)
#include "tst_received.moc"
