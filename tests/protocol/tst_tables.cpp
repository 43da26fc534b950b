// The words for result codes, the symbolic names, the registered types; wire types to bytes and text and
// back.

#include "protocol/api_base.h"
#include "protocol/cls_ble.h"
#include "protocol/conversions.h"
#include "protocol/error_table.h"
#include "tests/protocol/catalogue.h"

#include <QMetaType>
#include <QTest>

namespace {

template <typename Key>
QString listed(const QHash<Key, QString> &table)
{
    static_assert(sizeof(Key) == 4);
    QMap<uint, QString> sorted;
    for (auto it = table.begin(); it != table.end(); ++it)
        sorted.insert(static_cast<uint>(it.key()), QStringLiteral("%1 %2").arg(it.key()).arg(it.value()));
    return QStringList(sorted.begin(), sorted.end()).join(QStringLiteral(", "));
}

// The value that `text` reads as, in wire bytes.
template <typename T>
QString parsed(const char *text)
{
    T value{};
    std::fill_n(reinterpret_cast<char *>(&value), sizeof(value), '\xee');
    from_text(QString::fromLatin1(text), value);
    return QString::fromLatin1(to_bytes(value).toHex());
}

QString parsed_array(const char *text)
{
    QByteArray value;
    from_text(QString::fromLatin1(text), value);
    return QString::fromLatin1(value.toHex());
}

template <typename T>
QString bytes(T value)
{
    return QString::fromLatin1(to_bytes(value).toHex());
}

QString reversed(const char *digits)
{
    QByteArray value = hex(digits);
    const QByteArray shared = value;
    reverse_bytes(value);
    return QString::fromLatin1(shared.toHex() + ' ' + value.toHex());
}

} // namespace

class tst_Tables : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errorTexts();
    void secondEngineLeavesTable();
    void names();
    void metaTypes();
    void conversions();
};

void tst_Tables::errorTexts()
{
    error_table.clear();
    cls_ble engine;
    const QVector<QStringList> errors = catalogue::rows("errors.txt");
    QCOMPARE(errors.size(), 60);
    for (const QStringList &row : errors)
        QCOMPARE(error_text(row.at(0).left(4).toUShort(nullptr, 16)), row.at(0).mid(5));
    QCOMPARE(error_table.size(), 60);
    // Unknown ones are kept, empty. A known family is no fall-back.
    for (const uint16 code : {uint16(0x0123), uint16(0x0123), uint16(0x0201)})
        QCOMPARE(error_text(code), QString());
    QCOMPARE(error_table.size(), 62);
}

void tst_Tables::secondEngineLeavesTable()
{
    error_table.clear();
    cls_ble first;
    error_table[0x0100] = QStringLiteral("changed");
    error_table.remove(0x0480);
    cls_ble second;
    QCOMPARE(error_table.size(), 59);
    QCOMPARE(error_table.value(0x0100), QStringLiteral("changed"));
    error_table.clear();
    cls_ble third;
    QCOMPARE(error_table.size(), 60);
}

void tst_Tables::names()
{
    const cls_ble e;
    const QStringList found = {
        listed(e.system.endpoint_names),        listed(e.attributes.change_reason_names),
        listed(e.attributes.status_flag_names), listed(e.connection.connection_status_names),
        listed(e.attclient.value_type_names),   listed(e.sm.bonding_key_names),
        listed(e.sm.io_capability_names),       listed(e.gap.address_type_names),
        listed(e.gap.discoverable_mode_names),  listed(e.gap.connectable_mode_names),
        listed(e.gap.discover_mode_names),      listed(e.gap.ad_type_names),
        listed(e.gap.adv_policy_names),         listed(e.gap.scan_policy_names)};
    const QVector<QStringList> expected = catalogue::rows("names.txt");
    QCOMPARE(expected.size(), found.size());
    for (int i = 0; i < found.size(); ++i)
        QCOMPARE(found.at(i), expected.at(i).at(0).section(QStringLiteral(": "), 1));
}

