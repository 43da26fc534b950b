#include "simulator/remotedatabase.h"

#include "simulator/databasebuilder.h"

#include <algorithm>

namespace simulator {
namespace {

using D = DatabaseBuilder;

constexpr int longestText = 64;

struct Row
{
    uint16 uuid;
    uint8 bits;
    QByteArray value;
};

void addService(DatabaseBuilder &database, uint16 service, const QVector<Row> &rows)
{
    database.service(uuid16(service));
    for (const Row &row : rows) {
        database.value(row.bits, uuid16(row.uuid), row.value, Attribute::writable);
        if ((row.bits & (D::canNotify | D::canIndicate)) != 0)
            database.configuration();
    }
}

struct VendorRow
{
    uint16 number;
    uint8 bits;
    QByteArray value;
    int maxSize; // 0 for a value of fixed size
    Security security;
    const char *description;
};

void addVendorService(DatabaseBuilder &database)
{
    constexpr int longSize = 200;
    QByteArray longValue(longSize, '\0');
    for (int i = 0; i < longSize; ++i)
        longValue[i] = char(i);
    const VendorRow rows[] = {
        {0x0101, D::canRead, "fixed", 0, Security::none, "Read only"},
        {0x0102, D::canWrite, {}, longestText, Security::none, "Write only"},
        {0x0103, D::canRead | D::canWrite, "text", longestText, Security::none, "Read and write"},
        {0x0104, D::canRead | D::canWriteCommand, {}, longestText, Security::none, "Write without response"},
        {0x0105, D::canRead | D::canWrite, longValue, longSize, Security::none, "Long value"},
        {0x0106, D::canRead | D::canIndicate, QByteArray(4, '\0'), 0, Security::none, "Counter"},
        {0x0107, D::canRead | D::canWrite, "secret", longestText, Security::encrypted,
         "Encrypted links only"},
    };
    database.service(vendorUuid(0x0100));
    for (const VendorRow &row : rows) {
        Attribute &added = database.value(row.bits, vendorUuid(row.number), row.value, Attribute::writable);
        added.security = row.security;
        if (row.maxSize != 0)
            D::growTo(added, row.maxSize);
        if ((row.bits & D::canIndicate) != 0)
            database.configuration();
        database.description(row.description);
    }
}

// Whether it is open is the business of those who have typed the passkey.
void addLockService(DatabaseBuilder &database)
{
    database.service(vendorUuid(0x0200));
    Attribute &state = database.value(D::canRead | D::canWrite, vendorUuid(0x0201), QByteArray(1, '\0'),
                                      Attribute::writable);
    state.security = Security::authenticated;
    database.description("Paired with a passkey only");
}

// Both values are taken by the device's OtaTarget and never kept here.
void addUpdateService(DatabaseBuilder &database)
{
    constexpr int longestChunk = 20;
    database.service(otaServiceUuid());
    database.value(D::canWrite, otaControlPointUuid(), QByteArray(1, '\0'), Attribute::constant);
    D::growTo(database.value(D::canWriteCommand, otaDataUuid(), {}, Attribute::constant), longestChunk);
}

// A UUID in hex is written most significant byte first.
QByteArray uuidFromText(const char *hex)
{
    QByteArray uuid = QByteArray::fromHex(hex);
    std::reverse(uuid.begin(), uuid.end());
    return uuid;
}

} // namespace

const QByteArray &otaServiceUuid()
{
    static const QByteArray uuid = uuidFromText("1d14d6eefd634fa1bfa48f47b42119f0");
    return uuid;
}

const QByteArray &otaControlPointUuid()
{
    static const QByteArray uuid = uuidFromText("f7bf3564fb6d4e5388a45e37e0326063");
    return uuid;
}

const QByteArray &otaDataUuid()
{
    static const QByteArray uuid = uuidFromText("984227f334fc4045a5d02c581f81a153");
    return uuid;
}

AttributeDatabase remoteDatabase(const RemoteDevice &device)
{
    const bool isHeartRate = (device.services & RemoteDevice::heartRate) != 0;
    const uint16 appearance = isHeartRate ? 0x0341 : 0; // heart rate belt, or unknown
    DatabaseBuilder database;
    addService(database, 0x1800,
               {{0x2a00, D::canRead, device.name}, {0x2a01, D::canRead, uuid16(appearance)}});
    addService(database, 0x1801, {});
    addService(database, 0x180a,
               {{0x2a29, D::canRead, "Vorsel"},
                {0x2a24, D::canRead, "Simulated device"},
                {0x2a26, D::canRead, "1.0.0"}});
    if ((device.services & RemoteDevice::battery) != 0)
        addService(database, 0x180f,
                   {{batteryLevelUuid, D::canRead | D::canNotify, QByteArray(1, char(95))}});
    if (isHeartRate)
        addService(database, 0x180d,
                   {{heartRateMeasurementUuid, D::canNotify, QByteArray::fromHex("08480000")},
                    {0x2a38, D::canRead, QByteArray(1, '\1')}, // the chest
                    {heartRateControlPointUuid, D::canWrite, QByteArray(1, '\0')}});
    if ((device.services & RemoteDevice::vendor) != 0)
        addVendorService(database);
    if ((device.services & RemoteDevice::update) != 0)
        addUpdateService(database);
    if ((device.services & RemoteDevice::lock) != 0)
        addLockService(database);
    return database.database();
}

} // namespace simulator
