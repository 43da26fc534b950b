// What is made of the definition file, classes, records and tables, against the messages written by hand; the
// build-time tool that makes it: same definition, same bytes, and a faulty definition is refused; the words
// for result codes, the registered types, and wire types to bytes and text and back.

#include "protocol/api_base.h"
#include "protocol/conversions.h"
#include "protocol/error_table.h"
#include "tests/protocol/engine_log.h"

#include <QDir>
#include <QFile>
#include <QMetaMethod>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <tuple>

using namespace catalogue;

namespace {

const QMap<QByteArray, unsigned> typeCodes = {{"uint8", 2},  {"int8", 3},       {"uint16", 4},  {"int16", 5},
                                              {"uint32", 6}, {"uint8array", 8}, {"bd_addr", 10}};

template <typename Key>
QString listed(const QHash<Key, QString> &table)
{
    static_assert(sizeof(Key) == 4);
    QMap<uint, QString> sorted;
    for (auto it = table.begin(); it != table.end(); ++it)
        sorted.insert(uint(it.key()), QStringLiteral("%1 %2").arg(it.key()).arg(it.value()));
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

QString parsedArray(const char *text)
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

// The exit code, or -1, and the complaint.
std::pair<int, QByteArray> generate(const QString &definition, const QString &folder)
{
    QProcess process;
    process.start(QStringLiteral(GENERATOR), {definition, folder});
    const bool ended = process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit;
    return {ended ? process.exitCode() : -1, process.readAllStandardError()};
}

QMap<QString, QByteArray> contents(const QString &folder)
{
    QMap<QString, QByteArray> files;
    for (const QString &name : QDir(folder).entryList(QDir::Files)) {
        QFile file(folder + QLatin1Char('/') + name);
        if (file.open(QIODevice::ReadOnly))
            files.insert(name, file.readAll());
    }
    return files;
}

} // namespace

class TestCatalogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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

