#include "commandline/addressvalidator.h"

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
    const auto row = [](const char *name, const char *input, int cursor, QValidator::State state,
                        const char *output, int cursorAfter) {
        QTest::newRow(name) << QString::fromUtf8(input) << cursor << int(state) << QString::fromUtf8(output)
                            << cursorAfter;
    };
    const auto bad = QValidator::Invalid;
    const auto part = QValidator::Intermediate;
    const auto good = QValidator::Acceptable;

    row("empty", "", 0, part, "", 0);
    row("one digit", "a", 1, part, "a", 1);
    row("two digits, no trailing colon", "ab", 2, part, "ab", 2);
    row("colon behind one digit is dropped", "a:", 2, part, "a", 1);
    row("colon behind two digits is dropped", "ab:", 3, part, "ab", 2);
    row("third digit takes the cursor over the new colon", "abc", 3, part, "ab:c", 4);
    row("four digits", "ab:cd", 5, part, "ab:cd", 5);
    row("fifth digit", "ab:cde", 6, part, "ab:cd:e", 7);
    row("cursor on the place of the colon stays before it", "abcd", 2, part, "ab:cd", 2);
    row("cursor before a dropped colon does not move", "a:", 1, part, "a", 1);
    row("typed into the middle", "ab:9cd", 4, part, "ab:9c:d", 4);
    row("typed into the first pair", "a9b:cd", 2, part, "a9:bc:d", 2);
    row("pasted pairs keep the cursor at the end", "aa:bb", 5, part, "aa:bb", 5);
    row("eleven digits", "000780aabbc", 11, part, "00:07:80:aa:bb:c", 16);
    row("complete, bare", "000780aabbcc", 12, good, "00:07:80:aa:bb:cc", 17);
    row("complete, bare, cursor at the start", "000780aabbcc", 0, good, "00:07:80:aa:bb:cc", 0);
    row("complete, with colons", "00:07:80:aa:bb:cc", 10, good, "00:07:80:aa:bb:cc", 10);
    row("cursor right behind a colon falls before it", "00:07:80:aa:bb:cc", 9, good, "00:07:80:aa:bb:cc", 8);
    row("colons in odd places", "0:0078:0aab:bc:c", 16, good, "00:07:80:aa:bb:cc", 17);
    row("fourteen digits are cut to twelve", "00112233445566", 14, good, "00:11:22:33:44:55", 17);
    row("all digits", "456789abcdef", 12, good, "45:67:89:ab:cd:ef", 17);
    row("five pairs", "00:07:80:aa:bb", 14, part, "00:07:80:aa:bb", 14);
    row("a lone colon", ":", 1, bad, "", 0);
    row("colons alone", ":::", 2, bad, "", 0);
    row("upper case", "aC", 2, bad, "aC", 2);
    row("no hexadecimal digit", "ag", 2, bad, "ag", 2);
    row("blank", "aa bb", 5, bad, "aa bb", 5);
    row("bad character behind the twelfth digit", "001122334455x", 13, bad, "001122334455x", 13);
    row("digit of another script", "\u0661", 1, bad, "\u0661", 1);
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
