#include "simulator/misbehaviour.h"

#include <QSignalSpy>
#include <QtTest>

using namespace simulator;

namespace {

const QByteArray hello = QByteArray::fromHex("00000001");
const QByteArray whitelistClear = QByteArray::fromHex("0000000c");
const QByteArray protocolError = QByteArray::fromHex("800200068001");

using Settings = QVector<QPair<const char *, const char *>>;

QString set(Misbehaviour &target, const char *name, const char *value)
{
    return target.set(QString::fromLatin1(name), QString::fromLatin1(value)).value_or(QString());
}

QList<QByteArray> writes(const QSignalSpy &spy)
{
    QList<QByteArray> all;
    for (const QList<QVariant> &signal : spy)
        all.append(signal.first().toByteArray());
    return all;
}

QList<QByteArray> hexList(const QList<QByteArray> &list)
{
    QList<QByteArray> all;
    for (const QByteArray &bytes : list)
        all.append(bytes.toHex());
    return all;
}

} // namespace

Q_DECLARE_METATYPE(Settings)

class TestMisbehaviour : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesOfHelloEventClear_data();
    void writesOfHelloEventClear();
    void junkStartsNoFrame();
    void lateResponseIsOvertaken();
    void unaskedFramesAreWellFormed();
    void unknownFramesHaveNoClass();
    void sameSeedSameChance();
    void resultInPercent();
    void unplugsAfterTheLastPiece();
    void hostThatHasGoneGetsNothing();
    void refusesBadValues_data();
    void refusesBadValues();
};

void TestMisbehaviour::writesOfHelloEventClear_data()
{
    QTest::addColumn<Settings>("settings");
    QTest::addColumn<QList<QByteArray>>("expected");
    const QByteArray helloHex = "00000001", eventHex = "800200068001", clearHex = "0000000c";
    QTest::newRow("nothing set") << Settings{} << QList<QByteArray>{helloHex, eventHex, clearHex};
    QTest::newRow("junk between") << Settings{{"junk-bytes", "ff 7f"}}
                                  << QList<QByteArray>{helloHex, "ff7f800200068001", "ff7f0000000c"};
    QTest::newRow("split") << Settings{{"split", "4"}}
                           << QList<QByteArray>{helloHex, "80020006", "8001", clearHex};
    QTest::newRow("split to bytes") << Settings{{"split", "1"}}
                                    << QList<QByteArray>{"00", "00", "00", "01", "80", "02", "00",
                                                         "06", "80", "01", "00", "00", "00", "0c"};
    QTest::newRow("join all") << Settings{{"join", "3"}} << QList<QByteArray>{helloHex + eventHex + clearHex};
    QTest::newRow("join, the last one alone")
        << Settings{{"join", "2"}} << QList<QByteArray>{helloHex + eventHex, clearHex};
    QTest::newRow("join and split") << Settings{{"join", "3"}, {"split", "10"}}
                                    << QList<QByteArray>{"00000001800200068001", "0000000c"};
    QTest::newRow("lose one") << Settings{{"lose", "1"}} << QList<QByteArray>{eventHex, clearHex};
    QTest::newRow("lose every second")
        << Settings{{"lose-every", "2"}} << QList<QByteArray>{helloHex, eventHex};
    QTest::newRow("lose by name") << Settings{{"lose-command", "system_whitelist_clear"}}
                                  << QList<QByteArray>{helloHex, eventHex};
    QTest::newRow("lose two by name")
        << Settings{{"lose-command", "system_whitelist_clear"}, {"lose-command", "system_hello"}}
        << QList<QByteArray>{eventHex};
}

