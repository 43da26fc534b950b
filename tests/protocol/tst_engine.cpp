// How the byte stream is cut into frames, and the send queue: by it the two counters, which nothing else
// shows.

#include "tests/protocol/engine_log.h"

#include <QTest>

// Bytes wait in a private member, and how many do is part of the rule: an explicit instantiation may name it.
QByteArray &waiting_bytes(cls_ble &engine);

template <auto Member>
struct Opener
{
    friend QByteArray &waiting_bytes(cls_ble &engine) { return engine.*Member; }
};
template struct Opener<&cls_ble::rx_buffer>;

namespace {

void transcripts(const char *file)
{
    QTest::addColumn<QString>("transcript");
    for (const QStringList &row : catalogue::rows(file, 2))
        QTest::newRow(row.at(0).toLatin1().constData()) << row.at(1);
}

} // namespace

class tst_Engine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void chunks_data();
    void chunks();
    void everySplit();
    void everyFirstByte();
    void longestFrameSwallowsOthers();
    void longJunk();
    void enginesAreApart();
    void borrowedBytes();
    void feedingForLong();
    void flowControl_data();
    void flowControl();
    void orderOfSending();
    void queuedFramesDieWithEngine();
};

void tst_Engine::chunks_data()
{
    transcripts("chunks.txt");
}

void tst_Engine::chunks()
{
    QFETCH(QString, transcript);
    Rig rig;
    QStringList seen;
    for (const QString &step : transcript.split(u' ')) {
        if (step.startsWith(u'>') || step.startsWith(QLatin1String("left")))
            continue;
        if (step == QLatin1String("reset"))
            rig.engine.reset_queue();
        else
            rig.engine.rx_data(hex(step.toLatin1()));
        seen += step;
        for (const QString &frame : rig.log.all("data"))
            seen += u'>' + frame;
        rig.log.entries.clear();
    }
    seen += QString::fromLatin1("left:" + waiting_bytes(rig.engine).toHex());
    QCOMPARE(seen.join(u' '), transcript);
}

// The stream gives the same whatever its chunks: cut once at every place, cut into equal pieces of every
// size.
void tst_Engine::everySplit()
{
    const QByteArray stream = hex("ffff88000300040040ff80000005550000ff0181050001ff") + QByteArray(260, 'd') +
                              hex("00020602810100000899100040404040");
    const QStringList expected = {
        QStringLiteral("message system rsp_reg_read 0040 ff"),
        QStringLiteral("line ble_rsp_system_reg_read\t| address:   16384 (0x4000)| value:     255 (0xff)"),
        QStringLiteral("data 000300040040ff"),
        QStringLiteral("message system evt_no_license_key"),
        QStringLiteral("line ble_evt_system_no_license_key\t"),
        QStringLiteral("data 80000005"),
        QStringLiteral("data 0000ff01"),
        QStringLiteral("message system evt_debug ") + QStringLiteral("64").repeated(255),
        QStringLiteral("line ble_evt_system_debug\t| data:") + QStringLiteral("64").repeated(255),
        QStringLiteral("data 81050001ff") + QStringLiteral("64").repeated(260),
        QStringLiteral("message gap rsp_discover 8101"),
        QStringLiteral("line ble_rsp_gap_discover\t| result:0x0181 [<font color=red>'Device is in wrong "
                       "state to receive command'</font>]"),
        QStringLiteral("data 000206028101"),
        QStringLiteral("data 00000899")};
    for (int cut = 0; cut <= stream.size(); ++cut) {
        Rig rig;
        rig.engine.rx_data(stream.left(cut));
        rig.engine.rx_data(stream.mid(cut));
        QCOMPARE(rig.log.entries, expected);
    }
    for (int size = 1; size <= 40; ++size) {
        Rig rig;
        for (int at = 0; at < stream.size(); at += size)
            rig.engine.rx_data(stream.mid(at, size));
        QCOMPARE(rig.log.entries, expected);
    }
}

