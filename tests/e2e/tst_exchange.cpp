// The main job on a real port: choose it, attach, type a command, read the answer in the log.

#include "tests/e2e/simulated_module.h"
#include "tests/e2e/window.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QToolTip>

namespace {

QStringList lines(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list += QString::fromLatin1(text);
    return list;
}

} // namespace

class tst_exchange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup() { module.stop(); }

    void first_exchange();
    void menu_commands_log_their_line();
    void refusals_are_told_while_typing();
    void every_command_is_answered();
    void detach_and_attach_again();
    void module_that_vanishes();
    void busy_port_stays_unattached();
    void packet_mode();
    void misbehaving_module_data();
    void misbehaving_module();
    void huge_line();

private:
    SimulatedModule module;
};

void tst_exchange::initTestCase()
{
    register_meta_types();
    QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
}

void tst_exchange::first_exchange()
{
    QVERIFY(module.start());
    Window window;
    QVERIFY(window.is_exposed());
    QVERIFY(window.find<QComboBox>("comboDev")->findText(QStringLiteral("Simulated module")) >= 0);
    window.attach();
    QCOMPARE(window.device_text(), QStringLiteral("Connected"));
    QCOMPARE(window.attach_text(), QStringLiteral("Detach"));
    window.send("system_hello");
    QTRY_COMPARE_WITH_TIMEOUT(
        window.log(), lines({"TX: 00000001", "Hello", "ble_rsp_system_hello", "RX: 00000001"}), answer_ms);
    window.click("pushConnectDev");
    QCOMPARE(window.device_text(), QStringLiteral("Disconnected"));
}

void tst_exchange::menu_commands_log_their_line()
{
    QVERIFY(module.start());
    Window window;
    window.attach();
    window.trigger("actionGet_Address");
    QTRY_VERIFY_WITH_TIMEOUT(window.log().size() == 4, answer_ms);
    const QStringList log = window.log();
    QCOMPARE(log.mid(0, 2), lines({"ble_cmd_system_address_get", "TX: 00000002"}));
    const QRegularExpression answer(
        QStringLiteral("^ble_rsp_system_address_get address:([0-9a-f]{2}:){5}[0-9a-f]{2}$"));
    QVERIFY2(answer.match(log.at(2)).hasMatch(), qPrintable(log.at(2)));
    // The wire has the address backwards.
    const QStringList pairs = log.at(2).section(QStringLiteral("address:"), 1).split(QLatin1Char(':'));
    QString wire = QStringLiteral("RX: 00060002");
    for (int i = 5; i >= 0; --i)
        wire += pairs.at(i);
    QCOMPARE(log.at(3), wire);
}

void tst_exchange::refusals_are_told_while_typing()
{
    QVERIFY(module.start());
    Window window;
    window.attach();
    auto *line = window.find<QLineEdit>("lineCommand");
    window.type("system_reset x");
    QCOMPARE(line->palette().color(QPalette::Text), QColor(Qt::red));
    QVERIFY(QToolTip::text().contains(QStringLiteral("ble_cmd_system_reset")));
    QVERIFY(QToolTip::text().endsWith(QStringLiteral("unable parse argument 'x' as uint8")));
    QTest::keyClick(line, Qt::Key_Return);
    QTest::keyClick(line, Qt::Key_Backspace);
    QTest::keyClicks(line, QStringLiteral("0"));
    QCOMPARE(line->palette().color(QPalette::Text), QColor(Qt::black));
    window.send("00000001");
    QTRY_COMPARE_WITH_TIMEOUT(window.count("RX: 00000001"), 1, answer_ms);
    QCOMPARE(window.log().filter(QStringLiteral("TX:")), lines({"TX: 00000001"}));
}

// Every command of the definition file as a typed line with zeros for its fields. Those that restart the
// module come last, one by one.
static QStringList all_commands()
{
    QStringList calm;
    QStringList restarts;
    QFile file(QStringLiteral("../api/bleapi.xml"));
    QDomDocument document;
    if (!file.open(QIODevice::ReadOnly) || !document.setContent(&file))
        return {};
    const QDomNodeList commands = document.elementsByTagName(QStringLiteral("command"));
    for (int i = 0; i < commands.size(); ++i) {
        const QDomElement command = commands.at(i).toElement();
        const QString name = command.attribute(QStringLiteral("name"));
        QString line =
            command.parentNode().toElement().attribute(QStringLiteral("name")) + QLatin1Char('_') + name;
        const QDomElement fields = command.firstChildElement(QStringLiteral("params"));
        for (QDomElement field = fields.firstChildElement(); !field.isNull();
             field = field.nextSiblingElement()) {
            const QString type = field.attribute(QStringLiteral("type"));
            if (type != QLatin1String("uint8array"))
                line += type == QLatin1String("bd_addr") ? QStringLiteral(" 00:00:00:00:00:00")
                                                         : QStringLiteral(" 0");
        }
        (name == QLatin1String("reset") || name == QLatin1String("delay_reset") ? restarts : calm) += line;
    }
    return calm + restarts;
}

