#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QDialog>

#include <memory>

namespace Ui {
class DialogGATTServer;
}

// Reads and writes the attributes of the module's own database, by handle.
class DialogGATTServer : public QDialog
{
    Q_OBJECT

public:
    explicit DialogGATTServer(QWidget *parent = nullptr);
    ~DialogGATTServer() override;

Q_SIGNALS:
    void cmd_write_attribute(uint16 handle, uint8 offset, QByteArray value);
    void cmd_read_attribute(uint16 handle, uint16 offset);
    void cmd_read_attribute_type(uint16 handle);

public Q_SLOTS:
    void on_pushReadUUID_clicked();

    // Show what came, whatever attribute it is of: a read that failed empties the field.
    void rsp_read_attribute(uint16 handle, uint16 offset, uint16 retval, QByteArray value);
    void rsp_read_attribute_type(uint16 handle, uint16 retval, QByteArray value);

    void on_pushRead_clicked();
    void on_pushSet_clicked();

private:
    std::unique_ptr<Ui::DialogGATTServer> ui;
};
