#include "mainwindow/mainwindow.h"

#include <initializer_list>

#include "commandline/commandparser.h"
#include "ui_mainwindow.h"

namespace {

struct connection_row
{
    const QObject *sender;
    const char *signal;
    const QObject *receiver;
    const char *slot;
};

// By signature, so that a row says all there is to say; several receivers of one signal run in row order.
void connect_rows(std::initializer_list<connection_row> rows)
{
    for (const connection_row &row : rows)
        QObject::connect(row.sender, row.signal, row.receiver, row.slot);
}

} // namespace

// Signatures stand as the toolkit normalises them, but for the blanks in the last two rows, which it removes.
// clang-format off

void MainWindow::connect_window()
{
    connect_rows({
        {&engine, SIGNAL(tx_data(QByteArray)), this, SLOT(txData(QByteArray))},
        {&discovery, SIGNAL(DeviceFound(QString,QString)), this, SLOT(DeviceFound(QString,QString))},
        {&discovery, SIGNAL(DeviceDisconnect(int,int)), this, SLOT(DeviceDisconnect(int,int))},
        {&discovery, SIGNAL(debugText(QString)), this, SLOT(debugPrintText(QString))},
        {&engine.system, SIGNAL(rsp_hello()), this, SLOT(hello())},
        {ui->actionWhitelist, SIGNAL(triggered()), &whitelist_dialog, SLOT(show())},
        {&whitelist_dialog, SIGNAL(whitelist_append(bd_addr,uint8)), &engine.system,
         SLOT(cmd_whitelist_append(bd_addr,uint8))},
        {&whitelist_dialog, SIGNAL(whitelist_remove(bd_addr,uint8)), &engine.system,
         SLOT(cmd_whitelist_remove(bd_addr,uint8))},
        {&whitelist_dialog, SIGNAL(whitelist_clear()), &engine.system, SLOT(cmd_whitelist_clear())},
        {&whitelist_dialog, SIGNAL(whitelist_connect()), this, SLOT(whitelist_connect())},
        {&whitelist_dialog, SIGNAL(whitelist_filtering(uint8,uint8,uint8)), &engine.gap,
         SLOT(cmd_set_filtering(uint8,uint8,uint8))},
        {ui->actionSet_Address, SIGNAL(triggered()), &address_dialog, SLOT(show())},
        // There is no such slot: what the dialog sets reaches nobody.
        {&address_dialog, SIGNAL(set_address_mode(uint8,bd_addr)), &engine.gap,
         SLOT(cmd_set_address_mode(uint8,bd_addr))},
        {ui->actionFlash, SIGNAL(triggered()), &flash_dialog, SLOT(show())},
        {&flash_dialog, SIGNAL(erase(uint8)), &engine.flash, SLOT(cmd_erase_page(uint8))},
        // Nor is there this one: what the dialog programs reaches nobody.
        {&flash_dialog, SIGNAL(program(uint16,QByteArray)), &engine.flash, SLOT(cmd_write_words(uint16,QByteArray))},
        {&flash_dialog, SIGNAL(cmd_read_memory(uint32,uint8)), &engine.system, SLOT(cmd_read_memory(uint32,uint8))},
        {&engine.system, SIGNAL(rsp_read_memory(uint32,QByteArray)), &flash_dialog,
         SLOT(rsp_read_memory(uint32,QByteArray))},
        {ui->actionGATT_Server, SIGNAL(triggered()), &attribute_dialog, SLOT(show())},
        {&attribute_dialog, SIGNAL(cmd_write_attribute(uint16,uint8,QByteArray)), &engine.attributes,
         SLOT(cmd_write(uint16,uint8,QByteArray))},
        {&attribute_dialog, SIGNAL(cmd_read_attribute(uint16,uint16)), &engine.attributes, SLOT(cmd_read(uint16,uint16))},
        {&engine.attributes, SIGNAL(rsp_read(uint16,uint16,uint16,QByteArray)), &attribute_dialog,
         SLOT(rsp_read_attribute(uint16,uint16,uint16,QByteArray))},
        {&attribute_dialog, SIGNAL(cmd_read_attribute_type(uint16)), &engine.attributes, SLOT(cmd_read_type(uint16))},
        {&engine.attributes, SIGNAL(rsp_read_type(uint16,uint16,QByteArray)), &attribute_dialog,
         SLOT(rsp_read_attribute_type(uint16,uint16,QByteArray))},
        {ui->actionI_O, SIGNAL(triggered()), &io_dialog, SLOT(show())},
        {ui->actionSecurity_Manager, SIGNAL(triggered()), &security_dialog, SLOT(show())},
        {&security_dialog, SIGNAL(cmd_passkey_entry(uint8,uint32)), &engine.sm, SLOT(cmd_passkey_entry(uint8,uint32))},
        {&security_dialog, SIGNAL(cmd_set_bondable_mode(uint8)), &engine.sm, SLOT(cmd_set_bondable_mode(uint8))},
        {&security_dialog, SIGNAL(cmd_set_parameters(uint8,uint8,uint8)), &engine.sm,
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
        {ui->actionRadio_Test, SIGNAL(triggered()), &test_dialog, SLOT(show())},
        {&test_dialog, SIGNAL(test_end()), &engine.test, SLOT(cmd_phy_end())},
        {&test_dialog, SIGNAL(test_reset()), &engine.test, SLOT(cmd_phy_reset())},
        {&test_dialog, SIGNAL(test_rx(uint8)), &engine.test, SLOT(cmd_phy_rx(uint8))},
        {&test_dialog, SIGNAL(test_tx(uint8,uint8,uint8)), &engine.test, SLOT(cmd_phy_tx(uint8,uint8,uint8))},
        {&engine.test, SIGNAL(rsp_phy_end(uint16)), &test_dialog, SLOT(packets_rx(uint16))},
        {ui->actionPersistent_Store, SIGNAL(triggered()), &store_dialog, SLOT(show())},
        {&store_dialog, SIGNAL(DumpKeys()), &engine.flash, SLOT(cmd_ps_dump())},
        {&engine.flash, SIGNAL(evt_ps_key(uint16,QByteArray)), &store_dialog, SLOT(evt_ps_key(uint16,QByteArray))},
        {&store_dialog, SIGNAL(ReadKey(uint16)), &engine.flash, SLOT(cmd_ps_load(uint16))},
        {&store_dialog, SIGNAL(WriteKey(uint16,QByteArray)), &engine.flash, SLOT(cmd_ps_save(uint16,QByteArray))},
        {&store_dialog, SIGNAL(DeleteKey(uint16)), &engine.flash, SLOT(cmd_ps_erase(uint16))},
        {&engine.flash, SIGNAL(rsp_ps_load(uint16,QByteArray)), &store_dialog, SLOT(ret_ps_load(uint16,QByteArray))},
        {&store_dialog, SIGNAL(Defrag()), &engine.flash, SLOT(cmd_ps_defrag())},
        {&engine, SIGNAL(parsed_message_str(QStringList)), this, SLOT(debugPrintStringList(QStringList))},
        {ui->pushLogCopy, SIGNAL(clicked()), ui->textDebug, SLOT(copy())},
        {ui->checkLogScroll, SIGNAL(clicked(bool)), ui->textDebug, SLOT(scroll(bool))},
        {ui->actionLogToFlowChart, SIGNAL(triggered()), ui->textDebug, SLOT(copyFlowChart())},
    });
}

void MainWindow::connect_dfu()
{
    connect_rows({
        {&dfu_dialog, SIGNAL(ota_running(bool)), this, SLOT(ota_running(bool))},
        {&dfu_dialog, SIGNAL(usb_reset()), this, SLOT(USBReset())},
    });
}

void MainWindow::connect_parser()
{
    connect_rows({
        {parser, SIGNAL(log_message(QString)), this, SLOT(debugPrintText(QString))},
    });
}

void MainWindow::connect_throughput()
{
    connect_rows({
        {ui->actionThroughputTest, SIGNAL(triggered()), &throughput_dialog, SLOT(show())},
    });
}

void MainWindow::connect_about()
{
    connect_rows({
        {ui->action_About, SIGNAL(triggered()), &about_dialog, SLOT(show())},
    });
}

void MainWindow::connect_upload_switches()
{
    connect_rows({
        {&engine.dfu, SIGNAL(rsp_flash_set_address (uint16 )), this, SLOT(rsp_flash_set_address (uint16 ))},
        {&engine.dfu, SIGNAL(rsp_flash_upload_finish (uint16 )), this, SLOT(rsp_flash_upload_finish (uint16 ))},
    });
}
