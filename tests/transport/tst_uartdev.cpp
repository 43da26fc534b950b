#include "tests/transport/captured_output.h"
#include "tests/transport/scripted_platform.h"
#include "tests/transport/thread_sanitizer.h"
#include "transport/uartdev.h"

#include <QtTest>

#include <cstring>
#include <memory>
#include <tuple>
#include <vector>

using Steps = QList<ScriptedStep>;
using Chunks = QList<QByteArray>;

namespace {

constexpr bool pending = true;
const QStringList farewell = {QStringLiteral("UART disconnecting"), QStringLiteral("UART thread exit")};

QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

} // namespace

// UartDev's own logic, over a platform that does what each case says.
class TestUartDev : public QObject
{
    Q_OBJECT

    std::unique_ptr<ScriptedPlatform> play;
    QList<QByteArray> frames;

    std::unique_ptr<UartDev> open()
    {
        auto device = std::make_unique<UartDev>(QStringLiteral("COM\u00e9"), nullptr);
        connect(device.get(), &CommDev::RxData, this, [this](const QByteArray &frame) { frames << frame; });
        showEndOfThread(*device);
        return device->Open() ? std::move(device) : nullptr;
    }

private Q_SLOTS:
    void init()
    {
        play = std::make_unique<ScriptedPlatform>();
        frames.clear();
    }

    void stopWhileWaiting()
    {
        CapturedOutput captured;
        auto device = open();
        QVERIFY(device && device->isRunning());
        QTRY_COMPARE(play->calls("wait_for_either"), QStringLiteral("wait_for_either 102 101"));
        device.reset();
        QCOMPARE(captured.standardOutput(), QByteArray());
        QCOMPARE(captured.debugOutput(), farewell);
        // The thread closes the port, the destructor the events.
        QCOMPARE(play->calls(),
                 QStringLiteral("open_port COM\u00e9, set_queue_sizes 32768 32768, clear_timeouts, "
                                "create_event, create_event, create_event, start_read 4, "
                                "wait_for_either 102 101, set_event 101, cancel_transfers 7 102, "
                                "close_handle 7, close_handle 101, close_handle 102, close_handle 103"));
    }

    void openFails()
    {
        for (const bool portOpens : {false, true}) {
            init();
            play->portOpens = portOpens;
            play->eventsAvailable = 1;
            UartDev device(QStringLiteral("COM9"), nullptr);
            QTest::ignoreMessage(QtDebugMsg, "ERROR: cannot open serialport: \"COM9\"");
            QVERIFY(!device.Open());
            QVERIFY(!device.isRunning());
            QCOMPARE(play->calls("close_handle"), QLatin1String(portOpens ? "close_handle 7" : ""));
        }
    }

    // Kept of the flags: 0x40 fDsrSensitivity, 0x80 fTXContinueOnXoff, 0x400 fErrorChar, 0x4000 fAbortOnError
    // and above.
    void setBaudrate()
    {
        constexpr std::pair<quint32, quint32> flags[] = {
            {0x00000000, 0x00002015}, {0xFFFFFFFF, 0xFFFFE4D5}, {0x000044C0, 0x000064D5}};
        for (const auto &[before, expected] : flags) {
            init();
            constexpr std::size_t flagsAt = 8;
            quint8 block[28] = {};
            block[19] = 2; // even parity
            block[20] = 2; // two stop bits
            block[21] = 0x11;
            std::memcpy(block + flagsAt, &before, sizeof before);
            static_assert(sizeof block == sizeof play->line);
            std::memcpy(&play->line, block, sizeof block);

            const auto device = open();
            play->lineStateReadable = false;
            device->SetBaudrate(9600);
            QCOMPARE(play->calls("set_line_state"), QString());
            play->lineStateReadable = true;
            device->SetBaudrate(256000);

            QCOMPARE(play->calls("get_line_state"), QStringLiteral("get_line_state 28, get_line_state 28"));
            quint32 after = 0;
            std::memcpy(block, &play->line, sizeof block);
            std::memcpy(&after, block + flagsAt, sizeof after);
            QCOMPARE(after, expected);
            QCOMPARE(play->line.length, 28U);
            QCOMPARE(play->line.baud_rate, 256000U);
            QCOMPARE(QByteArray(reinterpret_cast<char *>(block) + 18, 4), hex("08020011"));
        }
    }

