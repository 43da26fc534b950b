#pragma once

#include "protocol/cls_ble.h"
#include "protocol/log_text.h"
#include "protocol/payload_reader.h"
#include "protocol/serializer.h"

#include <tuple>
#include <utility>

// What every handler and every command slot does, written once; the generated code names the fields only.

template <int Index, auto Member, typename Sub, typename... Fields>
void receive_as(cls_ble *ble, const message_payload &payload, void (Sub::*signal)(Fields...))
{
    const message_text &text = message_text_at(Index);
    QStringList line = text.empty_line;

    payload_reader reader(payload);
    const std::tuple<Fields...> values{reader.take<Fields>()...};
    std::apply([&](const Fields &...value) { Q_EMIT((ble->*Member).*signal)(value...); }, values);

    [[maybe_unused]] const field_text *field = text.fields;
    [[maybe_unused]] QStringList::iterator piece = line.begin();
    std::apply([&](const Fields &...value) { ((*++piece = received_piece(*field++, value)), ...); }, values);
    ble->log_message(std::move(line));
}

// The handler of the record at `Index`. The signal goes out before the line, so what its receivers log stands
// above the line of the message that caused it.
template <int Index, auto Member, auto Signal>
void receive(cls_ble *ble, const message_payload &payload)
{
    receive_as<Index, Member>(ble, payload, Signal);
}

template <typename Number>
std::tuple<Number> command_words(const Number &value)
{
    return {value};
}
inline std::tuple<const uint8 *> command_words(const bd_addr &address)
{
    return {address.addr};
}
inline std::tuple<int, const char *> command_words(const QByteArray &bytes)
{
    return {bytes.size(), bytes.constData()};
}

// Logs the command at `index`, then sends it.
template <typename... Fields>
void send_command(cls_ble *ble, uint16 index, const Fields &...fields)
{
    const message_text &text = message_text_at(index);
    QStringList line(text.prefix);
    [[maybe_unused]] const field_text *field = text.fields;
    (append_sent(line, *field++, fields), ...);
    Q_EMIT ble->parsed_message_str(line);

    std::apply([&](auto... words) { serialize_command(&forward_to_send, ble, index, words...); },
               std::tuple_cat(command_words(fields)...));
}
