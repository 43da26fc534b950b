// From a slot call to the bytes of the frame and the log line of the command.

#include "protocol/serializer.h"
#include "tests/protocol/engine_log.h"

#include <QTest>

#include <functional>

using namespace catalogue;

namespace {

struct Command
{
    const char *title;
    std::function<void(cls_ble &)> call;
    const char *frame;
    const char *line;
};

const bd_addr wire_address{{0xcc, 0xbb, 0xaa, 0x80, 0x07, 0x00}};

// One or more of every class, every wire type and every shape of field list.
const Command commands[] = {
    {"reset", [](cls_ble &b) { b.system.cmd_reset(1); }, "0001000001",
     "ble_cmd_system_reset\t  boot_in_dfu:       1 (0x01)"},
    {"hello", [](cls_ble &b) { b.system.cmd_hello(); }, "00000001", "ble_cmd_system_hello\t"},
    {"reg_write", [](cls_ble &b) { b.system.cmd_reg_write(0x1234, 0xff); }, "000300033412ff",
     "ble_cmd_system_reg_write\t  address:    4660 (0x1234)  value:     255 (0xff)"},
    {"read_memory", [](cls_ble &b) { b.system.cmd_read_memory(0xffffffff, 16); }, "00050007ffffffff10",
     "ble_cmd_system_read_memory\t  address:4294967295 (0xffffffff)  length:      16 (0x10)"},
    {"endpoint_tx", [](cls_ble &b) { b.system.cmd_endpoint_tx(5, QByteArray("\xaa\xbb")); },
     "000400090502aabb", "ble_cmd_system_endpoint_tx\t  endpoint:       5 (0x05)  data: aa bb"},
    {"endpoint_tx, empty", [](cls_ble &b) { b.system.cmd_endpoint_tx(5, QByteArray()); }, "000200090500",
     "ble_cmd_system_endpoint_tx\t  endpoint:       5 (0x05)  data:"},
    {"whitelist_append", [](cls_ble &b) { b.system.cmd_whitelist_append(wire_address, 1); },
     "0007000accbbaa80070001",
     "ble_cmd_system_whitelist_append\t  address: cc bb aa 80 07 00  address_type:       1 (0x01)"},
    {"aes_setkey", [](cls_ble &b) { b.system.cmd_aes_setkey(QByteArray("\x0a\x0b\x0c")); },
     "0004000f030a0b0c", "ble_cmd_system_aes_setkey\t  key: 0a 0b 0c"},
    {"ps_save", [](cls_ble &b) { b.flash.cmd_ps_save(0x8001, QByteArray(1, '\0')); }, "0004010301800100",
     "ble_cmd_flash_ps_save\t  key:   32769 (0x8001)  value: 00"},
    {"attributes send", [](cls_ble &b) { b.attributes.cmd_send(0, 0x0023, QByteArray("x")); },
     "000502050023000178",
     "ble_cmd_attributes_send\t  connection:       0 (0x00)  handle:      35 (0x0023)  value: 78"},
    {"update", [](cls_ble &b) { b.connection.cmd_update(1, 6, 3200, 0, 0xffff); },
     "000903020106 00800c0000ffff",
     "ble_cmd_connection_update\t  connection:       1 (0x01)  interval_min:       6 (0x0006)  interval_max: "
     "   "
     "3200 (0x0c80)  latency:       0 (0x0000)  timeout:   65535 (0xffff)"},
    {"find_by_type_value",
     [](cls_ble &b) { b.attclient.cmd_find_by_type_value(0, 1, 0xffff, 0x2800, QByteArray("\x0f\x18")); },
     "000a0400000100ffff0028020f18",
     "ble_cmd_attclient_find_by_type_value\t  connection:       0 (0x00)  start:       1 (0x0001)  end:   "
     "65535 "
     "(0xffff)  uuid:   10240 (0x2800)  value: 0f 18"},
    {"passkey_entry", [](cls_ble &b) { b.sm.cmd_passkey_entry(0, 123456); }, "000505040040e20100",
     "ble_cmd_sm_passkey_entry\t  handle:       0 (0x00)  passkey:  123456 (0x0001e240)"},
    {"discover", [](cls_ble &b) { b.gap.cmd_discover(2); }, "0001060202",
     "ble_cmd_gap_discover\t  mode:       2 (0x02)"},
    {"connect_direct", [](cls_ble &b) { b.gap.cmd_connect_direct(wire_address, 0, 60, 76, 100, 9); },
     "000f0603ccbbaa800700003c004c0064000900",
     "ble_cmd_gap_connect_direct\t  address: cc bb aa 80 07 00  addr_type:       0 (0x00)  "
     "conn_interval_min:      "
     "60 (0x003c)  conn_interval_max:      76 (0x004c)  timeout:     100 (0x0064)  latency:       9 "
     "(0x0009)"},
    {"set_soft_timer", [](cls_ble &b) { b.hardware.cmd_set_soft_timer(0x8000, 7, 0); },
     "00060701008000000700",
     "ble_cmd_hardware_set_soft_timer\t  time:   32768 (0x00008000)  handle:       7 (0x07)  single_shot:    "
     "   0 "
     "(0x00)"},
    {"analog_comparator_config_irq", [](cls_ble &b) { b.hardware.cmd_analog_comparator_config_irq(1); },
     "0001071201", "ble_cmd_hardware_analog_comparator_config_irq\t  enabled:       1 (0x01)"},
    {"test debug", [](cls_ble &b) { b.test.cmd_debug(3, QByteArray("\xff")); }, "000308050301ff",
     "ble_cmd_test_debug\t  opcode:       3 (0x03)  input: ff"},
    {"dfu reset", [](cls_ble &b) { b.dfu.cmd_reset(0); }, "0001090000",
     "ble_cmd_dfu_reset\t  dfu:       0 (0x00)"},
    {"dfu delay_reset", [](cls_ble &b) { b.dfu.cmd_delay_reset(1, 500); }, "0003090501f401",
     "ble_cmd_dfu_delay_reset\t  dfu:       1 (0x01)  delay_ms:     500 (0x01f4)"},
};

// What a writer was handed.
struct Written
{
    QByteArray fixed;
    QByteArray array;
};

void write_down(void *context, uint8 header_len, const char *header, uint16 array_len, const char *array)
{
    *static_cast<Written *>(context) = {QByteArray(header, header_len), QByteArray(array, array_len)};
}

class SendCatcher : public cls_ble
{
public:
    void send_message(uint8 header_len, const char *header, uint16 array_len, const char *array) override
    {
        write_down(&written, header_len, header, array_len, array);
    }
    Written written;
};

} // namespace

