// A module that misbehaves at every step of every procedure: the window answers on, and its user gets the
// same procedure done with a module that is well.

#include "tests/e2e/remote_fixture.h"
#include "tests/e2e/turn_watch.h"

#include <QCheckBox>
#include <QRandomGenerator>
#include <QSpinBox>
#include <QTabWidget>

#include <functional>
#include <numeric>

namespace {

// The longest that the event loop may go without a turn; and of how many rows one is tried, unless all are
// asked for by VORSEL_ALL_FAULTS.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int turn_limit_ms = 10000;
constexpr int row_step = 5; // they take five times as long
#else
constexpr int turn_limit_ms = 2000;
constexpr int row_step = 1;
#endif

// A line of the table.
enum Column { Name, From, First, Tool, Fields, Selected, Button, Signs, Shown, Result };
enum Outcome { done, stands, open }; // open: either

// "COUNT rows" and the cells of the last one.
QString summary(const QTableWidget &table)
{
    QString text = QStringLiteral("%1 rows").arg(table.rowCount());
    for (int column = 0; column < table.columnCount(); ++column) {
        const auto *const item = table.item(table.rowCount() - 1, column);
        if (item != nullptr && !item->text().isEmpty())
            text += QLatin1Char(' ') + item->text();
    }
    return text;
}

// What the module says of such a setting when it has come to pass, as a regular expression.
QString sign_of(const QString &setting)
{
    const QString name = setting.section(QLatin1Char(' '), 1).section(QLatin1Char('='), 0, 0);
    const QString code = setting.section(QStringLiteral("=0x"), 1).left(4);
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
                .replace(QLatin1String("%1"), name.section(QLatin1Char('@'), 0, 0))
                .replace(QLatin1String("%2"), code);
    return QStringLiteral("-- %1: ").arg(setting.section(QLatin1Char(' '), 0, 0));
}

} // namespace

class tst_faults : public RemoteFixture
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
    QWidget *place()
    {
        if (dialog != nullptr)
            return dialog;
        return panel().exists() ? panel().find<QWidget>("name")->parentWidget() : &window->widget();
    }
    bool wait(const std::function<bool()> &condition) { return QTest::qWaitFor(condition, answer_ms); }
    bool sends(const char *text)
    {
        return wait([&] { return module.output().contains(text); });
    }
    QString file(const char *name) { return folder.filePath(QLatin1String(name)); }
    void open_tool(const QStringList &names);
    void replace_module(const QStringList &options = {});
    bool answers(const char *sign);
    bool reach(const QString &start);
    bool make_ready();
    void begin();
    bool is_done();
    bool gets_done();
    bool is_right();
    int connects() { return module.output().count("cmd gap_connect_direct"); }

    QTemporaryDir folder;
    TurnWatch turns;
    QRandomGenerator random{1};
    QStringList tried; // by Column
    QDialog *dialog = nullptr;
    QString device;
};

void tst_faults::initTestCase()
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
void tst_faults::cleanup()
{
    if (!QTest::currentTestFailed())
        return;
    dialog = nullptr;
    RemoteFixture::cleanup();
}

void tst_faults::fault_data()
{
    QTest::addColumn<QStringList>("procedure");
    QTest::addColumn<QString>("setting"); // a line to the module's control input
    QTest::addColumn<int>("outcome");
    QFile table(QStringLiteral(VORSEL_PROCEDURES));
    QVERIFY(table.open(QIODevice::ReadOnly));
    QStringList procedure;
    const int step = qEnvironmentVariableIsSet("VORSEL_ALL_FAULTS") ? 1 : row_step;
    int row = 0;
    const auto add = [&](const QString &setting) {
        if (row++ % step != 0)
            return;
        const QChar mark = setting[0];
        const Outcome outcome = mark == QLatin1Char('!') ? stands : mark == QLatin1Char('?') ? open : done;
        const QString line = setting.mid(outcome == done ? 0 : 1);
        QTest::addRow("%s, %s", qPrintable(procedure[Name]), qPrintable(line))
            << procedure << line << int(outcome);
    };
    for (const QString &line :
         QString::fromLatin1(table.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.startsWith(QLatin1Char('#')))
            continue;
        if (!line.startsWith(QLatin1Char(' '))) {
            procedure.clear();
            for (const QString &column : line.split(QLatin1Char('|')))
                procedure << column.trimmed();
            continue;
        }
        const QStringList settings = line.trimmed().split(QLatin1Char(';'));
        for (const char *setting : {"split 1", "join 3", "late 20", "unknown 1", "?unasked 1", "?junk 3"})
            if (!settings.contains(QLatin1Char('-') + QLatin1String(setting)))
                add(QLatin1String(setting));
        for (const QString &setting : settings)
            if (!setting.startsWith(QLatin1Char('-')))
                add(setting);
    }
}

