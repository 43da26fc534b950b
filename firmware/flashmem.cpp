#include "firmware/flashmem.h"

#include "protocol/conversions.h"
#include "ui_flashmem.h"

#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <filesystem>
#include <limits>

namespace {

constexpr uint32 maxAddress = 0x7ffff;
constexpr int pageShift = 11; // pages of 2048 bytes
constexpr int wordSize = 4;
constexpr int chunkSize = 0x20; // bytes, of a write as of a read
constexpr int stepTime = 100;   // ms from one write to the next
constexpr char erased = '\xff'; // leaves the byte in flash as it is

// Far more than any flash.
constexpr qint64 maxFileSize = 0x4000000;

// 0 for what is no number of 32 bits.
uint32 hexNumber(const QString &text)
{
    return text.toUInt(nullptr, 16);
}

// Whether the text is a number in hex that has more than 64 bits.
bool hasTooManyDigits(const QString &text)
{
    static const QRegularExpression digits(QStringLiteral("^\\s*(0[xX])?0*[0-9a-fA-F]{17,}\\s*$"));
    return digits.match(text).hasMatch();
}

// Opening one waits for a reader, perhaps for ever.
bool isPipe(const QFile &file)
{
    std::error_code error;
    return std::filesystem::is_fifo(QFile::encodeName(file.fileName()).toStdString(), error);
}

int paddingToWord(qint64 size)
{
    return int((wordSize - size % wordSize) % wordSize);
}

// Leaves the cursor where the user types, which QLineEdit would put to the end, and the undo history if
// nothing changes.
void rewrite(QLineEdit *edit, uint32 number)
{
    const QString text = QString::number(number, 16);
    if (edit->text() == text)
        return;
    const int behindCursor = edit->text().size() - edit->cursorPosition();
    edit->setText(text);
    edit->setCursorPosition(text.size() - behindCursor);
}

} // namespace

FlashMem::FlashMem(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::FlashMem>())
{
    ui->setupUi(this);
}

FlashMem::~FlashMem() = default;

void FlashMem::rsp_read_memory(uint32 address, QByteArray content)
{
    if (!readFile || !readFile->isOpen())
        return;
    readRemaining -= content.size();
    if (readFile->write(content) != content.size()) {
        const QString error = readFile->errorString(); // closing clears it
        readFile->close();
        showWriteError(error);
        return;
    }
    if (readRemaining > 0) {
        Q_EMIT cmd_read_memory(address + uint32(content.size()), uint8(std::min(readRemaining, chunkSize)));
        return;
    }
    readFile->close();
    if (readFile->error() != QFileDevice::NoError)
        showWriteError(readFile->errorString());
}

void FlashMem::on_pushFlashFile_clicked()
{
    fileOffset = 0;
    ui->progressFileFlash->setValue(0);
    flashWriteWords();
}

void FlashMem::on_pushSelect_clicked()
{
    QFile file(QFileDialog::getOpenFileName(this, QStringLiteral("Select File")));
    const QFileInfo info(file);
    const bool isRefused = info.exists() && !info.isFile() && !info.isDir(); // may never give or end
    QByteArray content;
    if (!isRefused && file.open(QIODevice::ReadOnly))
        content = file.read(maxFileSize + 1);
    const auto error = isRefused || content.size() > maxFileSize ? QFileDevice::ResourceError : file.error();
    if (error != QFileDevice::NoError) {
        criticalBox(QStringLiteral("Open File"), QStringLiteral("error:%1").arg(int(error)))->exec();
        return;
    }
    fileData = content;
    ui->lineFileSize->setText(QString::number(fileData.size()));

    const uint32 address = hexNumber(ui->lineFileAddress->text());
    const int padded = fileData.size() + paddingToWord(qint64(address % wordSize) + fileData.size());
    const int steps = (padded + chunkSize - 1) / chunkSize;
    // From 0 to 0 would be shown as busy without end; with nothing to program the bar is full at 0.
    ui->progressFileFlash->setRange(steps == 0 ? -1 : 0, steps);
    ui->progressFileFlash->setValue(0);
}

void FlashMem::on_lineData_textEdited(QString)
{
    checkInput();
}

void FlashMem::on_pushFlash_clicked()
{
    const uint32 address = hexNumber(ui->lineAddress->text());
    Q_EMIT program(uint16(address / wordSize), hex_bytes(ui->lineData->text()));
}

void FlashMem::on_pushErase_clicked()
{
    Q_EMIT erase(uint8(hexNumber(ui->linePage->text())));
}

