#include "tests/mainwindow/window_fixture.h"

// What is typed, sent, received and logged, with a device attached that outlives the window.
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
        const bool is_attached = window->device != nullptr;
        WindowFixture::cleanup();
        QCOMPARE(!device.isNull(), is_attached);
        if (is_attached)
            device->receive("00000001"); // to nobody
        delete device;
    }

    void bytes_without_a_device_are_logged_and_dropped()
    {
        window->setCommDevice(nullptr);
        window->txData(QByteArray::fromHex("000000ABff"));
        window->rxData(QByteArray());
        QCOMPARE(log(), QStringLiteral("TX: 000000abff|RX: "));
    }

    // Long enough to pass a whole second, which is where a stamp that is not made anew would go back.
    void stamps_tell_the_current_time()
    {
        const QDateTime end = QDateTime::currentDateTime().addMSecs(1200);
        QDateTime before;
        while (before < end) {
            click("pushLogClear");
            before = QDateTime::currentDateTime();
            window->debugPrint(QStringLiteral("x"));
            const QDateTime after = QDateTime::currentDateTime();
            click("pushLogCopy");
            const QString html = QApplication::clipboard()->mimeData()->html();
            const QDateTime stamp =
                QDateTime::fromString(html, QStringLiteral("'<b>'yyyy.MM.dd HH:mm:ss.zzz'</b> x<br><br />'"));
            QVERIFY2(before <= stamp && stamp <= after, qPrintable(html));
        }
    }

    void gates_decide_at_the_moment_of_logging()
    {
        const auto log_all = [this](const QString &mark) {
            window->debugPrintHex(mark + QLatin1String("hex"));
            window->debugPrintText(mark + QLatin1String("text"));
            window->debugPrintStringList({mark, QStringLiteral("list")});
            window->debugPrint(mark + QLatin1String("plain"));
            window->debugPrintList({mark, QStringLiteral("plains")});
        };
        click("checkLogHex");
        log_all(QStringLiteral("1"));
        click("checkLogText");
        log_all(QStringLiteral("2"));
        click("checkLogHex");
        click("checkLogText");
        log_all(QStringLiteral("3"));
        QCOMPARE(log(), QStringLiteral("1text|1 list|1plain|1 plains|2plain|2 plains|"
                                       "3hex|3text|3 list|3plain|3 plains"));
    }

    void packet_mode_prefixes_the_length()
    {
        const QPair<int, const char *> cases[] = {
            {0, "00"}, {4, "04"}, {255, "ff"}, {256, "00"}, {300, "2c"}};
        for (const auto &[size, prefix] : cases) {
            const QByteArray hex = QByteArray("5a").repeated(size);
            device->written.clear();
            click("pushLogClear");
            trigger("actionPacket_Flow");
            window->txData(QByteArray::fromHex(hex));
            QCOMPARE(device->written.toHex(), prefix + hex);
            trigger("actionPacket_Flow");
            window->txData(QByteArray::fromHex(hex));
            QCOMPARE(device->written.toHex(), prefix + hex + hex);
            QCOMPARE(log(), QString::fromLatin1("TX: " + (prefix + hex) + "|TX: " + hex));
        }
    }

    void received_frame_is_decoded_above_its_hex()
    {
        device->receive("00000001");
        device->receive("00060002ccbbaa800700");
        device->receive("00000e00"); // no such class: no decoded line
        QCOMPARE(log(), QStringLiteral("Hello|ble_rsp_system_hello\t|RX: 00000001|"
                                       "ble_rsp_system_address_get\t  address:00:07:80:aa:bb:cc|"
                                       "RX: 00060002ccbbaa800700|RX: 00000e00"));
    }

    void menu_commands()
    {
        window->dev_mode(true);
        for (const char *action : {"actionInfo", "actionGet_Address", "actionGet_Channel_Quality_Map"})
            trigger(action);
        QCOMPARE(device->written.toHex(), QByteArray("000000080000000200000804"));
        QCOMPARE(log(), QStringLiteral("ble_cmd_system_get_info\t|TX: 00000008|"
                                       "ble_cmd_system_address_get\t|TX: 00000002|"
                                       "ble_cmd_test_get_channel_map\t|TX: 00000804"));
    }

    void resets_give_the_port_up_data()
    {
        QTest::addColumn<QByteArray>("frame");
        QTest::newRow("reset") << QByteArray("0001000000");
        QTest::newRow("reset into the boot loader") << QByteArray("0001000001");
    }

    void resets_give_the_port_up()
    {
        QFETCH(QByteArray, frame);
        find<QPushButton>("pushConnectDev")->setText(QStringLiteral("Detach"));
        QCOMPARE(device_state(), attached);
        QByteArray course;
        const QObject scope;
        connect(device, &QObject::destroyed, &scope, [&] { course += " deleted"; });
        connect(&window->engine, &cls_ble::tx_data, &scope,
                [&] { course += device ? device->written.toHex() : "unsent"; });
        if (frame.endsWith("01"))
            window->USBReset();
        else
            trigger("actionReset");
        QCOMPARE(course, frame + " deleted");
        QCOMPARE(device_state(), detached);
        QVERIFY(log().endsWith(QStringLiteral("|TX: ") + QString::fromLatin1(frame)));
    }

    // The gate opens before the finish is logged, and closes before the line of the set address, even of a
    // refused one.
    void firmware_upload_quiets_the_log()
    {
        device->receive("000209018101"); // flash_set_address
        device->receive("00000001");
        device->receive("000209038101"); // flash_upload_finish
        QCOMPARE(log(),
                 QStringLiteral("ble_rsp_dfu_flash_upload_finish\t  result:0x0181 [<font color=red>"
                                "'Device is in wrong state to receive command'</font>]|RX: 000209038101"));
        click("pushLogClear");
        click("checkLogHex");
        for (const bool running : {true, false}) { // over the air
            window->ota_running(running);
            device->receive("00000001");
        }
        QCOMPARE(log(), QStringLiteral("Hello|ble_rsp_system_hello\t|RX: 00000001"));
    }

    void typed_lines_are_judged_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("good");
        QTest::addColumn<QString>("tooltip");
        const auto row = [](const char *line, bool good, const QString &tooltip = {}) {
            QTest::newRow(line) << QString::fromLatin1(line) << good << tooltip;
        };
        const QString reset =
            QStringLiteral("<nobr><b>ble_cmd_system_reset</b> <b>boot_in_dfu</b>:uint8</nobr>"
                           "<br>unable parse argument '");
        row("system_reset 0", true);
        row("00000001", true);
        row("system_reset x", false, reset + QLatin1String("x' as uint8"));
        row("0a", false, QStringLiteral("Length of hex string must be at least two bytes"));
        row("0A00", false);
        row("system_", false);
        const QString xs(30000, QLatin1Char('x'));
        QTest::newRow("long") << QLatin1String("system_reset ") + xs << false << (reset + xs).left(1000);
    }

    void typed_lines_are_judged()
    {
        QFETCH(QString, line);
        QFETCH(bool, good);
        QFETCH(QString, tooltip);
        QTRY_VERIFY(!QToolTip::isVisible()); // one of an earlier line fades slowly
        QVERIFY(show());
        auto *const edit = find<QLineEdit>("lineCommand");
        const auto colours = [edit] {
            QSet<QRgb> found;
            for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
                found << edit->palette().brush(group, QPalette::Text).color().rgb();
            return found;
        };
        edit->setText(line.chopped(1));
        QTest::keyClicks(edit, line.right(1));
        QCOMPARE(colours(), QSet<QRgb>({good ? qRgb(0, 0, 0) : qRgb(255, 0, 0)}));
        QCOMPARE(QToolTip::isVisible() ? QToolTip::text() : QString(), tooltip);

        edit->setText(QStringLiteral("x"));
        QTest::keyClick(edit, Qt::Key_Backspace);
        QCOMPARE(colours(), QSet<QRgb>({qRgb(0, 0, 0)}));
        QTRY_VERIFY(!QToolTip::isVisible());
    }

    void return_sends_good_lines_only()
    {
        for (const char *bad : {"", "system_", "system_reset", "000100ff", "nonsense"})
            type_line(bad);
        QCOMPARE(device->written, QByteArray());
        type_line("system_reset 0");
        QTest::keyClick(find<QLineEdit>("lineCommand"), Qt::Key_Return);
        QCOMPARE(device->written.toHex(), QByteArray("00010000000001000000"));
        window->setCommDevice(nullptr);
        type_line("system_hello");
        QCOMPARE(find<QLineEdit>("lineCommand")->text(), QStringLiteral("system_hello"));
        QCOMPARE(log(), QStringLiteral("TX: 0001000000|TX: 0001000000"));
    }

private:
    // Types the line into the emptied command line and presses Return.
    void type_line(const char *line) const
    {
        auto *const edit = find<QLineEdit>("lineCommand");
        edit->clear();
        QTest::keyClicks(edit, QString::fromLatin1(line));
        QTest::keyClick(edit, Qt::Key_Return);
    }

    QPointer<FakeDevice> device;
};

QTEST_MAIN(MainWindowTest)
#include "tst_traffic.moc"
