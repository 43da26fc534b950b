#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QDialog>

#include <memory>

namespace Ui {
class IODialog;
}
class QCheckBox;
class QLineEdit;
class QPushButton;
class cls_ble;

// The module's hardware by hand: three ports, SPI, the converter, endpoints and I2C. Results of commands are
// not looked at, nor is what I2C answers: they are in the log. Numbers and masks are hexadecimal but for the
// speed of SPI.
class IODialog : public QDialog
{
    Q_OBJECT

public:
    // The engine has to outlive the dialog.
    explicit IODialog(cls_ble *engine, QWidget *parent = nullptr);
    ~IODialog() override;

public Q_SLOTS:
    // Never called, as no class has such a signal.
    void evt_endpoint_rx(uint8 endpoint, QByteArray received);

    void rsp_io_port_read(uint16 result, uint8 port, uint8 levels);
    void on_sendButton_clicked();

    // Of whichever port the button belongs to. What is no number is not sent.
    void portreadButton_clicked();
    void portwriteButton_clicked();
    void portsetButton_clicked();

    // The raw reading, with its sign.
    void evt_adc_result(uint8 input, int16 value);

    // Shows the speed that the three numbers make, in bits a second; the text is not used.
    void spi_speedChanged(QString text);

    void on_adcButton_clicked();
    void on_spiconfigButton_clicked();
    void on_spitransferButton_clicked();
    void rsp_spi_transfer(uint16 result, uint8 channel, QByteArray received);
    void on_push_i2c_read_clicked();
    void on_push_i2c_write_clicked();

private:
    static constexpr int portCount = 3;

    struct Port
    {
        QLineEdit *readEdit, *writeEdit, *directionEdit, *pullEdit;
        QCheckBox *upBox;
        QPushButton *readButton, *writeButton, *setButton;
    };

    void fillBoxes();
    void connectAll();
    // The port whose button has just been pressed, or -1.
    int sendingPort(QPushButton *Port::*button) const;
    uint8 i2cAddress() const;

    cls_ble *ble;
    std::unique_ptr<Ui::IODialog> ui;
    Port ports[portCount];
};
