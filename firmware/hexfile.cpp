#include "firmware/hexfile.h"

#include <QIODevice>

#include <algorithm>
#include <array>
#include <cstring>

namespace {

enum RecordType : uint8 {
    Data,
    EndOfFile,
    ExtendedSegmentAddress,
    StartSegmentAddress,
    ExtendedLinearAddress,
    StartLinearAddress
};

constexpr int dataOffset = 4;

// Count, address, type, and all the data that a count can ask for. Bytes that the line lacks are 0.
using Record = std::array<uint8, dataOffset + 255>;

// How much of a line a record can use: the colon and two characters a byte.
constexpr int lineLength = 1 + 2 * int(std::tuple_size<Record>::value);

// Reads a file line by line, of which it holds no more than a buffer, however long the line.
class LineReader
{
public:
    explicit LineReader(QIODevice &file)
        : source(file)
    {
    }

    // Gives a line without its line feed, perhaps cut behind lineLength. It stands until the next call. False
    // at the end of the file and when it cannot be read.
    bool next(const char *&begin, const char *&end)
    {
        while (inCutLine) {
            const char *const feed = lineFeed();
            first = feed != nullptr ? feed + 1 : last;
            inCutLine = feed == nullptr;
            if (inCutLine && !fill())
                return false;
        }
        if (first == last && !fill())
            return false;
        const char *feed = lineFeed();
        while (feed == nullptr && last - first < lineLength && fill())
            feed = lineFeed();
        begin = first;
        end = feed != nullptr ? feed : last;
        inCutLine = feed == nullptr;
        first = inCutLine ? last : feed + 1;
        return true;
    }

    bool hasFailed() const { return failed; }

private:
    const char *lineFeed() const
    {
        return static_cast<const char *>(std::memchr(first, '\n', std::size_t(last - first)));
    }

    bool fill()
    {
        char *const free = std::copy(first, last, buffer.data());
        const qint64 got = source.read(free, buffer.data() + buffer.size() - free);
        first = buffer.data();
        last = free + std::max<qint64>(got, 0);
        failed |= got < 0;
        return got > 0;
    }

    QIODevice &source;
    std::array<char, 0x10000> buffer;
    const char *first = buffer.data();
    const char *last = buffer.data();
    bool inCutLine = false;
    bool failed = false;
};

enum : uint8 { Blank = 16, Plus, Other }; // behind the values of the digits

constexpr std::array<uint8, 256> characterValues()
{
    std::array<uint8, 256> values{};
    for (unsigned i = 0; i < values.size(); ++i) {
        const bool isBlank = i == ' ' || (i >= '\t' && i <= '\r');
        const unsigned lower = i | 0x20;
        values[i] = i >= '0' && i <= '9'           ? uint8(i - '0')
                    : lower >= 'a' && lower <= 'f' ? uint8(lower - 'a' + 10)
                    : isBlank                      ? uint8(Blank)
                    : i == '+'                     ? uint8(Plus)
                                                   : uint8(Other);
    }
    return values;
}

// A pair as QString::toUInt() reads it in base 16, which passes over blanks and a plus sign; else 0. So the
// carriage return of a line end, too, is nothing.
uint8 pairValue(char left, char right)
{
    static constexpr std::array<uint8, 256> values = characterValues();
    const int high = values[uint8(left)];
    const int low = values[uint8(right)];
    if (high < Blank && low < Blank)
        return uint8(high << 4 | low);
    if (high < Blank && low == Blank)
        return uint8(high);
    return (high == Blank || high == Plus) && low < Blank ? uint8(low) : uint8(0);
}

Record readRecord(const char *text, const char *end)
{
    Record record{};
    for (uint8 &byte : record) {
        if (text >= end)
            break;
        byte = pairValue(text[0], text + 1 < end ? text[1] : '\n');
        text += 2;
    }
    return record;
}

bool store(QByteArray &image, uint32 address, const uint8 *data, int count)
{
    const qint64 end = qint64(address) + count;
    if (end > maxImageSize)
        return false;
    const int start = int(address);
    if (start > image.size())
        image.append(start - image.size(), '\xff');
    if (end > image.size())
        image.resize(int(end));
    std::copy_n(data, count, image.data() + start);
    return true;
}

} // namespace

bool readHexFile(QIODevice &file, QByteArray &image, uint32 &lowAddress, uint32 &highAddress)
{
    image.clear();
    lowAddress = 0;
    highAddress = 0x7fffffff;
    uint32 base = 0;
    LineReader lines(file);
    const char *text = nullptr;
    const char *end = nullptr;
    while (lines.next(text, end)) {
        if (text == end || *text != ':')
            return false;
        const Record record = readRecord(text + 1, end);
        const uint8 count = record[0];
        const uint8 *const data = record.data() + dataOffset;
        switch (record[3]) {
        case Data: {
            const uint32 address = base + (uint32(record[1]) << 8 | record[2]);
            if (!store(image, address, data, count))
                return false;
            lowAddress = std::min(lowAddress, address);
            highAddress = std::max(highAddress, address + count);
            break;
        }
        case ExtendedLinearAddress: // behind the data that are counted stands the checksum
            base = (count > 0 ? uint32(data[0]) << 24 : 0) | (count > 1 ? uint32(data[1]) << 16 : 0);
            break;
        case EndOfFile:
        case StartLinearAddress: break;
        default: return false;
        }
    }
    return !lines.hasFailed();
}
