// How the byte stream is cut into frames.

#include "tests/protocol/engine_log.h"

#include <QTest>

using namespace catalogue;

// Bytes wait in a private member, and how many do is part of the rule: an explicit instantiation may name it.
QByteArray &waiting_bytes(cls_ble &engine);

template <auto Member>
struct Opener
{
    friend QByteArray &waiting_bytes(cls_ble &engine) { return engine.*Member; }
};
template struct Opener<&cls_ble::rx_buffer>;

class tst_Engine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void chunks_data();
    void chunks();
    void everySplit();
    void everyFirstByte();
    void unknownMessages_data();
    void unknownMessages();
    void longJunk();
    void enginesAreApart();
    void leftoverSurvivesReset();
    void borrowedBytes();
};

void tst_Engine::chunks_data()
{
    QTest::addColumn<QByteArrayList>("chunks");
    QTest::addColumn<QByteArrayList>("frames"); // all that come out, in order
    QTest::addColumn<QByteArray>("waiting");    // what stays in the engine
    const auto row = [](const char *title, std::initializer_list<const char *> chunks,
                        std::initializer_list<const char *> frames, const char *waiting = "") {
        QByteArrayList in;
        QByteArrayList out;
        for (const char *chunk : chunks)
            in.append(hex(chunk));
        for (const char *frame : frames)
            out.append(hex(frame));
        QTest::newRow(title) << in << out << hex(waiting);
    };
    row("nothing", {""}, {});
    row("one frame", {"00000001"}, {"00000001"});
    row("byte by byte", {"00", "03", "00", "04", "00", "40", "ff"}, {"000300040040ff"});
    row("half a frame waits", {"00030004", "0040"}, {}, "000300040040");
    row("half a header waits", {"000000"}, {}, "000000");
    row("two frames in one", {"0000000180000005"}, {"00000001", "80000005"});
    row("junk, two frames, half a frame", {"ff55aa000300040040ff800000050003", "0004"},
        {"000300040040ff", "80000005"}, "00030004");
    row("and its other half", {"ff55aa000300040040ff800000050003", "0004", "112233"},
        {"000300040040ff", "80000005", "00030004112233"});
    // Junk is looked at only while four bytes are there, so the last three wait for what comes next.
    row("three bad bytes wait", {"ffffff"}, {}, "ffffff");
    row("fourth byte drops the first alone", {"ffffff", "00"}, {}, "ffff00");
    row("fourth bad byte drops the first alone", {"ffffffff"}, {}, "ffffff");
    row("last three of a run wait", {"ff7f08787fff38"}, {}, "7fff38");
    row("one bad byte in front of half a frame", {"ff0003000400"}, {}, "0003000400");
    row("a good frame pushes bad bytes out", {"ffffff", "00000001"}, {"00000001"});
    row("three bad bytes and half a header", {"ffffff00", "0000", "01"}, {"00000001"});
    row("junk between frames", {"000000010899102040487878", "78800000050000"}, {"00000001", "80000005"},
        "0000");
    // Only the first byte is tested: a bad one inside a frame is payload.
    row("bad bytes as payload", {"0003000408ff78"}, {"0003000408ff78"});
    row("length byte in front, as of packet mode", {"0800000001"}, {"00000001"});
    // ... and a small one is taken for a header.
    row("length byte that could be a header", {"0400000001"}, {}, "0400000001");
}

void tst_Engine::chunks()
{
    QFETCH(QByteArrayList, chunks);
    QFETCH(QByteArrayList, frames);
    QFETCH(QByteArray, waiting);
    cls_ble engine;
    EngineLog log(engine);
    for (const QByteArray &chunk : chunks)
        engine.rx_data(chunk);
    QCOMPARE(log.frames(EngineLog::data).toList(), QList<QByteArray>(frames));
    QCOMPARE(waiting_bytes(engine).toHex(), waiting.toHex());
}

// The stream gives the same whatever its chunks: cut once at every place, cut into equal pieces of every
// size.
void tst_Engine::everySplit()
{
    const QByteArray stream = hex("ffff88000300040040ff80000005550000ff01"
                                  "81050001ff") +
                              QByteArray(0x104, 'd') + hex("00020602810100000899100040404040");
    const QStringList lines = {
        QStringLiteral("ble_rsp_system_reg_read\t  address:   16384 (0x4000)  value:     255 (0xff)"),
        QStringLiteral("ble_evt_system_no_license_key\t"),
        QStringLiteral("ble_evt_system_debug\t  data:") + QStringLiteral("64").repeated(255),
        QStringLiteral("ble_rsp_gap_discover\t  result:0x0181 [<font color=red>'Device is in wrong state to "
                       "receive command'</font>]")};
    const QVector<QByteArray> frames = {hex("000300040040ff"), hex("80000005"),
                                        hex("0000ff01"),       hex("81050001ff") + QByteArray(0x104, 'd'),
                                        hex("000206028101"),   hex("00000899")};
    for (int cut = 0; cut <= stream.size(); ++cut) {
        cls_ble engine;
        EngineLog log(engine);
        engine.rx_data(stream.left(cut));
        engine.rx_data(stream.mid(cut));
        QCOMPARE(log.lines(), lines);
        QCOMPARE(log.frames(EngineLog::data), frames);
    }
    for (int size = 1; size <= 40; ++size) {
        cls_ble engine;
        EngineLog log(engine);
        for (int at = 0; at < stream.size(); at += size)
            engine.rx_data(stream.mid(at, size));
        QCOMPARE(log.lines(), lines);
        QCOMPARE(log.frames(EngineLog::data), frames);
    }
}

