#include "tests/transport/captured_output.h"
#include "tests/transport/scripted_platform.h"
#include "tests/transport/thread_sanitizer.h"
#include "transport/uartdev.h"

#include <QMetaMethod>
#include <QtTest>

#include <cstring>
#include <memory>
#include <vector>

Q_DECLARE_METATYPE(QList<scripted_step>)
Q_DECLARE_METATYPE(QList<QByteArray>)

namespace {

constexpr bool pending = true;
using steps = QList<scripted_step>;

const QStringList farewell = {QStringLiteral("UART disconnecting"), QStringLiteral("UART thread exit")};

QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

QByteArray frame_of(int length)
{
    return QByteArray(1, '\0') + QByteArray(1, static_cast<char>(length)) + QByteArray(length + 2, 'x');
}

} // namespace

// UartDev's own logic, over a platform that does what each case says.
class tst_UartDev : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void metaObjectOrder();
    void openMakesItsCallsInOrder();
    void openFails();
    void openWithoutEventsFails();
    void setBaudrate_data();
    void setBaudrate();
    void setBaudrateWithoutLineStateChangesNothing();
    void readsFrameByFrame_data();
    void readsFrameByFrame();
    void readFailureEndsTheThread_data();
    void readFailureEndsTheThread();
    void stopWhileWaiting();
    void stopBetweenReads();
    void readOfNothing();
    void write_data();
    void write();
    void writeAfterDisconnect();

private:
    // Opens a device whose frames are collected on this thread.
    std::unique_ptr<UartDev> open();

    std::unique_ptr<scripted_platform> play;
    QList<QByteArray> frames;
};

void tst_UartDev::init()
{
    play = std::make_unique<scripted_platform>();
    script = play.get();
    frames.clear();
}

void tst_UartDev::cleanup()
{
    script = nullptr;
    play.reset();
}

std::unique_ptr<UartDev> tst_UartDev::open()
{
    auto device = std::make_unique<UartDev>(QStringLiteral("\\\\.\\COM7"), nullptr);
    connect(device.get(), &CommDev::RxData, this, [this](const QByteArray &frame) { frames << frame; });
    show_end_of_thread(*device);
    if (!device->Open())
        device.reset();
    return device;
}

void tst_UartDev::metaObjectOrder()
{
    const QMetaObject &meta = CommDev::staticMetaObject;
    QList<QByteArray> own;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index)
        own << meta.method(index).methodSignature();
    QCOMPARE(own, QList<QByteArray>({"RxData(QByteArray)", "TxData(QByteArray)", "Disconnect()"}));
    QCOMPARE(meta.method(meta.methodOffset() + 1).methodType(), QMetaMethod::Slot);
    QVERIFY(qobject_cast<QThread *>(std::make_unique<UartDev>(QString(), nullptr).get()) != nullptr);
}

void tst_UartDev::openMakesItsCallsInOrder()
{
    auto device = std::make_unique<UartDev>(QStringLiteral("\\\\.\\COM\u00e9"), nullptr);
    QVERIFY(play->calls().isEmpty());
    QVERIFY(device->Open());
    QVERIFY(device->isRunning());
    device.reset();
    const QStringList calls = play->calls();
    const QStringList opening = {QStringLiteral("open_port \\\\.\\COM\u00e9"),
                                 QStringLiteral("set_queue_sizes 32768 32768"),
                                 QStringLiteral("clear_timeouts"),
                                 QStringLiteral("create_event"),
                                 QStringLiteral("create_event"),
                                 QStringLiteral("create_event")};
    QCOMPARE(QStringList(calls.mid(0, opening.size())), opening);
    // The thread closes the port, the destructor the events.
    const QStringList closing = {QStringLiteral("close_handle 7"), QStringLiteral("close_handle 101"),
                                 QStringLiteral("close_handle 102"), QStringLiteral("close_handle 103")};
    QCOMPARE(play->calls(QStringLiteral("close_handle")), closing);
}

