#include "tools/dialoggattserver.h"

#include "protocol/conversions.h"
#include "ui_dialoggattserver.h"

DialogGATTServer::DialogGATTServer(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::DialogGATTServer>())
{
    ui->setupUi(this);
}

DialogGATTServer::~DialogGATTServer() = default;

void DialogGATTServer::on_pushReadUUID_clicked()
{
    Q_EMIT cmd_read_attribute_type(uint16(ui->handle->value()));
}

void DialogGATTServer::rsp_read_attribute(uint16, uint16, uint16, QByteArray value)
{
    ui->value->setText(hex_text(value));
}

// The wire carries a UUID with its last byte first.
void DialogGATTServer::rsp_read_attribute_type(uint16, uint16, QByteArray value)
{
    reverse_bytes(value);
    ui->lineUUID->setText(hex_text(value));
}

void DialogGATTServer::on_pushRead_clicked()
{
    Q_EMIT cmd_read_attribute(uint16(ui->handle->value()), uint16(ui->offset->value()));
}

void DialogGATTServer::on_pushSet_clicked()
{
    Q_EMIT cmd_write_attribute(uint16(ui->handle->value()), uint8(ui->offset->value()),
                               hex_bytes(ui->value->text()));
}
