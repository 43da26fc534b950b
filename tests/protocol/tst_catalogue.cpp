// The generated classes, records and tables, and the definition file, against the messages written by hand.

#include "tests/protocol/engine_log.h"

#include <QDomDocument>
#include <QFile>
#include <QMetaMethod>
#include <QTest>

#include <cstring>

using namespace catalogue;

namespace {

const QMap<QByteArray, unsigned> type_codes = {{"uint8", 2},  {"int8", 3},       {"uint16", 4},  {"int16", 5},
                                               {"uint32", 6}, {"uint8array", 8}, {"bd_addr", 10}};

QVector<Message> of(Kind kind, int class_id)
{
    QVector<Message> found;
    for (const Message &m : messages()) {
        if (m.kind == kind && m.class_id == class_id)
            found.append(m);
    }
    return found;
}

// "uint8 connection, uint16! result" of a list of "param" elements.
QString described(const QDomElement &parent)
{
    QStringList fields;
    for (QDomElement e = parent.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
        const bool is_result = e.attribute(QStringLiteral("show")) == QLatin1String("result");
        fields.append(e.attribute(QStringLiteral("type")) +
                      (is_result ? QStringLiteral("! ") : QStringLiteral(" ")) +
                      e.attribute(QStringLiteral("name")));
    }
    return fields.join(QStringLiteral(", "));
}

QString described(const Message &message)
{
    QStringList fields;
    for (const Field &field : message.fields)
        fields.append(QString::fromLatin1(field.type + (field.is_result ? "! " : " ") + field.name));
    return fields.join(QStringLiteral(", "));
}

} // namespace

class tst_Catalogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void totals();
    void classes_data();
    void classes();
    void engineClass();
    void records();
    void indexTables();
    void lookup_data();
    void lookup();
    void plainSearches();
    void definitionFile();
};

void tst_Catalogue::totals()
{
    QMap<unsigned, int> codes;
    QMap<Kind, int> kinds;
    QMap<Kind, int> results;
    for (int i = 0; i < record_count; ++i) {
        for (uint32 types = record_at(i)->parameter_types; types != 0; types >>= 4)
            ++codes[types & 0xf];
        const Kind kind = messages().at(i).kind;
        ++kinds[kind];
        const message_text &text = message_text_at(i);
        for (int f = 0; f < text.field_count; ++f)
            results[kind] += text.fields[f].is_result;
    }
    QCOMPARE(messages().size(), 269);
    QCOMPARE(kinds, (QMap<Kind, int>{{Kind::command, 116}, {Kind::response, 116}, {Kind::event, 37}}));
    QCOMPARE(results, (QMap<Kind, int>{{Kind::command, 0}, {Kind::response, 71}, {Kind::event, 4}}));
    QCOMPARE(codes, (QMap<unsigned, int>{{2, 210}, {3, 2}, {4, 159}, {5, 1}, {6, 12}, {8, 49}, {10, 8}}));
}

void tst_Catalogue::classes_data()
{
    QTest::addColumn<int>("class_id");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("commands");
    QTest::addColumn<int>("events");
    QTest::newRow("system") << 0 << QByteArray("cls_ble_system") << 21 << 8;
    QTest::newRow("flash") << 1 << QByteArray("cls_ble_flash") << 9 << 1;
    QTest::newRow("attributes") << 2 << QByteArray("cls_ble_attributes") << 6 << 3;
    QTest::newRow("connection") << 3 << QByteArray("cls_ble_connection") << 10 << 5;
    QTest::newRow("attclient") << 4 << QByteArray("cls_ble_attclient") << 12 << 7;
    QTest::newRow("sm") << 5 << QByteArray("cls_ble_sm") << 9 << 5;
    QTest::newRow("gap") << 6 << QByteArray("cls_ble_gap") << 13 << 2;
    QTest::newRow("hardware") << 7 << QByteArray("cls_ble_hardware") << 23 << 5;
    QTest::newRow("test") << 8 << QByteArray("cls_ble_test") << 7 << 0;
    QTest::newRow("dfu") << 9 << QByteArray("cls_ble_dfu") << 6 << 1;
}

