#include "tests/mainwindow/window_fixture.h"

#include <functional>

// What is typed, sent, received and logged, with a device attached that outlives the window.
class TestTraffic : public DeviceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void bytesWithoutADeviceAreLoggedAndDropped()
    {
        MainWindowTest::setDevice(*window, nullptr);
        window->txData(QByteArray::fromHex("000000ABff"));
        window->rxData(QByteArray());
        QTest::keyClicks(find("lineCommand"), "system_hello\r"_s); // is not even tried
        QCOMPARE(log(), "TX: 000000abff|RX: "_s);
    }

    // Long enough to pass a whole second, which is where a stamp that is not made anew would go back.
    void stampsTellTheCurrentTime()
    {
        const QDateTime end = QDateTime::currentDateTime().addMSecs(1200);
        QDateTime before;
        while (before < end) {
            click("pushLogClear");
            before = QDateTime::currentDateTime();
            window->debugPrint("x"_s);
            const QDateTime after = QDateTime::currentDateTime();
            click("pushLogCopy");
            const QString html = QApplication::clipboard()->mimeData()->html();
            const QDateTime stamp =
                QDateTime::fromString(html, "'<b>'yyyy.MM.dd HH:mm:ss.zzz'</b> x<br><br />'"_s);
            QVERIFY2(before <= stamp && stamp <= after, qPrintable(html));
        }
    }

    void gatesDecideAtTheMomentOfLogging()
    {
        const auto logAll = [this](const QString &mark) {
            window->debugPrintHex(mark + QLatin1String("hex"));
            window->debugPrintText(mark + QLatin1String("text"));
            window->debugPrintStringList({mark, "list"_s});
            window->debugPrint(mark + QLatin1String("plain"));
            window->debugPrintList({mark, "plains"_s});
        };
        click("checkLogHex");
        logAll("1"_s);
        click("checkLogText");
        logAll("2"_s);
        click("checkLogHex");
        click("checkLogText");
        logAll("3"_s);
        QCOMPARE(log(), "1text|1 list|1plain|1 plains|2plain|2 plains|"
                        "3hex|3text|3 list|3plain|3 plains"_s);
    }

    void packetModePrefixesTheLength()
    {
        const QPair<int, const char *> cases[] = {
            {0, "00"}, {4, "04"}, {255, "ff"}, {256, "00"}, {300, "2c"}};
        for (const auto &[size, prefix] : cases) {
            const QByteArray hex = QByteArray("5a").repeated(size);
            click("pushLogClear");
            for (const QByteArray &expected : {prefix + hex, hex}) {
                trigger("actionPacket_Flow");
                window->txData(QByteArray::fromHex(hex));
                QCOMPARE(sent(), QString::fromLatin1(expected));
            }
            QCOMPARE(log(), QString::fromLatin1("TX: " + (prefix + hex) + "|TX: " + hex));
        }
    }

    void resetsGiveThePortUp()
    {
        const std::function<void()> ways[] = {[this] { trigger("actionReset"); },
                                              [this] { window->USBReset(); }};
        for (const bool intoBootLoader : {false, true}) {
            attachNewDevice();
            find<QPushButton>("pushConnectDev")->setText("Detach"_s);
            QCOMPARE(deviceState(), attached);
            const auto course = std::make_shared<QByteArray>();
            const QObject scope;
            connect(device, &QObject::destroyed, &scope, [course] { *course += " deleted"; });
            connect(&MainWindowTest::engine(*window), &cls_ble::tx_data, &scope,
                    [this, course] { *course += device ? device->written.toHex() : "unsent"; });
            ways[intoBootLoader]();
            const QByteArray frame = intoBootLoader ? "0001000001" : "0001000000";
            QCOMPARE(*course, frame + " deleted");
            QCOMPARE(deviceState(), detached);
            QVERIFY(log().endsWith("|TX: "_s + QString::fromLatin1(frame)));
        }
    }

    void updateOverTheAirQuietsTheLog()
    {
        for (const bool running : {true, false}) {
            window->ota_running(running);
            device->receive("00000001");
        }
        QCOMPARE(log(), "Hello|ble_rsp_system_hello\t|RX: 00000001"_s);
    }

    void typedLinesAreJudged_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("good");
        QTest::addColumn<QString>("tooltip");
        const auto row = [](const char *line, bool good, const QString &tooltip = {}) {
            QTest::newRow(line) << QString::fromLatin1(line) << good << tooltip;
        };
        const QString reset = "<nobr><b>ble_cmd_system_reset</b> <b>boot_in_dfu</b>:uint8</nobr>"
                              "<br>unable parse argument '"_s;
        row("system_reset 0", true);
        row("00000001", true);
        row("system_reset x", false, reset + QLatin1String("x' as uint8"));
        row("0a", false, "Length of hex string must be at least two bytes"_s);
        row("0A00", false);
        row("system_", false);
        const QString xs(30000, u'x');
        QTest::newRow("long") << QLatin1String("system_reset ") + xs << false << (reset + xs).left(1000);
    }

    void typedLinesAreJudged()
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

        edit->setText("x"_s);
        QTest::keyClick(edit, Qt::Key_Backspace);
        QCOMPARE(colours(), QSet<QRgb>({qRgb(0, 0, 0)}));
        QTRY_VERIFY(!QToolTip::isVisible());
    }

    void tooltipShowsTypedTextAndLeavesWithItsReason()
    {
        QVERIFY(show());
        auto *const edit = find<QLineEdit>("lineCommand");
        const QPair<const char *, const char *> tips[] = {
            {"system_reset a&lt;b", "unable parse argument 'a&lt;b' as uint8"},
            {"system_a&lt;b\"", "Command 'a&lt;b\"' not found in class 'system'"},
        };
        for (const auto &[line, reason] : tips) {
            edit->clear();
            QTest::keyClicks(edit, QString::fromLatin1(line));
            QVERIFY(Qt::mightBeRichText(QToolTip::text()));
            const QString seen = QTextDocumentFragment::fromHtml(QToolTip::text()).toPlainText();
            QCOMPARE(seen.section(u'\n', -1), QString::fromLatin1(reason));
        }
        edit->clear();
        QTest::keyClicks(edit, "00"_s); // too short; a single digit has no message
        QVERIFY(QToolTip::isVisible());
        QTest::keyClick(edit, Qt::Key_Backspace);
        QTRY_VERIFY(!QToolTip::isVisible());
    }

    void rawTextEndsAtAZero()
    {
        auto *const edit = find<QLineEdit>("rawSend");
        edit->setText("ab"_s + QChar(0) + "cd"_s);
        Q_EMIT edit->returnPressed();
        QCOMPARE(sent(), "0004000900026162"_s);
    }

    void halfTypedNumbersChangeNoOtherBox()
    {
        find<QSpinBox>("spinInterval")->setValue(3200);
        QVERIFY(show());
        const auto typeInto = [this](const char *name, const QString &number) {
            auto *const box = find<QSpinBox>(name);
            box->setFocus();
            box->selectAll();
            QTest::keyClicks(box, number);
            QTest::keyClick(box, Qt::Key_Tab);
        };
        typeInto("spinTimeout", "3200"_s); // on the way to it are 32 and 320
        QCOMPARE(find<QSpinBox>("spinInterval")->value(), 3200);
        QCOMPARE(find<QSpinBox>("spinLatency")->maximum(), 7);
        typeInto("spinInterval", "80"_s);
        QCOMPARE(find<QSpinBox>("spinLatency")->maximum(), 319);
    }

    void theThreeWaysToConnectCapDifferently()
    {
        find<QSpinBox>("spinInterval")->setValue(3200);
        find<QSpinBox>("spinTimeout")->setValue(3200);
        find<QSpinBox>("spinLatency")->setValue(2);
        const bd_addr address{{1, 2, 3, 4, 5, 6}};
        window->Connect(address, 1);
        QCOMPARE(sent(), "000f060301020304050601700c800c800c0200"_s);
        window->whitelist_connect();
        QCOMPARE(sent(), "00080605800c900c800c0200"_s);
        click("pushConnUpdate");
        QCOMPARE(sent(), "0009030200800c900c0200800c"_s);
        find<QSpinBox>("spinInterval")->setValue(3183);
        window->Connect(address, 0);
        QCOMPARE(sent(), "000f0603010203040506006f0c7f0c800c0200"_s);
    }
};

QTEST_MAIN(TestTraffic)
#include "tst_traffic.moc"
