#include "simulator/attributedatabase.h"

#include "simulator/databasebuilder.h"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

// How Bluetooth's own UUIDs of 16 bits begin when they are written with 128; two zero bytes end them.
const QByteArray baseUuid = QByteArray::fromHex("fb349b5f8000008000100000");

} // namespace

AttributeDatabase::AttributeDatabase(QVector<Attribute> given)
    : attributes(std::move(given))
{
}

const Attribute *AttributeDatabase::find(uint16 handle) const
{
    return handle == 0 || handle > attributes.size() ? nullptr : &attributes.at(handle - 1);
}

QByteArray shortestUuid(const QByteArray &uuid)
{
    const bool isLongForm =
        uuid.size() == 16 && uuid.startsWith(baseUuid) && uuid.endsWith(QByteArray(2, '\0'));
    return isLongForm ? uuid.mid(baseUuid.size(), 2) : uuid;
}

QVector<uint16> AttributeDatabase::ofType(const QByteArray &type, uint16 first, uint16 last) const
{
    const QByteArray wanted = shortestUuid(type);
    QVector<uint16> handles;
    for (int handle = std::max<int>(first, 1); handle <= std::min<int>(last, attributes.size()); ++handle) {
        if (attributes.at(handle - 1).type == wanted)
            handles.append(uint16(handle));
    }
    return handles;
}

uint16 AttributeDatabase::groupEnd(uint16 handle) const
{
    const QByteArray service = uuid16(primaryServiceUuid);
    if (!find(handle) || attributes.at(handle - 1).type != service)
        return handle;
    while (handle < attributes.size() && attributes.at(handle).type != service)
        ++handle;
    return handle;
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
    using D = DatabaseBuilder;
    DatabaseBuilder database;
    database.service(uuid16(0x1800));
    D::growTo(
        database.value(D::canRead | D::canWrite, uuid16(0x2a00), "Simulated module", Attribute::writable),
        20);
    database.value(D::canRead, uuid16(0x2a01), uuid16(0x0080), Attribute::constant);
    database.service(uuid16(0x180a));
    database.value(D::canRead, uuid16(0x2a29), "Vorsel", Attribute::constant);
    database.value(D::canRead, uuid16(0x2a26), "2.1.0", Attribute::constant);
    database.service(uuid16(0x180f));
    database.value(D::canRead | D::canNotify, uuid16(0x2a19), QByteArray(1, char(batteryLevel)),
                   Attribute::writable);
    database.configuration();
    database.service(vendorUuid(0x0001));
    D::growTo(database.value(D::canRead | D::canWrite | D::canIndicate, vendorUuid(0x0002), {},
                             Attribute::writable),
              64);
    database.configuration();
    database.value(D::canRead | D::canWrite, vendorUuid(0x0003), {}, Attribute::user);
    return database.database();
}

} // namespace simulator
