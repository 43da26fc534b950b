#include "devices/devicelist.h"
#include "tests/mainwindow/window_fixture.h"

#include <functional>
#include <utility>

// The panels that send commands directly, and the wiring between the device list and the engine. What is sent
// is read as the frame that reaches the device.
class MainWindowTest : public WindowFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        WindowFixture::init();
        device = new FakeDevice;
        window->setCommDevice(device);
    }

    void cleanup()
    {
        WindowFixture::cleanup();
        delete device;
    }

    // A row sets values one after the other; expected are the values of interval and timeout, the greatest
    // latency and both labels.
    void interval_timeout_and_latency_hold_each_other_data()
    {
        QTest::addColumn<QString>("changes");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *changes, const char *expected) {
            QTest::newRow(changes) << QString::fromLatin1(changes) << QString::fromLatin1(expected);
        };
        row("", "60 100 99 75.00 ms|1000ms");
        row("interval 3200", "3200 400 0 4000.00 ms|4000 ms");
        row("interval 801", "801 101 0 1001.25 ms|1010 ms");
        row("interval 800", "800 100 0 1000.00 ms|1000ms");
        row("interval 7", "7 100 113 8.75 ms|1000ms");
        row("timeout 3200, interval 6", "6 3200 500 7.50 ms|32000 ms");
        row("interval 3200, timeout 10", "80 10 0 100.00 ms|100 ms");
        row("timeout 8", "60 10 0 75.00 ms|100 ms"); // the box itself stops at 10
        row("timeout 101", "60 101 12 75.00 ms|1010 ms");
        row("interval 6, latency 132, interval 60", "60 100 12 75.00 ms|1000ms");
    }

    void interval_timeout_and_latency_hold_each_other()
    {
        QFETCH(QString, changes);
        for (const QString &change : changes.split(QStringLiteral(", "), Qt::SkipEmptyParts)) {
            QString name = change.section(QLatin1Char(' '), 0, 0);
            name[0] = name[0].toUpper();
            spin(qPrintable(QStringLiteral("spin") + name))
                ->setValue(change.section(QLatin1Char(' '), 1).toInt());
        }
        const QString found =
            QStringLiteral("%1 %2 %3 %4|%5")
                .arg(spin("spinInterval")->value())
                .arg(spin("spinTimeout")->value())
                .arg(spin("spinLatency")->maximum())
                .arg(find<QLabel>("labelInterval")->text(), find<QLabel>("labelTimeout")->text());
        QTEST(found, "expected");
        QVERIFY(spin("spinLatency")->value() <= spin("spinLatency")->maximum());
        QCOMPARE(device->written, QByteArray());
    }

    void window_is_raised_to_the_scan_interval()
    {
        const auto state = [this] {
            return QStringLiteral("%1 %2|%3 %4")
                .arg(spin("spinScanInterval")->value())
                .arg(find<QLabel>("labelScanInterval")->text())
                .arg(spin("spinScanWindow")->value())
                .arg(find<QLabel>("labelScanWindow")->text());
        };
        QCOMPARE(state(), QStringLiteral("200 125.00 ms|200 125.00 ms"));
        spin("spinScanInterval")->setValue(300);
        QCOMPARE(state(), QStringLiteral("300 187.50 ms|300 187.50 ms"));
        spin("spinScanInterval")->setValue(200);
        QCOMPARE(state(), QStringLiteral("200 125.00 ms|300 187.50 ms"));
        spin("spinScanWindow")->setValue(5);
        QCOMPARE(state(), QStringLiteral("200 125.00 ms|5 3.13 ms"));
        spin("spinAdvInterval")->setValue(16383);
        QCOMPARE(find<QLabel>("labelAdvInterval")->text(), QStringLiteral("10239.38 ms"));
    }

    void controls_send_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("control");
        QTest::addColumn<QString>("frame");
        QFile table(QStringLiteral(VORSEL_CONTROLS_TABLE));
        QVERIFY(table.open(QIODevice::ReadOnly | QIODevice::Text));
        for (table.readLine(); !table.atEnd();) {
            const QStringList row = QString::fromUtf8(table.readLine().trimmed()).split(QLatin1Char('|'));
            QTest::newRow(qPrintable(row[1] + QLatin1Char(' ') + row[0])) << row[0] << row[1] << row[2];
        }
    }

    void controls_send()
    {
        QFETCH(QString, before);
        QFETCH(QString, control);
        QFETCH(QString, frame);
        window->dev_mode(true);
        for (const QString &setting : before.split(QLatin1Char(','), Qt::SkipEmptyParts))
            set(setting.section(QLatin1Char(' '), 0, 0), setting.section(QLatin1Char(' '), 1));
        auto *const edit = window->findChild<QLineEdit *>(control);
        const QString text = edit == nullptr ? QString() : edit->text();
        if (edit != nullptr)
            QTest::keyClick(edit, Qt::Key_Return);
        else
            click(qPrintable(control));
        QCOMPARE(sent(), frame.remove(QLatin1Char(' ')));
        if (edit != nullptr)
            QCOMPARE(edit->text(), text);
    }

    void raw_text_ends_at_a_zero()
    {
        auto *const edit = find<QLineEdit>("rawSend");
        edit->setText(QStringLiteral("ab") + QChar(0) + QStringLiteral("cd"));
        Q_EMIT edit->returnPressed();
        QCOMPARE(sent(), QStringLiteral("0004000900026162"));
    }

    void the_three_ways_to_connect_cap_differently()
    {
        spin("spinInterval")->setValue(3200);
        spin("spinTimeout")->setValue(3200);
        spin("spinLatency")->setValue(2);
        const bd_addr address{{1, 2, 3, 4, 5, 6}};
        window->Connect(address, 1);
        QCOMPARE(sent(), QStringLiteral("000f060301020304050601700c800c800c0200"));
        window->whitelist_connect();
        QCOMPARE(sent(), QStringLiteral("00080605800c900c800c0200"));
        click("pushConnUpdate");
        QCOMPARE(sent(), QStringLiteral("0009030200800c900c0200800c"));
        spin("spinInterval")->setValue(3183);
        window->Connect(address, 0);
        QCOMPARE(sent(), QStringLiteral("000f0603010203040506006f0c7f0c800c0200"));
    }

    void requests_of_the_device_list_reach_the_wire()
    {
        auto *const list = find<DeviceList>("deviceList");
        const QByteArray bytes("\x28\x03", 2);
        const bd_addr address{{1, 2, 3, 4, 5, 6}};
        const QPair<std::function<void()>, const char *> rows[] = {
            {[&] { Q_EMIT list->Connect(address, 1); }, "000f0603010203040506013c004c0064000000"},
            {[&] { Q_EMIT list->Disconnect(9); }, "0001030009"},
            {[&] { Q_EMIT list->cmd_read_by_group_type(1, 2, 0xffff, bytes); }, "00080401010200ffff022803"},
            {[&] { Q_EMIT list->cmd_read_by_type(1, 2, 0xffff, bytes); }, "00080402010200ffff022803"},
            {[&] { Q_EMIT list->cmd_find_information(1, 2, 0xffff); }, "00050403010200ffff"},
            {[&] { Q_EMIT list->cmd_get_status(9); }, "0001030709"},
            {[&] { Q_EMIT list->cmd_version_update(9); }, "0001030309"},
            {[&] { Q_EMIT list->cmd_features_get(9); }, "0001030609"},
            {[&] { Q_EMIT list->AttributeRead(9, 0x1234); }, "00030404093412"},
            {[&] { Q_EMIT list->AttributeReadLong(9, 0x1234); }, "00030408093412"},
            {[&] { Q_EMIT list->AttributeWrite(9, 0x1234, bytes); }, "00060405093412022803"},
            {[&] { Q_EMIT list->AttributeWriteCommand(9, 0x1234, bytes); }, "00060406093412022803"},
            {[&] { Q_EMIT list->EncryptConnection(9, 1); }, "000205000901"},
        };
        for (const auto &[request, frame] : rows) {
            request();
            QCOMPARE(sent(), QString::fromLatin1(frame));
        }
    }

    void events_of_the_module_reach_the_device_list()
    {
        const auto texts = [this] {
            const auto text = [this](const char *name) { return find<QLabel>(name)->text(); };
            return QStringList{find<QGroupBox>("name")->title(), text("rssi"), text("status")};
        };
        device->receive("800e0600c400ccbbaa80070001ff03020106");
        QCOMPARE(texts(), (QStringList{QStringLiteral("Random: 00:07:80:aa:bb:cc"), QStringLiteral("-60 dBm"),
                                       QStringLiteral("General No_BREDR Connectable undirected")}));
        device->receive("801003000205ccbbaa800700013c0064000000ff");
        QCOMPARE(texts().at(2), QStringLiteral("Connected handle:0x2"));
        device->receive("800804020201000500020018");
        device->receive("8009040302020003000202002a");
        device->receive("80060404020400020229");
        device->receive("8007040502030000"
                        "02abcd");
        QStringList cells;
        const auto *const table = find<QTableWidget>("tableGATT");
        for (int row = 0; row < table->rowCount(); ++row) {
            for (int column = 0; column < 6; ++column) {
                const QTableWidgetItem *const cell = table->item(row, column);
                cells << (cell == nullptr ? QString() : cell->text());
            }
        }
        QCOMPARE(cells.join(QLatin1Char('|')),
                 QStringLiteral("1|5|1800|Generic Access|||3||2a00|Device Name|abcd||"
                                "4||2902|Client Characteristic Configuration||"));
        device->receive("80030304021302");
        QCOMPARE(texts().at(2), QStringLiteral("Disconnected Reason: 0x213"));
        click("pushClearDevices");
        QVERIFY(window->findChildren<QTableWidget *>(QStringLiteral("tableGATT")).isEmpty());
    }

    void about_box()
    {
        QVERIFY(show());
        auto *const about = window->findChild<QDialog *>(QStringLiteral("AboutDialog"));
        QVERIFY(about != nullptr);
        trigger("action_About");
        QVERIFY(QTest::qWaitForWindowExposed(about));
        QVERIFY(about->isModal()); // NOLINT(clang-analyzer-core.CallAndMessage) // it is not null here
        QCOMPARE(about->windowTitle(), QStringLiteral("About"));
        const auto label = [about](const char *name) {
            return about->findChild<QLabel *>(QLatin1String(name));
        };
        QCOMPARE(label("label")->text(), QStringLiteral("Vorsel Gui"));
        QCOMPARE(label("labelVersion")->text(), QStringLiteral("ble-1.10.0-153"));
        QVERIFY(!label("label_3")->pixmap(Qt::ReturnByValue).isNull());
        about->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->click();
        QVERIFY(about->isHidden());
    }

private:
    QSpinBox *spin(const char *name) const { return find<QSpinBox>(name); }

    // What was sent since the last call, in hex.
    QString sent() const { return QString::fromLatin1(std::exchange(device->written, {}).toHex()); }

    void set(const QString &name, const QString &value) const
    {
        auto *const widget = find(qPrintable(name));
        if (auto *const box = qobject_cast<QSpinBox *>(widget))
            box->setValue(value.toInt());
        else if (auto *const combo = qobject_cast<QComboBox *>(widget))
            combo->setCurrentIndex(value.toInt());
        else if (auto *const button = qobject_cast<QAbstractButton *>(widget))
            button->setChecked(value == QLatin1String("1"));
        else
            qobject_cast<QLineEdit *>(widget)->setText(value);
    }

    QPointer<FakeDevice> device;
};

QTEST_MAIN(MainWindowTest)
#include "tst_controls.moc"
