#include "linkedmodule.h"
#include "simulator/hardwarebehaviour.h"

using namespace simulator;

// What happens around the pins, and what takes time.
class TestHardware : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void levelChangesInterrupt_data()
    {
        QTest::addColumn<QString>("set");
        QTest::addColumn<int>("levels");
        QTest::addColumn<int>("driven");
        QTest::addColumn<QString>("event"); // port, pins that interrupt, levels
        QTest::addColumn<int>("after");
        const auto row = [](const char *name, const char *set, int levels, int driven, const char *event,
                            int after) {
            QTest::newRow(name) << QString::fromLatin1(set) << levels << driven << QString::fromLatin1(event)
                                << after;
        };
        row("rising, only enabled pins", "070501ff00,0700010300", 0xfe, 0xff, "0102fe", 0xfe);
        row("falling", "0700010f01", 0xf5, 0xff, "010af5", 0xf5);
        row("enable and edge apart", "070e010f,070f0101", 0xf5, 0xff, "010af5", 0xf5);
        row("the other edge", "0700010f00", 0xf5, 0xff, "", 0xf5);
        row("no change", "0700010f01", 0xff, 0xff, "", 0xff);
        row("what is not driven shows its pull", "0700010f01", 0x00, 0x03, "0103fc", 0xfc);
        row("outputs keep their level", "070301ff,070001ff01", 0x00, 0xff, "", 0xff);
        row("another port's pins", "070002ff01", 0x00, 0xff, "", 0x00);
        row("nothing after a reset", "0700010f01,000000", 0xf5, 0xff, "", 0xf5);
    }

    void levelChangesInterrupt()
    {
        QFETCH(QString, set);
        QFETCH(int, levels);
        QFETCH(int, driven);
        QFETCH(int, after);
        LinkedModule linked;
        for (const QString &command : set.split(QLatin1Char(',')))
            linked.send(command);
        linked.received.clear();
        QVERIFY(linked.module.hardware().drivePins(1, uint8(levels), uint8(driven)));
        QTEST(linked.seen().mid(5 + 8), "event"); // behind "!0700" and a timestamp
        linked.received.clear();
        linked.send(QStringLiteral("070701ff"));
        QCOMPARE(linked.seen(), QStringLiteral("0707000001%1").arg(after, 2, 16, QLatin1Char('0')));
        QVERIFY(!linked.module.hardware().drivePins(3, 0, 0xff));
    }

    void comparatorReportsChanges()
    {
        LinkedModule linked;
        HardwareBehaviour &hardware = linked.module.hardware();
        linked.send(QStringLiteral("071201"));
        hardware.setComparatorOutput(true); // still off
        linked.send(QStringLiteral("071001"));
        linked.received.clear();
        hardware.setComparatorOutput(true);
        QCOMPARE(linked.seen(), QString());
        hardware.setComparatorOutput(false);
        QCOMPARE(linked.seen().remove(5, 8), QStringLiteral("!070300"));
    }

    void softTimersExpire()
    {
        LinkedModule linked;
        const QString once = QStringLiteral("!070101"), again = QStringLiteral("!070102");
        QElapsedTimer clock;
        clock.start();
        linked.send(QStringLiteral("0701010000000200")); // as short as can be, and nevertheless slower
        linked.send(QStringLiteral("0701480100000101"));
        QTRY_VERIFY(linked.received.count(again) >= 4);
        QVERIFY(clock.elapsed() >= 35);
        QCOMPARE(linked.received.count(once), 1);
        linked.send(QStringLiteral("0701000000000200"));
        linked.received.clear();
        linked.send(QStringLiteral("0701000800000101"));
        QTRY_COMPARE(linked.seen(), QStringLiteral("07010000,") + once);
    }

    void receiverCountsAndTimestampRuns()
    {
        LinkedModule linked;
        const auto answer = [&linked](const char *command, int size) {
            linked.received.clear();
            linked.send(QString::fromLatin1(command));
            const QByteArray bytes = QByteArray::fromHex(linked.seen().mid(4, 2 * size).toLatin1());
            return qFromLittleEndian<quint32>(bytes.leftJustified(4, '\0').constData());
        };
        QElapsedTimer clock;
        clock.start();
        const auto before = answer("0716", 4);
        linked.send(QStringLiteral("080105"));
        linked.send(QStringLiteral("0801ff")); // refused, the test goes on
        linked.send(QStringLiteral("0701660600000001"));
        QTRY_VERIFY(linked.received.contains(QStringLiteral("!070100"))); // 50 ms
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
