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
        for (const QString &row : tableLines("lines.txt")) {
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
            QCOMPARE(parser.loadDefinitions(latin1.startsWith('<') ? file.path() : dataFile(latin1)), 0);
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
        for (const QString &line : tableLines("long_lines.txt")) {
            const QStringList row = line.split(QStringLiteral("; "));
            if (!line.startsWith(u'#'))
                QTest::newRow(qPrintable(row.at(0)))
                    << row.at(4) << row.at(1).toInt() << QByteArray::fromHex(row.at(2).toLatin1())
                    << row.at(3);
        }
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
        const int time = millisecondsOf([&] { packet = parser.parseLine(line, message); });
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
            QCOMPARE(*apiTypeRow(type).name == '\0', type < 0 || type > 11); // outside of the table
        }
    }

    void addresses()
    {
        for (const QString &line : tableLines("addresses.txt")) {
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
        const int time = millisecondsOf(
            [&] { QCOMPARE(AddressValidator().validate(text, cursor), QValidator::Acceptable); });
        QVERIFY2(time < 1000, QByteArray::number(time).constData());
        QCOMPARE(text, QStringLiteral("00:00:00:00:00:00"));
        QCOMPARE(cursor, 17);
    }
};

QTEST_GUILESS_MAIN(TestParseLine)
#include "tst_parseline.moc"