void FlashMem::on_linePage_textEdited(QString text)
{
    showAddress(quint64(hexNumber(text)) << pageShift);
}

void FlashMem::on_lineAddress_textEdited(QString text)
{
    showAddress(hexNumber(text));
}

void FlashMem::showAddress(quint64 address)
{
    const auto shown = uint32(std::min<quint64>(address, maxAddress));
    rewrite(ui->lineAddress, shown);
    rewrite(ui->linePage, shown >> pageShift);
    checkInput();
}

void FlashMem::checkInput()
{
    const QString text = ui->lineData->text();
    const bool valid = hex_bytes(text).size() % wordSize == 0 && text.size() % (2 * wordSize) == 0 &&
                       !text.isEmpty() && hexNumber(ui->lineAddress->text()) % wordSize == 0;
    ui->labelInfo->setText(valid ? QString()
                                 : QStringLiteral("Address and Data length must be divisible by 4"));
    ui->pushFlash->setEnabled(valid);
}

void FlashMem::flashWriteWords()
{
    uint32 address = hexNumber(ui->lineFileAddress->text());
    if (fileOffset >= fileData.size()) // a shorter file may have been chosen meanwhile
        return;

    // The first step fills up to a word boundary, so that all others start on one.
    QByteArray payload;
    if (fileOffset == 0) {
        const int lead = int(address % wordSize);
        payload.fill(erased, lead);
        address -= uint32(lead);
    }
    const QByteArray chunk = fileData.mid(fileOffset, chunkSize - payload.size());
    payload += chunk;
    payload += QByteArray(paddingToWord(payload.size()), erased);
    Q_EMIT program(uint16((address + uint32(fileOffset)) / wordSize), payload);

    fileOffset += chunk.size();
    ui->progressFileFlash->setValue(ui->progressFileFlash->value() + 1);
    QTimer::singleShot(stepTime, this, &FlashMem::flashWriteWords);
}

void FlashMem::on_browseButton_clicked()
{
    ui->savefileName->setText(QFileDialog::getSaveFileName(this, QStringLiteral("Select File")));
}

void FlashMem::on_readButton_clicked()
{
    const auto refuse = [this](const QString &title, const QString &reason, const QString &text) {
        criticalBox(title, QStringLiteral("%1\n%2").arg(reason, text))->exec();
    };
    const QString expected = QStringLiteral("Expected hexadecimal value");
    const QString tooLarge = QStringLiteral("Value is too large");

    bool isNumber = false;
    const quint64 size = ui->savesizeEdit->text().toULongLong(&isNumber, 16);
    const bool isTooLarge = isNumber ? size > quint64(std::numeric_limits<int>::max())
                                     : hasTooManyDigits(ui->savesizeEdit->text());
    if (!isNumber || isTooLarge) {
        refuse(QStringLiteral("Size error"), isTooLarge ? tooLarge : expected, ui->savesizeEdit->text());
        return;
    }
    const quint64 address = ui->saveaddressEdit->text().toULongLong(&isNumber, 16);
    const bool isAddressTooLarge = isNumber ? address > std::numeric_limits<uint32>::max()
                                            : hasTooManyDigits(ui->saveaddressEdit->text());
    if (!isNumber || isAddressTooLarge) {
        refuse(QStringLiteral("Address error"), isAddressTooLarge ? tooLarge : expected,
               ui->saveaddressEdit->text());
        return;
    }
    // Without a buffer a full disk shows at once, and closing an earlier read of the same file writes nothing
    // into the new one.
    auto file = std::make_unique<QFile>(ui->savefileName->text());
    if (isPipe(*file)) {
        refuse(QStringLiteral("File open failed"), QStringLiteral("Is a pipe"), file->fileName());
        return;
    }
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        refuse(QStringLiteral("File open failed"), file->errorString(), file->fileName());
        return;
    }
    readFile = std::move(file);
    readRemaining = int(size);
    Q_EMIT cmd_read_memory(uint32(address), chunkSize); // whatever the size
}

// A box that deletes itself once it is closed.
QMessageBox *FlashMem::criticalBox(const QString &title, const QString &text)
{
    auto *const box = new QMessageBox(QMessageBox::Critical, title, text, QMessageBox::NoButton, this);
    box->setTextFormat(Qt::PlainText);
    box->setAttribute(Qt::WA_DeleteOnClose);
    return box;
}

// Does not wait for the user: this is told while a frame is being received.
void FlashMem::showWriteError(const QString &error)
{
    const QString text = QStringLiteral("%1\n%2").arg(error, readFile->fileName());
    criticalBox(QStringLiteral("File write failed"), text)->open();
}
