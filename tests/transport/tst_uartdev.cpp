#include "tests/transport/captured_output.h"
#include "tests/transport/scripted_platform.h"
#include "tests/transport/thread_sanitizer.h"
#include "transport/uartdev.h"

#include <QtTest>

#include <cstring>
#include <memory>
#include <vector>

using steps = QList<scripted_step>;
using chunks = QList<QByteArray>;
Q_DECLARE_METATYPE(steps)
Q_DECLARE_METATYPE(chunks)

namespace {

constexpr bool pending = true;
const QStringList farewell = {QStringLiteral("UART disconnecting"), QStringLiteral("UART thread exit")};

QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

} // namespace

// UartDev's own logic, over a platform that does what each case says.
class tst_UartDev : public QObject
{
    Q_OBJECT

    std::unique_ptr<scripted_platform> play;
    QList<QByteArray> frames;

    std::unique_ptr<UartDev> open()
    {
        auto device = std::make_unique<UartDev>(QStringLiteral("COM\u00e9"), nullptr);
        connect(device.get(), &CommDev::RxData, this, [this](const QByteArray &frame) { frames << frame; });
        show_end_of_thread(*device);
        return device->Open() ? std::move(device) : nullptr;
    }

private Q_SLOTS:
    void init()
    {
        play = std::make_unique<scripted_platform>();
        frames.clear();
    }

    void stopWhileWaiting()
    {
        captured_output captured;
        auto device = open();
        QVERIFY(device && device->isRunning());
        QTRY_COMPARE(play->calls("wait_for_either"), QStringLiteral("wait_for_either 102 101"));
        device.reset();
        QCOMPARE(captured.standard_output(), QByteArray());
        QCOMPARE(captured.debug_output(), farewell);
        // The thread closes the port, the destructor the events.
        QCOMPARE(play->calls(),
                 QStringLiteral("open_port COM\u00e9, set_queue_sizes 32768 32768, clear_timeouts, "
                                "create_event, create_event, create_event, start_read 4, "
                                "wait_for_either 102 101, set_event 101, cancel_transfers 7 102, "
                                "close_handle 7, close_handle 101, close_handle 102, close_handle 103"));
    }

    void openFails_data()
    {
        QTest::addColumn<bool>("portOpens");
        QTest::addColumn<QString>("closed"); // while it opens
        QTest::newRow("no port") << false << QString();
        QTest::newRow("no events") << true << "close_handle 7";
    }

    void openFails()
    {
        QFETCH(bool, portOpens);
        play->port_opens = portOpens;
        play->events_available = 1;
        UartDev device(QStringLiteral("COM9"), nullptr);
        QTest::ignoreMessage(QtDebugMsg, "ERROR: cannot open serialport: \"COM9\"");
        QVERIFY(!device.Open());
        QVERIFY(!device.isRunning());
        QTEST(play->calls("close_handle"), "closed");
    }

    void setBaudrate_data()
    {
        QTest::addColumn<quint32>("flagsBefore");
        QTest::addColumn<quint32>("flagsAfter");
        // Kept: 0x40 fDsrSensitivity, 0x80 fTXContinueOnXoff, 0x400 fErrorChar, 0x4000 fAbortOnError and
        // above.
        QTest::newRow("from all flags off") << 0x00000000U << 0x00002015U;
        QTest::newRow("from all flags on") << 0xFFFFFFFFU << 0xFFFFE4D5U;
        QTest::newRow("kept flags") << 0x000044C0U << 0x000064D5U;
    }

