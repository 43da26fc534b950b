#include <QPalette>
#include <QSet>
#include <QTest>
#include <QToolTip>

#include "tests/mainwindow/fake_device.h"
#include "tests/mainwindow/window_fixture.h"

class MainWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typed_lines_are_judged_data();
    void typed_lines_are_judged();
    void return_without_a_device_is_silent();
    void return_sends_good_lines_only();
    void very_long_line();

private:
    start_conditions conditions;
};

void MainWindowTest::typed_lines_are_judged_data()
{
    QTest::addColumn<bool>("good");
    QTest::addColumn<QString>("tooltip");
    QTest::newRow("system_reset 0") << true << QString();
    QTest::newRow("00000001") << true << QString();
    QTest::newRow("system_reset x") << false
                                    << QStringLiteral(
                                           "<nobr><b>ble_cmd_system_reset</b> <b>boot_in_dfu</b>:uint8</nobr>"
                                           "<br>unable parse argument 'x' as uint8");
    QTest::newRow("0a") << false << QStringLiteral("Length of hex string must be at least two bytes");
    QTest::newRow("0A00") << false << QString();
    QTest::newRow("system_") << false << QString();
}

void MainWindowTest::typed_lines_are_judged()
{
    QFETCH(bool, good);
    QFETCH(QString, tooltip);
    QTRY_VERIFY(!QToolTip::isVisible()); // one of an earlier line fades slowly
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    auto *const edit = find<QLineEdit>(window, "lineCommand");
    const auto colour = [edit] {
        QSet<QRgb> colours;
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
            colours << edit->palette().brush(group, QPalette::Text).color().rgb();
        return colours;
    };
    edit->setText(QLatin1String(QTest::currentDataTag()).chopped(1));
    QTest::keyClicks(edit, QString::fromLatin1(QTest::currentDataTag()).right(1));
    QCOMPARE(colour(), QSet<QRgb>({good ? qRgb(0, 0, 0) : qRgb(255, 0, 0)}));
    QCOMPARE(QToolTip::isVisible() ? QToolTip::text() : QString(), tooltip);

    edit->setText(QStringLiteral("x"));
    QTest::keyClick(edit, Qt::Key_Backspace);
    QCOMPARE(colour(), QSet<QRgb>({qRgb(0, 0, 0)}));
    QTRY_VERIFY(!QToolTip::isVisible());
}

void MainWindowTest::return_without_a_device_is_silent()
{
    const MainWindow window;
    type_line(window, "system_hello");
    QCOMPARE(log_lines(window), QStringList());
    QCOMPARE(find<QLineEdit>(window, "lineCommand")->text(), QStringLiteral("system_hello"));
}

void MainWindowTest::return_sends_good_lines_only()
{
    MainWindow window;
    auto *const device = new FakeDevice;
    window.setCommDevice(device);
    for (const char *bad : {"", "system_", "system_reset", "000100ff", "nonsense"})
        type_line(window, bad);
    QCOMPARE(device->written, QByteArray());
    type_line(window, "system_reset 0");
    QTest::keyClick(find<QLineEdit>(window, "lineCommand"), Qt::Key_Return);
    QCOMPARE(device->written.toHex(), QByteArray("00010000000001000000"));
    QCOMPARE(log_lines(window),
             QStringList({QStringLiteral("TX: 0001000000"), QStringLiteral("TX: 0001000000")}));
    window.setCommDevice(nullptr);
}

// The box holds far less than a pasted megabyte; what it holds still gets its colour and a tooltip of decent
// size.
void MainWindowTest::very_long_line()
{
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QApplication::clipboard()->setText(QStringLiteral("system_reset ") + QString(1 << 20, QLatin1Char('x')));
    auto *const edit = find<QLineEdit>(window, "lineCommand");
    edit->setFocus();
    QTest::keyClick(edit, Qt::Key_V, Qt::ControlModifier);
    QVERIFY(edit->text().size() > 1000);
    QCOMPARE(edit->palette().color(QPalette::Text), QColor(Qt::red));
    QVERIFY(QToolTip::isVisible());
    QVERIFY(QToolTip::text().startsWith(QLatin1String("<nobr><b>ble_cmd_system_reset</b>")));
    QCOMPARE(QToolTip::text().size(), 1000);
}

QTEST_MAIN(MainWindowTest)
#include "tst_typed_lines.moc"
