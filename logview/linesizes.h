#pragma once

#include "logview/linemeter.h"

#include <QRectF>

#include <map>
#include <vector>

// What is known of the sizes of the log's lines, in pixels: guesses of new lines, and the true sizes of the
// few that had a layout. Lines are numbered from 0 and placed at a fixed pitch, whatever their height.
class LineSizes
{
public:
    explicit LineSizes(double pitch);

    // Forgets all lines.
    void clear() { *this = LineSizes(pitch); }

    // In double and from the number: a float sum loses whole pixels past 16.7 million, some 700,000 lines.
    double top(int line) const { return line * pitch; }

    // The line of `count`, at least 1, whose pitch holds `y`, or the nearest one.
    int lineAt(double y, int count) const;

    void addGuess(int line, const LineMeter::Guess &guess);

    // Lines added since the last call that may be larger than all before; their layout tells.
    std::vector<int> takeUnmeasured();

    void setSize(int line, const QSizeF &size);

    // The area of `count` lines, as wide as the widest one that had a layout.
    QRectF extent(int count) const;

    // Lines above `line` that reach down past `y`, the nearest first, at most 100.
    std::vector<int> reachingPast(int line, double y) const;

private:
    struct Widest
    {
        double guess = 0;
        int unmeasured = -1; // the line that set it, until it is taken for a layout
    };

    double pitch;

    std::map<int, double> tall; // heights of the lines that reach over the next ones
    double tallest = 0;
    double lowest = 0; // bottom of the line that reaches lowest
    double widest = 0;

    Widest widestPlain;
    Widest widestOther;
    std::vector<int> notPlain; // lines without a good guess, not yet taken for a layout
};