class tst_Commands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void examples_data();
    void examples();
    void everyCommand_data();
    void everyCommand();
    void longArrays_data();
    void longArrays();
    void piecesReachSendMessage();
    void recordsOfAnyType_data();
    void recordsOfAnyType();
};

void tst_Commands::examples_data()
{
    QTest::addColumn<int>("row");
    int row = 0;
    for (const Command &command : commands)
        QTest::newRow(command.title) << row++;
}

void tst_Commands::examples()
{
    QFETCH(int, row);
    cls_ble engine;
    EngineLog log(engine);
    commands[row].call(engine);
    QCOMPARE(log.story(), (QStringList{QStringLiteral("line"), QStringLiteral("sent")}));
    QCOMPARE(log.frames(EngineLog::sent).first().toHex(), hex(commands[row].frame).toHex());
    QCOMPARE(log.lines().first(), QString::fromLatin1(commands[row].line));
}

void tst_Commands::everyCommand_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < 116; ++i)
        QTest::newRow(messages().at(i).title().constData()) << i;
}

void tst_Commands::everyCommand()
{
    QFETCH(int, index);
    const Message &m = messages().at(index);
    for (int seed = 0; seed < 4; ++seed) {
        const Values values = sample(m, seed);
        cls_ble engine;
        EngineLog log(engine);
        call_command(engine, m, values);
        QCOMPARE(log.story(), (QStringList{QStringLiteral("line"), QStringLiteral("sent")}));
        QCOMPARE(log.entries.first().pieces, log_line(m, values));
        QCOMPARE(log.frames(EngineLog::sent).first(), frame(m, values));
    }
}

void tst_Commands::longArrays_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("start"); // header, fixed fields and the array's length byte
    QTest::newRow("255") << 255 << hex("01030200 3412 01 ff");
    QTest::newRow("256") << 256 << hex("01040200 3412 01 00");
    QTest::newRow("300") << 300 << hex("01300200 3412 01 2c");
    QTest::newRow("largest frame") << 2043 << hex("07ff0200 3412 01 fb");
    QTest::newRow("first byte spoiled") << 2044 << hex("08000200 3412 01 fc");
    QTest::newRow("all its bits") << 65535 - 4 << hex("ffff0200 3412 01 fb");
    // The array's length goes to the sender in 16 bits: the bytes above are lost.
    QTest::newRow("longer than 16 bits") << 65536 + 3 << hex("00070200 3412 01 03");
}

