#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QDialog>
#include <QElapsedTimer>
#include <QProcess>

#include <memory>

namespace Ui {
class DFUDialog;
}
class QLineEdit;
class cls_ble;

// Updates firmware by one of three roads: an outside tool over USB, the serial bootloader of the attached
// module, or over the air through two attributes of a connected device. The last two are chains of commands
// in which each answer of the module starts the next command, with no timeout and no way to stop them; a
// chain started again runs beside the first.
class DFUDialog : public QDialog
{
    Q_OBJECT

public:
    // `ble` is not owned and outlives the dialog.
    explicit DFUDialog(cls_ble *ble, QWidget *parent = nullptr);
    // A tool that still runs ends with the dialog.
    ~DFUDialog() override;

Q_SIGNALS:
    // The module is to restart into its USB bootloader.
    void usb_reset();
    // An update over the air began or ended.
    void ota_running(bool state);

public Q_SLOTS:
    void on_pushButton_clicked();

    // These load the image that is sent next, from Intel hex or byte for byte. A failure is told in a message
    // box; then false, with the image as far as it was read (hex) or as it was (binary).
    bool loadHexFile(QString hexfilename);
    bool loadBinFile(QString binfilename);

    // The serial bootloader. An empty file name means the image loaded last. Any result but 0 ends the chain.
    void on_uploadButton_clicked();
    void rsp_flash_set_address(uint16 result);
    void rsp_flash_upload(uint16 result);
    void rsp_flash_upload_finish(uint16 result);

    void on_pushBootUSB_clicked();

    // Over the air. Replies count if they are of the connection that the dialog shows.
    void on_pushOTAUpload_clicked();
    void ota_evt_procedure_completed(uint8, uint16, uint16);
    void ota_rsp_write_command(uint8 connection, uint16 result);
    void ota_rsp_attribute_write(uint8 connection, uint16 result);
    void ota_step();
    void ota_resend_att_write();

    void on_browseButton_clicked();
    void on_browseOTAFile_clicked();
    void on_browseButtonUSB_clicked();

    // The tool for USB and what becomes of it.
    void on_pushButton_2_clicked();
    void dfu_out_data();
    void dfu_start();
    void dfu_error(QProcess::ProcessError error);
    void dfu_finished(int exitCode, QProcess::ExitStatus exitStatus);

    // What any discovery finds: connection and handles of the two attributes are taken from it. `uuid` has
    // its least significant byte first.
    void evt_find_information_found(uint8 connection, uint16 chrhandle, QByteArray uuid);
    void evt_attribute_value(uint8, uint16, uint8, QByteArray);

private:
    void chooseFile(QLineEdit *edit, const QString &title, const QString &filter);
    void showError(const QString &text);
    qint64 elapsed() const;
    bool isOtaConnection(uint8 connection) const;
    void writeControlPoint(uint8 value, const QString &stage);
    void writeData();
    void nextDataChunk();
    void endOta(uint16 result);
    void appendOutput(const QString &text);

    cls_ble *ble;
    QByteArray image; // byte n is the byte for flash address n, or for an update over the air of the file
    uint32 imageLowAddress = 0; // the image begins here, whatever its first record says
    uint32 sentBytes = 0;       // of the running upload, serial or over the air
    QElapsedTimer rateClock;    // not valid before the first data
    int otaState = 0;
    QByteArray otaBuffer; // last payload, for sending it again
    QProcess process;
    std::unique_ptr<Ui::DFUDialog> ui;
};
