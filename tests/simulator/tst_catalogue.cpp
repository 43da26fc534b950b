#include "simulator/catalogue.h"
#include "simulator/simulatedmodule.h"

#include <QSignalSpy>
#include <QtTest>

#include <random>

using namespace simulator;

namespace {

constexpr uint8 arrayCode = 8;

bool endsInArray(int index)
{
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
    const message_record &record = *record_at(index);
    return QByteArray()
               .append(char(payload.size() >> 8))
               .append(char(payload.size() & 0xff))
               .append(char(record.header[2]))
               .append(char(record.header[3])) +
           payload;
}

// Bytes 2 and 3, which name the message.
QByteArray messageOf(const QByteArray &frame)
{
    return frame.mid(2, 2);
}

} // namespace

// What holds for every message of the catalogue, whatever its behaviour.
class TestCatalogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCommandGetsOneResponse_data();
    void everyCommandGetsOneResponse();
    void wrongLengthsAreRefused();
    void randomFramesAlwaysGetAnAnswer();
    void makeFrameSetsElevenBitLength();
    void describe_data();
    void describe();
};

void TestCatalogue::everyCommandGetsOneResponse_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("payload");
    for (int i = 0; i < command_count; ++i) {
        for (const char fill : {'\0', '\1', '\xff'}) {
            for (const int arraySize : {0, 1, 16, 255}) {
                if (arraySize > 0 && !endsInArray(i))
                    continue;
                QTest::addRow("%s, %02x, array of %d", qPrintable(message_name(i)), uint8(fill), arraySize)
                    << i << payloadOf(i, fill, arraySize);
            }
        }
    }
}

void TestCatalogue::everyCommandGetsOneResponse()
{
    QFETCH(int, index);
    QFETCH(QByteArray, payload);
    SimulatedModule module;
    QSignalSpy frames(&module, &SimulatedModule::frameReady);
    const QByteArray command = frameOf(index, payload);
    module.takeFrame(command);
    QVERIFY(!frames.isEmpty());
    for (int i = 0; i < frames.size(); ++i) {
        const QByteArray frame = frames[i][0].toByteArray();
        const bool isEvent = (uint8(frame[0]) & 0x80) != 0;
        QCOMPARE(isEvent, i > 0);
        QCOMPARE(frame.size(), 4 + ((frame[0] & 7) << 8 | uint8(frame[1])));
        if (!isEvent)
            QCOMPARE(messageOf(frame), messageOf(command));
        const int record = isEvent ? frameIndex(frame, false) : command_count + index;
        QVERIFY(record >= command_count);
        int expected = record_at(record)->header[1];
        if (endsInArray(record))
            expected += uint8(frame[4 + expected - 1]);
        QCOMPARE(frame.size() - 4, expected);
    }
}

void TestCatalogue::wrongLengthsAreRefused()
{
    for (int i = 0; i < command_count; ++i) {
        const QByteArray right = payloadOf(i, '\2', 2);
        for (const QByteArray &wrong :
             {right + '\0', right.left(right.size() - 1), right + QByteArray(300, '\0')}) {
            if (wrong.size() == right.size())
                continue;
            SimulatedModule module;
            QSignalSpy frames(&module, &SimulatedModule::frameReady);
            module.takeFrame(frameOf(i, wrong));
            QCOMPARE(frames.size(), 1);
            QCOMPARE(frames[0][0].toByteArray(), QByteArray::fromHex("800200068001"));
        }
    }
}

void TestCatalogue::randomFramesAlwaysGetAnAnswer()
{
    std::mt19937 random(20);
    SimulatedModule module;
    QSignalSpy frames(&module, &SimulatedModule::frameReady);
    for (int i = 0; i < 20000; ++i) {
        QByteArray payload(int(random() % 40), '\0');
        for (char &byte : payload)
            byte = char(random() % 3 == 0 ? random() & 0xff : random() % 3);
        QByteArray frame(4, '\0');
        frame[1] = char(payload.size());
        frame[2] = char(random() % 11);
        frame[3] = char(random() % 24);
        module.takeFrame(frame + payload);
        QVERIFY2(!frames.isEmpty(), frame.toHex().constData());
        frames.clear();
    }
}

void TestCatalogue::makeFrameSetsElevenBitLength()
{
    // read_memory's data is its last field, so a frame can be as long as 4 + 5 + 255.
    const QByteArray payload = QByteArray::fromHex("00000000ff") + QByteArray(255, 'x');
    const QByteArray frame =
        makeFrame(responseIndex(commandIndex(QStringLiteral("system_read_memory"))), payload);
    QCOMPARE(frame.left(4).toHex(), QByteArray("01040007"));
    QCOMPARE(frame.size(), 264);
}

void TestCatalogue::describe_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<bool>("fromHost");
    QTest::addColumn<QString>("text");
    QTest::newRow("command") << QByteArray("00030003341256") << true
                             << QStringLiteral("system_reg_write address:1234 value:56");
    QTest::newRow("response") << QByteArray("000600020504030201c0") << false
                              << QStringLiteral("system_address_get address:c00102030405");
    QTest::newRow("array") << QByteArray("000400090502aabb") << true
                           << QStringLiteral("system_endpoint_tx endpoint:05 data:aabb");
    QTest::newRow("event") << QByteArray("800200068001") << false
                           << QStringLiteral("system_protocol_error reason:0180");
    QTest::newRow("cut off") << QByteArray("0002000334") << true << QStringLiteral("system_reg_write");
    QTest::newRow("array cut off") << QByteArray("0003000905ffaa") << true
                                   << QStringLiteral("system_endpoint_tx endpoint:05");
    QTest::newRow("no such message") << QByteArray("000000ff") << true << QStringLiteral("unknown");
    QTest::newRow("less than a header") << QByteArray("0000") << true << QStringLiteral("unknown");
}

void TestCatalogue::describe()
{
    QFETCH(QByteArray, frame);
    QFETCH(bool, fromHost);
    QFETCH(QString, text);
    QCOMPARE(describeFrame(QByteArray::fromHex(frame), fromHost), text);
}

QTEST_GUILESS_MAIN(TestCatalogue)
#include "tst_catalogue.moc"
