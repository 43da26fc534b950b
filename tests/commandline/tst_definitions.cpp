#include "commandline/commandparser.h"
#include "tests/commandline/definitionfile.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <sys/stat.h>

namespace {

// The whole model, a line a class and a message.
QStringList shown(const QList<ApiClass> &classes)
{
    QStringList lines;
    const auto add = [&lines](const char *kind, const QList<ApiMessage> &messages) {
        for (const ApiMessage &m : messages) {
            QString params;
            for (const ApiParam &param : m.params)
                params += QStringLiteral(" %1:%2").arg(param.name).arg(param.type);
            const QString numbers = QStringLiteral("%1/%2/%3").arg(m.class_index).arg(m.index).arg(m.script);
            lines += QStringLiteral("%1 %2/%3 %4:").arg(QLatin1String(kind), m.name, m.full_name, numbers) +
                     params;
        }
    };
    for (const ApiClass &c : classes) {
        lines += QStringLiteral("class ") + c.name;
        add("evt", c.events);
        add("cmd", c.commands);
        add("rsp", c.responses);
    }
    return lines;
}

QByteArray nested(const QByteArray &tag, int levels, const QByteArray &core)
{
    return ("<" + tag + ">").repeated(levels) + core + ("</" + tag + ">").repeated(levels);
}

// Ten entities, each ten times the one before.
QByteArray laughs(const QByteArray &use)
{
    QByteArray text = "<!DOCTYPE a [<!ENTITY e0 'lol'>";
    for (int i = 1; i < 10; ++i) {
        const QByteArray reference = "&e" + QByteArray::number(i - 1) + ";";
        text += "<!ENTITY e" + QByteArray::number(i) + " '" + reference.repeated(10) + "'>";
    }
    return text + "]>" + use;
}

const char *const refused = "";
const char *const unnamed = " 0";

// A file, and the name and number of the device that it gives.
void row(const char *title, const QByteArray &content, const char *device)
{
    QTest::newRow(title) << content << QString::fromUtf8(device);
}

} // namespace

