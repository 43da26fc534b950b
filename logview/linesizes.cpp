#include "logview/linesizes.h"

#include <cmath>

namespace {
// New lines that are not plain get a layout at once, but only the latest ones of a turn.
constexpr std::size_t maxMeasured = 32;

// Each line that reaches down into the view is one more text item.
constexpr std::size_t maxReaching = 100;
} // namespace

LineSizes::LineSizes(double pitchOfLines)
    : pitch(pitchOfLines)
{
}

int LineSizes::lineAt(double y, int count) const
{
    return int(qBound(0.0, std::floor(y / pitch), double(count - 1)));
}

// The scene must be as wide as its widest line, and few lines can be that: those with a greater guess than
// any before. Of these, the widest one of each turn gets a layout.
void LineSizes::addGuess(int line, const LineMeter::Guess &guess)
{
    Widest &record = guess.plain ? widestPlain : widestOther;
    if (guess.width > record.guess)
        record = {guess.width, line};
    if (!guess.plain)
        notPlain.push_back(line);
}

std::vector<int> LineSizes::takeUnmeasured()
{
    std::vector<int> lines;
    for (Widest *record : {&widestPlain, &widestOther}) {
        if (record->unmeasured >= 0)
            lines.push_back(record->unmeasured);
        record->unmeasured = -1;
    }
    const auto latest = std::ptrdiff_t(qMin(notPlain.size(), maxMeasured));
    lines.insert(lines.end(), notPlain.end() - latest, notPlain.end());
    notPlain.clear();
    return lines;
}

void LineSizes::setSize(int line, const QSizeF &size)
{
    widest = qMax(widest, size.width());
    if (size.height() <= pitch + 1)
        return;
    tall[line] = size.height();
    tallest = qMax(tallest, size.height());
    lowest = qMax(lowest, top(line) + size.height());
}

QRectF LineSizes::extent(int count) const
{
    return {0, 0, widest, qMax(top(count), lowest)};
}

std::vector<int> LineSizes::reachingPast(int line, double y) const
{
    std::vector<int> lines;
    for (auto at = tall.lower_bound(line); at != tall.begin() && lines.size() < maxReaching;) {
        --at;
        const auto [index, height] = *at;
        if (top(index) + tallest <= y)
            break;
        if (top(index) + height > y)
            lines.push_back(index);
    }
    return lines;
}