    void readsFrameByFrame()
    {
        const QByteArray five = hex("8001060cff"), seven = hex("0003aabb010203"), none = hex("ff000304");
        const QByteArray longest = hex("00ff0102") + QByteArray(255, 'x');
        // What comes, in which pieces, and how many bytes are asked for read by read.
        const std::tuple<Chunks, Steps, const char *> rows[] = {
            {{none}, {{4}}, "4 4"},
            {{five}, {{4}, {1}}, "4 1 4"},
            {{longest}, {{4}, {255}}, "4 255 4"},
            {{seven}, {{1}, {2}, {1}, {2}, {1}}, "4 3 1 3 1 4"},
            {{seven}, {{3, pending}, {1, pending}, {1, pending}, {2}}, "4 1 3 2 4"},
            {{none}, {{0}, {0, pending}, {4}}, "4 4 4 4"},
            {{none, five}, {{4}, {4, pending}, {1, pending}}, "4 4 1 4"},
        };
        for (const auto &[incoming, reads, counts] : rows) {
            init();
            play->incoming = incoming.join();
            play->reads = reads;
            const auto device = open();
            QTRY_COMPARE(frames, incoming);
            QTRY_COMPARE(play->calls("start_read ").remove(QStringLiteral("start_read ")).remove(u','),
                         QLatin1String(counts));
        }
    }

    void readFailureEndsTheThread()
    {
        const QList<std::pair<Steps, int>> rows = {{{{0, !pending, 5}}, 5},
                                                   {{{0, pending, 995}}, 995},
                                                   {{{4}, {0, !pending, 22}}, 22},
                                                   {{{4}, {1}, {1, pending, 1167}}, 1167}};
        for (const auto &[reads, error] : rows) {
            init();
            CapturedOutput captured;
            play->incoming = hex("0003aabb010203");
            play->reads = reads;
            auto device = open();
            QVERIFY(device->wait());
            QCOMPARE(captured.standardOutput(), "ERROR: ReadFile failed:" + QByteArray::number(error) + '\n');
            QCOMPARE(captured.debugOutput(), farewell);
            device->Disconnect();
            device.reset();
            QCoreApplication::processEvents();
            QVERIFY(frames.isEmpty());
            QCOMPARE(play->calls("close_handle 7"), QStringLiteral("close_handle 7"));
        }
    }

    void stopBetweenReads()
    {
        CapturedOutput captured;
        play->incoming = hex("0000000100000001");
        play->reads = {{4, !pending, 0, true}, {4}};
        const auto device = open();
        QVERIFY(device->wait());
        QCOMPARE(captured.debugOutput(), farewell);
        QCOMPARE(play->calls("start_read"), QStringLiteral("start_read 4"));
        QTRY_COMPARE(frames.size(), 1); // what was read before is not lost
    }

    void write()
    {
        const QByteArray ten = "0123456789", pastEnd("789\0\0\0\0", 7), zeros("\0\0", 2);
        const std::tuple<const char *, QByteArray, Steps, Chunks, int, const char *> rows[] = {
            {"nothing", "", {}, {}, 0, ""},
            {"whole", ten, {}, {ten}, 0, ""},
            {"in the background", ten, {{10, pending}}, {ten}, 0, ""},
            // 6 written, 4 left: the position moves by 4, not by 6.
            {"partial", ten, {{6}, {4}}, {"012345", "4567"}, 0, ""},
            {"partial, in the background", ten, {{8, pending}, {2, pending}}, {"01234567", "23"}, 0, ""},
            {"twice", ten, {{7}, {2}, {1}}, {"0123456", "34", "4"}, 0, ""},
            {"past the end", ten, {{3}, {7}}, {"012", pastEnd}, 0, ""},
            {"far past the end", "abcd", {{1}, {1}, {2}}, {"a", "d", zeros}, 0, ""},
            {"fails", ten, {{0, !pending, 31}}, {}, -1, "ERROR: WriteFile failed:31\n"},
            {"fails later", ten, {{0, pending, 995}}, {}, -1, "ERROR: Writefile failed:995\n"},
            {"fails after a part",
             ten,
             {{5}, {0, !pending, 5}},
             {"01234"},
             -1,
             "ERROR: WriteFile failed:5\n"},
            {"exit while it waits", ten, {{0, pending, 0, true}}, {}, -1, ""},
        };
        for (const auto &[name, data, writes, written, result, message] : rows) {
            init();
            const auto device = open();
            play->writes = writes;
            CapturedOutput captured;
            // A block of exactly this size, for the sanitizer to watch.
            const std::vector<char> exact(data.cbegin(), data.cend());
            QVERIFY2(device->Write(unsigned(exact.size()), exact.data()) == result, name);
            const QByteArray output = captured.standardOutput();
            QCOMPARE(name + (':' + output), name + QByteArray(":") + message);
            QCOMPARE(play->written(), written);
            QCOMPARE(play->calls("cancel_transfers 7 103").isEmpty(), result == 0 || !output.isEmpty());
            QVERIFY(device->isRunning());
        }
    }

    void writeAfterDisconnect()
    {
        const auto device = open();
        CapturedOutput captured;
        device->TxData(hex("00000001"));
        device->Disconnect();
        device->Disconnect();
        device->TxData(hex("00000002"));
        QCOMPARE(captured.standardOutput(), QByteArray("ERROR: WriteFile failed:6\n"));
        QCOMPARE(play->written(), Chunks{hex("00000001")});
        QCOMPARE(play->calls("close_handle"), QStringLiteral("close_handle 7"));
    }
};

QTEST_GUILESS_MAIN(TestUartDev)
#include "tst_uartdev.moc"
