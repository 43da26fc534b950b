// Each tool dialog opened by its shortcut or menu entry, and its work done at the module.

#include "tests/e2e/remote_fixture.h"

#include <QCheckBox>
#include <QInputDialog>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QSpinBox>
#include <QTimer>

namespace {

const QString everything = QStringLiteral("Everything");
constexpr int taken = 37; // handle of its attribute that takes write commands

} // namespace

class tst_tools : public RemoteFixture
{
    Q_OBJECT

private Q_SLOTS:
    void persistent_store();
    void radio_test();
    void set_address();
    void whitelist();
    void ports_and_converter();
    void buses_and_endpoint();
    void security();
    void own_attributes();
    void throughput();
    void flow_chart();

private:
    void press(const char *shortcut)
    {
        QApplication::setActiveWindow(&window->widget()); // as there is no window manager to do it
        const int key = QKeySequence(QLatin1String(shortcut))[0];
        QTest::keyClick(&window->widget(), Qt::Key(key & ~Qt::KeyboardModifierMask),
                        Qt::KeyboardModifiers(key & Qt::KeyboardModifierMask));
    }
    void open(const char *name, const char *shortcut)
    {
        press(shortcut);
        dialog = window->widget().findChild<QDialog *>(QLatin1String(name));
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
        QApplication::setActiveWindow(dialog);
    }
    template <typename Widget>
    Widget *find(const char *name) const
    {
        auto *const widget = dialog->findChild<Widget *>(QLatin1String(name));
        if (!widget)
            qFatal("no %s", name);
        return widget;
    }
    void click(const char *button) const
    {
        auto *const widget = find<QAbstractButton>(button);
        QTest::mouseClick(widget, Qt::LeftButton, Qt::NoModifier, QPoint(10, widget->height() / 2));
    }
    void type(const char *edit, const char *text) const
    {
        auto *const widget = find<QWidget>(edit);
        widget->setFocus();
        QMetaObject::invokeMethod(widget, "selectAll");
        QTest::keyClicks(widget, QString::fromLatin1(text));
    }
    QString text(const char *name) const { return find<QWidget>(name)->property("text").toString(); }
    void close()
    {
        QWidget *const focus = dialog->focusWidget();
        QTest::keyClick(focus ? focus : dialog, Qt::Key_Escape);
        QVERIFY(dialog->isHidden());
    }

    QDialog *dialog = nullptr;
};

void tst_tools::persistent_store()
{
    start();
    open("PSTool", "Ctrl+P");
    auto *const table = find<QTableWidget>("tablePSKeys");
    const auto add = [&](const char *key, const char *value) {
        click("pushAdd");
        const QTableWidgetItem *const fresh =
            table->findItems(QStringLiteral("0000"), Qt::MatchExactly).value(0);
        QVERIFY(fresh);
        const int row = fresh->row();
        table->item(row, 1)->setText(QString::fromLatin1(value));
        table->item(row, 0)->setText(QString::fromLatin1(key)); // moves the row
        table->setCurrentItem(table->findItems(QString::fromLatin1(key), Qt::MatchExactly).value(0));
        click("pushWrite");
    };
    add("8001", "00ff10");
    add("0300", "");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("<- 00 03 01 03 00 03 00"), answer_ms);
    click("pushDefrag");
    click("pushRefresh");
    QTRY_COMPARE_WITH_TIMEOUT(table->rowCount(), 2, answer_ms);
    QCOMPARE(table->item(1, 0)->text() + table->item(1, 1)->text(), QStringLiteral("800100ff10"));
    picture(dialog, "tools-store");
    table->selectRow(1);
    click("pushDelete");
    QCOMPARE(table->rowCount(), 2);
    click("pushRefresh");
    QTRY_VERIFY_WITH_TIMEOUT(table->rowCount() == 1 && table->item(0, 0)->text() == QLatin1String("0300"),
                             answer_ms);
    close();
}

void tst_tools::radio_test()
{
    start();
    open("Bletest", "Ctrl+R");
    type("spinFreq", "2441");
    click("pushTestRX");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("<- 00 01 08 01 13"), answer_ms);
    QCOMPARE(text("spinFreq"), QStringLiteral("2440"));
    QTRY_VERIFY_WITH_TIMEOUT((click("pushTestEnd"), text("labelRXpackets").toInt() == 0), answer_ms);
    click("pushTestRX");
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY_WITH_TIMEOUT(clock.elapsed() > 100, answer_ms); // 160 packets are sent in this time
    click("pushTestEnd");
    QTRY_VERIFY_WITH_TIMEOUT(text("labelRXpackets").toInt() > 50, answer_ms);
    click("pushTestTX");
    click("pushTestReset");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("-> 00 00 08 03"), answer_ms);
    picture(dialog, "tools-radio-test");
    close();
}

