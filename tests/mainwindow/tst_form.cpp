#include <QAbstractButton>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDockWidget>
#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QScrollArea>
#include <QSpinBox>
#include <QStatusBar>
#include <QTest>
#include <QToolBar>

#include "logview/logview.h"
#include "tests/mainwindow/window_fixture.h"

namespace {

QStringList toolkit_warnings;

void collect_warning(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        toolkit_warnings << text;
}

QString shown_text(const QWidget *widget)
{
    for (const char *property : {"text", "title", "windowTitle"}) {
        const QVariant text = widget->property(property);
        if (text.isValid() && !text.toString().isEmpty())
            return text.toString();
    }
    return {};
}

QStringList action_texts(const QList<QAction *> &actions)
{
    QStringList texts;
    for (const QAction *action : actions)
        texts << (action->isSeparator() ? QStringLiteral("-") : action->text());
    return texts;
}

QStringList item_texts(const QComboBox *combo)
{
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts << combo->itemText(i);
    return texts;
}

} // namespace

class FormTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void window_is_built_without_warnings();
    void widget_texts_data();
    void widget_texts();
    void layouts_hold_their_widgets_in_order_data();
    void layouts_hold_their_widgets_in_order();
    void spin_boxes_data();
    void spin_boxes();
    void choices();
    void baud_rates();
    void docks();
    void menus();
    void actions_data();
    void actions();
    void nothing_is_cut_off_at_the_initial_size();
    void missing_definition_file_is_logged_twice();

private:
    start_conditions conditions;
};

void FormTest::window_is_built_without_warnings()
{
    toolkit_warnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(collect_warning);
    const MainWindow window;
    qInstallMessageHandler(previous);
    QCOMPARE(toolkit_warnings, QStringList());

    QCOMPARE(window.windowTitle(), QStringLiteral("Vorsel BLE Graphical User Interface Tool "));
    QCOMPARE(window.size(), QSize(1091, 838));
    QCOMPARE(log_lines(window), QStringList());
    const auto *const label = find<QLabel>(window, "labelDev");
    QCOMPARE(label->palette().color(QPalette::Window), QApplication::palette(label).color(QPalette::Window));
    QCOMPARE(label->alignment(), Qt::AlignCenter);
    QCOMPARE(label->margin(), 5);
    QVERIFY(label->autoFillBackground());
    QCOMPARE(find<QLineEdit>(window, "lineCommand")->placeholderText(),
             QStringLiteral("Enter command or hex string to send here"));
    QVERIFY(find<QScrollArea>(window, "deviceList")->widgetResizable());
    find<LogView>(window, "textDebug");
    find<QToolBar>(window, "mainToolBar");
    find<QStatusBar>(window, "statusBar");
}

void FormTest::widget_texts_data()
{
    QTest::addColumn<QString>("expected");
    const std::pair<const char *, const char *> rows[] = {
        {"pushDevRefresh", "Refresh"},
        {"pushConnectDev", "Attach"},
        {"labelDev", "Disconnected"},
        {"label_4", "Interval"},
        {"labelInterval", "75.00 ms"},
        {"label_5", "Timeout"},
        {"labelTimeout", "1000ms"},
        {"label_9", "Latency"},
        {"pushConnUpdate", "Update"},
        {"lineMap", ""},
        {"rawSend", ""},
        {"pushRefreshDevices", "Refresh"},
        {"pushClearDevices", "Clear"},
        {"dockLog", "Log"},
        {"dockGAP", "GAP"},
        {"lineCommand", ""},
        {"label_10", "Show:"},
        {"checkLogHex", "Comm"},
        {"checkLogText", "Text"},
        {"checkLogScroll", "Scroll"},
        {"pushLogCopy", "Copy to Clipboard"},
        {"pushLogClear", "Clear"},
        {"groupBox_2", "Mode"},
        {"label", "Discoverable"},
        {"label_2", "Connectable"},
        {"pushSetMode", "Set Mode"},
        {"pushClearMode", "Clear Mode"},
        {"label_6", "Adv Interval"},
        {"labelAdvInterval", "1280.00 ms"},
        {"label_8", "Channel Map"},
        {"checkAdvChannel37", "37"},
        {"checkAdvChannel38", "38"},
        {"checkAdvChannel39", "39"},
        {"pushSetAdvParameters", "Set Adv Parameters"},
        {"groupBox", "Scan"},
        {"radioScanLimited", "Limited"},
        {"radioScanGeneric", "Generic"},
        {"radioScanObservation", "Observation"},
        {"pushStartScan", "Start"},
        {"pushStopScan", "Stop"},
        {"label_3", "Scan Interval"},
        {"labelScanInterval", "125.00 ms"},
        {"label_7", "Scan Window"},
        {"labelScanWindow", "125.00 ms"},
        {"checkScanActive", "Active Scanning"},
        {"pushSetScanParameters", "Set Scan Parameters"},
        {"menuTools", "Tools"},
        {"menuCommands", "Commands"},
        {"menuConfig", "Config"},
    };
    for (const auto &[name, text] : rows)
        QTest::newRow(name) << QString::fromLatin1(text);
}