// All 256 first bytes: 0x00 to 0x07 and 0x80 to 0x87 start a frame of the length in their low bits, all
// others are dropped.
void tst_Engine::everyFirstByte()
{
    for (int first = 0; first < 256; ++first) {
        const bool valid = first < 8 || (first >= 0x80 && first < 0x88);
        const QByteArray rest = valid ? hex("00c8c9") + QByteArray((first & 7) * 256, 'p') : hex("80000005");
        const QByteArray stream = char(first) + rest;
        Rig rig;
        rig.engine.rx_data(stream.chopped(1));
        QVERIFY(rig.log.entries.isEmpty());
        rig.engine.rx_data(stream.right(1));
        QCOMPARE(rig.log.all("data"), QStringList(QString::fromLatin1((valid ? stream : rest).toHex())));
    }
}

// A stray 0x07 0xff claims the longest frame there is, and all that comes next with it.
void tst_Engine::longestFrameSwallowsOthers()
{
    const QByteArray frame = hex("07ff") + hex("800000050000000100000001").repeated(171).left(2049);
    Rig rig;
    rig.engine.rx_data(frame.chopped(1));
    QVERIFY(rig.log.entries.isEmpty());
    rig.engine.rx_data(frame.right(1) + hex("00000001"));
    QCOMPARE(rig.log.story(), QStringLiteral("data hello line data"));
    QCOMPARE(rig.log.all("data").constFirst(), QString::fromLatin1(frame.toHex()));
}

void tst_Engine::longJunk()
{
    Rig rig;
    for (int i = 0; i < 3; ++i)
        rig.engine.rx_data(QByteArray(1000000, '\xff') + hex("00000001"));
    QCOMPARE(rig.log.story(), QStringLiteral("hello line data hello line data hello line data"));
}

void tst_Engine::enginesAreApart()
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
void tst_Engine::borrowedBytes()
{
    Rig rig;
    char memory[] = {0, 3, 0, 4, 0};
    rig.engine.rx_data(QByteArray::fromRawData(memory, 5));
    std::fill(std::begin(memory), std::end(memory), '\x7f');
    rig.engine.rx_data(hex("40ff"));
    QCOMPARE(rig.log.all("data"), QStringList(QStringLiteral("000300040040ff")));
}

// A receiver that goes on feeding keeps the outer call busy; what it has done with must not pile up.
void tst_Engine::feedingForLong()
{
    constexpr int count = 200000;
    const QByteArray hello_response = QByteArray::fromHex("00000001");
    cls_ble engine;
    int frames = 0;
    int most_bytes = 0;
    connect(&engine.system, &cls_ble_system::rsp_hello, &engine, [&] {
        if (++frames < count)
            engine.rx_data(hello_response);
        most_bytes = qMax(most_bytes, waiting_bytes(engine).size());
    });
    engine.rx_data(hello_response);
    QCOMPARE(frames, count);
    QVERIFY2(most_bytes < 256 * 1024, QByteArray::number(most_bytes).constData());
}

void tst_Engine::flowControl_data()
{
    transcripts("flow_control.txt");
}

void tst_Engine::flowControl()
{
    QFETCH(QString, transcript);
    const QMap<QString, QString> frames = {{QStringLiteral("00000001"), QStringLiteral(">hello")},
                                           {QStringLiteral("00000008"), QStringLiteral(">info")},
                                           {QStringLiteral("00000005"), QStringLiteral(">counters")}};
    Rig rig;
    cls_ble &engine = rig.engine;
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
        if (actions.contains(step))
            actions.value(step)();
        else
            engine.rx_data(hex(step.toLatin1()));
        seen += step;
        for (const QString &frame : rig.log.all("sent"))
            seen += frames.value(frame);
        rig.log.entries.clear();
    }
    QCOMPARE(seen.join(u' '), transcript);
}

// A command is logged when issued, even if it waits; a waiting one goes out behind the frame that lets it.
void tst_Engine::orderOfSending()
{
    Rig rig;
    rig.engine.set_flow_control(true);
    for (int i = 0; i < 4; ++i)
        rig.engine.system.cmd_hello();
    QCOMPARE(rig.log.story(), QStringLiteral("line sent line line line"));
    rig.log.entries.clear();
    rig.engine.rx_data(hex("000000018000000500000001"));
    QCOMPARE(rig.log.story(), QStringLiteral("hello line data sent no_license_key line data "
                                             "hello line data sent"));
}

void tst_Engine::queuedFramesDieWithEngine()
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

QTEST_GUILESS_MAIN(tst_Engine)
#include "tst_engine.moc"
