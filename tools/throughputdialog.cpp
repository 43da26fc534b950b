#include "tools/throughputdialog.h"

#include "protocol/cls_ble.h"
#include "ui_throughputdialog.h"

#include <QCloseEvent>
#include <QShortcut>
#include <QTimer>

namespace {

constexpr int payloadSize = 20; // bytes, what the smallest packet takes
constexpr char payloadByte = 100;
constexpr int linkBits = 10;
constexpr uint16 outOfMemory = 0x0182;
constexpr int retryTime = 10; // ms
constexpr int dayTime = 24 * 60 * 60 * 1000;

int elapsedSince(const QTime &start)
{
    const int elapsed = start.msecsTo(QTime::currentTime());
    return elapsed < 0 ? elapsed + dayTime : elapsed; // midnight has passed
}

} // namespace

ThroughputDialog::ThroughputDialog(cls_ble *engine, QWidget *parent)
    : QDialog(parent)
    , ble(engine)
    , ui(std::make_unique<Ui::ThroughputDialog>())
{
    ui->setupUi(this);
    // A button that is down keeps Escape for itself.
    connect(new QShortcut(QKeySequence(Qt::Key_Escape), this), &QShortcut::activated, this,
            &ThroughputDialog::reject);
}

ThroughputDialog::~ThroughputDialog() = default;

void ThroughputDialog::spam_rsp_write_command(uint8 connection, uint16 result)
{
    if (result == 0) {
        currentLink = nextLink();
        showRate();
        step();
    } else if (result == outOfMemory) {
        QTimer::singleShot(retryTime, run.get(), [this] {
            if ((activeLinks >> currentLink & 1) == 0) // disabled meanwhile
                currentLink = nextLink();
            step();
        });
    } else {
        ui->labelThroughput->setText(QStringLiteral("Error at link %1:%2").arg(connection).arg(result));
        int link = connection;
        if (connection == ui->spinLink0->value())
            link = 0;
        else if (connection == ui->spinLink1->value())
            link = 1;
        setLink(link, false); // the other link's writes end as well: no step follows
    }
}

void ThroughputDialog::on_pushEnable0_clicked(bool checked)
{
    setLink(0, checked);
}

void ThroughputDialog::on_pushEnable1_clicked(bool checked)
{
    setLink(1, checked);
}

void ThroughputDialog::step()
{
    int connection = 0;
    int handle = 0;
    if (currentLink == 0) {
        connection = ui->spinLink0->value();
        handle = ui->spinAttribute0->value();
    } else if (currentLink == 1) {
        connection = ui->spinLink1->value();
        handle = ui->spinAttribute1->value();
    }
    ble->attclient.cmd_write_command(uint8(connection), uint16(handle), QByteArray(payloadSize, payloadByte));
    sentTotal = int(uint32(sentTotal) + payloadSize); // wraps after hours, as a sum of 32 bits does
}

void ThroughputDialog::reject()
{
    stop();
    QDialog::reject();
}

void ThroughputDialog::closeEvent(QCloseEvent *event)
{
    stop();
    QDialog::closeEvent(event);
}

void ThroughputDialog::stop()
{
    setLink(0, false);
    setLink(1, false);
}

// Numbers from 2 on are no links: they come with an error of a connection that is on neither.
void ThroughputDialog::setLink(int link, bool on)
{
    const uint32 before = activeLinks;
    const uint32 bit = link < 32 ? 1U << link : 0;
    activeLinks = on ? before | bit : before & ~bit;
    showLink(link, on);
    if (before != 0 && activeLinks == 0) {
        disconnect(&ble->attclient, &cls_ble_attclient::rsp_write_command, this,
                   &ThroughputDialog::spam_rsp_write_command);
        run.reset();
    } else if (before == 0 && activeLinks != 0) {
        ui->labelThroughput->setText(QStringLiteral("Started throughput test"));
        connect(&ble->attclient, &cls_ble_attclient::rsp_write_command, this,
                &ThroughputDialog::spam_rsp_write_command);
        run = std::make_unique<QObject>();
        testClock = QTime::currentTime();
        currentLink = link;
        sentTotal = 0;
        step();
    }
}

// A checked button looks pressed whatever its down state, and the program's own changes have no click.
void ThroughputDialog::showLink(int link, bool on)
{
    QPushButton *const buttons[] = {ui->pushEnable0, ui->pushEnable1};
    if (link > 1)
        return;
    buttons[link]->setChecked(on);
    buttons[link]->setDown(on);
}

// The next bit above the current one, from the first on again if there is none.
int ThroughputDialog::nextLink() const
{
    for (int i = 1; i < linkBits; ++i) {
        const int link = (currentLink + i) % linkBits;
        if ((activeLinks >> link & 1) != 0)
            return link;
    }
    return currentLink;
}

void ThroughputDialog::showRate()
{
    const int elapsed = elapsedSince(testClock);
    if (elapsed == 0)
        return;
    const double rate = double(float(sentTotal) / float(elapsed)) / 1.024;
    ui->labelThroughput->setText(QStringLiteral("Sent:%1 (%3 KiB/s)").arg(sentTotal).arg(rate, 0, 'g', 4));
}