// Sends until an answer is seen: what is left of a broken frame first swallows whole ones. Answers of the
// same sizes over and over could be cut at the same wrong places for ever.
bool tst_faults::answers(const char *sign)
{
    const auto seen = [&] { return window->log().filter(QLatin1String(sign)).size(); };
    const int before = seen();
    return wait([&] {
        // An upload that stands has switched it off, or does once an answer on its way is there.
        window->find<QCheckBox>("checkLogText")->setChecked(true);
        for (int i = 0; i < 3; ++i) {
            const char *const lines[] = {"system_hello", "system_get_info", "system_address_get"};
            window->send(lines[random.bounded(3)]);
        }
        return seen() > before;
    });
}

// What a user does: closes the tool, detaches, takes another module and attaches it.
void tst_faults::replace_module(const QStringList &options)
{
    if (dialog != nullptr)
        dialog->close();
    dialog = nullptr;
    if (window && window->attach_text() == QLatin1String("Detach"))
        window->click("pushConnectDev");
    QCoreApplication::processEvents(); // what the old one said last
    module.stop();
    QVERIFY(module.start(QStringList{QStringLiteral("--rate"), QStringLiteral("400")} + options));
    if (!window)
        window = std::make_unique<Window>();
    turns.restart();
    window->click("pushLogClear");
    window->click("pushDevRefresh");
    window->attach();
    QCOMPARE(window->attach_text(), QStringLiteral("Detach"));
    QVERIFY(answers("address:c0:01:02:03:04:05")); // nothing that is cut wrongly looks so
}

void tst_faults::open_tool(const QStringList &names)
{
    window->trigger(names[0].toLatin1().constData());
    dialog = window->widget().findChild<QDialog *>(names[1]);
    if (names.size() > 2)
        dialog->findChild<QTabWidget *>()->setCurrentWidget(dialog->findChild<QWidget *>(names[2]));
}

bool tst_faults::reach(const QString &start)
{
    window->click("pushClearDevices");
    window->find<QRadioButton>("radioScanObservation")->click();
    const bool is_update = start == QLatin1String("updatable");
    device = is_update ? QStringLiteral("Updatable") : QStringLiteral("Everything");
    if (start == QLatin1String("attached"))
        return true;
    for (const char *box : {"checkLogText", "checkLogHex"}) // what is not looked for takes long to log
        window->find<QCheckBox>(box)->setChecked(false);
    window->click("pushStartScan");
    if (!wait([this] { return panel().exists(); }))
        return false;
    window->click("pushStopScan");
    if (!sends("rsp gap_end_procedure"))
        return false;
    QCoreApplication::processEvents();
    window->find<QCheckBox>("checkLogText")->setChecked(true);
    if (start == QLatin1String("found"))
        return true;
    panel().click("pushConnect");
    if (!wait([this] { return panel().status() == QLatin1String("Connected handle:0x0"); }))
        return false;
    panel().find<QPushButton>("pushShow")->setChecked(true);
    if (start == QLatin1String("connected"))
        return true;
    panel().click("pushGATTDescriptors");
    return wait([this] { return logged("ble_evt_attclient_procedure_completed"); });
}

bool tst_faults::make_ready()
{
    if (!reach(tried[From]))
        return false;
    const QByteArray line = tried[First].toLatin1();
    if (!line.isEmpty()) {
        window->send(line.constData());
        if (!wait([&] { return logged(("ble_rsp_" + line.split(' ')[0]).constData()); }))
            return false;
    }
    if (!tried[Tool].isEmpty())
        open_tool(tried[Tool].split(QLatin1Char(' ')));
    return true;
}

void tst_faults::begin()
{
    window->click("pushLogClear");
    if (tried[Selected] == QLatin1String("clear"))
        panel().click("pushGATTClear");
    else if (!tried[Selected].isEmpty())
        panel().select(tried[Selected].toInt());
    for (const QString &field : tried[Fields].split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const QString value = field.section(QLatin1Char('='), 1);
        auto *const edit = place()->findChild<QWidget *>(field.section(QLatin1Char('='), 0, 0));
        const bool is_file = value.contains(QLatin1Char('.'));
        edit->setProperty(qobject_cast<QSpinBox *>(edit) ? "value" : "text",
                          is_file ? folder.filePath(value) : value);
    }
    QTest::mouseClick(place()->findChild<QPushButton *>(tried[Button]), Qt::LeftButton);
}

