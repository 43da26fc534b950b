#include "commandline/commandparser.h"
#include "tests/commandline/definitionfile.h"

#include <QTest>

namespace {

// Every type of parameter, names that hold what separates others, and an identifier that is not 0.
const QByteArray definitions = R"(<api device_name="dev" device_id="18">
  <class name="k">
    <command index="1" name="u8"><params><param type="uint8" name="v"/></params></command>
    <command index="2" name="u16"><params><param type="uint16" name="v"/></params></command>
    <command index="3" name="u32"><params><param type="uint32" name="v"/></params></command>
    <command index="4" name="i8"><params><param type="int8" name="v"/></params></command>
    <command index="5" name="i16"><params><param type="int16" name="v"/></params></command>
    <command index="6" name="i32"><params><param type="int32" name="v"/></params></command>
    <command index="7" name="arr"><params><param type="uint8array" name="v"/></params></command>
    <command index="8" name="str"><params><param type="string" name="v"/></params></command>
    <command index="9" name="hw"><params><param type="hwaddr" name="v"/></params></command>
    <command index="10" name="ip"><params><param type="ipv4" name="v"/></params></command>
    <command index="11" name="odd"><params><param type="strange" name="v"/></params></command>
    <command index="12" name="inv"><params><param type="invalid" name="v"/></params></command>
    <command index="0x10d" name="two"><params><param type="uint8" name="v"/>
      <param type="uint8array" name="w"/></params></command>
    <command index="14" name="a]b"/>
    <command index="15" name="a[b"/>
    <command index="16" name="&lt;i>&amp;"><params><param type="uint8" name="&lt;img>"/></params></command>
  </class>
  <class name="k"><command index="77" name="u8"/><command index="78" name="hidden"/></class>
  <class name="dev"><command index="1" name="cmd"/><command index="2" name="x"/></class>
</api>
)";

const QString bad_number = QStringLiteral("unable parse argument '%1' as %2");

QString signature(const char *name, const char *params = "")
{
    return QStringLiteral("<nobr><b>%1</b>%2</nobr><br>")
        .arg(QString::fromLatin1(name), QString::fromLatin1(params));
}

} // namespace

class TestParseLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void realFile_data();
    void realFile();
    void types_data();
    void types();
    void deviceId_data();
    void deviceId();
    void withoutDefinitions_data();
    void withoutDefinitions();
    void longPayloads();
    void rewritesItsArguments();
    void markupIsShownAsTyped();
};

