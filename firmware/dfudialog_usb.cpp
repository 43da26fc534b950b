// The update over USB, which an outside tool does.

#include "firmware/dfudialog.h"

#include "ui_dfudialog.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>

namespace {

#ifdef Q_OS_WIN
const QLatin1String toolName("/dfutool.exe");
#else
const QLatin1String toolName("/dfutool");
#endif

// By QProcess::ProcessError, whose ReadError stands before its WriteError.
const char *const errorTexts[] = {"Failed to start", "Exit with error", "Timedout",
                                  "ReadError",       "WriteError",      "Unknown Error"};

// A tool can print without end. Of what it says the last 10,000 paragraphs are kept, by the form, and about
// as many characters as this.
constexpr int maxOutputSize = 1'000'000;

// A longer paragraph is shown as several, as laying one out that fills a whole read takes a fifth of a
// second.
constexpr int maxParagraphSize = 4096;

} // namespace

void DFUDialog::on_pushBootUSB_clicked()
{
    Q_EMIT usb_reset();
}

void DFUDialog::on_pushButton_2_clicked()
{
    const QString program = QCoreApplication::applicationDirPath() + toolName;
    const QStringList arguments{QStringLiteral("%1:%2").arg(ui->lineVID->text(), ui->linePID->text()),
                                ui->fileEditUSB->text()};
    ui->outputTextUSB->setPlainText(
        QStringLiteral("Starting DFU:%1 %2\n").arg(program, arguments.join(QLatin1Char(' '))));
    const bool isRunning = process.state() != QProcess::NotRunning;
    process.start(program, arguments, QIODevice::ReadWrite);
    if (isRunning) // is refused without a signal
        dfu_error(QProcess::FailedToStart);
}

void DFUDialog::appendOutput(const QString &text)
{
    QPlainTextEdit *const output = ui->outputTextUSB;
    static const QRegularExpression tooLong(
        QStringLiteral("([^\\r\\n]{%1})(?=[^\\r\\n])").arg(maxParagraphSize));
    output->appendPlainText(
        text.size() > maxParagraphSize ? QString(text).replace(tooLong, QStringLiteral("\\1\n")) : text);
    const int excess = output->document()->characterCount() - maxOutputSize;
    if (excess <= 0)
        return;
    QTextCursor cursor(output->document()->firstBlock());
    cursor.setPosition(output->document()->findBlock(excess).next().position(), QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
}

void DFUDialog::dfu_out_data()
{
    if (process.state() == QProcess::Starting)
        return; // a quick tool's output is heard of before its start, and is read behind it
    appendOutput(QString::fromUtf8(process.readAll().constData())); // up to a zero byte
    QScrollBar *const bar = ui->outputTextUSB->verticalScrollBar();
    bar->setValue(bar->maximum());
}

void DFUDialog::dfu_start()
{
    appendOutput(QStringLiteral("DFU Started...\n"));
    if (process.bytesAvailable() > 0)
        dfu_out_data();
}

void DFUDialog::dfu_error(QProcess::ProcessError error)
{
    appendOutput(QStringLiteral("Error in USB DFU:"));
    appendOutput(QLatin1String(errorTexts[error]));
}

void DFUDialog::dfu_finished(int exitCode, QProcess::ExitStatus exitStatus)
{
    if (exitCode == 0 && exitStatus == QProcess::NormalExit)
        appendOutput(QStringLiteral("Finished"));
    else
        appendOutput(QStringLiteral("Error in USB DFU:%1 %2\n").arg(exitCode).arg(int(exitStatus)));
}
