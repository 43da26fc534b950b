#include "simulator/databasebuilder.h"

namespace simulator {
namespace {

constexpr uint16 userDescriptionUuid = 0x2901;
constexpr uint16 clientConfigurationUuid = 0x2902;

} // namespace

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

void DatabaseBuilder::growTo(Attribute &attribute, int maxSize)
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
