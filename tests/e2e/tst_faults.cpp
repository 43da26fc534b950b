// A module that misbehaves at every step of every procedure: the window answers on, and its user gets the
// same procedure done with a module that is well.

#include "tests/e2e/remote_fixture.h"

#include <QRandomGenerator>

#include <functional>
#include <numeric>

namespace {

// The longest that the event loop may go without a turn.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int maxTurnMs = 10000;
#else
constexpr int maxTurnMs = 2000;
#endif

// The longest time between two turns of the event loop.
struct TurnWatch
{
    TurnWatch()
    {
        timer.callOnTimeout([this] { worst(); });
        timer.start(5);
    }
    void restart()
    {
        since.start();
        longestTurn = 0;
    }
    qint64 worst() { return longestTurn = std::max(longestTurn, since.restart()); }
    QTimer timer;
    QElapsedTimer since;
    qint64 longestTurn = 0;
};

// The columns of a line of the table.
namespace column {
enum { name, from, first, tool, fields, selected, button, signs, shown, result, faults };
}
enum Outcome { done, stands, either };

// "COUNT rows" and the cells of the last one.
QString summary(const QTableWidget &table)
{
    QString text = "%1 rows"_s.arg(table.rowCount());
    for (int column = 0; column < table.columnCount(); ++column) {
        const auto *const item = table.item(table.rowCount() - 1, column);
        if (item && !item->text().isEmpty())
            text += u' ' + item->text();
    }
    return text;
}

// What the module says of such a setting when it has come to pass, as a regular expression.
QString signOf(const QString &setting)
{
    const QString name = setting.section(u' ', 1).section(u'=', 0, 0);
    const QString code = setting.section("=0x"_s, 1).left(4);
    const QPair<const char *, const char *> signs[] = {
        {"lose-", "-- lost: %1"},
        {"result", "rsp %1 .*result:%2"},
        {"ota-fail", "evt attclient_procedure_completed .*result:%2"},
        {"hang-up", "evt connection_disconnected"},
        {"unplug", "-- unplugged"},
        {"join", "-- joined: "},
    };
    for (const auto &[kind, sign] : signs)
        if (setting.startsWith(QLatin1String(kind)))
            return QString::fromLatin1(sign)
                .replace(QLatin1String("%1"), name.section(u'@', 0, 0))
                .replace(QLatin1String("%2"), code);
    return "-- %1: "_s.arg(setting.section(u' ', 0, 0));
}

} // namespace

class TestFaults : public RemoteFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void fault_data();
    void fault();

private:
    Panel panel() { return Panel(*window, device); }
    // Where the procedure's widgets are.
    QWidget *used()
    {
        if (!place && panel().exists())
            return panel().widget();
        return place ? place : &window->widget();
    }
    bool wait(const std::function<bool()> &condition) { return QTest::qWaitFor(condition, answerMs); }
    void clickPanel(const QString &button)
    {
        place = panel().widget();
        click(button);
        place = nullptr;
    }
    void showText(bool on) { find<QCheckBox>("checkLogText"_s)->setChecked(on); }
    QString file(const char *name) { return folder.filePath(QLatin1String(name)); }
    void replaceModule(const QStringList &options = {});
    bool answers(const char *sign);
    bool reach(const QString &start);
    bool makeReady();
    void begin();
    bool isDone();
    bool getsDone();
    bool isRight();
    int connects() { return module.output().count("cmd gap_connect_direct"); }

    QTemporaryDir folder;
    TurnWatch turns;
    QRandomGenerator random{1};
    QStringList tried; // by column
    QString device;
};

void TestFaults::initTestCase()
{
    RemoteFixture::initTestCase();
    const auto write = [this](const char *name, const QByteArray &bytes) {
        QFile target(file(name));
        return target.open(QIODevice::WriteOnly) && target.write(bytes) == bytes.size();
    };
    QByteArray flash, hex; // three chunks of an upload, in three records of 60 bytes
    for (const char *address : {"1000", "103c", "1078"}) {
        QByteArray record = QByteArray::fromHex(QByteArray("3c") + address + "00");
        for (int i = 0; i < 60; ++i)
            record += char(flash.size() + i);
        flash += record.mid(4);
        const char sum = std::accumulate(record.begin(), record.end(), '\0');
        hex += ':' + (record + char(-sum)).toHex() + '\n';
    }
    QVERIFY(write("flash.bin", flash) && write("image.hex", hex) && write("image.bin", flash.left(60)));
    QVERIFY(write("blank.bin", QByteArray(0x800, '\xff')));
}

// The window goes through all rows, and the next one finds what the last one left.
void TestFaults::cleanup()
{
    if (QTest::currentTestFailed())
        RemoteFixture::cleanup();
}

