#include "simulator/faults/misbehaviour.h"
#include "simulator/program/options.h"

#include <QtTest>

using namespace simulator;

namespace {

const QByteArray hello = QByteArray::fromHex("00000001");
const QByteArray whitelistClear = QByteArray::fromHex("0000000c");
const QByteArray protocolError = QByteArray::fromHex("800200068001");

// One that behaves as set from here on, by "NAME VALUE; NAME VALUE", and what it writes.
struct Subject : Misbehaviour
{
    Subject(quint32 seed, const char *settings)
        : Misbehaviour(seed)
    {
        change(settings);
    }
    void change(const char *settings)
    {
        for (const QString &one :
             QString::fromLatin1(settings).split(QStringLiteral("; "), Qt::SkipEmptyParts)) {
            const auto refusal = set(one.section(QLatin1Char(' '), 0, 0), one.section(QLatin1Char(' '), 1));
            QVERIFY2(!refusal, qPrintable(refusal.value_or(QString())));
        }
    }
    void sendAll(const QByteArrayList &all)
    {
        for (const QByteArray &frame : all)
            send(frame);
    }
    QByteArrayList writes() const
    {
        QByteArrayList all;
        for (const QList<QVariant> &signal : spy)
            all.append(signal.first().toByteArray());
        return all;
    }
    QSignalSpy spy{this, &Misbehaviour::writeReady};
    QSignalSpy ends{this, &Misbehaviour::unplugged};
};

ParsedOptions parse(const QString &line)
{
    return parseOptions((QStringLiteral("vorsel-module ") + line).split(QLatin1Char(' ')));
}

} // namespace