void tst_Commands::longArrays()
{
    QFETCH(int, size);
    QFETCH(QByteArray, start);
    cls_ble engine;
    EngineLog log(engine);
    QByteArray value(size, 'v');
    engine.attributes.cmd_write(0x1234, 1, value);
    value.truncate(size & 0xffff);
    QCOMPARE(log.frames(EngineLog::sent).first().left(8).toHex(), start.toHex());
    QVERIFY(log.frames(EngineLog::sent).first().mid(8) == value);
    QCOMPARE(log.entries.first().pieces.size(), 1 + 2 + 1 + size);
}

void tst_Commands::piecesReachSendMessage()
{
    SendCatcher catcher;
    EngineLog log(catcher);
    catcher.system.cmd_endpoint_tx(5, QByteArray("\xaa\xbb"));
    QCOMPARE(catcher.written.fixed.toHex(), QByteArray("000400090502"));
    QCOMPARE(catcher.written.array.toHex(), QByteArray("aabb"));
    QCOMPARE(log.story(), QStringList{QStringLiteral("line")});

    // Pieces of the largest sizes are joined in full.
    cls_ble engine;
    EngineLog engine_log(engine);
    const QByteArray fixed(255, 'f');
    const QByteArray array(65535, 'a');
    engine.send_message(255, fixed.constData(), 65535, array.constData());
    engine.send_message(0, nullptr, 0, nullptr);
    QVERIFY(engine_log.frames(EngineLog::sent) == (QVector<QByteArray>{fixed + array, QByteArray()}));
}

void tst_Commands::recordsOfAnyType_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<uint>("types");
    QTest::addColumn<QVector<qulonglong>>(
        "words"); // 0 .. or, for arrays, the length and then the bytes below
    QTest::addColumn<QByteArray>("fixed");
    QTest::addColumn<QByteArray>("array");
    using Words = QVector<qulonglong>;
    const auto minus = [](qint64 value) { return static_cast<qulonglong>(value); };
    QTest::newRow("no fields") << hex("00000709") << 0x0U << Words{} << hex("00000709") << QByteArray();
    QTest::newRow("uint8 keeps its low bits")
        << hex("00010001") << 0x2U << Words{0x1ff} << hex("00010001ff") << QByteArray();
    QTest::newRow("int8 -1") << hex("00010001") << 0x3U << Words{minus(-1)} << hex("00010001ff")
                             << QByteArray();
    QTest::newRow("uint16 keeps its low bits")
        << hex("00020001") << 0x4U << Words{0x51234} << hex("000200013412") << QByteArray();
    QTest::newRow("int16 -2") << hex("00020001") << 0x5U << Words{minus(-2)} << hex("00020001feff")
                              << QByteArray();
    QTest::newRow("uint32") << hex("00040001") << 0x6U << Words{0x89abcdef} << hex("00040001efcdab89")
                            << QByteArray();
    QTest::newRow("int32 -2") << hex("00040001") << 0x7U << Words{minus(-2)} << hex("00040001feffffff")
                              << QByteArray();
    QTest::newRow("second array code")
        << hex("00010001") << 0x9U << Words{3, 1} << hex("0004000103") << QByteArray("aaa");
    QTest::newRow("long length") << hex("00020001") << 0xbU << Words{0x0102, 1} << hex("010400010201")
                                 << QByteArray(0x0102, 'a');
    QTest::newRow("codes of no field")
        << hex("00030001") << 0x2fedc142U << Words{7, 0x0201, 9} << hex("00030001070102") << QByteArray();
    QTest::newRow("lacking words count as 0")
        << hex("00030001") << 0x42U << Words{} << hex("00030001000000") << QByteArray();
}

void tst_Commands::recordsOfAnyType()
{
    QFETCH(QByteArray, header);
    QFETCH(uint, types);
    QFETCH(QVector<qulonglong>, words);
    QFETCH(QByteArray, fixed);
    QFETCH(QByteArray, array);
    message_record record{{}, types, nullptr};
    std::copy(header.begin(), header.end(), record.header);
    QVector<command_word> arguments;
    for (const qulonglong word : words)
        arguments.append(static_cast<command_word>(word));
    if (!array.isEmpty())
        arguments.last() = reinterpret_cast<command_word>(array.constData());
    Written written;
    serialize_record(&write_down, &written, record, arguments.constData(), std::size_t(arguments.size()));
    QCOMPARE(written.fixed.toHex(), fixed.toHex());
    QCOMPARE(written.array, array);
}

QTEST_GUILESS_MAIN(tst_Commands)
#include "tst_commands.moc"
