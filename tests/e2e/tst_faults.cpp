// A module that misbehaves at every step of every procedure: the window answers on, and its user gets the
// same procedure done with a module that is well. What neighbours and outside tools say is shown as they say
// it.

#include "tests/e2e/remote_fixture.h"

#include <QCheckBox>
#include <QPlainTextEdit>
#include <QRandomGenerator>
#include <QSpinBox>
#include <QTabWidget>
#include <QTextDocument>
#include <QTimer>
#include <QToolTip>

#include <functional>

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

// The longest time between two turns of the event loop.
class TurnWatch : public QObject
{
public:
    TurnWatch()
    {
        connect(&m_timer, &QTimer::timeout, this, &TurnWatch::turn);
        m_timer.start(5);
    }
    void restart()
    {
        m_worst = 0;
        m_since.start();
    }
    void turn() { m_worst = std::max(m_worst, m_since.restart()); }
    qint64 worst()
    {
        turn();
        return m_worst;
    }

private:
    QTimer m_timer;
    QElapsedTimer m_since;
    qint64 m_worst = 0;
};

// A line of the table.
enum Column { Name, From, First, Tool, Fields, Selected, Button, Signs, Shown };
enum Outcome { done, stands, open }; // open: either

} // namespace

class tst_faults : public RemoteFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void fault_data();
    void fault();
    void remote_name_data();
    void remote_name();
    void outside_tool();
    void definition_file();

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
    void replace_module();
    bool answers(const char *sign);
    bool reach(const QString &start);
    bool make_ready();
    void begin();
    bool is_done();
    bool gets_done();

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
    const QByteArray chunk(60, '\x5a');
    QFile binary(file("image.bin"));
    QVERIFY(binary.open(QIODevice::WriteOnly) && binary.write(chunk) == chunk.size());
    QFile hex(file("image.hex"));
    QVERIFY(hex.open(QIODevice::WriteOnly));
    for (const char *address : {"400", "103c"})
        hex.write(QByteArray(":3c") + address + "00" + chunk.toHex() + "00\n");
    QImage picture(40, 40, QImage::Format_RGB32);
    picture.fill(Qt::magenta);
    QVERIFY(picture.save(file("magenta.png")));
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
    const auto add = [&](const QString &setting, Outcome outcome) {
        if (row++ % step != 0)
            return;
        QTest::addRow("%s, %s", qPrintable(procedure[Name]), qPrintable(setting))
            << procedure << setting << int(outcome);
    };
    for (const QString &line :
         QString::fromLatin1(table.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.startsWith(QLatin1Char('#')))
            continue;
        if (!line.startsWith(QLatin1Char(' '))) {
            procedure.clear();
            for (const QString &column : line.split(QLatin1Char('|')))
                procedure << column.trimmed();
            for (const char *setting : {"split 1", "join 3", "late 20", "unknown 1", "unasked 1", "junk 3"})
                add(QLatin1String(setting),
                    qstrcmp(setting, "unasked 1") == 0 || qstrcmp(setting, "junk 3") == 0 ? open : done);
            continue;
        }
        for (const QString &setting : line.trimmed().split(QLatin1Char(';')))
            add(QString(setting).remove(QLatin1Char('!')),
                setting.startsWith(QLatin1Char('!')) ? stands : done);
    }
}

// Sends until an answer is seen: what is left of a broken frame first swallows whole ones. Answers of the
// same sizes over and over could be cut at the same wrong places for ever.
bool tst_faults::answers(const char *sign)
{
    window->find<QCheckBox>("checkLogText")->setChecked(true); // an upload that stands has switched it off
    const auto seen = [&] { return window->log().filter(QLatin1String(sign)).size(); };
    const int before = seen();
    return wait([&] {
        for (int i = 0; i < 3; ++i) {
            const char *const lines[] = {"system_hello", "system_get_info", "system_address_get"};
            window->send(lines[random.bounded(3)]);
        }
        return seen() > before;
    });
}

