#include "commandline/commandparser.h"
#include "tests/commandline/definitionfile.h"

#include <QSignalSpy>
#include <QTest>

namespace {

const QByteArray definitions = R"(<?xml version="1.0"?>
<anything device_name="dev" device_id="12">
  <group>
    <class name="gap">
      <event index="0x10" script="7" name="seen">
        <params><param type="uint8" name="first"/></params>
        <params><param type="uint8" name="ignored"/></params>
      </event>
      <more><command index="010" script="3" name="set_mode">
        <returns><param type="uint16" name="result"/></returns>
        <deeper>
          <params>
            <param type="bd_addr" name="b"/><param type="hwaddr" name="h"/>
            <wrap><param type="ipv4" name="i"/></wrap>
            <param type="nonsense" name="n"/><param name="t"/><param type="UINT16" name="c"/>
          </params>
        </deeper>
        <params><param name="ignored"/></params>
      </command></more>
      <command name="plain" index="junk"/>
      <defines>
        <define name="a"/><define name="b" value="0x10"/><define name="c" value=""/>
        <define name="hex" value="1fX"/><define name="junk" value="ten"/><define name="d" value="010"/>
      </defines>
      <defines><define name="foo"/><define name="a" value="5"/></defines>
      <enums>
        <enum name="foo" value="9"/><enum name="Bar"/>
        <enum name="top" value="2147483647"/><enum name="wrapped"/><enum name="minus" value="-3"/>
      </enums>
    </class>
  </group>
  <class>
    <command index="255" name="x"><params><param type="string" name="s"/></params></command>
    <Command name="not_this"/>
  </class>
</anything>
)";

QStringList names(const QList<ApiParam> &params)
{
    QStringList list;
    for (const ApiParam &param : params)
        list += QStringLiteral("%1:%2").arg(param.name).arg(param.type);
    return list;
}

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(u' ', Qt::SkipEmptyParts);
}

} // namespace

class TestDefinitions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void model();
    void constants();
    void rootAttributes_data();
    void rootAttributes();
    void typeTable();
    void failures_data();
    void failures();
    void missingFile();
    void failureKeepsModel();
    void nestedElementsAreFoundForEachOwner();
    void encodings_data();
    void encodings();
    void realFile();
    void realSignatures_data();
    void realSignatures();
};

void TestDefinitions::model()
{
    const DefinitionFile file(definitions);
    CommandParser parser;
    QCOMPARE(parser.device_id, 0);
    QCOMPARE(parser.loadDefinitions(file.path()), 0);
    QCOMPARE(parser.device_name, QStringLiteral("dev"));
    QCOMPARE(parser.device_id, 12);
    QCOMPARE(parser.document.documentElement().tagName(), QStringLiteral("anything"));
    QCOMPARE(parser.classes.size(), 2);

    const ApiClass &gap = parser.classes.at(0);
    QCOMPARE(gap.name, QStringLiteral("gap"));
    QCOMPARE(gap.events.size(), 1);
    QCOMPARE(gap.events.at(0).name, QStringLiteral("gap_seen"));
    QCOMPARE(gap.events.at(0).full_name, QString());
    QCOMPARE(gap.events.at(0).index, 16);
    QCOMPARE(gap.events.at(0).script, 7);
    QCOMPARE(names(gap.events.at(0).params), words("first:1"));

    QCOMPARE(gap.commands.size(), 2);
    QCOMPARE(gap.responses.size(), 2);
    const ApiMessage &command = gap.commands.at(0);
    QCOMPARE(command.name, QStringLiteral("set_mode"));
    QCOMPARE(command.full_name, QStringLiteral("ble_cmd_gap_set_mode"));
    QCOMPARE(command.index, 8);
    QCOMPARE(command.script, 3);
    QCOMPARE(names(command.params), words("b:9 h:9 i:10 n:1 t:1 c:1"));
    const ApiMessage &response = gap.responses.at(0);
    QCOMPARE(response.full_name, QStringLiteral("ble_cmd_gap_set_mode"));
    QCOMPARE(response.index, 8);
    QCOMPARE(names(response.params), words("result:3"));
    QCOMPARE(gap.commands.at(1).index, 0);
    QVERIFY(gap.responses.at(1).params.isEmpty());

    const ApiClass &unnamed = parser.classes.at(1);
    QCOMPARE(unnamed.name, QString());
    QCOMPARE(unnamed.commands.size(), 1);
    QCOMPARE(unnamed.commands.at(0).class_index, 1);
    QCOMPARE(unnamed.commands.at(0).full_name, QStringLiteral("ble_cmd__x"));
    QCOMPARE(names(unnamed.commands.at(0).params), words("s:8"));
}

void TestDefinitions::constants()
{
    const DefinitionFile file(definitions);
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(file.path()), 0);
    QStringList found;
    for (auto it = parser.constants.cbegin(); it != parser.constants.cend(); ++it)
        found += QStringLiteral("%1=%2").arg(it.key()).arg(it.value());
    QCOMPARE(found, words("GAP_A=5 GAP_B=16 GAP_C=17 GAP_D=10 GAP_FOO=0 GAP_HEX=0 GAP_JUNK=0 "
                          "gap_Bar=10 gap_foo=9 gap_minus=-3 gap_top=2147483647 gap_wrapped=-2147483648"));
}

