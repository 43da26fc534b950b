#pragma once

#include "protocol/types.h"

#include <QDialog>

#include <memory>

namespace Ui {
class SMDialog;
}

// Sets the parameters of bonding and pairing, and answers a request for a passkey.
class SMDialog : public QDialog
{
    Q_OBJECT

public:
    explicit SMDialog(QWidget *parent = nullptr);
    ~SMDialog() override;

Q_SIGNALS:
    void cmd_passkey_entry(uint8 connection, uint32 passkey);
    void cmd_set_bondable_mode(uint8 bondable);
    // The smallest size of a key in bytes, the capabilities as the protocol numbers them.
    void cmd_set_parameters(uint8 mitm, uint8 keysize, uint8 capabilities);

public Q_SLOTS:
    // Asks the user. Always for connection 0, whichever it was that wants the passkey.
    void on_pushPasskey_clicked();
    void on_pushSetParameters_clicked();

private:
    std::unique_ptr<Ui::SMDialog> ui;
};
