#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

// One row of the table of parameter types.
struct ApiType
{
    const char *name;
    int code;
    int width; // in bytes; 0 for what has no fixed width
};

// Type codes of ApiParam::type.
enum ApiTypeCode : int {
    apiInvalid = 0,
    apiUint8 = 1,
    apiInt8 = 2,
    apiUint16 = 3,
    apiInt16 = 4,
    apiUint32 = 5,
    apiInt32 = 6,
    apiUint8array = 7,
    apiString = 8,
    apiAddress = 9,
    apiIpv4 = 10,
};

// The table itself, closed by a row without a name.
extern const ApiType apiTypes[];

// The code of the first row called `name`; that of uint8 for a name that is not in the table.
int apiTypeCode(const QString &name);

// The row at position `code`, which from code 10 on is not the row that the code came from: an address is
// called "hwaddr" and an ipv4 "bd_addr". The closing row for a position outside the table.
const ApiType &apiTypeRow(int code);

// HTML that shows `text` as it is. Text without special characters is returned unchanged; any other is put
// into an element, by which QToolTip recognises HTML.
QString htmlOf(const QString &text);

// A parameter of a message.
struct ApiParam
{
    QString name;
    int type = apiInvalid;

    // The bytes of a typed argument in wire form, least significant first; empty if `text` cannot be read.
    // Unsigned numbers are hexadecimal and signed ones decimal; what lies beyond the width is cut off.
    // Appends the reason for a refusal to `message`. An address is rewritten in `text` to its colon form.
    QByteArray parseArgument(QString &text, QString &message) const;
};

// A command, a response or an event.
struct ApiMessage
{
    int script = 0;
    int index = 0;
    int class_index = 0;
    QString name;
    QString full_name;
    QList<ApiParam> params;

    // The packet for typed arguments, byte 0 still 0; empty if their number or one of them is wrong.
    // Appends the signature to `message`, and under it the reason. A uint8array at the end may be left out.
    QByteArray buildCommand(QStringList &args, QString &message) const;

    // The signature as rich text.
    [[nodiscard]] QString commandHelp() const;
};

// A class of messages.
struct ApiClass
{
    QString name;
    QList<ApiMessage> events;
    QList<ApiMessage> commands;
    QList<ApiMessage> responses; // beside each of `commands`, its returns

    // The packet of the first command called `command`, byte 0 still 0; empty if there is none or its
    // arguments are wrong. Appends to `message` as buildCommand does, or that there is no such command.
    QByteArray findCommand(const QString &command, QStringList &args, QString &message) const;
};
