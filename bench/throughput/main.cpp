// Writes a second of the throughput test, its dialog shown, beside two threads that pass bytes over a bare
// pseudo-terminal. A line a figure on standard output; ends with 1 if a figure misses its budget.

#include "bench/common/bare_exchange.h"
#include "bench/common/figure.h"
#include "tests/e2e/simulated_module.h"
#include "tests/support/remote.h"
#include "tools/throughputdialog.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QEventLoop>
#include <QSpinBox>
#include <QTimer>

namespace {

constexpr int rounds = 9; // so many that a busy moment of the machine is outvoted
constexpr int writeSize = 20;
constexpr int runMs = 1000;
constexpr int handle = 37; // takes such writes

// To a device in reach, with the log's lines switched off as during an update.
double writesPerSecond()
{
    SimulatedModule module;
    if (!module.start({QStringLiteral("--quiet")}))
        qFatal("the simulated module does not start");
    Window window;
    window.attach();
    const auto name = QStringLiteral("Everything");
    if (!scanFor(window, name) || !connectTo(window, name))
        qFatal("no connection");
    window.find<QCheckBox>("checkLogHex")->setChecked(false);
    window.find<QCheckBox>("checkLogText")->setChecked(false);

    window.trigger("actionThroughputTest");
    auto *const dialog = window.widget().findChild<ThroughputDialog *>();
    if (!QTest::qWaitForWindowExposed(dialog))
        qFatal("the dialog is not shown");
    dialog->findChild<QSpinBox *>(QStringLiteral("spinAttribute0"))->setValue(handle);
    auto *const enable = dialog->findChild<QPushButton *>(QStringLiteral("pushEnable0"));
    QEventLoop loop;
    QElapsedTimer clock;
    clock.start();
    enable->click();
    QTimer::singleShot(runMs, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    const QString text = dialog->findChild<QLabel *>(QStringLiteral("labelThroughput"))->text();
    enable->click();
    if (!text.startsWith(QStringLiteral("Sent:")))
        qFatal("the test broke off: %s", qPrintable(text));
    return text.mid(5).section(QLatin1Char(' '), 0, 0).toDouble() / writeSize / seconds;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    register_meta_types();
    QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
    std::vector<double> ours, bare, ratios;
    for (int i = 0; i < rounds; ++i) {
        bare.push_back(bareRate());
        ours.push_back(writesPerSecond());
        ratios.push_back(ours.back() / bare.back());
    }
    return printFigure("throughput_per_second", median(ours), median(bare), median(ratios), Budget::atLeast,
                       0.5)
               ? 0
               : 1;
}