void TestParseLine::realFile_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *line, const char *hex, const QString &message = QString()) {
        QTest::newRow(line) << QString::fromUtf8(line) << QByteArray::fromHex(hex) << message;
    };
    const QString hello = signature("ble_cmd_system_hello");
    const QString reset = signature("ble_cmd_system_reset", " <b>boot_in_dfu</b>:uint8");
    const QString mode = signature("ble_cmd_gap_set_mode", " <b>discover</b>:uint8 <b>connect</b>:uint8");
    const QString append =
        signature("ble_cmd_system_whitelist_append", " <b>address</b>:hwaddr <b>address_type</b>:uint8");
    const QString save = signature("ble_cmd_flash_ps_save", " <b>key</b>:uint16 <b>value</b>:uint8array");
    const auto exactly = [](int n) { return QStringLiteral("Command requires exactly %1 arguments").arg(n); };

    row("system_hello", "00000001", hello);
    row("ble_cmd_system_hello", "00000001", hello);
    row("ble_system_hello", "");
    row("BLE_cmd_system_hello", "");
    row("ble_cmd_", "");
    row("ble_cmd", "");
    row("ble_cmd_ble_cmd_system_hello", "");
    row(" system_hello", "");
    row("System_hello", "");
    row("system_Hello", "", QStringLiteral("Command 'Hello' not found in class 'system'"));
    row("system_", "");
    row("system", "");
    row("system_ hello", "");
    row("system_hell", "", QStringLiteral("Command 'hell' not found in class 'system'"));
    row("system_hello ", "", hello + exactly(0));
    row("system_reset 0", "0001000000", reset);
    row("ble_cmd_system_reset 1", "0001000001", reset);
    row("system_reset]1", "0001000001", reset);
    row("system_reset \t ]1", "0001000001", reset);
    row("system_reset[1", "", QStringLiteral("Command 'reset[1' not found in class 'system'"));
    row("system_reset", "", reset + exactly(1));
    row("system_reset ", "", reset + bad_number.arg(QString(), QStringLiteral("uint8")));
    row("system_reset x", "", reset + bad_number.arg(QStringLiteral("x"), QStringLiteral("uint8")));
    row("system_reset 0 ", "", reset + exactly(1));
    row("system_reset %2", "", reset + bad_number.arg(QStringLiteral("%2"), QStringLiteral("uint8")));
    row("system_reset\u00a01", "", QStringLiteral(u"Command 'reset\u00a01' not found in class 'system'"));
    row("gap_set_mode 2 2", "000206010202", mode);
    row("gap_set_mode 2 z", "", mode + bad_number.arg(QStringLiteral("z"), QStringLiteral("uint8")));
    row("system_whitelist_append 00:07:80:aa:bb:cc 1", "0007000accbbaa80070001", append);
    row("system_whitelist_append 000780aabbcc 0", "0007000accbbaa80070000", append);
    row("system_whitelist_append 00:07:80:AA:bb:cc 0", "",
        append + bad_number.arg(QStringLiteral("00:07:80:AA:bb:cc"), QStringLiteral("address")));
    row("system_whitelist_append 000780aabb 0", "",
        append + bad_number.arg(QStringLiteral("00:07:80:aa:bb"), QStringLiteral("address")));
    row("flash_ps_save 8000 0a0b",
        "00050103008002"
        "0a0b",
        save);
    row("flash_ps_save 8000",
        "000301030080"
        "00",
        save);
    row("flash_ps_save", "", save + QStringLiteral("Command requires 1 or 2 arguments"));
    row("flash_ps_save 1 2 3", "", save + QStringLiteral("Command requires 1 or 2 arguments"));

    row("00000001", "00000001");
    row("00 00 00 01", "00000001");
    row("00]00 00\t00", "00000000");
    row(" 0001ffffee ", "0001ffffee");
    row("0A00", "");
    row("0", "");
    row("000", "");
    row("00,00,00,00", "");
    row("0x000000", "");
    row("\u00e4", "");
    row("\u4e2d\u6587", "");
    row("0a", "", QStringLiteral("Length of hex string must be at least two bytes"));
    row(" ", "", QStringLiteral("Length of hex string must be at least two bytes"));
    row("0a00", "", QStringLiteral("First byte must be correct device_id ble=0"));
    row("0000", "", QStringLiteral("Packet length invalid must be at least 4"));
    row("000000", "", QStringLiteral("Packet length invalid must be at least 4"));
    row("000100ff", "", QStringLiteral("Packet length field invalid expected:0"));
    row("0001060102ff", "", QStringLiteral("Packet length field invalid expected:2"));
}

void TestParseLine::realFile()
{
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(QStringLiteral(VORSEL_DEFINITION_FILE)), 0);
    QFETCH(QString, line);
    QString message;
    QTEST(parser.parseLine(line, message), "packet");
    QTEST(message, "message");
}

