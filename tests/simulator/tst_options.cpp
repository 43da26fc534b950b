#include "simulator/misbehaviour.h"
#include "simulator/options.h"

#include <QtTest>

using namespace simulator;

namespace {

ParsedOptions parse(const QString &line)
{
    return parseOptions((QStringLiteral("vorsel-module ") + line).split(QLatin1Char(' ')));
}

} // namespace

class TestOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void allTogether()
    {
        const ParsedOptions parsed = parse(QStringLiteral(
            "--name Other --seed 0x10 --address 0A:0b:0c:0d:0e:0f --packet-mode --quiet --port /dev/ttyS9 "
            "--speed 9600 --devices 0 --rate 10000 --junk 2 --lose-command system_hello --lose-command "
            "system_reset "
            "--result system_reg_write=0x0182@5"));
        QVERIFY2(parsed.outcome == ParsedOptions::run, qPrintable(parsed.text));
        const Options &options = parsed.options;
        QCOMPARE(options.name, QStringLiteral("Other"));
        QCOMPARE(options.identity.seed, 16u);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(options.identity.address.addr), 6).toHex(),
                 QByteArray("0f0e0d0c0b0a"));
        QVERIFY(options.packetMode && options.quiet);
        QCOMPARE(options.port, QStringLiteral("/dev/ttyS9"));
        QCOMPARE(options.speed, 9600);
        QCOMPARE(options.identity.world.devices, 0);
        QCOMPARE(options.identity.world.rate, 10000);
        QCOMPARE(options.misbehaviour.size(), 4);
    }

    void refused()
    {
        for (const char *line :
             {"--nonsense", "stray", "--seed x", "--seed -1", "--speed 0", "--address 01:02:03:04:05",
              "--address 01:02:03:04:05:6", "--address 01:02:03:04:05:gg", "--name .hidden", "--name a/b",
              "--port", "--junk -1", "--result system_reg_write=", "--unplug many", "--devices 501",
              "--devices -1", "--rate 10001", "--name ", "--name %1"}) {
            const QString longest(241, QLatin1Char('n'));
            const ParsedOptions parsed =
                parse(QString::fromLatin1(line).replace(QStringLiteral("%1"), longest));
            QVERIFY2(parsed.outcome == ParsedOptions::refuse && !parsed.text.isEmpty(), line);
        }
    }

    void helpNamesEverything()
    {
        const ParsedOptions parsed = parse(QStringLiteral("--help"));
        QCOMPARE(parsed.outcome, ParsedOptions::showText);
        for (const Misbehaviour::Setting &setting : Misbehaviour::settings())
            QVERIFY2(parsed.text.contains(QStringLiteral("--") + QLatin1String(setting.name)), setting.name);
    }
};

QTEST_GUILESS_MAIN(TestOptions)
#include "tst_options.moc"
