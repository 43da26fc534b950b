#include "mainwindow/mainwindow.h"

#include <QAction>
#include <QDateTime>
#include <QPalette>
#include <QTextDocumentFragment>
#include <QToolTip>

#include <algorithm>
#include <iterator>

#include "commandline/commandparser.h"
#include "transport/commdev.h"
#include "ui_mainwindow.h"
#include "widgets/buttonwidth.h"
#include "widgets/windowfit.h"

namespace {

constexpr int initialLogHeight = 270; // pixels

constexpr int maxTooltipLength = 1000; // characters; it repeats what was typed, and X has no wider windows

constexpr int baudRates[] = {256000, 128000, 115200, 57600, 38400, 19200, 14400,
                             9600,   4800,   2400,   1200,  600,   300,   110};

const QLatin1String developmentActions[] = {QLatin1String("Flash"), QLatin1String("Set Address"),
                                            QLatin1String("Whitelist"),
                                            QLatin1String("Get Channel Quality Map")};

QString logStamp()
{
    const QDateTime now = QDateTime::currentDateTime();
    const QDate date = now.date();
    const QTime time = now.time();
    return QString::asprintf("<b>%4d.%02d.%02d %02d:%02d:%02d.%03d</b> ", date.year(), date.month(),
                             date.day(), time.hour(), time.minute(), time.second(), time.msec());
}

// For widgets whose text has fixed colours: those are for light paper, and a dark desktop would hide them.
void giveLightPaper(QWidget *widget)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::Base, Qt::white);
    palette.setColor(QPalette::Text, Qt::black);
    palette.setColor(QPalette::PlaceholderText, QColor(96, 96, 96));
    widget->setPalette(palette);
}

// Ends before an entity or a tag that would be cut.
QString cutHtml(const QString &html, int maxLength)
{
    QString cut = html.left(maxLength);
    if (cut.lastIndexOf(QLatin1Char('&')) > cut.lastIndexOf(QLatin1Char(';')))
        cut.truncate(cut.lastIndexOf(QLatin1Char('&')));
    if (cut.lastIndexOf(QLatin1Char('<')) > cut.lastIndexOf(QLatin1Char('>')))
        cut.truncate(cut.lastIndexOf(QLatin1Char('<')));
    return cut;
}