void TestFaults::fault_data()
{
    QTest::addColumn<QStringList>("procedure");
    QTest::addColumn<QString>("setting"); // a line to the module's control input
    QTest::addColumn<int>("outcome");
    QStringList procedure;
    // "FIRST/STEP" selects rows; without it all are tried.
    const QString rows = qEnvironmentVariable("VORSEL_FAULT_ROWS", "0/1"_s);
    const int first = rows.section(u'/', 0, 0).toInt();
    const int step = std::max(1, rows.section(u'/', 1).toInt());
    int number = 0;
    const auto add = [&](const QString &setting) {
        if (number++ % step != first)
            return;
        const QChar mark = setting[0];
        const Outcome outcome = mark == u'!' ? stands : mark == u'?' ? either : done;
        const QString line = setting.mid(outcome == done ? 0 : 1);
        QTest::addRow("%s, %s", qPrintable(procedure[column::name]), qPrintable(line))
            << procedure << line << int(outcome);
    };
    for (const QStringList &row : rowsOf(VORSEL_PROCEDURES, column::faults + 1)) {
        procedure.clear();
        for (const QString &column : row)
            procedure << column.trimmed();
        const QStringList settings = procedure[column::faults].split(u';');
        for (const char *setting : {"split 1", "join 3", "late 20", "unknown 1", "?unasked 1", "?junk 3"})
            if (!settings.contains(u'-' + QLatin1String(setting)))
                add(QLatin1String(setting));
        for (const QString &setting : settings)
            if (!setting.startsWith(u'-'))
                add(setting);
    }
}

// Sends until an answer is seen: what is left of a broken frame first swallows whole ones. The blank memory is
// answered with bytes that start no frame, which ends that soon; at random, since answers in one order could be
// cut at the same wrong places for ever.
bool TestFaults::answers(const char *sign)
{
    const auto seen = [&] { return window->log().filter(QLatin1String(sign)).size(); };
    const int before = seen();
    return wait([&] {
        // An upload that stands has switched it off, or does once an answer on its way is there.
        showText(true);
        for (int i = 0; i < 3; ++i) {
            const char *const lines[] = {"system_hello", "flash_read_data 40000 fa", "system_address_get"};
            window->send(lines[random.bounded(3)]);
        }
        return seen() > before;
    });
}

// What a user does: closes the tool, detaches, takes another module and attaches it.
void TestFaults::replaceModule(const QStringList &options)
{
    if (place)
        place->close();
    place = nullptr;
    if (window && window->attachText() == QLatin1String("Detach"))
        window->click("pushConnectDev");
    QCoreApplication::processEvents(); // what the old one said last
    module.stop();
    QVERIFY(module.start(QStringList{"--rate"_s, "400"_s} + options));
    if (!window)
        window = std::make_unique<Window>();
    turns.restart();
    window->click("pushLogClear");
    window->click("pushDevRefresh");
    window->attach();
    QCOMPARE(window->attachText(), "Detach"_s);
    QVERIFY(answers("address:c0:01:02:03:04:05")); // nothing that is cut wrongly looks so
}

bool TestFaults::reach(const QString &start)
{
    window->click("pushClearDevices");
    window->find<QRadioButton>("radioScanObservation")->click();
    device = start == QLatin1String("updatable") ? "Updatable"_s : "Everything"_s;
    if (start == QLatin1String("attached"))
        return true;
    showText(false); // what is not looked for takes long to log
    find<QCheckBox>("checkLogHex"_s)->setChecked(false);
    window->click("pushStartScan");
    if (!wait([this] { return panel().exists(); }))
        return false;
    window->click("pushStopScan");
    if (!wait([this] { return onWire("rsp gap_end_procedure"); }))
        return false;
    QCoreApplication::processEvents();
    showText(true);
    if (start == QLatin1String("found"))
        return true;
    clickPanel("pushConnect"_s);
    if (!wait([this] { return panel().status() == QLatin1String("Connected handle:0x0"); }))
        return false;
    panel().find<QPushButton>("pushShow")->setChecked(true);
    if (start == QLatin1String("connected"))
        return true;
    clickPanel("pushGATTDescriptors"_s);
    return wait([this] { return logged("ble_evt_attclient_procedure_completed"_s); });
}

bool TestFaults::makeReady()
{
    if (!reach(tried[column::from]))
        return false;
    const QString line = tried[column::first];
    if (!line.isEmpty()) {
        window->send(qPrintable(line));
        if (!wait([&] { return logged("ble_rsp_"_s + line.section(u' ', 0, 0)); }))
            return false;
    }
    const QStringList tool = tried[column::tool].split(u' ', Qt::SkipEmptyParts); // action, dialog, page
    if (!tool.isEmpty()) {
        window->trigger(qPrintable(tool[0]));
        place = window->widget().findChild<QDialog *>(tool[1]);
    }
    if (tool.size() > 2)
        find<QTabWidget>("tabWidget"_s)->setCurrentWidget(find(tool[2]));
    return true;
}

