#pragma once

#include "protocol/types.h"

#include <QDialog>

#include <memory>

namespace Ui {
class SetAddressDialog;
}

// Chooses between the module's public address and a private one, and tells the kind of the one typed. No
// command takes what it sets: the module keeps its address.
class SetAddressDialog : public QDialog
{
    Q_OBJECT

public:
    explicit SetAddressDialog(QWidget *parent = nullptr);
    ~SetAddressDialog() override;

Q_SIGNALS:
    // With 0 for `random` all bytes of the address are 0xff.
    void set_address_mode(uint8 random, bd_addr addr);

public Q_SLOTS:
    void on_pushSet_clicked();
    void on_checkAddressType_clicked();
    void on_lineAddress_textChanged(QString text);

private:
    void updateKind();

    bd_addr address;
    std::unique_ptr<Ui::SetAddressDialog> ui;
};
