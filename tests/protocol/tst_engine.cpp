// How the byte stream is cut into frames, and the send queue: by it the two counters, which nothing else
// shows.

#include "tests/protocol/engine_log.h"

#include <QEventLoop>
#include <QTest>
#include <QTimer>

using namespace catalogue;

// Bytes wait in a private member, and how many do is part of the rule: an explicit instantiation may name it.
QByteArray &waitingBytes(cls_ble &engine);

template <auto Member>
struct Opener
{
    friend QByteArray &waitingBytes(cls_ble &engine) { return engine.*Member; }
};
template struct Opener<&cls_ble::rx_buffer>;

namespace {

const QByteArray helloResponse = hex("00000001");
const QByteArray infoResponse = hex("000c0008010002000300040005000607");

} // namespace

class TestEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { rig = std::make_unique<Rig>(); }
    void cleanup() { rig.reset(); }

    void transcripts_data()
    {
        QTest::addColumn<QString>("transcript");
        QTest::addColumn<QByteArray>("kind"); // of what stands behind ">"
        for (const QStringList &row : rows("chunks.txt", 2))
            QTest::newRow(qPrintable(row.at(0))) << row.at(1) << QByteArray("data");
        for (const QStringList &row : rows("flow_control.txt", 2))
            QTest::newRow(qPrintable(row.at(0))) << row.at(1) << QByteArray("sent");
    }

    void transcripts()
    {
        QFETCH(QString, transcript);
        QFETCH(QByteArray, kind);
        cls_ble &engine = rig->engine;
        const QMap<QString, std::function<void()>> actions = {
            {QStringLiteral("on"), [&] { engine.set_flow_control(true); }},
            {QStringLiteral("off"), [&] { engine.set_flow_control(false); }},
            {QStringLiteral("reset"), [&] { engine.reset_queue(); }},
            {QStringLiteral("hello"), [&] { engine.system.cmd_hello(); }},
            {QStringLiteral("info"), [&] { engine.system.cmd_get_info(); }},
            {QStringLiteral("counters"), [&] { engine.system.cmd_get_counters(); }}};
        QStringList seen;
        for (const QString &step : transcript.split(u' ')) {
            if (step.startsWith(u'>'))
                continue;
            if (step.startsWith(QLatin1String("left:"))) {
                seen += QLatin1String("left:") + QString::fromLatin1(waitingBytes(engine).toHex());
                continue;
            }
            if (actions.contains(step))
                actions.value(step)();
            else
                engine.rx_data(hex(step.toLatin1()));
            seen += step;
            for (const QString &frame : rig->log.all(kind.constData()))
                seen += u'>' + frame;
            rig->log.entries.clear();
        }
        QCOMPARE(seen.join(u' '), transcript);
    }

    // The stream gives the same whatever its chunks: cut once at every place, cut into equal pieces of every
    // size.
    void everySplit()
    {
        const QByteArray stream = hex("ffff88000300040040ff80000005550000ff0181050001ff") +
                                  QByteArray(260, 'd') + hex("00020602810100000899100040404040");
        const QStringList expected = received(message("system rsp_reg_read"), hex("0040ff")) +
                                     received(message("system evt_no_license_key"), {}) +
                                     QStringList(QStringLiteral("data 0000ff01")) +
                                     received(message("system evt_debug"), '\xff' + QByteArray(260, 'd')) +
                                     received(message("gap rsp_discover"), hex("8101")) +
                                     QStringList(QStringLiteral("data 00000899"));
        for (int cut = 0; cut <= stream.size(); ++cut) {
            init();
            rig->engine.rx_data(stream.left(cut));
            rig->engine.rx_data(stream.mid(cut));
            QCOMPARE(rig->log.entries, expected);
        }
        for (int size = 1; size <= 40; ++size) {
            init();
            for (int at = 0; at < stream.size(); at += size)
                rig->engine.rx_data(stream.mid(at, size));
            QCOMPARE(rig->log.entries, expected);
        }
    }

    // All 256 first bytes: 0x00 to 0x07 and 0x80 to 0x87 start a frame of the length in their low bits, all
    // others are dropped.
    void everyFirstByte()
    {
        for (int first = 0; first < 256; ++first) {
            const bool valid = first < 8 || (first >= 0x80 && first < 0x88);
            const QByteArray rest =
                valid ? hex("00c8c9") + QByteArray((first & 7) * 256, 'p') : hex("80000005");
            const QByteArray stream = char(first) + rest;
            init();
            rig->engine.rx_data(stream.chopped(1));
            QVERIFY(rig->log.entries.isEmpty());
            rig->engine.rx_data(stream.right(1));
            QCOMPARE(rig->log.all("data"), QStringList(QString::fromLatin1((valid ? stream : rest).toHex())));
        }
    }

    void enginesAreApart()
    {
        Rig one;
        Rig other;
        one.engine.rx_data(hex("0000"));
        other.engine.rx_data(hex("80000005"));
        one.engine.rx_data(hex("0001"));
        QCOMPARE(one.log.story(), QStringLiteral("hello line data"));
        QCOMPARE(other.log.story(), QStringLiteral("no_license_key line data"));
    }

    // A caller may hand in memory of its own that is gone once the call returns.
    void borrowedBytes()
    {
        char memory[] = {0, 3, 0, 4, 0};
        rig->engine.rx_data(QByteArray::fromRawData(memory, 5));
        std::fill(std::begin(memory), std::end(memory), '\x7f');
        rig->engine.rx_data(hex("40ff"));
        QCOMPARE(rig->log.all("data"), QStringList(QStringLiteral("000300040040ff")));
    }

    void queuedFramesDieWithEngine()
    {
        auto engine = std::make_unique<cls_ble>();
        EngineLog log(*engine);
        engine->set_flow_control(true);
        engine->system.cmd_hello();
        engine->system.cmd_get_info();
        engine->rx_data(hex("0001")); // and an unfinished frame
        engine.reset();
        QCOMPARE(log.all("sent"), QStringList(QStringLiteral("00000001")));
    }

    // From here on receivers call back into the engine while it is at work.

    // A command is logged when issued, even if it waits; a waiting one goes out behind the frame that lets
    // it. Its line stands above the line of the response that caused it. With flow control it queues, as the
    // response is not counted yet, and the same pass sends it.
    void commandFromResponse()
    {
        on_hello([this] { rig->engine.system.cmd_get_info(); });
        rig->engine.rx_data(helloResponse);
        QCOMPARE(rig->log.story(), QStringLiteral("hello line sent line data"));
        QCOMPARE(rig->log.all("line").constFirst(), QStringLiteral("ble_cmd_system_get_info\t"));

        rig->engine.reset_queue();
        rig->engine.set_flow_control(true);
        rig->engine.system.cmd_hello();
        rig->log.entries.clear();
        rig->engine.rx_data(helloResponse);
        QCOMPARE(rig->log.story(), QStringLiteral("hello line line data sent"));
    }

    // A nested call only adds its bytes: the frame in hand is finished first, then those behind it in the
    // same chunk, then the added ones.
    void bytesFromAnySignal()
    {
        for (const char *kind : {"message", "line", "data", "sent"}) {
            init();
            rig->engine.set_flow_control(true);
            rig->engine.system.cmd_hello();
            rig->engine.system.cmd_hello();
            rig->log.entries.clear();
            bool fed = false;
            rig->log.onEntry = [&](const QString &entry) {
                if (fed || !entry.startsWith(QLatin1String(kind)))
                    return;
                fed = true;
                const int before = rig->log.entries.size();
                rig->engine.rx_data(infoResponse.left(5));
                rig->engine.rx_data(infoResponse.mid(5));
                QCOMPARE(rig->log.entries.size(), before);
            };
            rig->engine.rx_data(helloResponse + hex("80000005"));
            QVERIFY2(fed, kind);
            QCOMPARE(rig->log.story(),
                     QStringLiteral("hello line data sent no_license_key line data get_info line data"));
        }
    }

    // Bytes that are fed go behind those that wait already.
    void restOfOwnFrameLater()
    {
        on_hello([&] { rig->engine.rx_data(infoResponse.mid(6)); });
        rig->engine.rx_data(helloResponse + infoResponse.left(6));
        QCOMPARE(rig->log.story(), QStringLiteral("hello line data get_info line data"));
        QCOMPARE(rig->log.all("data").constLast(), QString::fromLatin1(infoResponse.toHex()));
    }

    // The handler's own frame stays whole, and long junk is passed over, though the buffer grows and moves
    // beneath it.
    void bigFrameMovesBuffer()
    {
        const QByteArray frame = hex("0008000700000100030a0b0c");
        connect(&rig->engine.system, &cls_ble_system::rsp_read_memory, &rig->engine,
                [this] { rig->engine.rx_data(QByteArray(1000000, '\xff')); });
        rig->engine.rx_data(frame);
        rig->engine.rx_data(frame);
        const QStringList once = received(message("system rsp_read_memory"), frame.mid(4));
        QCOMPARE(rig->log.entries, once + once);
    }

    // A receiver that shows a dialog: the loop delivers bytes that wait for it to end, and nothing comes
    // twice.
    void eventLoopInReceiver()
    {
        int entered = 0;
        on_hello([&] {
            if (++entered > 1)
                return;
            QEventLoop loop;
            QTimer::singleShot(0, &rig->engine, [&] {
                rig->engine.rx_data(infoResponse);
                rig->engine.system.cmd_get_counters();
                loop.quit();
            });
            loop.exec();
            QCOMPARE(rig->log.story(), QStringLiteral("hello line sent"));
        });
        rig->engine.rx_data(helloResponse + helloResponse);
        QCOMPARE(rig->log.story(),
                 QStringLiteral("hello line sent line data hello line data get_info line data"));
    }

    void resetFromReceiver()
    {
        rig->engine.set_flow_control(true);
        rig->engine.system.cmd_hello();
        rig->engine.system.cmd_hello();
        on_hello([this] { rig->engine.reset_queue(); });
        rig->log.entries.clear();
        rig->engine.rx_data(helloResponse);
        // 1 received, none sent, nothing queued.
        QCOMPARE(rig->log.story(), QStringLiteral("hello line data"));
        rig->engine.system.cmd_hello();
        QVERIFY(rig->log.all("sent").isEmpty());
    }

private:
    template <typename Receiver>
    void on_hello(Receiver receiver)
    {
        connect(&rig->engine.system, &cls_ble_system::rsp_hello, &rig->engine, receiver);
    }

    std::unique_ptr<Rig> rig;
};

QTEST_GUILESS_MAIN(TestEngine)
#include "tst_engine.moc"
