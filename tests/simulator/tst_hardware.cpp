#include "linkedmodule.h"
#include "simulator/hardwarebehaviour.h"

using namespace simulator;

// What happens around the pins, and what takes time.
class TestHardware : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void levelChangesInterrupt()
    {
        const struct
        {
            const char *name, *set;
            uint8 levels, driven;
            QByteArray event; // port, pins that interrupt, levels
            const char *after;
        } rows[] = {
            {"rising, only enabled pins", "070501ff00+0700010300", 0xfe, 0xff, "0102fe", "fe"},
            {"falling", "0700010f01", 0xf5, 0xff, "010af5", "f5"},
            {"enable and edge apart", "070e010f+070f0101", 0xf5, 0xff, "010af5", "f5"},
            {"the other edge", "0700010f00", 0xf5, 0xff, "", "f5"},
            {"no change", "0700010f01", 0xff, 0xff, "", "ff"},
            {"what is not driven shows its pull", "0700010f01", 0x00, 0x03, "0103fc", "fc"},
            {"outputs keep their level", "070301ff+070001ff01", 0x00, 0xff, "", "ff"},
            {"another port's pins", "070002ff01", 0x00, 0xff, "", "00"},
            {"nothing after a reset", "0700010f01+000000", 0xf5, 0xff, "", "f5"},
        };
        for (const auto &row : rows) {
            LinkedModule linked;
            linked.send(row.set);
            linked.received.clear();
            QVERIFY(linked.module.hardware().drivePins(1, row.levels, row.driven));
            QCOMPARE(row.name + linked.seen().mid(5 + 8),
                     row.name + row.event); // behind "!0700" and a timestamp
            QCOMPARE(row.name + linked.send("070701ff"), row.name + QByteArray("0707000001") + row.after);
            QVERIFY(!linked.module.hardware().drivePins(3, 0, 0xff));
        }
    }

    void comparatorReportsChanges()
    {
        LinkedModule linked;
        HardwareBehaviour &hardware = linked.module.hardware();
        linked.send("071201");
        hardware.setComparatorOutput(true); // still off
        linked.send("071001");
        linked.received.clear();
        hardware.setComparatorOutput(true);
        QCOMPARE(linked.seen(), QByteArray());
        hardware.setComparatorOutput(false);
        QCOMPARE(linked.seen().remove(5, 8), QByteArray("!070300"));
    }

    void softTimersExpire()
    {
        LinkedModule linked;
        QElapsedTimer clock;
        clock.start();
        linked.send("0701010000000200 + 0701480100000101"); // the first is as short as can be, but slower
        QTRY_VERIFY(linked.received.count("!070102") >= 4);
        QVERIFY(clock.elapsed() >= 35);
        QCOMPARE(linked.received.count("!070101"), 1);
        linked.send("0701000000000200");
        linked.send("0701000800000101");
        QTRY_COMPARE(linked.seen(), QByteArray("07010000,!070101"));
    }

    void receiverCountsAndTimestampRuns()
    {
        LinkedModule linked;
        const auto answer = [&linked](const char *command, int size) {
            const QByteArray bytes = QByteArray::fromHex(linked.send(command).mid(4, 2 * size));
            return qFromLittleEndian<quint32>(bytes.leftJustified(4, '\0').constData());
        };
        QElapsedTimer clock;
        clock.start();
        const auto before = answer("0716", 4);
        linked.send("080105 + 0801ff + 0701660600000001"); // the second is refused, the test goes on
        QTRY_VERIFY(linked.received.contains("!070100"));  // 50 ms
        const auto packets = answer("0802", 2), ticks = answer("0716", 4) - before;
        const auto most = clock.nsecsElapsed() / 1000;
        QVERIFY2(packets >= 70 && packets <= most / 625, qPrintable(QString::number(packets)));
        QVERIFY2(ticks >= 1600 && ticks <= most * 32768 / 1000000 + 1, qPrintable(QString::number(ticks)));
        QCOMPARE(answer("0802", 2), 0u);
    }

    void seedDecidesVoltages()
    {
        const auto values = [](uint32 seed, uint8 input, uint8 decimation) {
            AdConverter converter(seed);
            QVector<int> seen;
            for (int i = 0; i < 40; ++i)
                seen.append(converter.convert(input, decimation, 0).value());
            return seen;
        };
        QCOMPARE(values(1, 0, 3), values(1, 0, 3));
        QVERIFY(values(1, 0, 3) != values(2, 0, 3));
        const QVector<int> difference = values(1, 8, 3);
        QVERIFY(*std::min_element(difference.begin(), difference.end()) < 0);
        QVERIFY(*std::max_element(difference.begin(), difference.end()) > 0);
        for (const int value : difference)
            QVERIFY2(value % 16 == 0 && qAbs(value) < 0x400, qPrintable(QString::number(value)));
    }
};

QTEST_GUILESS_MAIN(TestHardware)
#include "tst_hardware.moc"
