// Intel hex files: from memory, from a file, and from a device that gives a few bytes at a time.

#include "fuzz.h"

#include "firmware/hexfile.h"

#include <QBuffer>
#include <QFile>

#include <tuple>

namespace {

struct Trickle : QBuffer
{
    int portion = 0;

    qint64 readData(char *to, qint64 max) override
    {
        return QBuffer::readData(to, std::min<qint64>(max, portion));
    }
};

// Whether it was read to its end, the image, and the two bounds.
std::tuple<bool, QByteArray, uint32, uint32> load(QIODevice &device)
{
    QByteArray image = "what was there before";
    uint32 low = 1, high = 1;
    REQUIRE(device.isOpen() || device.open(QIODevice::ReadOnly));
    const bool isWhole = readHexFile(device, image, low, high);
    return {isWhole, image, low, high};
}

constexpr int worthwhile = 1 << 20;

// The same in the plainest way. True if it was read to its end. `isHuge` if the image is to be longer than
// worthwhile; it is not made then.
bool readPlainly(const QByteArray &text, QByteArray &image, bool &isHuge)
{
    uint32 base = 0;
    QList<QByteArray> lines = text.split('\n');
    if (lines.last().isEmpty())
        lines.removeLast();
    for (const QByteArray &line : qAsConst(lines)) {
        if (!line.startsWith(':'))
            return false;
        QByteArray bytes;
        for (int i = 1; i < line.size(); i += 2)
            bytes += char(
                QString::fromUtf8(line.constData() + i, std::min(2, line.size() - i)).toUInt(nullptr, 16));
        const int count = uint8((bytes + '\0').at(0));
        bytes += QByteArray(4 + count, '\0');
        const auto word = [&bytes](int at) {
            return uint32(uint8(bytes.at(at))) << 8 | uint8(bytes.at(at + 1));
        };
        const int type = uint8(bytes.at(3));
        if (type == 4) {
            bytes.replace(4 + count, 2, QByteArray(2, '\0'));
            base = word(4) << 16;
        } else if (type == 0) {
            const qint64 address = uint32(base + word(1));
            if (address + count > maxImageSize)
                return false;
            isHuge = address + count > worthwhile;
            if (isHuge)
                return false;
            if (address > image.size())
                image.append(int(address) - image.size(), '\xff');
            image.replace(int(address), count, bytes.constData() + 4, count);
        } else if (type != 1 && type != 5) {
            return false;
        }
    }
    return true;
}

} // namespace

// The size of a portion, then the file.
int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Input input(data, size);
    const int portion = 1 + input.byte();
    const QByteArray text = input.rest();

    QByteArray plain;
    bool isHuge = false;
    const bool isWhole = readPlainly(text, plain, isHuge);
    if (isHuge)
        return -1; // takes most of a second

    QBuffer memory;
    memory.setData(text);
    const auto outcome = load(memory);
    const uint32 high = std::get<3>(outcome);
    REQUIRE(outcome == std::make_tuple(isWhole, plain, 0U, high) && high >= 0x7fffffff);

    Trickle trickle;
    trickle.portion = portion;
    trickle.setData(text);
    REQUIRE(trickle.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    REQUIRE(load(trickle) == outcome);

    QFile onDisk(inMemoryFile(text));
    REQUIRE(load(onDisk) == outcome);
    return 0;
}
