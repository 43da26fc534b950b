// The serial device and the discovery on the real calls of Windows: run under Wine by wine_peer.py, which
// plays the module at COM7.

#include "tests/transport/seeded_port.h"
#include "tests/transport/wine_peer.h"
#include "transport/uartcomm.h"
#include "transport/uartdev.h"

#include <QtTest>

#include <memory>
#include <vector>

using seeds = std::vector<seeded_port>;
Q_DECLARE_METATYPE(seeds)

namespace {

constexpr int answer_ms = 20000;

QByteArray frame(std::uint32_t number)
{
    return QByteArray::fromStdString(numbered_frame(number));
}

} // namespace

class tst_win32_classes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QCOMPARE(peer("plug"), std::string("done"));
        QCoreApplication::processEvents(); // frames of a device that has gone are still told
        frames.clear();
    }

    void lists_data();
    void lists();
    void refuses_data();
    void refuses();
    void settings_of_the_line();
    void receives();
    void streams_both_ways();
    void detaches_amid_traffic();
    void unplugged_data();
    void unplugged();

private:
    std::unique_ptr<CommDev> open()
    {
        std::unique_ptr<CommDev> device(UartComm().Open(QString::fromLatin1(com7)));
        if (device)
            connect(device.get(), &CommDev::RxData, this, [this](const QByteArray &got) { frames << got; });
        return device;
    }

    QList<QByteArray> frames;
};

void tst_win32_classes::lists_data()
{
    QTest::addColumn<seeds>("ports");
    QTest::addColumn<QString>("expected"); // "name|port;"
    const seeded_port good = {L"USB (COM12)", "COM12"};
    const QString good_text = QStringLiteral("USB (COM12)|\\\\.\\COM12;");
    const std::string longest(261, 'L');
    QTest::newRow("none") << seeds{} << QString();
    QTest::newRow("two of one name") << seeds{good, {L"USB (COM12)", "COM3"}}
                                     << good_text + QStringLiteral("USB (COM12)|\\\\.\\COM3;");
    QTest::newRow("no friendly name") << seeds{{{}, "COM1"}, good} << good_text;
    QTest::newRow("no key") << seeds{{L"No key", "", nullptr}, good} << good_text;
    QTest::newRow("no port name") << seeds{{L"No port", "COM1", "OtherName"}, good} << good_text;
    QTest::newRow("261 bytes") << seeds{{L"P", longest}, good}
                               << QStringLiteral("P|\\\\.\\%1;").arg(QString::fromStdString(longest)) +
                                      good_text;
    QTest::newRow("262 bytes") << seeds{{L"P", longest + 'L'}, good} << good_text;
    QTest::newRow("not ASCII") << seeds{{L"Ger\u00e4t", "COM4"}} << QStringLiteral("Ger\u00e4t|\\\\.\\COM4;");
}

void tst_win32_classes::lists()
{
    QFETCH(seeds, ports);
    std::vector<std::unique_ptr<seed>> present;
    for (const seeded_port &port : ports)
        present.push_back(std::make_unique<seed>(port, int(present.size())));
    UartComm comm;
    QString heard;
    connect(&comm, &UartComm::DeviceFound, &comm, [&](const QString &name, const QString &port) {
        heard += name + QLatin1Char('|') + port + QLatin1Char(';');
    });
    comm.DiscoverDevices();
    QTEST(heard, "expected");
}

void tst_win32_classes::refuses_data()
{
    QTest::addColumn<QString>("port");
    QTest::newRow("no such port") << QStringLiteral("\\\\.\\COM199");
    QTest::newRow("nothing") << QString();
    QTest::newRow("prefix alone") << QStringLiteral("\\\\.\\");
    QTest::newRow("folder") << QStringLiteral("C:\\windows");
    QTest::newRow("file") << QStringLiteral("C:\\windows\\system.ini");
    QTest::newRow("long") << QString(40000, QLatin1Char('x'));
}

void tst_win32_classes::refuses()
{
    QFETCH(QString, port);
    for (int attempt = 0; attempt < 20; ++attempt)
        QVERIFY(!UartComm().Open(port));
    QVERIFY(open());
}

void tst_win32_classes::settings_of_the_line()
{
    const auto device = open();
    QVERIFY(device);
    device->SetBaudrate(115200);
    QCOMPARE(peer("line"), std::string("115200, rts/cts"));
    device->SetBaudrate(9600);
    QCOMPARE(peer("line"), std::string("9600, rts/cts"));
}

// A frame is told when it is whole, and not before, however its bytes come.
void tst_win32_classes::receives()
{
    const auto device = open();
    QVERIFY(device);
    peer("send 00000001");
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, answer_ms);
    for (const char *part : {"send 00", "send 0301", "send 0261", "send 6263800006"})
        peer(part);
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 2, answer_ms);
    peer("send 0c");
    QTRY_COMPARE_WITH_TIMEOUT(
        frames,
        (QList<QByteArray>{QByteArray::fromHex("00000001"), QByteArray::fromHex("00030102616263"),
                           QByteArray::fromHex("8000060c")}),
        answer_ms);
}

void tst_win32_classes::streams_both_ways()
{
    constexpr std::uint32_t count = 2000;
    const auto device = open();
    QVERIFY(device);
    ask("stream " + std::to_string(count));
    for (std::uint32_t number = 0; number < count; ++number)
        device->TxData(frame(number));
    QCOMPARE(answer(), std::string("done"));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), int(count), answer_ms);
    for (std::uint32_t number = 0; number < count; ++number)
        QCOMPARE(frames.at(int(number)), frame(number));
}

// Bytes come at the moment the reading thread is told to stop; the next device starts as if nothing had been.
void tst_win32_classes::detaches_amid_traffic()
{
    for (int round = 0; round < 50; ++round) {
        peer("plug");
        frames.clear();
        auto device = open();
        QVERIFY(device);
        peer("trickle");
        QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty(), answer_ms);
        device.reset();
        for (const QByteArray &each : qAsConst(frames))
            QCOMPARE(each, frames.first());
    }
}

void tst_win32_classes::unplugged_data()
{
    QTest::addColumn<bool>("writes");
    QTest::newRow("while it reads") << false;
    QTest::newRow("while it writes") << true;
}

void tst_win32_classes::unplugged()
{
    QFETCH(bool, writes);
    const auto device = open();
    QVERIFY(device && device->isRunning());
    if (writes) {
        ask("unplug_when_written");
        device->TxData(QByteArray(1 << 20, 'w')); // more than the line takes with nobody reading
        QCOMPARE(answer(), std::string("done"));
    } else {
        peer("unplug");
    }
    QTRY_VERIFY_WITH_TIMEOUT(device->isFinished(), answer_ms);
    device->TxData(frame(1)); // fails, and says so
    QVERIFY(frames.isEmpty());
    device->Disconnect();
}

QTEST_GUILESS_MAIN(tst_win32_classes)
#include "tst_win32_classes.moc"
