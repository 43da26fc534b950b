#include "linkedmodule.h"
#include "simulator/attributesbehaviour.h"

using namespace simulator;

namespace {

const QByteArray boot = "800c0000020001000000390009000104";

// A module without any device, and all that came from it.
struct Subject : SimulatedModule
{
    using SimulatedModule::SimulatedModule;

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

    QSignalSpy frames{this, &SimulatedModule::frameReady};
};

} // namespace

// Whole frames in, whole frames out, each row against a module that has just started.
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
        QSignalSpy notes(&module, &SimulatedModule::note);
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
        const struct
        {
            const char *name;
            uint16 handle;
            QByteArray value;
            int result;
            const char *frames;
        } rows[] = {
            {"value", 3, "AB", 0, "80090200020003000000024142"},
            {"user's", 0x14, "A", 0, "800802000202140000000141"},
            {"read-only", 1, "A", 0x403, ""},
            {"no such handle", 0x99, "A", 0x401, ""},
            {"configuration", 0x0e, {"\1\0", 2}, 0, "8009020002000e000000020100,800302020d0001"},
        };
        for (const auto &row : rows) {
            Subject module;
            const int result = module.attributes().remoteWrite(2, row.handle, 0, row.value);
            QVERIFY2(result == row.result && module.seen() == row.frames, row.name);
        }
    }

    void seedDecidesFirmware()
    {
        const auto firmware = [](quint32 seed) {
            ModuleIdentity identity;
            identity.seed = seed;
            return Subject(identity).ask("00050007 00100000 20");
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
};

QTEST_GUILESS_MAIN(TestExchanges)
#include "tst_exchanges.moc"
