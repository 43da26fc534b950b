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

// Signatures stand as the toolkit normalises them.
// clang-format off

void MainWindow::connect_window()
{
    connect_rows({
        {&engine, SIGNAL(tx_data(QByteArray)), this, SLOT(txData(QByteArray))},
        {&discovery, SIGNAL(DeviceFound(QString,QString)), this, SLOT(DeviceFound(QString,QString))},
        {&discovery, SIGNAL(DeviceDisconnect(int,int)), this, SLOT(DeviceDisconnect(int,int))},
        {&discovery, SIGNAL(debugText(QString)), this, SLOT(debugPrintText(QString))},
        {&engine.system, SIGNAL(rsp_hello()), this, SLOT(hello())},
        {this, SIGNAL(Connect(bd_addr,uint8,uint16,uint16,uint16,uint16)), &engine.gap,
         SLOT(cmd_connect_direct(bd_addr,uint8,uint16,uint16,uint16,uint16))},
        {&engine, SIGNAL(parsed_message_str(QStringList)), this, SLOT(debugPrintStringList(QStringList))},
        {ui->pushLogCopy, SIGNAL(clicked()), ui->textDebug, SLOT(copy())},
        {ui->checkLogScroll, SIGNAL(clicked(bool)), ui->textDebug, SLOT(scroll(bool))},
    });
}

void MainWindow::connect_parser()
{
    connect_rows({
        {parser, SIGNAL(log_message(QString)), this, SLOT(debugPrintText(QString))},
    });
}

void MainWindow::connect_upload_switches()
{
    connect_rows({
        {&engine.dfu, SIGNAL(rsp_flash_set_address(uint16)), this, SLOT(rsp_flash_set_address(uint16))},
        {&engine.dfu, SIGNAL(rsp_flash_upload_finish(uint16)), this, SLOT(rsp_flash_upload_finish(uint16))},
    });
}