void FormTest::widget_texts()
{
    QFETCH(QString, expected);
    const MainWindow window;
    QCOMPARE(shown_text(find(window, QTest::currentDataTag())), expected);
}

void FormTest::layouts_hold_their_widgets_in_order_data()
{
    QTest::addColumn<QString>("expected");
    QTest::newRow("verticalLayout") << QStringLiteral(
        "horizontalLayout deviceList horizontalLayout_endpoint horizontalLayout_3");
    QTest::newRow("horizontalLayout")
        << QStringLiteral("pushDevRefresh comboDev comboBaudrate pushConnectDev labelDev");
    QTest::newRow("horizontalLayout_endpoint") << QStringLiteral("spinEndpoint rawSend");
    QTest::newRow("horizontalLayout_3") << QStringLiteral(
        "label_4 spinInterval labelInterval label_5 spinTimeout labelTimeout label_9 spinLatency "
        "pushConnUpdate lineMap pushRefreshDevices pushClearDevices");
    QTest::newRow("horizontalLayout_2") << QStringLiteral(
        "lineCommand label_10 checkLogHex checkLogText checkLogScroll pushLogCopy pushLogClear");
}

void FormTest::layouts_hold_their_widgets_in_order()
{
    QFETCH(QString, expected);
    const MainWindow window;
    const auto *const layout = window.findChild<QLayout *>(QLatin1String(QTest::currentDataTag()));
    QVERIFY(layout != nullptr);
    QStringList names;
    for (int i = 0; i < layout->count(); ++i) {
        QLayoutItem *const item = layout->itemAt(i);
        if (item->widget() != nullptr)
            names << item->widget()->objectName();
        else if (item->layout() != nullptr)
            names << item->layout()->objectName();
    }
    QCOMPARE(names.join(QLatin1Char(' ')), expected);
}

void FormTest::spin_boxes_data()
{
    QTest::addColumn<int>("minimum");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<int>("value");
    QTest::newRow("spinInterval") << 6 << 3200 << 60;
    QTest::newRow("spinTimeout") << 10 << 3200 << 100;
    QTest::newRow("spinLatency") << 0 << 99 << 0;
    QTest::newRow("spinAdvInterval") << 32 << 16384 << 2048;
    QTest::newRow("spinScanInterval") << 4 << 16384 << 200;
    QTest::newRow("spinScanWindow") << 4 << 16384 << 200;
    QTest::newRow("spinEndpoint") << 0 << 99 << 0;
}

void FormTest::spin_boxes()
{
    QFETCH(int, minimum);
    QFETCH(int, maximum);
    QFETCH(int, value);
    const MainWindow window;
    const auto *const spin = find<QSpinBox>(window, QTest::currentDataTag());
    QCOMPARE(spin->minimum(), minimum);
    QCOMPARE(spin->maximum(), maximum);
    QCOMPARE(spin->value(), value);
    QCOMPARE(spin->singleStep(), 1);
}

void FormTest::choices()
{
    const MainWindow window;
    const auto *const advertise = find<QComboBox>(window, "comboAdvMode");
    QCOMPARE(item_texts(advertise).join(QLatin1Char(' ')), QStringLiteral("No Limited Generic Broadcast"));
    QCOMPARE(advertise->currentIndex(), 2);
    const auto *const connectable = find<QComboBox>(window, "comboConnectMode");
    QCOMPARE(item_texts(connectable).join(QLatin1Char(' ')), QStringLiteral("No Directed Undirected"));
    QCOMPARE(connectable->currentIndex(), 2);

    QStringList checked;
    for (const QAbstractButton *button : window.findChildren<QAbstractButton *>()) {
        if (button->isChecked())
            checked << button->objectName();
    }
    checked.sort();
    QCOMPARE(
        checked.join(QLatin1Char(' ')),
        QStringLiteral("checkAdvChannel37 checkAdvChannel38 checkAdvChannel39 checkLogHex checkLogScroll "
                       "checkLogText radioScanGeneric"));
}

void FormTest::baud_rates()
{
    const MainWindow window;
    const auto *const combo = find<QComboBox>(window, "comboBaudrate");
    const int expected[] = {256000, 128000, 115200, 57600, 38400, 19200, 14400,
                            9600,   4800,   2400,   1200,  600,   300,   110};
    QCOMPARE(combo->count(), 14);
    for (int i = 0; i < 14; ++i) {
        QCOMPARE(combo->itemText(i), QString::number(expected[i]));
        QCOMPARE(combo->itemData(i), QVariant(expected[i]));
    }
    QCOMPARE(combo->currentIndex(), 0);
}

void FormTest::docks()
{
    const MainWindow window;
    auto *const log = find<QDockWidget>(window, "dockLog");
    auto *const gap = find<QDockWidget>(window, "dockGAP");
    QCOMPARE(window.dockWidgetArea(log), Qt::BottomDockWidgetArea);
    QCOMPARE(window.dockWidgetArea(gap), Qt::LeftDockWidgetArea);
    QCOMPARE(log->features(), QDockWidget::NoDockWidgetFeatures);
    QCOMPARE(gap->features(), QDockWidget::NoDockWidgetFeatures);
}

