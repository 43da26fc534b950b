#pragma once

#include "simulator/world/attributedatabase.h"
#include "simulator/world/otatarget.h"
#include "simulator/world/remotedevice.h"

#include <random>

namespace simulator {

// How a request of the attribute protocol ended, and the handle that an error response names.
struct Outcome
{
    Result result = resultOk;
    uint16 handle = 0;
};

// The GATT server of one remote device: its attributes, their permissions, and its reports. When the client
// leaves, values stay and client configurations are reset.
class GattServer
{
public:
    // Bytes that fit into one packet of the default MTU.
    static constexpr int mtu = 23;
    static constexpr int maxRead = mtu - 1;
    static constexpr int maxTypedRead = mtu - 4;
    static constexpr int maxWrite = mtu - 3;

    // `updates` must outlive the server.
    GattServer(const RemoteDevice &device, quint32 seed, OtaTarget &updates);

    const AttributeDatabase &attributes() const { return database; }

    // Reads the whole value from `offset` on, regardless of the MTU.
    Result read(uint16 handle, int offset, Security security, QByteArray *value) const;

    Result write(uint16 handle, const QByteArray &value, Security security);

    // Whether the write erases memory, which takes the device some time.
    bool isErase(uint16 handle, const QByteArray &value) const;

    // Ignores a write that is not permitted.
    void writeCommand(uint16 handle, const QByteArray &value, Security security);

    struct Report
    {
        uint16 handle;
        bool needsConfirmation;
        QByteArray value;
    };

    bool isSubscribed() const;

    // The notifications and indications of the next second. An indication waits until the one before it is
    // confirmed.
    QVector<Report> report();

    // False if there was nothing to confirm.
    bool confirm();

    void forgetClient();

private:
    Result check(uint16 handle, Attribute::Permission wanted, Security security) const;
    Result store(uint16 handle, const QByteArray &value);
    int subscription(const Attribute &configuration) const;
    QByteArray nextValue(const Attribute &attribute);

    AttributeDatabase database;
    OtaTarget *const ota; // null if the device has none
    std::mt19937 random;
    bool awaitsConfirmation = false;
};

} // namespace simulator
