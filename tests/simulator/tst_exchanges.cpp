#include "simulator/attributesbehaviour.h"
#include "simulator/simulatedmodule.h"

#include <QSignalSpy>
#include <QtTest>

using namespace simulator;

namespace {

// What the host sends and, after ">", all frames that come back at once: "00000001 > 00000001; ...", in hex.
// BOOT stands for the event of a start.
struct Row
{
    const char *name;
    const char *steps;
};

const QString boot = QStringLiteral("800c00000200010000003900090001 04").remove(QLatin1Char(' '));

constexpr Row rows[] = {
    {"hello", "00000001>00000001"},
    {"address, first byte first", "00000002>00060002 05040302 01c0"},
    {"info", "00000008>000c0008 0200 0100 0000 3900 0900 01 04"},
    {"connections", "00000006>00010006 08"},
    {"reset boots and forgets registers",
     "00030003 3412 56>00020003 0000; 00020004 3412>00030004 3412 56; 00020004 3512>00030004 3512 00;"
     "00010000 00>00000000,BOOT; 00020004 3412>00030004 3412 00"},
    {"reset of the class dfu", "00010900 00>00000900,BOOT"},
    {"counters count and begin anew",
     "00000005>00050005 00 00 01 00 0f; 000000ff>80020006 8401; 00000005>00050005 02 00 02 01 0f;"
     "00010000 00>00000000,BOOT; 00000005>00050005 01 00 01 00 0f"},
    {"wrong length", "00000003>80020006 8001; 00010001 00>80020006 8001; 00010009 05>80020006 8001;"
                     "00040009 05 03 aabb>80020006 8001; 00040009 05 01 aabb>80020006 8001"},
    {"unknown message and class", "00000015>80020006 8401; 00000a00>80020006 8401; 0000ffff>80020006 8401"},
    // Vector C.1 of FIPS-197, without a key, with it, and after lengths that are refused.
    {"AES",
     "00110010 10 00112233445566778899aabbccddeeff>00010010 00;"
     "0011000f 10 000102030405060708090a0b0c0d0e0f>0000000f;"
     "00110010 10 00112233445566778899aabbccddeeff>00110010 10 69c4e0d86a7b0430d8cdb78070b4c55a;"
     "00110011 10 69c4e0d86a7b0430d8cdb78070b4c55a>00110011 10 00112233445566778899aabbccddeeff;"
     "0010000f 0f 000102030405060708090a0b0c0d0e>0000000f,80020006 8001; 0001000f 00>0000000f,80020006 8001;"
     "00020010 01 00>00010010 00; 00120010 11 00112233445566778899aabbccddeeff00>00010010 00;"
     "00110010 10 00112233445566778899aabbccddeeff>00110010 10 69c4e0d86a7b0430d8cdb78070b4c55a"},
    {"whitelist", "0007000a 010203040506 00>0002000a 0000; 0007000a 010203040506 00>0002000a 0000;"
                  "0007000a 010203040506 02>0002000a 8001; 0007000b 010203040506 01>0002000b 8001;"
                  "0007000b 010203040506 00>0002000b 0000; 0007000b 010203040506 00>0002000b 8001"},
    {"whitelist of eight", "0007000a 000000000000 00>0002000a 0000; 0007000a 000000000001 00>0002000a 0000;"
                           "0007000a 000000000002 00>0002000a 0000; 0007000a 000000000003 00>0002000a 0000;"
                           "0007000a 000000000004 00>0002000a 0000; 0007000a 000000000005 00>0002000a 0000;"
                           "0007000a 000000000006 00>0002000a 0000; 0007000a 000000000007 00>0002000a 0000;"
                           "0007000a 000000000008 00>0002000a 8201; 0007000a 000000000007 00>0002000a 0000;"
                           "0000000c>0000000c; 0007000a 000000000008 00>0002000a 0000"},
    {"memory above the firmware and beyond the end",
     "00050007 00f00100 04>00090007 00f00100 04 ffffffff; 00050007 feff0700 04>00090007 feff0700 04 ffff0000;"
     "00050007 ffffffff 02>00070007 ffffffff 02 0000; 00050007 00000000 00>00050007 00000000 00"},
    {"no USB", "00000012>00030012 0000 00"},
    {"endpoint loops back",
     "00040009 05 02 aabb>00020009 0000; 0002000d 05 01>0004000d 0000 01 aa; 0002000d 04 01>0003000d 8701 00;"
     "0002000d 05 02>0003000d 8701 00; 0002000d 05 01>0004000d 0000 01 bb"},
    {"endpoints that do not exist", "00030009 00 01 aa>00020009 8001; 00030009 06 01 aa>00020009 8001;"
                                    "0002000d ff 01>0003000d 8001 00; 0003000e 00 01 01>0002000e 8001"},
    {"watermarks",
     "0003000e 03 02 00>0002000e 0000; 00030009 03 01 11>00020009 0000;"
     "00030009 03 01 22>00020009 0000,80020002 03 02; 0003000e 03 ff fd>0002000e 0000,80020003 03 fd;"
     "0002000d 03 01>0004000d 0000 01 11,80020003 03 fe; 0003000e 03 00 00>0002000e 0000;"
     "00030009 03 01 33>00020009 0000"},
    {"store", "00050103 3412 02 aabb>00020103 0000; 00040103 0100 01 cc>00020103 0000;"
              "00020104 3412>00050104 0000 02 aabb; 00020104 3512>00030104 8001 00;"
              "00000101>00000101,80050100 3412 02 aabb,80040100 0100 01 cc,80030100 ffff 00;"
              "00020105 3412>00000105; 00020105 3412>00000105;"
              "00000101>00000101,80040100 0100 01 cc,80030100 ffff 00;"
              "00000102>00000102; 00000101>00000101,80030100 ffff 00"},
    {"the key that ends a dump is none",
     "00040103 ffff 01 00>00020103 8001; 00000101>00000101,80030100 ffff 00"},
    {"store and flash outlive a reset",
     "00040103 0000 01 77>00020103 0000; 00070107 00f00100 02 1234>00020107 0000; 00010000 00>00000000,BOOT;"
     "00020104 0000>00040104 0000 01 77; 00050108 00f00100 03>00040108 03 1234ff"},
    {"writing clears bits, erasing sets them",
     "00070107 00f80100 02 f00f>00020107 0000; 00070107 00f80100 02 3c3c>00020107 0000;"
     "00050108 00f80100 02>00030108 02 300c; 00010106 3e>00020106 0000; 00050108 00f80100 02>00030108 02 "
     "300c;"
     "00010106 3f>00020106 0000; 00050108 00f80100 02>00030108 02 ffff;"
     "00050007 00f80100 02>00070007 00f80100 02 ffff"},
    {"the end of the flash", "00070107 ffff0700 02 0000>00020107 8001; 00060107 ffff0700 01 00>00020107 0000;"
                             "00050108 feff0700 04>00030108 02 ff00; 00050108 00000800 04>00010108 00;"
                             "00060107 00000800 01 00>00020107 8001; 00060107 ffffffff 01 00>00020107 8001"},
    // CRC-16/X.25 of 2048 bytes 0xff.
    {"bootloader's CRC", "00010106 00>00020106 0000; 00000013>00020013 3314; 00000904>00020904 3314"},
    {"no bootloader is running", "00040901 00000000>00020901 8101; 00020902 01 ff>00020902 8101"},
    {"read, with offsets",
     "00040201 0300 0000>00170201 0300 0000 0000 10 53696d756c61746564206d6f64756c65;"
     "00040201 0300 0d00>000a0201 0300 0d00 0000 03 756c65; 00040201 0300 1000>00070201 0300 1000 0000 00;"
     "00040201 0300 1100>00070201 0300 1100 0704 00; 00040201 0000 0000>00070201 0000 0000 0104 00;"
     "00040201 ff00 0000>00070201 ff00 0000 0104 00"},
    {"types of 2 and of 16 bytes",
     "00020202 0100>00070202 0100 0000 02 0028; 00020202 0300>00070202 0300 0000 02 002a;"
     "00020202 1100>00150202 1100 0000 10 e7d0412f6c3b578a5b4c1e9d02000000; 00020202 1500>00050202 1500 0104 "
     "00"},
    {"write a value of variable size",
     "00070200 0300 00 03 414243>00020200 0000; 00040201 0300 0000>000a0201 0300 0000 0000 03 414243;"
     "00050200 0300 01 01 58>00020200 0000; 00040201 0300 0000>00090201 0300 0000 0000 02 4158;"
     "00050200 0300 03 01 59>00020200 0704;"
     "00190200 0300 00 15 000000000000000000000000000000000000000000>00020200 0d04;"
     "00040201 0300 0000>00090201 0300 0000 0000 02 4158;"
     "00010000 00>00000000,BOOT; 00040201 0300 0d00>000a0201 0300 0d00 0000 03 756c65"},
    {"write a value of fixed size",
     "00050200 0e00 01 01 01>00020200 0000; 00040201 0e00 0000>00090201 0e00 0000 0000 02 0001;"
     "00060200 0e00 01 02 0101>00020200 0d04"},
    {"write where none is allowed",
     "00050200 0100 00 01 00>00020200 0304; 00050200 1400 00 01 00>00020200 8801;"
     "00050200 0000 00 01 00>00020200 0104; 00040201 1400 0000>00070201 1400 0000 8801 00"},
    {"send", "00050205 00 0d00 01 50>00020205 8601; 00050205 ff 0d00 01 50>00020205 0000;"
             "00050205 ff 0300 01 50>00020205 8101; 00050205 ff 7700 01 50>00020205 0104"},
    {"a connection that does not exist",
     "00010300 05>00030300 05 8601; 00010301 07>00020301 07 00; 00010304 07>00020304 07 00;"
     "00050403 02 0100 ffff>00030403 02 8601; 00010407 00>00020407 8601; 00020500 01 01>00030500 01 8601"},
    {"one procedure at a time",
     "00000604>00020604 8101; 00010602 03>00020602 8001; 00010602 02>00020602 0000; 00010602 01>00020602 "
     "8101;"
     "000f0603 010203040506 00 0600 0c00 6400 0000>00030603 8101 00; 00000604>00020604 0000;"
     "000f0603 010203040506 00 0600 0c00 6400 0000>00030603 0000 00; 00010000 00>00000000,BOOT;"
     "00000604>00020604 8101"},
};

// The frames that a command brings, in hex as the command itself, with commas between.
QString answersOf(SimulatedModule &module, const QByteArray &command)
{
    QSignalSpy frames(&module, &SimulatedModule::frameReady);
    module.takeFrame(QByteArray::fromHex(command));
    QStringList answers;
    for (const QList<QVariant> &frame : frames)
        answers.append(QString::fromLatin1(frame.first().toByteArray().toHex()));
    return answers.join(QLatin1Char(','));
}

} // namespace

