#pragma once

#include <QByteArray>
#include <QVector>

namespace simulator {

// Cuts the host's bytes into command frames. In packet mode each frame is preceded by one byte, the low 8
// bits of the frame's size.
class FrameCutter
{
public:
    struct Piece
    {
        QByteArray bytes; // a whole frame without the packet byte, or bytes that start no frame
        bool isFrame;
    };

    explicit FrameCutter(bool inPacketMode = false);

    // Adds received bytes and returns the pieces that are complete, in order.
    QVector<Piece> add(const QByteArray &bytes);

    // Drops an unfinished frame, because the host has gone.
    void clear();

private:
    bool startsFrame(int at) const;

    const int prefix;
    QByteArray buffer;
};

} // namespace simulator