// Signals of responses, signals of events, slots of commands, each by message id; names and types to the
// letter.
void tst_Catalogue::classes()
{
    QFETCH(int, class_id);
    QFETCH(QByteArray, name);
    QFETCH(int, commands);
    QFETCH(int, events);

    cls_ble engine;
    QObject *object = class_object(engine, class_id);
    const QMetaObject *meta = object->metaObject();
    QCOMPARE(QByteArray(meta->className()), name);
    QCOMPARE(object->parent(), nullptr);
    QVERIFY(object->qt_metacast(name.constData()));
    QVERIFY(object->qt_metacast("ble_sub"));
    QVERIFY(object->qt_metacast("ble_sub") != static_cast<void *>(object));
    QVERIFY(!object->qt_metacast("cls_ble"));

    const QVector<Message> expected =
        of(Kind::response, class_id) + of(Kind::event, class_id) + of(Kind::command, class_id);
    QCOMPARE(of(Kind::command, class_id).size(), commands);
    QCOMPARE(of(Kind::event, class_id).size(), events);
    QCOMPARE(meta->methodCount() - meta->methodOffset(), expected.size());
    for (int i = 0; i < expected.size(); ++i) {
        const Message &m = expected.at(i);
        const QMetaMethod method = meta->method(meta->methodOffset() + i);
        QCOMPARE(method.methodSignature(), m.signature());
        QCOMPARE(method.methodType(), m.kind == Kind::command ? QMetaMethod::Slot : QMetaMethod::Signal);
        QCOMPARE(method.access(), QMetaMethod::Public);
        QCOMPARE(QByteArray(method.typeName()), QByteArray("void"));
        QList<QByteArray> names;
        for (const Field &field : m.fields)
            names.append(field.name);
        QCOMPARE(method.parameterNames(), names);
    }
}

void tst_Catalogue::engineClass()
{
    const QMetaObject &meta = cls_ble::staticMetaObject;
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.append(QString::fromLatin1(meta.method(i).methodSignature() + ' ' +
                                           meta.method(i).parameterNames().join(',')));
    QCOMPARE(methods, (QStringList{QStringLiteral("parsed_message_str(QStringList) str"),
                                   QStringLiteral("parsed_message_data(QByteArray) data"),
                                   QStringLiteral("tx_data(QByteArray) data"),
                                   QStringLiteral("rx_data(QByteArray) data")}));
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
}

void tst_Catalogue::records()
{
    cls_ble engine;
    EngineLog log(engine);
    for (int i = 0; i < record_count; ++i) {
        const Message &m = messages().at(i);
        const message_record &record = *record_at(i);
        const QByteArray header(reinterpret_cast<const char *>(record.header), 4);
        QByteArray expected = frame_of(m, QByteArray(m.fixed_length, '\0')).left(4);
        QVERIFY2(header == expected, m.title().constData());
        int length = 0;
        uint32 types = 0;
        for (int f = 0; f < m.fields.size(); ++f) {
            QVERIFY2(!is_array(m.fields.at(f)) || f + 1 == m.fields.size(), m.title().constData());
            length += wire_size(m.fields.at(f));
            types |= type_codes.value(m.fields.at(f).type) << (4 * f);
        }
        QVERIFY2(m.fixed_length == length, m.title().constData());
        QVERIFY2(record.parameter_types == types, m.title().constData());
        QCOMPARE(message_name(i), QString::fromLatin1(m.class_name() + '_' + m.name));
        if (m.kind == Kind::command)
            record.handler(&engine, {"", 0});
    }
    QVERIFY2(log.entries.isEmpty(), "the handlers of command records do nothing");

    const message_record &closing = *record_at(269);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(closing.header), 4), QByteArray(4, '\0'));
    QCOMPARE(closing.parameter_types, 0U);
    QVERIFY(!closing.handler);

    const int bases[] = {0, 21, 30, 36, 46, 58, 67, 80, 103, 110};
    for (int c = 0; c < 10; ++c) {
        QCOMPARE(record_at(bases[c])->header[2], uint8(c));
        QCOMPARE(record_at(bases[c])->header[3], uint8(0));
    }
}

void tst_Catalogue::indexTables()
{
    const uint32 responses[] = {21, 9, 6, 10, 12, 9, 13, 23, 7, 6};
    const uint32 events[] = {8, 1, 3, 5, 7, 5, 2, 5, 0, 1};
    int response = 116;
    int event = 232;
    for (int c = 0; c < 10; ++c) {
        QCOMPARE(response_table[c].count, responses[c]);
        QCOMPARE(event_table[c].count, events[c]);
        for (uint32 id = 0; id < responses[c]; ++id)
            QCOMPARE(response_table[c].records[id], record_at(response++));
        for (uint32 id = 0; id < events[c]; ++id)
            QCOMPARE(event_table[c].records[id], record_at(event++));
    }
    QVERIFY(!event_table[8].records);
}

