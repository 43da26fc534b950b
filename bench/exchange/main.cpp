// Exchanges a second, command out and response decoded, through the serial device and the engine, beside two
// threads that pass the same bytes over a bare pseudo-terminal.

#include "bench/common/figure.h"
#include "protocol/cls_ble.h"
#include "transport/uartdev.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int exchanges = 4000;
constexpr int rounds = 7;
constexpr char hello[] = {0x00, 0x00, 0x00, 0x01}; // the command and its response are the same four bytes

bool read_fully(int fd, char *buffer, std::size_t count)
{
    while (count > 0) {
        const ssize_t got = read(fd, buffer, count);
        if (got <= 0)
            return false;
        buffer += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

// A pseudo-terminal whose master side answers every four bytes with the same four.
class Echo
{
public:
    Echo()
        : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        grantpt(m_master);
        unlockpt(m_master);
        m_keep_open = open_slave();
        m_peer = std::thread([this] {
            char frame[sizeof hello];
            while (read_fully(m_master, frame, sizeof frame) && write(m_master, frame, sizeof frame) > 0) {
            }
        });
    }

    ~Echo()
    {
        close(m_keep_open); // the last slave: the peer's read fails
        m_peer.join();
        close(m_master);
    }

    Echo(const Echo &) = delete;
    Echo &operator=(const Echo &) = delete;

    const char *slave_name() const { return ptsname(m_master); }

    int open_slave() const
    {
        const int fd = open(slave_name(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios line;
        tcgetattr(fd, &line);
        cfmakeraw(&line);
        tcsetattr(fd, TCSANOW, &line);
        return fd;
    }

private:
    int m_master;
    int m_keep_open;
    std::thread m_peer;
};

double bare_rate()
{
    Echo echo;
    const int fd = echo.open_slave();
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < exchanges; ++i) {
        char answer[sizeof hello];
        if (write(fd, hello, sizeof hello) != sizeof hello || !read_fully(fd, answer, sizeof answer))
            qFatal("the bare exchange broke off");
    }
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    close(fd);
    return exchanges / seconds;
}

double our_rate()
{
    Echo echo;
    UartDev device(QString::fromLatin1(echo.slave_name()), nullptr);
    if (!device.Open())
        qFatal("the pseudo-terminal does not open");
    device.SetBaudrate(256000);

    cls_ble ble;
    QObject::connect(&device, SIGNAL(RxData(QByteArray)), &ble, SLOT(rx_data(QByteArray)));
    QObject::connect(&ble, SIGNAL(tx_data(QByteArray)), &device, SLOT(TxData(QByteArray)),
                     Qt::DirectConnection);
    QEventLoop loop;
    int done = 0;
    QObject::connect(&ble.system, &cls_ble_system::rsp_hello, [&] {
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
        bare.push_back(bare_rate());
        ours.push_back(our_rate());
        ratios.push_back(ours.back() / bare.back());
    }
    return print_figure("exchange_per_second", median(ours), median(bare), median(ratios), Budget::AtLeast,
                        0.5)
               ? 0
               : 1;
}