void TestMisbehaviour::writesOfHelloEventClear()
{
    QFETCH(Settings, settings);
    QFETCH(QList<QByteArray>, expected);
    Misbehaviour misbehaviour(1);
    QSignalSpy spy(&misbehaviour, &Misbehaviour::writeReady);
    for (const auto &setting : settings)
        QCOMPARE(set(misbehaviour, setting.first, setting.second), QString());
    for (const QByteArray &frame : {hello, protocolError, whitelistClear})
        misbehaviour.send(frame);
    QTRY_COMPARE(hexList(writes(spy)), expected);
}

void TestMisbehaviour::junkStartsNoFrame()
{
    Misbehaviour misbehaviour(3);
    QSignalSpy spy(&misbehaviour, &Misbehaviour::writeReady);
    QCOMPARE(set(misbehaviour, "junk", "500"), QString());
    misbehaviour.send(hello);
    misbehaviour.send(hello);
    QCOMPARE(writes(spy)[0], hello);
    const QByteArray second = writes(spy)[1];
    QCOMPARE(second.size(), 504);
    QVERIFY(second.endsWith(hello));
    QVERIFY(std::all_of(second.begin(), second.begin() + 500, [](char byte) { return (byte & 0x78) != 0; }));
}

void TestMisbehaviour::lateResponseIsOvertaken()
{
    Misbehaviour misbehaviour(1);
    QSignalSpy spy(&misbehaviour, &Misbehaviour::writeReady);
    QCOMPARE(set(misbehaviour, "late", "20"), QString());
    QElapsedTimer time;
    time.start();
    misbehaviour.send(hello);
    misbehaviour.send(whitelistClear);
    misbehaviour.send(protocolError);
    QCOMPARE(writes(spy), QList<QByteArray>{protocolError});
    QTRY_COMPARE(writes(spy), (QList<QByteArray>{protocolError, hello, whitelistClear}));
    QVERIFY(time.elapsed() >= 20);
}

void TestMisbehaviour::unaskedFramesAreWellFormed()
{
    Misbehaviour misbehaviour(5);
    QSignalSpy spy(&misbehaviour, &Misbehaviour::writeReady);
    QCOMPARE(set(misbehaviour, "unasked", "2"), QString());
    for (int i = 0; i < 200; ++i)
        misbehaviour.send(hello);
    const auto all = writes(spy);
    QCOMPARE(all.size(), 300);
    QSet<QByteArray> kinds;
    for (int i = 2; i < all.size(); i += 3) {
        QCOMPARE(all[i].size(), 4 + uint8(all[i][1]));
        QVERIFY(uint8(all[i][2]) < 10);
        kinds.insert(all[i]);
    }
    QVERIFY(kinds.size() > 20);
}

void TestMisbehaviour::unknownFramesHaveNoClass()
{
    Misbehaviour misbehaviour(5);
    QSignalSpy spy(&misbehaviour, &Misbehaviour::writeReady);
    QCOMPARE(set(misbehaviour, "unknown", "1"), QString());
    for (int i = 0; i < 100; ++i)
        misbehaviour.send(hello);
    const auto all = writes(spy);
    QCOMPARE(all.size(), 200);
    for (int i = 1; i < all.size(); i += 2) {
        QCOMPARE(all[i].size(), 4 + uint8(all[i][1]));
        QVERIFY(uint8(all[i][2]) >= 10);
        QCOMPARE(all[i][0] & 0x7f, 0);
    }
}

void TestMisbehaviour::sameSeedSameChance()
{
    const auto run = [](quint32 seed) {
        Misbehaviour misbehaviour(seed);
        QSignalSpy spy(&misbehaviour, &Misbehaviour::writeReady);
        set(misbehaviour, "junk", "3");
        set(misbehaviour, "unasked", "1");
        for (int i = 0; i < 20; ++i)
            misbehaviour.send(hello);
        return writes(spy);
    };
    QCOMPARE(run(9), run(9));
    QVERIFY(run(9) != run(10));
}

