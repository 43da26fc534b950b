#include "tools/iodialog.h"

#include "protocol/cls_ble.h"
#include "protocol/conversions.h"
#include "ui_iodialog.h"

#include <QStringList>

#include <cmath>
#include <optional>

namespace {

constexpr uint8 allPins = 0xff;
constexpr uint8 sendStop = 1;

struct Choice
{
    const char *text; // Latin-1
    int value;        // as the protocol has it
};

constexpr Choice channels[] = {{"USART0", 0}, {"USART1", 1}};
constexpr Choice polarities[] = {{"Negative clock polarity", 0}, {"Positive clock polarity", 1}};
constexpr Choice phases[] = {{"Data is output on MOSI when SCK goes from CPOL inverted to CPOL", 0},
                             {"Data is output on MOSI when SCK goes from CPOL to CPOL inverted", 1}};
constexpr Choice bitOrders[] = {{"LSB first", 0}, {"MSB first", 1}};
constexpr Choice inputs[] = {{"AIN0", 0},       {"AIN1", 1},
                             {"AIN2", 2},       {"AIN3", 3},
                             {"AIN4", 4},       {"AIN5", 5},
                             {"AIN6", 6},       {"AIN7", 7},
                             {"AIN0-AIN1", 8},  {"AIN2-AIN3", 9},
                             {"AIN4-AIN5", 10}, {"AIN6-AIN7", 11},
                             {"GND", 12},       {"Temperature sensor", 14},
                             {"VDD/3", 15}};
constexpr Choice decimations[] = {{"64 decimation rate", 0},
                                  {"128 decimation rate", 1},
                                  {"256 decimation rate", 2},
                                  {"512 decimation rate", 3}};
constexpr Choice references[] = {{"Internal reference", 0},
                                 {"External reference on AIN7 pin", 1},
                                 {"AVDD5 pin", 2},
                                 {"External reference on AIN6\x96"
                                  "AIN7 differential input",
                                  3}};
constexpr Choice endpoints[] = {{"test", 1}, {"script", 2}, {"usb", 3}, {"uart0", 4}, {"uart1", 5}};

template <std::size_t count>
void fill(QComboBox *box, const Choice (&choices)[count])
{
    for (const Choice &choice : choices)
        box->addItem(QString::fromLatin1(choice.text), choice.value);
}

uint8 chosen(const QComboBox *box)
{
    return uint8(box->currentData().toInt());
}

std::optional<uint8> hexByte(const QLineEdit *edit)
{
    bool isNumber = false;
    const uint32 value = edit->text().toUInt(&isNumber, 16);
    return isNumber ? std::optional(uint8(value)) : std::nullopt;
}

} // namespace

IODialog::IODialog(cls_ble *engine, QWidget *parent)
    : QDialog(parent)
    , ble(engine)
    , ui(std::make_unique<Ui::IODialog>())
{
    ui->setupUi(this);
    ports[0] = {ui->read0Edit, ui->write0Edit,  ui->dir0Edit,     ui->pull0Edit,
                ui->up0Box,    ui->read0Button, ui->write0Button, ui->set0Button};
    ports[1] = {ui->read1Edit, ui->write1Edit,  ui->dir1Edit,     ui->pull1Edit,
                ui->up1Box,    ui->read1Button, ui->write1Button, ui->set1Button};
    ports[2] = {ui->read2Edit, ui->write2Edit,  ui->dir2Edit,     ui->pull2Edit,
                ui->up2Box,    ui->read2Button, ui->write2Button, ui->set2Button};
    fillBoxes();
    connectAll();
    spi_speedChanged({});
}

IODialog::~IODialog() = default;

void IODialog::fillBoxes()
{
    fill(ui->channelBox, channels);
    fill(ui->polarityBox, polarities);
    fill(ui->phaseBox, phases);
    fill(ui->bitorderBox, bitOrders);
    fill(ui->inputBox, inputs);
    fill(ui->decimationBox, decimations);
    fill(ui->referenceBox, references);
    fill(ui->endpointBox, endpoints);
}

void IODialog::connectAll()
{
    // There is no such signal: what comes in at an endpoint is seen in the log only.
    // clang-format off
    connect(&ble->system, SIGNAL(evt_endpoint_rx(uint8,QByteArray)), this, SLOT(evt_endpoint_rx(uint8,QByteArray)));
    // clang-format on
    connect(&ble->hardware, &cls_ble_hardware::rsp_io_port_read, this, &IODialog::rsp_io_port_read);
    connect(&ble->hardware, &cls_ble_hardware::evt_adc_result, this, &IODialog::evt_adc_result);
    connect(&ble->hardware, &cls_ble_hardware::rsp_spi_transfer, this, &IODialog::rsp_spi_transfer);
    for (const Port &port : ports) {
        connect(port.readButton, &QPushButton::clicked, this, &IODialog::portreadButton_clicked);
        connect(port.writeButton, &QPushButton::clicked, this, &IODialog::portwriteButton_clicked);
        connect(port.setButton, &QPushButton::clicked, this, &IODialog::portsetButton_clicked);
    }
    for (const QLineEdit *edit : {ui->baudeEdit, ui->baudmEdit, ui->clkEdit})
        connect(edit, &QLineEdit::textChanged, this, &IODialog::spi_speedChanged);
}