void TestFaults::begin()
{
    window->click("pushLogClear");
    if (tried[column::selected] == QLatin1String("clear"))
        clickPanel("pushGATTClear"_s);
    else if (!tried[column::selected].isEmpty())
        panel().select(tried[column::selected].toInt());
    for (const QString &field : tried[column::fields].split(u';', Qt::SkipEmptyParts)) {
        const QString value = field.section(u'=', 1);
        auto *const edit = used()->findChild<QWidget *>(field.section(u'=', 0, 0));
        const bool isFile = value.contains(u'.');
        edit->setProperty(qobject_cast<QSpinBox *>(edit) ? "value" : "text",
                          isFile ? folder.filePath(value) : value);
    }
    QTest::mouseClick(used()->findChild<QPushButton *>(tried[column::button]), Qt::LeftButton);
}

bool TestFaults::isDone()
{
    const QStringList signs = tried[column::signs].split(u';', Qt::SkipEmptyParts);
    const QStringList log = window->log();
    const bool isLogged = std::any_of(log.begin(), log.end(), [&signs](const QString &line) {
        return std::all_of(signs.begin(), signs.end(), [&](const QString &s) { return line.contains(s); });
    });
    const QStringList shown = tried[column::shown].split(u'=');
    const auto *const label = used()->findChild<QLabel *>(shown[0]);
    return (signs.isEmpty() || isLogged) &&
           (shown.size() < 2 || (label && label->text().startsWith(shown[1])));
}

// What the procedure has left: a table, the value of an attribute, a part of the module's memory, or what the
// module answers to a command.
bool TestFaults::isRight()
{
    const QString what = tried[column::result].section(u'=', 0, 0).trimmed();
    QString expected = tried[column::result].section(u'=', 1).trimmed(), found;
    const QString word = what.section(u' ', 0, 0), rest = what.section(u' ', 1);
    if (word.startsWith(QLatin1String("dump"))) {
        const QString dump = file("dump.bin");
        QFile::remove(dump);
        module.control("%1 %2 %3"_s.arg(word, dump, rest).toLocal8Bit());
        if (!wait([&] { return QFile::exists(dump); }))
            return false;
        found = QString::fromLatin1(readFile(dump).toHex());
        expected = QString::fromLatin1(readFile(folder.filePath(expected)).toHex());
    } else if (word == QLatin1String("table")) {
        found = summary(*used()->findChild<QTableWidget *>());
    } else if (word == QLatin1String("title")) {
        found = panel().find<QGroupBox>("name")->title();
    } else if (word == QLatin1String("raw")) {
        found = panel().raw(rest.toInt());
    } else {
        window->send(qPrintable(what));
        return !expected.isEmpty() && wait([&] { return logged(expected); });
    }
    if (found != expected)
        qWarning("%s", qPrintable(found));
    return found == expected && !expected.isEmpty();
}

bool TestFaults::getsDone()
{
    begin();
    return wait([this] {
        // An update that never ended hears every answer twice from the next start on, which ends it with an
        // error; the start after that is good, once all answers to the one before have come.
        const auto *const state = used()->findChild<QLabel *>("labelOTAState"_s);
        if (state && state->text().contains(QLatin1String(" Error:"))) {
            answers("ble_rsp_system_hello");
            begin();
        }
        return isDone();
    });
}

void TestFaults::fault()
{
    QFETCH(QStringList, procedure);
    QFETCH(QString, setting);
    QFETCH(int, outcome);
    const QByteArray line = setting.toLatin1();
    const bool ends = line.startsWith("hang-up"), isUnplugged = line.startsWith("unplug");
    tried = procedure;
    QCOMPARE(procedure.size(), column::faults + 1);
    const int connectsOnce = tried[column::from] == QLatin1String("attached") ? 0 : 1;
    // A device that answers at once has done so before its connection ends.
    replaceModule(ends ? QStringList{"--answer-delay"_s, "500"_s} : QStringList());
    QVERIFY(!QTest::currentTestFailed() && makeReady());
    const int before = module.output().size();
    const auto hasSaid = [&](const QString &sign) {
        const QRegularExpression pattern(sign);
        return wait([&] { return QString::fromLatin1(module.output().mid(before)).contains(pattern); });
    };
    if (ends) {
        begin();
        QVERIFY(hasSaid("<- "_s));
    }
    module.control(line);
    QVERIFY(wait([&] { return onWire("-- obeyed: " + line); }));
    if (!ends)
        begin();
    if (outcome == done) {
        QVERIFY(wait([this] { return isDone(); }));
        QVERIFY(isRight());
    }
    QVERIFY(hasSaid(signOf(setting)));
    if (isUnplugged)
        window->send("system_hello"); // written to nobody
    else
        QVERIFY(answers("ble_rsp_system_hello"));
    QVERIFY(outcome != stands || !isDone());
    QCOMPARE(connects(), connectsOnce);
    QVERIFY2(turns.worst() < maxTurnMs, qPrintable(QString::number(turns.worst())));
    if (outcome == done)
        return;

    replaceModule();
    QVERIFY(!QTest::currentTestFailed() && makeReady() && getsDone());
    QVERIFY(isRight());
    QCOMPARE(connects(), connectsOnce);
    QVERIFY2(turns.worst() < maxTurnMs, qPrintable(QString::number(turns.worst())));
}

QTEST_MAIN(TestFaults)
#include "tst_faults.moc"
