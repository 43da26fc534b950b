#include "commandline/addressvalidator.h"
#include "tests/commandline/definitionfile.h"

#include <QTest>

class TestAddressValidator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void validate_data();
    void validate();
    void isLinear();
};

void TestAddressValidator::validate_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<int>("cursor");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("output");
    QTest::addColumn<int>("cursorAfter");
    QFile file(data_file("addresses.txt"));
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts)) {
        const QStringList row = line.split(QStringLiteral("; "));
        if (!line.startsWith(u'#'))
            QTest::newRow(qUtf8Printable(row.at(0)))
                << row.at(1) << row.at(2).toInt() << row.at(3).toInt() << row.at(4) << row.at(5).toInt();
    }
}

void TestAddressValidator::validate()
{
    QFETCH(QString, input);
    QFETCH(int, cursor);
    const int state = AddressValidator().validate(input, cursor);
    QTEST(state, "state");
    QTEST(input, "output");
    QTEST(cursor, "cursorAfter");
}

// A user pastes what the clipboard holds.
void TestAddressValidator::isLinear()
{
    QString text = QStringLiteral("0:").repeated(500'000);
    int cursor = text.size();
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(AddressValidator().validate(text, cursor), QValidator::Acceptable);
    QVERIFY2(timer.elapsed() < 1000, QByteArray::number(timer.elapsed()).constData());
    QCOMPARE(text, QStringLiteral("00:00:00:00:00:00"));
    QCOMPARE(cursor, 17);
}

QTEST_GUILESS_MAIN(TestAddressValidator)
#include "tst_addressvalidator.moc"
