// Receivers that call back into the engine while it is at work.

#include "tests/protocol/engine_log.h"

#include <QEventLoop>
#include <QTest>
#include <QTimer>

namespace {

const QByteArray hello_response = hex("00000001");
const QByteArray info_response = hex("000c0008010002000300040005000607");

} // namespace

class tst_Reentrancy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { rig = std::make_unique<Rig>(); }
    void cleanup() { rig.reset(); }
    void commandFromResponse();
    void bytesFromAnySignal_data();
    void bytesFromAnySignal();
    void restOfOwnFrameLater();
    void bigFrameMovesBuffer();
    void eventLoopInReceiver();
    void resetFromReceiver();

private:
    template <typename Receiver>
    void on_hello(Receiver receiver)
    {
        connect(&rig->engine.system, &cls_ble_system::rsp_hello, &rig->engine, receiver);
    }

    std::unique_ptr<Rig> rig;
};

// The command's line stands above the line of the response that caused it. With flow control it queues, as
// the response is not counted yet, and the same pass sends it.
void tst_Reentrancy::commandFromResponse()
{
    on_hello([this] { rig->engine.system.cmd_get_info(); });
    rig->engine.rx_data(hello_response);
    QCOMPARE(rig->log.story(), QStringLiteral("hello line sent line data"));
    QCOMPARE(rig->log.all("line").constFirst(), QStringLiteral("ble_cmd_system_get_info\t"));

    rig->engine.reset_queue();
    rig->engine.set_flow_control(true);
    rig->engine.system.cmd_hello();
    rig->log.entries.clear();
    rig->engine.rx_data(hello_response);
    QCOMPARE(rig->log.story(), QStringLiteral("hello line line data sent"));
}

void tst_Reentrancy::bytesFromAnySignal_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"message", "line", "data", "sent"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

// A nested call only adds its bytes: the frame in hand is finished first, then those behind it in the same
// chunk, then the added ones.
void tst_Reentrancy::bytesFromAnySignal()
{
    QFETCH(QString, kind);
    rig->engine.set_flow_control(true);
    rig->engine.system.cmd_hello();
    rig->engine.system.cmd_hello();
    rig->log.entries.clear();
    bool fed = false;
    rig->log.on_entry = [&](const QString &entry) {
        if (fed || !entry.startsWith(kind))
            return;
        fed = true;
        const int before = rig->log.entries.size();
        rig->engine.rx_data(info_response.left(5));
        rig->engine.rx_data(info_response.mid(5));
        QCOMPARE(rig->log.entries.size(), before);
    };
    rig->engine.rx_data(hello_response + hex("80000005"));
    QVERIFY(fed);
    QCOMPARE(rig->log.story(),
             QStringLiteral("hello line data sent no_license_key line data get_info line data"));
}

// Bytes that are fed go behind those that wait already.
void tst_Reentrancy::restOfOwnFrameLater()
{
    on_hello([&] { rig->engine.rx_data(info_response.mid(6)); });
    rig->engine.rx_data(hello_response + info_response.left(6));
    QCOMPARE(rig->log.story(), QStringLiteral("hello line data get_info line data"));
    QCOMPARE(rig->log.all("data").constLast(), QString::fromLatin1(info_response.toHex()));
}

// The handler's own frame stays whole though the buffer grows and moves beneath it.
void tst_Reentrancy::bigFrameMovesBuffer()
{
    const QByteArray frame = hex("0008000700000100030a0b0c");
    connect(&rig->engine.system, &cls_ble_system::rsp_read_memory, &rig->engine,
            [this] { rig->engine.rx_data(QByteArray(1000000, '\xff')); });
    rig->engine.rx_data(frame);
    rig->engine.rx_data(frame);
    const QStringList once = catalogue::received(catalogue::message("system rsp_read_memory"), frame.mid(4));
    QCOMPARE(rig->log.entries, once + once);
}

// A receiver that shows a dialog: the loop delivers bytes that wait for it to end, and nothing comes twice.
void tst_Reentrancy::eventLoopInReceiver()
{
    int entered = 0;
    on_hello([&] {
        if (++entered > 1)
            return;
        QEventLoop loop;
        QTimer::singleShot(0, &rig->engine, [&] {
            rig->engine.rx_data(info_response);
            rig->engine.system.cmd_get_counters();
            loop.quit();
        });
        loop.exec();
        QCOMPARE(rig->log.story(), QStringLiteral("hello line sent"));
    });
    rig->engine.rx_data(hello_response + hello_response);
    QCOMPARE(rig->log.story(),
             QStringLiteral("hello line sent line data hello line data get_info line data"));
}

// Each response feeds the next one. Without recursion this takes neither stack nor quadratic time.
void tst_Reentrancy::resetFromReceiver()
{
    rig->engine.set_flow_control(true);
    rig->engine.system.cmd_hello();
    rig->engine.system.cmd_hello();
    on_hello([this] { rig->engine.reset_queue(); });
    rig->log.entries.clear();
    rig->engine.rx_data(hello_response);
    QCOMPARE(rig->log.story(), QStringLiteral("hello line data")); // 1 received, none sent, nothing queued
    rig->engine.system.cmd_hello();
    QVERIFY(rig->log.all("sent").isEmpty());
}

QTEST_GUILESS_MAIN(tst_Reentrancy)
#include "tst_reentrancy.moc"