void TestDefinitions::rootAttributes_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("id");
    QTest::newRow("none") << QByteArray("<api/>") << QString() << 0;
    QTest::newRow("decimal") << QByteArray("<api device_name='q' device_id='010'/>") << QStringLiteral("q")
                             << 10;
    QTest::newRow("hexadecimal is no number") << QByteArray("<api device_id='0x10'/>") << QString() << 0;
    QTest::newRow("negative") << QByteArray("<api device_id='-1'/>") << QString() << -1;
    QTest::newRow("too large") << QByteArray("<api device_id='4294967296'/>") << QString() << 0;
    QTest::newRow("a small entity") << QByteArray("<!DOCTYPE a [<!ENTITY n 'ble'>]><a device_name='&n;2'/>")
                                    << QStringLiteral("ble2") << 0;
    QTest::newRow("page of another shape")
        << QByteArray("<html><body class='x'><class/></body></html>") << QString() << 0;
}

void TestDefinitions::rootAttributes()
{
    QFETCH(QByteArray, content);
    const DefinitionFile file(content);
    CommandParser parser;
    QSignalSpy spy(&parser, &CommandParser::log_message);
    QCOMPARE(parser.loadDefinitions(file.path()), 0);
    QTEST(parser.device_name, "name");
    QTEST(parser.device_id, "id");
    QCOMPARE(spy.count(), 0);
}

void TestDefinitions::typeTable()
{
    static const struct
    {
        const char *name;
        int code;
        const char *shown;
        int width;
    } rows[] = {{"invalid", 0, "invalid", 0}, {"uint8", 1, "uint8", 1},
                {"int8", 2, "int8", 1},       {"uint16", 3, "uint16", 2},
                {"int16", 4, "int16", 2},     {"uint32", 5, "uint32", 4},
                {"int32", 6, "int32", 4},     {"uint8array", 7, "uint8array", 0},
                {"string", 8, "string", 0},   {"hwaddr", 9, "hwaddr", 6},
                {"bd_addr", 9, "hwaddr", 6},  {"ipv4", 10, "bd_addr", 6},
                {"float", 1, "uint8", 1},     {"", 1, "uint8", 1}};
    for (const auto &row : rows) {
        const int code = api_type_code(QString::fromLatin1(row.name));
        QCOMPARE(code, row.code);
        QCOMPARE(api_type_row(code).name, row.shown);
        QCOMPARE(api_type_row(code).width, row.width);
    }
    QCOMPARE(api_type_row(11).name, "ipv4");
    QCOMPARE(api_type_row(-1).name, "");
    QCOMPARE(api_type_row(12).name, "");
    QCOMPARE(api_type_row(4711).name, "");
}

void TestDefinitions::failures_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("device_name=ble\n");
    QTest::newRow("unclosed") << QByteArray("<api><class name='x'>");
    QTest::newRow("crossed") << QByteArray("<api><a><b></a></b></api>");
    QTest::newRow("two roots") << QByteArray("<api/><api/>");
    QTest::newRow("attribute twice") << QByteArray("<api a='1' a='2'/>");
    QTest::newRow("unquoted attribute") << QByteArray("<api device_id=1/>");
    QTest::newRow("unknown entity") << QByteArray("<api device_name='&nope;'/>");
    QTest::newRow("bytes that are no UTF-8") << QByteArray("<api device_name='\xff\xfe'/>");
    QTest::newRow("unknown encoding") << QByteArray("<?xml version='1.0' encoding='nope'?><api/>");
    QTest::newRow("NUL bytes") << QByteArray("<api>\0\0</api>", 13);
}

void TestDefinitions::failures()
{
    QFETCH(QByteArray, content);
    const DefinitionFile file(content);
    CommandParser parser;
    QSignalSpy spy(&parser, &CommandParser::log_message);
    QCOMPARE(parser.loadDefinitions(file.path()), -1);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toString(), file.path() + QStringLiteral(" file read failed"));
    QVERIFY(parser.classes.isEmpty());
    QVERIFY(parser.device_name.isEmpty());
}

void TestDefinitions::missingFile()
{
    CommandParser parser;
    QSignalSpy spy(&parser, &CommandParser::log_message);
    QCOMPARE(parser.loadDefinitions(QStringLiteral("/nowhere/%2 %3.xml")), -1);
    QCOMPARE(parser.loadDefinitions(QDir::tempPath()), -1);
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(0).at(0).toString(), QStringLiteral("/nowhere/%2 %3.xml file open failed 5"));
    QCOMPARE(spy.at(1).at(0).toString(), QDir::tempPath() + QStringLiteral(" file open failed 5"));
}

