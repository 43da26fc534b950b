#include "simulator/faults/misbehaviour.h"

#include "simulator/wire/frames.h"

#include <chrono>
#include <utility>

namespace simulator {
namespace {

using namespace std::chrono_literals;

constexpr auto maxJoinWait = 50ms;
constexpr auto piecePause = 1ms;
constexpr int maxPieces = 10'000;       // that wait to be written, one each piecePause
constexpr uint8 resynchronising = 0x78; // a byte with any of these bits starts no frame

bool isResponse(const QByteArray &frame)
{
    return (uint8(frame[0]) & 0x80) == 0;
}

} // namespace

Misbehaviour::Misbehaviour(quint32 seed, FaultSettings chosen, QObject *parent)
    : QObject(parent)
    , random(seed)
    , faults(std::move(chosen))
{
    joinTimer.setSingleShot(true);
    joinTimer.setInterval(maxJoinWait);
    connect(&joinTimer, &QTimer::timeout, this, &Misbehaviour::releaseJoined);
    pieceTimer.setSingleShot(true);
    pieceTimer.setTimerType(Qt::PreciseTimer);
    pieceTimer.setInterval(piecePause);
    connect(&pieceTimer, &QTimer::timeout, this, &Misbehaviour::writeNextPiece);
}

// std::uniform_int_distribution is not reproducible across implementations.
unsigned Misbehaviour::below(unsigned bound)
{
    return unsigned(random()) % bound;
}

std::optional<uint16> Misbehaviour::draw(const QHash<int, ChosenResult> &from, int key)
{
    const auto chosen = from.constFind(key);
    if (chosen == from.constEnd() || (chosen->percent < 100 && int(below(100)) >= chosen->percent))
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
    const auto lost = faults.lostFrames.find(frameIndex(frame, false));
    if (lost == faults.lostFrames.end() || *lost == 0)
        return lost != faults.lostFrames.end();
    const bool isLast = --*lost == 0;
    if (isLast)
        faults.lostFrames.erase(lost);
    return isLast;
}

bool Misbehaviour::isLost(const QByteArray &frame)
{
    if (isResponse(frame)) {
        ++responses;
        if (faults.loseNext > 0) {
            --faults.loseNext;
            return true;
        }
        if (faults.loseEvery > 0 && responses % faults.loseEvery == 0)
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
    if (faults.lateMs == 0 || !isResponse(frame)) {
        pass(frame);
        return;
    }
    Q_EMIT note(QStringLiteral("late: %1").arg(describeFrame(frame, false)));
    QTimer::singleShot(faults.lateMs, Qt::PreciseTimer, this, [this, frame, host = generation] {
        if (host == generation)
            pass(frame);
    });
}

void Misbehaviour::pass(const QByteArray &frame)
{
    collect(frame);
    ++frames;
    if (faults.unaskedEvery > 0 && frames % faults.unaskedEvery == 0)
        passExtra("unasked", unaskedFrame());
    if (faults.unknownEvery > 0 && frames % faults.unknownEvery == 0)
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
    constexpr unsigned maxPayload = 16;
    const QByteArray payload(int(below(maxPayload + 1)), '\x5a');
    const char direction = below(2) == 0 ? '\0' : '\x80';
    const char classId = char(class_count + int(below(256 - class_count)));
    const char messageId = char(below(256));
    return QByteArray().append(direction).append(char(payload.size())).append(classId).append(messageId) +
           payload;
}

QByteArray Misbehaviour::junk()
{
    QByteArray bytes = faults.junkBytes;
    for (int i = 0; i < faults.junkCount; ++i)
        bytes.append(char(below(256) | (1u << (3 + below(4)) & resynchronising)));
    return bytes;
}

void Misbehaviour::collect(const QByteArray &frame)
{
    if (ending)
        return;
    ending = faults.framesUntilUnplug > 0 && --faults.framesUntilUnplug == 0;
    const QByteArray noise = std::exchange(wroteBefore, true) ? junk() : QByteArray();
    if (!noise.isEmpty())
        Q_EMIT note(QStringLiteral("junk: %1 bytes").arg(noise.size()));
    joined.bytes += noise + frame;
    joined.frames.append(frame);
    if (ending || joined.frames.size() >= faults.joinCount)
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
    if (pieces.size() >= maxPieces) {
        Q_EMIT note(QStringLiteral("too many pieces wait: %1 bytes lost").arg(batch.bytes.size()));
        return;
    }
    const int size = batch.bytes.size();
    const int step = faults.splitSize == 0 ? size : faults.splitSize;
    if (batch.frames.size() > 1)
        Q_EMIT note(QStringLiteral("joined: %1 frames").arg(batch.frames.size()));
    if (step < size)
        Q_EMIT note(QStringLiteral("split: %1 bytes").arg(size));
    for (int offset = 0; offset < size; offset += step) {
        const bool isLast = offset + step >= size;
        pieces.append({batch.bytes.mid(offset, step), isLast ? batch.frames : QByteArrayList()});
    }
    if (!pieceTimer.isActive())
        writeNextPiece();
}

void Misbehaviour::writeNextPiece()
{
    if (pieces.isEmpty())
        return;
    const Batch piece = pieces.takeFirst();
    Q_EMIT writeReady(piece.bytes, piece.frames);
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