// What a user does: closes the tool, detaches, takes another module and attaches it.
void tst_faults::replace_module()
{
    if (dialog != nullptr)
        dialog->close();
    dialog = nullptr;
    if (window && window->attach_text() == QLatin1String("Detach"))
        window->click("pushConnectDev");
    QCoreApplication::processEvents(); // what the old one said last
    module.stop();
    QVERIFY(module.start({QStringLiteral("--rate"), QStringLiteral("400")}));
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
    const auto is_connected = [this] {
        if (!on_wire("cmd gap_connect_direct")) // a click on a panel that is being laid out may miss
            panel().click("pushConnect");
        return panel().status() == QLatin1String("Connected handle:0x0");
    };
    if (!wait(is_connected))
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
    for (const QString &sign : tried[Signs].split(QLatin1Char(';')))
        if (!logged(qPrintable(sign)))
            return false;
    const QStringList shown = tried[Shown].split(QLatin1Char('='));
    const auto *const label = place()->findChild<QLabel *>(shown[0]);
    return shown.size() < 2 || (label && label->text().startsWith(shown[1]));
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
    const QByteArray line = setting.toLatin1(), kind = line.split(' ')[0];
    // What the module then says.
    const QHash<QByteArray, QByteArray> signs = {{"lose-command", "-- lost: "},
                                                 {"result", "rsp " + line.mid(7).split('=')[0]},
                                                 {"ota-fail", "result:0480"},
                                                 {"hang-up", "evt connection_disconnected"},
                                                 {"unplug", "-- unplugged"}};
    tried = procedure;
    replace_module();
    QVERIFY(!QTest::currentTestFailed() && make_ready());
    const int before = module.output().size();
    if (kind == "hang-up")
        begin();
    module.control(line);
    QVERIFY(sends(("-- obeyed: " + line).constData()));
    if (kind != "hang-up")
        begin();
    if (outcome == done)
        QVERIFY(wait([this] { return is_done(); }));
    else if (outcome == stands)
        QVERIFY(wait([&] { return module.output().mid(before).contains(signs[kind]); }));
    if (kind == "unplug")
        window->send("system_hello"); // written to nobody
    else
        QVERIFY(answers("ble_rsp_system_hello"));
    QVERIFY(outcome != stands || !is_done());
    QVERIFY2(turns.worst() < turn_limit_ms, qPrintable(QString::number(turns.worst())));
    if (outcome == done)
        return;

    replace_module();
    QVERIFY(!QTest::currentTestFailed() && make_ready() && gets_done());
    QVERIFY2(turns.worst() < turn_limit_ms, qPrintable(QString::number(turns.worst())));
}

void tst_faults::remote_name_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("seen");
    const auto add = [](const char *row, const QByteArray &name, const QString &seen = {}) {
        QTest::newRow(row) << name << (seen.isEmpty() ? QString::fromUtf8(name) : seen);
    };
    const QByteArray picture = "<img src=\"file://" + file("magenta.png").toUtf8() + "\">";
    add("picture", picture);
    add("link", "<a href=\"file:///etc/passwd\">x</a>");
    add("style", "<style>* { color: red }</style><table width=9999><tr><td>x");
    add("override", "a\u202egnp.exe\u202c", QStringLiteral("a\ufffdgnp.exe\ufffd"));
    add("isolate", "\u2067abc\u2069", QStringLiteral("\ufffdabc\ufffd"));
    add("controls", QByteArray("a\0b\x1b[31mc\b\x7f\u0085", 13),
        QStringLiteral("a\ufffdb\ufffd[31mc\ufffd\ufffd \u00a0").trimmed());
    add("lines", "a\r\n\n\u2028\u2029\tb", QStringLiteral("a b"));
    add("right to left", "\u05d0\u05d1\u200f 1");
    add("stacked marks", "a" + QByteArray("\u0301").repeated(60));
    add("not UTF-8", "\xff\xfe\xc3");
    add("longest", QByteArray("W").repeated(126));
}

