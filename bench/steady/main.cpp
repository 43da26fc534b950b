// The processor time of the whole window while frames come at a steady rate, and how soon a single exchange
// is on the screen. A line a figure on standard output; ends with 1 if a figure misses its limit or a frame
// was lost.

#include "bench/common/figure.h"
#include "logview/logview.h"
#include "simulator/port/portpublication.h"
#include "tests/e2e/simulated_module.h"
#include "tests/e2e/window.h"
#include "tests/support/pseudo_terminal.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QGraphicsTextItem>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>
#include <vector>

namespace {

constexpr int warmUpMs = 1000;
constexpr int measuredMs = 10000;

enum class Names { constant, changing };

bool allWithin = true;

void report(const char *name, double ours, double limit)
{
    allWithin = printLimited(name, ours, limit) && allWithin;
}

double cpuSeconds(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

// A report of one of 20 devices, as a module sends it.
QByteArray scanResponse(int number, Names names)
{
    const int device = number % 20;
    const int shown = names == Names::changing ? number : device;
    const QByteArray name = "Device " + QByteArray::number(shown).rightJustified(7, '0');
    const QByteArray data =
        QByteArray::fromHex("020106") + char(name.size() + 1) + char(9) + name; // flags and complete name
    const QByteArray payload = QByteArray(1, char(-60)) + '\0' + char(device) +
                               QByteArray::fromHex("02030405c0") + '\1' + '\xff' + char(data.size()) + data;
    return QByteArray::fromHex("80") + char(payload.size()) + QByteArray::fromHex("0600") + payload;
}

// Sends frames from a thread of its own, each when it is due.
class Feeder
{
public:
    Feeder(PseudoTerminal &port, int rate, Names names)
        : thread([this, &port, rate, names] { run(port, rate, names); })
    {
    }

    ~Feeder() { stop(); }
    Feeder(const Feeder &) = delete;
    Feeder &operator=(const Feeder &) = delete;

    // Gives the count of the frames sent.
    int stop()
    {
        ends = true;
        if (thread.joinable())
            thread.join();
        return sent;
    }

    // Seconds of processor time, while it runs.
    double cpuTime()
    {
        clockid_t clock = {};
        pthread_getcpuclockid(thread.native_handle(), &clock);
        return cpuSeconds(clock);
    }

    std::atomic<int> sent{0};

private:
    void run(PseudoTerminal &port, int rate, Names names)
    {
        auto due = std::chrono::steady_clock::now();
        while (!ends) {
            if (!port.send(scanResponse(sent, names)))
                qFatal("the port takes no more");
            ++sent;
            due += std::chrono::nanoseconds(1'000'000'000 / rate);
            std::this_thread::sleep_until(due);
        }
    }

    std::atomic<bool> ends{false};
    std::thread thread;
};

class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget *watched) { watched->installEventFilter(this); }
    bool eventFilter(QObject *, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint;
        return false;
    }
    int paints = 0;
};

int framesLogged(const LogView &log)
{
    return int(std::count_if(log.line_store.begin(), log.line_store.end(), [](const QStringList &line) {
        return line.first().contains(QLatin1String("RX: "));
    }));
}

void measureRate(const char *figure, int rate, Names names, double maxPercent)
{
    const QString portName = QStringLiteral("Steady module");
    PseudoTerminal port;
    simulator::PortPublication publication;
    if (publication.publish(portName, port.path()))
        qFatal("the port cannot be published");
    Window window;
    window.find<QComboBox>("comboDev")->setCurrentText(portName);
    window.click("pushConnectDev");
    const auto *const log = window.find<LogView>("textDebug");

    Feeder feeder(port, rate, names);
    QTest::qWait(warmUpMs);
    PaintCounter counter(log->viewport());
    const int sentBefore = feeder.sent;
    QElapsedTimer clock;
    clock.start();
    const auto ours = [&feeder] { return cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - feeder.cpuTime(); };
    const double before = ours();
    QTest::qWait(measuredMs);
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    report(figure, (ours() - before) / seconds * 100, maxPercent);
    if (counter.paints < 15 * seconds) {
        std::fputs("bench_steady: the log was painted too rarely\n", stderr);
        allWithin = false;
    }
    if (feeder.sent - sentBefore < 0.95 * rate * seconds) {
        std::fputs("bench_steady: too few frames were sent\n", stderr);
        allWithin = false;
    }

    const int sent = feeder.stop();
    const bool isComplete = QTest::qWaitFor([&] { return framesLogged(*log) >= sent; }, answerMs);
    const QByteArray counts = QByteArray(figure).replace("cpu_percent", "frames_logged");
    allWithin = printEqual(counts.constData(), framesLogged(*log), sent) && isComplete && allWithin;
}

// Watches the log for the first paint that shows the response.
class ResponsePaint : public QObject
{
public:
    explicit ResponsePaint(LogView &log)
        : view(log)
    {
        view.viewport()->installEventFilter(this);
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() != QEvent::Paint || isSeen)
            return false;
        for (const QGraphicsItem *item : view.items(view.viewport()->rect())) {
            const auto *const line = dynamic_cast<const QGraphicsTextItem *>(item);
            isSeen = isSeen || (line && line->toPlainText().contains(QLatin1String("ble_rsp_system_hello")));
        }
        return false;
    }

    bool isSeen = false;

private:
    LogView &view;
};

void measureExchange()
{
    constexpr int rounds = 31;
    constexpr int quietMs = 100;
    SimulatedModule module;
    if (!module.start())
        qFatal("the simulated module does not start");
    Window window;
    window.attach();
    auto *const log = window.find<LogView>("textDebug");
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        window.click("pushLogClear");
        QTest::qWait(quietMs);
        window.type("system_hello");
        ResponsePaint paint(*log);
        QElapsedTimer clock;
        clock.start();
        QTest::keyClick(window.find<QLineEdit>("lineCommand"), Qt::Key_Return);
        while (!paint.isSeen)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        times.push_back(double(clock.nsecsElapsed()) / 1e6);
    }
    // The fastest: what the machine does beside it is no delay of ours.
    report("steady_exchange_on_screen_ms", *std::min_element(times.begin(), times.end()), 10);
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    register_meta_types();
    QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
    measureExchange();
    const QTemporaryDir runtime; // where no other port is published
    qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
    measureRate("steady_2000_constant_cpu_percent", 2000, Names::constant, 15);
    measureRate("steady_2000_changing_cpu_percent", 2000, Names::changing, 25);
    measureRate("steady_600_constant_cpu_percent", 600, Names::constant, 12);
    return allWithin ? 0 : 1;
}
