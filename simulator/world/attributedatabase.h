#pragma once

#include "simulator/wire/results.h"
#include "simulator/world/security.h"

#include <QByteArray>
#include <QVector>

namespace simulator {

// One attribute of a GATT database. The type is a UUID of 2 or 16 bytes, least significant byte first.
struct Attribute
{
    enum Access { constant, writable, user };
    enum Property { none = 0, notify = 1, indicate = 2 };
    // Permissions of a remote client, the bits of a characteristic declaration.
    enum Permission : uint8 { canRead = 0x02, canWriteCommand = 0x04, canWrite = 0x08 };

    QByteArray type;
    QByteArray value;
    int maxSize; // of the value
    bool variableSize;
    Access access;
    int properties;                     // bits of Property
    uint16 configures = 0;              // of a client configuration: the handle of its value
    int permissions = canRead;          // bits of Permission
    Security security = Security::none; // that the connection needs
};

constexpr uint16 primaryServiceUuid = 0x2800;
constexpr uint16 secondaryServiceUuid = 0x2801;
constexpr uint16 characteristicUuid = 0x2803;

// A 16-bit UUID in wire order.
QByteArray uuid16(uint16 uuid);

// A UUID of the vendor, 0000nnnn-9d1e-4c5b-8a57-3b6c2f41d0e7, in wire order.
QByteArray vendorUuid(uint16 number);

// The 2-byte form of a UUID that has one; other UUIDs unchanged.
QByteArray shortUuid(const QByteArray &uuid);

// Attributes under consecutive handles from 1 on.
class AttributeDatabase
{
public:
    explicit AttributeDatabase(QVector<Attribute> attributes);

    // Null if there is no such handle.
    const Attribute *find(uint16 handle) const;

    int size() const { return attributes.size(); }

    // Ascending handles, from `first` to `last`, of the attributes with this type.
    QVector<uint16> ofType(const QByteArray &type, uint16 first, uint16 last) const;

    // The last handle of the service that `handle` declares; `handle` itself if it declares none.
    uint16 groupEnd(uint16 handle) const;

    // Replaces the value from `offset` on. A value of variable size then ends with `value`, a value of fixed
    // size keeps its other bytes.
    Result write(uint16 handle, int offset, const QByteArray &value);

    // Reads the value from `offset` on: no bytes at its end; an offset past the end is refused.
    Result read(uint16 handle, int offset, QByteArray *value) const;

private:
    QVector<Attribute> attributes;
};

// Builds a GATT database, each attribute under the next handle. A returned reference is valid until the next
// attribute is added.
class DatabaseBuilder
{
public:
    // Bits of a characteristic declaration's first byte.
    enum Bits : uint8 {
        canRead = Attribute::canRead,
        canWriteCommand = Attribute::canWriteCommand,
        canWrite = Attribute::canWrite,
        canNotify = 0x10,
        canIndicate = 0x20,
    };

    void service(const QByteArray &uuid);

    // Adds a characteristic declaration and its value.
    Attribute &value(uint8 bits, const QByteArray &uuid, const QByteArray &initial, Attribute::Access access);

    // Adds a user description or a client configuration of the last value.
    void description(const QByteArray &text);
    void configuration();

    static void setVariableSize(Attribute &attribute, int maxSize);

    AttributeDatabase database() const { return AttributeDatabase(attributes); }

private:
    Attribute &add(const QByteArray &type, const QByteArray &value, Attribute::Access access);

    QVector<Attribute> attributes;
    uint16 lastValue = 0;
};

} // namespace simulator
