#include "simulator/wire/framecutter.h"

#include "simulator/wire/frames.h"

namespace simulator {

FrameCutter::FrameCutter(bool inPacketMode)
    : prefix(inPacketMode ? 1 : 0)
{
}

void FrameCutter::clear()
{
    buffer.clear();
}

bool FrameCutter::startsFrame(int at) const
{
    const char *header = buffer.constData() + at + prefix;
    if ((uint8(header[0]) & 0xf8) != 0)
        return false;
    return prefix == 0 || uint8(buffer[at]) == ((headerSize + announcedLength(header)) & 0xff);
}

QVector<FrameCutter::Piece> FrameCutter::add(const QByteArray &bytes)
{
    buffer += bytes;
    QVector<Piece> pieces;
    int at = 0;
    int dropped = 0;
    const auto reportDropped = [&] {
        if (dropped > 0)
            pieces.append({buffer.mid(at - dropped, dropped), false});
        dropped = 0;
    };
    const int judged = prefix == 0 ? 1 : prefix + headerSize;
    while (buffer.size() - at >= judged) {
        if (!startsFrame(at)) {
            ++at;
            ++dropped;
            continue;
        }
        if (buffer.size() - at < prefix + headerSize)
            break;
        const int size = headerSize + announcedLength(buffer.constData() + at + prefix);
        if (buffer.size() - at < prefix + size)
            break;
        reportDropped();
        pieces.append({buffer.mid(at + prefix, size), true});
        at += prefix + size;
    }
    reportDropped();
    buffer.remove(0, at);
    return pieces;
}

} // namespace simulator
