#include "simulator/catalogue.h"
#include "simulator/simulatedmodule.h"

#include <QSignalSpy>
#include <QtTest>

#include <random>

using namespace simulator;

namespace {

bool endsInArray(int index)
{
    constexpr uint8 arrayCode = 8;
    uint32 types = record_at(index)->parameter_types;
    while (types > 0xf)
        types >>= 4;
    return types == arrayCode;
}

// A payload of the right length: `fill` in every fixed byte, `arraySize` bytes of it in the array.
QByteArray payloadOf(int index, char fill, int arraySize)
{
    QByteArray payload(record_at(index)->header[1], fill);
    if (endsInArray(index))
        payload[payload.size() - 1] = char(arraySize), payload.append(arraySize, fill);
    return payload;
}

QByteArray frameOf(int index, const QByteArray &payload)
{
    const uint8 *header = record_at(index)->header;
    const char own[] = {char(payload.size() >> 8), char(payload.size()), char(header[2]), char(header[3])};
    return QByteArray(own, 4) + payload;
}

QList<QByteArray> answers(SimulatedModule &module, const QByteArray &frame)
{
    QSignalSpy spy(&module, &SimulatedModule::frameReady);
    module.takeFrame(frame);
    QList<QByteArray> all;
    for (const QList<QVariant> &one : spy)
        all.append(one.first().toByteArray());
    return all;
}

} // namespace

// What holds for every message of the catalogue, whatever its behaviour.
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
                SimulatedModule module;
                const QByteArray command = frameOf(index, payloadOf(index, fill, arraySize));
                const QList<QByteArray> frames = answers(module, command);
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
        for (const QByteArray &wrong :
             {right + '\0', right.chopped(right.isEmpty() ? 0 : 1), right.repeated(99)}) {
            SimulatedModule module;
            if (wrong != right)
                QCOMPARE(answers(module, frameOf(index, wrong)),
                         QList<QByteArray>{QByteArray::fromHex("800200068001")});
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

    void makeFrameSetsElevenBitLength()
    {
        // read_memory's data is its last field, so a frame can be as long as 4 + 5 + 255.
        const int response = responseIndex(commandIndex(QStringLiteral("system_read_memory")));
        const QByteArray frame =
            makeFrame(response, QByteArray::fromHex("00000000ff") + QByteArray(255, 'x'));
        QCOMPARE(frame.left(4).toHex(), QByteArray("01040007"));
        QCOMPARE(frame.size(), 264);
    }

    void describe_data()
    {
        QTest::addColumn<bool>("fromHost");
        QTest::addColumn<QString>("text");
        QTest::newRow("00030003341256") << true << "system_reg_write address:1234 value:56";
        QTest::newRow("000600020504030201c0") << false << "system_address_get address:c00102030405";
        QTest::newRow("000400090502aabb") << true << "system_endpoint_tx endpoint:05 data:aabb";
        QTest::newRow("800200068001") << false << "system_protocol_error reason:0180";
        QTest::newRow("0002000334") << true << "system_reg_write"; // cut off
        QTest::newRow("0003000905ffaa") << true << "system_endpoint_tx endpoint:05";
        QTest::newRow("000000ff") << true << "unknown";
        QTest::newRow("0000") << true << "unknown"; // less than a header
    }

    void describe()
    {
        QFETCH(bool, fromHost);
        QTEST(describeFrame(QByteArray::fromHex(QTest::currentDataTag()), fromHost), "text");
    }
};

QTEST_GUILESS_MAIN(TestCatalogue)
#include "tst_catalogue.moc"
