#include "simulator/misbehaviour.h"
#include "simulator/options.h"

#include <QtTest>

using namespace simulator;

class TestOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void defaults();
    void allTogether();
    void refused_data();
    void refused();
    void helpNamesEverything();
};

namespace {

ParsedOptions parse(QStringList arguments)
{
    arguments.prepend(QStringLiteral("vorsel-module"));
    return parseOptions(arguments);
}

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

} // namespace

void TestOptions::defaults()
{
    const ParsedOptions parsed = parse({});
    QCOMPARE(parsed.outcome, ParsedOptions::run);
    QCOMPARE(parsed.options.name, QStringLiteral("Simulated module"));
    QVERIFY(parsed.options.port.isEmpty());
    QVERIFY(parsed.options.misbehaviour.isEmpty());
}

void TestOptions::allTogether()
{
    const ParsedOptions parsed =
        parse(words("--name Other --seed 0x10 --address 0A:0b:0c:0d:0e:0f --packet-mode --quiet "
                    "--port /dev/ttyS9 --speed 9600 --junk 2 --lose-command system_hello "
                    "--lose-command system_reset --result system_reg_write=0x0182@5"));
    QVERIFY2(parsed.outcome == ParsedOptions::run, qPrintable(parsed.text));
    const Options &options = parsed.options;
    QCOMPARE(options.name, QStringLiteral("Other"));
    QCOMPARE(options.identity.seed, 16u);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(options.identity.address.addr), 6).toHex(),
             QByteArray("0f0e0d0c0b0a"));
    QVERIFY(options.packetMode && options.quiet);
    QCOMPARE(options.port, QStringLiteral("/dev/ttyS9"));
    QCOMPARE(options.speed, 9600);
    QCOMPARE(options.misbehaviour.size(), 4);
}

void TestOptions::refused_data()
{
    QTest::addColumn<QStringList>("arguments");
    for (const char *line :
         {"--nonsense", "stray", "--seed x", "--seed -1", "--speed 0", "--address 01:02:03:04:05",
          "--address 01:02:03:04:05:6", "--address 01:02:03:04:05:gg", "--name .hidden", "--name a/b",
          "--port", "--junk -1", "--result system_reg_write=", "--unplug many"})
        QTest::newRow(line) << words(line);
    QTest::newRow("empty name") << QStringList{QStringLiteral("--name"), QString()};
    QTest::newRow("name too long") << QStringList{QStringLiteral("--name"), QString(241, QLatin1Char('n'))};
}

void TestOptions::refused()
{
    QFETCH(QStringList, arguments);
    const ParsedOptions parsed = parse(arguments);
    QCOMPARE(parsed.outcome, ParsedOptions::refuse);
    QVERIFY(!parsed.text.isEmpty());
}

void TestOptions::helpNamesEverything()
{
    const ParsedOptions parsed = parse(words("--help"));
    QCOMPARE(parsed.outcome, ParsedOptions::showText);
    for (const Misbehaviour::Setting &setting : Misbehaviour::settings())
        QVERIFY2(parsed.text.contains(QStringLiteral("--") + QLatin1String(setting.name)), setting.name);
    for (const char *text :
         {"--name", "--port", "--packet-mode", "--quiet", "send-hex", "remote-write", "0x0184"})
        QVERIFY2(parsed.text.contains(QLatin1String(text)), text);
}

QTEST_GUILESS_MAIN(TestOptions)
#include "tst_options.moc"
