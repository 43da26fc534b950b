#include "simulator/world/gattserver.h"

#include "simulator/world/attributedatabase.h"
#include "simulator/world/remotedatabase.h"

#include <QtEndian>

#include <algorithm>
#include <utility>

namespace simulator {
GattServer::GattServer(const RemoteDevice &device, quint32 seed, OtaTarget &updates)
    : database(remoteDatabase(device))
    , ota((device.services & RemoteDevice::update) != 0 ? &updates : nullptr)
    , random(seed + device.address.address.addr[0])
{
}

Result GattServer::check(uint16 handle, Attribute::Permission wanted, Security security) const
{
    const Attribute *attribute = database.find(handle);
    if (!attribute)
        return resultInvalidHandle;
    if ((attribute->permissions & wanted) == 0)
        return wanted == Attribute::canRead ? resultReadNotPermitted : resultWriteNotPermitted;
    if (security >= attribute->security)
        return resultOk;
    return attribute->security == Security::authenticated ? resultInsufficientAuthentication
                                                          : resultInsufficientEncryption;
}

Result GattServer::read(uint16 handle, int offset, Security security, QByteArray *value) const
{
    const Result result = check(handle, Attribute::canRead, security);
    return result == resultOk ? database.read(handle, offset, value) : result;
}

// A value of fixed size must be written as a whole.
Result GattServer::store(uint16 handle, const QByteArray &value)
{
    const Attribute &attribute = *database.find(handle);
    if (!attribute.variableSize && value.size() != attribute.maxSize)
        return resultInvalidValueLength;
    if (ota && attribute.type == otaControlPointUuid())
        return ota->obey(uint8(value[0]));
    if (ota && attribute.type == otaDataUuid()) {
        ota->append(value);
        return resultOk;
    }
    constexpr char resetEnergy = 1;
    if (attribute.type == uuid16(heartRateControlPointUuid) && value[0] != resetEnergy)
        return resultApplicationError;
    return database.write(handle, 0, value);
}

Result GattServer::write(uint16 handle, const QByteArray &value, Security security)
{
    const Result result = check(handle, Attribute::canWrite, security);
    return result == resultOk ? store(handle, value) : result;
}

bool GattServer::isErase(uint16 handle, const QByteArray &value) const
{
    const Attribute *attribute = database.find(handle);
    return ota && attribute && attribute->type == otaControlPointUuid() && value.size() == 1 &&
           OtaTarget::isErase(uint8(value[0]));
}

void GattServer::writeCommand(uint16 handle, const QByteArray &value, Security security)
{
    if (check(handle, Attribute::canWriteCommand, security) == resultOk)
        store(handle, value);
}

// The bits of Attribute::Property that the client has set and the value has.
int GattServer::subscription(const Attribute &configuration) const
{
    if (configuration.configures == 0)
        return Attribute::none;
    return configuration.value[0] & database.find(configuration.configures)->properties;
}

bool GattServer::isSubscribed() const
{
    for (int handle = 1; handle <= database.size(); ++handle) {
        if (subscription(*database.find(uint16(handle))) != Attribute::none)
            return true;
    }
    return false;
}

QVector<GattServer::Report> GattServer::report()
{
    QVector<Report> reports;
    for (int handle = 1; handle <= database.size(); ++handle) {
        const Attribute &configuration = *database.find(uint16(handle));
        const int wanted = subscription(configuration);
        const bool needsConfirmation = (wanted & Attribute::notify) == 0;
        if (wanted == Attribute::none || (needsConfirmation && awaitsConfirmation))
            continue;
        awaitsConfirmation |= needsConfirmation;
        const uint16 reported = configuration.configures;
        const QByteArray value = nextValue(*database.find(reported));
        database.write(reported, 0, value);
        reports.append({reported, needsConfirmation, value});
    }
    return reports;
}

bool GattServer::confirm()
{
    return std::exchange(awaitsConfirmation, false);
}

void GattServer::forgetClient()
{
    if (ota)
        ota->powerOff();
    awaitsConfirmation = false;
    for (int handle = 1; handle <= database.size(); ++handle) {
        if (database.find(uint16(handle))->configures != 0)
            database.write(uint16(handle), 0, QByteArray(2, '\0'));
    }
}

// A battery runs down and is charged again, a heart rate changes at random, anything else counts.
QByteArray GattServer::nextValue(const Attribute &attribute)
{
    constexpr int full = 100, minRate = 55, maxRate = 180;
    if (attribute.type == uuid16(batteryLevelUuid)) {
        const int level = uint8(attribute.value[0]);
        return QByteArray(1, char(level > 1 ? level - 1 : full));
    }
    if (attribute.type == uuid16(heartRateMeasurementUuid)) {
        constexpr char flags = 0; // the rate has 8 bits
        const int change = int(random() % 7) - 3;
        const int rate = std::clamp(uint8(attribute.value[1]) + change, minRate, maxRate);
        return QByteArray(1, flags) + char(rate);
    }
    QByteArray counter = attribute.value;
    const auto next = qToLittleEndian(qFromLittleEndian<quint32>(counter.constData()) + 1);
    return counter.replace(0, int(sizeof(next)), reinterpret_cast<const char *>(&next), int(sizeof(next)));
}

} // namespace simulator
