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
    return hex_text(to_bytes(value));
}

QString parsed_array(const char *text)
{
    QByteArray value;
    from_text(QString::fromLatin1(text), value);
    return hex_text(value);
}

QString reversed(const char *digits)
{
    QByteArray value = hex(digits);
    const QByteArray shared = value;
    reverse_bytes(value);
    return hex_text(shared + value);
}

QString joined(const QStringList &texts)
{
    return texts.join(u' ');
}

} // namespace

class tst_Tables : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errorTexts()
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
        engine.rx_data(hex("00020602ffff 00020602ffff"));
        engine.rx_data(hex("800305010124ff")); // bonding_fail looks nothing up
        QCOMPARE(error_table.size(), 63);
        QVERIFY(error_table.contains(0xffff));

        error_table[0x0100] = QStringLiteral("changed");
        error_table.remove(0x0480);
        const cls_ble second; // leaves the table alone
        QCOMPARE(error_table.size(), 62);
        QCOMPARE(error_table.value(0x0100), QStringLiteral("changed"));
        error_table.clear();
        const cls_ble third;
        QCOMPARE(error_table.size(), 60);
    }

    void names()
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

    void metaTypes()
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

    void conversions()
    {
        const bd_addr address{{0x05, 0x04, 0x03, 0x02, 0x01, 0xfa}};
        const auto undotted = [](const char *text) {
            return QString::number(from_dotted_text(QString::fromLatin1(text)), 16);
        };
        QCOMPARE(joined({reversed(""), reversed("0102"), reversed("010203")}),
                 QStringLiteral(" 01020201 010203030201"));
        QCOMPARE(hex_text(to_bytes(uint8(0xfe)) + to_bytes(int8(-1)) + to_bytes(uint16(0x1234)) +
                          to_bytes(int16(-2)) + to_bytes(uint32(0x12345678)) + to_bytes(address)),
                 QStringLiteral("feff3412feff785634120504030201fa"));
        QCOMPARE(hex_text(array_to_bytes({}) + array_to_bytes(hex("aabb")) +
                          array_to_bytes(QByteArray(300, 'x')).left(2)),
                 QStringLiteral("0002aabb2c78"));
        QCOMPARE(joined({parsed<uint8>("1f"), parsed<uint8>("0x1F"), parsed<uint8>("1ff"),
                         parsed<uint8>("no"), parsed<uint8>("")}),
                 QStringLiteral("1f 1f ff 00 00"));
        QCOMPARE(
            joined({parsed<int8>("-50"), parsed<int8>("1f"), parsed<uint16>("2800"), parsed<int16>("-300")}),
            QStringLiteral("ce 00 0028 d4fe"));
        QCOMPARE(joined({parsed<uint32>("ffffffff"), parsed<uint32>("1ffffffff")}),
                 QStringLiteral("ffffffff 00000000"));
        QCOMPARE(joined({parsed_array("0aFF"), parsed_array("0a:ff zz"), parsed_array("aff")}),
                 QStringLiteral("0aff 0aff 0aff"));
        QCOMPARE(joined({parsed<bd_addr>("00:07:80:aa:BB:cc"), parsed<bd_addr>("1ff:7:80:aa:bb:zz"),
                         parsed<bd_addr>("1:2:3:4:5:6:7"), parsed<bd_addr>(":::::")}),
                 QStringLiteral("000780aabbcc ff0780aabb00 010203040506 000000000000"));
        QCOMPARE(joined({parsed<bd_addr>("1:2:3:4:5"), parsed<bd_addr>("")}), // stay unset
                 QStringLiteral("eeeeeeeeeeee eeeeeeeeeeee"));
        QCOMPARE(joined({to_text(uint8(0x0a)), to_text(int8(-128)), to_text(uint16(0xff00)),
                         to_text(int16(-2)), to_text(uint32(0xffffffff))}),
                 QStringLiteral("a -128 ff00 -2 ffffffff"));
        QCOMPARE(joined({address_text(address), address_text_wire_order(address)}),
                 QStringLiteral("fa:01:02:03:04:05 05:04:03:02:01:fa"));
        QCOMPARE(joined({hex_text(hex("00FFa0")), ascii_text(QByteArray("abc\0def", 7)), ascii_text("abc")}),
                 QStringLiteral("00ffa0 abc abc"));
        QCOMPARE(
            joined({dotted_text(0xff0203fe), undotted("255.2.3.254"), undotted("1.300"), undotted("1..x.2")}),
            QStringLiteral("255.2.3.254 ff0203fe 22c 1000002"));
    }
};

QTEST_GUILESS_MAIN(tst_Tables)
#include "tst_tables.moc"
