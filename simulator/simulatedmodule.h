#pragma once

#include "simulator/air.h"
#include "simulator/behaviour.h"
#include "simulator/flashmemory.h"
#include "simulator/links.h"
#include "simulator/otatarget.h"
#include "simulator/whitelist.h"
#include "simulator/world.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace simulator {

class AttributesBehaviour;
class HardwareBehaviour;
class SmBehaviour;

// Where a module and its surroundings differ from others.
struct ModuleIdentity
{
    quint32 seed = 1;
    bd_addr address = {{0x05, 0x04, 0x03, 0x02, 0x01, 0xc0}};
    WorldSize world;
    int answerDelay = 0;        // milliseconds that a remote device takes to answer
    int eraseTime = 50;         // milliseconds that one takes to erase a block of its memory
    int pairingTimeout = 30000; // milliseconds that pairing waits for a passkey
    bool numberReports = false; // whether what is heard in a discovery comes numbered
};

// Frames seen since the last start.
struct FrameCounters
{
    uint8 sent = 0;
    uint8 accepted = 0;
    uint8 refused = 0;
};

// The module behind the wire: takes command frames, gives responses and events. A command gets exactly one
// response; the events that it causes follow that response. A frame of an unknown message or with a wrong
// length gets no response but the event protocol_error with the reason. In the bootloader only the class dfu
// and a few commands are carried out; another one is in the wrong state, or unknown if its response has no
// result.
class SimulatedModule : public QObject
{
    Q_OBJECT

public:
    explicit SimulatedModule(const ModuleIdentity &identity = {}, QObject *parent = nullptr);
    ~SimulatedModule() override;

    // Takes one whole frame, header included.
    void takeFrame(const QByteArray &frame);

    // Counts bytes that came and were no frame.
    void countRefused() { ++frameCounters.refused; }

    // Asked before a command is carried out, with the command's index: a value makes the module answer with
    // that result and do nothing.
    using ResultOverride = std::function<std::optional<uint16>(int command)>;
    void setResultOverride(ResultOverride chosen);

    AttributesBehaviour &attributes() { return *attributesBehaviour; }
    HardwareBehaviour &hardware() { return *hardwareBehaviour; }
    bool isInBootloader() const { return inBootloader; }

    // The rest is for behaviours.
    template <typename T, std::size_t count>
    void addCommands(T *owner, const CommandEntry<T> (&entries)[count])
    {
        for (const CommandEntry<T> &entry : entries) {
            addCommand(entry.name, [owner, handler = entry.handler](payload_reader &in, PayloadWriter &out) {
                (owner->*handler)(in, out);
            });
        }
    }

    // Sends an event, behind the response if a command is being carried out. The name is a literal,
    // "system_boot".
    void raise(const char *event, const PayloadWriter &fields = {});

    // Restarts after so many milliseconds, counted from the response on, into the bootloader or the normal
    // firmware; a later call replaces an earlier one.
    void restartAfter(int milliseconds, bool intoBootloader);

    const ModuleIdentity &identity() const { return who; }
    const FrameCounters &counters() const { return frameCounters; }
    FlashMemory &flash() { return flashMemory; }
    const FlashMemory &flash() const { return flashMemory; }
    Air &air() { return surroundings; }
    Links &links() { return openLinks; }
    OtaTarget &ota() { return otaTarget; }
    Whitelist &whitelist() { return listedDevices; }

    // The number of the bond with this device, 0xff if there is none.
    uint8 bondOf(const DeviceAddress &address) const;

Q_SIGNALS:
    void frameReady(const QByteArray &frame);
    void note(const QString &text); // something that no frame says

private:
    using Handler = std::function<void(payload_reader &, PayloadWriter &)>;

    void addCommand(const char *name, Handler handler);
    void carryOut(int command, const QByteArray &payload);
    void refuse(Result reason);
    void send(const QByteArray &frame);
    void restart();

    const ModuleIdentity who;
    FrameCounters frameCounters;
    FlashMemory flashMemory;
    Air surroundings;
    Links openLinks;
    OtaTarget otaTarget; // of the devices that can be updated
    Whitelist listedDevices;
    QHash<int, Handler> handlers;
    std::vector<std::unique_ptr<Behaviour>> behaviours;
    AttributesBehaviour *attributesBehaviour = nullptr;
    HardwareBehaviour *hardwareBehaviour = nullptr;
    SmBehaviour *smBehaviour = nullptr;
    ResultOverride resultOverride;
    QList<QByteArray> heldEvents;
    bool carryingOut = false;
    bool inBootloader = false;
    bool bootloaderNext = false; // what the next restart leads into
    const QSet<int> bootloaderCommands;
    QTimer restartTimer;
};

} // namespace simulator
