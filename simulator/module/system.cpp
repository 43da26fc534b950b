#include "simulator/module/behaviours.h"

#include <array>

namespace simulator {
namespace {

// The class system, and the resets of the class dfu.
class SystemBehaviour : public Behaviour
{
public:
    explicit SystemBehaviour(Module &owner)
        : Behaviour(owner)
    {
        addRestarts();
        addInformation();
        addEndpoints();
        addWhitelist();
    }

    void restart() override
    {
        endpoints.fill({});
        module.whitelist().clear();
    }

private:
    void addRestarts()
    {
        for (const char *command : {"system_reset", "dfu_reset"}) {
            on(command, [this](uint8 intoBootloader) { module.restartAfter(0, intoBootloader != 0); });
        }
        for (const char *command : {"system_delay_reset", "dfu_delay_reset"}) {
            on(command, [this](uint8 intoBootloader, uint16 milliseconds) {
                module.restartAfter(milliseconds, intoBootloader != 0);
            });
        }
    }

    void addInformation()
    {
        on("system_address_get", [this] { return payload(module.options().address); });
        on("system_get_info", [] { return Module::versionInfo(); });
        on("system_get_connections", [this] {
            for (uint8 handle = 0; handle < Connections::maxCount; ++handle)
                module.connections().raiseStatus(handle);
            return payload(uint8(Connections::maxCount));
        });
        // A bus reads any address: zeros follow the end of the memory.
        on("system_read_memory", [this](uint32 address, uint8 length) {
            return payload(address, module.flash().read(address, length).leftJustified(length, '\0'));
        });
    }

    // The output of each endpoint is looped back to its input.
    void addEndpoints()
    {
        constexpr int maxBuffered = 255;
        on("system_endpoint_tx", [this](uint8 number, const QByteArray &data) {
            if (!exists(number))
                return resultInvalidParameter;
            if (endpoints[number].size() + data.size() > maxBuffered)
                return resultOverflow;
            endpoints[number] += data;
            return resultOk;
        });
        on("system_endpoint_rx", [this](uint8 number, uint8 size) {
            if (!exists(number))
                return payload(resultInvalidParameter);
            QByteArray &buffer = endpoints[number];
            if (size > buffer.size())
                return payload(resultOverflow);
            const QByteArray data = buffer.left(size);
            buffer.remove(0, size);
            return payload(resultOk, data);
        });
    }

    void addWhitelist()
    {
        on("system_whitelist_append", [this](const bd_addr &address, uint8 type) {
            return module.whitelist().append({address, type});
        });
        on("system_whitelist_remove", [this](const bd_addr &address, uint8 type) {
            return module.whitelist().remove({address, type});
        });
        on("system_whitelist_clear", [this] { module.whitelist().clear(); });
    }

    // Endpoint 0 carries the protocol itself.
    bool exists(uint8 endpoint) const { return endpoint > 0 && endpoint < endpoints.size(); }

    std::array<QByteArray, 6> endpoints;
};

} // namespace

std::unique_ptr<Behaviour> makeSystemBehaviour(Module &module)
{
    return std::make_unique<SystemBehaviour>(module);
}

} // namespace simulator
