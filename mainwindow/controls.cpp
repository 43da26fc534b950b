// The controls that turn widgets straight into commands: the dock "GAP" and the connection parameters.

#include "mainwindow/mainwindow.h"

#include <algorithm>

#include "protocol/conversions.h"
#include "ui_mainwindow.h"

namespace {

constexpr float connectionUnitMs = 1.25F;   // of the connection interval
constexpr float advertisingUnitMs = 0.625F; // of advertising and scanning
constexpr int timeoutUnitMs = 10;

// Connection intervals in one unit of the timeout.
constexpr int intervalsPerTimeout = 8;
constexpr int maxLatency = 500;
// The window asks for an interval between the chosen one and this much more.
constexpr int intervalSlack = 16;
constexpr int maxInterval = 3200;

QString milliseconds(int value, float unit)
{
    return QStringLiteral("%1 ms").arg(double(float(value) * unit), 0, 'f', 2);
}

} // namespace

// --- interval, timeout and latency hold each other

void MainWindow::limitLatency(int timeout, int interval)
{
    ui->spinLatency->setRange(0, std::min(timeout * intervalsPerTimeout / interval - 1, maxLatency));
}

void MainWindow::on_spinInterval_valueChanged(int value)
{
    ui->labelInterval->setText(milliseconds(value, connectionUnitMs));
    const int minTimeout = (value + intervalsPerTimeout - 1) / intervalsPerTimeout;
    if (ui->spinTimeout->value() < minTimeout)
        ui->spinTimeout->setValue(minTimeout);
    limitLatency(ui->spinTimeout->value(), value);
}

void MainWindow::on_spinTimeout_valueChanged(int value)
{
    ui->labelTimeout->setText(QStringLiteral("%1 ms").arg(value * timeoutUnitMs));
    if (value * intervalsPerTimeout < ui->spinInterval->value())
        ui->spinInterval->setValue(value * intervalsPerTimeout);
    limitLatency(ui->spinTimeout->value(), ui->spinInterval->value());
}

void MainWindow::on_spinLatency_valueChanged(int) {}

// --- connections

// A box without keyboard tracking has its new value once it loses the focus, which a press from assistive
// technology does not take.
void MainWindow::readTypedNumbers()
{
    for (QSpinBox *box : {ui->spinInterval, ui->spinTimeout, ui->spinScanInterval})
        box->interpretText();
}

// Only here the maximum is kept within what the module takes.
void MainWindow::Connect(bd_addr address, uint8 addrtype)
{
    readTypedNumbers();
    const int interval = std::min(ui->spinInterval->value(), maxInterval - intervalSlack);
    Q_EMIT Connect(address, addrtype, uint16(interval), uint16(interval + intervalSlack),
                   uint16(ui->spinTimeout->value()), uint16(ui->spinLatency->value()));
}

void MainWindow::whitelist_connect()
{
    readTypedNumbers();
    const int interval = ui->spinInterval->value();
    engine.gap.cmd_connect_selective(uint16(interval), uint16(interval + intervalSlack),
                                     uint16(ui->spinTimeout->value()), uint16(ui->spinLatency->value()));
}

void MainWindow::on_pushConnUpdate_clicked()
{
    readTypedNumbers();
    const int interval = ui->spinInterval->value();
    engine.connection.cmd_update(0, uint16(interval), uint16(interval + intervalSlack),
                                 uint16(ui->spinLatency->value()), uint16(ui->spinTimeout->value()));
}

void MainWindow::on_pushRefreshDevices_clicked()
{
    engine.system.cmd_get_connections();
}

void MainWindow::on_rawSend_returnPressed()
{
    const QByteArray text = ui->rawSend->text().toLocal8Bit();
    engine.system.cmd_endpoint_tx(uint8(ui->spinEndpoint->value()), QByteArray(text.constData()));
}

void MainWindow::on_lineMap_returnPressed()
{
    engine.connection.cmd_channel_map_set(0, hex_bytes(ui->lineMap->text()));
}

// --- mode and advertising

void MainWindow::on_pushSetMode_clicked()
{
    engine.gap.cmd_set_mode(uint8(ui->comboAdvMode->currentIndex()),
                            uint8(ui->comboConnectMode->currentIndex()));
}

void MainWindow::on_pushClearMode_clicked()
{
    engine.gap.cmd_set_mode(0, 0);
}

void MainWindow::on_spinAdvInterval_valueChanged(int arg1)
{
    ui->labelAdvInterval->setText(milliseconds(arg1, advertisingUnitMs));
}

void MainWindow::on_pushSetAdvParameters_clicked()
{
    const auto interval = uint16(ui->spinAdvInterval->value());
    const int channels = (ui->checkAdvChannel37->isChecked() ? 1 : 0) |
                         (ui->checkAdvChannel38->isChecked() ? 2 : 0) |
                         (ui->checkAdvChannel39->isChecked() ? 4 : 0);
    engine.gap.cmd_set_adv_parameters(interval, interval, uint8(channels));
}

// --- scanning

void MainWindow::on_pushStartScan_clicked()
{
    const QRadioButton *const modes[] = {ui->radioScanLimited, ui->radioScanGeneric,
                                         ui->radioScanObservation};
    const auto chosen = std::find_if(std::begin(modes), std::end(modes),
                                     [](const QRadioButton *mode) { return mode->isChecked(); });
    engine.gap.cmd_discover(uint8(chosen == std::end(modes) ? 0 : chosen - std::begin(modes)));
}

void MainWindow::on_pushStopScan_clicked()
{
    engine.gap.cmd_end_procedure();
}

void MainWindow::on_spinScanInterval_valueChanged(int arg1)
{
    if (ui->spinScanWindow->value() < arg1)
        ui->spinScanWindow->setValue(arg1);
    ui->labelScanInterval->setText(milliseconds(arg1, advertisingUnitMs));
}

void MainWindow::on_spinScanWindow_valueChanged(int arg1)
{
    ui->labelScanWindow->setText(milliseconds(arg1, advertisingUnitMs));
}

void MainWindow::on_pushSetScanParameters_clicked()
{
    readTypedNumbers();
    engine.gap.cmd_set_scan_parameters(uint16(ui->spinScanInterval->value()),
                                       uint16(ui->spinScanWindow->value()),
                                       ui->checkScanActive->isChecked() ? 1 : 0);
}
