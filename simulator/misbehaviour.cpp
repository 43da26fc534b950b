#include "simulator/misbehaviour.h"

#include "simulator/catalogue.h"

#include <chrono>
#include <utility>

namespace simulator {
namespace {

using namespace std::chrono_literals;

constexpr auto joinPatience = 50ms;
constexpr auto piecePause = 1ms;
constexpr int mostPieces = 10'000; // that wait for their turn, one a piecePause
constexpr int maxMs = 60'000;
constexpr int maxCount = 1'000'000;
constexpr uint8 resynchronising = 0x78; // a byte with any of these bits starts no frame

bool isResponse(const QByteArray &frame)
{
    return (uint8(frame[0]) & 0x80) == 0;
}

std::optional<QString> readNumber(const QString &text, int low, int high, int *number)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < low || value > high)
        return QStringLiteral("a number from %1 to %2 was expected").arg(low).arg(high);
    *number = value;
    return std::nullopt;
}

std::optional<QString> readCommand(const QString &name, int *command)
{
    *command = commandIndex(name);
    if (*command < 0)
        return QStringLiteral("no command is named \"%1\"").arg(name);
    return std::nullopt;
}

} // namespace

const QVector<Misbehaviour::Setting> &Misbehaviour::settings()
{
    static const QVector<Setting> table = {
        {"junk", "COUNT", "Put COUNT bytes that start no frame between two frames.",
         [](Misbehaviour &m, const QString &v) { return readNumber(v, 0, 4096, &m.junkCount); }},
        {"junk-bytes", "HEX", "Put exactly these bytes between two frames.",
         [](Misbehaviour &m, const QString &v) -> std::optional<QString> {
             const auto bytes = bytesFromHex(v);
             if (!bytes)
                 return QStringLiteral("bytes in hex were expected");
             m.junkBytes = *bytes;
             return std::nullopt;
         }},
        {"split", "SIZE", "Write at most SIZE bytes at once, 1 ms apart; 0 writes whole frames.",
         [](Misbehaviour &m, const QString &v) { return readNumber(v, 0, maxCount, &m.splitSize); }},
        {"join", "COUNT", "Write COUNT frames at once, fewer if the next one takes over 50 ms.",
         [](Misbehaviour &m, const QString &v) { return readNumber(v, 0, maxCount, &m.joinCount); }},
        {"lose", "COUNT", "Do not send the next COUNT responses.",
         [](Misbehaviour &m, const QString &v) { return readNumber(v, 0, maxCount, &m.loseNext); }},
        {"lose-every", "N", "Do not send every Nth response.",
         [](Misbehaviour &m, const QString &v) { return readNumber(v, 0, maxCount, &m.loseEvery); }},
        {"lose-command", "NAME[@N]",
         "Never send the response of this command, for instance system_hello, or do not send its Nth from "
         "here on.",
         [](Misbehaviour &m, const QString &v) {
             int command = 0;
             const auto error = readCommand(v.section(QLatin1Char('@'), 0, 0), &command);
             return error ? error : m.addLost(responseIndex(command), v);
         }},
        {"lose-event", "NAME[@N]", "Never send this event, or do not send the Nth from here on.",
         [](Misbehaviour &m, const QString &v) {
             const QString name = v.section(QLatin1Char('@'), 0, 0);
             const int event = eventIndex(name);
             return event < 0 ? QStringLiteral("no event is named \"%1\"").arg(name) : m.addLost(event, v);
         }},
        {"late", "MS", "Send responses so many milliseconds late; events may overtake them.",
         [](Misbehaviour &m, const QString &v) { return readNumber(v, 0, maxMs, &m.lateMs); }},
        {"unasked", "N", "After every N frames, send a response or an event that nothing asked for.",
         [](Misbehaviour &m, const QString &v) { return readNumber(v, 0, maxCount, &m.unaskedEvery); }},
        {"unknown", "N", "After every N frames, send a whole frame of a message that does not exist.",
         [](Misbehaviour &m, const QString &v) { return readNumber(v, 0, maxCount, &m.unknownEvery); }},
        {"result", "NAME=CODE[@PERCENT]",
         "Answer this command with this result code (0x0182 or decimal), in so many percent of the "
         "cases, and do nothing else.",
         addResult},
        {"ota-fail", "BYTE=CODE[@PERCENT]",
         "Let a write of BYTE to the control point of \"Updatable\" complete with this result code and do "
         "nothing else.",
         [](Misbehaviour &m, const QString &v) {
             bool ok = false;
             const uint byte = v.section(QLatin1Char('='), 0, 0).toUInt(&ok, 0);
             if (!ok || byte > 0xff)
                 return std::optional(QStringLiteral("a byte from 0 to 0xff was expected"));
             ChosenResult chosen{};
             const auto error = readChosen(v.section(QLatin1Char('='), 1), &chosen);
             if (!error)
                 m.otaResults[int(byte)] = chosen;
             return error;
         }},
        {"unplug", "N", "Close the port and end once N more frames have been sent; 0 does not.",
         [](Misbehaviour &m, const QString &v) {
             int count = 0;
             const auto error = readNumber(v, 0, maxCount, &count);
             if (!error)
                 m.unplugAfter = count == 0 ? 0 : m.allFrames + count;
             return error;
         }},
    };
    return table;
}