void FormTest::menus()
{
    const MainWindow window;
    QCOMPARE(action_texts(find<QMenuBar>(window, "menuBar")->actions()).join(QLatin1Char('|')),
             QStringLiteral("Tools|Commands|Config"));
    QCOMPARE(action_texts(find<QMenu>(window, "menuTools")->actions()).join(QLatin1Char('|')),
             QStringLiteral(
                 "Flash|GATT Server|Security Manager|Radio Test|Persistent Store|Whitelist|I/O|-|&About"));
    QCOMPARE(action_texts(find<QMenu>(window, "menuCommands")->actions()).join(QLatin1Char('|')),
             QStringLiteral("Reset|DFU|Info|Set Address|Get Address|Get Channel Quality Map"));
    QCOMPARE(action_texts(find<QMenu>(window, "menuConfig")->actions()).join(QLatin1Char('|')),
             QStringLiteral("Packet Mode"));
    QCOMPARE(action_texts(window.actions()).join(QLatin1Char('|')),
             QStringLiteral("logToFlowChart|Magic|ThroughputTest"));
}

void FormTest::actions_data()
{
    QTest::addColumn<QString>("shortcut");
    const std::pair<const char *, const char *> rows[] = {
        {"actionFlash", "Ctrl+F"},
        {"actionGATT_Server", "Ctrl+G"},
        {"actionSecurity_Manager", "Ctrl+S"},
        {"actionRadio_Test", "Ctrl+R"},
        {"actionPersistent_Store", "Ctrl+P"},
        {"actionWhitelist", "Ctrl+W"},
        {"actionI_O", "Ctrl+I"},
        {"action_About", ""},
        {"actionReset", "Alt+R"},
        {"actionDFU", "Alt+D"},
        {"actionInfo", ""},
        {"actionSet_Address", ""},
        {"actionGet_Address", ""},
        {"actionGet_Channel_Quality_Map", ""},
        {"actionPacket_Flow", ""},
        {"actionMagic", "Ctrl+Alt+Shift+M"},
        {"actionLogToFlowChart", "Ctrl+Shift+F"},
        {"actionThroughputTest", "Ctrl+Alt+Shift+T"},
    };
    for (const auto &[name, keys] : rows)
        QTest::newRow(name) << QString::fromLatin1(keys);
}

void FormTest::actions()
{
    QFETCH(QString, shortcut);
    const MainWindow window;
    const auto *const action = find<QAction>(window, QTest::currentDataTag());
    QCOMPARE(action->shortcut(), QKeySequence(shortcut));
    QCOMPARE(action->isCheckable(), action->objectName() == QLatin1String("actionPacket_Flow"));
    QVERIFY(!action->isChecked());
}

void FormTest::nothing_is_cut_off_at_the_initial_size()
{
    QApplication::setFont(QFont(QStringLiteral("Sans Serif"), 9)); // a desktop's usual one
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(window.size(), QSize(1091, 838));
    window.dev_mode(true);
    find<QLabel>(window, "labelInterval")
        ->setText(QStringLiteral("4000.00 ms")); // the longest texts they get
    find<QLabel>(window, "labelTimeout")->setText(QStringLiteral("32000 ms"));
    QApplication::processEvents();
    QCOMPARE(window.size(), QSize(1091, 838));
    for (const QWidget *widget : window.findChildren<QWidget *>()) {
        const bool has_text = qobject_cast<const QLabel *>(widget) ||
                              qobject_cast<const QComboBox *>(widget) ||
                              qobject_cast<const QAbstractButton *>(widget);
        if (!has_text || !widget->isVisible() || widget->objectName() == QLatin1String("comboDev"))
            continue;
        QSize needed = widget->minimumSizeHint();
        if (const auto *const button = qobject_cast<const QPushButton *>(widget))
            needed.setWidth(button->fontMetrics().horizontalAdvance(button->text()) +
                            10); // less than a style asks
        QVERIFY2(widget->width() >= needed.width() && widget->height() >= needed.height(),
                 qPrintable(widget->objectName()));
    }
    QVERIFY(find(window, "textDebug")->height() >= 150);
    QVERIFY(find(window, "deviceList")->height() >= 200);
}

void FormTest::missing_definition_file_is_logged_twice()
{
    const QTemporaryDir elsewhere;
    QVERIFY(QDir(elsewhere.path()).mkdir(QStringLiteral("start")));
    QDir::setCurrent(elsewhere.filePath(QStringLiteral("start")));
    const MainWindow window;
    QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
    QCOMPARE(log_lines(window),
             QStringList({QStringLiteral("../api/bleapi.xml file open failed 5"),
                          QStringLiteral("c:/projects/ble/ble/api/bleapi.xml file open failed 5")}));
}

QTEST_MAIN(FormTest)
#include "tst_form.moc"