    // Signals of responses, signals of events, slots of commands, each by message id; names and types to the
    // letter.
    void classes()
    {
        const std::tuple<const char *, int, int> rows[] = {
            {"system", 21, 8},    {"flash", 9, 1}, {"attributes", 6, 3}, {"connection", 10, 5},
            {"attclient", 12, 7}, {"sm", 9, 5},    {"gap", 13, 2},       {"hardware", 23, 5},
            {"test", 7, 0},       {"dfu", 6, 1}};
        cls_ble engine;
        int classId = 0;
        int response = 116; // index of its record
        for (const auto &[name, commands, events] : rows) {
            QObject *object = classObject(engine, classId);
            const QMetaObject *meta = object->metaObject();
            QCOMPARE(QByteArray(meta->className()), QByteArray("cls_ble_") + name);
            QVERIFY(!object->parent());
            QVERIFY(object->qt_metacast("ble_sub"));

            QByteArrayList expected;
            for (const Kind kind : {Kind::response, Kind::event, Kind::command}) {
                for (const Message &m : messages()) {
                    if (m.kind != kind || m.classId != classId)
                        continue;
                    QByteArrayList names;
                    for (const Field &field : m.fields)
                        names += field.name;
                    expected +=
                        (kind == Kind::command ? "slot " : "signal ") + m.signature() + names.join(' ');
                }
            }
            QByteArrayList found;
            for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
                const QMetaMethod method = meta->method(i);
                QCOMPARE(method.access(), QMetaMethod::Public);
                found += (method.methodType() == QMetaMethod::Slot ? "slot " : "signal ") +
                         method.methodSignature() + method.parameterNames().join(' ');
            }
            QCOMPARE(found, expected);
            QCOMPARE(found.size(), 2 * commands + events);

            QCOMPARE(int(response_table[classId].count), commands);
            QCOMPARE(int(event_table[classId].count), events);
            for (int id = 0; id < commands; ++id)
                QCOMPARE(response_table[classId].records[id], record_at(response++));
            for (int id = 0; id < events; ++id)
                QCOMPARE(event_table[classId].records[id]->header[3], uint8(id));
            ++classId;
        }
    }

    void records()
    {
        QCOMPARE(record_count, 269);
        QCOMPARE(messages().size(), 269); // the hand-written ones cannot lose one unseen
        Rig rig;
        for (int i = 0; i < record_count; ++i) {
            const Message &m = messages().at(i);
            const message_record &record = *record_at(i);
            int length = 0;
            uint32 types = 0;
            for (int f = 0; f < m.fields.size(); ++f) {
                length += m.fields.at(f).size;
                types |= typeCodes.value(m.fields.at(f).type) << (4 * f);
            }
            QCOMPARE(m.fixedLength, length);
            QCOMPARE(QByteArray(reinterpret_cast<const char *>(record.header), 4),
                     frame(m, QByteArray(length, '\0')).left(4));
            QCOMPARE(record.parameter_types, types);
            QCOMPARE(message_name(i), QString::fromLatin1(m.className + '_' + m.name));
            if (m.kind == Kind::command)
                record.handler(&rig.engine, {"", 0});
        }
        QVERIFY2(rig.log.entries.isEmpty(), "the handlers of command records do nothing");

        const message_record &closing = *record_at(269);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(closing.header), 4), QByteArray(4, '\0'));
        QVERIFY(closing.parameter_types == 0 && !closing.handler);
    }

    void lookup()
    {
        const auto index = [](const message_record *found) { return found ? int(found - record_at(0)) : -1; };
        for (const QStringList &row : rows("lookup.txt", 4)) {
            const QByteArray bytes = hex(row.at(0).toLatin1());
            const auto *header = reinterpret_cast<const uint8 *>(bytes.constData());
            const uint32 word =
                header[0] | uint32(header[1]) << 8 | uint32(header[2]) << 16 | uint32(header[3]) << 24;
            const int found[] = {index(cls_ble::find_response_or_event(word)),
                                 index(find_record_forward(header)), index(find_record_backward(header))};
            for (int way = 0; way < 3; ++way)
                QCOMPARE(found[way], row.at(way + 1).toInt());
        }
    }

    void errorTexts()
    {
        error_table.clear();
        cls_ble engine;
        const QVector<QStringList> errors = rows("errors.txt");
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
        const QVector<QStringList> expected = rows("names.txt");
        QCOMPARE(expected.size(), found.size());
        for (int i = 0; i < found.size(); ++i)
            QCOMPARE(found.at(i), expected.at(i).at(0).section(QStringLiteral(": "), 1));
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
        QCOMPARE(joined({parsedArray("0aFF"), parsedArray("0a:ff zz"), parsedArray("aff")}),
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

    void sameBytesAgain()
    {
        QTemporaryDir folder;
        const QString first = folder.filePath(QStringLiteral("first"));
        const QString second = folder.filePath(QStringLiteral("deeper/second"));
        QCOMPARE(generate(QStringLiteral(DEFINITION_FILE), first).first, 0);
        QCOMPARE(generate(QStringLiteral(DEFINITION_FILE), second).first, 0);
        QCOMPARE(contents(first).size(), 22);
        QVERIFY(contents(first) == contents(second));
        // Over what is already there, too.
        QCOMPARE(generate(QStringLiteral(DEFINITION_FILE), first).first, 0);
        QVERIFY(contents(first) == contents(second));
    }

    void faultyDefinitions()
    {
        QFile source(QStringLiteral(DEFINITION_FILE));
        QVERIFY(source.open(QIODevice::ReadOnly));
        const QByteArray good = source.readAll();
        for (const QStringList &row : rows("faults.txt", 4)) {
            const QByteArray was = row.at(1).toLatin1();
            QVERIFY2(good.contains(was), was.constData());
            const QTemporaryDir folder;
            QFile file(folder.filePath(QStringLiteral("faulty.xml")));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(good).replace(was, row.at(2).toLatin1()));
            file.close();
            const QString out = folder.filePath(QStringLiteral("out"));
            const auto [code, message] = generate(file.fileName(), out);
            QVERIFY2(code > 0 && message.contains(row.at(3).toLatin1()), qPrintable(row.at(0)));
            QVERIFY(contents(out).isEmpty());
        }
    }

    void badPaths()
    {
        QTemporaryDir folder;
        const auto [code, message] = generate(folder.filePath(QStringLiteral("none.xml")), folder.path());
        QVERIFY2(code > 0 && message.contains("none.xml"), message.constData());
        // A file where the folder should be.
        const auto [other_code, other_message] =
            generate(QStringLiteral(DEFINITION_FILE), QStringLiteral(DEFINITION_FILE));
        QVERIFY2(other_code > 0 && !other_message.isEmpty(), other_message.constData());
    }
};

QTEST_GUILESS_MAIN(TestCatalogue)
#include "tst_catalogue.moc"
