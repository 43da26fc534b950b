#include "commandline/commandparser.h"
#include "tests/commandline/definitionfile.h"

#include <QRegularExpression>
#include <QTest>

class TestParseLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lines_data();
    void lines();
    void longPayloads();
    void rewritesItsArguments();
    void markupIsShownAsTyped();
};

void TestParseLine::lines_data()
{
    QTest::addColumn<QString>("definitions");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<QString>("message");
    QFile file(data_file("lines.txt"));
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    const QRegularExpression escape(QStringLiteral("\\\\u([0-9a-f]{4})"));
    QString definitions;
    int number = 0;
    for (QString row : QString::fromUtf8(file.readAll()).chopped(1).split(u'\n')) {
        ++number;
        row.replace(QLatin1String("\\t"), QLatin1String("\t"));
        for (auto match = escape.match(row); match.hasMatch(); match = escape.match(row))
            row.replace(match.captured(), QChar(match.captured(1).toUShort(nullptr, 16)));
        if (row.startsWith(u'@'))
            definitions = row.mid(2);
        else if (!row.startsWith(u'#'))
            QTest::addRow("%d: %s", number, qUtf8Printable(row))
                << definitions << row.section(u';', 0, 0)
                << QByteArray::fromHex(row.section(u';', 1, 1).toLatin1()) << row.section(u';', 2).mid(1);
    }
}

void TestParseLine::lines()
{
    QFETCH(QString, definitions);
    QFETCH(QString, line);
    const DefinitionFile file(definitions.toLatin1());
    CommandParser parser;
    if (!definitions.isEmpty())
        QCOMPARE(parser.loadDefinitions(definitions.startsWith(u'<') ? file.path()
                                                                     : data_file(definitions.toLatin1())),
                 0);
    QString message;
    QTEST(parser.parseLine(line, message), "packet");
    if (definitions == QLatin1String("types.xml"))
        message = message.section(QStringLiteral("<br>"), -1);
    QTEST(message, "message");
}

void TestParseLine::longPayloads()
{
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(data_file("types.xml")), 0);
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
    CommandParser parser;
    QCOMPARE(parser.loadDefinitions(data_file("types.xml")), 0);
    QString message;
    parser.parseLine(QStringLiteral("k_<i>& <b>&\""), message);
    QCOMPARE(message, QStringLiteral("<nobr><b>ble_cmd_k_&lt;i>&</b> <b>&lt;img></b>:uint8</nobr><br>"
                                     "unable parse argument '&lt;b>&\"' as uint8"));
    message.clear();
    parser.parseLine(QStringLiteral("k_<u>"), message);
    QCOMPARE(message, QStringLiteral("Command '&lt;u>' not found in class 'k'"));
    message.clear();
    parser.parseLine(QStringLiteral("k_a&b"), message);
    QCOMPARE(message, QStringLiteral("Command 'a&b' not found in class 'k'"));
}

QTEST_GUILESS_MAIN(TestParseLine)
#include "tst_parseline.moc"
