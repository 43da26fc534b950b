// The words for result codes, the symbolic names and the registered types.

#include "protocol/api_base.h"
#include "protocol/cls_ble.h"
#include "protocol/error_table.h"

#include <QMetaType>
#include <QTest>

namespace {

const char *const errors = R"(
0000 No Error
0100 No error
0180 Command contained invalid parameter
0181 Device is in wrong state to receive command
0182 Device has run out of memory
0183 Feature is not implemented
0184 Command was not recognized
0185 Command or Procedure failed due to timeout
0186 Connection handle passed is to command is not a valid handle
0187 Command would cause either underflow or overflow error
0188 User attribute was accessed through API which is not supported
0189 No valid license key found
018a Command maximum length exceeded
018b Bonding procedure can't be started because device has no space left for bond.
018c Module was reset due to script stack overflow
0200 Command completed succesfully
0205 Pairing or authentication failed due to incorrect results in the pairing or authentication procedure. This could be due to an incorrect PIN or Link Key
0206 Pairing failed because of missing PIN, or authentication failed because of missing Key
0207 Controller is out of memory.
0208 Link supervision timeout has expired.
0209 Controller is at limit of connections it can support.
020c Command requested cannot be executed because the Controller is in a state where it cannot process this command at this time.
0212 Command contained invalid parameters.
0213 User on the remote device terminated the connection.
0216 Local device terminated the connection.
0222 Connection terminated due to link-layer procedure timeout.
0228 Received link-layer control packet where instant was in the past.
023a Operation was rejected because the controller is busy and unable to process the request.
023b Remote evice terminated the connection because of an unacceptable connection interval.
023c Directed advertising completed without a connection being created.
023d Connection was terminated because the Message Integrity Check (MIC) failed on a received packet.
023e LL initiated a connection but the connection has failed to be established. Controller did not receive any packets from remote end.
0301 The user input of passkey failed, for example, the user cancelled the operation
0302 Out of Band data is not available for authentication
0303 The pairing procedure cannot be performed as authentication requirements cannot be met due to IO capabilities of one or both devices
0304 The confirm value does not match the calculated compare value
0305 Pairing is not supported by the device
0306 The resultant encryption key size is insufficient for the security requirements of this device
0307 The SMP command received is not supported on this device
0308 Pairing failed due to an unspecified reason
0309 Pairing or authentication procedure is disallowed because too little time has elapsed since last pairing request or security request
030a The Invalid Parameters error code indicates: the command length is invalid or a parameter is outside of the specified range.
0401 The attribute handle given was not valid on this server
0402 The attribute cannot be read
0403 The attribute cannot be written
0404 The attribute PDU was invalid
0405 The attribute requires authentication before it can be read or written.
0406 Attribute Server does not support the request received from the client.
0407 Offset specified was past the end of the attribute
0408 The attribute requires authorization before it can be read or written.
0409 Too many prepare writes have been queueud
040a No attribute found within the given attribute handle range.
040b The attribute cannot be read or written using the Read Blob Request
040c The Encryption Key Size used for encrypting this link is insufficient.
040d The attribute value length is invalid for the operation
040e The attribute request that was requested has encountered an error that was unlikely, and therefore could not be completed as requested.
040f The attribute requires encryption before it can be read or written.
0410 The attribute type is not a supported grouping attribute as defined by a higher layer specification.
0411 Insufficient Resources to complete the request
0480 Application error code defined by a higher layer specification.
)";

using Table = QMap<uint, QString>;

template <typename Key>
Table sorted(const QHash<Key, QString> &table)
{
    static_assert(sizeof(Key) == 4);
    Table names;
    for (auto it = table.begin(); it != table.end(); ++it)
        names.insert(static_cast<uint>(it.key()), it.value());
    return names;
}

} // namespace

Q_DECLARE_METATYPE(Table)

class tst_Tables : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errorTexts();
    void unknownErrorsAreKept();
    void secondEngineLeavesTable();
    void names_data();
    void names();
    void metaTypes();
};

void tst_Tables::errorTexts()
{
    error_table.clear();
    cls_ble engine;
    Table expected;
    for (const QString &row : QString::fromLatin1(errors).trimmed().split(QLatin1Char('\n')))
        expected.insert(row.left(4).toUInt(nullptr, 16), row.mid(5));
    QCOMPARE(expected.size(), 60);
    Table found;
    for (auto it = error_table.begin(); it != error_table.end(); ++it)
        found.insert(it.key(), it.value());
    QCOMPARE(found, expected);
    for (auto it = expected.begin(); it != expected.end(); ++it)
        QCOMPARE(error_text(static_cast<uint16>(it.key())), it.value());
    QCOMPARE(error_table.size(), 60);
}

void tst_Tables::unknownErrorsAreKept()
{
    error_table.clear();
    cls_ble engine;
    QCOMPARE(error_text(0x0123), QString());
    QCOMPARE(error_table.size(), 61);
    QCOMPARE(error_text(0x0123), QString());
    QCOMPARE(error_table.size(), 61);
    // A known family is no fall-back.
    for (const int code : {0x0201, 0x0202, 0x0203, 0x0204})
        QCOMPARE(error_text(static_cast<uint16>(code)), QString());
    QCOMPARE(error_table.size(), 65);
}

