#include "transport/uartcomm.h"

#include "transport/platform/platform.h"
#include "transport/uartdev.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

constexpr std::uint32_t portNameSize = 261;

// The text up to its terminating zero, which the system does not promise.
QByteArray textOf(const char *buffer, std::size_t size)
{
    return {buffer, int(std::find(buffer, buffer + size, '\0') - buffer)};
}

} // namespace

CommDev *UartComm::Open(QString port)
{
    auto device = std::make_unique<UartDev>(port, nullptr);
    return device->Open() ? device.release() : nullptr;
}

void UartComm::Start() {}

void UartComm::DiscoverDevices()
{
    const vs::handle list = vs::open_device_list();
    if (list == vs::invalid_handle)
        return;
    vs::device_record device;
    for (std::uint32_t index = 0; vs::device_at(list, index, device); ++index) {
        std::uint32_t size = 0;
        vs::friendly_name(list, device, nullptr, 0, &size);
        std::vector<char> friendly(std::max<std::size_t>(size, 1));
        if (!vs::friendly_name(list, device, friendly.data(), size, nullptr))
            continue;
        const vs::handle key = vs::open_device_key(list, device);
        if (key == vs::invalid_handle)
            continue;
        char port_name[portNameSize];
        std::uint32_t length = portNameSize;
        if (vs::query_port_name(key, port_name, length)) {
            const QByteArray port = textOf(port_name, std::min(length, portNameSize));
            Q_EMIT DeviceFound(QString::fromLocal8Bit(textOf(friendly.data(), friendly.size())),
                               QString::fromLatin1(vs::port_path_prefix() + port));
        }
        vs::close_device_key(key);
    }
    vs::destroy_device_list(list);
}
