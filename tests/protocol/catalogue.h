#pragma once

#include <QByteArray>
#include <QStringList>
#include <QVector>

// The protocol's messages written down a second time, by hand, with a small encoder, decoder and log
// formatter of their own: what the generated code is held against. Nothing here uses the engine.
namespace catalogue {

extern const char *const commands_and_responses;
extern const char *const events;

enum class Kind { command, response, event };

struct Field
{
    QByteArray type; // "uint8" .. "uint8array"
    QByteArray name;
    bool is_result;
};

struct Message
{
    Kind kind;
    int class_id;
    int id;
    QByteArray name;
    int fixed_length;
    QVector<Field> fields;

    QByteArray class_name() const;
    QByteArray method_name() const; // "cmd_reg_write"
    QByteArray signature() const;   // "cmd_reg_write(uint16,uint8)"
    QByteArray title() const;       // "system cmd_reg_write", for data rows
};

// The wire bytes of each field; an array without its length byte.
using Values = QVector<QByteArray>;

// Commands, responses, events; each by class and id.
const QVector<Message> &messages();
const Message &message(const char *title);

// Bytes on the wire; an array counts as its length byte.
int wire_size(const Field &field);
bool is_array(const Field &field);

// Some values for the fields, other ones for each seed: both signs, long and empty arrays, known results.
Values sample(const Message &message, int seed);

QByteArray payload(const Message &message, const Values &values);
QByteArray frame(const Message &message, const Values &values);
// A frame of the message's header with this payload, whatever its length.
QByteArray frame_of(const Message &message, const QByteArray &payload);

// What a payload of any length reads as: 0 for a field that is not wholly there, arrays as far as it goes.
Values decoded(const Message &message, const QByteArray &payload);

QStringList log_line(const Message &message, const Values &values);

} // namespace catalogue
