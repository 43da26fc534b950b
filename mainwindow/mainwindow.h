#pragma once

#include <QMainWindow>
#include <QStringList>
#include <QTimer>

#include <memory>

#include "firmware/dfudialog.h"
#include "firmware/flashmem.h"
#include "mainwindow/aboutdialog.h"
#include "protocol/cls_ble.h"
#include "protocol/types.h"
#include "tools/bletest.h"
#include "tools/dialoggattserver.h"
#include "tools/iodialog.h"
#include "tools/pstool.h"
#include "tools/setaddressdialog.h"
#include "tools/smdialog.h"
#include "tools/throughputdialog.h"
#include "tools/whitelistdialog.h"
#include "transport/uartcomm.h"

namespace Ui {
class MainWindow;
}
class CommDev;
class CommandParser;

// The root of the program: owns the engine, the port discovery, the attached device and the form, moves bytes
// between device and engine, and is the one funnel through which text reaches the log.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    // Builds everything, loads the definition file (relative to the current directory) and lists the ports.
    explicit MainWindow(QWidget *parent = nullptr);
    // An attached device is not deleted: its thread runs on to the end of the process.
    ~MainWindow() override;

Q_SIGNALS:
    // Connect to a remote device; intervals in units of 1.25 ms, timeout in units of 10 ms, latency in
    // events.
    void Connect(bd_addr address, uint8 addrtype, uint16 interval_min, uint16 interval_max, uint16 timeout,
                 uint16 latency);

public Q_SLOTS:
    void USBReset();
    void printLog();
    void on_actionGet_Address_triggered();
    void on_actionMagic_triggered();
    // Shows or hides the controls of development use.
    void dev_mode(bool enabled);
    void on_actionInfo_triggered();
    // The map as hex digits; all else in the text is passed over.
    void on_lineMap_returnPressed();
    void on_pushConnUpdate_clicked();
    // The text goes out as characters, up to a zero.
    void on_rawSend_returnPressed();
    // These two keep the timeout above the interval, and the latency within both.
    void on_spinTimeout_valueChanged(int value);
    void on_spinInterval_valueChanged(int value);
    void on_pushRefreshDevices_clicked();
    void on_actionReset_triggered();
    void on_actionDFU_triggered();
    void on_pushLogClear_clicked();
    void on_pushSetMode_clicked();
    void on_pushStopScan_clicked();
    void on_pushStartScan_clicked();
    void on_pushDevRefresh_clicked();
    // Attaches the chosen port, or detaches the one that is attached.
    void on_pushConnectDev_clicked();
    void DeviceFound(int bus, int addr, QString sn, bool available);
    // Lists a port: `name` is shown, `port` is the path to open.
    void DeviceFound(QString name, QString port);
    void DeviceDisconnect(int bus, int addr);

    // Log one line under the current time; the text is HTML.
    void debugPrint(QString txt);
    void debugPrintList(QStringList txt);
    // The same behind the check boxes "Comm" and "Text"; a line that is filtered here is gone.
    void debugPrintHex(QString txt);
    void debugPrintText(QString txt);
    void debugPrintStringList(QStringList txt);

    // Logs a received frame as hex.
    void rxData(QByteArray data);
    // Logs a whole frame as hex and writes it to the device, if there is one; blocks until it is written.
    void txData(QByteArray data);
    void hello();
    // Passes the request on by the signal of this name, with the connection parameters of the spin boxes.
    void Connect(bd_addr address, uint8 addrtype);
    void on_comboBaudrate_currentIndexChanged(int index);
    // Connects to whichever device of the whitelist is found first.
    void whitelist_connect();
    void on_actionGet_Channel_Quality_Map_triggered();
    void on_spinAdvInterval_valueChanged(int arg1);
    void on_pushSetAdvParameters_clicked();
    void on_pushClearMode_clicked();
    // Raises the window to the interval.
    void on_spinScanInterval_valueChanged(int arg1);
    void on_spinScanWindow_valueChanged(int arg1);
    void on_pushSetScanParameters_clicked();
    void on_spinLatency_valueChanged(int arg1);
    void on_lineCommand_textEdited(QString arg1);
    void on_lineCommand_returnPressed();

    // These keep the log from flooding while a firmware update streams.
    void rsp_flash_set_address(uint16 result);
    void rsp_flash_upload_finish(uint16 result);
    void ota_running(bool state);

private:
    friend class MainWindowTest;

    // Takes ownership of `dev`, deleting the device held before; null detaches. Blocks until the old device's
    // thread has ended.
    void setCommDevice(CommDev *dev);

    void resetModule(bool boot_in_dfu);
    void limitLatency(int timeout, int interval);
    void readTypedNumbers();
    void fillBaudRates();
    void loadDefinitions();
    void connectWindow();
    void connectDfu();
    void connectParser();
    void connectThroughput();
    void connectAbout();
    void connectUploadSwitches();

    // Unused, both: keep them out of any logic.
    QTimer timer;
    QStringList stringList;
    cls_ble engine;
    SMDialog securityDialog;
    Bletest testDialog;
    PSTool storeDialog;
    SetAddressDialog addressDialog;
    WhitelistDialog whitelistDialog;
    IODialog ioDialog;
    DFUDialog dfuDialog;
    ThroughputDialog throughputDialog;
    UartComm discovery;
    CommDev *device = nullptr;
    CommandParser *parser = nullptr;
    FlashMem flashDialog;
    DialogGATTServer attributeDialog;
    AboutDialog aboutDialog;
    std::unique_ptr<Ui::MainWindow> ui;
};
