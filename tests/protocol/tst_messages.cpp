// Every message: from a slot call to its frame, and from a frame to its signal; log lines both ways.

#include "protocol/error_table.h"
#include "protocol/serializer.h"
#include "tests/protocol/engine_log.h"

#include <QTest>

#include <cstring>
#include <memory>

using namespace catalogue;

namespace {

// What a writer was handed, both pieces as hex digits.
void write_down(void *context, uint8 header_len, const char *header, uint16 array_len, const char *array)
{
    *static_cast<QByteArray *>(context) =
        QByteArray(header, header_len).toHex() + '|' + QByteArray(array, array_len).toHex();
}

class SendCatcher : public cls_ble
{
public:
    void send_message(uint8 header_len, const char *header, uint16 array_len, const char *array) override
    {
        write_down(&written, header_len, header, array_len, array);
    }
    QByteArray written;
};

} // namespace

class tst_Messages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sent_data();
    void sent();
    void received_data();
    void received();
    void everyMessage_data();
    void everyMessage();
    void typedArguments();
    void longArrays_data();
    void longArrays();
    void piecesReachSendMessage();
    void recordsOfAnyType_data();
    void recordsOfAnyType();
    void unknownResultGrowsTable();
};

void tst_Messages::sent_data()
{
    QTest::addColumn<QStringList>("row");
    for (const QStringList &row : rows("sent.txt", 4))
        QTest::newRow(row.at(0).toLatin1().constData()) << row;
}

void tst_Messages::sent()
{
    QFETCH(QStringList, row);
    Values values;
    for (const QString &word : row.at(1).split(u' ', Qt::SkipEmptyParts))
        values += hex(word.toLatin1());
    Rig rig;
    call_command(rig.engine, message(row.at(0).toLatin1()), values);
    QCOMPARE(rig.log.entries,
             (QStringList{QLatin1String("line ") + row.at(3), QLatin1String("sent ") + row.at(2)}));
}

void tst_Messages::received_data()
{
    QTest::addColumn<QStringList>("row");
    for (const QStringList &row : rows("received.txt", 3))
        QTest::newRow(row.at(0).toLatin1().constData()) << row;
}

void tst_Messages::received()
{
    QFETCH(QStringList, row);
    Rig rig;
    rig.engine.rx_data(hex(row.at(1).toLatin1()));
    QCOMPARE(rig.log.all("line"), QStringList(row.at(2)));
    QCOMPARE(rig.log.all("data"), QStringList(row.at(1)));
}

void tst_Messages::everyMessage_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < 269; ++i)
        QTest::newRow(messages().at(i).title().constData()) << i;
}

// A command's line stands above its frame; a received message's receivers run before its line is shown.
void tst_Messages::everyMessage()
{
    QFETCH(int, index);
    const Message &m = messages().at(index);
    Rig rig;
    QVector<QByteArray> payloads;
    for (int seed = 0; seed < 4; ++seed) {
        const Values values = sample(m, seed);
        payloads += payload(m, values);
        if (m.kind != Kind::command)
            continue;
        call_command(rig.engine, m, values);
        QCOMPARE(rig.log.entries,
                 (QStringList{QLatin1String("line ") + log_line(m, values),
                              QString::fromLatin1("sent " + frame(m, payloads.last()).toHex())}));
        rig.log.entries.clear();
    }
    if (m.kind == Kind::command)
        return;
    // Shorter and longer ones, too. The next frame's bytes must not be taken for fields that one lacks.
    const QByteArray whole = payloads.at(2);
    for (int size = 0; size < whole.size(); ++size)
        payloads += whole.left(size);
    payloads << whole + char(0x5a) << whole.leftJustified(2047, char(0x5a));
    const QByteArray next = hex("0040ff");
    const Message &reg_read = message("system rsp_reg_read");
    for (const QByteArray &payload : qAsConst(payloads)) {
        rig.engine.rx_data(frame(m, payload) + frame(reg_read, next));
        QCOMPARE(rig.log.entries, catalogue::received(m, payload) + catalogue::received(reg_read, next));
        rig.log.entries.clear();

        // The handler alone, on memory of its own, for a sanitizer to see the first byte read beyond it.
        const std::unique_ptr<char[]> memory(new char[std::size_t(payload.size())]);
        std::memcpy(memory.get(), payload.constData(), std::size_t(payload.size()));
        record_at(index)->handler(&rig.engine, {memory.get(), payload.size()});
        QCOMPARE(rig.log.entries, catalogue::received(m, payload).mid(0, 2));
        rig.log.entries.clear();
    }
}

