#include "simulator/module/behaviours.h"
#include "simulator/wire/parsing.h"
#include "simulator/world/attributedatabase.h"

namespace simulator {
namespace {

constexpr uint8 maxRead = 22; // of one read request at the default MTU

// Field reason of the event attributes_value.
enum ChangeReason : uint8 { writeRequest = 0, userWriteRequest = 2 };

// Generic Access, Device Information, Battery, and a vendor service with 128-bit UUIDs.
AttributeDatabase localDatabase()
{
    using D = DatabaseBuilder;
    constexpr char batteryLevel = 87;
    DatabaseBuilder database;
    database.service(uuid16(0x1800));
    D::setVariableSize(
        database.value(D::canRead | D::canWrite, uuid16(0x2a00), "Simulated module", Attribute::writable),
        20);
    database.value(D::canRead, uuid16(0x2a01), uuid16(0x0080), Attribute::constant);
    database.service(uuid16(0x180a));
    database.value(D::canRead, uuid16(0x2a29), "Vorsel", Attribute::constant);
    database.value(D::canRead, uuid16(0x2a26), "2.1.0", Attribute::constant);
    database.service(uuid16(0x180f));
    database.value(D::canRead | D::canNotify, uuid16(0x2a19), QByteArray(1, batteryLevel),
                   Attribute::writable);
    database.configuration();
    database.service(vendorUuid(0x0001));
    D::setVariableSize(database.value(D::canRead | D::canWrite | D::canIndicate, vendorUuid(0x0002), {},
                                      Attribute::writable),
                       64);
    database.configuration();
    database.value(D::canRead | D::canWrite, vendorUuid(0x0003), {}, Attribute::user);
    return database.database();
}

// The class attributes. A restart resets the values.
class LocalAttributes : public AttributesBehaviour
{
public:
    explicit LocalAttributes(Module &owner)
        : AttributesBehaviour(owner)
    {
        on("attributes_write", [this](uint16 handle, uint8 offset, const QByteArray &value) {
            return database.write(handle, offset, value);
        });
        on("attributes_read", [this](uint16 handle, uint16 offset) {
            QByteArray value;
            const Result result = database.read(handle, offset, &value);
            return payload(handle, offset, result, value);
        });
        on("attributes_read_type", [this](uint16 handle) {
            const Attribute *attribute = database.find(handle);
            return attribute ? payload(handle, resultOk, attribute->type)
                             : payload(handle, resultInvalidHandle);
        });
        on("attributes_user_read_response", [this](uint8 connection, uint8 error, const QByteArray &value) {
            answer(Request::read, connection, error, value);
        });
        on("attributes_user_write_response",
           [this](uint8 connection, uint8 error) { answer(Request::write, connection, error, {}); });
    }

    void restart() override
    {
        database = localDatabase();
        pending = {};
    }

    Result remoteWrite(uint8 connection, uint16 handle, uint16 offset, const QByteArray &value) override
    {
        const Result result = database.write(handle, offset, value);
        const bool isUser = result == resultUserAttribute;
        if (result != resultOk && !isUser)
            return result;
        if (isUser)
            pending = {Request::write, connection, handle};
        module.raise("attributes_value", connection, isUser ? userWriteRequest : writeRequest, handle, offset,
                     value);
        const Attribute *attribute = database.find(handle);
        if (attribute->configures != 0) {
            const auto flags = uint8(attribute->value[0] & (Attribute::notify | Attribute::indicate));
            module.raise("attributes_status", attribute->configures, flags);
        }
        return resultOk;
    }

    Result remoteRead(uint8 connection, uint16 handle) override
    {
        constexpr uint16 offset = 0;
        QByteArray value;
        const Result result = database.read(handle, offset, &value);
        if (result == resultUserAttribute) {
            pending = {Request::read, connection, handle};
            module.raise("attributes_user_read_request", connection, handle, offset, maxRead);
            return resultOk;
        }
        if (result == resultOk)
            Q_EMIT module.note(
                QStringLiteral("remote read of %1: %2").arg(handle).arg(spacedHex(value.left(maxRead))));
        return result;
    }

private:
    // The pending request of a remote device; a new request replaces it.
    struct Request
    {
        enum Kind { none, read, write } kind = none;
        uint8 connection = 0;
        uint16 handle = 0;
    };

    // Ignores an answer that nothing waits for.
    void answer(Request::Kind kind, uint8 connection, uint8 error, const QByteArray &value)
    {
        if (pending.kind != kind || pending.connection != connection)
            return;
        QString outcome = kind == Request::read ? spacedHex(value.left(maxRead)) : QStringLiteral("done");
        if (error != 0)
            outcome = QStringLiteral("refused with %1").arg(error, 2, 16, QLatin1Char('0'));
        Q_EMIT module.note(QStringLiteral("remote %1 of %2: %3")
                               .arg(kind == Request::read ? QStringLiteral("read") : QStringLiteral("write"))
                               .arg(pending.handle)
                               .arg(outcome));
        pending = {};
    }

    AttributeDatabase database = localDatabase();
    Request pending;
};

} // namespace

std::unique_ptr<AttributesBehaviour> makeAttributesBehaviour(Module &module)
{
    return std::make_unique<LocalAttributes>(module);
}

} // namespace simulator