void tst_Catalogue::lookup_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<int>("index"); // -1 for no record
    QTest::newRow("first response") << hex("00000000") << 116;
    QTest::newRow("hello") << hex("00000001") << 117;
    QTest::newRow("length bits ignored") << hex("07ff0001") << 117;
    QTest::newRow("last response") << hex("00000905") << 231;
    QTest::newRow("first event") << hex("800c0000") << 232;
    QTest::newRow("last event") << hex("80040900") << 268;
    QTest::newRow("one past system's responses") << hex("00000015") << -1;
    QTest::newRow("one past system's events") << hex("80000008") << -1;
    QTest::newRow("one past hardware's responses") << hex("00000717") << -1;
    QTest::newRow("event of class 8") << hex("80000800") << -1;
    QTest::newRow("class 10 response") << hex("00000a00") << -1;
    QTest::newRow("class 10 event") << hex("80000a00") << -1;
    QTest::newRow("class 255") << hex("0000ffff") << -1;
}

void tst_Catalogue::lookup()
{
    QFETCH(QByteArray, header);
    QFETCH(int, index);
    uint32 word = 0;
    for (int i = 3; i >= 0; --i)
        word = (word << 8) | static_cast<uint8>(header.at(i));
    QCOMPARE(cls_ble::find_response_or_event(word), index < 0 ? nullptr : record_at(index));
}

void tst_Catalogue::plainSearches()
{
    struct
    {
        uint8 header[4];
        int forward;
        int backward;
    } const cases[] = {
        {{0x00, 0x00, 0x00, 0x00}, 0, 116}, // the backward one never comes to the first record
        {{0x07, 0xff, 0x00, 0x01}, 1, 117},   {{0x80, 0x00, 0x00, 0x00}, 232, 232},
        {{0x00, 0x00, 0x09, 0x05}, 115, 231}, {{0x87, 0x00, 0x09, 0x00}, 268, 268},
        {{0x08, 0x00, 0x00, 0x01}, -1, -1},   {{0x80, 0x00, 0x08, 0x00}, -1, -1},
        {{0x00, 0x00, 0x00, 0x15}, -1, -1},   {{0x00, 0x00, 0x0a, 0x00}, -1, -1},
    };
    for (const auto &c : cases) {
        QCOMPARE(find_record_forward(c.header), c.forward < 0 ? nullptr : record_at(c.forward));
        QCOMPARE(find_record_backward(c.header), c.backward < 0 ? nullptr : record_at(c.backward));
    }
}

void tst_Catalogue::definitionFile()
{
    QFile file(QStringLiteral(DEFINITION_FILE));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QDomDocument document;
    QVERIFY(document.setContent(&file));

    QStringList found;
    const auto collect = [&found](const QDomElement &e, const char *kind, int class_id, const char *part) {
        found.append(QStringLiteral("%1 %2 %3 %4: %5")
                         .arg(QLatin1String(kind), QString::number(class_id),
                              e.attribute(QStringLiteral("index")), e.attribute(QStringLiteral("name")),
                              described(e.firstChildElement(QLatin1String(part)))));
    };
    int class_id = 0;
    const QDomElement root = document.documentElement();
    for (QDomElement c = root.firstChildElement(); !c.isNull(); c = c.nextSiblingElement(), ++class_id) {
        QCOMPARE(c.tagName(), QStringLiteral("class"));
        for (QDomElement e = c.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
            if (e.tagName() == QLatin1String("command")) {
                collect(e, "cmd", class_id, "params");
                collect(e, "rsp", class_id, "returns");
            } else if (e.tagName() == QLatin1String("event")) {
                collect(e, "evt", class_id, "params");
            }
        }
    }
    QStringList expected;
    for (const Message &m : messages())
        expected.append(QStringLiteral("%1 %2 %3 %4: %5")
                            .arg(QString::fromLatin1(m.method_name().left(3)), QString::number(m.class_id),
                                 QString::number(m.id), QString::fromLatin1(m.name), described(m)));
    found.sort();
    expected.sort();
    QCOMPARE(found, expected);
}

QTEST_GUILESS_MAIN(tst_Catalogue)
#include "tst_catalogue.moc"
