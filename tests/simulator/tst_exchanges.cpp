#include "simulator/attributesbehaviour.h"
#include "simulator/simulatedmodule.h"

#include <QSignalSpy>
#include <QtTest>

using namespace simulator;

namespace {

const QString boot = QStringLiteral("800c00000200010000003900090001 04").remove(QLatin1Char(' '));

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
        QFile table(QStringLiteral(VORSEL_EXCHANGES));
        QVERIFY(table.open(QIODevice::ReadOnly | QIODevice::Text));
        QString text;
        for (const QByteArray &line : table.readAll().split('\n'))
            text += line.startsWith('#') ? QString() : QString::fromLatin1(line) + QLatin1Char('\n');
        for (const QString &row :
             text.split(QRegularExpression(QStringLiteral("\n(?! )")), Qt::SkipEmptyParts))
            QTest::newRow(qPrintable(row.section(QStringLiteral(":\n"), 0, 0)))
                << row.section(QStringLiteral(":\n"), 1);
    }

    void exchange()
    {
        QFETCH(QString, steps);
        SimulatedModule module;
        steps = steps.remove(QRegularExpression(QStringLiteral("\\s"))).replace(QStringLiteral("BOOT"), boot);
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
