#pragma once

#include <QString>
#include <QVector>

// One type of the definition file: its name there, the C++ type that stands for it, its bytes on the wire (an
// array counts as its length byte) and its code in a record's parameter types.
struct FieldType
{
    const char *name;
    const char *cpp;
    int size;
    unsigned code;
};

struct Field
{
    const FieldType *type = nullptr;
    QString name;
    bool isResult = false;
};

struct Message
{
    QString name;
    QVector<Field> fields;
};

struct SymbolTable
{
    QString name; // "address_type_names"
    QVector<QPair<QString, QString>> values;
};

struct MessageClass
{
    QString name;
    QVector<Message> commands;
    QVector<Message> responses;
    QVector<Message> events;
    QVector<SymbolTable> tables;
};

using Definition = QVector<MessageClass>;

// Reads and checks the definition: names are lower-case identifiers, message indexes count up from 0, types
// are known, arrays come last, no message has more than 8 fields, result codes are 16-bit. On a fault `error`
// says what and where.
Definition readDefinition(const QString &path, QString *error);
