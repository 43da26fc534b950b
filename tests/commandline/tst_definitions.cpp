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

} // namespace

class TestDefinitions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void model()
    {
        CommandParser parser;
        QCOMPARE(parser.device_id, 0);
        QCOMPARE(parser.loadDefinitions(dataFile("shape.xml")), 0);
        QCOMPARE(parser.device_name, QStringLiteral("dev"));
        QCOMPARE(parser.device_id, 12);
        QCOMPARE(parser.document.documentElement().tagName(), QStringLiteral("anything"));
        QStringList found = shown(parser.classes);
        for (auto it = parser.constants.cbegin(); it != parser.constants.cend(); ++it)
            found += QStringLiteral("%1=%2").arg(it.key()).arg(it.value());
        QCOMPARE(found, tableLines("shape.txt"));
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
        for (const QString &line : tableLines("files.txt")) {
            const int device = line.indexOf(u';') + 2, content = line.indexOf(u';', device) + 2;
            if (!line.startsWith(u'#'))
                QTest::newRow(qPrintable(line.left(device - 2)))
                    << line.mid(content).toLatin1() << line.mid(device, content - 2 - device);
        }
    }

    void files()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, device);
        const DefinitionFile file(content);
        CommandParser parser;
        QSignalSpy spy(&parser, &CommandParser::log_message);
        int result = 1;
        const int time = millisecondsOf([&] { result = parser.loadDefinitions(file.path()); });
        QVERIFY2(time < 5'000, QByteArray::number(time).constData());
        const bool isRefused = device.isEmpty();
        QCOMPARE(result, isRefused ? -1 : 0);
        QCOMPARE(spy.count(), isRefused ? 1 : 0);
        if (isRefused)
            QCOMPARE(spy.at(0).at(0).toString(), file.path() + QStringLiteral(" file read failed"));
        QVERIFY(!isRefused || parser.classes.isEmpty());
        QCOMPARE(QStringLiteral("%1 %2").arg(parser.device_name).arg(parser.device_id),
                 isRefused ? QStringLiteral(" 0") : device);
    }

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
        QCOMPARE(parser.loadDefinitions(dataFile("shape.xml")), 0);
        QCOMPARE(parser.loadDefinitions(bad.path()), -1);
        QCOMPARE(parser.device_name, QStringLiteral("dev"));
        QCOMPARE(parser.classes.size(), 2);
        QCOMPARE(parser.document.documentElement().tagName(), QStringLiteral("anything"));
    }

    // A dense file of 1 MB, and one of a tenth of that for comparison.
    void largeFile()
    {
        const QByteArray command =
            "<command index='7' name='read_memory'><params><param type='uint32' name='address'/><param "
            "type='uint8' name='length'/></params><returns><param type='uint16' "
            "name='result'/></returns></command>\n";
        int result = 0;
        const auto load = [&](CommandParser &parser, int count) {
            const DefinitionFile file("<a><class name='system'>" + command.repeated(count) +
                                      "<command name='last'/></class></a>");
            return millisecondsOf([&] { result |= parser.loadDefinitions(file.path()); });
        };
        const int count = 1'000'000 / command.size();
        CommandParser tenth, parser;
        const int tenthTime = load(tenth, count / 10);
        const int time = load(parser, count);
        QVERIFY2(time < 30 * qMax(tenthTime, 50), "loading is not linear");
        QCOMPARE(result, 0);
        QCOMPARE(parser.classes.value(0).commands.size(), count + 1);
        QString message;
        QByteArray packet;
        const int parsing =
            millisecondsOf([&] { packet = parser.parseLine(QStringLiteral("system_last"), message); });
        QCOMPARE(packet, QByteArray(4, '\0'));
        QVERIFY2(parsing < 1000, QByteArray::number(parsing).constData());
    }
};

QTEST_GUILESS_MAIN(TestDefinitions)
#include "tst_definitions.moc"
