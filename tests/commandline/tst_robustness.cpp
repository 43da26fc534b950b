#include "commandline/commandparser.h"
#include "tests/commandline/definitionfile.h"

#include <QSignalSpy>
#include <QTest>

#include <ctime>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace {

QByteArray nested(const QByteArray &tag, int levels, const QByteArray &core)
{
    return ("<" + tag + ">").repeated(levels) + core + ("</" + tag + ">").repeated(levels);
}

// Processor time, since a busy machine makes the clock on the wall say nothing.
class Stopwatch
{
public:
    int milliseconds() const { return static_cast<int>((std::clock() - m_start) * 1000 / CLOCKS_PER_SEC); }

private:
    std::clock_t m_start = std::clock();
};

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

} // namespace

class TestRobustness : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hostileFiles_data();
    void hostileFiles();
    void pipeIsNotOpened();
    void largeFile();
    void largeFileWithoutCommands();
    void longLines_data();
    void longLines();
};

void TestRobustness::hostileFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("result");
    const auto row = [](const char *name, const QByteArray &content, int result) {
        QTest::newRow(name) << content << result;
    };
    row("200,000 nested elements", nested("a", 200'000, ""), -1);
    row("1,000,000 elements never closed", QByteArray("<a>").repeated(1'000'000), -1);
    row("1,000 nested elements", nested("a", 1000, ""), 0);
    row("1,001 nested elements", nested("a", 1001, ""), -1);
    row("entities that multiply, in text", laughs("<a>&e9;</a>"), -1);
    row("entities that multiply, in an attribute", laughs("<a device_name='&e9;'/>"), -1);
    row("entity in itself", "<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a>&e;</a>", -1);
    row("parameter entities that multiply",
        "<!DOCTYPE a [<!ENTITY % p '" + QByteArray(1000, ' ') + "'>" + QByteArray("%p;").repeated(30'000) +
            "]><a/>",
        -1);
    row("one entity many times",
        "<!DOCTYPE a [<!ENTITY e '" + QByteArray(1000, 'x') + "'>]><a>" + QByteArray("&e;").repeated(40'000) +
            "</a>",
        -1);
    row("an entity of elements many times",
        "<!DOCTYPE a [<!ENTITY e '" + QByteArray("<a/>").repeated(250) + "'>]><a>" +
            QByteArray("&e;").repeated(40'000) + "</a>",
        -1);
    row("long default attribute",
        "<!DOCTYPE a [<!ATTLIST b c CDATA '" + QByteArray(60'000, 'x') + "'>]><a>" +
            QByteArray("<b/>").repeated(15'000) + "</a>",
        -1);
    row("document type in a long file", "<!DOCTYPE a><a>" + QByteArray(200'000, ' ') + "</a>", 0);
    row("declarations in a long file", "<!DOCTYPE a []><a>" + QByteArray(200'000, ' ') + "</a>", -1);
    row("entity of 4,000 characters", "<!DOCTYPE a [<!ENTITY e '" + QByteArray(4000, 'x') + "'>]><a>&e;</a>",
        0);
    row("file elsewhere as an entity", "<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>", 0);

    QByteArray attributes;
    for (int i = 0; i < 1'000'000; ++i)
        attributes += " a" + QByteArray::number(i) + "=''";
    row("1,000,000 attributes", "<a><!-- ' --><?b '?><![CDATA[ \" ]]>'<b" + attributes + "/></a>", -1);
    row("1,000,000 attributes behind a document type", "<!DOCTYPE a><a><b" + attributes + "/></a>", -1);
    row("many attributes behind a false end", "<a><b x='>'" + attributes + "/></a>", -1);

    row("class in class in class",
        nested("class", 100, nested("command", 100, QByteArray("<param/>").repeated(20'000))), -1);
    row("long class name",
        "<a><class name='" + QByteArray(1'000'000, 'x') + "'>" + QByteArray("<command/>").repeated(100'000) +
            "</class></a>",
        -1);
    row("long comment", "<a><!--" + QByteArray(5'000'000, 'x') + "--></a>", 0);
    row("long text", "<a>" + QByteArray(5'000'000, 'x') + "</a>", 0);
    row("zeros", QByteArray(5'000'000, '\0'), -1);
}

void TestRobustness::hostileFiles()
{
    QFETCH(QByteArray, content);
    const DefinitionFile file(content);
    CommandParser parser;
    QSignalSpy spy(&parser, &CommandParser::log_message);
    const Stopwatch timer;
    QTEST(parser.loadDefinitions(file.path()), "result");
    QVERIFY2(timer.milliseconds() < 20'000, QByteArray::number(timer.milliseconds()).constData());
    QFETCH(int, result);
    QCOMPARE(spy.count(), result == 0 ? 0 : 1);
    if (result != 0)
        QCOMPARE(spy.at(0).at(0).toString(), file.path() + QStringLiteral(" file read failed"));
    QVERIFY(result == 0 || parser.classes.isEmpty());
}

void TestRobustness::pipeIsNotOpened()
{
#ifdef Q_OS_UNIX
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("pipe"));
    QCOMPARE(mkfifo(path.toLocal8Bit().constData(), 0600), 0);
    for (const QString &special : {path, QStringLiteral("/dev/zero")}) {
        CommandParser parser;
        QSignalSpy spy(&parser, &CommandParser::log_message);
        QCOMPARE(parser.loadDefinitions(special), -1);
        QCOMPARE(spy.value(0).value(0).toString(), special + QStringLiteral(" file open failed 5"));
    }
#else
    QSKIP("no named pipes in the file system");
#endif
}

// Dense files of 1 and 10 MB for the time, and one of 100 MB.
void TestRobustness::largeFile()
{
    const QByteArray command =
        "<command index='7' name='read_memory'><params><param type='uint32' name='address'/>"
        "<param type='uint8' name='length'/></params><returns><param type='uint16' name='result'/></returns>"
        "</command>\n";
    const auto load = [&](CommandParser &parser, int count, int padding) {
        const QByteArray one = command + "<!--" + QByteArray(padding, 'x') + "-->";
        const DefinitionFile file("<a><class name='system'>" + one.repeated(count) +
                                  "<command name='last'/></class></a>");
        const Stopwatch timer;
        return parser.loadDefinitions(file.path()) == 0 ? timer.milliseconds() : -1;
    };
    const int count = 10'000'000 / command.size();
    CommandParser tenth;
    CommandParser parser;
    CommandParser huge;
    const int tenth_time = load(tenth, count / 10, 0);
    const int time = load(parser, count, 0);
    QVERIFY(tenth_time >= 0 && time >= 0);
    QVERIFY2(time < 30 * qMax(tenth_time, 50), "loading is not linear");
    QVERIFY(load(huge, count / 10, 100'000'000 / (count / 10)) >= 0);
    QCOMPARE(huge.classes.value(0).commands.size(), count / 10 + 1);
    const Stopwatch parsing;
    QString message;
    QCOMPARE(parser.parseLine(QStringLiteral("system_last"), message), QByteArray(4, '\0'));
    QVERIFY2(parsing.milliseconds() < 1000, QByteArray::number(parsing.milliseconds()).constData());
}

// 52 MB that would take a DOM of gigabytes.
void TestRobustness::largeFileWithoutCommands()
{
    const DefinitionFile file("<a>" + QByteArray("<b/>").repeated(13'000'000) + "</a>");
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(file.path()), -1);
}

void TestRobustness::longLines_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("size");
    const int million = 1'000'000;
    const auto row = [](const char *name, const QString &line, int size) {
        QTest::newRow(name) << line << size;
    };
    row("blanks", QString(million, u' '), 0);
    row("underscores", QString(million, u'_'), 0);
    row("brackets between letters", QStringLiteral("a]").repeated(million / 2), 0);
    row("opening brackets", QString(million, u'['), 0);
    row("NUL", QString(million, QChar()), 0);
    row("half of a surrogate pair", QString(million, QChar(0xd800)), 0);
    row("hex", QStringLiteral("00").repeated(million / 2), 0);
    row("hex, separated", QStringLiteral("00 ").repeated(million / 3), 0);
    row("name of a class", QString(million, u's') + QStringLiteral("_hello"), 0);
    row("name of a command", QStringLiteral("system_") + QString(million, u'h'), 0);
    row("arguments", QStringLiteral("system_hello") + QStringLiteral(" 1").repeated(million / 2), 0);
    row("a number", QStringLiteral("system_reset ") + QString(million, u'1'), 0);
    row("an address", QStringLiteral("system_whitelist_append ") + QString(million, u'1') + u' ', 0);
    row("an array", QStringLiteral("flash_ps_save 1 ") + QString(million, u'1'), 4 + 2 + 1 + million / 2);
}

void TestRobustness::longLines()
{
    static CommandParser parser;
    if (parser.classes.isEmpty())
        QCOMPARE(parser.loadDefinitions(QStringLiteral(VORSEL_DEFINITION_FILE)), 0);
    QFETCH(QString, line);
    QString message;
    const Stopwatch timer;
    QTEST(int(parser.parseLine(line, message).size()), "size");
    QVERIFY2(timer.milliseconds() < 5000, QByteArray::number(timer.milliseconds()).constData());
}

QTEST_GUILESS_MAIN(TestRobustness)
#include "tst_robustness.moc"