// --- ports

int IODialog::sendingPort(QPushButton *Port::*button) const
{
    for (int number = 0; number < portCount; ++number) {
        if (sender() == ports[number].*button)
            return number;
    }
    return -1;
}

void IODialog::portreadButton_clicked()
{
    const int port = sendingPort(&Port::readButton);
    if (port >= 0)
        ble->hardware.cmd_io_port_read(uint8(port), allPins);
}

void IODialog::rsp_io_port_read(uint16, uint8 port, uint8 levels)
{
    if (port < portCount)
        ports[port].readEdit->setText(QStringLiteral("%1").arg(levels, 2, 16, QLatin1Char('0')).toUpper());
}

void IODialog::portwriteButton_clicked()
{
    const int port = sendingPort(&Port::writeButton);
    if (port < 0)
        return;
    if (const auto levels = hexByte(ports[port].writeEdit))
        ble->hardware.cmd_io_port_write(uint8(port), allPins, *levels);
}

void IODialog::portsetButton_clicked()
{
    const int port = sendingPort(&Port::setButton);
    if (port < 0)
        return;
    const auto direction = hexByte(ports[port].directionEdit);
    if (!direction)
        return;
    ble->hardware.cmd_io_port_config_direction(uint8(port), *direction);
    if (const auto pull = hexByte(ports[port].pullEdit))
        ble->hardware.cmd_io_port_config_pull(uint8(port), *pull, ports[port].upBox->isChecked() ? 1 : 0);
}

// --- SPI

void IODialog::spi_speedChanged(QString)
{
    bool isMantissa = false, isExponent = false, isClock = false;
    const int mantissa = ui->baudmEdit->text().toInt(&isMantissa);
    const int exponent = ui->baudeEdit->text().toInt(&isExponent);
    const int clock = ui->clkEdit->text().toInt(&isClock); // MHz
    if (!isMantissa || !isExponent || !isClock)
        return;
    const double rate = (256.0 + mantissa) * std::pow(2.0, exponent) * std::pow(2.0, -28) * clock * 1e6;
    ui->resultEdit->setText(QString::number(rate));
}

void IODialog::on_spiconfigButton_clicked()
{
    ble->hardware.cmd_spi_config(chosen(ui->channelBox), chosen(ui->polarityBox), chosen(ui->phaseBox),
                                 chosen(ui->bitorderBox), uint8(ui->baudeEdit->text().toInt()),
                                 uint8(ui->baudmEdit->text().toInt()));
}

void IODialog::on_spitransferButton_clicked()
{
    ble->hardware.cmd_spi_transfer(chosen(ui->channelBox), hex_bytes(ui->spitxEdit->text()));
}

void IODialog::rsp_spi_transfer(uint16, uint8, QByteArray received)
{
    ui->spirxEdit->setText(hex_text(received));
}

// --- converter

void IODialog::on_adcButton_clicked()
{
    ble->hardware.cmd_adc_read(chosen(ui->inputBox), chosen(ui->decimationBox), chosen(ui->referenceBox));
}

// By hand, as the toolkit shows a negative number in hexadecimal as one of 64 bits without a sign.
void IODialog::evt_adc_result(uint8, int16 value)
{
    const bool isNegative = value < 0;
    const QString digits =
        QStringLiteral("%1").arg(std::abs(value), isNegative ? 3 : 4, 16, QLatin1Char('0'));
    ui->adcEdit->setText((isNegative ? QStringLiteral("-") : QString()) + digits.toUpper());
}

// --- endpoints

void IODialog::on_sendButton_clicked()
{
    ble->system.cmd_endpoint_tx(chosen(ui->endpointBox), ui->sendText->toPlainText().toUtf8());
    ui->sendText->clear();
}

void IODialog::evt_endpoint_rx(uint8, QByteArray received)
{
    ui->recvText->appendPlainText(QString::fromUtf8(received.constData()));
}

// --- I2C

uint8 IODialog::i2cAddress() const
{
    return hexByte(ui->line_i2c_address).value_or(0);
}

void IODialog::on_push_i2c_read_clicked()
{
    ble->hardware.cmd_i2c_read(i2cAddress(), sendStop, uint8(ui->spin_i2c_bytes->value()));
}

void IODialog::on_push_i2c_write_clicked()
{
    ble->hardware.cmd_i2c_write(i2cAddress(), sendStop, hex_bytes(ui->i2c_output->text()));
}
