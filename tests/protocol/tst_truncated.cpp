// Frames whose length does not fit their message: nothing past the frame's own end is read.

#include "tests/protocol/engine_log.h"

#include <QTest>

#include <cstring>
#include <memory>

using namespace catalogue;

class tst_Truncated : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyLength_data();
    void everyLength();
    void handlerStaysInside_data();
    void handlerStaysInside();
    void oversized_data();
    void oversized();
    void examples_data();
    void examples();
};

static void everyReceived()
{
    QTest::addColumn<int>("index");
    for (int i = 116; i < 269; ++i)
        QTest::newRow(messages().at(i).title().constData()) << i;
}

void tst_Truncated::everyLength_data()
{
    everyReceived();
}

// Every shorter payload, with the next frame right behind it in the buffer. Its bytes must not be taken for
// fields that the first one lacks.
void tst_Truncated::everyLength()
{
    QFETCH(int, index);
    const Message &m = messages().at(index);
    const QByteArray whole = payload(m, sample(m, 2));
    const QByteArray next = hex("0003000400 40ff");
    for (int size = 0; size < whole.size(); ++size) {
        const QByteArray cut = whole.left(size);
        const QByteArray short_frame = frame_of(m, cut);
        cls_ble engine;
        EngineLog log(engine);
        engine.rx_data(short_frame + next);
        QCOMPARE(log.story(),
                 (QStringList{QString::fromLatin1(m.name), QStringLiteral("line"), QStringLiteral("data"),
                              QStringLiteral("reg_read"), QStringLiteral("line"), QStringLiteral("data")}));
        const Values values = decoded(m, cut);
        QCOMPARE(log.entries.at(0).values, values);
        QCOMPARE(log.entries.at(1).pieces, log_line(m, values));
        QCOMPARE(log.entries.at(2).bytes, short_frame);
        QCOMPARE(log.entries.at(3).values, (Values{hex("0040"), hex("ff")}));
    }
}

void tst_Truncated::handlerStaysInside_data()
{
    everyReceived();
}

// The handlers alone, on memory that ends where the payload does, so that a sanitizer sees the first byte
// read beyond it.
void tst_Truncated::handlerStaysInside()
{
    QFETCH(int, index);
    const Message &m = messages().at(index);
    const QByteArray whole = payload(m, sample(m, 2));
    for (int size = 0; size <= whole.size(); ++size) {
        const std::unique_ptr<char[]> memory(new char[std::size_t(size)]);
        std::memcpy(memory.get(), whole.constData(), std::size_t(size));
        cls_ble engine;
        EngineLog log(engine);
        record_at(index)->handler(&engine, {memory.get(), size});
        QCOMPARE(log.values(), QVector<Values>{decoded(m, whole.left(size))});
    }
}

void tst_Truncated::oversized_data()
{
    everyReceived();
}

void tst_Truncated::oversized()
{
    QFETCH(int, index);
    const Message &m = messages().at(index);
    const Values values = sample(m, 1);
    for (const int size : {payload(m, values).size() + 1, 2047}) {
        const QByteArray long_frame = frame_of(m, payload(m, values).leftJustified(size, '\x5a'));
        cls_ble engine;
        EngineLog log(engine);
        engine.rx_data(long_frame + hex("00000001"));
        QCOMPARE(log.values(), (QVector<Values>{values, Values{}}));
        QCOMPARE(log.entries.at(1).pieces, log_line(m, values));
        QCOMPARE(log.frames(EngineLog::data), (QVector<QByteArray>{long_frame, hex("00000001")}));
    }
}

void tst_Truncated::examples_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("line");
    const auto row = [](const char *title, const char *frame, const char *line) {
        QTest::newRow(title) << hex(frame) << QString::fromLatin1(line);
    };
    row("half a number is 0", "00010602ff",
        "ble_rsp_gap_discover\t  result:0x0000 [<font color=green>'No Error'</font>]");
    row("nothing at all", "00000004",
        "ble_rsp_system_reg_read\t  address:       0 (0x0000)  value:       0 (0x00)");
    // The byte left over from the 16-bit field is not the next field's.
    row("half of the first of two", "00010004ff",
        "ble_rsp_system_reg_read\t  address:       0 (0x0000)  value:       0 (0x00)");
    row("second field lacking", "000200040040",
        "ble_rsp_system_reg_read\t  address:   16384 (0x4000)  value:       0 (0x00)");
    row("half an address", "00050002ccbbaa8007", "ble_rsp_system_address_get\t  address:00:00:00:00:00:00");
    row("array announces too much", "000800070000010 0ff0a0b0c",
        "ble_rsp_system_read_memory\t  address:   65536 (0x00010000)  data:0a0b0c");
    row("array announces too little", "00080007000001 00010a0b0c",
        "ble_rsp_system_read_memory\t  address:   65536 (0x00010000)  data:0a");
    row("array announced, none there", "0001001010", "ble_rsp_system_aes_encrypt\t  data:");
    row("no length byte", "00000010", "ble_rsp_system_aes_encrypt\t  data:");
}

void tst_Truncated::examples()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, line);
    cls_ble engine;
    EngineLog log(engine);
    engine.rx_data(frame);
    QCOMPARE(log.lines(), QStringList(line));
    QCOMPARE(log.frames(EngineLog::data), QVector<QByteArray>{frame});
}

QTEST_GUILESS_MAIN(tst_Truncated)
#include "tst_truncated.moc"
