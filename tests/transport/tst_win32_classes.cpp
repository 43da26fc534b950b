// The serial device and the discovery on the real calls of Windows: run under Wine by wine_peer.py, which
// plays the module at COM7.

#include "tests/transport/seeded_port.h"
#include "tests/transport/wine_peer.h"
#include "transport/uartcomm.h"
#include "transport/uartdev.h"

#include <QtTest>

#include <memory>

namespace {

constexpr int answerMs = 20000;

QByteArray frame(std::uint32_t number)
{
    return QByteArray::fromStdString(numberedFrame(number));
}

} // namespace

class TestWin32Classes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QCOMPARE(peer("plug"), std::string("done"));
        QCoreApplication::processEvents(); // frames of a device that has gone are still told
        frames.clear();
    }

    // Which ports are passed over or refused, and what a line is set to, is seen without the classes.
    void lists()
    {
        const RegistrySeed good({L"USB (COM12)", "COM12"}, 0), noKey({L"No key", "", nullptr}, 1);
        const RegistrySeed noName({L"No port", "COM1", "OtherName"}, 2), notAscii({L"Ger\u00e4t", "COM4"}, 3);
        UartComm comm;
        QString heard;
        connect(&comm, &UartComm::DeviceFound, &comm, [&](const QString &name, const QString &port) {
            heard += name + QLatin1Char('|') + port + QLatin1Char(';');
        });
        comm.DiscoverDevices();
        QCOMPARE(heard, QStringLiteral("USB (COM12)|\\\\.\\COM12;Ger\u00e4t|\\\\.\\COM4;"));
    }

    // Bytes come at the moment the reading thread is told to stop; the next device starts as if nothing had
    // been.
    void detachesAmidTraffic()
    {
        for (int round = 0; round < 50; ++round) {
            peer("plug");
            frames.clear();
            auto device = open();
            QVERIFY(device);
            peer("trickle");
            QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty(), answerMs);
            device.reset();
            for (const QByteArray &each : qAsConst(frames))
                QCOMPARE(each, frames.first());
        }
    }

    void unplugged()
    {
        for (const bool writes : {false, true}) {
            init();
            const auto device = open();
            QVERIFY(device && device->isRunning());
            if (writes) {
                ask("unplug_when_written");
                device->TxData(QByteArray(1 << 20, 'w')); // more than the line takes with nobody reading
                QCOMPARE(answer(), std::string("done"));
            } else {
                peer("unplug");
            }
            QTRY_VERIFY_WITH_TIMEOUT(device->isFinished(), answerMs);
            device->TxData(frame(1)); // fails, and says so
            QVERIFY(frames.isEmpty());
            device->Disconnect();
        }
    }

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

QTEST_GUILESS_MAIN(TestWin32Classes)
#include "tst_win32_classes.moc"
