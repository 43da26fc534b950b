#include "mainwindow/mainwindow.h"

#include <initializer_list>

#include "commandline/commandparser.h"
#include "ui_mainwindow.h"

namespace {

struct ConnectionRow
{
    const QObject *sender;
    const char *signal;
    const QObject *receiver;
    const char *slot;
};

// By signature, so that a row says all there is to say; several receivers of one signal run in row order.
void connectRows(std::initializer_list<ConnectionRow> rows)
{
    for (const ConnectionRow &row : rows)
        QObject::connect(row.sender, row.signal, row.receiver, row.slot);
}

} // namespace

// Signatures stand as the toolkit normalises them, but for the blanks in the last two rows, which it removes.
// clang-format off

void MainWindow::connectWindow()
{
    connectRows({
        {&engine, SIGNAL(tx_data(QByteArray)), this, SLOT(txData(QByteArray))},
        {&discovery, SIGNAL(DeviceFound(QString,QString)), this, SLOT(DeviceFound(QString,QString))},
        {&discovery, SIGNAL(DeviceDisconnect(int,int)), this, SLOT(DeviceDisconnect(int,int))},
        {&discovery, SIGNAL(debugText(QString)), this, SLOT(debugPrintText(QString))},
        {&engine.system, SIGNAL(rsp_hello()), this, SLOT(hello())},
        {ui->actionWhitelist, SIGNAL(triggered()), &whitelistDialog, SLOT(show())},
        {&whitelistDialog, SIGNAL(whitelist_append(bd_addr,uint8)), &engine.system,
         SLOT(cmd_whitelist_append(bd_addr,uint8))},
        {&whitelistDialog, SIGNAL(whitelist_remove(bd_addr,uint8)), &engine.system,
         SLOT(cmd_whitelist_remove(bd_addr,uint8))},
        {&whitelistDialog, SIGNAL(whitelist_clear()), &engine.system, SLOT(cmd_whitelist_clear())},
        {&whitelistDialog, SIGNAL(whitelist_connect()), this, SLOT(whitelist_connect())},
        {&whitelistDialog, SIGNAL(whitelist_filtering(uint8,uint8,uint8)), &engine.gap,
         SLOT(cmd_set_filtering(uint8,uint8,uint8))},
        {ui->actionSet_Address, SIGNAL(triggered()), &addressDialog, SLOT(show())},
        // There is no such slot: what the dialog sets reaches nobody.
        {&addressDialog, SIGNAL(set_address_mode(uint8,bd_addr)), &engine.gap,
         SLOT(cmd_set_address_mode(uint8,bd_addr))},
        {ui->actionFlash, SIGNAL(triggered()), &flashDialog, SLOT(show())},
        {&flashDialog, SIGNAL(erase(uint8)), &engine.flash, SLOT(cmd_erase_page(uint8))},
        // Nor is there this one: what the dialog programs reaches nobody.
        {&flashDialog, SIGNAL(program(uint16,QByteArray)), &engine.flash, SLOT(cmd_write_words(uint16,QByteArray))},
        {&flashDialog, SIGNAL(cmd_read_memory(uint32,uint8)), &engine.system, SLOT(cmd_read_memory(uint32,uint8))},
        {&engine.system, SIGNAL(rsp_read_memory(uint32,QByteArray)), &flashDialog,
         SLOT(rsp_read_memory(uint32,QByteArray))},
        {ui->actionGATT_Server, SIGNAL(triggered()), &attributeDialog, SLOT(show())},
        {&attributeDialog, SIGNAL(cmd_write_attribute(uint16,uint8,QByteArray)), &engine.attributes,
         SLOT(cmd_write(uint16,uint8,QByteArray))},
        {&attributeDialog, SIGNAL(cmd_read_attribute(uint16,uint16)), &engine.attributes, SLOT(cmd_read(uint16,uint16))},
        {&engine.attributes, SIGNAL(rsp_read(uint16,uint16,uint16,QByteArray)), &attributeDialog,
         SLOT(rsp_read_attribute(uint16,uint16,uint16,QByteArray))},
        {&attributeDialog, SIGNAL(cmd_read_attribute_type(uint16)), &engine.attributes, SLOT(cmd_read_type(uint16))},
        {&engine.attributes, SIGNAL(rsp_read_type(uint16,uint16,QByteArray)), &attributeDialog,
         SLOT(rsp_read_attribute_type(uint16,uint16,QByteArray))},
        {ui->actionI_O, SIGNAL(triggered()), &ioDialog, SLOT(show())},
        {ui->actionSecurity_Manager, SIGNAL(triggered()), &securityDialog, SLOT(show())},
        {&securityDialog, SIGNAL(cmd_passkey_entry(uint8,uint32)), &engine.sm, SLOT(cmd_passkey_entry(uint8,uint32))},
        {&securityDialog, SIGNAL(cmd_set_bondable_mode(uint8)), &engine.sm, SLOT(cmd_set_bondable_mode(uint8))},
        {&securityDialog, SIGNAL(cmd_set_parameters(uint8,uint8,uint8)), &engine.sm,
         SLOT(cmd_set_parameters(uint8,uint8,uint8))},
        {&engine.gap, SIGNAL(evt_scan_response(int8,uint8,bd_addr,uint8,uint8,QByteArray)), ui->deviceList,
         SLOT(evt_scan_response(int8,uint8,bd_addr,uint8,uint8,QByteArray))},
        {this, SIGNAL(Connect(bd_addr,uint8,uint16,uint16,uint16,uint16)), &engine.gap,
         SLOT(cmd_connect_direct(bd_addr,uint8,uint16,uint16,uint16,uint16))},
        {ui->pushClearDevices, SIGNAL(clicked()), ui->deviceList, SLOT(clear())},
        {ui->deviceList, SIGNAL(Connect(bd_addr,uint8)), this, SLOT(Connect(bd_addr,uint8))},
        {ui->deviceList, SIGNAL(Disconnect(uint8)), &engine.connection, SLOT(cmd_disconnect(uint8))},
        {&engine.connection, SIGNAL(evt_status(uint8,uint8,bd_addr,uint8,uint16,uint16,uint16,uint8)), ui->deviceList,
         SLOT(evt_status(uint8,uint8,bd_addr,uint8,uint16,uint16,uint16,uint8))},
        {&engine.connection, SIGNAL(evt_disconnected(uint8,uint16)), ui->deviceList, SLOT(evt_disconnected(uint8,uint16))},
        {ui->deviceList, SIGNAL(cmd_read_by_group_type(uint8,uint16,uint16,QByteArray)), &engine.attclient,
         SLOT(cmd_read_by_group_type(uint8,uint16,uint16,QByteArray))},
        {ui->deviceList, SIGNAL(cmd_get_status(uint8)), &engine.connection, SLOT(cmd_get_status(uint8))},
        {&engine.attclient, SIGNAL(evt_group_found(uint8,uint16,uint16,QByteArray)), ui->deviceList,
         SLOT(evt_service_found(uint8,uint16,uint16,QByteArray))},
        {ui->deviceList, SIGNAL(cmd_read_by_type(uint8,uint16,uint16,QByteArray)), &engine.attclient,
         SLOT(cmd_read_by_type(uint8,uint16,uint16,QByteArray))},
        {&engine.attclient, SIGNAL(evt_attribute_found(uint8,uint16,uint16,uint8,QByteArray)), ui->deviceList,
         SLOT(evt_characteristic_found(uint8,uint16,uint16,uint8,QByteArray))},
        {ui->deviceList, SIGNAL(cmd_find_information(uint8,uint16,uint16)), &engine.attclient,
         SLOT(cmd_find_information(uint8,uint16,uint16))},
        {ui->deviceList, SIGNAL(cmd_features_get(uint8)), &engine.connection, SLOT(cmd_features_get(uint8))},
        {ui->deviceList, SIGNAL(cmd_version_update(uint8)), &engine.connection, SLOT(cmd_version_update(uint8))},
        {&engine.attclient, SIGNAL(evt_find_information_found(uint8,uint16,QByteArray)), ui->deviceList,
         SLOT(evt_find_information_found(uint8,uint16,QByteArray))},
        {ui->deviceList, SIGNAL(EncryptConnection(uint8,uint8)), &engine.sm, SLOT(cmd_encrypt_start(uint8,uint8))},
        {ui->deviceList, SIGNAL(AttributeRead(uint8,uint16)), &engine.attclient, SLOT(cmd_read_by_handle(uint8,uint16))},
        {ui->deviceList, SIGNAL(AttributeReadLong(uint8,uint16)), &engine.attclient, SLOT(cmd_read_long(uint8,uint16))},
        {&engine.attclient, SIGNAL(evt_attribute_value(uint8,uint16,uint8,QByteArray)), ui->deviceList,
         SLOT(evt_characteristic_value(uint8,uint16,uint8,QByteArray))},
        {ui->deviceList, SIGNAL(AttributeWrite(uint8,uint16,QByteArray)), &engine.attclient,
         SLOT(cmd_attribute_write(uint8,uint16,QByteArray))},
        {ui->deviceList, SIGNAL(AttributeWriteCommand(uint8,uint16,QByteArray)), &engine.attclient,
         SLOT(cmd_write_command(uint8,uint16,QByteArray))},
        {ui->actionRadio_Test, SIGNAL(triggered()), &testDialog, SLOT(show())},
        {&testDialog, SIGNAL(test_end()), &engine.test, SLOT(cmd_phy_end())},
        {&testDialog, SIGNAL(test_reset()), &engine.test, SLOT(cmd_phy_reset())},
        {&testDialog, SIGNAL(test_rx(uint8)), &engine.test, SLOT(cmd_phy_rx(uint8))},
        {&testDialog, SIGNAL(test_tx(uint8,uint8,uint8)), &engine.test, SLOT(cmd_phy_tx(uint8,uint8,uint8))},
        {&engine.test, SIGNAL(rsp_phy_end(uint16)), &testDialog, SLOT(packets_rx(uint16))},
        {ui->actionPersistent_Store, SIGNAL(triggered()), &storeDialog, SLOT(show())},
        {&storeDialog, SIGNAL(DumpKeys()), &engine.flash, SLOT(cmd_ps_dump())},
        {&engine.flash, SIGNAL(evt_ps_key(uint16,QByteArray)), &storeDialog, SLOT(evt_ps_key(uint16,QByteArray))},
        {&storeDialog, SIGNAL(ReadKey(uint16)), &engine.flash, SLOT(cmd_ps_load(uint16))},
        {&storeDialog, SIGNAL(WriteKey(uint16,QByteArray)), &engine.flash, SLOT(cmd_ps_save(uint16,QByteArray))},
        {&storeDialog, SIGNAL(DeleteKey(uint16)), &engine.flash, SLOT(cmd_ps_erase(uint16))},
        {&engine.flash, SIGNAL(rsp_ps_load(uint16,QByteArray)), &storeDialog, SLOT(ret_ps_load(uint16,QByteArray))},
        {&storeDialog, SIGNAL(Defrag()), &engine.flash, SLOT(cmd_ps_defrag())},
        {&engine, SIGNAL(parsed_message_str(QStringList)), this, SLOT(debugPrintStringList(QStringList))},
        {ui->pushLogCopy, SIGNAL(clicked()), ui->textDebug, SLOT(copy())},
        {ui->checkLogScroll, SIGNAL(clicked(bool)), ui->textDebug, SLOT(scroll(bool))},
        {ui->actionLogToFlowChart, SIGNAL(triggered()), ui->textDebug, SLOT(copyFlowChart())},
    });
}

void MainWindow::connectDfu()
{
    connectRows({
        {&dfuDialog, SIGNAL(ota_running(bool)), this, SLOT(ota_running(bool))},
        {&dfuDialog, SIGNAL(usb_reset()), this, SLOT(USBReset())},
    });
}

void MainWindow::connectParser()
{
    connectRows({
        {parser, SIGNAL(log_message(QString)), this, SLOT(debugPrintText(QString))},
    });
}

void MainWindow::connectThroughput()
{
    connectRows({
        {ui->actionThroughputTest, SIGNAL(triggered()), &throughputDialog, SLOT(show())},
    });
}

void MainWindow::connectAbout()
{
    connectRows({
        {ui->action_About, SIGNAL(triggered()), &aboutDialog, SLOT(show())},
    });
}

void MainWindow::connectUploadSwitches()
{
    connectRows({
        {&engine.dfu, SIGNAL(rsp_flash_set_address (uint16 )), this, SLOT(rsp_flash_set_address (uint16 ))},
        {&engine.dfu, SIGNAL(rsp_flash_upload_finish (uint16 )), this, SLOT(rsp_flash_upload_finish (uint16 ))},
    });
}