void tst_tools::set_address()
{
    start();
    press("Ctrl+Alt+Shift+M");
    QVERIFY(window->find<QAction>("actionSet_Address")->isVisible());
    window->trigger("actionSet_Address");
    dialog = window->widget().findChild<QDialog *>(QStringLiteral("SetAddressDialog"));
    QVERIFY(QTest::qWaitForWindowExposed(dialog));
    click("checkAddressType");
    type("lineAddress", "c0ffee112233");
    QCOMPARE(text("labelDescription"), QStringLiteral("Static Address"));
    picture(dialog, "tools-address");
    click("pushSet");
    click("pushCancel");
    QVERIFY(dialog->isHidden());
    window->trigger("actionGet_Address");
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_rsp_system_address_get"), answer_ms);
    QCOMPARE(window->log().filter(QStringLiteral("ble_cmd")).size(), 1); // setting it sent none
}

void tst_tools::whitelist()
{
    start();
    press("Ctrl+Alt+Shift+M");
    open("WhitelistDialog", "Ctrl+W");
    type("lineAddress", "c055aaffee01");
    click("pushAppend");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("-> 00 02 00 0a 00 00"), answer_ms);
    click("checkFilterDuplicates");
    click("pushFiltering");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("<- 00 03 06 06 00 00 01"), answer_ms);
    picture(dialog, "tools-whitelist");
    click("pushConnect");
    QTRY_VERIFY_WITH_TIMEOUT(logged("address:c0:55:aa:ff:ee:01"), answer_ms);
    click("pushRemove");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("-> 00 02 00 0b 00 00"), answer_ms);
    close();
}

void tst_tools::ports_and_converter()
{
    start();
    open("IODialog", "Ctrl+I");
    type("dir0Edit", "f0");
    type("pull0Edit", "0");
    click("up0Box");
    click("set0Button");
    type("write0Edit", "a5");
    click("write0Button");
    click("read0Button");
    QTRY_COMPARE_WITH_TIMEOUT(text("read0Edit"), QStringLiteral("AF"), answer_ms); // inputs are pulled up
    module.control("pins 0 03 0f");
    QTRY_VERIFY_WITH_TIMEOUT((click("read0Button"), text("read0Edit") == QLatin1String("A3")), answer_ms);
    find<QComboBox>("inputBox")->setCurrentText(QStringLiteral("Temperature sensor"));
    click("adcButton");
    QTRY_VERIFY_WITH_TIMEOUT(!text("adcEdit").isEmpty(), answer_ms);
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("<- 00 03 07 02 0e 00 00"), answer_ms);
    picture(dialog, "tools-io");
    window->send("hardware_analog_comparator_enable 1");
    window->send("hardware_analog_comparator_config_irq 1");
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_rsp_hardware_analog_comparator_config_irq"), answer_ms);
    module.control("comparator 1");
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_evt_hardware_analog_comparator_status"), answer_ms);
    close();
}

void tst_tools::buses_and_endpoint()
{
    start();
    open("IODialog", "Ctrl+I");
    QCOMPARE(text("resultEdit"), QStringLiteral("57617.2"));
    click("spiconfigButton");
    type("spitxEdit", "00ABcd");
    click("spitransferButton");
    QTRY_COMPARE_WITH_TIMEOUT(text("spirxEdit"), QStringLiteral("00abcd"), answer_ms); // looped back
    type("line_i2c_address", "a0");
    type("i2c_output", "10c0de");
    click("push_i2c_write");
    type("i2c_output", "10");
    click("push_i2c_write");
    find<QSpinBox>("spin_i2c_bytes")->setValue(2);
    click("push_i2c_read");
    QTRY_VERIFY_WITH_TIMEOUT(logged("data:c0de"), answer_ms);
    QCOMPARE(text("i2c_input"), QString());
    type("sendText", "hello");
    click("sendButton");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("<- 00 07 00 09 01 05 68 65 6c 6c 6f"), answer_ms);
    QVERIFY(find<QPlainTextEdit>("sendText")->toPlainText().isEmpty());
    picture(dialog, "tools-io-buses");
}

