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

// Writes down all that the engine emits. Connected by index, as there are too many signals for a slot each.
class Recorder : public QObject
{
public:
    explicit Recorder(cls_ble &engine)
    {
        connect(&engine, &cls_ble::parsed_message_str, this, &Recorder::takeLine);
        connect(&engine, &cls_ble::parsed_message_data, this, [this](const QByteArray &frame) {
            transcript += "data" + frame;
            frames.push_back(frame);
            fed();
        });
        connect(&engine, &cls_ble::tx_data, this, [this](const QByteArray &f) { transcript += "sent" + f; });
        for (const QObject *sender : std::initializer_list<const QObject *>{
                 &engine.system, &engine.flash, &engine.attributes, &engine.connection, &engine.attclient,
                 &engine.sm, &engine.gap, &engine.hardware, &engine.test, &engine.dfu})
            listenTo(sender);
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
        fed();
        return -1;
    }

    void clear()
    {
        transcript = QByteArray();
        frames = {};
        chunks = {};
        lineCount = signalCount = 0;
    }

    QByteArray transcript;
    std::vector<QByteArray> frames;
    int lineCount = 0;
    int signalCount = 0;
    cls_ble *fedEngine = nullptr;   // gets the next chunk from within each signal
    std::vector<QByteArray> chunks; // the next one last

private:
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

    void takeLine(const QStringList &pieces)
    {
        const QString line = pieces.join(QLatin1Char(' '));
        REQUIRE(line.startsWith(QLatin1String("ble_")));
        transcript += "line" + line.toUtf8();
        ++lineCount;
        fed();
    }

    void fed()
    {
        if (fedEngine == nullptr || chunks.empty())
            return;
        const QByteArray next = chunks.back();
        chunks.pop_back();
        fedEngine->rx_data(next);
    }

    std::vector<std::vector<int>> argumentSizes;
};

struct Rig
{
    cls_ble engine;
    Recorder recorder{engine};

    // Commands, of which all but the first wait.
    void start(int commands)
    {
        engine.set_flow_control(true);
        for (int i = 0; i < commands; ++i)
            engine.system.cmd_hello();
        engine.set_flow_control(false);
        recorder.lineCount = 0;
    }

    // What is left of the input ends as frames of zeros, so that the next one finds nothing of it.
    void end(const QByteArray &filler)
    {
        recorder.fedEngine = nullptr;
        engine.rx_data(filler);
        engine.reset_queue();
        recorder.clear();
    }
};

Rig *whole;
Rig *cut;

struct Cutting
{
    std::vector<QByteArray> frames;
    int known = 0;   // frames that have a handler
    int rest = 0;    // bytes behind the last frame
    int lacking = 0; // bytes until these can be a frame
};

// Cuts bytes into frames in the plainest way.
Cutting cutting(const QByteArray &bytes)
{
    Cutting result;
    int at = 0;
    const auto left = [&] { return bytes.size() - at; };
    while (left() >= 4) {
        const auto byte = [&](int i) { return uint32(uint8(bytes.at(at + i))); };
        if ((byte(0) & 0x78) != 0) {
            ++at;
            continue;
        }
        const int total = int((byte(0) & 7) << 8 | byte(1)) + 4;
        result.lacking = total - left();
        if (result.lacking > 0)
            break;
        result.known += cls_ble::find_response_or_event(byte(0) | byte(2) << 16 | byte(3) << 24) != nullptr;
        result.frames.push_back(bytes.mid(at, total));
        at += total;
    }
    result.rest = left();
    if (left() < 4)
        result.lacking = 4 - left();
    return result;
}

// As many zeros as it takes until nothing is left behind the last frame.
QByteArray fillerBehind(QByteArray bytes)
{
    const int size = bytes.size();
    for (Cutting result = cutting(bytes); result.rest > 0; result = cutting(bytes))
        bytes.append(result.lacking, '\0');
    return bytes.mid(size);
}

std::vector<QByteArray> chunksOf(const QByteArray &bytes, const QByteArray &lengths)
{
    std::vector<QByteArray> chunks;
    int at = 0;
    for (const char length : lengths) {
        chunks.push_back(bytes.mid(at, uint8(length)));
        at += chunks.back().size();
    }
    chunks.push_back(bytes.mid(at));
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

int LLVMFuzzerInitialize(int *, char ***)
{
    whole = new Rig;
    cut = new Rig;
    return 0;
}

// A byte of how, the count of chunk lengths, these lengths, and the bytes. The last chunk is all that is
// left.
int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Input input(data, size);
    const uint8 how = input.byte();
    const QByteArray lengths = input.counted();
    const QByteArray bytes = input.rest();
    const int commands = how & 3;
    const bool fromWithin = (how & 4) != 0;
    const bool borrowed = (how & 8) != 0;

    whole->start(commands);
    whole->engine.rx_data(bytes);

    cut->start(commands);
    auto chunks = chunksOf(bytes, lengths);
    std::reverse(chunks.begin(), chunks.end());
    cut->recorder.chunks = std::move(chunks);
    cut->recorder.fedEngine = fromWithin ? &cut->engine : nullptr;
    auto &waiting = cut->recorder.chunks;
    while (!waiting.empty()) {
        const QByteArray next = waiting.back();
        waiting.pop_back();
        if (borrowed)
            feedBorrowed(cut->engine, next);
        else
            cut->engine.rx_data(next);
    }

    const Cutting expected = cutting(bytes);
    REQUIRE(whole->recorder.frames == expected.frames);
    REQUIRE(whole->recorder.signalCount == expected.known);
    REQUIRE(whole->recorder.lineCount == expected.known);
    REQUIRE(whole->recorder.transcript == cut->recorder.transcript);

    const QByteArray filler = fillerBehind(bytes.right(expected.rest));
    whole->end(filler);
    cut->end(filler);
    return 0;
}
