#include "simulator/world.h"

#include "simulator/databasebuilder.h"
#include "simulator/remotedatabase.h"

#include <QString>

#include <algorithm>
#include <random>

namespace simulator {
namespace {

// Types of the elements of advertising data.
enum AdType : uint8 {
    adFlags = 1,
    adServices16 = 3,
    adServices128 = 7,
    adShortName = 8,
    adName = 9,
    adTxPower = 10,
    adManufacturer = 0xff,
};

enum AddressType : uint8 { publicAddress = 0, randomAddress = 1 };

QByteArray element(AdType type, const QByteArray &content)
{
    return QByteArray(1, char(content.size() + 1)) + char(type) + content;
}

// What a made device differs in. Advertising data are elements in hex; behind them comes the name, of the
// type given, in the advertisement or in the scan response.
struct Made
{
    const char *name; // UTF-8
    uint8 addressType;
    PacketType packetType;
    const char *elements;
    AdType nameType;
    enum Place { unnamed, inAdvertisement, inScanResponse } place;
    int interval; // milliseconds
    int rssi;
    int rssiSpread;
    void (*refine)(RemoteDevice &device); // what only few have
};

constexpr char general[] = "020106";
constexpr int publicTwin = 16; // its number

const Made madeDevices[WorldSize::made] = {
    {"Everything", publicAddress, connectableUndirected, "020106 05030d180f18", adName, Made::inAdvertisement,
     100, -48, 4,
     [](RemoteDevice &d) {
         d.services = RemoteDevice::battery | RemoteDevice::heartRate | RemoteDevice::vendor;
         d.pairing = PairingFeatures{};
         d.scanResponseData =
             element(adServices128, vendorUuid(0x0100)) + element(adTxPower, QByteArray(1, '\4'));
         d.features = QByteArray::fromHex("0100000000000000"); // encryption
     }},
    {"Heart belt", randomAddress, connectableUndirected, "020106 03030d18", adName, Made::inAdvertisement,
     250, -63, 6, [](RemoteDevice &d) { d.services = RemoteDevice::battery | RemoteDevice::heartRate; }},
    // Refuses short intervals, and every pairing.
    {"Slow link", randomAddress, connectableUndirected, general, adName, Made::inAdvertisement, 500, -70, 3,
     [](RemoteDevice &d) {
         d.services = RemoteDevice::vendor;
         d.shortestInterval = 400;
         d.version = 7;
         d.company = 0xffff;
     }},
    {"Thermo", randomAddress, connectableUndirected, general, adShortName, Made::inAdvertisement, 300, -66, 5,
     nullptr},
    {"Caf\xc3\xa9 \xe5\xbf\x83", publicAddress, connectableUndirected, general, adName, Made::inAdvertisement,
     300, -71, 5, nullptr},
    {"<b>bold</b>", randomAddress, connectableUndirected, general, adName, Made::inAdvertisement, 400, -74, 5,
     nullptr},
    {"<img src=x onerror=alert(1)>", randomAddress, nonConnectableUndirected, "", adName,
     Made::inAdvertisement, 400, -77, 5, nullptr},
    {"Scan me", randomAddress, scannableUndirected, general, adName, Made::inScanResponse, 250, -69, 5,
     nullptr},
    {"", randomAddress, connectableUndirected, "02011a", adName, Made::unnamed, 350, -80, 6, nullptr},
    // A beacon: 31 bytes, of which the last element takes all that are left.
    {"", randomAddress, nonConnectableUndirected,
     "020104 1bffffffbeac00112233445566778899aabbccddeeff00010002c500", adName, Made::unnamed, 100, -58, 12,
     nullptr},
    {"Twenty-six letters in here", publicAddress, connectableUndirected, general, adName,
     Made::inAdvertisement, 500, -72, 4, nullptr},
    {"Limited", randomAddress, connectableUndirected, "020105", adName, Made::inAdvertisement, 300, -67, 4,
     nullptr},
    {"Never answers", randomAddress, connectableUndirected, general, adName, Made::inAdvertisement, 200, -84,
     3, [](RemoteDevice &d) { d.connecting = RemoteDevice::Connecting::neverAnswers; }},
    {"Hangs up", randomAddress, connectableUndirected, general, adName, Made::inAdvertisement, 200, -61, 3,
     [](RemoteDevice &d) {
         d.connecting = RemoteDevice::Connecting::hangsUp;
         d.hangUpTime = 2000;
     }},
    {"Comes and goes", randomAddress, connectableUndirected, general, adName, Made::inAdvertisement, 200, -88,
     6,
     [](RemoteDevice &d) {
         d.nearTime = 15000;
         d.awayTime = 10000;
         d.services = RemoteDevice::battery;
     }},
    // One address under both types: two devices.
    {"Twin, public", publicAddress, connectableUndirected, general, adName, Made::inAdvertisement, 300, -64,
     3, nullptr},
    {"Twin, random", randomAddress, connectableUndirected, general, adName, Made::inAdvertisement, 300, -65,
     3, [](RemoteDevice &d) { d.address.address.addr[0] = uint8(publicTwin); }},
    // Takes a firmware over the air.
    {"Updatable", publicAddress, connectableUndirected, general, adName, Made::inAdvertisement, 250, -55, 4,
     [](RemoteDevice &d) {
         d.services = RemoteDevice::battery | RemoteDevice::update;
         d.scanResponseData = element(adServices128, otaServiceUuid());
     }},
    // Shows a passkey, and gives its state away only behind that.
    {"Door lock", publicAddress, connectableUndirected, general, adName, Made::inAdvertisement, 250, -59, 4,
     [](RemoteDevice &d) {
         d.services = RemoteDevice::battery | RemoteDevice::lock;
         d.pairing = PairingFeatures{displayOnly, true};
     }},
    // Wants the passkey typed, and agrees to no key of full size.
    {"Keypad", randomAddress, connectableUndirected, general, adName, Made::inAdvertisement, 300, -62, 4,
     [](RemoteDevice &d) {
         d.services = RemoteDevice::battery;
         d.pairing = PairingFeatures{keyboardOnly, true, PairingFeatures::shortestKey, 10};
     }},
};

RemoteDevice makeDevice(const Made &row, int number)
{
    RemoteDevice device;
    device.address = {{{uint8(number), 0xee, 0xff, 0xaa, 0x55, 0xc0}}, row.addressType};
    device.packetType = row.packetType;
    device.interval = row.interval;
    device.rssi = row.rssi;
    device.rssiSpread = row.rssiSpread;
    device.name = row.name;
    device.advertisingData = QByteArray::fromHex(row.elements);
    if (row.refine != nullptr)
        row.refine(device);
    if (row.place == Made::inAdvertisement)
        device.advertisingData += element(row.nameType, device.name);
    else if (row.place == Made::inScanResponse)
        device.scanResponseData += element(row.nameType, device.name);
    return device;
}

RemoteDevice makeOneOfTheCrowd(std::mt19937 &random, int number)
{
    constexpr PacketType kinds[] = {connectableUndirected, connectableUndirected, nonConnectableUndirected,
                                    scannableUndirected};
    const auto between = [&random](int least, int most) {
        return least + int(random() % uint(most - least + 1));
    };
    RemoteDevice device;
    device.address.address = {{uint8(number), uint8(number >> 8), uint8(random()), uint8(random()),
                               uint8(random()), uint8(0xc0 | (random() & 0x3f))}};
    device.address.type = uint8(number % 4 == 0 ? publicAddress : randomAddress);
    device.packetType = kinds[number % 4];
    device.interval = between(100, 1000);
    device.rssi = -between(50, 95);
    device.rssiSpread = between(0, 8);
    device.services = number % 3 == 0 ? unsigned(RemoteDevice::battery) : 0;
    device.name = QStringLiteral("Device %1").arg(number, 3, 10, QLatin1Char('0')).toLatin1();
    device.advertisingData =
        QByteArray::fromHex(general) + element(number % 8 == 5 ? adShortName : adName, device.name);
    device.scanResponseData = element(adManufacturer, QByteArray("\xff\xff", 2) + QByteArray::number(number));
    return device;
}

} // namespace

std::vector<RemoteDevice> makeWorld(quint32 seed, const WorldSize &size)
{
    std::mt19937 random(seed);
    std::vector<RemoteDevice> world;
    world.reserve(WorldSize::most);
    for (int i = 0; i < std::min(size.devices, WorldSize::most); ++i)
        world.push_back(i < WorldSize::made ? makeDevice(madeDevices[i], i + 1)
                                            : makeOneOfTheCrowd(random, i + 1));
    return world;
}

bool advertisesFlags(const RemoteDevice &device, uint8 flags)
{
    const QByteArray &data = device.advertisingData;
    return data.size() > 2 && data.at(1) == adFlags && (data.at(2) & flags) != 0;
}

} // namespace simulator