void tst_tools::security()
{
    start();
    const QString lock = QStringLiteral("Door lock"); // shows its passkey
    scan_for(lock);
    connect_to(lock);
    open("SMDialog", "Ctrl+S");
    find<QComboBox>("comboIOCapabilities")->setCurrentText(QStringLiteral("KeyboardOnly"));
    click("checkMITM");
    click("checkBondable");
    click("pushSetParameters");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("<- 00 03 05 03 01 07 02"), answer_ms);
    picture(dialog, "tools-security");
    int requests = 0;
    const auto pair = [&](int passkey) {
        Panel(*window, lock).click("pushEncrypt");
        ++requests;
        QTRY_COMPARE_WITH_TIMEOUT(module.output().count("evt sm_passkey_request"), requests, answer_ms);
        bool entered = false;
        QTimer::singleShot(0, this, [&] {
            auto *const input = dialog->findChild<QInputDialog *>();
            if (!input)
                return;
            input->setIntValue(passkey);
            picture(input, "tools-passkey");
            entered = true;
            QTest::keyClick(input, Qt::Key_Return);
        });
        click("pushPasskey");
        QVERIFY(entered);
    };
    pair(1);
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_evt_sm_bonding_fail"), answer_ms);
    pair(123456);
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_evt_sm_bond_status"), answer_ms);
    close();
}

void tst_tools::own_attributes()
{
    start();
    open("DialogGATTServer", "Ctrl+G");
    type("handle", "3");
    click("pushReadUUID");
    QTRY_COMPARE_WITH_TIMEOUT(text("lineUUID"), QStringLiteral("2a00"), answer_ms);
    type("value", "566f7273656c");
    click("pushSet");
    QTRY_VERIFY_WITH_TIMEOUT(on_wire("-> 00 02 02 00 00 00"), answer_ms);
    type("offset", "3");
    click("pushRead");
    QTRY_VERIFY_WITH_TIMEOUT(text("value").startsWith(QStringLiteral("73656c")), answer_ms);
    picture(dialog, "tools-attributes");
    close();
}

void tst_tools::throughput()
{
    start({QStringLiteral("--result"), QStringLiteral("attclient_write_command=0x0182@5")});
    scan_for(everything);
    connect_to(everything);
    open("ThroughputDialog", "Ctrl+Alt+Shift+T");
    find<QSpinBox>("spinAttribute0")->setValue(taken);
    click("pushEnable0");
    const auto sent = [this] {
        return text("labelThroughput").mid(5).section(QLatin1Char(' '), 0, 0).toInt();
    };
    QTRY_VERIFY_WITH_TIMEOUT(sent() >= 100 * 20, answer_ms);
    picture(dialog, "tools-throughput");
    close();
    const QString last = text("labelThroughput");
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_rsp_attclient_write_command"), answer_ms);
    window->send("system_hello"); // behind the last write's answer
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_rsp_system_hello"), answer_ms);
    QCOMPARE(text("labelThroughput"), last);
}

void tst_tools::flow_chart()
{
    start();
    window->send("system_hello");
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_rsp_system_hello"), answer_ms);
    press("Ctrl+Shift+F"); // lines of frames and "Hello" are left out
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("B -> A: ble_rsp_system_hello\t\n\n"));
    window->click("pushSetMode");
    QTRY_VERIFY_WITH_TIMEOUT(logged("ble_evt_gap_mode_changed"), answer_ms);
    press("Ctrl+Shift+F");
    QCOMPARE(
        QApplication::clipboard()->text().section(QStringLiteral("\n\n"), 1),
        QStringLiteral("A -> B: ble_cmd_gap_set_mode\t\nnote right of A:\n   discover: 2 (0x02)\n"
                       "   connect: 2 (0x02)\nend note\n\n"
                       "B -> A: ble_rsp_gap_set_mode\t\nnote right of A:\n   result:0x0000 ['No Error']\n"
                       "end note\n\n"
                       "B -> A: ble_evt_gap_mode_changed\t\nnote right of A:\n   discover: 2 (0x02)\n"
                       "   connect: 2 (0x02)\nend note\n\n"));
}

QTEST_MAIN(tst_tools)
#include "tst_tools.moc"
