#include "protocol/serializer.h"

#include "protocol/cls_ble.h"

#include <cstring>

namespace {

constexpr std::size_t field_room = 268;

// The fixed part of a frame while it is written, and what is left of the arguments.
struct frame_writer
{
    uint8 buffer[4 + field_room] = {};
    uint8 *end = buffer + 4;
    const command_word *words;
    std::size_t words_left;
    uint16 array_len = 0;
    const char *array = nullptr;

    command_word next_word()
    {
        if (words_left == 0)
            return 0;
        --words_left;
        return *words++;
    }

    void put_number(uint32 value, int width)
    {
        for (int i = 0; i < width; ++i)
            *end++ = uint8(value >> (8 * i));
    }

    void put_address()
    {
        // A word is wide enough for a pointer, and here it holds one.
        if (const command_word address = next_word())
            // NOLINTNEXTLINE(performance-no-int-to-ptr) // as said
            std::memcpy(end, reinterpret_cast<const void *>(address), sizeof(bd_addr));
        end += sizeof(bd_addr);
    }

    void put_array(int prefix_width)
    {
        const auto length = uint32(next_word());
        // NOLINTNEXTLINE(performance-no-int-to-ptr) // a word that holds a pointer
        array = reinterpret_cast<const char *>(next_word());
        array_len = array ? uint16(length) : uint16(0);
        put_number(length, prefix_width);
        const uint32 total = length + buffer[1];
        buffer[1] = uint8(total);
        buffer[0] = uint8(buffer[0] | ((total >> 8) & 0xff));
    }

    void put_field(uint32 code)
    {
        switch (code) {
        case code_uint8:
        case code_int8: return put_number(uint32(next_word()), 1);
        case code_uint16:
        case code_int16: return put_number(uint32(next_word()), 2);
        case code_uint32:
        case code_int32: return put_number(uint32(next_word()), 4);
        case code_uint8array:
        case code_uint8array_2: return put_array(1);
        case code_long_array: return put_array(2);
        case code_bd_addr: return put_address();
        default: return;
        }
    }
};

} // namespace

void serialize_record(command_writer writer, void *context, const message_record &record,
                      const command_word *words, std::size_t word_count)
{
    frame_writer frame;
    frame.words = words;
    frame.words_left = word_count;
    std::memcpy(frame.buffer, record.header, 4);
    for (uint32 types = record.parameter_types; types != 0; types >>= 4)
        frame.put_field(types & 0xf);
    writer(context, uint8(record.header[1] + 4), reinterpret_cast<const char *>(frame.buffer),
           frame.array_len, frame.array);
}

void forward_to_send(void *context, uint8 header_len, const char *header, uint16 array_len, const char *array)
{
    static_cast<cls_ble *>(context)->send_message(header_len, header, array_len, array);
}