// Of "NAME@N" the number is read.
std::optional<QString> Misbehaviour::addLost(int index, const QString &value)
{
    int countdown = 0;
    if (value.contains(QLatin1Char('@'))) {
        if (const auto error = readNumber(value.section(QLatin1Char('@'), 1), 1, maxCount, &countdown))
            return error;
    }
    lostFrames[index] = countdown;
    return std::nullopt;
}

std::optional<QString> Misbehaviour::addResult(Misbehaviour &target, const QString &value)
{
    const QString name = value.section(QLatin1Char('='), 0, 0);
    const QString rest = value.section(QLatin1Char('='), 1);
    int command = 0;
    if (const auto error = readCommand(name, &command))
        return error;
    if (!hasResult(command))
        return QStringLiteral("the response of %1 has no result").arg(name);
    ChosenResult chosen{};
    const auto error = readChosen(rest, &chosen);
    if (!error)
        target.results[command] = chosen;
    return error;
}

// Leaves `chosen` alone unless the text is good.
std::optional<QString> Misbehaviour::readChosen(const QString &text, ChosenResult *chosen)
{
    bool ok = false;
    const uint code = text.section(QLatin1Char('@'), 0, 0).toUInt(&ok, 0);
    if (!ok || code > 0xffff)
        return QStringLiteral("a result code from 0 to 0xffff was expected");
    int percent = 100;
    if (text.contains(QLatin1Char('@'))) {
        if (const auto error = readNumber(text.section(QLatin1Char('@'), 1), 0, 100, &percent))
            return error;
    }
    *chosen = {uint16(code), unsigned(percent)};
    return std::nullopt;
}

Misbehaviour::Misbehaviour(quint32 seed, QObject *parent)
    : QObject(parent)
    , random(seed)
{
    joinTimer.setSingleShot(true);
    joinTimer.setInterval(joinPatience);
    connect(&joinTimer, &QTimer::timeout, this, &Misbehaviour::releaseJoined);
    pieceTimer.setSingleShot(true);
    pieceTimer.setTimerType(Qt::PreciseTimer);
    pieceTimer.setInterval(piecePause);
    connect(&pieceTimer, &QTimer::timeout, this, &Misbehaviour::writeNextPiece);
}

std::optional<QString> Misbehaviour::set(const QString &name, const QString &value)
{
    for (const Setting &setting : settings()) {
        if (name == QLatin1String(setting.name))
            return setting.apply(*this, value);
    }
    return QStringLiteral("there is no such setting");
}

// Not a distribution of the standard library: those differ between implementations.
unsigned Misbehaviour::below(unsigned bound)
{
    return unsigned(random()) % bound;
}

std::optional<uint16> Misbehaviour::chosenResult(int command)
{
    return draw(results, command);
}

std::optional<uint16> Misbehaviour::draw(const QHash<int, ChosenResult> &from, int key)
{
    const auto chosen = from.constFind(key);
    if (chosen == from.constEnd() || (chosen->percent < 100 && below(100) >= chosen->percent))
        return std::nullopt;
    return chosen->code;
}

void Misbehaviour::forget()
{
    ++generation;
    joined = {};
    joinTimer.stop();
    pieces.clear();
    pieceTimer.stop();
    wroteBefore = false;
    endOnceWritten();
}

bool Misbehaviour::isLostByName(const QByteArray &frame)
{
    const auto lost = lostFrames.find(frameIndex(frame, false));
    if (lost == lostFrames.end() || *lost == 0)
        return lost != lostFrames.end();
    const bool isLast = --*lost == 0;
    if (isLast)
        lostFrames.erase(lost);
    return isLast;
}

