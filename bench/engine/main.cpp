// What the engine costs: frames a second beside the plain way to make the same lines, and the cost of a byte
// in a big chunk beside a small one. Ends with 1 if a budget is missed.

#include "bench/common/figure.h"
#include "bench/engine/plain_engine.h"

#include <QMetaMethod>

#include <ctime>

namespace {

constexpr int rounds = 11;
constexpr int arraySize = 20;
constexpr int fieldSizes[16] = {0, 0, 1, 1, 2, 2, 4, 4, 0, 0, 6};
constexpr int megabyte = 1024 * 1024;

// Stands for the windows: is told of everything and looks at the line.
class Receiver : public QObject
{
    Q_OBJECT

public:
    // Most messages have no receiver but the log, as in the program; `ofSignals` connects all of them.
    explicit Receiver(cls_ble &engine, bool ofSignals = false)
    {
        connect(&engine, &cls_ble::parsed_message_str, this, &Receiver::takeLine);
        if (!ofSignals)
            return;
        const QMetaMethod slot = staticMetaObject.method(staticMetaObject.indexOfSlot("seen()"));
        QObject *const objects[] = {&engine.system,    &engine.flash, &engine.attributes, &engine.connection,
                                    &engine.attclient, &engine.sm,    &engine.gap,        &engine.hardware,
                                    &engine.test,      &engine.dfu};
        for (QObject *object : objects) {
            const QMetaObject *meta = object->metaObject();
            for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
                if (meta->method(i).methodType() == QMetaMethod::Signal)
                    connect(object, meta->method(i), this, slot);
            }
        }
    }

    bool keepLines = false;
    QVector<QStringList> lines;
    qint64 signalsSeen = 0;
    qint64 messages = 0;
    qint64 pieces = 0;

public Q_SLOTS:
    void seen() { ++signalsSeen; }
    void takeLine(const QStringList &line)
    {
        ++messages;
        pieces += line.size();
        if (keepLines)
            lines.append(line);
    }
};

// A frame of each of the 153 messages: small and large numbers, known results, arrays of 20 bytes, as much as
// one attribute packet of the radio link carries.
QVector<QByteArray> mixedFrames()
{
    QVector<QByteArray> frames;
    for (int i = command_count; i < record_count; ++i) {
        const message_record &record = *record_at(i);
        const message_text &text = message_text_at(i);
        QByteArray payload;
        for (int f = 0; f < text.field_count; ++f) {
            const uint32 code = (record.parameter_types >> (4 * f)) & 0xf;
            if (text.fields[f].is_result)
                payload.append(i % 2 ? QByteArray("\x81\x01", 2) : QByteArray(2, '\0'));
            else if (code == code_uint8array)
                payload.append(char(arraySize))
                    .append(QByteArray("\x02\x01\x06\x10\xffModule, 20 bytes").leftJustified(arraySize));
            else
                for (int b = 0; b < fieldSizes[code]; ++b)
                    payload.append(char(37 * i + 91 * f + 50 * b));
        }
        QByteArray frame(reinterpret_cast<const char *>(record.header), 4);
        frame[1] = char(payload.size());
        frames.append(frame + payload);
    }
    return frames;
}

// Processor time, so that a busy machine troubles the figures less.
template <typename Work>
double seconds(Work work)
{
    const std::clock_t start = std::clock();
    work();
    return double(std::clock() - start) / CLOCKS_PER_SEC;
}

bool sameLines(const QVector<QByteArray> &frames)
{
    cls_ble engine;
    cls_ble outlet;
    PlainEngine plain(outlet);
    Receiver ours(engine, true);
    Receiver other(outlet, true);
    ours.keepLines = other.keepLines = true;
    for (const QByteArray &frame : frames) {
        engine.rx_data(frame);
        plain.rx_data(frame);
    }
    if (ours.lines == other.lines && ours.lines.size() == frames.size() &&
        ours.signalsSeen == frames.size() && other.signalsSeen == frames.size())
        return true;
    for (int i = 0; i < std::min(ours.lines.size(), other.lines.size()); ++i) {
        if (ours.lines.at(i) != other.lines.at(i))
            std::fprintf(stderr, "ours:  %s\nother: %s\n",
                         qPrintable(ours.lines.at(i).join(QLatin1Char('|'))),
                         qPrintable(other.lines.at(i).join(QLatin1Char('|'))));
    }
    std::fprintf(stderr, "the two ways do not make the same lines\n");
    return false;
}

bool mixed(const QVector<QByteArray> &frames)
{
    constexpr int repeats = 400;
    cls_ble engine;
    cls_ble outlet;
    PlainEngine plain(outlet);
    Receiver ours(engine);
    Receiver other(outlet);
    std::vector<double> ourRates;
    std::vector<double> otherRates;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        const double count = double(repeats) * frames.size();
        const double ourTime = seconds([&] {
            for (int i = 0; i < repeats; ++i)
                for (const QByteArray &frame : frames)
                    engine.rx_data(frame);
        });
        const double otherTime = seconds([&] {
            for (int i = 0; i < repeats; ++i)
                for (const QByteArray &frame : frames)
                    plain.rx_data(frame);
        });
        ourRates.push_back(count / ourTime);
        otherRates.push_back(count / otherTime);
        ratios.push_back(otherTime / ourTime);
    }
    return printFigure("engine_mixed_frames_per_second", median(ourRates), median(otherRates), median(ratios),
                       Budget::atLeast, 2.5);
}

double nanosecondsAByte(const QByteArray &stream, int messages, int chunkSize)
{
    cls_ble engine;
    Receiver receiver(engine);
    QVector<QByteArray> chunks;
    for (int at = 0; at < stream.size(); at += chunkSize)
        chunks.append(stream.mid(at, chunkSize));
    constexpr int repeats = 4;
    const double time = seconds([&] {
        for (int i = 0; i < repeats; ++i)
            for (const QByteArray &chunk : chunks)
                engine.rx_data(chunk);
    });
    if (receiver.messages != qint64(repeats) * messages)
        qFatal("%lld messages seen", receiver.messages);
    return 1e9 * time / (double(repeats) * stream.size());
}

bool chunks(const char *name, const QByteArray &stream, int messages)
{
    std::vector<double> big;
    std::vector<double> small;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        big.push_back(nanosecondsAByte(stream, messages, megabyte));
        small.push_back(nanosecondsAByte(stream, messages, 1024));
        ratios.push_back(big.back() / small.back());
    }
    return printFigure(name, median(big), median(small), median(ratios), Budget::atMost, 1.5);
}

} // namespace

int main()
{
    const QVector<QByteArray> frames = mixedFrames();
    if (!sameLines(frames))
        return 2;
    QByteArray stream;
    int messages = 0;
    for (; stream.size() < megabyte; ++messages)
        stream.append(frames.at(messages % frames.size()));
    stream.chop(frames.at(--messages % frames.size()).size()); // whole frames, as each round starts anew
    bool kept = mixed(frames);
    kept = chunks("engine_chunk_of_junk_ns_per_byte", QByteArray(megabyte, '\xff'), 0) && kept;
    kept = chunks("engine_chunk_of_frames_ns_per_byte", stream, messages) && kept;
    return kept ? 0 : 1;
}

#include "main.moc"
