// Measures LogView against QPlainTextEdit with the same lines. A line a figure on standard output; ends with
// 1 if a figure misses its budget.

#include "bench/common/figure.h"
#include "logview/logview.h"
#include "tests/support/process.h"

#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QFile>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {
constexpr int linesATurn = 200;

struct Line
{
    QString timestamp;
    QStringList pieces;
};

// A decoded scan response, with no string shared with any other line.
Line scanResponse(int index)
{
    const QLatin1Char zero('0');
    return {QStringLiteral("<b>2026.01.02 %1:%2:%3.%4</b> ")
                .arg(index / 3'600'000 % 24, 2, 10, zero)
                .arg(index / 60'000 % 60, 2, 10, zero)
                .arg(index / 1000 % 60, 2, 10, zero)
                .arg(index % 1000, 3, 10, zero),
            {QStringLiteral("ble_evt_gap_scan_response\t"),
             QStringLiteral(" rssi:%1 (0x%2)").arg(-50, 8).arg(0xffffffce, 2, 16, zero),
             QStringLiteral(" packet_type:%1 (0x%2)").arg(0, 8).arg(0, 2, 16, zero),
             QStringLiteral(" sender:00:07:80:aa:bb:%1").arg(index % 256, 2, 16, zero),
             QStringLiteral(" address_type:%1 (0x%2)").arg(0, 8).arg(0, 2, 16, zero),
             QStringLiteral(" bond:%1 (0x%2)").arg(255, 8).arg(255, 2, 16, zero),
             QStringLiteral(" data:02010607ff4c0010%1").arg(index, 10, 16, zero)}};
}

std::vector<Line> scanResponses(int first, int count)
{
    std::vector<Line> lines;
    lines.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i)
        lines.push_back(scanResponse(first + i));
    return lines;
}

bool allWithin = true;

// A log in its own window, to which lines are added a turn of the event loop at a time.
class Subject : public QObject
{
public:
    virtual void add(const Line &line) = 0;
    virtual void followNewest() {}

    // Processor time, microseconds a line, of adding `count` lines and showing them.
    double addAndShow(int count, int aTurn = linesATurn)
    {
        double spent = 0;
        for (int done = 0; done < count; done += aTurn, size += aTurn) {
            const std::vector<Line> lines = scanResponses(size, aTurn);
            const int paintsBefore = paints;
            const std::clock_t start = std::clock();
            for (const Line &line : lines)
                add(line);
            followNewest();
            // The platform may put a paint off by some milliseconds; waiting for it takes no processor time.
            while (paints == paintsBefore)
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            spent += double(std::clock() - start);
        }
        return spent / CLOCKS_PER_SEC * 1e6 / count;
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint;
        return false;
    }

    int size = 0;
    int paints = 0;

protected:
    void show(QAbstractScrollArea &view)
    {
        view.viewport()->installEventFilter(this);
        view.resize(1000, 600);
        view.show();
        QCoreApplication::processEvents();
    }
};

class Ours : public Subject
{
public:
    Ours() { show(view); }
    void add(const Line &line) override { view.addLine(line.timestamp, line.pieces); }

    LogView view;
};

class Other : public Subject
{
public:
    Other()
    {
        edit.setReadOnly(true);
        edit.setLineWrapMode(QPlainTextEdit::NoWrap); // as ours
        show(edit);
    }
    void add(const Line &line) override
    {
        edit.appendHtml(line.timestamp + line.pieces.join(QLatin1Char(' ')));
    }

    // It follows by itself only while its last line is in view, which ends when a scroll bar comes.
    void followNewest() override { edit.verticalScrollBar()->setValue(edit.verticalScrollBar()->maximum()); }

    QPlainTextEdit edit;
};

double quantile(std::vector<double> values, double q)
{
    std::sort(values.begin(), values.end());
    return values[std::size_t(q * double(values.size() - 1))];
}

void report(const char *name, double ours, double other, double ratio, double budget)
{
    allWithin = printFigure(name, ours, other, ratio, Budget::atMost, budget) && allWithin;
}

void measureTimeAndMemory()
{
    constexpr int at = 20'000;
    constexpr int rounds = 7;
    constexpr int linesARound = 5 * linesATurn;

    const auto filled = [](Subject &subject) {
        const double before = heapInUse();
        subject.addAndShow(at - rounds * linesARound / 2);
        return (heapInUse() - before) / subject.size;
    };
    Ours ours;
    Other other;
    const double ourMemory = filled(ours);
    const double otherMemory = filled(other);

    std::vector<double> ourTimes, otherTimes, ratios;
    for (int i = 0; i < rounds; ++i) {
        ourTimes.push_back(ours.addAndShow(linesARound));
        otherTimes.push_back(other.addAndShow(linesARound));
        ratios.push_back(ourTimes.back() / otherTimes.back());
    }
    report("log_add_and_show_us_per_line", median(ourTimes), median(otherTimes), median(ratios), 0.2);
    report("log_memory_bytes_per_line", ourMemory, otherMemory, ourMemory / otherMemory, 1);
}

