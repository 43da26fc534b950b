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
constexpr int lines_a_turn = 200;

struct Line
{
    QString timestamp;
    QStringList pieces;
};

// A decoded scan response, with no string shared with any other line.
Line scan_response(int index)
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

std::vector<Line> scan_responses(int first, int count)
{
    std::vector<Line> lines;
    lines.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i)
        lines.push_back(scan_response(first + i));
    return lines;
}

bool all_within = true;

// A log in its own window, to which lines are added a turn of the event loop at a time.
class Subject : public QObject
{
public:
    virtual void add(const Line &line) = 0;
    virtual void follow_newest() {}

    // Processor time, microseconds a line, of adding `count` lines and showing them.
    double add_and_show(int count, int a_turn = lines_a_turn)
    {
        double spent = 0;
        for (int done = 0; done < count; done += a_turn, size += a_turn) {
            const std::vector<Line> lines = scan_responses(size, a_turn);
            const int paints_before = paints;
            const std::clock_t start = std::clock();
            for (const Line &line : lines)
                add(line);
            follow_newest();
            // The platform may put a paint off by some milliseconds; waiting for it takes no processor time.
            while (paints == paints_before)
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
    void follow_newest() override { edit.verticalScrollBar()->setValue(edit.verticalScrollBar()->maximum()); }

    QPlainTextEdit edit;
};

double quantile(std::vector<double> values, double q)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(q * double(values.size() - 1))];
}

void report(const char *name, double ours, double other, double ratio, double budget)
{
    all_within = print_figure(name, ours, other, ratio, Budget::AtMost, budget) && all_within;
}

void measure_time_and_memory()
{
    constexpr int at = 20'000;
    constexpr int rounds = 7;
    constexpr int lines_a_round = 5 * lines_a_turn;

    const auto filled = [](Subject &subject) {
        const double before = heap_in_use();
        subject.add_and_show(at - rounds * lines_a_round / 2);
        return (heap_in_use() - before) / subject.size;
    };
    Ours ours;
    Other other;
    const double our_memory = filled(ours);
    const double other_memory = filled(other);

    std::vector<double> our_times, other_times, ratios;
    for (int i = 0; i < rounds; ++i) {
        our_times.push_back(ours.add_and_show(lines_a_round));
        other_times.push_back(other.add_and_show(lines_a_round));
        ratios.push_back(our_times.back() / other_times.back());
    }
    report("log_add_and_show_us_per_line", median(our_times), median(other_times), median(ratios), 0.2);
    report("log_memory_bytes_per_line", our_memory, other_memory, our_memory / other_memory, 1);
}

// Turns of the event loop, milliseconds, while 5,000 lines a second arrive: from a batch of lines, due every
// 10 ms, until all that it set going is done.
std::vector<double> turns_under_load(Subject &subject, int seconds)
{
    constexpr qint64 lines_a_second = 5000;
    constexpr qint64 batch_period = 10;
    std::vector<double> turns;
    QElapsedTimer clock;
    clock.start();
    const int first = subject.size;
    const int paints_before = subject.paints;
    while (clock.elapsed() < qint64{seconds} * 1000) {
        std::vector<Line> batch;
        for (const qint64 due = first + clock.elapsed() * lines_a_second / 1000; subject.size < due;
             ++subject.size)
            batch.push_back(scan_response(subject.size));
        QElapsedTimer turn;
        turn.start();
        for (const Line &line : batch)
            subject.add(line);
        QCoreApplication::processEvents();
        turns.push_back(double(turn.nsecsElapsed()) / 1e6);
        const qint64 rest = batch_period - clock.elapsed() % batch_period;
        QThread::msleep(static_cast<unsigned long>(rest));
    }
    if (subject.paints - paints_before < static_cast<int>(turns.size()) / 2) {
        std::fputs("bench_logview: too few of the turns under load were painted\n", stderr);
        all_within = false;
    }
    return turns;
}

// The most that the process had resident since forget_peak(), bytes.
double peak_resident()
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

void forget_peak()
{
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1)
        qFatal("the peak of the process cannot be reset");
}

// Half of the messages are responses with a result, which has markup.
void measure_flow_chart()
{
    constexpr int messages = 100'000;
    LogView view;
    for (int i = 0; i < messages / 2; ++i) {
        const Line event = scan_response(i);
        view.addLine(event.timestamp, event.pieces);
        view.addLine(
            event.timestamp,
            {QStringLiteral("ble_rsp_attclient_write_command\t"),
             QStringLiteral(" connection:%1 (0x%2)").arg(0, 8).arg(0, 2, 16, QLatin1Char('0')),
             QStringLiteral(" result:0x0182 [<font color=red>'Device has run out of memory'</font>]")});
    }
    QCoreApplication::processEvents();
    forget_peak();
    const double resident = peak_resident();
    QElapsedTimer clock;
    clock.start();
    view.copyFlowChart();
    all_within = print_limited("flow_chart_of_100000_ms", double(clock.elapsed()), 5000) && all_within;
    const double growth = peak_resident() - resident;
    const QString chart = QApplication::clipboard()->text();
    if (chart.count(QLatin1String("ble_")) != messages)
        qFatal("no chart");
    const double chart_size = double(chart.size()) * sizeof(QChar);
    report("flow_chart_peak_bytes", growth, chart_size, growth / chart_size, 1.2);
}

void measure_growth_and_turns()
{
    constexpr int coarse_turn = 10'000;
    constexpr int rounds = 10;
    constexpr int lines_a_round = 100'000 / rounds;
    Ours full;
    full.add_and_show(500'000, coarse_turn);

    constexpr int turn_rounds = 5;
    std::vector<double> turns;
    turns.reserve(turn_rounds);
    for (int round = 0; round < turn_rounds; ++round)
        turns.push_back(quantile(turns_under_load(full, 3), 0.99));

    full.add_and_show(900'000 - full.size, coarse_turn);
    Ours fresh;
    std::vector<double> late, early, ratios;
    for (int i = 0; i < rounds; ++i) {
        early.push_back(fresh.add_and_show(lines_a_round));
        late.push_back(full.add_and_show(lines_a_round));
        ratios.push_back(late.back() / early.back());
    }
    report("log_last_100000_of_1000000_us_per_line", median(late), median(early), median(ratios), 1.3);

    all_within = print_limited("log_turn_99_percent_at_500000_ms", median(turns), 16) && all_within;
}
} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    measure_time_and_memory();
    measure_flow_chart();
    measure_growth_and_turns();
    return all_within ? 0 : 1;
}
