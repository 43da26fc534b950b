// Remote devices as their user has them: found, connected, browsed, read, written, and left again. Each step
// is held against the window and against what the module saw and sent.

#include "tests/e2e/remote_fixture.h"

class TestDevices : public RemoteFixture
{
    Q_OBJECT

private Q_SLOTS:
    void steps_data() { rows("devices"); }
    void steps() { playRow(); }
    void twiceTheFontSize();
};

void TestDevices::twiceTheFontSize()
{
    const QFont usual = QApplication::font();
    QFont large = usual;
    large.setPointSizeF(2 * usual.pointSizeF());
    QApplication::setFont(large);
    start();
    play("scan Everything;connect Everything;pushShow;pushGATTServiceDiscover;tableGATT~/26 48 0000"_s);
    for (const char *name : {"address", "rssi", "status"}) {
        const auto *label = find<QLabel>(QLatin1String(name));
        QVERIFY2(label->fontMetrics().horizontalAdvance(label->text()) <= label->width(), name);
    }
    play("picture devices-4-large-font"_s);
    QApplication::setFont(usual);
}

QTEST_MAIN(TestDevices)
#include "tst_devices.moc"