// What a module does wrong on purpose, and the command line that asks for it.
class TestMisbehaviour : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingFollowsTheLastFrame()
    {
        Subject subject(1, "unplug 3; unasked 2; join 9");
        subject.sendAll({hello, hello, hello, hello, hello});
        QCOMPARE(subject.spy.size(), 1); // two frames and the unasked one
        QCOMPARE(subject.spy[0][1].value<QByteArrayList>().size(), 3);
        QCOMPARE(subject.ends.size(), 1);
    }

    void hostThatGoesDuringTheLastFrame()
    {
        Subject subject(1, "unplug 1; split 1");
        subject.send(hello);
        QVERIFY(subject.ends.isEmpty());
        subject.forget();
        QCOMPARE(subject.ends.size(), 1);
    }

    void helloEventClear()
    {
        const char *const lostClear = "lost: system_whitelist_clear";
        // Each write of a hello, an event and a cleared whitelist in hex, and what is said of them.
        const std::tuple<const char *, QByteArray, QByteArray> rows[] = {
            {"lose 0", "00000001 800200068001 0000000c", ""},
            {"junk-bytes ff 7f", "00000001 ff7f800200068001 ff7f0000000c", "junk: 2 bytes,junk: 2 bytes"},
            {"split 4", "00000001 80020006 8001 0000000c", "split: 6 bytes"}, // the others are no longer
            {"split 1", "00 00 00 01 80 02 00 06 80 01 00 00 00 0c",
             "split: 4 bytes,split: 6 bytes,split: 4 bytes"},
            {"join 1", "00000001 800200068001 0000000c", ""},
            {"join 2", "00000001800200068001 0000000c", "joined: 2 frames"}, // the last one alone
            {"join 3", "000000018002000680010000000c", "joined: 3 frames"},
            {"join 3; split 10", "00000001800200068001 0000000c", "joined: 3 frames,split: 14 bytes"},
            {"lose 1", "800200068001 0000000c", "lost: system_hello"},
            {"lose-every 2", "00000001 800200068001", lostClear},
            {"lose-command system_whitelist_clear", "00000001 800200068001", lostClear},
            {"lose-command system_whitelist_clear; lose-command system_hello", "800200068001",
             "lost: system_hello,lost: system_whitelist_clear"},
            {"lose-event system_protocol_error", "00000001 0000000c",
             "lost: system_protocol_error reason:0180"},
            {"lose-command system_hello@1; lose-event system_protocol_error", "0000000c",
             "lost: system_hello,lost: system_protocol_error reason:0180"},
        };
        for (const auto &[settings, expected, expectedNotes] : rows) {
            Subject subject(1, settings);
            QSignalSpy notes(&subject, &Misbehaviour::note);
            subject.sendAll({hello, protocolError, whitelistClear});
            QByteArrayList pieces, said;
            for (const QByteArray &piece : expected.split(' '))
                pieces.append(QByteArray::fromHex(piece));
            QTRY_COMPARE(subject.writes(), pieces);
            for (const QList<QVariant> &signal : notes)
                said.append(signal.first().toString().toLatin1());
            QCOMPARE(settings + said.join(','), settings + expectedNotes);
        }
    }

    void onlyTheNthIsLost()
    {
        Subject subject(1, "lose-event system_protocol_error@2; lose-command system_hello@3");
        for (int i = 0; i < 4; ++i)
            subject.sendAll({protocolError, hello});
        QCOMPARE(subject.writes(),
                 (QByteArrayList{protocolError, hello, hello, protocolError, protocolError, hello}));
    }

    void junkStartsNoFrame()
    {
        Subject subject(3, "junk 500");
        subject.sendAll({hello, hello});
        QCOMPARE(subject.writes().at(0), hello);
        const QByteArray second = subject.writes().at(1);
        QCOMPARE(second.mid(500), hello);
        QVERIFY(
            std::all_of(second.begin(), second.begin() + 500, [](char byte) { return (byte & 0x78) != 0; }));
    }

    void lateResponseIsOvertaken()
    {
        Subject subject(1, "late 20");
        QElapsedTimer time;
        time.start();
        subject.sendAll({hello, whitelistClear, protocolError});
        QCOMPARE(subject.writes(), QByteArrayList{protocolError});
        QTRY_COMPARE(subject.writes(), (QByteArrayList{protocolError, hello, whitelistClear}));
        QVERIFY(time.elapsed() >= 20);
    }

    void extraFramesAreWellFormed()
    {
        for (const bool known : {true, false}) {
            const int every = known ? 2 : 1;
            Subject subject(5, known ? "unasked 2" : "unknown 1");
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
    }

    void sameSeedSameChance()
    {
        const auto run = [](quint32 seed) {
            Subject subject(seed, "junk 3; unasked 1");
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
        Subject subject(1, "");
        QCOMPARE(subject.chosenResult(regWrite), std::nullopt);
        QVERIFY(subject.set(QStringLiteral("nonsense"), QStringLiteral("1")).has_value());
        subject.change("result system_reg_write=0x0182");
        QCOMPARE(subject.chosenResult(regWrite), full);
        QCOMPARE(subject.chosenResult(regWrite + 1), std::nullopt);
        subject.change("result system_reg_write=386@5");
        int chosen = 0;
        for (int i = 0; i < 10000; ++i)
            chosen += subject.chosenResult(regWrite) == full ? 1 : 0;
        QVERIFY2(chosen > 400 && chosen < 600, qPrintable(QString::number(chosen)));
    }

    void unplugsAfterTheLastPiece()
    {
        Subject subject(1, "unplug 2; split 3");
        subject.sendAll({hello, protocolError});
        QVERIFY(subject.ends.isEmpty());
        QTRY_COMPARE(subject.ends.size(), 1);
        QCOMPARE(subject.writes().join(), hello + protocolError);
    }

    void hostThatHasGoneGetsNothing()
    {
        Subject subject(1, "late 10");
        subject.send(hello);
        subject.change("late 0; join 5");
        subject.send(whitelistClear);
        subject.forget();
        subject.change("join 0; late 30");
        subject.send(hello);
        QTRY_COMPARE(subject.writes(), QByteArrayList{hello});
    }

    void allOptionsTogether()
    {
        const ParsedOptions parsed = parse(QStringLiteral(
            "--name Other --seed 0x10 --address 0A:0b:0c:0d:0e:0f --packet-mode --quiet --port /dev/ttyS9 "
            "--speed 9600 --devices 0 --rate 10000 --junk 2 --lose-command system_hello "
            "--lose-command system_reset --result system_reg_write=0x0182@5"));
        QVERIFY2(parsed.outcome == ParsedOptions::run, qPrintable(parsed.text));
        const Options &options = parsed.options;
        QCOMPARE(options.name, QStringLiteral("Other"));
        QCOMPARE(options.module.seed, 16u);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(options.module.address.addr), 6).toHex(),
                 QByteArray("0f0e0d0c0b0a"));
        QVERIFY(options.packetMode && options.isQuiet);
        QCOMPARE(options.port, QStringLiteral("/dev/ttyS9"));
        QCOMPARE(options.speed, 9600);
        QCOMPARE(options.module.world.devices, 0);
        QCOMPARE(options.module.world.rate, 10000);
        QCOMPARE(options.faults.junkCount, 2);
        QCOMPARE(options.faults.lostFrames.size(), 2);
        QCOMPARE(options.faults.results.size(), 1);
    }

    void refusedOptions()
    {
        const QString lines = QStringLiteral(
            "--nonsense|stray|--seed x|--seed -1|--speed 0|--address 01:02:03:04:05|--address "
            "01:02:03:04:05:6|"
            "--address 01:02:03:04:05:gg|--name .hidden|--name a/b|--port|--junk -1|--result "
            "system_reg_write=|"
            "--unplug many|--devices 501|--devices -1|--rate 10001|--name |--name %1|--lose x|--late "
            "-1|--split |"
            "--junk 99999999999|--junk-bytes fff|--junk-bytes zz|--lose-command system_boot|"
            "--lose-command system_hello@0|--lose-event system_hello|--lose-event system_boot@x|"
            "--result system_hello=1|--result system_reg_write|--result system_reg_write=0x10000|"
            "--result system_reg_write=1@101");
        for (const QString &line : lines.arg(QString(241, QLatin1Char('n'))).split(QLatin1Char('|'))) {
            const ParsedOptions parsed = parse(line);
            QVERIFY2(parsed.outcome == ParsedOptions::refuse && !parsed.text.isEmpty(), qPrintable(line));
        }
    }

    void helpNamesEverything()
    {
        const ParsedOptions parsed = parse(QStringLiteral("--help"));
        QCOMPARE(parsed.outcome, ParsedOptions::showText);
        for (const FaultSetting &setting : faultSettings())
            QVERIFY2(parsed.text.contains(QStringLiteral("--") + QLatin1String(setting.name)), setting.name);
    }
};

QTEST_GUILESS_MAIN(TestMisbehaviour)
#include "tst_misbehaviour.moc"
