// Wire types to bytes and text and back.

#include "protocol/conversions.h"

#include <QTest>

namespace {

template <typename T>
T parsed(const char *text)
{
    T value{};
    from_text(QString::fromLatin1(text), value);
    return value;
}

QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

const bd_addr address{{0x05, 0x04, 0x03, 0x02, 0x01, 0xfa}};

} // namespace

class tst_Conversions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reverse();
    void bytes();
    void numbersFromText();
    void arraysFromText();
    void addressesFromText_data();
    void addressesFromText();
    void text();
    void dotted();
};

void tst_Conversions::reverse()
{
    const char *const pairs[][2] = {{"", ""}, {"01", "01"}, {"0102", "0201"}, {"010203", "030201"}};
    for (const auto &pair : pairs) {
        QByteArray value = hex(pair[0]);
        const QByteArray shared = value;
        reverse_bytes(value);
        QCOMPARE(value, hex(pair[1]));
        QCOMPARE(shared, hex(pair[0]));
    }
}

void tst_Conversions::bytes()
{
    QCOMPARE(to_bytes(uint8(0xfe)), hex("fe"));
    QCOMPARE(to_bytes(int8(-1)), hex("ff"));
    QCOMPARE(to_bytes(uint16(0x1234)), hex("3412"));
    QCOMPARE(to_bytes(int16(-2)), hex("feff"));
    QCOMPARE(to_bytes(uint32(0x12345678)), hex("78563412"));
    QCOMPARE(to_bytes(address), hex("0504030201fa"));
    QCOMPARE(array_to_bytes(QByteArray()), hex("00"));
    QCOMPARE(array_to_bytes(hex("aabb")), hex("02aabb"));
    QCOMPARE(array_to_bytes(QByteArray(300, 'x')), hex("2c") + QByteArray(300, 'x'));
}

void tst_Conversions::numbersFromText()
{
    QCOMPARE(parsed<uint8>("1f"), uint8(0x1f));
    QCOMPARE(parsed<uint8>("0x1F"), uint8(0x1f));
    QCOMPARE(parsed<uint8>("1ff"), uint8(0xff));
    QCOMPARE(parsed<uint8>("no"), uint8(0));
    QCOMPARE(parsed<uint8>(""), uint8(0));
    QCOMPARE(parsed<int8>("-50"), int8(-50));
    QCOMPARE(parsed<int8>("1f"), int8(0));
    QCOMPARE(parsed<uint16>("2800"), uint16(0x2800));
    QCOMPARE(parsed<int16>("-300"), int16(-300));
    QCOMPARE(parsed<uint32>("ffffffff"), 0xffffffffU);
    QCOMPARE(parsed<uint32>("1ffffffff"), 0U);
    QCOMPARE(parsed<uint32>("-1"), 0U);
}

void tst_Conversions::arraysFromText()
{
    QCOMPARE(parsed<QByteArray>("0aFF"), hex("0aff"));
    QCOMPARE(parsed<QByteArray>("0a:ff zz"), hex("0aff"));
    QCOMPARE(parsed<QByteArray>("aff"), hex("0aff"));
    QCOMPARE(parsed<QByteArray>(""), QByteArray());
}

void tst_Conversions::addressesFromText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("wire");
    QTest::newRow("text order") << QStringLiteral("00:07:80:aa:BB:cc") << hex("000780aabbcc");
    QTest::newRow("parts cut to a byte") << QStringLiteral("1ff:7:80:aa:bb:zz") << hex("ff0780aabb00");
    QTest::newRow("more than six parts") << QStringLiteral("1:2:3:4:5:6:7") << hex("010203040506");
    QTest::newRow("empty parts") << QStringLiteral(":::::") << hex("000000000000");
    QTest::newRow("too few stays unset") << QStringLiteral("1:2:3:4:5") << hex("eeeeeeeeeeee");
    QTest::newRow("nothing stays unset") << QString() << hex("eeeeeeeeeeee");
}

void tst_Conversions::addressesFromText()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, wire);
    bd_addr value{{0xee, 0xee, 0xee, 0xee, 0xee, 0xee}};
    from_text(text, value);
    QCOMPARE(to_bytes(value), wire);
}

void tst_Conversions::text()
{
    QCOMPARE(to_text(uint8(0x0a)), QStringLiteral("a"));
    QCOMPARE(to_text(int8(-128)), QStringLiteral("-128"));
    QCOMPARE(to_text(uint16(0xff00)), QStringLiteral("ff00"));
    QCOMPARE(to_text(int16(-2)), QStringLiteral("-2"));
    QCOMPARE(to_text(uint32(0xffffffff)), QStringLiteral("ffffffff"));
    QCOMPARE(to_text(uint32(0)), QStringLiteral("0"));
    QCOMPARE(address_text(address), QStringLiteral("fa:01:02:03:04:05"));
    QCOMPARE(address_text_wire_order(address), QStringLiteral("05:04:03:02:01:fa"));
    QCOMPARE(hex_text(hex("00FFa0")), QStringLiteral("00ffa0"));
    QCOMPARE(ascii_text(QByteArray("abc\0def", 7)), QStringLiteral("abc"));
    QCOMPARE(ascii_text(QByteArray("abc")), QStringLiteral("abc"));
    QCOMPARE(ascii_text(QByteArray()), QString());
}

void tst_Conversions::dotted()
{
    QCOMPARE(dotted_text(0x01020304), QStringLiteral("1.2.3.4"));
    QCOMPARE(dotted_text(0xff0000fe), QStringLiteral("255.0.0.254"));
    QCOMPARE(from_dotted_text(QStringLiteral("1.2.3.4")), 0x01020304U);
    QCOMPARE(from_dotted_text(QStringLiteral("255.0.0.254")), 0xff0000feU);
    QCOMPARE(from_dotted_text(QStringLiteral("1.300")), 556U);
    QCOMPARE(from_dotted_text(QStringLiteral("7")), 7U);
    QCOMPARE(from_dotted_text(QStringLiteral("1..x.2")), 0x01000002U);
}

QTEST_GUILESS_MAIN(tst_Conversions)
#include "tst_conversions.moc"