void tst_UartDev::openFails()
{
    play->port_opens = false;
    QTest::ignoreMessage(QtDebugMsg, "ERROR: cannot open serialport: \"COM9\"");
    auto device = std::make_unique<UartDev>(QStringLiteral("COM9"), nullptr);
    QVERIFY(!device->Open());
    QVERIFY(!device->isRunning());
    QCOMPARE(play->calls(), QStringList(QStringLiteral("open_port COM9")));
    device.reset();
    QCOMPARE(play->calls(QStringLiteral("close_handle")).size(), 3);
}

void tst_UartDev::openWithoutEventsFails()
{
    play->events_available = 1;
    QTest::ignoreMessage(QtDebugMsg, "ERROR: cannot open serialport: \"COM9\"");
    UartDev device(QStringLiteral("COM9"), nullptr);
    QVERIFY(!device.Open());
    QVERIFY(!device.isRunning());
    QVERIFY(play->calls().contains(QStringLiteral("close_handle 7")));
}

void tst_UartDev::setBaudrate_data()
{
    QTest::addColumn<int>("baud");
    QTest::addColumn<quint32>("flagsBefore");
    QTest::addColumn<quint32>("flagsAfter");

    // Kept: 0x40 fDsrSensitivity, 0x80 fTXContinueOnXoff, 0x400 fErrorChar, 0x4000 fAbortOnError and above.
    QTest::newRow("from all flags off") << 256000 << 0x00000000U << 0x00002015U;
    QTest::newRow("from all flags on") << 9600 << 0xFFFFFFFFU << 0xFFFFE4D5U;
    QTest::newRow("kept flags") << 110 << 0x000044C0U << 0x000064D5U;
}

void tst_UartDev::setBaudrate()
{
    QFETCH(int, baud);
    QFETCH(quint32, flagsBefore);
    QFETCH(quint32, flagsAfter);
    constexpr std::size_t flags_at = 8;

    quint8 block[28] = {};
    block[19] = 2; // even parity
    block[20] = 2; // two stop bits
    block[21] = 0x11;
    std::memcpy(block + flags_at, &flagsBefore, sizeof flagsBefore);
    static_assert(sizeof block == sizeof play->line);
    std::memcpy(&play->line, block, sizeof block);

    const auto device = open();
    QVERIFY(device);
    device->SetBaudrate(baud);

    QCOMPARE(play->calls(QStringLiteral("get_line_state")), QStringList(QStringLiteral("get_line_state 28")));
    quint32 after = 0;
    std::memcpy(block, &play->line, sizeof block);
    std::memcpy(&after, block + flags_at, sizeof after);
    QCOMPARE(after, flagsAfter);
    QCOMPARE(play->line.length, 28U);
    QCOMPARE(play->line.baud_rate, static_cast<quint32>(baud));
    QCOMPARE(int(play->line.byte_size), 8);
    QCOMPARE(int(play->line.stop_bits), 0);
    QCOMPARE(int(play->line.parity), 2);
    QCOMPARE(int(play->line.xon_char), 0x11);
}

void tst_UartDev::setBaudrateWithoutLineStateChangesNothing()
{
    play->line_state_readable = false;
    const auto device = open();
    device->SetBaudrate(9600);
    QVERIFY(play->calls(QStringLiteral("set_line_state")).isEmpty());
}

void tst_UartDev::readsFrameByFrame_data()
{
    QTest::addColumn<QByteArray>("incoming");
    QTest::addColumn<QList<scripted_step>>("reads");
    QTest::addColumn<QList<QByteArray>>("expected");
    QTest::addColumn<QString>("counts"); // of bytes asked for, read by read

    const QByteArray long_frame = frame_of(255);
    QTest::newRow("length 0") << hex("00000001") << steps{{4}} << QList<QByteArray>{hex("00000001")} << "4 4";
    QTest::newRow("length 1") << hex("8001060cff") << steps{{4}, {1}} << QList<QByteArray>{hex("8001060cff")}
                              << "4 1 4";
    QTest::newRow("length 255") << long_frame << steps{{4}, {255}} << QList<QByteArray>{long_frame}
                                << "4 255 4";
    QTest::newRow("first byte does not count")
        << hex("ff000304") << steps{{4}} << QList<QByteArray>{hex("ff000304")} << "4 4";
    QTest::newRow("short counts") << hex("0003aabb010203") << steps{{1}, {2}, {1}, {2}, {1}}
                                  << QList<QByteArray>{hex("0003aabb010203")} << "4 3 1 3 1 4";
    QTest::newRow("short counts in the background")
        << hex("0003aabb010203") << steps{{3, pending}, {1, pending}, {1, pending}, {2}}
        << QList<QByteArray>{hex("0003aabb010203")} << "4 1 3 2 4";
    QTest::newRow("a count of nothing") << hex("0000aabb") << steps{{0}, {0, pending}, {4}}
                                        << QList<QByteArray>{hex("0000aabb")} << "4 4 4 4";
    QTest::newRow("two frames") << hex("00000001800101020a") << steps{{4}, {4, pending}, {1, pending}}
                                << QList<QByteArray>{hex("00000001"), hex("800101020a")} << "4 4 1 4";
}