// Whole frames in, whole frames out, each row against a module that has just started.
class TestExchanges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exchange_data()
    {
        QTest::addColumn<QString>("steps");
        for (const Row &row : rows)
            QTest::newRow(row.name) << row.steps;
    }

    void exchange()
    {
        QFETCH(QString, steps);
        SimulatedModule module;
        steps = steps.remove(QLatin1Char(' ')).replace(QStringLiteral("BOOT"), boot);
        for (const QString &step : steps.split(QLatin1Char(';'))) {
            const QString command = step.section(QLatin1Char('>'), 0, 0);
            QCOMPARE(command + QLatin1Char('>') + answersOf(module, command.toLatin1()), step);
        }
    }

    void storeFillsUpAndDefragments()
    {
        SimulatedModule module;
        const QString saved = QStringLiteral("000201030000"), full = QStringLiteral("000201038201");
        const QByteArray value = "00fc" + QByteArray(252, 'f').toHex(); // 256 bytes with the record's own
        for (char key = 0; key < 16; ++key)
            QCOMPARE(answersOf(module, "00ff0103" + QByteArray(1, key).toHex() + value), saved);
        QCOMPARE(answersOf(module, "00ff010310" + value), full);
        // What is there stays, the same value needs no room, an erased one gives it back only after a defrag.
        QCOMPARE(answersOf(module, "00ff010300" + value), saved);
        answersOf(module, "00020105 0100");
        QCOMPARE(answersOf(module, "00040103 2000 01 aa"), full);
        QCOMPARE(answersOf(module, "00000100"), QStringLiteral("00000100"));
        QCOMPARE(answersOf(module, "00040103 2000 01 aa"), saved);
        QCOMPARE(answersOf(module, "00000101").count(QLatin1Char(',')), 15 + 1 + 1);
    }

    void delayedResetIsLast()
    {
        SimulatedModule module;
        QSignalSpy frames(&module, &SimulatedModule::frameReady);
        QCOMPARE(answersOf(module, "00030014 00 1e00"), QStringLiteral("00000014"));
        QCOMPARE(answersOf(module, "00000001"), QStringLiteral("00000001"));
        QTRY_COMPARE(frames.size(), 3);
        QCOMPARE(QString::fromLatin1(frames[2][0].toByteArray().toHex()), boot);
    }

    void userAttributeWaitsForTheHost()
    {
        SimulatedModule module;
        QSignalSpy frames(&module, &SimulatedModule::frameReady);
        QSignalSpy notes(&module, &SimulatedModule::note);
        const QByteArray readResponse = QByteArray::fromHex("00050203 02 00 02 4142");
        module.takeFrame(readResponse);
        QCOMPARE(notes.size(), 0); // nothing pending
        QCOMPARE(int(module.attributes().remoteRead(2, 0x14)), 0);
        QCOMPARE(frames.last()[0].toByteArray().toHex(), QByteArray("80060201021400000016"));
        module.takeFrame(QByteArray::fromHex("00020204 02 00"));         // a write's answer
        module.takeFrame(QByteArray::fromHex("00050203 03 00 02 4142")); // another connection
        QCOMPARE(notes.size(), 0);
        module.takeFrame(readResponse);
        module.takeFrame(readResponse);
        QCOMPARE(notes.size(), 1);
        QCOMPARE(notes[0][0].toString(), QStringLiteral("remote read of 20: 41 42"));
    }

    void configurationWriteGivesStatus()
    {
        SimulatedModule module;
        QSignalSpy frames(&module, &SimulatedModule::frameReady);
        QCOMPARE(int(module.attributes().remoteWrite(2, 0x0e, 0, QByteArray::fromHex("0100"))), 0);
        QCOMPARE(frames.size(), 2);
        QCOMPARE(frames[1][0].toByteArray().toHex(), QByteArray("800302020d0001"));
    }

    void remoteWriteIsReported_data()
    {
        QTest::addColumn<int>("handle");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<int>("result");
        QTest::addColumn<QByteArray>("event");
        QTest::newRow("value") << 3 << QByteArray("AB") << 0 << QByteArray("80090200020003000000024142");
        QTest::newRow("user's") << 0x14 << QByteArray("A") << 0 << QByteArray("800802000202140000000141");
        QTest::newRow("read-only") << 1 << QByteArray("A") << 0x403 << QByteArray();
        QTest::newRow("no such handle") << 0x99 << QByteArray("A") << 0x401 << QByteArray();
    }

    void remoteWriteIsReported()
    {
        QFETCH(int, handle);
        QFETCH(QByteArray, value);
        SimulatedModule module;
        QSignalSpy frames(&module, &SimulatedModule::frameReady);
        constexpr uint8 connection = 2;
        QTEST(int(module.attributes().remoteWrite(connection, uint16(handle), 0, value)), "result");
        QTEST(frames.value(0).value(0).toByteArray().toHex(), "event");
    }

    void seedDecidesFirmware()
    {
        const auto firmware = [](quint32 seed) {
            ModuleIdentity identity;
            identity.seed = seed;
            SimulatedModule module(identity);
            return answersOf(module, "00050007 00100000 20");
        };
        QCOMPARE(firmware(7), firmware(7));
        QVERIFY(firmware(7) != firmware(8));
    }

    void chosenResultLeavesStateAlone()
    {
        SimulatedModule module;
        bool busy = true;
        module.setResultOverride(
            [&busy](int) { return busy ? std::optional<uint16>(0x0182) : std::nullopt; });
        QCOMPARE(answersOf(module, "00040103 0100 01 cc"), QStringLiteral("000201038201"));
        QCOMPARE(answersOf(module, "00040201 0300 0000"), QStringLiteral("0007020103000000820100"));
        busy = false;
        QCOMPARE(answersOf(module, "00020104 0100"), QStringLiteral("00030104800100"));
    }
};

QTEST_GUILESS_MAIN(TestExchanges)
#include "tst_exchanges.moc"
