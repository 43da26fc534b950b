#include "protocol/message_record.h"

namespace {

bool same_message(const message_record &record, const uint8 header[4])
{
    return (record.header[0] & 0xf8) == (header[0] & 0xf8) && record.header[2] == header[2] &&
           record.header[3] == header[3];
}

} // namespace

const message_record *record_at(int index)
{
    return &message_records[index];
}

const message_record *find_record_forward(const uint8 header[4])
{
    for (int i = 0; i < record_count; ++i) {
        if (same_message(message_records[i], header))
            return &message_records[i];
    }
    return nullptr;
}

const message_record *find_record_backward(const uint8 header[4])
{
    for (int i = record_count - 1; i > 0; --i) {
        if (same_message(message_records[i], header))
            return &message_records[i];
    }
    return nullptr;
}

message_text::message_text(const QString &line_prefix, const field_text *texts, int count)
    : prefix(line_prefix)
    , fields(texts)
    , field_count(count)
    , empty_line(line_prefix)
{
    for (int i = 0; i < count; ++i)
        empty_line.append(QString());
}

QString message_name(int index)
{
    const int kind = int(qstrlen("ble_cmd_"));
    const QString &prefix = message_text_at(index).prefix;
    return prefix.mid(kind, prefix.size() - kind - 1);
}
