#pragma once

#include "simulator/attributedatabase.h"

namespace simulator {

constexpr uint16 primaryServiceUuid = 0x2800;
constexpr uint16 secondaryServiceUuid = 0x2801;
constexpr uint16 characteristicUuid = 0x2803;

// A UUID of 16 bits as it lies on the wire.
QByteArray uuid16(uint16 uuid);

// One of the vendor's own UUIDs, 0000nnnn-9d1e-4c5b-8a57-3b6c2f41d0e7, as it lies on the wire.
QByteArray vendorUuid(uint16 number);

// Lines up the attributes of a GATT database, each under the next handle. What it gives back is valid until
// the next attribute is added.
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

    // A declaration and the value behind it.
    Attribute &value(uint8 bits, const QByteArray &uuid, const QByteArray &initial, Attribute::Access access);

    // A user description or a client configuration of the value before it.
    void description(const QByteArray &text);
    void configuration();

    static void growTo(Attribute &attribute, int maxSize);

    AttributeDatabase database() const { return AttributeDatabase(attributes); }

private:
    Attribute &add(const QByteArray &type, const QByteArray &value, Attribute::Access access);

    QVector<Attribute> attributes;
    uint16 lastValue = 0;
};

} // namespace simulator
