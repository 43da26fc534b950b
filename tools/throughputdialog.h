#pragma once

#include "protocol/types.h"

#include <QDialog>
#include <QTime>

#include <memory>

namespace Ui {
class ThroughputDialog;
}
class cls_ble;

// Measures how fast the module takes data for remote devices: writes without acknowledgement of 20 bytes, on
// one connection or in turn on two, called links 0 and 1. Each write waits for the response to the one before
// it, so one is on its way in all. (A test that is started before the last one's response came has two.)
class ThroughputDialog : public QDialog
{
    Q_OBJECT

public:
    // The engine has to outlive the dialog.
    explicit ThroughputDialog(cls_ble *engine, QWidget *parent = nullptr);
    ~ThroughputDialog() override;

public Q_SLOTS:
    // Connected while a test runs; any response counts, whatever its connection.
    void spam_rsp_write_command(uint8 connection, uint16 result);
    void on_pushEnable0_clicked(bool checked);
    void on_pushEnable1_clicked(bool checked);
    // Sends the next write.
    void step();

    // As closing the dialog does, this ends the test: Escape comes here without a close event.
    void reject() override;

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void setLink(int link, bool on);
    void showLink(int link, bool on);
    int nextLink() const;
    void showRate();
    void stop();

    int currentLink = 0; // of the next write; a bit of activeLinks
    uint32 activeLinks = 0;
    QTime testClock;
    int sentTotal = 0;            // bytes since the start of the test, those that were refused too
    std::unique_ptr<QObject> run; // while a test runs: what waits for a retry ends with it
    cls_ble *ble;
    std::unique_ptr<Ui::ThroughputDialog> ui;
};
