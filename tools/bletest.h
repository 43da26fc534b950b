#pragma once

#include "protocol/types.h"

#include <QDialog>

#include <memory>

namespace Ui {
class Bletest;
}

// The module's direct test mode. Does not know whether a test runs: every button works at any time. The radio
// has 40 channels, 0 to 39, 2 MHz apart from 2402 MHz on.
class Bletest : public QDialog
{
    Q_OBJECT

public:
    explicit Bletest(QWidget *parent = nullptr);
    ~Bletest() override;

Q_SIGNALS:
    void test_end();
    void test_rx(uint8 freq);                          // a channel
    void test_tx(uint8 freq, uint8 length, uint8 pkt); // a channel, bytes, a type of payload
    void test_reset();

public Q_SLOTS:
    void on_pushTestEnd_clicked();
    void on_pushTestTX_clicked();
    void on_pushTestRX_clicked();
    void on_pushTestReset_clicked();
    // Takes the entry to a channel: the one at or below it.
    void on_spinFreq_editingFinished();

    // Shows how many packets the test that ended had received.
    void packets_rx(uint16 count);

private:
    uint8 channel() const;

    std::unique_ptr<Ui::Bletest> ui;
};
