// Exchanges a second, command out and response decoded, through the serial device and the engine, beside a
// loop that passes the same bytes by bare calls of the system.

#include "bench/common/figure.h"
#include "protocol/cls_ble.h"
#include "transport/uartdev.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include "line.h" // the system's own

namespace {

constexpr int rounds = 7;

double ourRate()
{
    Echo echo;
    UartDev device(QString::fromLatin1(echo.slaveName()), nullptr);
    if (!device.Open())
        qFatal("the port does not open");
    device.SetBaudrate(256000);

    cls_ble ble;
    QObject::connect(&device, SIGNAL(RxData(QByteArray)), &ble, SLOT(rx_data(QByteArray)));
    QObject::connect(&ble, SIGNAL(tx_data(QByteArray)), &device, SLOT(TxData(QByteArray)),
                     Qt::DirectConnection);
    QEventLoop loop;
    int done = 0;
    QObject::connect(&ble.system, &cls_ble_system::rsp_hello, &loop, [&] {
        if (++done == exchanges)
            loop.quit();
        else
            ble.system.cmd_hello();
    });
    QElapsedTimer timer;
    timer.start();
    ble.system.cmd_hello();
    QTimer::singleShot(60000, &loop, [] { qFatal("an answer is missing"); });
    loop.exec();
    return exchanges / (double(timer.nsecsElapsed()) / 1e9);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    std::vector<double> ours;
    std::vector<double> bare;
    std::vector<double> ratios;
    for (int i = 0; i < rounds; ++i) {
        bare.push_back(bareRate());
        ours.push_back(ourRate());
        ratios.push_back(ours.back() / bare.back());
    }
    return printFigure(figureName, median(ours), median(bare), median(ratios), Budget::atLeast, 0.5) ? 0 : 1;
}
