#include "linkedmodule.h"
#include "simulator/module/behaviours.h"
#include "simulator/wire/framecutter.h"
#include "simulator/wire/frames.h"

#include <random>
#include <tuple>

using namespace simulator;

namespace {

const QByteArray boot = "800c0000020001000000390009000104";

// A module without any device, and all that came from it.
struct Subject : Module
{
    using Module::Module;

    // The frames that a command brings, in hex as the command itself, with commas between.
    QByteArray ask(const QByteArray &command)
    {
        frames.clear();
        takeFrame(QByteArray::fromHex(command));
        return seen();
    }
    QByteArray seen() const
    {
        QByteArrayList all;
        for (const QList<QVariant> &frame : frames)
            all.append(frame.first().toByteArray().toHex());
        return all.join(',');
    }

    QSignalSpy frames{this, &Module::frameReady};
};

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

// Pieces in hex, frames in brackets, neighbouring dropped bytes joined.
QByteArray text(const QVector<FrameCutter::Piece> &pieces)
{
    QByteArray all;
    for (const auto &piece : pieces)
        all += piece.isFrame ? '[' + piece.bytes.toHex() + ']' : piece.bytes.toHex();
    return all;
}

} // namespace

// Whole frames in, whole frames out, what holds for those of every message, and how they are cut and
// described.
class TestExchanges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exchange_data() { addRows(VORSEL_EXCHANGES); }

    void exchange()
    {
        QFETCH(QByteArray, steps);
        Subject module;
        for (const QByteArray &step : steps.replace("BOOT", boot).split(';')) {
            const QByteArray command = step.left(step.indexOf('>'));
            QCOMPARE(command + '>' + module.ask(command), step);
        }
    }

    void storeFillsUpAndDefragments()
    {
        Subject module;
        const QByteArray saved = "000201030000", full = "000201038201";
        const QByteArray value = "00fc" + QByteArray(252, 'f').toHex(); // 256 bytes with the record's own
        for (char key = 0; key < 16; ++key)
            QCOMPARE(module.ask("00ff0103" + QByteArray(1, key).toHex() + value), saved);
        QCOMPARE(module.ask("00ff010310" + value), full);
        // What is there stays, the same value needs no room, an erased one gives it back only after a defrag.
        QCOMPARE(module.ask("00ff010300" + value), saved);
        module.ask("00020105 0100");
        QCOMPARE(module.ask("00040103 2000 01 aa"), full);
        QCOMPARE(module.ask("00000100"), QByteArray("00000100"));
        QCOMPARE(module.ask("00040103 2000 01 aa"), saved);
        QCOMPARE(module.ask("00000101").count(','), 15 + 1 + 1);
    }

    void delayedResetIsLast()
    {
        Subject module;
        QCOMPARE(module.ask("00030014 00 1e00"), QByteArray("00000014"));
        QCOMPARE(module.ask("00000001"), QByteArray("00000001"));
        QTRY_COMPARE(module.seen(), "00000001," + boot);
    }

    void userAttributeWaitsForTheHost()
    {
        Subject module;
        QSignalSpy notes(&module, &Module::note);
        const QByteArray readResponse = "00050203 02 00 02 4142";
        module.ask(readResponse);
        QCOMPARE(notes.size(), 0); // nothing pending
        module.frames.clear();
        QCOMPARE(int(module.attributes().remoteRead(2, 0x14)), 0);
        QCOMPARE(module.seen(), QByteArray("80060201021400000016"));
        module.ask("00020204 02 00");         // a write's answer
        module.ask("00050203 03 00 02 4142"); // another connection
        QCOMPARE(notes.size(), 0);
        module.ask(readResponse);
        module.ask(readResponse);
        QCOMPARE(notes.size(), 1);
        QCOMPARE(notes[0][0].toString(), QStringLiteral("remote read of 20: 41 42"));
    }

    void remoteWriteIsReported()
    {
        const std::tuple<const char *, uint16, QByteArray, int, const char *> rows[] = {
            {"value", 3, "AB", 0, "80090200020003000000024142"},
            {"user's", 0x14, "A", 0, "800802000202140000000141"},
            {"read-only", 1, "A", 0x403, ""},
            {"no such handle", 0x99, "A", 0x401, ""},
            {"configuration", 0x0e, {"\1\0", 2}, 0, "8009020002000e000000020100,800302020d0001"},
        };
        for (const auto &[name, handle, value, expected, frames] : rows) {
            Subject module;
            const int result = module.attributes().remoteWrite(2, handle, 0, value);
            QVERIFY2(result == expected && module.seen() == frames, name);
        }
    }

    void seedDecidesFirmware()
    {
        const auto firmware = [](quint32 seed) {
            ModuleOptions options;
            options.seed = seed;
            return Subject(options).ask("00050007 00100000 20");
        };
        QCOMPARE(firmware(7), firmware(7));
        QVERIFY(firmware(7) != firmware(8));
    }

    void chosenResultLeavesStateAlone()
    {
        Subject module;
        module.setResultOverride([](int) { return 0x0182; });
        QCOMPARE(module.ask("00040103 0100 01 cc"), QByteArray("000201038201"));
        QCOMPARE(module.ask("00040201 0300 0000"), QByteArray("0007020103000000820100"));
        module.setResultOverride([](int) { return std::nullopt; });
        QCOMPARE(module.ask("00020104 0100"), QByteArray("00030104800100"));
    }

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
                Subject module;
                QVERIFY2(!module.ask(command.toHex()).isEmpty(), command.toHex().constData());
                for (const QList<QVariant> &signal : module.frames) {
                    const QByteArray frame = signal.first().toByteArray();
                    const bool isEvent = (uint8(frame[0]) & 0x80) != 0;
                    QCOMPARE(isEvent, &signal != &module.frames.first());
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
            Subject module;
            if (wrong != right)
                QCOMPARE(module.ask(frameOf(index, wrong).toHex()), QByteArray("800200068001"));
        }
    }

    void randomFramesAlwaysGetAnAnswer()
    {
        std::mt19937 random(20);
        Subject module;
        for (int i = 0; i < 20000; ++i) {
            QByteArray payload(int(random() % 40), '\0');
            for (char &byte : payload)
                byte = char(random() % 3 == 0 ? random() & 0xff : random() % 3);
            const char header[] = {0, char(payload.size()), char(random() % 11), char(random() % 24)};
            const QByteArray frame = QByteArray(header, 4) + payload;
            QVERIFY2(!module.ask(frame.toHex()).isEmpty(), frame.toHex().constData());
        }
    }

    void describe()
    {
        const std::tuple<const char *, bool, const char *> rows[] = {
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
        const std::tuple<const char *, bool, QByteArray, QByteArray> rows[] = {
            {"two frames and a half", false, "00000001 00010000 00 00 0001", "[00000001][0001000000]"},
            {"11-bit length", false, longFrame, '[' + longFrame + ']'},
            {"junk", false, "ff08" + hello + "8010" + hello, "ff08[00000001]8010[00000001]"},
            {"junk alone goes at once", false, "ff", "ff"},
            {"packet mode", true, "04" + hello + "0500010000 00", "[00000001][0001000000]"},
            {"packet mode, low 8 bits of 264", true, "08" + longFrame, '[' + longFrame + ']'},
            {"no packet byte", true, hello + "04" + hello, "00000001[00000001]"},
            {"wrong packet byte", true, "07" + hello + "04" + hello, "0700000001[00000001]"},
        };
        for (const auto &[name, packetMode, bytes, pieces] : rows) {
            const QByteArray all = QByteArray::fromHex(bytes);
            FrameCutter byByte(packetMode);
            QVector<FrameCutter::Piece> got;
            for (int split = 0; split < all.size(); ++split) {
                got += byByte.add(all.mid(split, 1));
                FrameCutter cutter(packetMode);
                const auto first = cutter.add(all.left(split));
                QCOMPARE(name + text(first + cutter.add(all.mid(split))), name + pieces);
            }
            QCOMPARE(name + text(got), name + pieces);
        }
    }
};

QTEST_GUILESS_MAIN(TestExchanges)
#include "tst_exchanges.moc"
