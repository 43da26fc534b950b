#include "firmware/hexfile.h"

#include <QIODevice>

#include <algorithm>
#include <array>
#include <charconv>

namespace {

enum RecordType : uint8 {
    dataRecord,
    endOfFileRecord,
    extendedSegmentRecord,
    startSegmentRecord,
    extendedLinearRecord,
    startLinearRecord
};

constexpr int dataOffset = 4;

// Count, address, type, and all the data that a count can ask for. Bytes that the line lacks are 0.
using Record = std::array<uint8, dataOffset + 255>;

// The colon and two characters for each byte of a record; QIODevice::readLine() reads one character less than
// asked.
constexpr int maxLineRead = 1 + 2 * int(std::tuple_size<Record>::value) + 1;

bool isBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Reads one or two characters as QString::toUInt() does in base 16: white space and a leading plus sign are
// skipped, and a text that is not a number is 0.
uint8 pairValue(const char *begin, const char *end)
{
    if (isBlank(*begin) || *begin == '+')
        ++begin;
    else if (isBlank(end[-1]))
        --end;
    uint8 value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value, 16);
    return error == std::errc() && stop == end ? value : uint8(0);
}

Record readRecord(const char *text, const char *end)
{
    Record record{};
    for (uint8 &byte : record) {
        if (text >= end)
            break;
        const char *const next = std::min(text + 2, end);
        byte = pairValue(text, next);
        text = next;
    }
    return record;
}

// Skips the rest of a line that `part` begins, without holding it in memory.
void skipLine(QIODevice &file, QByteArray part)
{
    while (!part.isEmpty() && !part.endsWith('\n'))
        part = file.readLine(maxLineRead);
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
    for (QByteArray line = file.readLine(maxLineRead); !line.isEmpty(); line = file.readLine(maxLineRead)) {
        if (!line.startsWith(':'))
            return false;
        skipLine(file, line);
        const Record record = readRecord(line.constData() + 1, line.constData() + line.size());
        const uint8 count = record[0];
        const uint8 *const data = record.data() + dataOffset;
        switch (record[3]) {
        case dataRecord: {
            const uint32 address = base + (uint32(record[1]) << 8 | record[2]);
            if (!store(image, address, data, count))
                return false;
            lowAddress = std::min(lowAddress, address);
            highAddress = std::max(highAddress, address + count);
            break;
        }
        case extendedLinearRecord: // behind the data that are counted stands the checksum
            base = (count > 0 ? uint32(data[0]) << 24 : 0) | (count > 1 ? uint32(data[1]) << 16 : 0);
            break;
        case endOfFileRecord:
        case startLinearRecord: break;
        default: return false;
        }
    }
    // readLine() does not distinguish an error from the end of the file, but read() does.
    char next = 0;
    return file.read(&next, 1) == 0;
}