void tst_Tables::secondEngineLeavesTable()
{
    error_table.clear();
    cls_ble first;
    error_text(0x0123);
    error_table[0x0100] = QStringLiteral("changed");
    error_table.remove(0x0480);
    cls_ble second;
    QCOMPARE(error_table.size(), 60);
    QCOMPARE(error_table.value(0x0100), QStringLiteral("changed"));
    QVERIFY(!error_table.contains(0x0480));
    error_table.clear();
    cls_ble third;
    QCOMPARE(error_table.size(), 60);
}

void tst_Tables::names_data()
{
    QTest::addColumn<Table>("table");
    QTest::addColumn<QString>("entries");
    const cls_ble engine;
    const auto row = [](const char *title, const Table &table, const char *entries) {
        QTest::newRow(title) << table << QString::fromLatin1(entries);
    };
    row("system endpoint_names", sorted(engine.system.endpoint_names),
        "0 endpoint_api, 1 endpoint_test, 2 endpoint_script, 3 endpoint_usb, 4 endpoint_uart0, 5 "
        "endpoint_uart1");
    row("attributes change_reason_names", sorted(engine.attributes.change_reason_names),
        "0 attribute_change_reason_write_request, 1 attribute_change_reason_write_command, 2 "
        "attribute_change_reason_write_request_user");
    row("attributes status_flag_names", sorted(engine.attributes.status_flag_names),
        "1 attribute_status_flag_notify, 2 attribute_status_flag_indicate");
    row("connection connection_status_names", sorted(engine.connection.connection_status_names),
        "1 connected, 2 encrypted, 4 completed, 8 parameters_change");
    row("attclient value_type_names", sorted(engine.attclient.value_type_names),
        "0 attribute_value_type_read, 1 attribute_value_type_notify, 2 attribute_value_type_indicate, 3 "
        "attribute_value_type_read_by_type, 4 attribute_value_type_read_blob, 5 "
        "attribute_value_type_indicate_rsp_req");
    row("sm bonding_key_names", sorted(engine.sm.bonding_key_names),
        "1 bonding_key_ltk, 2 bonding_key_addr_public, 4 bonding_key_addr_static, 8 bonding_key_irk, 16 "
        "bonding_key_edivrand, 32 bonding_key_csrk, 64 bonding_key_masterid");
    row("sm io_capability_names", sorted(engine.sm.io_capability_names),
        "0 io_capability_displayonly, 1 io_capability_displayyesno, 2 io_capability_keyboardonly, 3 "
        "io_capability_noinputnooutput, 4 io_capability_keyboarddisplay");
    row("gap address_type_names", sorted(engine.gap.address_type_names),
        "0 address_type_public, 1 address_type_random");
    row("gap discoverable_mode_names", sorted(engine.gap.discoverable_mode_names),
        "0 non_discoverable, 1 limited_discoverable, 2 general_discoverable, 3 broadcast, 4 user_data");
    row("gap connectable_mode_names", sorted(engine.gap.connectable_mode_names),
        "0 non_connectable, 1 directed_connectable, 2 undirected_connectable, 3 scannable_non_connectable");
    row("gap discover_mode_names", sorted(engine.gap.discover_mode_names),
        "0 discover_limited, 1 discover_generic, 2 discover_observation");
    row("gap ad_type_names", sorted(engine.gap.ad_type_names),
        "0 ad_type_none, 1 ad_type_flags, 2 ad_type_services_16bit_more, 3 ad_type_services_16bit_all, 4 "
        "ad_type_services_32bit_more, 5 ad_type_services_32bit_all, 6 ad_type_services_128bit_more, 7 "
        "ad_type_services_128bit_all, 8 ad_type_localname_short, 9 ad_type_localname_complete, 10 "
        "ad_type_txpower");
    row("gap adv_policy_names", sorted(engine.gap.adv_policy_names),
        "0 adv_policy_all, 1 adv_policy_whitelist_scan, 2 adv_policy_whitelist_connect, 3 "
        "adv_policy_whitelist_all");
    row("gap scan_policy_names", sorted(engine.gap.scan_policy_names),
        "0 scan_policy_all, 1 scan_policy_whitelist");
}

void tst_Tables::names()
{
    QFETCH(QString, entries);
    QFETCH(Table, table);
    QStringList found;
    for (auto it = table.begin(); it != table.end(); ++it)
        found.append(QStringLiteral("%1 %2").arg(QString::number(it.key()), it.value()));
    QCOMPARE(found.join(QStringLiteral(", ")), entries);
}

void tst_Tables::metaTypes()
{
    QCOMPARE(QMetaType::type("bd_addr"), 0);
    register_meta_types();
    QCOMPARE(QMetaType::type("uint8"), int(QMetaType::UChar));
    QCOMPARE(QMetaType::type("uint16"), int(QMetaType::UShort));
    QCOMPARE(QMetaType::sizeOf(QMetaType::type("bd_addr")), 6);
    const int type = QMetaType::type("api_base::msg_type");
    QVERIFY(type != 0);
    QCOMPARE(QMetaType::sizeOf(type), 4);

    const QMetaObject &meta = vs::api_base::staticMetaObject;
    QCOMPARE(QByteArray(meta.className()), QByteArray("vs::api_base"));
    QVERIFY(meta.indexOfSignal("LogMsg(api_base::msg_type,QString,QByteArray)") >= 0);
    QVERIFY(meta.indexOfSignal("exit()") >= 0);
}

QTEST_GUILESS_MAIN(tst_Tables)
#include "tst_tables.moc"