// All 256 first bytes: 0x00 to 0x07 and 0x80 to 0x87 start a frame of the length in their low bits, all
// others are dropped.
void tst_Engine::everyFirstByte()
{
    for (int first = 0; first < 256; ++first) {
        cls_ble engine;
        EngineLog log(engine);
        const QByteArray head = QByteArray(1, static_cast<char>(first)) + hex("00c8c9");
        const bool valid = first < 8 || (first >= 0x80 && first < 0x88);
        QByteArray frame = head + QByteArray((first & 7) * 256, 'p');
        if (valid) {
            engine.rx_data(frame.chopped(1));
            QVERIFY(log.entries.isEmpty());
            engine.rx_data(frame.right(1));
            QCOMPARE(log.frames(EngineLog::data), QVector<QByteArray>{frame});
        } else {
            // Without the bad byte the next frame's header begins at once.
            engine.rx_data(QByteArray(1, static_cast<char>(first)) + hex("80000005"));
            QCOMPARE(log.frames(EngineLog::data), QVector<QByteArray>{hex("80000005")});
        }
    }
}

void tst_Engine::unknownMessages_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("one past system's responses") << hex("00010015aa");
    QTest::newRow("one past system's events") << hex("80010008aa");
    QTest::newRow("one past test's responses") << hex("00000807");
    QTest::newRow("event of class 8") << hex("80000800");
    QTest::newRow("class 10") << hex("00020a000000");
    QTest::newRow("class 255, id 255") << hex("8002ffff0000");
    // A stray 0x07 0xff claims the longest frame there is, and all that comes next with it.
    QTest::newRow("longest frame, swallowing others")
        << hex("07ff") + hex("800000050000000100000001").repeated(171).left(2049);
}

void tst_Engine::unknownMessages()
{
    QFETCH(QByteArray, frame);
    cls_ble engine;
    EngineLog log(engine);
    engine.rx_data(frame.chopped(1));
    QVERIFY(log.entries.isEmpty());
    engine.rx_data(frame.right(1));
    QCOMPARE(log.story(), QStringList{QStringLiteral("data")});
    QCOMPARE(log.frames(EngineLog::data), QVector<QByteArray>{frame});
    engine.rx_data(hex("00000001"));
    QCOMPARE(log.story().mid(1),
             (QStringList{QStringLiteral("hello"), QStringLiteral("line"), QStringLiteral("data")}));
}

void tst_Engine::longJunk()
{
    cls_ble engine;
    EngineLog log(engine);
    for (int i = 0; i < 3; ++i) {
        engine.rx_data(QByteArray(1000000, '\xff'));
        engine.rx_data(hex("00000001"));
    }
    QCOMPARE(log.frames(EngineLog::data), QVector<QByteArray>(3, hex("00000001")));
}

void tst_Engine::enginesAreApart()
{
    cls_ble one;
    cls_ble other;
    EngineLog one_log(one);
    EngineLog other_log(other);
    one.rx_data(hex("0000"));
    other.rx_data(hex("80000005"));
    one.rx_data(hex("0001"));
    QCOMPARE(one_log.frames(EngineLog::data), QVector<QByteArray>{hex("00000001")});
    QCOMPARE(other_log.frames(EngineLog::data), QVector<QByteArray>{hex("80000005")});
}

void tst_Engine::leftoverSurvivesReset()
{
    cls_ble engine;
    EngineLog log(engine);
    engine.rx_data(hex("0003000400"));
    engine.set_flow_control(true);
    engine.reset_queue();
    engine.rx_data(hex("40ff"));
    QCOMPARE(log.frames(EngineLog::data), QVector<QByteArray>{hex("000300040040ff")});
}

// A caller may hand in memory of its own that is gone once the call returns.
void tst_Engine::borrowedBytes()
{
    cls_ble engine;
    EngineLog log(engine);
    char memory[] = {0, 3, 0, 4, 0};
    engine.rx_data(QByteArray::fromRawData(memory, 5));
    std::fill(std::begin(memory), std::end(memory), '\x7f');
    engine.rx_data(hex("40ff"));
    QCOMPARE(log.frames(EngineLog::data), QVector<QByteArray>{hex("000300040040ff")});
}

QTEST_GUILESS_MAIN(tst_Engine)
#include "tst_engine.moc"