void tst_Tables::metaTypes()
{
    QCOMPARE(QMetaType::type("bd_addr"), 0);
    register_meta_types();
    QCOMPARE(QMetaType::type("uint8"), int(QMetaType::UChar));
    QCOMPARE(QMetaType::type("uint16"), int(QMetaType::UShort));
    QCOMPARE(QMetaType::sizeOf(QMetaType::type("bd_addr")), 6);
    QCOMPARE(QMetaType::sizeOf(QMetaType::type("api_base::msg_type")), 4);

    const QMetaObject &meta = vs::api_base::staticMetaObject;
    QCOMPARE(QByteArray(meta.className()), QByteArray("vs::api_base"));
    QVERIFY(meta.indexOfSignal("LogMsg(api_base::msg_type,QString,QByteArray)") >= 0);
    QVERIFY(meta.indexOfSignal("exit()") >= 0);
}

void tst_Tables::conversions()
{
    const bd_addr address{{0x05, 0x04, 0x03, 0x02, 0x01, 0xfa}};
    const auto undotted = [](const char *text) {
        return QString::number(from_dotted_text(QString::fromLatin1(text)), 16);
    };
    const struct
    {
        QString found;
        const char *expected;
    } cases[] = {
        {reversed(""), " "},
        {reversed("0102"), "0102 0201"},
        {reversed("010203"), "010203 030201"},
        {bytes(uint8(0xfe)), "fe"},
        {bytes(int8(-1)), "ff"},
        {bytes(uint16(0x1234)), "3412"},
        {bytes(int16(-2)), "feff"},
        {bytes(uint32(0x12345678)), "78563412"},
        {bytes(address), "0504030201fa"},
        {QString::fromLatin1(array_to_bytes(QByteArray()).toHex()), "00"},
        {QString::fromLatin1(array_to_bytes(hex("aabb")).toHex()), "02aabb"},
        {QString::fromLatin1(array_to_bytes(QByteArray(300, 'x')).left(2).toHex()), "2c78"},
        {parsed<uint8>("1f"), "1f"},
        {parsed<uint8>("0x1F"), "1f"},
        {parsed<uint8>("1ff"), "ff"},
        {parsed<uint8>("no"), "00"},
        {parsed<uint8>(""), "00"},
        {parsed<int8>("-50"), "ce"},
        {parsed<int8>("1f"), "00"},
        {parsed<uint16>("2800"), "0028"},
        {parsed<int16>("-300"), "d4fe"},
        {parsed<uint32>("ffffffff"), "ffffffff"},
        {parsed<uint32>("1ffffffff"), "00000000"},
        {parsed_array("0aFF"), "0aff"},
        {parsed_array("0a:ff zz"), "0aff"},
        {parsed_array("aff"), "0aff"},
        {parsed<bd_addr>("00:07:80:aa:BB:cc"), "000780aabbcc"},
        {parsed<bd_addr>("1ff:7:80:aa:bb:zz"), "ff0780aabb00"},
        {parsed<bd_addr>("1:2:3:4:5:6:7"), "010203040506"},
        {parsed<bd_addr>(":::::"), "000000000000"},
        {parsed<bd_addr>("1:2:3:4:5"), "eeeeeeeeeeee"}, // stays unset
        {parsed<bd_addr>(""), "eeeeeeeeeeee"},
        {to_text(uint8(0x0a)), "a"},
        {to_text(int8(-128)), "-128"},
        {to_text(uint16(0xff00)), "ff00"},
        {to_text(int16(-2)), "-2"},
        {to_text(uint32(0xffffffff)), "ffffffff"},
        {address_text(address), "fa:01:02:03:04:05"},
        {address_text_wire_order(address), "05:04:03:02:01:fa"},
        {hex_text(hex("00FFa0")), "00ffa0"},
        {ascii_text(QByteArray("abc\0def", 7)), "abc"},
        {ascii_text(QByteArray("abc")), "abc"},
        {dotted_text(0xff0203fe), "255.2.3.254"},
        {undotted("255.2.3.254"), "ff0203fe"},
        {undotted("1.300"), "22c"},
        {undotted("1..x.2"), "1000002"},
    };
    for (const auto &c : cases)
        QCOMPARE(c.found, QString::fromLatin1(c.expected));
}

QTEST_GUILESS_MAIN(tst_Tables)
#include "tst_tables.moc"
