#pragma once

#include "protocol/types.h"

#include <QByteArrayList>
#include <QHash>
#include <QObject>
#include <QTimer>
#include <QVector>

#include <optional>
#include <random>

namespace simulator {

// Stands between the module and its port and does to the outgoing frames what a bad link or a bad module
// would. With nothing set, every frame is one write. All chance comes from the seed.
class Misbehaviour : public QObject
{
    Q_OBJECT

public:
    // One thing that can be asked for, as an option at the start or as a line while it runs.
    struct Setting
    {
        const char *name;
        const char *argument;
        const char *help;
        // Takes the value's text; an error text that names what was expected, or nothing.
        std::optional<QString> (*apply)(Misbehaviour &target, const QString &value);
    };
    static const QVector<Setting> &settings();

    // Applies a setting by name; an error text, or nothing.
    std::optional<QString> set(const QString &name, const QString &value);

    explicit Misbehaviour(quint32 seed, QObject *parent = nullptr);

    // Takes a frame that the module sends.
    void send(const QByteArray &frame);

    // The result that a command is to answer with instead of being carried out.
    std::optional<uint16> chosenResult(int command);

    // The same for a byte written to the control point of the remote device that can be updated.
    std::optional<uint16> chosenOtaResult(uint8 byte) { return draw(otaResults, byte); }

    // Drops what is still waiting to be written, for a host that has gone.
    void forget();

    // Whether the last frame before the port closes has been taken; from then on nothing more is sent.
    bool isEnding() const { return ending; }

Q_SIGNALS:
    // `ended` are the frames whose last byte is among these bytes.
    void writeReady(const QByteArray &bytes, const QByteArrayList &ended);
    void note(const QString &text);
    void unplugged(); // once, behind the last write

private:
    struct ChosenResult
    {
        uint16 code;
        unsigned percent;
    };

    // Bytes to be written, and each frame in them with the offset at which it ends.
    struct Batch
    {
        QByteArray bytes;
        QVector<QPair<int, QByteArray>> frames;
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
    static std::optional<QString> readChosen(const QString &text, ChosenResult *chosen);
    std::optional<QString> addLost(int index, const QString &value);
    static std::optional<QString> addResult(Misbehaviour &target, const QString &value);

    std::mt19937 random;
    int junkCount = 0;
    QByteArray junkBytes;
    int splitSize = 0;
    int joinCount = 0;
    int loseNext = 0;
    int loseEvery = 0;
    QHash<int, int> lostFrames; // by record: the number of the one that is lost, or 0 for all
    int lateMs = 0;
    int unaskedEvery = 0;
    int unknownEvery = 0;
    int unplugAfter = 0;
    QHash<int, ChosenResult> results;
    QHash<int, ChosenResult> otaResults;

    int responses = 0;
    int frames = 0;    // of the module
    int allFrames = 0; // with those that nothing asked for
    bool ending = false;
    bool ended = false;
    bool wroteBefore = false;
    int generation = 0; // of the host that frames held back are for
    Batch joined;
    QTimer joinTimer;
    QVector<QPair<QByteArray, QByteArrayList>> pieces; // the arguments of writeReady
    QTimer pieceTimer;
};

} // namespace simulator
