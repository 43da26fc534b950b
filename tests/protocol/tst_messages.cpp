// Every message: from a slot call to its frame, and from a frame to its signal; log lines both ways.

#include "protocol/serializer.h"
#include "tests/protocol/engine_log.h"

#include <QTest>

#include <cstring>
#include <memory>
#include <tuple>

using namespace catalogue;

namespace {

// What a writer was handed, both pieces as hex digits.
void writeDown(void *context, uint8 header_len, const char *header, uint16 array_len, const char *array)
{
    *static_cast<QByteArray *>(context) =
        QByteArray(header, header_len).toHex() + '|' + QByteArray(array, array_len).toHex();
}

class SendCatcher : public cls_ble
{
public:
    void send_message(uint8 header_len, const char *header, uint16 array_len, const char *array) override
    {
        writeDown(&written, header_len, header, array_len, array);
    }
    QByteArray written;
};

} // namespace

class TestMessages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sent()
    {
        for (const QStringList &row : rows("sent.txt", 4)) {
            Values values;
            for (const QString &word : row.at(1).split(u' ', Qt::SkipEmptyParts))
                values += hex(word.toLatin1());
            Rig rig;
            callCommand(rig.engine, message(row.at(0).toLatin1()), values);
            QCOMPARE(rig.log.entries,
                     (QStringList{QLatin1String("line ") + row.at(3), QLatin1String("sent ") + row.at(2)}));
        }
    }

    void received()
    {
        for (const QStringList &row : rows("received.txt", 3)) {
            Rig rig;
            rig.engine.rx_data(hex(row.at(1).toLatin1()));
            QCOMPARE(rig.log.all("line"), QStringList(row.at(2)));
            QCOMPARE(rig.log.all("data"), QStringList(row.at(1)));
        }
    }

    void everyMessage_data()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < 269; ++i)
            QTest::newRow(messages().at(i).title().constData()) << i;
    }

    // A command's line stands above its frame; a received message's receivers run before its line is shown.
    void everyMessage()
    {
        QFETCH(int, index);
        const Message &m = messages().at(index);
        Rig rig;
        QVector<QByteArray> payloads;
        for (int seed = 0; seed < 4; ++seed) {
            const Values values = sample(m, seed);
            payloads += payload(m, values);
            if (m.kind != Kind::command)
                continue;
            callCommand(rig.engine, m, values);
            QCOMPARE(rig.log.entries,
                     (QStringList{QLatin1String("line ") + logLine(m, values),
                                  QString::fromLatin1("sent " + frame(m, payloads.last()).toHex())}));
            rig.log.entries.clear();
        }
        if (m.kind == Kind::command)
            return;
        // Shorter and longer ones, too. The next frame's bytes must not be taken for fields that one lacks.
        const QByteArray whole = payloads.at(2);
        for (int size = 0; size < whole.size(); ++size)
            payloads += whole.left(size);
        payloads << whole + char(0x5a) << whole.leftJustified(2047, char(0x5a));
        const QByteArray next = hex("0040ff");
        const Message &regRead = message("system rsp_reg_read");
        for (const QByteArray &payload : qAsConst(payloads)) {
            rig.engine.rx_data(frame(m, payload) + frame(regRead, next));
            QCOMPARE(rig.log.entries, catalogue::received(m, payload) + catalogue::received(regRead, next));
            rig.log.entries.clear();

            // The handler alone, on memory of its own, for a sanitizer to see the first byte read beyond it.
            const std::unique_ptr<char[]> memory(new char[std::size_t(payload.size())]);
            std::memcpy(memory.get(), payload.constData(), std::size_t(payload.size()));
            record_at(index)->handler(&rig.engine, {memory.get(), payload.size()});
            QCOMPARE(rig.log.entries, catalogue::received(m, payload).mid(0, 2));
            rig.log.entries.clear();
        }
    }

    void longArrays()
    {
        // The size of the array; header, fixed fields and the array's length byte.
        const std::tuple<int, const char *> rows[] = {
            {255, "01030200341201ff"},       {256, "0104020034120100"},
            {300, "013002003412012c"},       {2043, "07ff0200341201fb"}, // the largest frame
            {2044, "08000200341201fc"},                                  // spoils the first byte
            {65535 - 4, "ffff0200341201fb"},                             // and all its bits
            {65536 + 3, "0007020034120103"}}; // the sender gets the length's low 16 bits
        for (const auto &[size, start] : rows) {
            Rig rig;
            rig.engine.attributes.cmd_write(0x1234, 1, QByteArray(size, 'v'));
            QVERIFY2(rig.log.all("sent") ==
                         QStringList(QLatin1String(start) + QStringLiteral("76").repeated(size & 0xffff)),
                     start);
            QCOMPARE(rig.log.all("line").constFirst().count(QStringLiteral("|76")), size);
        }
    }

    void piecesReachSendMessage()
    {
        SendCatcher catcher;
        catcher.system.cmd_endpoint_tx(5, QByteArray("\xaa\xbb"));
        QCOMPARE(catcher.written, QByteArray("000400090502|aabb"));

        // Pieces of the largest sizes are joined in full.
        Rig rig;
        rig.engine.send_message(255, QByteArray(255, 'f').constData(), 65535,
                                QByteArray(65535, 'a').constData());
        rig.engine.send_message(0, nullptr, 0, nullptr);
        QVERIFY(rig.log.all("sent") ==
                QStringList({QStringLiteral("66").repeated(255) + QStringLiteral("61").repeated(65535), {}}));
    }

    void recordsOfAnyType()
    {
        for (const QStringList &row : rows("records.txt", 5)) {
            message_record record{{}, row.at(2).toUInt(nullptr, 16), nullptr};
            const QByteArray header = hex(row.at(1).toLatin1());
            std::copy(header.begin(), header.end(), record.header);
            QVector<command_word> words;
            for (const QString &word : row.at(3).split(u' ', Qt::SkipEmptyParts))
                words += word == QLatin1String("p") ? reinterpret_cast<command_word>("aaaa")
                                                    : static_cast<command_word>(word.toInt(nullptr, 0));
            QByteArray written;
            serialize_record(&writeDown, &written, record, words.constData(), std::size_t(words.size()));
            QCOMPARE(QString::fromLatin1(written), row.at(4));
        }
    }
};

QTEST_GUILESS_MAIN(TestMessages)
#include "tst_messages.moc"
