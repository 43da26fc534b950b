#include "commandline/commandparser.h"
#include "tests/commandline/definitionfile.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

namespace {

// The whole model, a line a class and a message.
QStringList shown(const QList<ApiClass> &classes)
{
    QStringList lines;
    const auto add = [&lines](const char *kind, const ApiMessage &m) {
        QString params;
        for (const ApiParam &param : m.params)
            params += QStringLiteral(" %1:%2").arg(param.name).arg(param.type);
        lines += QStringLiteral("%1 %2/%3 %4/%5/%6:%7")
                     .arg(QLatin1String(kind), m.name, m.full_name)
                     .arg(m.class_index)
                     .arg(m.index)
                     .arg(m.script)
                     .arg(params);
    };
    for (const ApiClass &c : classes) {
        lines += QStringLiteral("class ") + c.name;
        for (const ApiMessage &m : c.events)
            add("evt", m);
        for (const ApiMessage &m : c.commands)
            add("cmd", m);
        for (const ApiMessage &m : c.responses)
            add("rsp", m);
    }
    return lines;
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
};

void TestDefinitions::model()
{
    CommandParser parser;
    QCOMPARE(parser.device_id, 0);
    QCOMPARE(parser.loadDefinitions(data_file("shape.xml")), 0);
    QCOMPARE(parser.device_name, QStringLiteral("dev"));
    QCOMPARE(parser.device_id, 12);
    QCOMPARE(parser.document.documentElement().tagName(), QStringLiteral("anything"));
    QCOMPARE(shown(parser.classes).join(u'\n'),
             QStringLiteral("class gap\n"
                            "evt gap_seen/ 0/16/7: first:1\n"
                            "cmd set_mode/ble_cmd_gap_set_mode 0/8/3: b:9 h:9 i:10 n:1 t:1 c:1\n"
                            "cmd plain/ble_cmd_gap_plain 0/0/0:\n"
                            "rsp set_mode/ble_cmd_gap_set_mode 0/8/3: result:3\n"
                            "rsp plain/ble_cmd_gap_plain 0/0/0:\n"
                            "class \n"
                            "cmd x/ble_cmd__x 1/255/0: s:8\n"
                            "rsp x/ble_cmd__x 1/255/0:"));
}

void TestDefinitions::constants()
{
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(data_file("shape.xml")), 0);
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
    const auto row = [](const char *title, const char *content, const char *name, int id) {
        QTest::newRow(title) << QByteArray(content) << QString::fromLatin1(name) << id;
    };
    row("none", "<api/>", "", 0);
    row("decimal", "<api device_name='q' device_id='010'/>", "q", 10);
    row("hexadecimal is no number", "<api device_id='0x10'/>", "", 0);
    row("negative", "<api device_id='-1'/>", "", -1);
    row("too large", "<api device_id='4294967296'/>", "", 0);
    row("a small entity", "<!DOCTYPE a [<!ENTITY n 'ble'>]><a device_name='&n;2'/>", "ble2", 0);
    row("page of another shape", "<html><body class='x'><class/></body></html>", "", 0);
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
    QStringList found;
    for (const QString &name :
         QStringLiteral("invalid,uint8,int8,uint16,int16,uint32,int32,uint8array,string,"
                        "hwaddr,bd_addr,ipv4,float,")
             .split(u',')) {
        const int code = api_type_code(name);
        found += QStringLiteral("%1/%2/%3")
                     .arg(code)
                     .arg(QLatin1String(api_type_row(code).name))
                     .arg(api_type_row(code).width);
    }
    QCOMPARE(found,
             words("0/invalid/0 1/uint8/1 2/int8/1 3/uint16/2 4/int16/2 5/uint32/4 6/int32/4 "
                   "7/uint8array/0 8/string/0 9/hwaddr/6 9/hwaddr/6 10/bd_addr/6 1/uint8/1 1/uint8/1"));
    QCOMPARE(api_type_row(11).name, "ipv4");
    for (const int code : {-1, 12, 4711})
        QCOMPARE(api_type_row(code).name, "");
}

void TestDefinitions::failures_data()
{
    QTest::addColumn<QByteArray>("content");
    const auto row = [](const char *name, const QByteArray &content) { QTest::newRow(name) << content; };
    row("empty", "");
    row("text", "device_name=ble\n");
    row("unclosed", "<api><class name='x'>");
    row("crossed", "<api><a><b></a></b></api>");
    row("two roots", "<api/><api/>");
    row("attribute twice", "<api a='1' a='2'/>");
    row("unquoted attribute", "<api device_id=1/>");
    row("unknown entity", "<api device_name='&nope;'/>");
    row("bytes that are no UTF-8", "<api device_name='\xff\xfe'/>");
    row("unknown encoding", "<?xml version='1.0' encoding='nope'?><api/>");
    row("NUL bytes", QByteArray("<api>\0\0</api>", 13));
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
    QVERIFY(parser.classes.isEmpty() && parser.device_name.isEmpty());
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
    const DefinitionFile bad("<api device_name='other'><class>");
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(bad.path()), -1);
    QCOMPARE(parser.loadDefinitions(data_file("shape.xml")), 0);
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
    QCOMPARE(shown(parser.classes).filter(QRegularExpression(QStringLiteral("^cmd"))).join(u'\n'),
             QStringLiteral("cmd c1/ble_cmd_o_c1 0/0/0: p:1\ncmd c2/ble_cmd_o_c2 0/0/0: p:1\n"
                            "cmd c3/ble_cmd_o_c3 0/0/0:\ncmd c3/ble_cmd_i_c3 1/0/0:"));
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

QTEST_GUILESS_MAIN(TestDefinitions)
#include "tst_definitions.moc"