    void setBaudrate()
    {
        QFETCH(quint32, flagsBefore);
        constexpr std::size_t flags_at = 8;
        quint8 block[28] = {};
        block[19] = 2; // even parity
        block[20] = 2; // two stop bits
        block[21] = 0x11;
        std::memcpy(block + flags_at, &flagsBefore, sizeof flagsBefore);
        static_assert(sizeof block == sizeof play->line);
        std::memcpy(&play->line, block, sizeof block);

        const auto device = open();
        play->line_state_readable = false;
        device->SetBaudrate(9600);
        QCOMPARE(play->calls("set_line_state"), QString());
        play->line_state_readable = true;
        device->SetBaudrate(256000);

        QCOMPARE(play->calls("get_line_state"), QStringLiteral("get_line_state 28, get_line_state 28"));
        quint32 after = 0;
        std::memcpy(block, &play->line, sizeof block);
        std::memcpy(&after, block + flags_at, sizeof after);
        QTEST(after, "flagsAfter");
        QCOMPARE(play->line.length, 28U);
        QCOMPARE(play->line.baud_rate, 256000U);
        QCOMPARE(QByteArray(reinterpret_cast<char *>(block) + 18, 4), hex("08020011"));
    }

    void readsFrameByFrame_data()
    {
        QTest::addColumn<QByteArray>("incoming");
        QTest::addColumn<steps>("reads");
        QTest::addColumn<chunks>("expected");
        QTest::addColumn<QString>("counts"); // of bytes asked for, read by read
        const QByteArray five = hex("8001060cff"), seven = hex("0003aabb010203"), none = hex("ff000304");
        const QByteArray longest = hex("00ff0102") + QByteArray(255, 'x');
        QTest::newRow("length 0 after 255") << none << steps{{4}} << chunks{none} << "4 4";
        QTest::newRow("length 1") << five << steps{{4}, {1}} << chunks{five} << "4 1 4";
        QTest::newRow("length 255") << longest << steps{{4}, {255}} << chunks{longest} << "4 255 4";
        QTest::newRow("short") << seven << steps{{1}, {2}, {1}, {2}, {1}} << chunks{seven} << "4 3 1 3 1 4";
        QTest::newRow("short, in the background")
            << seven << steps{{3, pending}, {1, pending}, {1, pending}, {2}} << chunks{seven} << "4 1 3 2 4";
        QTest::newRow("nothing") << none << steps{{0}, {0, pending}, {4}} << chunks{none} << "4 4 4 4";
        QTest::newRow("two frames") << none + five << steps{{4}, {4, pending}, {1, pending}}
                                    << chunks{none, five} << "4 4 1 4";
    }

    void readsFrameByFrame()
    {
        QFETCH(chunks, expected);
        QFETCH(QString, counts);
        play->incoming = *static_cast<QByteArray *>(QTest::qData("incoming", qMetaTypeId<QByteArray>()));
        play->reads = *static_cast<steps *>(QTest::qData("reads", qMetaTypeId<steps>()));
        const auto device = open();
        QTRY_COMPARE(frames, expected);
        QTRY_COMPARE(
            play->calls("start_read ").remove(QStringLiteral("start_read ")).remove(QLatin1Char(',')),
            counts);
    }

    void readFailureEndsTheThread_data()
    {
        QTest::addColumn<steps>("reads");
        QTest::addColumn<QByteArray>("output");
        const QByteArray failed = "ERROR: ReadFile failed:";
        QTest::newRow("at once") << steps{{0, !pending, 5}} << failed + "5\n";
        QTest::newRow("in the background") << steps{{0, pending, 995}} << failed + "995\n";
        QTest::newRow("in the payload") << steps{{4}, {0, !pending, 22}} << failed + "22\n";
        QTest::newRow("in its midst") << steps{{4}, {1}, {1, pending, 1167}} << failed + "1167\n";
    }

    void readFailureEndsTheThread()
    {
        QFETCH(steps, reads);
        captured_output captured;
        play->incoming = hex("0003aabb010203");
        play->reads = reads;
        auto device = open();
        QVERIFY(device->wait());
        QTEST(captured.standard_output(), "output");
        QCOMPARE(captured.debug_output(), farewell);
        device->Disconnect();
        device.reset();
        QCoreApplication::processEvents();
        QVERIFY(frames.isEmpty());
        QCOMPARE(play->calls("close_handle 7"), QStringLiteral("close_handle 7"));
    }