void TestMisbehaviour::resultInPercent()
{
    constexpr int regWrite = 3;
    Misbehaviour misbehaviour(1);
    QCOMPARE(misbehaviour.chosenResult(regWrite), std::nullopt);
    QCOMPARE(set(misbehaviour, "result", "system_reg_write=0x0182"), QString());
    QCOMPARE(misbehaviour.chosenResult(regWrite), std::optional<uint16>(0x0182));
    QCOMPARE(misbehaviour.chosenResult(regWrite + 1), std::nullopt);
    QCOMPARE(set(misbehaviour, "result", "system_reg_write=386@5"), QString());
    int chosen = 0;
    for (int i = 0; i < 10000; ++i)
        chosen += misbehaviour.chosenResult(regWrite) == std::optional<uint16>(0x0182) ? 1 : 0;
    QVERIFY2(chosen > 400 && chosen < 600, qPrintable(QString::number(chosen)));
}

void TestMisbehaviour::unplugsAfterTheLastPiece()
{
    Misbehaviour misbehaviour(1);
    QSignalSpy spy(&misbehaviour, &Misbehaviour::writeReady);
    QSignalSpy unplugged(&misbehaviour, &Misbehaviour::unplugged);
    QCOMPARE(set(misbehaviour, "unplug", "2"), QString());
    QCOMPARE(set(misbehaviour, "split", "3"), QString());
    misbehaviour.send(hello);
    QVERIFY(unplugged.isEmpty());
    misbehaviour.send(protocolError);
    QVERIFY(unplugged.isEmpty());
    QTRY_COMPARE(unplugged.size(), 1);
    QCOMPARE(writes(spy).join(), hello + protocolError);
}

void TestMisbehaviour::hostThatHasGoneGetsNothing()
{
    Misbehaviour misbehaviour(1);
    QSignalSpy spy(&misbehaviour, &Misbehaviour::writeReady);
    set(misbehaviour, "late", "10");
    misbehaviour.send(hello);
    set(misbehaviour, "late", "0");
    set(misbehaviour, "join", "5");
    misbehaviour.send(whitelistClear);
    misbehaviour.forget();
    set(misbehaviour, "join", "0");
    set(misbehaviour, "late", "30");
    misbehaviour.send(hello);
    QTRY_COMPARE(writes(spy).size(), 1);
    QCOMPARE(writes(spy), QList<QByteArray>{hello});
}

void TestMisbehaviour::refusesBadValues_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::newRow("no such setting") << QStringLiteral("nonsense") << QStringLiteral("1");
    QTest::newRow("no number") << QStringLiteral("lose") << QStringLiteral("x");
    QTest::newRow("negative") << QStringLiteral("late") << QStringLiteral("-1");
    QTest::newRow("beyond 32 bits") << QStringLiteral("junk") << QStringLiteral("99999999999");
    QTest::newRow("empty") << QStringLiteral("split") << QString();
    QTest::newRow("odd digits") << QStringLiteral("junk-bytes") << QStringLiteral("fff");
    QTest::newRow("no hex") << QStringLiteral("junk-bytes") << QStringLiteral("zz");
    QTest::newRow("no such command") << QStringLiteral("lose-command") << QStringLiteral("system_boot");
    QTest::newRow("result of none") << QStringLiteral("result") << QStringLiteral("system_hello=1");
    QTest::newRow("result without code") << QStringLiteral("result") << QStringLiteral("system_reg_write");
    QTest::newRow("result too large")
        << QStringLiteral("result") << QStringLiteral("system_reg_write=0x10000");
    QTest::newRow("percent too large")
        << QStringLiteral("result") << QStringLiteral("system_reg_write=1@101");
}

void TestMisbehaviour::refusesBadValues()
{
    QFETCH(QString, name);
    QFETCH(QString, value);
    Misbehaviour misbehaviour(1);
    QVERIFY(misbehaviour.set(name, value).has_value());
}

QTEST_GUILESS_MAIN(TestMisbehaviour)
#include "tst_misbehaviour.moc"