void TestParseLine::types_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<QString>("reason");
    const auto good = [](const char *line, const char *hex) {
        QTest::newRow(line) << QString::fromLatin1(line) << QByteArray::fromHex(hex) << QString();
    };
    const auto bad = [](const char *line, const char *text, const char *type) {
        QTest::newRow(line) << QString::fromLatin1(line) << QByteArray()
                            << bad_number.arg(QString::fromLatin1(text), QString::fromLatin1(type));
    };
    good("k_u8 10", "1201000110");
    good("k_u8 0x1f", "120100011f");
    good("k_u8 0X1F", "120100011f");
    good("k_u8 -1", "12010001ff");
    good("k_u8 1ff", "12010001ff");
    good("k_u16 1234", "120200023412");
    good("k_u32 7fffffff", "12040003ffffff7f");
    good("k_u32 -80000000", "1204000300000080");
    bad("k_u32 80000000", "80000000", "uint32");
    bad("k_u32 ffffffff", "ffffffff", "uint32");
    bad("k_u8 1g", "1g", "uint8");
    bad("k_u8 0x", "0x", "uint8");
    good("k_i8 10", "120100040a");
    good("k_i8 -128", "1201000480");
    good("k_i8 256", "1201000400");
    bad("k_i8 1f", "1f", "int8");
    bad("k_i8 0x10", "0x10", "int8");
    good("k_i16 -2", "12020005feff");
    good("k_i32 2147483647", "12040006ffffff7f");
    good("k_i32 -2147483648", "1204000600000080");
    bad("k_i32 2147483648", "2147483648", "int32");
    good("k_arr", "1201000700");
    good("k_arr ", "1201000700");
    good("k_arr zz", "1201000700");
    good("k_arr abc", "12030007020abc");
    good("k_arr AB:cd", "1203000702abcd");
    good("k_arr 0x12", "120300070200"
                       "12");
    good("k_str 6869", "12030008026869");
    good("k_str ", "1201000800");
    good("k_hw 00:07:80:aa:bb:cc", "12060009ccbbaa800700");
    good("k_hw 0:00780aabbccdd", "12060009ccbbaa800700");
    bad("k_hw ", "", "address");
    bad("k_hw :", "", "address");
    bad("k_hw 00:07", "00:07", "address");
    bad("k_hw 0:0:7", "00:7", "address");
    good("k_odd ff", "1201000bff");
    good("k_two 1", "1202000d0100");
    good("k_two 1 0203", "1204000d01020203");
    bad("k_two x 0203", "x", "uint8");
    good("k_a[b", "1200000f");
    good("dev_cmd_k_u8 1", "1201000101");
    good("dev_x", "12000202");
    good("dev_cmd_dev_cmd", "12000201");

    const auto silent = [](const char *line) {
        QTest::newRow(line) << QString::fromLatin1(line) << QByteArray() << QString();
    };
    silent("k_ip 1.2.3.4");
    silent("k_ip 000780aabbcc");
    silent("k_inv 1");
    // The prefix is taken off, and nothing remains.
    silent("dev_cmd");
    QTest::newRow("k_str") << QStringLiteral("k_str") << QByteArray()
                           << QStringLiteral("Command requires exactly 1 arguments");
    QTest::newRow("k_a]b") << QStringLiteral("k_a]b") << QByteArray()
                           << QStringLiteral("Command 'a' not found in class 'k'");
    QTest::newRow("second class of a name") << QStringLiteral("k_hidden") << QByteArray()
                                            << QStringLiteral("Command 'hidden' not found in class 'k'");
    QTest::newRow("hex, wrong first byte") << QStringLiteral("00000000") << QByteArray()
                                           << QStringLiteral("First byte must be correct device_id dev=18");
    QTest::newRow("hex") << QStringLiteral("1200 ffff") << QByteArray::fromHex("1200ffff") << QString();
}

void TestParseLine::types()
{
    const DefinitionFile file(definitions);
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(file.path()), 0);
    QFETCH(QString, line);
    QString message;
    QTEST(parser.parseLine(line, message), "packet");
    QTEST(message.section(QStringLiteral("<br>"), -1), "reason");
}

void TestParseLine::deviceId_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *name, const char *device, const char *id, const char *line,
                        const char *hex, const char *message) {
        const QByteArray content = QByteArray("<a device_name='") + device + "' device_id='" + id +
                                   "'><class name='c'><command name='x'/></class></a>";
        QTest::newRow(name) << content << QString::fromLatin1(line) << QByteArray::fromHex(hex)
                            << QString::fromLatin1(message);
    };
    const char *x = "<nobr><b>ble_cmd_c_x</b></nobr><br>";
    row("127", "b", "127", "7f000000", "7f000000", "");
    row("128 by name", "b", "128", "c_x", "80000000", x);
    row("128 by hex", "b", "128", "80000000", "", "First byte must be correct device_id b=128");
    row("-128 by hex", "b", "-128", "80000000", "80000000", "");
    row("300 by name", "b", "300", "c_x", "2c000000", x);
    row("300 by hex", "b", "300", "2c000000", "", "First byte must be correct device_id b=300");
    row("prefix of an underscored name", "b_l", "0", "b_l_cmd_c_x", "", "");
    row("no name", "", "0", "_cmd_c_x", "00000000", x);
    row("name with a place marker", "%2", "1", "0000", "", "First byte must be correct device_id %2=1");
}

