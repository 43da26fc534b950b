#include "simulator/world/remotedatabase.h"

#include "simulator/world/attributedatabase.h"

namespace simulator {
namespace {

using D = DatabaseBuilder;

constexpr int maxText = 64;     // bytes
constexpr int maxOtaChunk = 20; // bytes

// A value that the remote client sees, and what follows it.
struct Row
{
    QByteArray uuid;
    uint8 bits;
    QByteArray value;
    int maxSize = 0; // 0 for a value of fixed size
    Security security = Security::none;
    QByteArray description = {};
};

void addService(DatabaseBuilder &database, const QByteArray &service, const QVector<Row> &rows)
{
    database.service(service);
    for (const Row &row : rows) {
        Attribute &added = database.value(row.bits, row.uuid, row.value, Attribute::writable);
        added.security = row.security;
        if (row.maxSize != 0)
            D::setVariableSize(added, row.maxSize);
        if ((row.bits & (D::canNotify | D::canIndicate)) != 0)
            database.configuration();
        if (!row.description.isEmpty())
            database.description(row.description);
    }
}

void addVendorService(DatabaseBuilder &database)
{
    constexpr int longSize = 200;
    constexpr auto none = Security::none;
    QByteArray longValue(longSize, '\0');
    for (int i = 0; i < longSize; ++i)
        longValue[i] = char(i);
    addService(
        database, vendorUuid(0x0100),
        {{vendorUuid(0x0101), D::canRead, "fixed", 0, none, "Read only"},
         {vendorUuid(0x0102), D::canWrite, {}, maxText, none, "Write only"},
         {vendorUuid(0x0103), D::canRead | D::canWrite, "text", maxText, none, "Read and write"},
         {vendorUuid(0x0104), D::canRead | D::canWriteCommand, {}, maxText, none, "Write without response"},
         {vendorUuid(0x0105), D::canRead | D::canWrite, longValue, longSize, none, "Long value"},
         {vendorUuid(0x0106), D::canRead | D::canIndicate, QByteArray(4, '\0'), 0, none, "Counter"},
         {vendorUuid(0x0107), D::canRead | D::canWrite, "secret", maxText, Security::encrypted,
          "Encrypted links only"}});
}

} // namespace

AttributeDatabase remoteDatabase(const RemoteDevice &device)
{
    const bool isHeartRate = (device.services & RemoteDevice::heartRate) != 0;
    const uint16 appearance = isHeartRate ? 0x0341 : 0; // heart rate belt, or unknown
    DatabaseBuilder database;
    addService(database, uuid16(0x1800),
               {{uuid16(0x2a00), D::canRead, device.name}, {uuid16(0x2a01), D::canRead, uuid16(appearance)}});
    addService(database, uuid16(0x1801), {});
    addService(database, uuid16(0x180a),
               {{uuid16(0x2a29), D::canRead, "Vorsel"},
                {uuid16(0x2a24), D::canRead, "Simulated device"},
                {uuid16(0x2a26), D::canRead, "1.0.0"}});
    if ((device.services & RemoteDevice::battery) != 0)
        addService(database, uuid16(0x180f),
                   {{uuid16(batteryLevelUuid), D::canRead | D::canNotify, QByteArray(1, char(95))}});
    if (isHeartRate)
        addService(database, uuid16(0x180d),
                   {{uuid16(heartRateMeasurementUuid), D::canNotify, QByteArray::fromHex("0048")},
                    {uuid16(0x2a38), D::canRead, QByteArray(1, '\1')}, // the chest
                    {uuid16(heartRateControlPointUuid), D::canWrite, QByteArray(1, '\0')}});
    if ((device.services & RemoteDevice::vendor) != 0)
        addVendorService(database);
    if ((device.services & RemoteDevice::update) != 0)
        addService(database, otaServiceUuid(),
                   {{otaControlPointUuid(), D::canWrite, QByteArray(1, '\0')},
                    {otaDataUuid(), D::canWriteCommand, {}, maxOtaChunk}});
    if ((device.services & RemoteDevice::lock) != 0)
        addService(database, vendorUuid(0x0200),
                   {{vendorUuid(0x0201), D::canRead | D::canWrite, QByteArray(1, '\0'), 0,
                     Security::authenticated, "Paired with a passkey only"}});
    return database.database();
}

} // namespace simulator