void tst_exchange::every_command_is_answered()
{
    QVERIFY(module.start());
    Window window;
    window.attach();
    auto *text_shown = window.find<QCheckBox>("checkLogText");
    const QStringList commands = all_commands();
    QCOMPARE(commands.size(), 116);
    for (const QString &command : commands) {
        window.click("pushLogClear");
        text_shown->setChecked(true);
        window.send(qPrintable(command));
        // The answer to dfu_flash_set_address quiets the log before its own line comes.
        const QString answer = QStringLiteral("ble_rsp_") + command.section(QLatin1Char(' '), 0, 0);
        QTRY_VERIFY2_WITH_TIMEOUT(!window.log().filter(answer).isEmpty() || !text_shown->isChecked(),
                                  qPrintable(command), answer_ms);
        QCOMPARE(text_shown->isChecked(), command != QStringLiteral("dfu_flash_set_address 0"));
    }
}

void tst_exchange::detach_and_attach_again()
{
    QVERIFY(module.start());
    Window window;
    for (int round = 1; round <= 5; ++round) {
        window.attach();
        QCOMPARE(window.device_text(), QStringLiteral("Connected"));
        window.send("system_hello");
        QTRY_COMPARE_WITH_TIMEOUT(window.count("RX: 00000001"), round, answer_ms);
        window.click("pushDevRefresh");
        window.click("pushConnectDev");
        QCOMPARE(window.device_text(), QStringLiteral("Disconnected"));
    }
}

void tst_exchange::module_that_vanishes()
{
    QVERIFY(module.start());
    Window window;
    window.attach();
    window.send("system_hello");
    QTRY_COMPARE_WITH_TIMEOUT(window.count("RX: 00000001"), 1, answer_ms);
    module.stop();
    window.send("system_hello"); // written to nobody; the window answers on
    QCOMPARE(window.device_text(), QStringLiteral("Connected"));
    window.click("pushConnectDev");
    QCOMPARE(window.device_text(), QStringLiteral("Disconnected"));

    QVERIFY(module.start());
    window.click("pushDevRefresh");
    window.attach();
    window.send("system_hello");
    QTRY_COMPARE_WITH_TIMEOUT(window.count("RX: 00000001"), 2, answer_ms);
}

void tst_exchange::busy_port_stays_unattached()
{
    if (QSysInfo::productType() == QLatin1String("windows"))
        QSKIP("Wine lets two open one port");
    QVERIFY(module.start());
    Window first;
    first.attach();
    Window second;
    second.attach();
    QCOMPARE(second.attach_text(), QStringLiteral("Attach"));
    QCOMPARE(second.device_text(), QStringLiteral("Disconnected"));
    first.send("system_hello");
    QTRY_COMPARE_WITH_TIMEOUT(first.count("RX: 00000001"), 1, answer_ms);
}

void tst_exchange::packet_mode()
{
    QVERIFY(module.start({QStringLiteral("--packet-mode")}));
    Window window;
    window.trigger("actionPacket_Flow");
    window.attach();
    window.send("system_hello");
    QTRY_COMPARE_WITH_TIMEOUT(
        window.log(), lines({"TX: 0400000001", "Hello", "ble_rsp_system_hello", "RX: 00000001"}), answer_ms);
}

void tst_exchange::misbehaving_module_data()
{
    QTest::addColumn<QStringList>("options");
    const auto row = [](const char *name, const char *option, const char *value) {
        QTest::newRow(name) << QStringList{QString::fromLatin1(option), QString::fromLatin1(value)};
    };
    row("split writes", "--split", "1");
    row("joined writes", "--join", "4");
    row("junk between frames", "--junk", "3");
    row("lost responses", "--lose-every", "3");
    row("unasked messages", "--unasked", "2");
    row("unknown messages", "--unknown", "2");
}

void tst_exchange::misbehaving_module()
{
    QFETCH(QStringList, options);
    QVERIFY(module.start(options));
    Window window;
    window.attach();
    // The reading thread takes junk for headers and waits for what they announce, so answers may come late: a
    // user who goes on sending sees them all.
    int sent = 0;
    const auto answered = [&] {
        window.send("system_hello");
        ++sent;
        return window.count("ble_rsp_system_hello") >= 20;
    };
    QTRY_VERIFY_WITH_TIMEOUT(answered(), answer_ms);
    QVERIFY(window.count("ble_rsp_system_hello") <= sent);
    window.click("pushConnectDev");
    QCOMPARE(window.device_text(), QStringLiteral("Disconnected"));
}

void tst_exchange::huge_line()
{
    QVERIFY(module.start());
    Window window;
    window.attach();
    auto *line = window.find<QLineEdit>("lineCommand");
    QApplication::clipboard()->setText(QStringLiteral("system_hello ") + QString(1 << 20, QLatin1Char('<')));
    line->setFocus();
    QTest::keyClick(line, Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(line->text().size(), line->maxLength()); // the box takes no more
    QCOMPARE(line->palette().color(QPalette::Text), QColor(Qt::red));
    QTest::keyClick(line, Qt::Key_Return);
    window.send("system_hello");
    QTRY_COMPARE_WITH_TIMEOUT(window.count("RX: 00000001"), 1, answer_ms);
}

QTEST_MAIN(tst_exchange)
#include "tst_exchange.moc"