void tst_UartDev::readsFrameByFrame()
{
    QFETCH(QByteArray, incoming);
    QFETCH(QList<scripted_step>, reads);
    QFETCH(QList<QByteArray>, expected);
    QFETCH(QString, counts);

    play->incoming = incoming;
    play->reads = reads;
    auto device = open();
    QVERIFY(device);
    QTRY_COMPARE(frames.size(), expected.size());
    QCOMPARE(frames, expected);
    const auto asked = [this] {
        return play->calls(QStringLiteral("start_read "))
            .replaceInStrings(QStringLiteral("start_read "), QString())
            .join(QLatin1Char(' '));
    };
    QTRY_COMPARE(asked(), counts);
}

void tst_UartDev::readFailureEndsTheThread_data()
{
    QTest::addColumn<QList<scripted_step>>("reads");
    QTest::addColumn<QByteArray>("output");

    QTest::newRow("at once") << steps{{0, !pending, 5}} << QByteArray("ERROR: ReadFile failed:5\n");
    QTest::newRow("in the background")
        << steps{{0, pending, 995}} << QByteArray("ERROR: ReadFile failed:995\n");
    QTest::newRow("in the payload") << steps{{4}, {0, !pending, 22}}
                                    << QByteArray("ERROR: ReadFile failed:22\n");
    QTest::newRow("after a part of the payload")
        << steps{{4}, {1}, {1, pending, 1167}} << QByteArray("ERROR: ReadFile failed:1167\n");
}

void tst_UartDev::readFailureEndsTheThread()
{
    QFETCH(QList<scripted_step>, reads);
    QFETCH(QByteArray, output);

    captured_output captured;
    play->incoming = hex("0003aabb010203");
    play->reads = reads;
    auto device = open();
    QVERIFY(device);
    QVERIFY(device->wait());
    QCOMPARE(captured.standard_output(), output);
    QCOMPARE(captured.debug_output(), farewell);
    QCOMPARE(play->calls(QStringLiteral("close_handle")), QStringList(QStringLiteral("close_handle 7")));

    device->Disconnect();
    device.reset();
    QCoreApplication::processEvents();
    QVERIFY(frames.isEmpty());
    QCOMPARE(play->calls(QStringLiteral("close_handle 7")).size(), 1);
}

void tst_UartDev::stopWhileWaiting()
{
    captured_output captured;
    auto device = open();
    QVERIFY(device);
    QTRY_COMPARE(play->calls(QStringLiteral("wait_for_either 102 101")).size(), 1);
    device.reset();
    QCOMPARE(captured.standard_output(), QByteArray());
    QCOMPARE(captured.debug_output(), farewell);
    const QStringList calls = play->calls();
    const QStringList end = {QStringLiteral("set_event 101"),    QStringLiteral("cancel_transfers 7 102"),
                             QStringLiteral("close_handle 7"),   QStringLiteral("close_handle 101"),
                             QStringLiteral("close_handle 102"), QStringLiteral("close_handle 103")};
    QCOMPARE(QStringList(calls.mid(calls.size() - end.size())), end);
}

