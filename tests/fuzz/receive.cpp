// Received bytes in any chunking, through the engine, all handlers and their log lines.

#include "fuzz.h"

#include "protocol/cls_ble.h"

#include <QMetaMethod>

#include <map>
#include <memory>
#include <vector>

namespace {

// In bytes; 0 for an array.
int sizeOf(const QByteArray &type)
{
    static const std::map<QByteArray, int> sizes = {{"uint8", 1},     {"int8", 1},   {"uint16", 2},
                                                    {"int16", 2},     {"uint32", 4}, {"bd_addr", 6},
                                                    {"QByteArray", 0}};
    return sizes.at(type);
}

// An engine, and all that it emits. Connected by index, as there are too many signals for a slot each.
struct Recorder : QObject
{
    Recorder()
    {
        connect(&engine, &cls_ble::parsed_message_str, this, [this](const QStringList &pieces) {
            const QString line = pieces.join(QLatin1Char(' '));
            REQUIRE(line.startsWith(QLatin1String("ble_")));
            transcript += "line" + line.toUtf8();
            ++lineCount;
            feedNext();
        });
        connect(&engine, &cls_ble::parsed_message_data, this, [this](const QByteArray &frame) {
            transcript += "data" + frame;
            frames.push_back(frame);
            feedNext();
        });
        connect(&engine, &cls_ble::tx_data, this, [this](const QByteArray &f) { transcript += "sent" + f; });
        for (const QObject *sender : std::initializer_list<const QObject *>{
                 &engine.system, &engine.flash, &engine.attributes, &engine.connection, &engine.attclient,
                 &engine.sm, &engine.gap, &engine.hardware, &engine.test, &engine.dfu})
            listenTo(sender);
    }

    void listenTo(const QObject *sender)
    {
        const QMetaObject *meta = sender->metaObject();
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            if (method.methodType() != QMetaMethod::Signal)
                continue;
            std::vector<int> sizes;
            for (const QByteArray &type : method.parameterTypes())
                sizes.push_back(sizeOf(type));
            QMetaObject::connect(sender, i, this, staticMetaObject.methodCount() + int(argumentSizes.size()));
            argumentSizes.push_back(sizes);
        }
    }

    int qt_metacall(QMetaObject::Call call, int id, void **args) override
    {
        id = QObject::qt_metacall(call, id, args);
        if (id < 0 || call != QMetaObject::InvokeMetaMethod)
            return id;
        transcript += "signal" + QByteArray::number(id);
        for (const int size : argumentSizes[std::size_t(id)]) {
            const void *argument = *++args;
            transcript += size > 0 ? QByteArray(static_cast<const char *>(argument), size)
                                   : *static_cast<const QByteArray *>(argument);
        }
        ++signalCount;
        feedNext();
        return -1;
    }

    // From within each signal, as the host may do.
    void feedNext()
    {
        if (!isFedFromWithin || chunks.empty())
            return;
        const QByteArray next = chunks.back();
        chunks.pop_back();
        engine.rx_data(next);
    }

    // Commands, of which all but the first wait.
    void start(int commands)
    {
        engine.set_flow_control(true);
        for (int i = 0; i < commands; ++i)
            engine.system.cmd_hello();
        engine.set_flow_control(false);
        lineCount = 0;
    }

    // What is left of the input ends as frames of zeros, so that the next one finds nothing of it.
    void end(const QByteArray &filler)
    {
        engine.rx_data(filler);
        engine.reset_queue();
        transcript.clear();
        frames.clear();
        lineCount = signalCount = 0;
    }

    cls_ble engine;
    std::vector<std::vector<int>> argumentSizes;
    QByteArray transcript;
    std::vector<QByteArray> frames;
    int lineCount = 0;
    int signalCount = 0;
    bool isFedFromWithin = false;
    std::vector<QByteArray> chunks; // the next one last
};

// How many bytes have to follow these until they can be a frame; 0 or less if none.
int lacking(const char *bytes, int size)
{
    return (size < 4 ? 4 : ((bytes[0] & 7) << 8 | uint8(bytes[1])) + 4) - size;
}

// Cuts bytes into frames in the plainest way, and leaves what is behind the last one; `known` counts those
// that have a handler.
std::vector<QByteArray> takeFrames(QByteArray &bytes, int &known)
{
    std::vector<QByteArray> frames;
    int at = 0;
    while (bytes.size() - at >= 4) {
        const auto byte = [&](int i) { return uint32(uint8(bytes.at(at + i))); };
        if ((byte(0) & 0x78) != 0) {
            ++at;
            continue;
        }
        if (lacking(bytes.constData() + at, bytes.size() - at) > 0)
            break;
        known += cls_ble::find_response_or_event(byte(0) | byte(2) << 16 | byte(3) << 24) != nullptr;
        frames.push_back(bytes.mid(at, int((byte(0) & 7) << 8 | byte(1)) + 4));
        at += frames.back().size();
    }
    bytes.remove(0, at);
    return frames;
}

// The last one first.
std::vector<QByteArray> chunksOf(const QByteArray &bytes, const QByteArray &lengths)
{
    std::vector<QByteArray> chunks;
    int at = 0;
    for (const char length : lengths) {
        chunks.push_back(bytes.mid(at, uint8(length)));
        at += chunks.back().size();
    }
    chunks.push_back(bytes.mid(at));
    std::reverse(chunks.begin(), chunks.end());
    return chunks;
}

// Bytes that are gone once the engine has come back.
void feedBorrowed(cls_ble &engine, const QByteArray &bytes)
{
    const std::unique_ptr<char[]> room(new char[std::size_t(bytes.size())]);
    std::copy(bytes.begin(), bytes.end(), room.get());
    engine.rx_data(QByteArray::fromRawData(room.get(), bytes.size()));
}

} // namespace

// A byte of how, the count of chunk lengths, these lengths, and the bytes. The last chunk is all that is
// left.
int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Input input(data, size);
    const uint8 how = input.byte();
    const QByteArray lengths = input.counted();
    const QByteArray bytes = input.rest();

    static Recorder whole, cut; // each takes a millisecond to make
    whole.start(how & 3);
    whole.engine.rx_data(bytes);

    cut.start(how & 3);
    cut.chunks = chunksOf(bytes, lengths);
    cut.isFedFromWithin = (how & 4) != 0;
    while (!cut.chunks.empty()) {
        const QByteArray next = cut.chunks.back();
        cut.chunks.pop_back();
        (how & 8) != 0 ? feedBorrowed(cut.engine, next) : cut.engine.rx_data(next);
    }

    QByteArray rest = bytes;
    int known = 0;
    REQUIRE(whole.frames == takeFrames(rest, known));
    REQUIRE(whole.signalCount == known && whole.lineCount == known);
    REQUIRE(whole.transcript == cut.transcript);

    QByteArray filler;
    while (!rest.isEmpty()) {
        const QByteArray zeros(lacking(rest.constData(), rest.size()), '\0');
        filler += zeros;
        rest += zeros;
        takeFrames(rest, known);
    }
    whole.end(filler);
    cut.end(filler);
    return 0;
}
