#include "simulator/world/devices.h"

#include "simulator/world/attributedatabase.h"
#include "simulator/world/remotedatabase.h"

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

// A device with a purpose of its own. Its advertisement holds the elements, in hex, and the name.
struct SpecialDevice
{
    const char *name; // UTF-8
    uint8 addressType;
    const char *elements;
    int interval; // ms
    int rssi;     // dBm, with its spread
    int rssiSpread;
    void (*refine)(RemoteDevice &device); // sets what only some devices need
};

constexpr char general[] = "020106";
constexpr int publicTwin = 16; // its number

const SpecialDevice specialDevices[WorldSize::special] = {
    {"Everything", publicAddress, "020106 05030d180f18", 100, -48, 4,
     [](RemoteDevice &d) {
         d.services = RemoteDevice::battery | RemoteDevice::heartRate | RemoteDevice::vendor;
         d.pairing = PairingFeatures{};
         d.scanResponseData =
             element(adServices128, vendorUuid(0x0100)) + element(adTxPower, QByteArray(1, '\4'));
         d.features = QByteArray::fromHex("0100000000000000"); // encryption
     }},
    {"Heart belt", randomAddress, "020106 03030d18", 250, -63, 6,
     [](RemoteDevice &d) { d.services = RemoteDevice::battery | RemoteDevice::heartRate; }},
    // Refuses short intervals, and every pairing.
    {"Slow link", randomAddress, general, 500, -70, 3,
     [](RemoteDevice &d) {
         d.services = RemoteDevice::vendor;
         d.minInterval = 400;
         d.version = 7;
         d.company = 0xffff;
     }},
    {"Thermo", randomAddress, general, 300, -66, 5,
     [](RemoteDevice &d) { d.advertisingData = QByteArray::fromHex(general) + element(adShortName, d.name); }},
    {"Caf\xc3\xa9 \xe5\xbf\x83", publicAddress, general, 300, -71, 5, nullptr},
    {"<b>bold</b>", randomAddress, general, 400, -74, 5, nullptr},
    {"<img src=x onerror=alert(1)>", randomAddress, "", 400, -77, 5,
     [](RemoteDevice &d) { d.packetType = nonConnectableUndirected; }},
    // The name comes in the scan response.
    {"Scan me", randomAddress, general, 250, -69, 5,
     [](RemoteDevice &d) {
         d.packetType = scannableUndirected;
         d.advertisingData = QByteArray::fromHex(general);
         d.scanResponseData = element(adName, d.name);
     }},
    {"", randomAddress, "02011a", 350, -80, 6, nullptr},
    // A beacon: the data fill all 31 bytes.
    {"", randomAddress, "020104 1bffffffbeac00112233445566778899aabbccddeeff00010002c500", 100, -58, 12,
     [](RemoteDevice &d) { d.packetType = nonConnectableUndirected; }},
    {"Twenty-six letters in here", publicAddress, general, 500, -72, 4, nullptr},
    {"Limited", randomAddress, "020105", 300, -67, 4, nullptr},
    {"Never answers", randomAddress, general, 200, -84, 3,
     [](RemoteDevice &d) { d.connecting = RemoteDevice::Connecting::neverAnswers; }},
    {"Hangs up", randomAddress, general, 200, -61, 3,
     [](RemoteDevice &d) {
         d.connecting = RemoteDevice::Connecting::hangsUp;
         d.hangUpTime = 2000;
     }},
    {"Comes and goes", randomAddress, general, 200, -88, 6,
     [](RemoteDevice &d) {
         d.nearTime = 15000;
         d.awayTime = 10000;
         d.services = RemoteDevice::battery;
     }},
    // The same address with both address types: two devices.
    {"Twin, public", publicAddress, general, 300, -64, 3, nullptr},
    {"Twin, random", randomAddress, general, 300, -65, 3,
     [](RemoteDevice &d) { d.address.address.addr[0] = uint8(publicTwin); }},
    // Accepts a firmware over the air.
    {"Updatable", publicAddress, general, 250, -55, 4,
     [](RemoteDevice &d) {
         d.services = RemoteDevice::battery | RemoteDevice::update;
         d.scanResponseData = element(adServices128, otaServiceUuid());
     }},
    // Shows a passkey; its state is readable only after pairing with that passkey.
    {"Door lock", publicAddress, general, 250, -59, 4,
     [](RemoteDevice &d) {
         d.services = RemoteDevice::battery | RemoteDevice::lock;
         d.pairing = PairingFeatures{displayOnly, true};
     }},
    // Asks for a passkey, and agrees to no key of full size.
    {"Keypad", randomAddress, general, 300, -62, 4,
     [](RemoteDevice &d) {
         d.services = RemoteDevice::battery;
         d.pairing = PairingFeatures{keyboardOnly, true, PairingFeatures::minKey, 10};
     }},
};

RemoteDevice makeSpecialDevice(const SpecialDevice &row, int number)
{
    RemoteDevice device;
    device.address = {{{uint8(number), 0xee, 0xff, 0xaa, 0x55, 0xc0}}, row.addressType};
    device.interval = row.interval;
    device.rssi = row.rssi;
    device.rssiSpread = row.rssiSpread;
    device.name = row.name;
    device.advertisingData = QByteArray::fromHex(row.elements);
    if (!device.name.isEmpty())
        device.advertisingData += element(adName, device.name);
    if (row.refine)
        row.refine(device);
    return device;
}

RemoteDevice makePlainDevice(std::mt19937 &random, int number)
{
    constexpr PacketType kinds[] = {connectableUndirected, connectableUndirected, nonConnectableUndirected,
                                    scannableUndirected};
    const auto between = [&random](int min, int max) { return min + int(random() % uint(max - min + 1)); };
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

std::vector<RemoteDevice> makeDevices(quint32 seed, const WorldSize &size)
{
    std::mt19937 random(seed);
    std::vector<RemoteDevice> world;
    world.reserve(WorldSize::maxDevices);
    for (int i = 0; i < std::min(size.devices, WorldSize::maxDevices); ++i)
        world.push_back(i < WorldSize::special ? makeSpecialDevice(specialDevices[i], i + 1)
                                               : makePlainDevice(random, i + 1));
    return world;
}

bool advertisesFlags(const RemoteDevice &device, uint8 flags)
{
    const QByteArray &data = device.advertisingData;
    return data.size() > 2 && data.at(1) == adFlags && (data.at(2) & flags) != 0;
}

} // namespace simulator
