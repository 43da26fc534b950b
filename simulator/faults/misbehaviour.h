#pragma once

#include "simulator/faults/faultsettings.h"

#include <QByteArrayList>
#include <QObject>
#include <QTimer>

#include <random>

namespace simulator {

// Sits between the module and its port and does to the outgoing frames what a bad line or a bad module would.
// Without faults, every frame is one write. All random choices depend on the seed.
class Misbehaviour : public QObject
{
    Q_OBJECT

public:
    explicit Misbehaviour(quint32 seed, FaultSettings chosen = {}, QObject *parent = nullptr);

    // Applies a setting by name.
    Error set(const QString &name, const QString &value) { return setFault(faults, name, value); }

    // Takes a frame that the module sends.
    void send(const QByteArray &frame);

    // The result that replaces carrying out a command, or a byte written to the control point of the remote
    // device that can be updated.
    std::optional<uint16> chosenResult(int command) { return draw(faults.results, command); }
    std::optional<uint16> chosenOtaResult(uint8 byte) { return draw(faults.otaResults, byte); }

    // Drops what waits to be written, because the host has gone.
    void forget();

    // Whether the last frame before the port closes has been taken. Later frames are not sent.
    bool isEnding() const { return ending; }

Q_SIGNALS:
    // `ended` are the frames that the bytes complete.
    void writeReady(const QByteArray &bytes, const QByteArrayList &ended);
    void note(const QString &text);
    void unplugged(); // once, after the last write

private:
    // Bytes to be written, and the frames in them. The last piece of a batch completes its frames.
    struct Batch
    {
        QByteArray bytes;
        QByteArrayList frames;
    };

    bool isLost(const QByteArray &frame);
    bool isLostByName(const QByteArray &frame);
    void pass(const QByteArray &frame);
    void passExtra(const char *kind, const QByteArray &frame);
    QByteArray unaskedFrame();
    QByteArray unknownFrame();
    QByteArray junk();
    void collect(const QByteArray &frame);
    void releaseJoined();
    void write(const Batch &batch);
    void writeNextPiece();
    void endOnceWritten();
    unsigned below(unsigned bound); // 0 to bound - 1
    std::optional<uint16> draw(const QHash<int, ChosenResult> &from, int key);

    std::mt19937 random;
    FaultSettings faults;
    int responses = 0;
    int frames = 0; // of the module, without the extra ones
    bool ending = false;
    bool ended = false;
    bool wroteBefore = false;
    int generation = 0; // of the host that delayed frames are for
    Batch joined;
    QTimer joinTimer;
    QVector<Batch> pieces;
    QTimer pieceTimer;
};

} // namespace simulator
