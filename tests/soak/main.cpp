// The whole program for a long time: a simulated module reports devices through a pseudo-terminal, and every
// frame must stand in the log and reach the panels, in order. Now and then the log is cleared while frames
// come in; at each pause the module's own count is compared, the panels are cleared, and what the process
// holds is taken. A line a figure on standard output; ends with 1 if one misses its limit.
//
//     soak [FRAMES]      (100,000)

#include "bench/common/figure.h"
#include "devices/devicelistitem.h"
#include "logview/logview.h"
#include "tests/e2e/simulated_module.h"
#include "tests/support/process.h"
#include "tests/support/remote.h"

#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QGroupBox>
#include <QHash>
#include <QtEndian>

namespace {

constexpr int devices = 100;
constexpr int rate = 8000;             // advertisements a second; scannable devices answer each with one more
constexpr int maxBetweenClears = 5000; // frames
constexpr int clearsAPause = 4;
constexpr int maxScanMs = 3000; // on a busy machine; the module holds what it has to write in that time
constexpr int warmUpPauses = 3; // what is allocated once is there by then

// A busy machine makes frames pile up in the queue of events, and the log longer. The queue keeps its room,
// and the allocator some of what the longest log took.
constexpr int maxHeapKib = 4 * 1024;
constexpr int maxRssKib = 48 * 1024;

// The sanitizers' own memory would be most of what is measured.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memoryCounts = false;
#else
constexpr bool memoryCounts = true;
#endif

// The reports as the log tells them on one of its two ways. Each holds its number, from 1 on.
struct Sequence
{
    qint64 count = 0;
    qint64 outOfOrder = 0;

    void take(quint32 number) { outOfOrder += number != quint32(++count); }
};

// Something that must not grow, taken at each pause.
struct Level
{
    int taken = 0;
    double first = 0; // of those after the warm-up
    double max = 0;
    double last = 0;

    void take(double now)
    {
        last = now;
        max = std::max(max, now);
        if (++taken <= warmUpPauses)
            first = max = now;
    }
};

class Soak : public QObject
{
public:
    Soak()
    {
        if (!module.start({"--quiet"_s, "--number-reports"_s, "--devices"_s, QString::number(devices),
                           "--rate"_s, QString::number(rate)}))
            qFatal("the simulated module does not start");
        window = std::make_unique<Window>();
        window->attach();
        log = window->find<LogView>("textDebug");
        window->find<QCheckBox>("checkScanActive")->setChecked(true);
        window->find<QRadioButton>("radioScanObservation")->click();
        window->click("pushSetScanParameters");
        qApp->installEventFilter(this);
    }

    void run(int wanted)
    {
        betweenClears = std::min(maxBetweenClears, wanted / (2 * warmUpPauses * clearsAPause));
        QElapsedTimer clock;
        clock.start();
        int told = 0;
        // A slow build has all frames wanted in few pauses.
        while ((frames < wanted || descriptors.taken <= warmUpPauses) && frames == framesWritten) {
            scan();
            compareWithModule();
            comparePanels();
            sample();
            if (frames / (wanted / 10.0) >= told + 1) {
                told = int(frames / (wanted / 10.0));
                std::printf("soak_at_%d heap_kib=%.0f rss_kib=%.0f descriptors=%.0f seconds=%lld\n", frames,
                            heap.last, rss.last, descriptors.last, clock.elapsed() / 1000);
                std::fflush(stdout);
            }
        }
        seconds = double(clock.elapsed()) / 1000;
    }

    bool report() const
    {
        int missed = 0;
        missed += !printEqual("soak_frames_logged", frames, framesWritten);
        missed += !printEqual("soak_reports_logged", rx.count, reportsWritten);
        missed += !printEqual("soak_reports_decoded", decoded.count, reportsWritten);
        missed += !printEqual("soak_out_of_order", rx.outOfOrder + decoded.outOfOrder, 0);
        missed += !printEqual("soak_panels_wrong", panelsWrong, 0);
        missed += !printLimited("soak_pauses_missing", std::max(0, warmUpPauses + 1 - descriptors.taken), 0);
        missed += !printLimited("soak_descriptors_growth", descriptors.max - descriptors.first, 0);
        if (memoryCounts) {
            missed += !printLimited("soak_heap_growth_kib", heap.max - heap.first, maxHeapKib);
            missed += !printLimited("soak_rss_growth_kib", rss.max - rss.first, maxRssKib);
        }
        std::printf("soak_frames_per_second ours=%.0f\n", frames / seconds);
        return missed == 0;
    }

private:
    void scan()
    {
        framesBefore = frames;
        scanning = true;
        scanClock.start();
        window->click("pushStartScan");
        for (int clears = 1; clears < clearsAPause && scanning; ++clears) {
            waitUntil([&] { return !scanning || log->line_store.size() >= 2 * betweenClears; });
            if (scanning) // else the line that ends the scan may be there already
                clearLog();
        }
        const QLatin1String stopped("RX: 00020604");
        waitUntil(
            [&] { return !log->line_store.isEmpty() && log->line_store.last().first().contains(stopped); });
        clearLog();
    }

