#pragma once

#include "simulator/results.h"
#include "simulator/security.h"

#include <QByteArray>
#include <QVector>

namespace simulator {

// One attribute of a GATT database. The type is a UUID of 2 or 16 bytes, least significant byte first.
struct Attribute
{
    enum Access { constant, writable, user };
    enum Property { none = 0, notify = 1, indicate = 2 };
    // What a remote client may do, with the bits of a characteristic declaration.
    enum Permission : uint8 { canRead = 0x02, canWriteCommand = 0x04, canWrite = 0x08 };

    QByteArray type;
    QByteArray value;
    int maxSize; // of the value
    bool variableSize;
    Access access;
    int properties;                     // bits of Property
    uint16 configures = 0;              // of a client configuration: the handle of the value that it is for
    int permissions = canRead;          // bits of Permission
    Security security = Security::none; // that a client's link has to have
};

// The 2-byte form of a UUID of 16 bytes that is only the long way to write one; any other as it is.
QByteArray shortestUuid(const QByteArray &uuid);

// Attributes under consecutive handles from 1 on. All operations check the handle first.
class AttributeDatabase
{
public:
    explicit AttributeDatabase(QVector<Attribute> attributes);

    // Null for a handle that does not exist, 0 among them.
    const Attribute *find(uint16 handle) const;

    int size() const { return attributes.size(); }

    // The handles from `first` to `last` of the attributes with this type, ascending.
    QVector<uint16> ofType(const QByteArray &type, uint16 first, uint16 last) const;

    // The last handle of the service that `handle` declares; `handle` itself if it declares none.
    uint16 groupEnd(uint16 handle) const;

    // Puts `value` into the attribute's value from `offset` on. One of variable size then ends with it; one
    // of fixed size keeps its other bytes. Nothing is changed unless the result is 0.
    Result write(uint16 handle, int offset, const QByteArray &value);

    // The value from `offset` on; an offset at the end gives no bytes, one past it is refused.
    Result read(uint16 handle, int offset, QByteArray *value) const;

    Result readType(uint16 handle, QByteArray *type) const;

private:
    QVector<Attribute> attributes;
};

// The module's own database: Generic Access, Device Information, Battery, and a vendor's service with 128-bit
// UUIDs.
AttributeDatabase localDatabase();

} // namespace simulator
