#pragma once

#include <QByteArray>
#include <QStringList>
#include <QVector>

// The protocol's messages written down a second time, by hand, with a small encoder, decoder and log
// formatter of their own: what the generated code is held against. Nothing here uses the engine.
namespace catalogue {

enum class Kind { command, response, event };

struct Field
{
    QByteArray type; // "uint8" .. "uint8array"
    QByteArray name;
    bool isResult;
    bool isArray;
    int size; // bytes on the wire; an array counts as its length byte
};

struct Message
{
    Kind kind;
    int classId;
    int id;
    QByteArray className;
    QByteArray name;
    QByteArray method; // "cmd_reg_write"
    int fixedLength;
    QVector<Field> fields;

    QByteArray title() const; // "system cmd_reg_write"
    QByteArray signature() const;
};

// The wire bytes of each field; an array without its length byte.
using Values = QVector<QByteArray>;

// Commands, responses, events; each by class and id.
const QVector<Message> &messages();
const Message &message(const QByteArray &title);

// Some values for the fields, other ones for each seed: both signs, long and empty arrays, known results.
Values sample(const Message &message, int seed);
QByteArray payload(const Message &message, const Values &values);
// A frame of the message's header with this payload, whatever its length.
QByteArray frame(const Message &message, const QByteArray &payload);

// What an EngineLog shows of the message.
QString shown(const Message &message, const Values &values);
QString logLine(const Message &message, const Values &values);
// What it shows of a received payload of any length: 0 for a field that is not wholly there, arrays as far as
// it goes.
QStringList received(const Message &message, const QByteArray &payload);

// The lines of a file beside the tests, cut at the first ';'s; "\t" stands for a tab.
QVector<QStringList> rows(const char *file, int columns = 1);

} // namespace catalogue

inline QByteArray hex(const QByteArray &digits)
{
    return QByteArray::fromHex(digits);
}