void TestParseLine::deviceId()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, line);
    const DefinitionFile file(content);
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(file.path()), 0);
    QString message;
    QTEST(parser.parseLine(line, message), "packet");
    QTEST(message, "message");
}

void TestParseLine::withoutDefinitions_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<QString>("message");
    QTest::newRow("name") << QStringLiteral("system_hello") << QByteArray() << QString();
    QTest::newRow("bare prefix") << QStringLiteral("_cmd_system_hello") << QByteArray() << QString();
    QTest::newRow("underscores") << QStringLiteral("___") << QByteArray() << QString();
    QTest::newRow("hex") << QStringLiteral("0000 0001") << QByteArray::fromHex("00000001") << QString();
    QTest::newRow("first byte") << QStringLiteral("01000001") << QByteArray()
                                << QStringLiteral("First byte must be correct device_id =0");
    QTest::newRow("empty") << QString() << QByteArray()
                           << QStringLiteral("Length of hex string must be at least two bytes");
}

void TestParseLine::withoutDefinitions()
{
    QFETCH(QString, line);
    const CommandParser parser;
    QString message;
    QTEST(parser.parseLine(line, message), "packet");
    QTEST(message, "message");
}

void TestParseLine::longPayloads()
{
    const DefinitionFile file(definitions);
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(file.path()), 0);
    QString message;
    const QByteArray packet =
        parser.parseLine(QStringLiteral("k_arr ") + QStringLiteral("a5").repeated(300), message);
    QCOMPARE(packet.size(), 4 + 1 + 300);
    // 301 bytes of payload and 300 of array, each less 256.
    QCOMPARE(packet.left(6), QByteArray::fromHex("122d00072ca5"));

    QCOMPARE(
        parser.parseLine(QStringLiteral("127f0000") + QStringLiteral("00").repeated(127), message).size(),
        131);
    message.clear();
    QCOMPARE(parser.parseLine(QStringLiteral("12800000") + QStringLiteral("00").repeated(128), message),
             QByteArray());
    QCOMPARE(message, QStringLiteral("Packet length field invalid expected:128"));
}

void TestParseLine::rewritesItsArguments()
{
    const ApiParam address{QStringLiteral("a"), 9};
    QString text = QStringLiteral("000780aabbcc");
    QString message;
    QCOMPARE(address.parseArgument(text, message), QByteArray::fromHex("ccbbaa800700"));
    QCOMPARE(text, QStringLiteral("00:07:80:aa:bb:cc"));
    QCOMPARE(message, QString());

    for (const int type : {-1, 0, 10, 11, 4711}) {
        QCOMPARE((ApiParam{QString(), type}).parseArgument(text, message), QByteArray());
        QCOMPARE(message, QString());
    }
}

// The messages are shown as rich text, and a name or a typed word must not bring in an image or hide the
// rest.
void TestParseLine::markupIsShownAsTyped()
{
    const DefinitionFile file(definitions);
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(file.path()), 0);
    QString message;
    parser.parseLine(QStringLiteral("k_<i>& <b>&\""), message);
    QCOMPARE(message, signature("ble_cmd_k_&lt;i&gt;&amp;", " <b>&lt;img&gt;</b>:uint8") +
                          bad_number.arg(QStringLiteral("&lt;b&gt;&amp;\""), QStringLiteral("uint8")));
    message.clear();
    parser.parseLine(QStringLiteral("k_<u>"), message);
    QCOMPARE(message, QStringLiteral("Command '&lt;u&gt;' not found in class 'k'"));
    message.clear();
    parser.parseLine(QStringLiteral("k_a&b"), message);
    QCOMPARE(message, QStringLiteral("Command 'a&b' not found in class 'k'"));
}

QTEST_GUILESS_MAIN(TestParseLine)
#include "tst_parseline.moc"