void tst_UartDev::stopBetweenReads()
{
    captured_output captured;
    play->incoming = hex("0000000100000001");
    play->reads = {{4, !pending, 0, true}, {4}};
    auto device = open();
    QVERIFY(device);
    QVERIFY(device->wait());
    QCOMPARE(captured.debug_output(), farewell);
    QCOMPARE(play->calls(QStringLiteral("start_read")).size(), 1);
    QTRY_COMPARE(frames.size(), 1); // what was read before is not lost
}

void tst_UartDev::readOfNothing()
{
    UartDev device(QStringLiteral("COM7"), nullptr);
    char none = 'n';
    QCOMPARE(device.Read(0, &none), 0);
    QCOMPARE(none, 'n');
    QVERIFY(play->calls().isEmpty());
}

void tst_UartDev::write_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QList<scripted_step>>("writes");
    QTest::addColumn<QList<QByteArray>>("written");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("output");

    const QByteArray none;
    const QByteArray ten = "0123456789";
    QTest::newRow("nothing") << none << steps{} << QList<QByteArray>{} << 0 << none;
    QTest::newRow("whole") << ten << steps{} << QList<QByteArray>{ten} << 0 << none;
    QTest::newRow("whole in the background")
        << ten << steps{{10, pending}} << QList<QByteArray>{ten} << 0 << none;
    // 6 written, 4 left: the position moves by 4, not by 6.
    QTest::newRow("partial") << ten << steps{{6}, {4}} << QList<QByteArray>{"012345", "4567"} << 0 << none;
    QTest::newRow("partial in the background")
        << ten << steps{{8, pending}, {2, pending}} << QList<QByteArray>{"01234567", "23"} << 0 << none;
    QTest::newRow("twice partial") << ten << steps{{7}, {2}, {1}} << QList<QByteArray>{"0123456", "34", "4"}
                                   << 0 << none;
    QTest::newRow("partial, past the end")
        << ten << steps{{3}, {7}} << QList<QByteArray>{"012", QByteArray("789\0\0\0\0", 7)} << 0 << none;
    QTest::newRow("partial, far past the end")
        << QByteArray("abcd") << steps{{1}, {1}, {2}} << QList<QByteArray>{"a", "d", QByteArray("\0\0", 2)}
        << 0 << none;
    QTest::newRow("fails at once") << ten << steps{{0, !pending, 31}} << QList<QByteArray>{} << -1
                                   << QByteArray("ERROR: WriteFile failed:31\n");
    QTest::newRow("fails in the background") << ten << steps{{0, pending, 995}} << QList<QByteArray>{none}
                                             << -1 << QByteArray("ERROR: Writefile failed:995\n");
    QTest::newRow("fails after a part") << ten << steps{{5}, {0, !pending, 5}} << QList<QByteArray>{"01234"}
                                        << -1 << QByteArray("ERROR: WriteFile failed:5\n");
}

void tst_UartDev::write()
{
    QFETCH(QByteArray, data);
    QFETCH(QList<scripted_step>, writes);
    QFETCH(QList<QByteArray>, written);
    QFETCH(int, result);
    QFETCH(QByteArray, output);

    const auto device = open();
    QVERIFY(device);
    play->writes = writes;
    captured_output captured;
    // A block of exactly this size, for the sanitizer to watch.
    const std::vector<char> exact(data.cbegin(), data.cend());
    QCOMPARE(device->Write(static_cast<unsigned>(exact.size()), exact.data()), result);
    QCOMPARE(captured.standard_output(), output);
    QCOMPARE(play->written(), written);
    QVERIFY(device->isRunning());
}

void tst_UartDev::writeAfterDisconnect()
{
    const auto device = open();
    QVERIFY(device);
    captured_output captured;
    device->TxData(hex("00000001"));
    device->Disconnect();
    device->Disconnect();
    device->TxData(hex("00000002"));
    QCOMPARE(captured.standard_output(), QByteArray("ERROR: WriteFile failed:6\n"));
    QCOMPARE(play->written(), QList<QByteArray>{hex("00000001")});
    QCOMPARE(play->calls(QStringLiteral("close_handle")), QStringList(QStringLiteral("close_handle 7")));
}

QTEST_GUILESS_MAIN(tst_UartDev)
#include "tst_uartdev.moc"
