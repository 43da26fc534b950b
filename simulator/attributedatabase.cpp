#include "simulator/attributedatabase.h"

#include <utility>

namespace simulator {
namespace {

constexpr uint16 primaryService = 0x2800;
constexpr uint16 characteristic = 0x2803;
constexpr uint16 clientConfiguration = 0x2902;

// Bits of a characteristic declaration's first byte.
enum CharacteristicBits : uint8 { canRead = 0x02, canWrite = 0x08, canNotify = 0x10, canIndicate = 0x20 };

QByteArray uuid16(uint16 uuid)
{
    return QByteArray().append(char(uuid & 0xff)).append(char(uuid >> 8));
}

// One of the vendor's own UUIDs, 0000nnnn-9d1e-4c5b-8a57-3b6c2f41d0e7.
QByteArray vendorUuid(uint16 number)
{
    return QByteArray::fromHex("e7d0412f6c3b578a5b4c1e9d") + uuid16(number) + QByteArray(2, '\0');
}

class DatabaseBuilder
{
public:
    void service(const QByteArray &uuid) { add(uuid16(primaryService), uuid, Attribute::constant); }

    // A declaration and the value behind it.
    Attribute &value(uint8 bits, const QByteArray &uuid, const QByteArray &initial, Attribute::Access access)
    {
        const int handle = attributes.size() + 2;
        add(uuid16(characteristic), char(bits) + uuid16(uint16(handle)) + uuid, Attribute::constant);
        Attribute &added = add(uuid, initial, access);
        added.properties = (bits & canNotify ? Attribute::notify : Attribute::none) |
                           (bits & canIndicate ? Attribute::indicate : Attribute::none);
        return added;
    }

    // Of the value before it.
    void configuration()
    {
        const auto handle = uint16(attributes.size());
        add(uuid16(clientConfiguration), QByteArray(2, '\0'), Attribute::writable).configures = handle;
    }

    QVector<Attribute> attributes;

private:
    Attribute &add(const QByteArray &type, const QByteArray &value, Attribute::Access access)
    {
        attributes.append({type, value, value.size(), false, access, Attribute::none});
        return attributes.last();
    }
};

void growTo(Attribute &attribute, int maxSize)
{
    attribute.variableSize = true;
    attribute.maxSize = maxSize;
}

} // namespace

AttributeDatabase::AttributeDatabase(QVector<Attribute> given)
    : attributes(std::move(given))
{
}

const Attribute *AttributeDatabase::find(uint16 handle) const
{
    return handle == 0 || handle > attributes.size() ? nullptr : &attributes.at(handle - 1);
}

Result AttributeDatabase::write(uint16 handle, int offset, const QByteArray &value)
{
    if (!find(handle))
        return resultInvalidHandle;
    Attribute &attribute = attributes[handle - 1];
    if (attribute.access == Attribute::user)
        return resultUserAttribute;
    if (attribute.access == Attribute::constant)
        return resultWriteNotPermitted;
    if (offset > attribute.value.size())
        return resultInvalidOffset;
    if (offset + value.size() > attribute.maxSize)
        return resultInvalidValueLength;
    if (attribute.variableSize)
        attribute.value.truncate(offset);
    attribute.value.replace(offset, value.size(), value);
    return resultOk;
}

Result AttributeDatabase::read(uint16 handle, int offset, QByteArray *value) const
{
    const Attribute *attribute = find(handle);
    if (!attribute)
        return resultInvalidHandle;
    if (attribute->access == Attribute::user)
        return resultUserAttribute;
    if (offset > attribute->value.size())
        return resultInvalidOffset;
    *value = attribute->value.mid(offset);
    return resultOk;
}

Result AttributeDatabase::readType(uint16 handle, QByteArray *type) const
{
    const Attribute *attribute = find(handle);
    if (!attribute)
        return resultInvalidHandle;
    *type = attribute->type;
    return resultOk;
}

AttributeDatabase localDatabase()
{
    constexpr uint8 batteryLevel = 87;
    DatabaseBuilder database;
    database.service(uuid16(0x1800));
    growTo(database.value(canRead | canWrite, uuid16(0x2a00), "Simulated module", Attribute::writable), 20);
    database.value(canRead, uuid16(0x2a01), uuid16(0x0080), Attribute::constant);
    database.service(uuid16(0x180a));
    database.value(canRead, uuid16(0x2a29), "Vorsel", Attribute::constant);
    database.value(canRead, uuid16(0x2a26), "2.1.0", Attribute::constant);
    database.service(uuid16(0x180f));
    database.value(canRead | canNotify, uuid16(0x2a19), QByteArray(1, char(batteryLevel)),
                   Attribute::writable);
    database.configuration();
    database.service(vendorUuid(0x0001));
    growTo(database.value(canRead | canWrite | canIndicate, vendorUuid(0x0002), {}, Attribute::writable), 64);
    database.configuration();
    database.value(canRead | canWrite, vendorUuid(0x0003), {}, Attribute::user);
    return AttributeDatabase(database.attributes);
}

} // namespace simulator
