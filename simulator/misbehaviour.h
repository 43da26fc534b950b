#pragma once

#include "protocol/types.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>
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

    // Drops what is still waiting to be written, for a host that has gone.
    void forget();

Q_SIGNALS:
    void writeReady(const QByteArray &bytes);
    void note(const QString &text);
    void unplugged();

private:
    struct ChosenResult
    {
        uint16 code;
        unsigned percent;
    };

    bool isLost(const QByteArray &frame);
    void pass(const QByteArray &frame);
    void addUnasked();
    QByteArray unaskedFrame();
    QByteArray unknownFrame();
    QByteArray junk();
    void collect(const QByteArray &frame);
    void releaseJoined();
    void write(const QByteArray &bytes);
    void writeNextPiece();
    unsigned below(unsigned bound); // 0 to bound - 1
    static std::optional<QString> addResult(Misbehaviour &target, const QString &value);

    std::mt19937 random;
    int junkCount = 0;
    QByteArray junkBytes;
    int splitSize = 0;
    int joinCount = 0;
    int loseNext = 0;
    int loseEvery = 0;
    QSet<int> lostCommands;
    int lateMs = 0;
    int unaskedEvery = 0;
    int unknownEvery = 0;
    int unplugAfter = 0;
    QHash<int, ChosenResult> results;

    int responses = 0;
    int frames = 0;
    bool wroteBefore = false;
    int generation = 0; // of the host that frames held back are for
    QByteArray joined;
    int joinedFrames = 0;
    QTimer joinTimer;
    QVector<QByteArray> pieces;
    QTimer pieceTimer;
};

} // namespace simulator