QString hexLine(const char *prefix, const QByteArray &data)
{
    return QLatin1String(prefix) + QString::fromLatin1(data.toHex());
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , securityDialog(this)
    , testDialog(this)
    , storeDialog(this)
    , addressDialog(this)
    , whitelistDialog(this)
    , ioDialog(&engine, this)
    , dfuDialog(&engine, this)
    , throughputDialog(&engine, this)
    , flashDialog(this)
    , attributeDialog(this)
    , aboutDialog(this)
    , ui(std::make_unique<Ui::MainWindow>())
{
    ui->setupUi(this);
#ifndef Q_OS_WIN // there the program file has icons of its own, in all sizes
    setWindowIcon(QIcon(QStringLiteral(":/logos/icon.png")));
#endif
    for (QDialog *dialog : findChildren<QDialog *>(QString(), Qt::FindDirectChildrenOnly))
        layOutBeforePlacing(dialog);
    // The dock "GAP" is tall: beside the log and not above it, it leaves the log room to be read.
    setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
    // The row under the devices is long: its buttons may be narrower than the style would have any button.
    for (QPushButton *button : {ui->pushConnUpdate, ui->pushRefreshDevices, ui->pushClearDevices})
        setMinimumWidthFor(button, button->text());
    giveLightPaper(ui->textDebug);
    giveLightPaper(ui->lineCommand);
    resizeDocks({ui->dockLog}, {initialLogHeight}, Qt::Vertical);
    fillBaudRates();
    connectWindow();
    addAction(ui->actionLogToFlowChart);
    connectDfu();
    loadDefinitions();
    addAction(ui->actionMagic);
    addAction(ui->actionThroughputTest);
    connectThroughput();
    aboutDialog.setModal(true);
    connectAbout();
    discovery.DiscoverDevices();
    discovery.Start();
    dev_mode(false);
    connectUploadSwitches();
}

MainWindow::~MainWindow() = default;

void MainWindow::fillBaudRates()
{
    for (const int rate : baudRates)
        ui->comboBaudrate->addItem(QString::number(rate), rate);
}

void MainWindow::loadDefinitions()
{
    parser = new CommandParser(this);
    connectParser();
    if (parser->loadDefinitions(QStringLiteral("../api/bleapi.xml")) != 0)
        parser->loadDefinitions(QStringLiteral("c:/projects/ble/ble/api/bleapi.xml"));
}

// --- the device

void MainWindow::setCommDevice(CommDev *dev)
{
    delete device;
    device = dev;
    if (device) {
        // The engine first: a frame's decoded line stands above its hex line.
        connect(device, &CommDev::RxData, &engine, &cls_ble::rx_data);
        connect(device, &CommDev::RxData, this, &MainWindow::rxData);
    }
    const bool attached = device != nullptr;
    ui->labelDev->setText(attached ? QStringLiteral("Connected") : QStringLiteral("Disconnected"));
    ui->labelDev->setPalette(QPalette(QColor(Qt::black), attached ? QColor(0, 255, 0) : QColor(255, 0, 0)));
}

void MainWindow::on_pushDevRefresh_clicked()
{
    ui->comboDev->clear();
    discovery.DiscoverDevices();
}

void MainWindow::on_pushConnectDev_clicked()
{
    if (ui->comboDev->currentIndex() < 0)
        return;
    if (device) {
        setCommDevice(nullptr);
        ui->pushConnectDev->setText(QStringLiteral("Attach"));
        return;
    }
    CommDev *const opened = discovery.Open(ui->comboDev->currentData().toString());
    if (!opened)
        return;
    ui->pushConnectDev->setText(QStringLiteral("Detach"));
    opened->SetBaudrate(ui->comboBaudrate->currentData().toInt());
    setCommDevice(opened);
}

void MainWindow::DeviceFound(int bus, int addr, QString sn, bool)
{
    ui->comboDev->addItem(
        QStringLiteral("%1 bus:%2 addr:%3").arg(sn, QString::number(bus), QString::number(addr)), sn);
    ui->comboDev->model()->sort(0);
}

void MainWindow::DeviceFound(QString name, QString port)
{
    ui->comboDev->addItem(name, port);
    ui->comboDev->model()->sort(0);
}

void MainWindow::DeviceDisconnect(int bus, int addr)
{
    const uint key = uint(bus) << 16 | uint(addr);
    const int index = ui->comboDev->findData(key);
    if (index >= 0)
        ui->comboDev->removeItem(index);
}

void MainWindow::on_comboBaudrate_currentIndexChanged(int index)
{
    if (device)
        device->SetBaudrate(ui->comboBaudrate->itemData(index).toInt());
}

// The module restarts, so the port is given up as soon as the command is out.
void MainWindow::resetModule(bool boot_in_dfu)
{
    engine.system.cmd_reset(boot_in_dfu ? 1 : 0);
    setCommDevice(nullptr);
    ui->pushConnectDev->setText(QStringLiteral("Attach"));
}

void MainWindow::on_actionReset_triggered()
{
    resetModule(false);
}

void MainWindow::on_actionDFU_triggered()
{
    dfuDialog.show();
}

void MainWindow::USBReset()
{
    resetModule(true);
}

// --- bytes and log

void MainWindow::txData(QByteArray frame)
{
    if (ui->actionPacket_Flow->isChecked())
        frame.prepend(char(frame.size() & 0xff));
    if (ui->checkLogHex->isChecked()) // spares the text during an update
        debugPrintHex(hexLine("TX: ", frame));
    if (device)
        device->TxData(frame);
}

void MainWindow::rxData(QByteArray frame)
{
    if (ui->checkLogHex->isChecked())
        debugPrintHex(hexLine("RX: ", frame));
}

void MainWindow::debugPrint(QString txt)
{
    ui->textDebug->addLine(logStamp(), txt);
}

void MainWindow::debugPrintList(QStringList txt)
{
    ui->textDebug->addLine(logStamp(), txt);
}

void MainWindow::debugPrintHex(QString txt)
{
    if (ui->checkLogHex->isChecked())
        debugPrint(txt);
}

void MainWindow::debugPrintText(QString txt)
{
    if (ui->checkLogText->isChecked())
        debugPrint(txt);
}

void MainWindow::debugPrintStringList(QStringList txt)
{
    if (ui->checkLogText->isChecked())
        debugPrintList(txt);
}

void MainWindow::hello()
{
    debugPrintText(QStringLiteral("Hello"));
}

void MainWindow::printLog() {}

void MainWindow::on_pushLogClear_clicked()
{
    ui->textDebug->clearLog();
}

void MainWindow::rsp_flash_set_address(uint16)
{
    ui->checkLogHex->setChecked(false);
    ui->checkLogText->setChecked(false);
}

void MainWindow::rsp_flash_upload_finish(uint16)
{
    ui->checkLogHex->setChecked(true);
    ui->checkLogText->setChecked(true);
}

void MainWindow::ota_running(bool state)
{
    ui->checkLogText->setChecked(!state);
    ui->checkLogHex->setChecked(!state);
}

// --- the command line

void MainWindow::on_lineCommand_textEdited(QString arg1)
{
    QString message;
    const bool bad = !arg1.isEmpty() && parser->parseLine(arg1, message).isEmpty();
    if (!bad || message.isEmpty())
        QToolTip::showText(QPoint(0, 0), QString());
    else
        QToolTip::showText(ui->lineCommand->mapToGlobal(QPoint(0, 0)), cutHtml(message, maxTooltipLength));
    QPalette palette = ui->lineCommand->palette();
    palette.setBrush(QPalette::Text, QBrush(bad ? Qt::red : Qt::black));
    ui->lineCommand->setPalette(palette);
    // What the colour says, for those who don't see it.
    if (bad && message.isEmpty())
        message = QStringLiteral("Neither a command nor a hex string");
    ui->lineCommand->setAccessibleDescription(
        bad ? QTextDocumentFragment::fromHtml(cutHtml(message, maxTooltipLength)).toPlainText() : QString());
}

void MainWindow::on_lineCommand_returnPressed()
{
    QString message;
    const QByteArray packet = parser->parseLine(ui->lineCommand->text(), message);
    if (!packet.isEmpty() && device)
        txData(packet);
}

// --- menus and development mode

void MainWindow::on_actionInfo_triggered()
{
    engine.system.cmd_get_info();
}

void MainWindow::on_actionGet_Address_triggered()
{
    engine.system.cmd_address_get();
}

void MainWindow::on_actionGet_Channel_Quality_Map_triggered()
{
    engine.test.cmd_get_channel_map();
}

// By shown text and not by object, so that the actions are found in whatever menu they stand.
void MainWindow::dev_mode(bool enabled)
{
    for (QWidget *menu : ui->menuBar->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly)) {
        for (QAction *action : menu->actions()) {
            const auto matches = [action](QLatin1String text) { return action->text() == text; };
            if (std::any_of(std::begin(developmentActions), std::end(developmentActions), matches))
                action->setVisible(enabled);
        }
    }
    ui->lineMap->setVisible(enabled);
    ui->rawSend->setVisible(enabled);
    ui->spinEndpoint->setVisible(enabled);
    ui->deviceList->dev_mode(enabled);
}

void MainWindow::on_actionMagic_triggered()
{
    dev_mode(!ui->rawSend->isVisible());
}
