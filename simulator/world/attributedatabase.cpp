#include "simulator/world/attributedatabase.h"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

constexpr uint16 userDescriptionUuid = 0x2901;
constexpr uint16 clientConfigurationUuid = 0x2902;

// First 12 bytes, in wire order, of the 128-bit form of a 16-bit UUID. Two zero bytes end the form.
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

QByteArray shortUuid(const QByteArray &uuid)
{
    const bool isLongForm =
        uuid.size() == 16 && uuid.startsWith(baseUuid) && uuid.endsWith(QByteArray(2, '\0'));
    return isLongForm ? uuid.mid(baseUuid.size(), 2) : uuid;
}

QVector<uint16> AttributeDatabase::ofType(const QByteArray &type, uint16 first, uint16 last) const
{
    const QByteArray wanted = shortUuid(type);
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

QByteArray uuid16(uint16 uuid)
{
    return QByteArray().append(char(uuid & 0xff)).append(char(uuid >> 8));
}

QByteArray vendorUuid(uint16 number)
{
    return QByteArray::fromHex("e7d0412f6c3b578a5b4c1e9d") + uuid16(number) + QByteArray(2, '\0');
}

void DatabaseBuilder::service(const QByteArray &uuid)
{
    add(uuid16(primaryServiceUuid), uuid, Attribute::constant);
}

Attribute &DatabaseBuilder::value(uint8 bits, const QByteArray &uuid, const QByteArray &initial,
                                  Attribute::Access access)
{
    lastValue = uint16(attributes.size() + 2);
    add(uuid16(characteristicUuid), char(bits) + uuid16(lastValue) + uuid, Attribute::constant);
    Attribute &added = add(uuid, initial, access);
    added.properties = (bits & canNotify ? Attribute::notify : Attribute::none) |
                       (bits & canIndicate ? Attribute::indicate : Attribute::none);
    added.permissions = bits & (canRead | canWriteCommand | canWrite);
    return added;
}

void DatabaseBuilder::description(const QByteArray &text)
{
    add(uuid16(userDescriptionUuid), text, Attribute::constant);
}

void DatabaseBuilder::configuration()
{
    Attribute &added = add(uuid16(clientConfigurationUuid), QByteArray(2, '\0'), Attribute::writable);
    added.configures = lastValue;
    added.permissions = canRead | canWrite;
}

void DatabaseBuilder::setVariableSize(Attribute &attribute, int maxSize)
{
    attribute.variableSize = true;
    attribute.maxSize = maxSize;
}

Attribute &DatabaseBuilder::add(const QByteArray &type, const QByteArray &value, Attribute::Access access)
{
    attributes.append({type, value, value.size(), false, access, Attribute::none});
    return attributes.last();
}

} // namespace simulator
