#pragma once

#include "simulator/attributedatabase.h"
#include "simulator/otatarget.h"
#include "simulator/remotedevice.h"

#include <random>

namespace simulator {

// How a request of the attribute protocol ended, and the handle that an error response names.
struct Outcome
{
    Result result = resultOk;
    uint16 handle = 0;
};

// The GATT server of one remote device: its attributes, what one client may do with them, and what it reports
// on its own. Values stay when the client leaves; its prepared writes and its configurations do not.
class GattServer
{
public:
    // What fits into one packet of the default MTU.
    static constexpr int mtu = 23;
    static constexpr int longestRead = mtu - 1;
    static constexpr int longestTypedRead = mtu - 4;
    static constexpr int longestWrite = mtu - 3;
    static constexpr int longestPreparedWrite = mtu - 5;
    static constexpr int prepareQueueSize = 16;

    // What it sends is the same for the same device and seed. The target of updates is asked only if the
    // device offers them; it has to outlive the server.
    GattServer(const RemoteDevice &device, quint32 seed, OtaTarget &updates);

    const AttributeDatabase &attributes() const { return database; }

    // The whole rest of the value from `offset` on, not cut to the MTU.
    Result read(uint16 handle, int offset, Security security, QByteArray *value) const;

    Result write(uint16 handle, const QByteArray &value, Security security);

    // Whether such a write erases memory, which the device takes its time for.
    bool isErase(uint16 handle, const QByteArray &value) const;

    // What is not allowed is passed over.
    void writeCommand(uint16 handle, const QByteArray &value, Security security);

    // Queued writes are done all or none; the queue is empty afterwards.
    Result prepareWrite(uint16 handle, uint16 offset, const QByteArray &value, Security security);
    Outcome executeWrites(bool commit);

    struct Report
    {
        uint16 handle;
        bool needsConfirmation;
        QByteArray value;
    };

    bool isSubscribed() const;

    // What there is to notify and indicate a second later. An indication waits until the one before it is
    // confirmed.
    QVector<Report> report();

    // False if there was nothing to confirm.
    bool confirm();

    void forgetClient();

private:
    struct PreparedWrite
    {
        uint16 handle;
        uint16 offset;
        QByteArray value;
    };

    Result check(uint16 handle, Attribute::Permission wanted, Security security) const;
    void act(const Attribute &written);
    Result store(uint16 handle, const QByteArray &value);
    int subscription(const Attribute &configuration) const;
    QByteArray nextValue(const Attribute &attribute);

    AttributeDatabase database;
    OtaTarget *const ota; // null if the device has none
    QVector<PreparedWrite> prepared;
    std::mt19937 random;
    uint16 energy = 0; // kJ expended, counted up by the heart rate
    bool awaitsConfirmation = false;
};

} // namespace simulator
