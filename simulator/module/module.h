#pragma once

#include "simulator/module/connections.h"
#include "simulator/module/flashmemory.h"
#include "simulator/module/whitelist.h"
#include "simulator/wire/payload.h"
#include "simulator/world/air.h"
#include "simulator/world/devices.h"
#include "simulator/world/otatarget.h"

#include <QHash>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace simulator {

class AttributesBehaviour;
class Behaviour;
class HardwareBehaviour;
class SmBehaviour;

// What the command line chooses of a module and its surroundings.
struct ModuleOptions
{
    quint32 seed = 1;
    bd_addr address = {{0x05, 0x04, 0x03, 0x02, 0x01, 0xc0}};
    WorldSize world;
    int answerDelay = 0;        // ms that a remote device takes to answer
    int eraseTime = 50;         // ms that a remote device takes to erase a block of its memory
    int pairingTimeout = 30000; // ms that pairing waits for a passkey
    bool numberReports = false; // scan responses carry a running number
};

// The module behind the wire. A command gets exactly one response, and the events that it causes follow the
// response. An unknown message or a wrong length gets the event protocol_error. In the bootloader, commands
// that it does not support are in the wrong state, or unknown if their response has no result.
class Module : public QObject
{
    Q_OBJECT

public:
    explicit Module(const ModuleOptions &chosen = {}, QObject *parent = nullptr);
    ~Module() override;

    // Takes one whole frame, header included.
    void takeFrame(const QByteArray &frame);

    // Returns the result that replaces carrying out a command, named by its index.
    using ResultOverride = std::function<std::optional<uint16>(int command)>;
    void setResultOverride(ResultOverride chosen) { resultOverride = std::move(chosen); }

    AttributesBehaviour &attributes() { return *attributesBehaviour; }
    HardwareBehaviour &hardware() { return *hardwareBehaviour; }
    bool isInBootloader() const { return inBootloader; }

    // --- for behaviours

    // Takes the payload of a command, whose length fits, and returns the payload of the response.
    using Handler = std::function<QByteArray(const QByteArray &payload)>;
    void setHandler(const char *command, Handler handler);

    // Sends an event like "system_boot", after the response if a command is being carried out.
    template <typename... Fields>
    void raise(const char *event, const Fields &...fields)
    {
        raisePayload(event, payload(fields...));
    }
    void raisePayload(const char *event, const QByteArray &payload);

    // Restarts, `milliseconds` after the response. A later call replaces an earlier one.
    void restartAfter(int milliseconds, bool intoBootloader);

    // The fields of system_boot and of the response to system_get_info.
    static QByteArray versionInfo();

    const ModuleOptions &options() const { return chosenOptions; }
    FlashMemory &flash() { return flashMemory; }
    Air &air() { return surroundings; }
    Connections &connections() { return openConnections; }
    OtaTarget &ota() { return otaTarget; }
    Whitelist &whitelist() { return listedDevices; }

    // The number of the bond with this device, or noBond.
    uint8 bondOf(const DeviceAddress &address) const;

Q_SIGNALS:
    void frameReady(const QByteArray &frame);
    void note(const QString &text); // for the log: something that no frame shows

private:
    QByteArray responseTo(int command, const QByteArray &payload);
    void restart();

    const ModuleOptions chosenOptions;
    FlashMemory flashMemory;
    Air surroundings;
    Connections openConnections;
    OtaTarget otaTarget; // of the devices that can be updated
    Whitelist listedDevices;
    QHash<int, Handler> handlers;
    std::vector<std::unique_ptr<Behaviour>> behaviours;
    AttributesBehaviour *attributesBehaviour = nullptr;
    HardwareBehaviour *hardwareBehaviour = nullptr;
    SmBehaviour *smBehaviour = nullptr;
    ResultOverride resultOverride;
    QList<QByteArray> heldEvents;
    bool isCarryingOut = false;
    bool inBootloader = false;
    bool bootloaderNext = false; // after the next restart
    QTimer restartTimer;
};

} // namespace simulator