// The label has the name as it was sent, and shows it on its own place alone.
void tst_faults::remote_name()
{
    QFETCH(QByteArray, name);
    if (!window || window->attach_text() != QLatin1String("Detach"))
        replace_module();
    window->click("pushClearDevices");
    window->click("pushLogClear");
    const auto advertise = [this](const QByteArray &content) {
        const QByteArray data = char(content.size() + 1) + QByteArray("\t") + content;
        const QByteArray payload = QByteArray::fromHex("ce00010203040506 00ff") + char(data.size()) + data;
        module.control("send-hex 80" + QByteArray(1, char(payload.size())).toHex() + "0600" +
                       payload.toHex());
        const QString text = content.size() > 126 ? QStringLiteral("(noname)")
                                                  : QString::fromUtf8(content.constData(), content.size());
        return wait([&] { return Panel(*window, text).exists(); });
    };
    QVERIFY(advertise("plain"));
    const Panel shown(*window, QStringLiteral("plain"));
    auto *const label = shown.find<QLabel>("address");
    const auto *const neighbour = shown.find<QLabel>("rssi");
    QCoreApplication::processEvents();
    const QRect place = label->geometry(), beside = neighbour->geometry();
    QVERIFY(advertise(name));
    QCoreApplication::processEvents();
    QCOMPARE(label->textFormat(), Qt::PlainText);
    QCOMPARE(label->geometry(), place);
    QCOMPARE(neighbour->geometry(), beside);
    const QImage painted = label->grab().toImage();
    QFETCH(QString, seen);
    label->setText(seen);
    QVERIFY(painted == label->grab().toImage());
    for (int i = 0; i < painted.width() * painted.height(); ++i)
        QVERIFY(painted.pixelColor(i % painted.width(), i / painted.width()) != QColor(Qt::magenta));
    const QString log = window->log().join(QLatin1Char('\n'));
    QVERIFY(log.contains(QString::fromLatin1(name.toHex())) && !log.contains(QLatin1Char('<')));
}

void tst_faults::outside_tool()
{
    replace_module();
    open_tool({QStringLiteral("actionDFU"), QStringLiteral("DFUDialog"), QStringLiteral("usbTab")});
    const QString hostile =
        QStringLiteral("<img src=file://%1><b>b</b><a href=x>\u202e").arg(file("magenta.png"));
    dialog->findChild<QLineEdit *>(QStringLiteral("fileEditUSB"))->setText(hostile);
    dialog->findChild<QLineEdit *>(QStringLiteral("lineVID"))->setText(QStringLiteral("<b>"));
    QTest::mouseClick(dialog->findChild<QPushButton *>(QStringLiteral("pushButton_2")), Qt::LeftButton);
    auto *const output = dialog->findChild<QPlainTextEdit *>();
    QVERIFY(wait([&] { return output->toPlainText().contains(QLatin1String("Finished")); }));
    QVERIFY(output->toPlainText().contains(QStringLiteral("[<b>:FFFE] [") + hostile + QLatin1Char(']')));
}

// The names of the file are in tooltips, which are HTML.
void tst_faults::definition_file()
{
    const QString here = QDir::currentPath();
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("api")) &&
            QDir(folder.path()).mkpath(QStringLiteral("cwd")));
    const QString picture = QStringLiteral("<img src='%1'>").arg(file("magenta.png"));
    QFile definitions(file("api/bleapi.xml"));
    QVERIFY(definitions.open(QIODevice::WriteOnly));
    const QString names = QStringLiteral("<api device_name=\"%1\"><class name=\"%2\"><command name=\"d\">"
                                         "<params><param name=\"%1\"/></params></command></class></api>");
    definitions.write(names.arg(picture.toHtmlEscaped(), QStringLiteral("&lt;b>c")).toUtf8());
    definitions.close();
    QDir::setCurrent(file("cwd"));
    Window other;
    QDir::setCurrent(here);
    QVERIFY(!other.log().join(QLatin1Char(' ')).contains(QLatin1String("file")));
    for (const char *line : {"<b>c_d", "0a00", "<b>c_<i>x"}) {
        other.type(line);
        QTextDocument shown;
        shown.setHtml(QToolTip::text());
        const QString text = shown.toPlainText();
        QVERIFY2(text.contains(line[0] == '<' ? QStringLiteral("<b>c") : picture), qPrintable(text));
        QVERIFY(line[4] != 'd' || text.contains(picture));
        QVERIFY(!text.contains(QChar(QChar::ObjectReplacementCharacter)));
    }
}

QTEST_MAIN(tst_faults)
#include "tst_faults.moc"
