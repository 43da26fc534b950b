// The send queue, and by it the two counters, which nothing else shows.

#include "tests/protocol/engine_log.h"

#include <QTest>

#include <memory>

namespace {

const QByteArray hello = hex("00000001");
const QByteArray get_info = hex("00000008");
const QByteArray get_counters = hex("00000005");
const QByteArray hello_response = hex("00000001");
const QByteArray no_license_event = hex("80000005");

} // namespace

class tst_FlowControl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void offSendsAtOnce();
    void oneInFlight();
    void whatCounts_data();
    void whatCounts();
    void eventTakesUpQueue();
    void unaskedResponseLocksOut();
    void queueStaysWhenSwitchedOff();
    void switchedOnInDebt();
    void resetQueue();
    void oneFramePerConsumedFrame();
    void commandFromResponseIsSentInSamePass();
    void queuedFramesDieWithEngine();

private:
    QVector<QByteArray> sent() const { return log->frames(EngineLog::sent); }

    std::unique_ptr<cls_ble> engine;
    std::unique_ptr<EngineLog> log;
};

void tst_FlowControl::init()
{
    engine = std::make_unique<cls_ble>();
    log = std::make_unique<EngineLog>(*engine);
}

void tst_FlowControl::cleanup()
{
    log.reset();
    engine.reset();
}

void tst_FlowControl::offSendsAtOnce()
{
    engine->system.cmd_hello();
    engine->system.cmd_get_info();
    engine->rx_data(hello_response + hello_response + hello_response);
    engine->system.cmd_get_counters();
    QCOMPARE(sent(), (QVector<QByteArray>{hello, get_info, get_counters}));
}

void tst_FlowControl::oneInFlight()
{
    engine->set_flow_control(true);
    engine->system.cmd_hello();
    engine->system.cmd_get_info();
    engine->system.cmd_get_counters();
    QCOMPARE(sent(), (QVector<QByteArray>{hello}));
    QCOMPARE(log->lines().size(), 3); // logged when issued, not when sent
    engine->rx_data(no_license_event);
    QCOMPARE(sent(), (QVector<QByteArray>{hello}));
    engine->rx_data(hello_response);
    QCOMPARE(sent(), (QVector<QByteArray>{hello, get_info}));
    QCOMPARE(log->story().mid(log->entries.size() - 4),
             (QStringList{QStringLiteral("hello"), QStringLiteral("line"), QStringLiteral("data"),
                          QStringLiteral("sent")}));
    // A response is matched by count alone.
    engine->rx_data(hello_response);
    QCOMPARE(sent(), (QVector<QByteArray>{hello, get_info, get_counters}));
}

void tst_FlowControl::whatCounts_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<bool>("counts");
    QTest::newRow("response") << hex("00000001") << true;
    QTest::newRow("unknown id") << hex("00000015") << true;
    QTest::newRow("unknown class") << hex("00000a00") << true;
    QTest::newRow("long response") << hex("07ff0001") + QByteArray(2047, 'x') << true;
    QTest::newRow("event") << hex("80000005") << false;
    QTest::newRow("unknown event") << hex("80000800") << false;
    QTest::newRow("unfinished response") << hex("00010001") << false;
    QTest::newRow("junk") << hex("ffffffffffff") << false;
}

void tst_FlowControl::whatCounts()
{
    QFETCH(QByteArray, frame);
    QFETCH(bool, counts);
    engine->set_flow_control(true);
    engine->system.cmd_hello();
    engine->system.cmd_get_info();
    engine->rx_data(frame);
    QCOMPARE(sent().size(), counts ? 2 : 1);
}

// A queue left over from before finds the counters equal at the next frame of either kind.
void tst_FlowControl::eventTakesUpQueue()
{
    engine->set_flow_control(true);
    engine->system.cmd_hello();
    engine->rx_data(hello_response);
    engine->rx_data(hello_response); // unasked: 1 sent, 2 received
    engine->system.cmd_get_info();   // waits
    engine->system.cmd_get_counters();
    QCOMPARE(sent(), (QVector<QByteArray>{hello}));
    engine->rx_data(no_license_event);
    QCOMPARE(sent(), (QVector<QByteArray>{hello}));
}

