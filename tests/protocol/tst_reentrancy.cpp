// Receivers that call back into the engine while it is at work.

#include "tests/protocol/engine_log.h"

#include <QEventLoop>
#include <QTest>
#include <QTimer>

#include <memory>

namespace {

const QByteArray hello_response = hex("00000001");
const QByteArray info_response = hex("000c00080100 0200 0300 0400 0500 06 07");

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

} // namespace

class tst_Reentrancy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void commandFromResponse();
    void bytesFromAnySignal_data();
    void bytesFromAnySignal();
    void restOfOwnFrameLater();
    void junkFromReceiver();
    void eventLoopInReceiver();
    void feedingForLong();
    void bigFrameMovesBuffer();
    void resetFromReceiver();

private:
    std::unique_ptr<cls_ble> engine;
    std::unique_ptr<EngineLog> log;
};

void tst_Reentrancy::init()
{
    engine = std::make_unique<cls_ble>();
    log = std::make_unique<EngineLog>(*engine);
}

void tst_Reentrancy::cleanup()
{
    log.reset();
    engine.reset();
}

// The command's line and frame stand above the line of the response that caused it.
void tst_Reentrancy::commandFromResponse()
{
    connect(&engine->system, &cls_ble_system::rsp_hello, engine.get(),
            [this] { engine->system.cmd_get_info(); });
    engine->rx_data(hello_response);
    QCOMPARE(log->story(), words("hello line sent line data"));
    QCOMPARE(log->lines(), words("ble_cmd_system_get_info\t ble_rsp_system_hello\t"));
}

void tst_Reentrancy::bytesFromAnySignal_data()
{
    QTest::addColumn<int>("what");
    QTest::newRow("response signal") << int(EngineLog::message);
    QTest::newRow("log line") << int(EngineLog::line);
    QTest::newRow("frame") << int(EngineLog::data);
    QTest::newRow("queued frame goes out") << int(EngineLog::sent);
}

// A nested call only adds its bytes: the frame in hand is finished first, then those behind it in the same
// chunk, then the added ones.
void tst_Reentrancy::bytesFromAnySignal()
{
    QFETCH(int, what);
    engine->set_flow_control(true);
    engine->system.cmd_hello();
    engine->system.cmd_hello();
    log->entries.clear();
    int depth = 0;
    bool fed = false;
    log->on_entry = [&](const EngineLog::Entry &entry) {
        QCOMPARE(depth, 0);
        if (fed || entry.what != what)
            return;
        fed = true;
        ++depth;
        const int before = log->entries.size();
        engine->rx_data(info_response.left(5));
        engine->rx_data(info_response.mid(5));
        QCOMPARE(log->entries.size(), before);
        --depth;
    };
    engine->rx_data(hello_response + hex("80000005"));
    QVERIFY(fed);
    QCOMPARE(log->story(), words("hello line data sent no_license_key line data get_info line data"));
}

// The handler's own frame stays whole though the buffer grows and moves beneath it.
void tst_Reentrancy::bigFrameMovesBuffer()
{
    const QByteArray frame = hex("00080007000001 00030a0b0c");
    connect(&engine->system, &cls_ble_system::rsp_read_memory, engine.get(),
            [this] { engine->rx_data(QByteArray(1000000, '\xff')); });
    engine->rx_data(frame);
    engine->rx_data(frame);
    QCOMPARE(log->frames(EngineLog::data), (QVector<QByteArray>{frame, frame}));
    QCOMPARE(
        log->lines(),
        QStringList(
            {QStringLiteral("ble_rsp_system_read_memory\t  address:   65536 (0x00010000)  data:0a0b0c"),
             QStringLiteral("ble_rsp_system_read_memory\t  address:   65536 (0x00010000)  data:0a0b0c")}));
}

void tst_Reentrancy::restOfOwnFrameLater()
{
    bool fed = false;
    connect(&engine->system, &cls_ble_system::rsp_hello, engine.get(), [&] {
        if (!fed)
            engine->rx_data(info_response.mid(6));
        fed = true;
    });
    engine->rx_data(hello_response + info_response.left(6));
    QCOMPARE(log->frames(EngineLog::data), (QVector<QByteArray>{hello_response, info_response}));
}

void tst_Reentrancy::junkFromReceiver()
{
    connect(&engine->system, &cls_ble_system::rsp_hello, engine.get(),
            [this] { engine->rx_data(hex("ffffff")); });
    engine->rx_data(hello_response + hello_response);
    engine->rx_data(hello_response);
    QCOMPARE(log->frames(EngineLog::data), QVector<QByteArray>(3, hello_response));
}

// A receiver that shows a dialog: the loop delivers bytes that wait for it to end, and nothing comes twice.
void tst_Reentrancy::eventLoopInReceiver()
{
    int entered = 0;
    connect(&engine->system, &cls_ble_system::rsp_hello, engine.get(), [&] {
        if (++entered > 1)
            return;
        QEventLoop loop;
        QTimer::singleShot(0, engine.get(), [&] {
            engine->rx_data(info_response);
            engine->system.cmd_get_counters();
            loop.quit();
        });
        loop.exec();
        QCOMPARE(log->story(), words("hello line sent"));
    });
    engine->rx_data(hello_response + hello_response);
    QCOMPARE(entered, 2);
    QCOMPARE(log->story(), words("hello line sent line data hello line data get_info line data"));
}

// Each response feeds the next one. Without recursion this takes neither stack nor quadratic time.
void tst_Reentrancy::feedingForLong()
{
    const int rounds = 200000;
    int left = rounds;
    int frames = 0;
    log.reset();
    connect(&engine->system, &cls_ble_system::rsp_hello, engine.get(), [&] {
        if (--left > 0)
            engine->rx_data(hello_response);
    });
    connect(engine.get(), &cls_ble::parsed_message_data, engine.get(),
            [&](const QByteArray &data) { frames += data == hello_response; });
    engine->rx_data(hello_response);
    QCOMPARE(frames, rounds);
}

void tst_Reentrancy::resetFromReceiver()
{
    engine->set_flow_control(true);
    engine->system.cmd_hello();
    engine->system.cmd_hello();
    connect(&engine->system, &cls_ble_system::rsp_hello, engine.get(), [this] { engine->reset_queue(); });
    log->entries.clear();
    engine->rx_data(hello_response);
    QCOMPARE(log->story(), words("hello line data")); // 1 received, none sent, nothing queued
    engine->system.cmd_hello();
    QVERIFY(log->frames(EngineLog::sent).isEmpty());
}

QTEST_GUILESS_MAIN(tst_Reentrancy)
#include "tst_reentrancy.moc"
