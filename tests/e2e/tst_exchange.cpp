// The main job on a real port: choose it, attach, type a command, read the answer in the log.

#include "tests/e2e/remote_fixture.h"

#include <QDomDocument>

class TestExchange : public RemoteFixture
{
    Q_OBJECT

private Q_SLOTS:
    void steps_data() { rows("exchange"); }
    void steps() { playRow(); }
    void everyCommandIsAnswered();
    void busyPortStaysUnattached();
    void misbehavingModule_data();
    void misbehavingModule();
    void hugeLine();
};

// Every command of the definition file as a typed line with zeros for its fields. Those that restart the
// module come last, one by one.
static QStringList allCommands()
{
    QStringList calm;
    QStringList restarts;
    QFile file("../api/bleapi.xml"_s);
    QDomDocument document;
    if (!file.open(QIODevice::ReadOnly) || !document.setContent(&file))
        return {};
    const QDomNodeList commands = document.elementsByTagName("command"_s);
    for (int i = 0; i < commands.size(); ++i) {
        const QDomElement command = commands.at(i).toElement();
        const QString name = command.attribute("name"_s);
        QString line = command.parentNode().toElement().attribute("name"_s) + u'_' + name;
        const QDomElement fields = command.firstChildElement("params"_s);
        for (QDomElement field = fields.firstChildElement(); !field.isNull();
             field = field.nextSiblingElement()) {
            const QString type = field.attribute("type"_s);
            if (type != QLatin1String("uint8array"))
                line += type == QLatin1String("bd_addr") ? " 00:00:00:00:00:00"_s : " 0"_s;
        }
        (name == QLatin1String("reset") || name == QLatin1String("delay_reset") ? restarts : calm) += line;
    }
    return calm + restarts;
}

void TestExchange::everyCommandIsAnswered()
{
    start();
    auto *textShown = find<QCheckBox>("checkLogText"_s);
    const QStringList commands = allCommands();
    QCOMPARE(commands.size(), 116);
    for (const QString &command : commands) {
        window->click("pushLogClear");
        textShown->setChecked(true);
        window->send(qPrintable(command));
        // The answer to dfu_flash_set_address quiets the log before its own line comes.
        const QString answer = "ble_rsp_"_s + command.section(u' ', 0, 0);
        QTRY_VERIFY2_WITH_TIMEOUT(logged(answer) || !textShown->isChecked(), qPrintable(command), answerMs);
        QCOMPARE(textShown->isChecked(), command != "dfu_flash_set_address 0"_s);
    }
}

void TestExchange::busyPortStaysUnattached()
{
    if (QSysInfo::productType() == QLatin1String("windows"))
        QSKIP("Wine lets two open one port");
    start();
    Window second;
    second.attach();
    QCOMPARE(second.attachText(), "Attach"_s);
    QCOMPARE(second.deviceText(), "Disconnected"_s);
    play("send system_hello;logged 1 RX: 00000001"_s);
}

void TestExchange::misbehavingModule_data()
{
    QTest::addColumn<QStringList>("options");
    for (const char *row :
         {"--split 1", "--join 4", "--junk 3", "--lose-every 3", "--unasked 2", "--unknown 2"})
        QTest::newRow(row) << QString::fromLatin1(row).split(u' ');
}

void TestExchange::misbehavingModule()
{
    QFETCH(QStringList, options);
    start(options);
    // The reading thread takes junk for headers and waits for what they announce, so answers may come late: a
    // user who goes on sending sees them all.
    int sent = 0;
    const auto answers = [this] { return window->log().count("ble_rsp_system_hello"_s); };
    const auto answered = [&] {
        window->send("system_hello");
        ++sent;
        return answers() >= 20;
    };
    QTRY_VERIFY_WITH_TIMEOUT(answered(), answerMs);
    QVERIFY(answers() <= sent);
    window->click("pushConnectDev");
    QCOMPARE(window->deviceText(), "Disconnected"_s);
}

void TestExchange::hugeLine()
{
    start();
    auto *line = find<QLineEdit>("lineCommand"_s);
    QApplication::clipboard()->setText("system_hello "_s + QString(1 << 20, u'<'));
    line->setFocus();
    QTest::keyClick(line, Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(line->text().size(), line->maxLength()); // the box takes no more
    QCOMPARE(line->palette().color(QPalette::Text), QColor(Qt::red));
    QTest::keyClick(line, Qt::Key_Return);
    play("send system_hello;logged 1 RX: 00000001"_s);
}

QTEST_MAIN(TestExchange)
#include "tst_exchange.moc"