class TestDefinitions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void model()
    {
        CommandParser parser;
        QCOMPARE(parser.device_id, 0);
        QCOMPARE(parser.loadDefinitions(data_file("shape.xml")), 0);
        QCOMPARE(parser.device_name, QStringLiteral("dev"));
        QCOMPARE(parser.device_id, 12);
        QCOMPARE(parser.document.documentElement().tagName(), QStringLiteral("anything"));
        QStringList found = shown(parser.classes);
        for (auto it = parser.constants.cbegin(); it != parser.constants.cend(); ++it)
            found += QStringLiteral("%1=%2").arg(it.key()).arg(it.value());
        QCOMPARE(found, table_lines("shape.txt"));
    }

    void nestedElementsAreFoundForEachOwner()
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

    void files_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("device");
        for (const QString &line : table_lines("files.txt")) {
            if (!line.startsWith(u'#'))
                row(qPrintable(line.section(u';', 0, 0)), line.section(u';', 2).mid(1).toLatin1(),
                    qUtf8Printable(line.section(u';', 1, 1).mid(1)));
        }
        QByteArray utf16("\xff\xfe");
        for (const char c : QByteArray("<?xml version='1.0' encoding='UTF-16'?><api device_name='d\xe4'/>"))
            utf16.append(c).append('\0');
        row("UTF-16", utf16, "d\u00e4 0");
    }

    void files()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, device);
        const DefinitionFile file(content);
        CommandParser parser;
        QSignalSpy spy(&parser, &CommandParser::log_message);
        int result = 1;
        const int time = milliseconds_of([&] { result = parser.loadDefinitions(file.path()); });
        QVERIFY2(time < 20'000, QByteArray::number(time).constData());
        const bool is_refused = device.isEmpty();
        QCOMPARE(result, is_refused ? -1 : 0);
        QCOMPARE(spy.count(), is_refused ? 1 : 0);
        if (is_refused)
            QCOMPARE(spy.at(0).at(0).toString(), file.path() + QStringLiteral(" file read failed"));
        QVERIFY(!is_refused || parser.classes.isEmpty());
        QCOMPARE(QStringLiteral("%1 %2").arg(parser.device_name).arg(parser.device_id),
                 is_refused ? QLatin1String(unnamed) : device);
    }

    void hostileFiles_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("device");
        const QByteArray blanks(200'000, ' ');
        row("200,000 nested elements", nested("a", 200'000, ""), refused);
        row("1,000,000 elements never closed", QByteArray("<a>").repeated(1'000'000), refused);
        row("1,000 nested elements", nested("a", 1000, ""), unnamed);
        row("1,001 nested elements", nested("a", 1001, ""), refused);
        // 52 MB that would take a DOM of gigabytes.
        row("13,000,000 elements", "<a>" + QByteArray("<b/>").repeated(13'000'000) + "</a>", refused);
        row("entities that multiply, in text", laughs("<a>&e9;</a>"), refused);
        row("entities that multiply, in an attribute", laughs("<a device_name='&e9;'/>"), refused);
        row("entity in itself", "<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a>&e;</a>", refused);
        row("parameter entities that multiply",
            "<!DOCTYPE a [<!ENTITY % p '" + blanks.left(1000) + "'>" + QByteArray("%p;").repeated(30'000) +
                "]><a/>",
            refused);
        const QByteArray many = "'>]><a>" + QByteArray("&e;").repeated(40'000) + "</a>";
        row("one entity many times", "<!DOCTYPE a [<!ENTITY e '" + QByteArray(1000, 'x') + many, refused);
        row("an entity of elements many times",
            "<!DOCTYPE a [<!ENTITY e '" + QByteArray("<a/>").repeated(250) + many, refused);
        row("long default attribute",
            "<!DOCTYPE a [<!ATTLIST b c CDATA '" + QByteArray(60'000, 'x') + "'>]><a>" +
                QByteArray("<b/>").repeated(15'000) + "</a>",
            refused);
        row("document type in a long file", "<!DOCTYPE a><a>" + blanks + "</a>", unnamed);
        row("declarations in a long file", "<!DOCTYPE a []><a>" + blanks + "</a>", refused);
        row("entity of 4,000 characters",
            "<!DOCTYPE a [<!ENTITY e '" + QByteArray(4000, 'x') + "'>]><a>&e;</a>", unnamed);
        row("file as an entity", "<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>", unnamed);

        QByteArray attributes;
        for (int i = 0; i < 1'000'000; ++i)
            attributes += " a" + QByteArray::number(i) + "=''";
        row("1,000,000 attributes", "<a><!-- ' --><?b '?><![CDATA[ \" ]]>'<b" + attributes + "/></a>",
            refused);
        row("1,000,000 attributes behind a document type", "<!DOCTYPE a><a><b" + attributes + "/></a>",
            refused);
        row("many attributes behind a false end", "<a><b x='>'" + attributes + "/></a>", refused);

        row("class in class in class",
            nested("class", 100, nested("command", 100, QByteArray("<param/>").repeated(20'000))), refused);
        row("long class name",
            "<a><class name='" + QByteArray(1'000'000, 'x') + "'>" +
                QByteArray("<command/>").repeated(100'000) + "</class></a>",
            refused);
        row("long comment", "<a><!--" + QByteArray(5'000'000, 'x') + "--></a>", unnamed);
        row("long text", "<a>" + QByteArray(5'000'000, 'x') + "</a>", unnamed);
        row("zeros", QByteArray(5'000'000, '\0'), refused);
    }

    void hostileFiles() { files(); }

    void noFiles()
    {
        const QTemporaryDir directory;
        const QString pipe = directory.filePath(QStringLiteral("pipe"));
        QCOMPARE(mkfifo(pipe.toLocal8Bit().constData(), 0600), 0);
        for (const QString &path :
             {QStringLiteral("/nowhere/%2 %3.xml"), directory.path(), pipe, QStringLiteral("/dev/zero")}) {
            CommandParser parser;
            QSignalSpy spy(&parser, &CommandParser::log_message);
            QCOMPARE(parser.loadDefinitions(path), -1);
            QCOMPARE(spy.count(), 1);
            QCOMPARE(spy.at(0).at(0).toString(), path + QStringLiteral(" file open failed 5"));
        }
    }

    void failureKeepsModel()
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

    // Dense files of 1 and 10 MB for the time, and one of 100 MB.
    void largeFile()
    {
        const QByteArray command =
            "<command index='7' name='read_memory'><params><param type='uint32' name='address'/><param "
            "type='uint8' name='length'/></params><returns><param type='uint16' "
            "name='result'/></returns></command>\n";
        int result = 0;
        const auto load = [&](CommandParser &parser, int count, int padding) {
            const QByteArray one = command + "<!--" + QByteArray(padding, 'x') + "-->";
            const DefinitionFile file("<a><class name='system'>" + one.repeated(count) +
                                      "<command name='last'/></class></a>");
            return milliseconds_of([&] { result |= parser.loadDefinitions(file.path()); });
        };
        const int count = 10'000'000 / command.size();
        CommandParser tenth, parser, huge;
        const int tenth_time = load(tenth, count / 10, 0);
        const int time = load(parser, count, 0);
        QVERIFY2(time < 30 * qMax(tenth_time, 50), "loading is not linear");
        load(huge, count / 10, 100'000'000 / (count / 10));
        QCOMPARE(result, 0);
        QCOMPARE(huge.classes.value(0).commands.size(), count / 10 + 1);
        QString message;
        QByteArray packet;
        const int parsing =
            milliseconds_of([&] { packet = parser.parseLine(QStringLiteral("system_last"), message); });
        QCOMPARE(packet, QByteArray(4, '\0'));
        QVERIFY2(parsing < 1000, QByteArray::number(parsing).constData());
    }
};

QTEST_GUILESS_MAIN(TestDefinitions)
#include "tst_definitions.moc"
