#pragma once

#include "protocol/message_record.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

// Takes a frame in two pieces: `header_len` bytes of header and fixed fields, and the `array_len` bytes of
// the array that closes the message.
using command_writer = void (*)(void *context, uint8 header_len, const char *header, uint16 array_len,
                                const char *array);

// One argument of a command: a number, or a pointer to the bytes of an address or an array.
using command_word = std::uintptr_t;

template <typename T>
command_word to_command_word(T value)
{
    if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<command_word>(value);
    else
        return uint32(value);
}

// Serializes by `record` and calls `writer` once. Takes a word a field, two (length, pointer) for an array;
// words that are lacking count as 0. Array lengths are not checked: a length prefix keeps its low bits only,
// and a frame of 2048 bytes of payload or more spoils the upper bits of its first byte.
void serialize_record(command_writer writer, void *context, const message_record &record,
                      const command_word *words, std::size_t word_count);

// Serializes the command at `index` with its fields in wire order.
template <typename... Words>
void serialize_command(command_writer writer, void *context, uint16 index, Words... words)
{
    const command_word list[] = {to_command_word(words)..., 0};
    serialize_record(writer, context, *record_at(index), list, sizeof...(words));
}

// The writer of all commands: `context` is the cls_ble whose send_message gets the frame.
void forward_to_send(void *context, uint8 header_len, const char *header, uint16 array_len,
                     const char *array);
