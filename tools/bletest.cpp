#include "tools/bletest.h"

#include "ui_bletest.h"

namespace {

constexpr int minFrequency = 2402; // MHz, of channel 0
constexpr int channelSpacing = 2;  // MHz
constexpr int maxChannel = 39;

int channelAt(int megahertz)
{
    return (megahertz - minFrequency) / channelSpacing;
}

} // namespace

Bletest::Bletest(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::Bletest>())
{
    ui->setupUi(this);
}

Bletest::~Bletest() = default;

void Bletest::on_pushTestEnd_clicked()
{
    Q_EMIT test_end();
}

void Bletest::on_pushTestTX_clicked()
{
    Q_EMIT test_tx(channel(), uint8(ui->spinPayload->value()), uint8(ui->comboType->currentIndex()));
}

void Bletest::on_pushTestRX_clicked()
{
    Q_EMIT test_rx(channel());
}

void Bletest::on_pushTestReset_clicked()
{
    Q_EMIT test_reset();
}

void Bletest::on_spinFreq_editingFinished()
{
    const int nearest = qBound(0, channelAt(ui->spinFreq->locale().toInt(ui->spinFreq->text())), maxChannel);
    ui->spinFreq->setValue(minFrequency + channelSpacing * nearest);
}

void Bletest::packets_rx(uint16 count)
{
    ui->labelRXpackets->setText(QString::number(count));
}

uint8 Bletest::channel() const
{
    return uint8(channelAt(ui->spinFreq->value()));
}
