// The generated classes, records and tables, and by them the definition file, against the messages written by
// hand.

#include "tests/protocol/engine_log.h"

#include <QMetaMethod>
#include <QTest>

#include <array>
#include <tuple>

using namespace catalogue;

namespace {

const QMap<QByteArray, unsigned> type_codes = {{"uint8", 2},  {"int8", 3},       {"uint16", 4},  {"int16", 5},
                                               {"uint32", 6}, {"uint8array", 8}, {"bd_addr", 10}};

} // namespace

class tst_Catalogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Of the generated code, so that the hand-written messages cannot lose one unseen.
    void totals()
    {
        QMap<unsigned, int> codes;
        int results = 0;
        for (int i = 0; i < record_count; ++i) {
            for (uint32 types = record_at(i)->parameter_types; types != 0; types >>= 4)
                ++codes[types & 0xf];
            for (int f = 0; f < message_text_at(i).field_count; ++f)
                results += message_text_at(i).fields[f].is_result;
        }
        QCOMPARE(record_count, 269);
        QCOMPARE(messages().size(), 269);
        QCOMPARE(results, 75);
        QCOMPARE(codes, (QMap<unsigned, int>{{2, 210}, {3, 2}, {4, 159}, {5, 1}, {6, 12}, {8, 49}, {10, 8}}));
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
        int class_id = 0;
        int response = 116; // index of its record
        for (const auto &[name, commands, events] : rows) {
            QObject *object = class_object(engine, class_id);
            const QMetaObject *meta = object->metaObject();
            QCOMPARE(QByteArray(meta->className()), QByteArray("cls_ble_") + name);
            QVERIFY(!object->parent());
            QVERIFY(object->qt_metacast("ble_sub"));

            QByteArrayList expected;
            for (const Kind kind : {Kind::response, Kind::event, Kind::command}) {
                for (const Message &m : messages()) {
                    if (m.kind != kind || m.class_id != class_id)
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

            QCOMPARE(int(response_table[class_id].count), commands);
            QCOMPARE(int(event_table[class_id].count), events);
            for (int id = 0; id < commands; ++id)
                QCOMPARE(response_table[class_id].records[id], record_at(response++));
            for (int id = 0; id < events; ++id)
                QCOMPARE(event_table[class_id].records[id]->header[3], uint8(id));
            ++class_id;
        }
    }

    void records()
    {
        Rig rig;
        for (int i = 0; i < record_count; ++i) {
            const Message &m = messages().at(i);
            const message_record &record = *record_at(i);
            int length = 0;
            uint32 types = 0;
            for (int f = 0; f < m.fields.size(); ++f) {
                length += m.fields.at(f).size;
                types |= type_codes.value(m.fields.at(f).type) << (4 * f);
            }
            QCOMPARE(m.fixed_length, length);
            QCOMPARE(QByteArray(reinterpret_cast<const char *>(record.header), 4),
                     frame(m, QByteArray(length, '\0')).left(4));
            QCOMPARE(record.parameter_types, types);
            QCOMPARE(message_name(i), QString::fromLatin1(m.class_name + '_' + m.name));
            if (m.kind == Kind::command)
                record.handler(&rig.engine, {"", 0});
        }
        QVERIFY2(rig.log.entries.isEmpty(), "the handlers of command records do nothing");

        const message_record &closing = *record_at(269);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(closing.header), 4), QByteArray(4, '\0'));
        QVERIFY(closing.parameter_types == 0 && !closing.handler);
    }

    // The record that a header leads to, by class and id and by the two plain searches; -1 for none.
    void lookup()
    {
        const std::tuple<std::array<uint8, 4>, int, int, int> cases[] = {
            {{0x00, 0x00, 0x00, 0x00}, 116, 0, 116}, // the backward one never comes to the first record
            {{0x07, 0xff, 0x00, 0x01}, 117, 1, 117},   {{0x00, 0x00, 0x09, 0x05}, 231, 115, 231},
            {{0x80, 0x0c, 0x00, 0x00}, 232, 232, 232}, {{0x87, 0x04, 0x09, 0x00}, 268, 268, 268},
            {{0x00, 0x00, 0x00, 0x15}, -1, -1, -1},    {{0x80, 0x00, 0x00, 0x08}, -1, -1, -1},
            {{0x00, 0x00, 0x07, 0x17}, -1, -1, -1},    {{0x80, 0x00, 0x08, 0x00}, -1, -1, -1},
            {{0x00, 0x00, 0x0a, 0x00}, -1, -1, -1},    {{0x80, 0x00, 0x0a, 0x00}, -1, -1, -1},
            {{0x00, 0x00, 0xff, 0xff}, -1, -1, -1},    {{0x08, 0x00, 0x00, 0x01}, 117, -1, -1},
        };
        const auto index = [](const message_record *found) { return found ? int(found - record_at(0)) : -1; };
        for (const auto &[header, received, forward, backward] : cases) {
            const uint32 word =
                header[0] | uint32(header[1]) << 8 | uint32(header[2]) << 16 | uint32(header[3]) << 24;
            QCOMPARE(index(cls_ble::find_response_or_event(word)), received);
            QCOMPARE(index(find_record_forward(header.data())), forward);
            QCOMPARE(index(find_record_backward(header.data())), backward);
        }
    }
};

QTEST_GUILESS_MAIN(tst_Catalogue)
#include "tst_catalogue.moc"
