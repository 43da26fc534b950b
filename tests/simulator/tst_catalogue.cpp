#include "simulator/catalogue.h"
#include "simulator/framecutter.h"
#include "simulator/simulatedmodule.h"

#include <QtTest>

#include <random>

using namespace simulator;

namespace {

bool endsInArray(int index)
{
    uint32 types = record_at(index)->parameter_types;
    while (types > 0xf)
        types >>= 4;
    return types == 8;
}

// A payload of the right length: `fill` in every fixed byte, `arraySize` bytes of it in the array.
QByteArray payloadOf(int index, char fill, int arraySize)
{
    const QByteArray payload(record_at(index)->header[1], fill);
    return endsInArray(index) ? payload.chopped(1) + char(arraySize) + QByteArray(arraySize, fill) : payload;
}

QByteArray frameOf(int index, const QByteArray &payload)
{
    const uint8 *header = record_at(index)->header;
    const char own[] = {char(payload.size() >> 8), char(payload.size()), char(header[2]), char(header[3])};
    return QByteArray(own, 4) + payload;
}

QByteArrayList answers(SimulatedModule &module, const QByteArray &frame)
{
    QByteArrayList all;
    const QObject receiver;
    QObject::connect(&module, &SimulatedModule::frameReady, &receiver,
                     [&all](const QByteArray &one) { all += one; });
    module.takeFrame(frame);
    return all;
}

// Pieces in hex, frames in brackets, neighbouring dropped bytes joined.
QByteArray text(const QVector<FrameCutter::Piece> &pieces)
{
    QByteArray all;
    for (const auto &piece : pieces)
        all += piece.isFrame ? '[' + piece.bytes.toHex() + ']' : piece.bytes.toHex();
    return all;
}

} // namespace

// What holds for every message of the catalogue, whatever its behaviour, and how frames are cut and
// described.
class TestCatalogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCommandGetsOneResponse_data()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < command_count; ++i)
            QTest::newRow(qPrintable(message_name(i))) << i;
    }

    void everyCommandGetsOneResponse()
    {
        QFETCH(int, index);
        for (const char fill : {'\0', '\1', '\xff'}) {
            for (const int arraySize : {0, 1, 16, 255}) {
                const QByteArray command = frameOf(index, payloadOf(index, fill, arraySize));
                SimulatedModule module;
                const QByteArrayList frames = answers(module, command);
                QVERIFY2(!frames.isEmpty(), command.toHex().constData());
                for (const QByteArray &frame : frames) {
                    const bool isEvent = (uint8(frame[0]) & 0x80) != 0;
                    QCOMPARE(isEvent, &frame != &frames.first());
                    if (!isEvent)
                        QCOMPARE(frame.mid(2, 2), command.mid(2, 2));
                    const int record = isEvent ? frameIndex(frame, false) : command_count + index;
                    QVERIFY(record >= command_count);
                    int expected = 4 + record_at(record)->header[1];
                    if (endsInArray(record))
                        expected += uint8(frame[expected - 1]);
                    QCOMPARE(frame.size(), expected);
                    QCOMPARE(frame.size(), 4 + ((frame[0] & 7) << 8 | uint8(frame[1])));
                }
            }
        }
        const QByteArray right = payloadOf(index, '\2', 2);
        for (const QByteArray &wrong : {right + '\0', right.left(right.size() - 1), right.repeated(99)}) {
            SimulatedModule module;
            if (wrong != right)
                QCOMPARE(answers(module, frameOf(index, wrong)).join().toHex(), QByteArray("800200068001"));
        }
    }

    void randomFramesAlwaysGetAnAnswer()
    {
        std::mt19937 random(20);
        SimulatedModule module;
        for (int i = 0; i < 20000; ++i) {
            QByteArray payload(int(random() % 40), '\0');
            for (char &byte : payload)
                byte = char(random() % 3 == 0 ? random() & 0xff : random() % 3);
            const char header[] = {0, char(payload.size()), char(random() % 11), char(random() % 24)};
            const QByteArray frame = QByteArray(header, 4) + payload;
            QVERIFY2(!answers(module, frame).isEmpty(), frame.toHex().constData());
        }
    }

    void describe()
    {
        const struct
        {
            const char *frame;
            bool fromHost;
            const char *text;
        } rows[] = {
            {"00030003341256", true, "system_reg_write address:1234 value:56"},
            {"000600020504030201c0", false, "system_address_get address:c00102030405"},
            {"000400090502aabb", true, "system_endpoint_tx endpoint:05 data:aabb"},
            {"800200068001", false, "system_protocol_error reason:0180"},
            {"0002000334", true, "system_reg_write"}, // cut off
            {"0003000905ffaa", true, "system_endpoint_tx endpoint:05"},
            {"000000ff", true, "unknown"},
            {"0000", true, "unknown"}, // less than a header
        };
        for (const auto &[frame, fromHost, description] : rows)
            QCOMPARE(describeFrame(QByteArray::fromHex(frame), fromHost), QString::fromLatin1(description));
    }

    void cuts()
    {
        const QByteArray hello = "00000001", longFrame = "0104000905ff" + QByteArray(258, 'a').toHex();
        const struct
        {
            const char *name;
            bool packetMode;
            QByteArray bytes, pieces;
        } rows[] = {
            {"two frames and a half", false, "00000001 00010000 00 00 0001", "[00000001][0001000000]"},
            {"11-bit length", false, longFrame, '[' + longFrame + ']'},
            {"junk", false, "ff08" + hello + "8010" + hello, "ff08[00000001]8010[00000001]"},
            {"junk alone goes at once", false, "ff", "ff"},
            {"packet mode", true, "04" + hello + "0500010000 00", "[00000001][0001000000]"},
            {"packet mode, low 8 bits of 264", true, "08" + longFrame, '[' + longFrame + ']'},
            {"no packet byte", true, hello + "04" + hello, "00000001[00000001]"},
            {"wrong packet byte", true, "07" + hello + "04" + hello, "0700000001[00000001]"},
        };
        for (const auto &row : rows) {
            const QByteArray all = QByteArray::fromHex(row.bytes);
            FrameCutter byByte(row.packetMode);
            QVector<FrameCutter::Piece> got;
            for (int split = 0; split < all.size(); ++split) {
                got += byByte.add(all.mid(split, 1));
                FrameCutter cutter(row.packetMode);
                const auto first = cutter.add(all.left(split));
                QCOMPARE(row.name + text(first + cutter.add(all.mid(split))), row.name + row.pieces);
            }
            QCOMPARE(row.name + text(got), row.name + row.pieces);
        }
    }
};

QTEST_GUILESS_MAIN(TestCatalogue)
#include "tst_catalogue.moc"
