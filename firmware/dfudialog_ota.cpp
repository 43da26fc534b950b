// The update over the air.

#include "firmware/dfudialog.h"

#include "protocol/cls_ble.h"
#include "protocol/conversions.h"
#include "ui_dfudialog.h"

#include <QTimer>

#include <algorithm>

namespace {

// The state names what the next step does.
enum OtaState { powerOn, eraseBlock0, eraseBlock1, loadStart, sendData, sendDataAgain, awaitEnd };

// What the control point is told, one byte each.
enum ControlByte : uint8 { eraseBlock0Byte, eraseBlock1Byte, startLoadByte, endLoadByte, powerOnByte };

constexpr uint16 outOfMemory = 0x0182;
constexpr int retryDelay = 100; // ms

constexpr uint32 chunkSize = 20;
constexpr uint32 blockSize = 256;

// A characteristic declaration: properties, handle of the value, 128-bit UUID.
constexpr uint8 readByType = cls_ble_attclient::attribute_value_type_read_by_type;
constexpr int declarationSize = 1 + 2 + 16;

} // namespace

void DFUDialog::evt_find_information_found(uint8 connection, uint16 chrhandle, QByteArray uuid)
{
    static const QByteArray controlPoint = QByteArray::fromHex("f7bf3564fb6d4e5388a45e37e0326063");
    static const QByteArray dataPoint = QByteArray::fromHex("984227f334fc4045a5d02c581f81a153");
    reverse_bytes(uuid);
    QSpinBox *const spin = uuid == controlPoint ? ui->spinOTAControlPoint
                           : uuid == dataPoint  ? ui->spinOTADataupload
                                                : nullptr;
    if (!spin)
        return;
    ui->spinOTAConnection->setValue(connection);
    spin->setValue(chrhandle);
}

void DFUDialog::evt_attribute_value(uint8 connection, uint16, uint8 type, QByteArray value)
{
    if (type != readByType || value.size() != declarationSize)
        return;
    // Both bytes are signed and the low one is widened, so from 0x80 on it makes the handle 0xffxx.
    const int low = int8(value.at(1));  // NOLINT(bugprone-signed-char-misuse) // as said
    const int high = int8(value.at(2)); // NOLINT(bugprone-signed-char-misuse) // as said
    evt_find_information_found(connection, uint16(high * 256 | low), value.mid(3));
}

void DFUDialog::on_pushOTAUpload_clicked()
{
    const QString name = ui->fileOTAEdit->text();
    if (!name.isEmpty() && !loadBinFile(name))
        return;
    otaState = powerOn;
    sentBytes = 0;
    const cls_ble_attclient *const client = &ble->attclient;
    connect(client, &cls_ble_attclient::evt_procedure_completed, this,
            &DFUDialog::ota_evt_procedure_completed);
    connect(client, &cls_ble_attclient::rsp_write_command, this, &DFUDialog::ota_rsp_write_command);
    connect(client, &cls_ble_attclient::rsp_attribute_write, this, &DFUDialog::ota_rsp_attribute_write);
    Q_EMIT ota_running(true);
    ota_step();
}

void DFUDialog::endOta(uint16 result)
{
    ui->labelOTAState->setText(
        result == 0
            ? QStringLiteral("OTA Completed")
            : QStringLiteral("%1 Error:%2").arg(ui->labelOTAState->text(), QString::number(result, 16)));
    // By signal and slot: after a second start each is connected twice, and both go.
    const cls_ble_attclient *const client = &ble->attclient;
    disconnect(client, &cls_ble_attclient::evt_procedure_completed, this,
               &DFUDialog::ota_evt_procedure_completed);
    disconnect(client, &cls_ble_attclient::rsp_write_command, this, &DFUDialog::ota_rsp_write_command);
    disconnect(client, &cls_ble_attclient::rsp_attribute_write, this, &DFUDialog::ota_rsp_attribute_write);
    Q_EMIT ota_running(false);
}

// --- sending; the state moves on first, as an answer may come before the call returns

void DFUDialog::ota_step()
{
    switch (otaState) {
    case powerOn:
        otaState = eraseBlock0;
        writeControlPoint(powerOnByte, QStringLiteral("Power on memory"));
        break;
    case eraseBlock0:
        otaState = eraseBlock1;
        writeControlPoint(eraseBlock0Byte, QStringLiteral("Erasing Block 0"));
        break;
    case eraseBlock1:
        otaState = loadStart;
        writeControlPoint(eraseBlock1Byte, QStringLiteral("Erasing Block 1"));
        break;
    case loadStart:
        otaState = sendData;
        writeControlPoint(startLoadByte, QStringLiteral("Load Start"));
        rateClock.start();
        break;
    case sendData: nextDataChunk(); break;
    case sendDataAgain:
        otaState = sendData;
        writeData();
        break;
    default: break; // the last write is under way
    }
}

void DFUDialog::writeControlPoint(uint8 value, const QString &stage)
{
    ui->labelOTAState->setText(stage);
    otaBuffer = to_bytes(value);
    ota_resend_att_write();
}

void DFUDialog::ota_resend_att_write()
{
    ble->attclient.cmd_attribute_write(uint8(ui->spinOTAConnection->value()),
                                       uint16(ui->spinOTAControlPoint->value()), otaBuffer);
}

void DFUDialog::writeData()
{
    ble->attclient.cmd_write_command(uint8(ui->spinOTAConnection->value()),
                                     uint16(ui->spinOTADataupload->value()), otaBuffer);
}

void DFUDialog::nextDataChunk()
{
    const uint32 length = std::min(chunkSize, blockSize - sentBytes % blockSize);
    otaBuffer = image.mid(int(sentBytes), int(length));
    QString progress = ui->labelOTAState->text();
    if (const qint64 time = elapsed(); time != 0) {
        const float rate = float(sentBytes) / float(time); // kB/s
        progress = QStringLiteral("Loaded:%1/%2 (%3 KiB/s)")
                       .arg(sentBytes)
                       .arg(image.size())
                       .arg(double(rate) / 1.024, 0, 'g', 4);
    }
    if (otaBuffer.isEmpty()) {
        otaState = awaitEnd;
        writeControlPoint(endLoadByte, progress);
        return;
    }
    ui->labelOTAState->setText(progress);
    sentBytes += uint32(otaBuffer.size());
    writeData();
}

// --- answers

bool DFUDialog::isOtaConnection(uint8 connection) const
{
    return connection == ui->spinOTAConnection->value();
}

void DFUDialog::ota_rsp_write_command(uint8 connection, uint16 result)
{
    if (!isOtaConnection(connection))
        return;
    if (result == 0) {
        ota_step();
    } else if (result == outOfMemory) {
        otaState = sendDataAgain;
        QTimer::singleShot(retryDelay, this, &DFUDialog::ota_step);
    } else {
        endOta(result);
    }
}

void DFUDialog::ota_rsp_attribute_write(uint8 connection, uint16 result)
{
    if (!isOtaConnection(connection))
        return;
    if (result == outOfMemory)
        QTimer::singleShot(retryDelay, this, &DFUDialog::ota_resend_att_write);
    else if (result != 0 || otaState == awaitEnd)
        endOta(result);
}

void DFUDialog::ota_evt_procedure_completed(uint8 connection, uint16 result, uint16)
{
    if (!isOtaConnection(connection))
        return;
    if (result == 0)
        ota_step();
    else
        endOta(result);
}
