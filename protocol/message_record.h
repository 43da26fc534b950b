#pragma once

#include "protocol/message_counts.h"
#include "protocol/types.h"

#include <QString>
#include <QStringList>
#include <QStringView>

class cls_ble;

// The payload of one received frame: `size` bytes from `data`, valid until the first signal goes out, since a
// receiver may feed the engine and so move its buffer.
struct message_payload
{
    const char *data;
    int size;
};

using message_handler = void (*)(cls_ble *ble, const message_payload &payload);

// Codes of message_record::parameter_types. All other values of a nibble stand for no field.
enum parameter_code : uint32 {
    code_uint8 = 2,
    code_int8 = 3,
    code_uint16 = 4,
    code_int16 = 5,
    code_uint32 = 6,
    code_int32 = 7,
    code_uint8array = 8,
    code_uint8array_2 = 9,
    code_bd_addr = 10,
    code_long_array = 11,
};

// One message of the protocol. `header` is the frame's header with the fixed length in its second byte (an
// array counts as its length byte alone); `parameter_types` holds a 4-bit code a field, the first field
// lowest.
struct message_record
{
    uint8 header[4];
    uint32 parameter_types;
    message_handler handler;
};

constexpr int record_count = command_count + response_count + event_count;

// All records: commands, then responses in the same order, then events, closed by a record of zeros.
extern const message_record message_records[record_count + 1];

// One class of a receive table: `count` records, found by message id.
struct record_row
{
    const message_record *const *records;
    uint32 count;
};

extern const record_row response_table[class_count];
extern const record_row event_table[class_count];

// The record at `index`, 0 to record_count (the closing record).
const message_record *record_at(int index);

// Search by frame header, length bits ignored; null if there is none. The backward search goes from the
// closing record down to the second and so never finds the first.
const message_record *find_record_forward(const uint8 header[4]);
const message_record *find_record_backward(const uint8 header[4]);

// The log text of a field: its label, " name:", and whether the value is a result code shown with its words.
struct field_text
{
    QStringView label;
    bool is_result;
};

struct message_text
{
    message_text(const QString &line_prefix, const field_text *texts, int count);

    QString prefix; // "ble_rsp_system_hello\t"
    const field_text *fields;
    int field_count;
    QStringList empty_line; // the prefix, then a null string a field
};

// The log text of the message whose record stands at `index`, 0 to record_count - 1.
const message_text &message_text_at(int index);

// "system_hello" for the message at `index`.
QString message_name(int index);