void tst_FlowControl::unaskedResponseLocksOut()
{
    engine->set_flow_control(true);
    engine->rx_data(hello_response);
    engine->system.cmd_hello();
    engine->system.cmd_get_info();
    engine->rx_data(no_license_event + hello_response + no_license_event);
    QVERIFY(sent().isEmpty());

    engine->reset_queue();
    engine->system.cmd_get_counters();
    QCOMPARE(sent(), (QVector<QByteArray>{get_counters})); // what was queued is gone
    engine->rx_data(hello_response);
    engine->system.cmd_hello();
    QCOMPARE(sent(), (QVector<QByteArray>{get_counters, hello}));
}

void tst_FlowControl::queueStaysWhenSwitchedOff()
{
    engine->set_flow_control(true);
    engine->system.cmd_hello();
    engine->system.cmd_get_info();
    engine->set_flow_control(false);
    engine->system.cmd_get_counters();
    QCOMPARE(sent(), (QVector<QByteArray>{hello}));
    engine->rx_data(no_license_event);
    QCOMPARE(sent(), (QVector<QByteArray>{hello}));
    engine->rx_data(hello_response);
    QCOMPARE(sent(), (QVector<QByteArray>{hello, get_info}));
    engine->rx_data(hello_response);
    QCOMPARE(sent(), (QVector<QByteArray>{hello, get_info, get_counters}));
    engine->system.cmd_hello(); // nothing waits any more
    QCOMPARE(sent().size(), 4);
}

void tst_FlowControl::switchedOnInDebt()
{
    engine->system.cmd_hello();
    engine->system.cmd_hello();
    engine->set_flow_control(true);
    engine->system.cmd_get_info();
    engine->rx_data(hello_response);
    QCOMPARE(sent().size(), 2);
    engine->rx_data(hello_response);
    QCOMPARE(sent(), (QVector<QByteArray>{hello, hello, get_info}));
}

void tst_FlowControl::resetQueue()
{
    engine->set_flow_control(true);
    engine->system.cmd_hello();
    engine->system.cmd_get_info();
    engine->reset_queue();
    engine->system.cmd_get_counters(); // flow control is still on, but nothing is in flight
    engine->system.cmd_hello();
    QCOMPARE(sent(), (QVector<QByteArray>{hello, get_counters}));
    engine->rx_data(hello_response);
    QCOMPARE(sent(), (QVector<QByteArray>{hello, get_counters, hello}));
}

void tst_FlowControl::oneFramePerConsumedFrame()
{
    engine->set_flow_control(true);
    for (int i = 0; i < 4; ++i)
        engine->system.cmd_hello();
    engine->rx_data(hello_response + no_license_event + hello_response);
    QCOMPARE(log->story().mid(5), // four lines, the first frame
             (QStringList{QStringLiteral("hello"), QStringLiteral("line"), QStringLiteral("data"),
                          QStringLiteral("sent"), QStringLiteral("no_license_key"), QStringLiteral("line"),
                          QStringLiteral("data"), QStringLiteral("hello"), QStringLiteral("line"),
                          QStringLiteral("data"), QStringLiteral("sent")}));
}

// The response is not counted yet while its receivers run, so their command queues; the same pass sends it.
void tst_FlowControl::commandFromResponseIsSentInSamePass()
{
    engine->set_flow_control(true);
    connect(&engine->system, &cls_ble_system::rsp_hello, engine.get(),
            [this] { engine->system.cmd_get_info(); });
    engine->system.cmd_hello();
    log->entries.clear();
    engine->rx_data(hello_response);
    QCOMPARE(log->story(),
             (QStringList{QStringLiteral("hello"), QStringLiteral("line"), QStringLiteral("line"),
                          QStringLiteral("data"), QStringLiteral("sent")}));
    QCOMPARE(log->lines(), (QStringList{QStringLiteral("ble_cmd_system_get_info\t"),
                                        QStringLiteral("ble_rsp_system_hello\t")}));
}

void tst_FlowControl::queuedFramesDieWithEngine()
{
    engine->set_flow_control(true);
    engine->system.cmd_hello();
    engine->system.cmd_get_info();
    engine->rx_data(hex("0001")); // and an unfinished frame
    engine.reset();
    QCOMPARE(sent(), (QVector<QByteArray>{hello}));
}

QTEST_GUILESS_MAIN(tst_FlowControl)
#include "tst_flow_control.moc"
