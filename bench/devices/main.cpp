// The device list: what panels cost, and the whole window while many devices advertise. A line a figure on
// standard output; ends with 1 if a figure misses its limit or a message was lost.

#include "bench/common/figure.h"
#include "devices/devicelist.h"
#include "devices/devicelistitem.h"
#include "logview/logview.h"
#include "tests/e2e/simulated_module.h"
#include "tests/e2e/window.h"
#include "tests/support/process.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QRadioButton>
#include <QScrollBar>
#include <QThread>
#include <QVBoxLayout>

namespace {

bool allWithin = true;

void report(const char *name, double ours, double limit)
{
    allWithin = printLimited(name, ours, limit) && allWithin;
}

void reportCount(const char *name, int found, int expected)
{
    allWithin = printEqual(name, found, expected) && allWithin;
}

double percentile99(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() * 99 / 100);
}

// Milliseconds that one turn of the event loop takes for all that has come up to now.
double turn()
{
    QElapsedTimer clock;
    clock.start();
    QCoreApplication::processEvents();
    return double(clock.nsecsElapsed()) / 1e6;
}

class PaintCounter : public QObject
{
public:
    bool eventFilter(QObject *, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint;
        return false;
    }
    int paints = 0;
};

void measurePanels()
{
    constexpr int panels = 500;
    constexpr int scrollStep = 40; // pixels
    DeviceList list;
    auto *const column = new QWidget;
    auto *const layout = new QVBoxLayout(column);
    layout->addStretch();
    list.setWidgetResizable(true);
    list.setWidget(column);
    list.dev_mode(false);
    list.resize(800, 480);
    list.show();
    if (!QTest::qWaitForWindowExposed(&list))
        qFatal("the list is not shown");
    PaintCounter counter;
    column->installEventFilter(&counter);

    const auto hear = [&list](int device) {
        list.evt_scan_response(-60, 0, bd_addr{{uint8(device), uint8(device >> 8), 3, 4, 5, 6}}, 1, 0xff,
                               QByteArray("\x02\x01\x06\x05\x09Name", 9));
    };
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < panels; ++i)
        hear(i);
    while (counter.paints == 0)
        turn();
    report("panels_500_ms", double(clock.elapsed()), 2000);
    for (int i = 0; i < 10; ++i) // what the burst has left over is none of the next turns'
        turn();

    // The next ones as a scan brings them, each in a turn of its own, while the list is long.
    std::vector<double> turns;
    for (int i = panels; i < panels + 100; ++i) {
        hear(i);
        turns.push_back(turn());
    }
    report("panel_beside_500_99_percent_ms", percentile99(turns), 16);

    turns.clear();
    QScrollBar *const bar = list.verticalScrollBar();
    while (bar->value() < bar->maximum()) {
        const int paints = counter.paints;
        bar->setValue(bar->value() + scrollStep);
        double spent = 0;
        while (counter.paints == paints)
            spent += turn();
        turns.push_back(spent);
    }
    report("panels_500_scroll_99_percent_ms", percentile99(turns), 16);
}

// What the window shows and logs while a module reports many advertisements a second.
class Scan
{
public:
    Scan()
    {
        if (!module.start({QStringLiteral("--quiet"), QStringLiteral("--devices"), QString::number(devices),
                           QStringLiteral("--rate"), QString::number(rate)}))
            qFatal("the simulated module does not start");
        window = std::make_unique<Window>();
        window->attach();
        log = window->find<LogView>("textDebug");
    }

    void run()
    {
        window->click("pushSetScanParameters"); // a window as long as the interval: every packet is heard
        window->find<QRadioButton>("radioScanObservation")->click();
        window->click("pushStartScan");
        pass(warmUpS);
        clearLog();
        turns.clear();
        const double before = heapInUse();
        pass(seconds);
        report("scan_turn_99_percent_ms", percentile99(turns), 16);
        window->click("pushStopScan");
        const QByteArray stopped = "RX: 000206040000";
        while (!log->line_store.last().join(QString()).contains(QLatin1String(stopped)))
            turn();
        clearLog();
        turn();
        report("scan_growth_beside_log_bytes", heapInUse() - before, 1 << 20);
        compareCounts();
    }

private:
    static constexpr int devices = 200;
    static constexpr int rate = 2000; // advertisements a second
    static constexpr int warmUpS = 3;
    static constexpr int seconds = 30;
    static constexpr qint64 periodMs = 10;

    void pass(int durationS)
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < qint64{durationS} * 1000) {
            turns.push_back(turn());
            QThread::msleep(ulong(periodMs - clock.elapsed() % periodMs));
        }
    }

    void clearLog()
    {
        for (const QStringList &line : log->line_store) {
            const QString text = line.join(QString());
            frames += text.contains(QLatin1String("RX: "));
            scanResponses += text.contains(QLatin1String("ble_evt_gap_scan_response"));
        }
        window->click("pushLogClear");
    }

    void compareCounts()
    {
        module.control("count");
        QRegularExpressionMatch told;
        const QRegularExpression count(
            QStringLiteral("count: (\\d+) frames, (\\d+) of gap_scan_response, (\\d+) devices"));
        while (!(told = count.match(QString::fromUtf8(module.output()))).hasMatch())
            turn();
        reportCount("scan_frames_logged", frames, told.captured(1).toInt());
        reportCount("scan_responses_logged", scanResponses, told.captured(2).toInt());
        const int panels = window->widget().findChildren<DeviceListItem *>().size();
        reportCount("scan_devices_listed", panels, told.captured(3).toInt());
        const double aSecond = double(scanResponses) / (warmUpS + seconds);
        allWithin =
            printFigure("scan_responses_per_second", aSecond, rate, aSecond / rate, Budget::atLeast, 0.95) &&
            panels == devices && allWithin;
    }

    SimulatedModule module;
    std::unique_ptr<Window> window;
    LogView *log = nullptr;
    std::vector<double> turns;
    int frames = 0;
    int scanResponses = 0;
};

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    register_meta_types();
    QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
    measurePanels();
    Scan().run();
    return allWithin ? 0 : 1;
}