void TestDefinitions::failureKeepsModel()
{
    const DefinitionFile good(definitions);
    const DefinitionFile bad("<api device_name='other'><class>");
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(bad.path()), -1);
    QCOMPARE(parser.loadDefinitions(good.path()), 0);
    QCOMPARE(parser.loadDefinitions(bad.path()), -1);
    QCOMPARE(parser.device_name, QStringLiteral("dev"));
    QCOMPARE(parser.classes.size(), 2);
    QCOMPARE(parser.document.documentElement().tagName(), QStringLiteral("anything"));
}

void TestDefinitions::nestedElementsAreFoundForEachOwner()
{
    const DefinitionFile file("<a><class name='o'><command name='c1'><command name='c2'>"
                              "<params><param name='p'/></params></command></command>"
                              "<class name='i'><command name='c3'/></class></class></a>");
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(file.path()), 0);
    QCOMPARE(parser.classes.size(), 2);
    QStringList found;
    for (const ApiClass &owner : qAsConst(parser.classes)) {
        for (const ApiMessage &command : owner.commands)
            found += QStringLiteral("%1/%2/%3")
                         .arg(command.full_name)
                         .arg(command.class_index)
                         .arg(command.params.size());
    }
    QCOMPARE(found, words("ble_cmd_o_c1/0/1 ble_cmd_o_c2/0/1 ble_cmd_o_c3/0/0 ble_cmd_i_c3/1/0"));
}

void TestDefinitions::encodings_data()
{
    QTest::addColumn<QByteArray>("content");
    const QByteArray utf8 = "<api device_name='d\xc3\xa4'/>";
    QTest::newRow("UTF-8") << utf8;
    QTest::newRow("UTF-8 with a mark") << "\xef\xbb\xbf" + utf8;
    QTest::newRow("carriage returns")
        << QByteArray("<?xml version='1.0'?>\r\n<api\r\ndevice_name='d\xc3\xa4'/>\r\n");
    QTest::newRow("Latin 1") << QByteArray(
        "<?xml version='1.0' encoding='ISO-8859-1'?><api device_name='d\xe4'/>");
    QByteArray wide("\xff\xfe");
    for (const QChar c :
         QStringLiteral(u"<?xml version='1.0' encoding='UTF-16'?><api device_name='d\u00e4'/>")) {
        wide += char(c.cell());
        wide += char(c.row());
    }
    QTest::newRow("UTF-16") << wide;
}

void TestDefinitions::encodings()
{
    QFETCH(QByteArray, content);
    const DefinitionFile file(content);
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(file.path()), 0);
    QCOMPARE(parser.device_name, QStringLiteral(u"d\u00e4"));
}

void TestDefinitions::realFile()
{
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(QStringLiteral(VORSEL_DEFINITION_FILE)), 0);
    QCOMPARE(parser.device_name, QStringLiteral("ble"));
    QCOMPARE(parser.device_id, 0);
    QStringList found;
    for (const ApiClass &c : qAsConst(parser.classes)) {
        QCOMPARE(c.responses.size(), c.commands.size());
        found += QStringLiteral("%1/%2/%3").arg(c.name).arg(c.commands.size()).arg(c.events.size());
    }
    QCOMPARE(found,
             words("system/21/8 flash/9/1 attributes/6/3 connection/10/5 attclient/12/7 sm/9/5 gap/13/2 "
                   "hardware/23/5 test/7/0 dfu/6/1"));
    QCOMPARE(parser.constants.value(QStringLiteral("sm_bonding_key_masterid"), -1), 64);
}

void TestDefinitions::realSignatures_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("signature");
    const auto row = [](const char *line, const char *signature) {
        QTest::newRow(line) << QString::fromLatin1(line) << QString::fromLatin1(signature);
    };
    row("system_reset", "<b>ble_cmd_system_reset</b> <b>boot_in_dfu</b>:uint8");
    row("system_hello", "<b>ble_cmd_system_hello</b>");
    row("system_whitelist_append",
        "<b>ble_cmd_system_whitelist_append</b> <b>address</b>:hwaddr <b>address_type</b>:uint8");
    row("flash_ps_save", "<b>ble_cmd_flash_ps_save</b> <b>key</b>:uint16 <b>value</b>:uint8array");
    row("gap_set_mode", "<b>ble_cmd_gap_set_mode</b> <b>discover</b>:uint8 <b>connect</b>:uint8");
    row("gap_connect_direct",
        "<b>ble_cmd_gap_connect_direct</b> <b>address</b>:hwaddr <b>addr_type</b>:uint8 "
        "<b>conn_interval_min</b>:uint16 <b>conn_interval_max</b>:uint16 <b>timeout</b>:uint16 "
        "<b>latency</b>:uint16");
}

void TestDefinitions::realSignatures()
{
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(QStringLiteral(VORSEL_DEFINITION_FILE)), 0);
    QFETCH(QString, line);
    QString message;
    parser.parseLine(line + QStringLiteral(" too many arguments for any command of the file"), message);
    QTEST(message.section(QStringLiteral("</nobr>"), 0, 0).mid(6), "signature");
}

QTEST_GUILESS_MAIN(TestDefinitions)
#include "tst_definitions.moc"
