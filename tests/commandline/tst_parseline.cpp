#include "commandline/addressvalidator.h"
#include "commandline/commandparser.h"
#include "tests/commandline/definitionfile.h"

#include <QTest>

class TestParseLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lines_data()
    {
        QTest::addColumn<QString>("definitions");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QByteArray>("packet");
        QTest::addColumn<QString>("message");
        QString definitions;
        int number = 0;
        for (const QString &row : table_lines("lines.txt")) {
            ++number;
            if (row.startsWith(u'@'))
                definitions = row.mid(2);
            else if (!row.startsWith(u'#'))
                QTest::addRow("%d: %s", number, qUtf8Printable(row))
                    << definitions << row.section(u';', 0, 0)
                    << QByteArray::fromHex(row.section(u';', 1, 1).toLatin1()) << row.section(u';', 2).mid(1);
        }
    }

    void lines()
    {
        QFETCH(QString, definitions);
        QFETCH(QString, line);
        const QByteArray latin1 = definitions.toLatin1();
        const DefinitionFile file(latin1);
        CommandParser parser;
        if (!latin1.isEmpty())
            QCOMPARE(parser.loadDefinitions(latin1.startsWith('<') ? file.path() : data_file(latin1)), 0);
        QString message;
        QTEST(parser.parseLine(line, message), "packet");
        if (latin1 == "types.xml")
            message = message.section(QStringLiteral("<br>"), -1);
        QTEST(message, "message");
    }

    void longLines_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("size");
        QTest::addColumn<QByteArray>("start");
        QTest::addColumn<QString>("reason");
        const int million = 1'000'000;
        const QString zero = QStringLiteral("00");
        const auto row = [](const char *name, const QString &line, int size = 0, const char *start = "",
                            const char *reason = "") {
            QTest::newRow(name) << line << size << QByteArray::fromHex(start) << QString::fromLatin1(reason);
        };
        row("blanks", QString(million, u' '));
        row("underscores", QString(million, u'_'));
        row("brackets between letters", QStringLiteral("a]").repeated(million / 2));
        row("opening brackets", QString(million, u'['));
        row("NUL", QString(million, QChar()));
        row("half of a surrogate pair", QString(million, QChar(0xd800)));
        row("hex", zero.repeated(million / 2));
        row("hex, separated", QStringLiteral("00 ").repeated(million / 3));
        row("hex of 127 bytes", QStringLiteral("007f0000") + zero.repeated(127), 4 + 127, "007f0000");
        row("hex of 128 bytes", QStringLiteral("00800000") + zero.repeated(128), 0, "",
            "Packet length field invalid expected:128");
        row("name of a class", QString(million, u's') + QStringLiteral("_hello"));
        row("name of a command", QStringLiteral("system_") + QString(million, u'h'));
        row("arguments", QStringLiteral("system_hello") + QStringLiteral(" 1").repeated(million / 2));
        row("a number", QStringLiteral("system_reset ") + QString(million, u'1'));
        row("an address", QStringLiteral("system_whitelist_append ") + QString(million, u'1') + u' ');
        row("an array", QStringLiteral("flash_ps_save 1 ") + QString(million, u'1'), 4 + 2 + 1 + million / 2);
        // 303 bytes of payload and 300 of array, each less 256.
        row("an array of 300 bytes", QStringLiteral("flash_ps_save 1 ") + QStringLiteral("a5").repeated(300),
            4 + 2 + 1 + 300, "002f010301002ca5");
    }

    void longLines()
    {
        static CommandParser parser;
        if (parser.classes.isEmpty())
            QCOMPARE(parser.loadDefinitions(QStringLiteral(VORSEL_DEFINITION_FILE)), 0);
        QFETCH(QString, line);
        QFETCH(QByteArray, start);
        QFETCH(QString, reason);
        QString message;
        QByteArray packet;
        const int time = milliseconds_of([&] { packet = parser.parseLine(line, message); });
        QVERIFY2(time < 5000, QByteArray::number(time).constData());
        QTEST(int(packet.size()), "size");
        QCOMPARE(packet.left(start.size()), start);
        QVERIFY(reason.isEmpty() || message == reason);
    }

    void rewritesItsArguments()
    {
        QString text = QStringLiteral("000780aabbcc");
        QString message;
        QCOMPARE((ApiParam{{}, 9}).parseArgument(text, message), QByteArray::fromHex("ccbbaa800700"));
        QCOMPARE(text, QStringLiteral("00:07:80:aa:bb:cc"));
        QCOMPARE(message, QString());

        for (const int type : {-1, 0, 10, 11, 12, 4711}) {
            QCOMPARE((ApiParam{{}, type}).parseArgument(text, message), QByteArray());
            QCOMPARE(message, QString());
            QCOMPARE(*api_type_row(type).name == '\0', type < 0 || type > 11); // outside of the table
        }
    }

    void addresses()
    {
        for (const QString &line : table_lines("addresses.txt")) {
            if (line.startsWith(u'#'))
                continue;
            QStringList row = line.split(QStringLiteral("; "));
            QString text = row.at(1);
            int cursor = row.at(2).toInt();
            row[3] = QString::number(AddressValidator().validate(text, cursor));
            row[4] = text;
            row[5] = QString::number(cursor);
            QCOMPARE(row.join(QStringLiteral("; ")), line);
        }
    }

    // A user pastes what the clipboard holds.
    void addressesAreLinear()
    {
        QString text = QStringLiteral("0:").repeated(500'000);
        int cursor = text.size();
        const int time = milliseconds_of(
            [&] { QCOMPARE(AddressValidator().validate(text, cursor), QValidator::Acceptable); });
        QVERIFY2(time < 1000, QByteArray::number(time).constData());
        QCOMPARE(text, QStringLiteral("00:00:00:00:00:00"));
        QCOMPARE(cursor, 17);
    }
};

QTEST_GUILESS_MAIN(TestParseLine)
#include "tst_parseline.moc"