bool tst_faults::is_done()
{
    const QStringList signs = tried[Signs].split(QLatin1Char(';'), Qt::SkipEmptyParts);
    const QStringList log = window->log();
    const bool is_logged = std::any_of(log.begin(), log.end(), [&signs](const QString &line) {
        return std::all_of(signs.begin(), signs.end(), [&](const QString &s) { return line.contains(s); });
    });
    const QStringList shown = tried[Shown].split(QLatin1Char('='));
    const auto *const label = place()->findChild<QLabel *>(shown[0]);
    return (signs.isEmpty() || is_logged) &&
           (shown.size() < 2 || (label && label->text().startsWith(shown[1])));
}

// What the procedure has left: a table, the value of an attribute, a part of the module's memory, or what the
// module answers to a command.
bool tst_faults::is_right()
{
    const QString what = tried[Result].section(QLatin1Char('='), 0, 0).trimmed();
    QString expected = tried[Result].section(QLatin1Char('='), 1).trimmed(), found;
    const QString word = what.section(QLatin1Char(' '), 0, 0), rest = what.section(QLatin1Char(' '), 1);
    if (word.startsWith(QLatin1String("dump"))) {
        const QString dump = file("dump.bin");
        QFile::remove(dump);
        module.control(QStringLiteral("%1 %2 %3").arg(word, dump, rest).toLocal8Bit());
        if (!wait([&] { return QFile::exists(dump); }))
            return false;
        found = QString::fromLatin1(read_file(dump).toHex());
        expected = QString::fromLatin1(read_file(folder.filePath(expected)).toHex());
    } else if (word == QLatin1String("table")) {
        found = summary(*place()->findChild<QTableWidget *>());
    } else if (word == QLatin1String("title")) {
        found = panel().find<QGroupBox>("name")->title();
    } else if (word == QLatin1String("raw")) {
        found = panel().raw(rest.toInt());
    } else {
        window->send(qPrintable(what));
        return !expected.isEmpty() && wait([&] { return logged(qPrintable(expected)); });
    }
    if (found != expected)
        qWarning("%s", qPrintable(found));
    return found == expected && !expected.isEmpty();
}

bool tst_faults::gets_done()
{
    begin();
    return wait([this] {
        // An update that never ended hears every answer twice from the next start on, which ends it with an
        // error; the start after that is good, once all answers to the one before have come.
        const auto *const state = place()->findChild<QLabel *>(QStringLiteral("labelOTAState"));
        if (state && state->text().contains(QLatin1String(" Error:"))) {
            answers("ble_rsp_system_hello");
            begin();
        }
        return is_done();
    });
}

void tst_faults::fault()
{
    QFETCH(QStringList, procedure);
    QFETCH(QString, setting);
    QFETCH(int, outcome);
    const QByteArray line = setting.toLatin1();
    const bool ends = line.startsWith("hang-up"), is_unplugged = line.startsWith("unplug");
    tried = procedure;
    QCOMPARE(procedure.size(), Result + 1);
    const int connects_once = tried[From] == QLatin1String("attached") ? 0 : 1;
    // A device that answers at once has done so before its connection ends.
    replace_module(ends ? QStringList{QStringLiteral("--answer-delay"), QStringLiteral("500")}
                        : QStringList());
    QVERIFY(!QTest::currentTestFailed() && make_ready());
    const int before = module.output().size();
    const auto has_said = [&](const QString &sign) {
        const QRegularExpression pattern(sign);
        return wait([&] { return QString::fromLatin1(module.output().mid(before)).contains(pattern); });
    };
    if (ends) {
        begin();
        QVERIFY(has_said(QStringLiteral("<- ")));
    }
    module.control(line);
    QVERIFY(sends(("-- obeyed: " + line).constData()));
    if (!ends)
        begin();
    if (outcome == done) {
        QVERIFY(wait([this] { return is_done(); }));
        QVERIFY(is_right());
    }
    QVERIFY(has_said(sign_of(setting)));
    if (is_unplugged)
        window->send("system_hello"); // written to nobody
    else
        QVERIFY(answers("ble_rsp_system_hello"));
    QVERIFY(outcome != stands || !is_done());
    QCOMPARE(connects(), connects_once);
    QVERIFY2(turns.worst() < turn_limit_ms, qPrintable(QString::number(turns.worst())));
    if (outcome == done)
        return;

    replace_module();
    QVERIFY(!QTest::currentTestFailed() && make_ready() && gets_done());
    QVERIFY(is_right());
    QCOMPARE(connects(), connects_once);
    QVERIFY2(turns.worst() < turn_limit_ms, qPrintable(QString::number(turns.worst())));
}

QTEST_MAIN(tst_faults)
#include "tst_faults.moc"