// As a receiver in the program sees them.
void tst_Messages::typedArguments()
{
    cls_ble engine;
    int calls = 0;
    connect(&engine.gap, &cls_ble_gap::evt_scan_response, this,
            [&](int8 rssi, uint8 type, bd_addr sender, uint8, uint8 bond, const QByteArray &data) {
                ++calls;
                QCOMPARE(int(rssi), -60);
                QCOMPARE(int(type), 4);
                QCOMPARE(int(sender.addr[0]), 0xcc);
                QCOMPARE(int(bond), 255);
                QCOMPARE(data, hex("020106"));
            });
    connect(&engine.hardware, &cls_ble_hardware::evt_adc_result, this, [&](uint8, int16 value) {
        ++calls;
        QCOMPARE(int(value), -300);
    });
    engine.rx_data(hex("800e0600c404ccbbaa80070001ff03020106 80030702ffd4fe"));
    QCOMPARE(calls, 2);
}

void tst_Messages::longArrays_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("start"); // header, fixed fields and the array's length byte
    QTest::newRow("255") << 255 << QByteArray("01030200341201ff");
    QTest::newRow("256") << 256 << QByteArray("0104020034120100");
    QTest::newRow("300") << 300 << QByteArray("013002003412012c");
    QTest::newRow("largest frame") << 2043 << QByteArray("07ff0200341201fb");
    QTest::newRow("first byte spoiled") << 2044 << QByteArray("08000200341201fc");
    QTest::newRow("all its bits") << 65535 - 4 << QByteArray("ffff0200341201fb");
    // The array's length goes to the sender in 16 bits: the bytes above are lost.
    QTest::newRow("longer than 16 bits") << 65536 + 3 << QByteArray("0007020034120103");
}

void tst_Messages::longArrays()
{
    QFETCH(int, size);
    QFETCH(QByteArray, start);
    Rig rig;
    rig.engine.attributes.cmd_write(0x1234, 1, QByteArray(size, 'v'));
    QVERIFY(rig.log.all("sent") ==
            QStringList(QString::fromLatin1(start + QByteArray("76").repeated(size & 0xffff))));
    QCOMPARE(rig.log.all("line").constFirst().count(QStringLiteral("|76")), size);
}

void tst_Messages::piecesReachSendMessage()
{
    SendCatcher catcher;
    catcher.system.cmd_endpoint_tx(5, QByteArray("\xaa\xbb"));
    QCOMPARE(catcher.written, QByteArray("000400090502|aabb"));

    // Pieces of the largest sizes are joined in full.
    Rig rig;
    rig.engine.send_message(255, QByteArray(255, 'f').constData(), 65535, QByteArray(65535, 'a').constData());
    rig.engine.send_message(0, nullptr, 0, nullptr);
    QVERIFY(rig.log.all("sent") ==
            QStringList({QStringLiteral("66").repeated(255) + QStringLiteral("61").repeated(65535), {}}));
}

void tst_Messages::recordsOfAnyType_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<uint>("types");
    QTest::addColumn<QVector<int>>("words"); // 'p' stands for the address of an array's bytes
    QTest::addColumn<QByteArray>("written");
    const auto row = [](const char *name, const char *header, uint types, const QVector<int> &words,
                        const char *written) {
        QTest::newRow(name) << hex(header) << types << words << QByteArray(written);
    };
    row("no fields", "00000709", 0x0, {}, "00000709|");
    row("uint8 keeps its low bits", "00010001", 0x2, {0x1ff}, "00010001ff|");
    row("int8 -1", "00010001", 0x3, {-1}, "00010001ff|");
    row("uint16 keeps its low bits", "00020001", 0x4, {0x51234}, "000200013412|");
    row("int16 -2", "00020001", 0x5, {-2}, "00020001feff|");
    row("uint32", "00040001", 0x6, {0x79abcdef}, "00040001efcdab79|");
    row("int32 -2", "00040001", 0x7, {-2}, "00040001feffffff|");
    row("second array code", "00010001", 0x9, {3, 'p'}, "0004000103|616161");
    row("long length", "00020001", 0xb, {4, 'p'}, "000600010400|61616161");
    row("codes of no field", "00030001", 0x2fedc142, {7, 0x0201, 9}, "00030001070102|");
    row("lacking words count as 0", "00030001", 0x42, {}, "00030001000000|");
}

void tst_Messages::recordsOfAnyType()
{
    QFETCH(QByteArray, header);
    QFETCH(uint, types);
    QFETCH(QVector<int>, words);
    message_record record{{}, types, nullptr};
    std::copy(header.begin(), header.end(), record.header);
    QVector<command_word> arguments;
    for (const int word : qAsConst(words))
        arguments += word == 'p' ? reinterpret_cast<command_word>("aaaa") : static_cast<command_word>(word);
    QByteArray written;
    serialize_record(&write_down, &written, record, arguments.constData(), std::size_t(arguments.size()));
    QTEST(written, "written");
}

void tst_Messages::unknownResultGrowsTable()
{
    error_table.clear();
    cls_ble engine;
    QCOMPARE(error_table.size(), 60);
    engine.rx_data(hex("00020602ffff 00020602ffff"));
    engine.rx_data(hex("800305010123ff")); // bonding_fail looks nothing up
    QCOMPARE(error_table.size(), 61);
    QVERIFY(error_table.contains(0xffff));
}

QTEST_GUILESS_MAIN(tst_Messages)
#include "tst_messages.moc"