    void stopBetweenReads()
    {
        captured_output captured;
        play->incoming = hex("0000000100000001");
        play->reads = {{4, !pending, 0, true}, {4}};
        const auto device = open();
        QVERIFY(device->wait());
        QCOMPARE(captured.debug_output(), farewell);
        QCOMPARE(play->calls("start_read"), QStringLiteral("start_read 4"));
        QTRY_COMPARE(frames.size(), 1); // what was read before is not lost
    }

    void write_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<steps>("writes");
        QTest::addColumn<chunks>("written");
        QTest::addColumn<int>("result");
        QTest::addColumn<QByteArray>("output");
        const QByteArray none, ten = "0123456789", pastEnd("789\0\0\0\0", 7), zeros("\0\0", 2);
        const QByteArray failed = "ERROR: WriteFile failed:";
        QTest::newRow("nothing") << none << steps{} << chunks{} << 0 << none;
        QTest::newRow("whole") << ten << steps{} << chunks{ten} << 0 << none;
        QTest::newRow("in the background") << ten << steps{{10, pending}} << chunks{ten} << 0 << none;
        // 6 written, 4 left: the position moves by 4, not by 6.
        QTest::newRow("partial") << ten << steps{{6}, {4}} << chunks{"012345", "4567"} << 0 << none;
        QTest::newRow("partial in the background")
            << ten << steps{{8, pending}, {2, pending}} << chunks{"01234567", "23"} << 0 << none;
        QTest::newRow("twice") << ten << steps{{7}, {2}, {1}} << chunks{"0123456", "34", "4"} << 0 << none;
        QTest::newRow("past the end") << ten << steps{{3}, {7}} << chunks{"012", pastEnd} << 0 << none;
        QTest::newRow("far past the end")
            << QByteArray("abcd") << steps{{1}, {1}, {2}} << chunks{"a", "d", zeros} << 0 << none;
        QTest::newRow("fails") << ten << steps{{0, !pending, 31}} << chunks{} << -1 << failed + "31\n";
        QTest::newRow("fails in the background") << ten << steps{{0, pending, 995}} << chunks{} << -1
                                                 << QByteArray("ERROR: Writefile failed:995\n");
        QTest::newRow("fails after a part")
            << ten << steps{{5}, {0, !pending, 5}} << chunks{"01234"} << -1 << failed + "5\n";
        QTest::newRow("exit while it waits") << ten << steps{{0, pending, 0, true}} << chunks{} << -1 << none;
    }

    void write()
    {
        QFETCH(QByteArray, data);
        QFETCH(steps, writes);
        QFETCH(int, result);
        const auto device = open();
        play->writes = writes;
        captured_output captured;
        // A block of exactly this size, for the sanitizer to watch.
        const std::vector<char> exact(data.cbegin(), data.cend());
        QCOMPARE(device->Write(static_cast<unsigned>(exact.size()), exact.data()), result);
        const QByteArray output = captured.standard_output();
        QTEST(output, "output");
        QTEST(play->written(), "written");
        QCOMPARE(play->calls("cancel_transfers 7 103").isEmpty(), result == 0 || !output.isEmpty());
        QVERIFY(device->isRunning());
    }

    void writeAfterDisconnect()
    {
        const auto device = open();
        captured_output captured;
        device->TxData(hex("00000001"));
        device->Disconnect();
        device->Disconnect();
        device->TxData(hex("00000002"));
        QCOMPARE(captured.standard_output(), QByteArray("ERROR: WriteFile failed:6\n"));
        QCOMPARE(play->written(), chunks{hex("00000001")});
        QCOMPARE(play->calls("close_handle"), QStringLiteral("close_handle 7"));
    }
};

QTEST_GUILESS_MAIN(tst_UartDev)
#include "tst_uartdev.moc"
