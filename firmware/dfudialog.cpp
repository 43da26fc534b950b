#include "firmware/dfudialog.h"

#include "firmware/hexfile.h"
#include "protocol/cls_ble.h"
#include "ui_dfudialog.h"
#include "widgets/buttonwidth.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>

namespace {

constexpr uint8 bootFirmware = 0;
constexpr uint8 bootBootloader = 1;

constexpr int loadAddress = 0x1000; // the bootloader itself lies below
constexpr int chunkSize = 0x40;

// Pipes and devices are refused, as they can keep the reader waiting for ever or have no end.
bool openImage(QFile &file)
{
    return QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly);
}

} // namespace

DFUDialog::DFUDialog(cls_ble *engine, QWidget *parent)
    : QDialog(parent)
    , ble(engine)
    , ui(std::make_unique<Ui::DFUDialog>())
{
    ui->setupUi(this);
    for (QPushButton *button : {ui->pushButton, ui->pushBootUSB})
        setMinimumWidthFor(button, button->text());
    resize(80 * fontMetrics().averageCharWidth(), 24 * fontMetrics().lineSpacing());
    ui->buttonBox->button(QDialogButtonBox::Close)->setAutoDefault(false); // Enter in a field does nothing
    process.setProcessChannelMode(QProcess::MergedChannels);
    const cls_ble_dfu *const dfu = &ble->dfu;
    connect(dfu, &cls_ble_dfu::rsp_flash_set_address, this, &DFUDialog::rsp_flash_set_address);
    connect(dfu, &cls_ble_dfu::rsp_flash_upload, this, &DFUDialog::rsp_flash_upload);
    connect(dfu, &cls_ble_dfu::rsp_flash_upload_finish, this, &DFUDialog::rsp_flash_upload_finish);
    const cls_ble_attclient *const client = &ble->attclient;
    connect(client, &cls_ble_attclient::evt_find_information_found, this,
            &DFUDialog::evt_find_information_found);
    connect(client, &cls_ble_attclient::evt_attribute_value, this, &DFUDialog::evt_attribute_value);
    connect(&process, &QProcess::readyRead, this, &DFUDialog::dfu_out_data);
    connect(&process, &QProcess::started, this, &DFUDialog::dfu_start);
    connect(&process, &QProcess::errorOccurred, this, &DFUDialog::dfu_error);
    connect(&process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &DFUDialog::dfu_finished);
}

DFUDialog::~DFUDialog()
{
    // The process's own end kills a running tool, and tells of it when the form is gone.
    process.disconnect(this);
}

void DFUDialog::on_pushButton_clicked()
{
    ble->dfu.cmd_reset(bootBootloader);
}

// --- files

void DFUDialog::showError(const QString &text)
{
    QMessageBox box(QMessageBox::Critical, QStringLiteral("DFU"), text, QMessageBox::Ok, this);
    box.setTextFormat(Qt::PlainText); // a file name may look like HTML
    box.exec();
}

bool DFUDialog::loadHexFile(QString hexfilename)
{
    // Not in text mode, which is slow: to the reader both kinds of line end are alike.
    QFile file(hexfilename);
    if (!openImage(file)) {
        showError(QStringLiteral("Unable to open: ") + hexfilename);
        return false;
    }
    uint32 highAddress = 0;
    if (!readHexFile(file, image, imageLowAddress, highAddress)) {
        showError(QStringLiteral("Unable to parse hexfile: ") + hexfilename);
        return false;
    }
    return true;
}

bool DFUDialog::loadBinFile(QString binfilename)
{
    QFile file(binfilename);
    if (openImage(file) && file.size() <= maxImageSize) {
        const QByteArray content = file.readAll();
        if (file.error() == QFile::NoError) {
            image = content;
            return true;
        }
    }
    showError(QStringLiteral("Unable to open: ") + binfilename);
    return false;
}

void DFUDialog::chooseFile(QLineEdit *edit, const QString &title, const QString &filter)
{
    const QString start = edit->text().isEmpty() ? QDir::homePath() : edit->text();
    edit->setText(QFileDialog::getOpenFileName(this, title, start, filter));
}

void DFUDialog::on_browseButton_clicked()
{
    chooseFile(ui->fileEdit, QStringLiteral("Select DFU image"), QStringLiteral("Hex files (*.hex)"));
}

void DFUDialog::on_browseOTAFile_clicked()
{
    chooseFile(ui->fileOTAEdit, QStringLiteral("Select OTA image"), QStringLiteral("OTA files (*.ota)"));
}

void DFUDialog::on_browseButtonUSB_clicked()
{
    chooseFile(ui->fileEditUSB, QStringLiteral("Select DFU image"), QStringLiteral("Hex files (*.hex)"));
}

// --- serial bootloader

// Milliseconds since the first data went out.
qint64 DFUDialog::elapsed() const
{
    return rateClock.isValid() ? rateClock.elapsed() : 0;
}

void DFUDialog::on_uploadButton_clicked()
{
    const QString name = ui->fileEdit->text();
    if (name.isEmpty() || loadHexFile(name))
        ble->dfu.cmd_flash_set_address(loadAddress);
}

void DFUDialog::rsp_flash_set_address(uint16 result)
{
    if (result != 0)
        return;
    sentBytes = chunkSize;
    ble->dfu.cmd_flash_upload(image.mid(loadAddress, chunkSize));
    rateClock.start();
}

void DFUDialog::rsp_flash_upload(uint16 result)
{
    if (result != 0)
        return;
    const qint64 time = elapsed();
    const qint64 rate = time != 0 ? sentBytes / time : 0; // whole kB/s
    ui->infoText->setText(QStringLiteral("Loaded:%1/%2 (%3 KiB/s)")
                              .arg(sentBytes)
                              .arg(image.size() - loadAddress)
                              .arg(double(rate) / 1.024, 0, 'g', 2));
    const QByteArray chunk = image.mid(int(sentBytes) + loadAddress, chunkSize);
    if (chunk.isEmpty()) {
        ble->dfu.cmd_flash_upload_finish();
        return;
    }
    sentBytes += chunkSize;
    ble->dfu.cmd_flash_upload(chunk);
}

void DFUDialog::rsp_flash_upload_finish(uint16 result)
{
    if (result == 0)
        ble->dfu.cmd_reset(bootFirmware);
}
