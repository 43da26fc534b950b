#include "simulator/misbehaviour.h"

#include <QSignalSpy>
#include <QtTest>

using namespace simulator;

using Settings = QVector<QPair<const char *, const char *>>;
Q_DECLARE_METATYPE(Settings)

namespace {

const QByteArray hello = QByteArray::fromHex("00000001");
const QByteArray whitelistClear = QByteArray::fromHex("0000000c");
const QByteArray protocolError = QByteArray::fromHex("800200068001");

// One that behaves as set from here on, and what it writes.
struct Subject : Misbehaviour
{
    Subject(quint32 seed, const Settings &settings)
        : Misbehaviour(seed)
    {
        for (const auto &[name, value] : settings)
            change(name, value);
    }
    void change(const char *name, const char *value)
    {
        const auto refusal = set(QString::fromLatin1(name), QString::fromLatin1(value));
        QVERIFY2(!refusal, qPrintable(refusal.value_or(QString())));
    }
    QList<QByteArray> writes() const
    {
        QList<QByteArray> all;
        for (const QList<QVariant> &signal : spy)
            all.append(signal.first().toByteArray());
        return all;
    }
    QSignalSpy spy{this, &Misbehaviour::writeReady};
};

} // namespace

class TestMisbehaviour : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingFollowsTheLastFrame()
    {
        Subject subject(1, {{"unplug", "3"}, {"unasked", "2"}, {"join", "9"}});
        QSignalSpy unplugged(&subject, &Misbehaviour::unplugged);
        for (int i = 0; i < 5; ++i)
            subject.send(hello);
        QCOMPARE(subject.spy.size(), 1); // two frames and the unasked one
        QCOMPARE(subject.spy[0][1].value<QByteArrayList>().size(), 3);
        QCOMPARE(unplugged.size(), 1);
    }

    void hostThatGoesDuringTheLastFrame()
    {
        Subject subject(1, {{"unplug", "1"}, {"split", "1"}});
        QSignalSpy unplugged(&subject, &Misbehaviour::unplugged);
        subject.send(hello);
        QVERIFY(unplugged.isEmpty());
        subject.forget();
        QCOMPARE(unplugged.size(), 1);
    }

    void writesOfHelloEventClear_data()
    {
        QTest::addColumn<Settings>("settings");
        QTest::addColumn<QByteArray>("expected"); // each write in hex
        const auto row = [](const char *expected, const Settings &settings) {
            QTest::addRow("%s %s: %s", settings.value(0).first, settings.value(0).second, expected)
                << settings << QByteArray(expected);
        };
        row("00000001 800200068001 0000000c", {{"lose", "0"}});
        row("00000001 ff7f800200068001 ff7f0000000c", {{"junk-bytes", "ff 7f"}});
        row("00000001 80020006 8001 0000000c", {{"split", "4"}});
        row("00 00 00 01 80 02 00 06 80 01 00 00 00 0c", {{"split", "1"}});
        row("000000018002000680010000000c", {{"join", "3"}});
        row("00000001800200068001 0000000c", {{"join", "2"}}); // the last one alone
        row("00000001800200068001 0000000c", {{"join", "3"}, {"split", "10"}});
        row("800200068001 0000000c", {{"lose", "1"}});
        row("00000001 800200068001", {{"lose-every", "2"}});
        row("00000001 800200068001", {{"lose-command", "system_whitelist_clear"}});
        row("800200068001", {{"lose-command", "system_whitelist_clear"}, {"lose-command", "system_hello"}});
        row("00000001 0000000c", {{"lose-event", "system_protocol_error"}});
        row("0000000c", {{"lose-command", "system_hello@1"}, {"lose-event", "system_protocol_error"}});
        row("00000001 800200068001 0000000c",
            {{"lose-command", "system_hello@2"}, {"lose-event", "system_protocol_error@2"}});
    }

    void writesOfHelloEventClear()
    {
        QFETCH(Settings, settings);
        QFETCH(QByteArray, expected);
        Subject subject(1, settings);
        for (const QByteArray &frame : {hello, protocolError, whitelistClear})
            subject.send(frame);
        QList<QByteArray> pieces;
        for (const QByteArray &piece : expected.split(' '))
            pieces.append(QByteArray::fromHex(piece));
        QTRY_COMPARE(subject.writes(), pieces);
    }

    void onlyTheNthIsLost()
    {
        Subject subject(1, {{"lose-event", "system_protocol_error@2"}, {"lose-command", "system_hello@3"}});
        for (int i = 0; i < 4; ++i) {
            subject.send(protocolError);
            subject.send(hello);
        }
        QCOMPARE(subject.writes(),
                 (QList<QByteArray>{protocolError, hello, hello, protocolError, protocolError, hello}));
    }

    void saysWhatItDoes_data()
    {
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char *setting, const QStringList &expected) {
            QTest::newRow(setting) << expected;
        };
        row("junk 2", {QStringLiteral("junk: 2 bytes"), QStringLiteral("junk: 2 bytes")});
        row("split 4", {QStringLiteral("split: 6 bytes")}); // the others are no longer than a piece
        row("join 2", {QStringLiteral("joined: 2 frames")});
        row("join 1", {});
        row("lose 1", {QStringLiteral("lost: system_hello")});
        row("lose-event system_protocol_error", {QStringLiteral("lost: system_protocol_error reason:0180")});
    }

    void saysWhatItDoes()
    {
        QFETCH(QStringList, expected);
        const auto words = QByteArray(QTest::currentDataTag()).split(' ');
        Subject subject(1, {{words[0].constData(), words[1].constData()}});
        QSignalSpy notes(&subject, &Misbehaviour::note);
        for (const QByteArray &frame : {hello, protocolError, whitelistClear})
            subject.send(frame);
        QTRY_COMPARE(subject.writes().join().right(4), whitelistClear);
        QStringList said;
        for (const QList<QVariant> &signal : notes)
            said.append(signal.first().toString());
        QCOMPARE(said, expected);
    }

    void junkStartsNoFrame()
    {
        Subject subject(3, {{"junk", "500"}});
        subject.send(hello);
        subject.send(hello);
        QCOMPARE(subject.writes().at(0), hello);
        const QByteArray second = subject.writes().at(1);
        QCOMPARE(second.mid(500), hello);
        QVERIFY(
            std::all_of(second.begin(), second.begin() + 500, [](char byte) { return (byte & 0x78) != 0; }));
    }

    void lateResponseIsOvertaken()
    {
        Subject subject(1, {{"late", "20"}});
        QElapsedTimer time;
        time.start();
        for (const QByteArray &frame : {hello, whitelistClear, protocolError})
            subject.send(frame);
        QCOMPARE(subject.writes(), QList<QByteArray>{protocolError});
        QTRY_COMPARE(subject.writes(), (QList<QByteArray>{protocolError, hello, whitelistClear}));
        QVERIFY(time.elapsed() >= 20);
    }

    void extraFramesAreWellFormed_data()
    {
        QTest::addColumn<int>("every");
        QTest::addColumn<bool>("known");
        QTest::newRow("unasked") << 2 << true;
        QTest::newRow("unknown") << 1 << false;
    }

    void extraFramesAreWellFormed()
    {
        QFETCH(int, every);
        QFETCH(bool, known);
        Subject subject(5, {{QTest::currentDataTag(), QByteArray::number(every).constData()}});
        for (int i = 0; i < 200; ++i)
            subject.send(hello);
        const auto all = subject.writes();
        QCOMPARE(all.size(), 200 + 200 / every);
        QSet<QByteArray> kinds;
        for (int i = every; i < all.size(); i += every + 1) {
            QCOMPARE(all[i].size(), 4 + uint8(all[i][1]));
            QCOMPARE(all[i][0] & 0x7f, 0);
            QCOMPARE(uint8(all[i][2]) < 10, known);
            kinds.insert(all[i]);
        }
        QVERIFY(kinds.size() > 20);
    }

    void sameSeedSameChance()
    {
        const auto run = [](quint32 seed) {
            Subject subject(seed, {{"junk", "3"}, {"unasked", "1"}});
            for (int i = 0; i < 20; ++i)
                subject.send(hello);
            return subject.writes();
        };
        QCOMPARE(run(9), run(9));
        QVERIFY(run(9) != run(10));
    }

    void resultInPercent()
    {
        constexpr int regWrite = 3;
        const std::optional<uint16> full = 0x0182;
        Subject subject(1, {});
        QCOMPARE(subject.chosenResult(regWrite), std::nullopt);
        subject.change("result", "system_reg_write=0x0182");
        QCOMPARE(subject.chosenResult(regWrite), full);
        QCOMPARE(subject.chosenResult(regWrite + 1), std::nullopt);
        subject.change("result", "system_reg_write=386@5");
        int chosen = 0;
        for (int i = 0; i < 10000; ++i)
            chosen += subject.chosenResult(regWrite) == full ? 1 : 0;
        QVERIFY2(chosen > 400 && chosen < 600, qPrintable(QString::number(chosen)));
    }

    void unplugsAfterTheLastPiece()
    {
        Subject subject(1, {{"unplug", "2"}, {"split", "3"}});
        QSignalSpy unplugged(&subject, &Misbehaviour::unplugged);
        subject.send(hello);
        subject.send(protocolError);
        QVERIFY(unplugged.isEmpty());
        QTRY_COMPARE(unplugged.size(), 1);
        QCOMPARE(subject.writes().join(), hello + protocolError);
    }

    void hostThatHasGoneGetsNothing()
    {
        Subject subject(1, {{"late", "10"}});
        subject.send(hello);
        subject.change("late", "0");
        subject.change("join", "5");
        subject.send(whitelistClear);
        subject.forget();
        subject.change("join", "0");
        subject.change("late", "30");
        subject.send(hello);
        QTRY_COMPARE(subject.writes(), QList<QByteArray>{hello});
    }

    void refusesBadValues()
    {
        for (const char *line :
             {"nonsense 1", "lose x", "late -1", "junk 99999999999", "split ", "junk-bytes fff",
              "junk-bytes zz", "lose-command system_boot", "lose-command system_hello@0",
              "lose-event system_hello", "lose-event system_boot@x", "result system_hello=1",
              "result system_reg_write", "result system_reg_write=0x10000",
              "result system_reg_write=1@101"}) {
            const QStringList words = QString::fromLatin1(line).split(QLatin1Char(' '));
            QVERIFY2(Misbehaviour(1).set(words[0], words[1]).has_value(), line);
        }
    }
};

QTEST_GUILESS_MAIN(TestMisbehaviour)
#include "tst_misbehaviour.moc"