    // Frames that come faster than they are handled keep the event loop from all else, so the end of a scan
    // is looked for at each of them.
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (scanning && event->type() == QEvent::MetaCall &&
            (scanClock.hasExpired(maxScanMs) ||
             frames - framesBefore + log->line_store.size() / 2 >= clearsAPause * betweenClears)) {
            scanning = false;
            window->click("pushStopScan");
        }
        return false;
    }

    void clearLog()
    {
        for (const QStringList &line : qAsConst(log->line_store))
            line.size() == 1 ? takeBytes(line.first()) : takeText(line);
        window->click("pushLogClear");
    }

    // "<b>stamp</b> RX: 80...<br>": the bytes of a frame.
    void takeBytes(const QString &line)
    {
        const QLatin1String mark("RX: ");
        const int at = line.indexOf(mark);
        if (at < 0)
            return;
        ++frames;
        const QByteArray frame = QByteArray::fromHex(line.midRef(at + mark.size()).chopped(4).toLatin1());
        if (!frame.startsWith('\x80') || frame.mid(2, 2) != QByteArray(1, '\6') + '\0')
            return;
        rx.take(qFromLittleEndian<quint32>(frame.constData() + numberAt));
        lastRssi[frame.mid(addressAt, 7)] = frame.at(4);
    }

    // The same decoded, a field each.
    void takeText(const QStringList &line)
    {
        if (!line.value(1).contains(QLatin1String("ble_evt_gap_scan_response")))
            return;
        const QString &data = line.last();
        const int at = data.indexOf(QLatin1String("07ffffff"));
        const QByteArray number = QByteArray::fromHex(data.mid(at + 8, 8).toLatin1());
        decoded.take(number.size() == 4 ? qFromLittleEndian<quint32>(number.constData()) : 0);
    }

    // What the module says that it wrote.
    void compareWithModule()
    {
        const int before = module.output().size();
        module.control("count");
        static const QRegularExpression count("count: (\\d+) frames, (\\d+) of gap_scan_response"_s);
        QRegularExpressionMatch told;
        waitUntil(
            [&] { return (told = count.match(QString::fromUtf8(module.output()), before)).hasMatch(); });
        framesWritten = told.captured(1).toInt();
        reportsWritten = told.captured(2).toInt();
    }

    // What the panels show of the devices that were heard since the last pause. They begin anew after it.
    void comparePanels()
    {
        QHash<QString, QString> heard; // what a panel's title and its signal strength have to be
        for (auto device = lastRssi.cbegin(); device != lastRssi.cend(); ++device) {
            QByteArray address = device.key().left(6);
            std::reverse(address.begin(), address.end());
            const QLatin1String kind(device.key().at(6) == 0 ? "Public: " : "Random: ");
            heard[kind + QString::fromLatin1(address.toHex(':'))] =
                "%1 dBm"_s.arg(int(qint8(device.value())));
        }
        const auto panels = window->widget().findChildren<DeviceListItem *>();
        panelsWrong += qAbs(panels.size() - heard.size());
        for (const DeviceListItem *panel : panels) {
            const auto *const title = panel->findChild<QGroupBox *>("name"_s);
            const auto *const shown = panel->findChild<QLabel *>("rssi"_s);
            panelsWrong += shown->text() != heard.value(title->title());
        }
        window->click("pushClearDevices");
        lastRssi.clear();
    }

    void sample()
    {
        QCoreApplication::processEvents();
        rss.take(residentKib());
        heap.take(heapInUse() / 1024);
        descriptors.take(openDescriptors());
    }

    static constexpr int addressAt = 6; // in the frame, behind the header, rssi and packet type
    static constexpr int numberAt = 19; // behind address, its type, bond, length and the element's head

    SimulatedModule module;
    std::unique_ptr<Window> window;
    LogView *log = nullptr;
    int betweenClears = 0;
    int frames = 0;
    int framesBefore = 0; // this scan
    QElapsedTimer scanClock;
    bool scanning = false;
    Sequence rx;
    Sequence decoded;
    QHash<QByteArray, char> lastRssi; // by address and its type
    int framesWritten = 0;
    int reportsWritten = 0;
    int panelsWrong = 0;
    Level rss, heap; // KiB
    Level descriptors;
    double seconds = 0;
};

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    register_meta_types();
    QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
    const int wanted = argc > 1 ? std::atoi(argv[1]) : 100'000;
    Soak soak;
    soak.run(wanted);
    return soak.report() ? 0 : 1;
}