bool Misbehaviour::isLost(const QByteArray &frame)
{
    if (isResponse(frame)) {
        ++responses;
        if (loseNext > 0) {
            --loseNext;
            return true;
        }
        if (loseEvery > 0 && responses % loseEvery == 0)
            return true;
    }
    return isLostByName(frame);
}

void Misbehaviour::send(const QByteArray &frame)
{
    if (ending)
        return;
    if (isLost(frame)) {
        Q_EMIT note(QStringLiteral("lost: %1").arg(describeFrame(frame, false)));
        return;
    }
    if (lateMs == 0 || !isResponse(frame)) {
        pass(frame);
        return;
    }
    Q_EMIT note(QStringLiteral("late: %1").arg(describeFrame(frame, false)));
    QTimer::singleShot(lateMs, Qt::PreciseTimer, this, [this, frame, host = generation] {
        if (host == generation)
            pass(frame);
    });
}

void Misbehaviour::pass(const QByteArray &frame)
{
    collect(frame);
    ++frames;
    if (unaskedEvery > 0 && frames % unaskedEvery == 0)
        passExtra("unasked", unaskedFrame());
    if (unknownEvery > 0 && frames % unknownEvery == 0)
        passExtra("unknown", unknownFrame());
}

void Misbehaviour::passExtra(const char *kind, const QByteArray &frame)
{
    if (ending)
        return;
    Q_EMIT note(QStringLiteral("%1: %2").arg(QLatin1String(kind), spacedHex(frame)));
    collect(frame);
}

QByteArray Misbehaviour::unaskedFrame()
{
    return makeFrame(command_count + int(below(response_count + event_count)), {});
}

QByteArray Misbehaviour::unknownFrame()
{
    constexpr unsigned longest = 16;
    const QByteArray payload(int(below(longest + 1)), '\x5a');
    const char direction = below(2) == 0 ? '\0' : '\x80';
    const char classId = char(class_count + int(below(256 - class_count)));
    const char messageId = char(below(256));
    return QByteArray().append(direction).append(char(payload.size())).append(classId).append(messageId) +
           payload;
}

QByteArray Misbehaviour::junk()
{
    QByteArray bytes = junkBytes;
    for (int i = 0; i < junkCount; ++i)
        bytes.append(char(below(256) | (1u << (3 + below(4)) & resynchronising)));
    return bytes;
}

void Misbehaviour::collect(const QByteArray &frame)
{
    if (ending)
        return;
    ending = ++allFrames == unplugAfter;
    const QByteArray noise = std::exchange(wroteBefore, true) ? junk() : QByteArray();
    if (!noise.isEmpty())
        Q_EMIT note(QStringLiteral("junk: %1 bytes").arg(noise.size()));
    joined.bytes += noise;
    joined.bytes += frame;
    joined.frames.append({joined.bytes.size(), frame});
    if (ending || joined.frames.size() >= joinCount)
        releaseJoined();
    else
        joinTimer.start();
    endOnceWritten();
}

void Misbehaviour::releaseJoined()
{
    joinTimer.stop();
    write(std::exchange(joined, {}));
}

void Misbehaviour::write(const Batch &batch)
{
    if (pieces.size() >= mostPieces) {
        Q_EMIT note(
            QStringLiteral("pieces go out slower than frames come: %1 bytes lost").arg(batch.bytes.size()));
        return;
    }
    const int size = batch.bytes.size();
    const int step = splitSize == 0 ? size : splitSize;
    if (batch.frames.size() > 1)
        Q_EMIT note(QStringLiteral("joined: %1 frames").arg(batch.frames.size()));
    if (step < size)
        Q_EMIT note(QStringLiteral("split: %1 bytes").arg(size));
    auto frame = batch.frames.begin();
    for (int at = 0; at < size; at += step) {
        QByteArrayList endedHere;
        for (; frame != batch.frames.end() && frame->first - at <= step; ++frame)
            endedHere.append(frame->second);
        pieces.append({batch.bytes.mid(at, step), endedHere});
    }
    if (!pieceTimer.isActive())
        writeNextPiece();
}

void Misbehaviour::writeNextPiece()
{
    if (pieces.isEmpty())
        return;
    const auto piece = pieces.takeFirst();
    Q_EMIT writeReady(piece.first, piece.second);
    if (!pieces.isEmpty())
        pieceTimer.start();
    else
        endOnceWritten();
}

void Misbehaviour::endOnceWritten()
{
    if (ending && joined.bytes.isEmpty() && pieces.isEmpty() && !std::exchange(ended, true))
        Q_EMIT unplugged();
}

} // namespace simulator
