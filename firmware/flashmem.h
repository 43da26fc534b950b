#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QDialog>

#include <memory>

class QFile;
class QMessageBox;

namespace Ui {
class FlashMem;
}

// Direct work on the flash of the attached module: erases a page, sends words to be programmed, typed or from
// a file, and reads a range of memory into a file. Addresses are in bytes, pages have
// 0x800.
//
// A write is paced by a timer and looks at no response, a read by its responses. Neither can be cancelled;
// both go on behind a closed dialog.
class FlashMem : public QDialog
{
    Q_OBJECT

public:
    explicit FlashMem(QWidget *parent = nullptr);
    ~FlashMem() override;

Q_SIGNALS:
    void erase(uint8 page);
    void program(uint16 address, QByteArray data);      // address in 32-bit words, data whole words
    void cmd_read_memory(uint32 address, uint8 length); // in bytes

public Q_SLOTS:
    // The next piece of the running read: goes to the file, and the piece behind it is asked for. Ignored
    // without a running read; one that nobody here asked for cannot be told from one that was.
    void rsp_read_memory(uint32 address, QByteArray content);

    void on_pushFlashFile_clicked();
    void on_pushSelect_clicked();
    void on_lineData_textEdited(QString text);
    void on_pushFlash_clicked();
    void on_pushErase_clicked();

    // Keep address and page in step. Hexadecimal; other text counts as 0, a place past the end as the end.
    void on_linePage_textEdited(QString text);
    void on_lineAddress_textEdited(QString text);

    // One step of programming the chosen file, up to 32 bytes of it; has itself called again in 100 ms until
    // the end of the file.
    void flashWriteWords();

    void on_browseButton_clicked();
    void on_readButton_clicked();

private:
    void showAddress(quint64 address);
    void checkInput();
    QMessageBox *criticalBox(const QString &title, const QString &text);
    void showWriteError(const QString &error);

    std::unique_ptr<Ui::FlashMem> ui;
    QByteArray fileData;             // to be programmed
    int fileOffset = 0;              // bytes of fileData that are programmed
    std::unique_ptr<QFile> readFile; // target of the read, closed once the read has ended
    int readRemaining = 0;           // bytes, 0 or less at the end
};
