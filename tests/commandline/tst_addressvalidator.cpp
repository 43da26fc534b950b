#include "commandline/addressvalidator.h"
#include "tests/commandline/definitionfile.h"

#include <QTest>

class TestAddressValidator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void validate()
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
    void isLinear()
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

QTEST_GUILESS_MAIN(TestAddressValidator)
#include "tst_addressvalidator.moc"