// Turns of the event loop, milliseconds, while 5,000 lines a second arrive: one for each batch of lines, due
// every 10 ms. Each fourth or fifth lays them out and paints.
std::vector<double> turnsUnderLoad(Subject &subject, int seconds)
{
    constexpr qint64 linesASecond = 5000;
    constexpr qint64 batchPeriod = 10;
    std::vector<double> turns;
    QElapsedTimer clock;
    clock.start();
    const int first = subject.size;
    const int paintsBefore = subject.paints;
    while (clock.elapsed() < qint64{seconds} * 1000) {
        std::vector<Line> batch;
        for (const qint64 due = first + clock.elapsed() * linesASecond / 1000; subject.size < due;
             ++subject.size)
            batch.push_back(scanResponse(subject.size));
        QElapsedTimer turn;
        turn.start();
        for (const Line &line : batch)
            subject.add(line);
        QCoreApplication::processEvents();
        turns.push_back(double(turn.nsecsElapsed()) / 1e6);
        const qint64 rest = batchPeriod - clock.elapsed() % batchPeriod;
        QThread::msleep(ulong(rest));
    }
    if (subject.paints - paintsBefore < int(turns.size()) / 8) {
        std::fputs("bench_logview: too few of the turns under load were painted\n", stderr);
        allWithin = false;
    }
    return turns;
}

// The most that the process had resident since forgetPeak(), bytes.
double peakResident()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        qFatal("no figures of the process");
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() * 1024;
    }
    qFatal("no peak of the process");
}

void forgetPeak()
{
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1)
        qFatal("the peak of the process cannot be reset");
}

// Half of the messages are responses with a result, which has markup.
void measureFlowChart()
{
    constexpr int messages = 100'000;
    LogView view;
    for (int i = 0; i < messages / 2; ++i) {
        const Line event = scanResponse(i);
        view.addLine(event.timestamp, event.pieces);
        view.addLine(
            event.timestamp,
            {QStringLiteral("ble_rsp_attclient_write_command\t"),
             QStringLiteral(" connection:%1 (0x%2)").arg(0, 8).arg(0, 2, 16, QLatin1Char('0')),
             QStringLiteral(" result:0x0182 [<font color=red>'Device has run out of memory'</font>]")});
    }
    QCoreApplication::processEvents();
    forgetPeak();
    const double resident = peakResident();
    QElapsedTimer clock;
    clock.start();
    view.copyFlowChart();
    allWithin = printLimited("flow_chart_of_100000_ms", double(clock.elapsed()), 5000) && allWithin;
    const double growth = peakResident() - resident;
    const QString chart = QApplication::clipboard()->text();
    if (chart.count(QLatin1String("ble_")) != messages)
        qFatal("no chart");
    const double chartSize = double(chart.size()) * sizeof(QChar);
    report("flow_chart_peak_bytes", growth, chartSize, growth / chartSize, 1.2);
}

void measureGrowthAndTurns()
{
    constexpr int coarseTurn = 10'000;
    constexpr int rounds = 10;
    constexpr int linesARound = 100'000 / rounds;
    Ours full;
    full.addAndShow(500'000, coarseTurn);

    constexpr int turnRounds = 5;
    std::vector<double> turns;
    turns.reserve(turnRounds);
    for (int round = 0; round < turnRounds; ++round)
        turns.push_back(quantile(turnsUnderLoad(full, 3), 0.99));

    full.addAndShow(900'000 - full.size, coarseTurn);
    Ours fresh;
    std::vector<double> late, early, ratios;
    for (int i = 0; i < rounds; ++i) {
        early.push_back(fresh.addAndShow(linesARound));
        late.push_back(full.addAndShow(linesARound));
        ratios.push_back(late.back() / early.back());
    }
    report("log_last_100000_of_1000000_us_per_line", median(late), median(early), median(ratios), 1.3);

    allWithin = printLimited("log_turn_99_percent_at_500000_ms", median(turns), 16) && allWithin;
}
} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    measureTimeAndMemory();
    measureFlowChart();
    measureGrowthAndTurns();
    return allWithin ? 0 : 1;
}
