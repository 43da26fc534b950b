#pragma once

#include <QFont>
#include <QStringList>

#include <array>

// Guesses how wide a line of log HTML comes out, a hundred times cheaper than laying it out and good enough
// to tell which few lines need a real layout.
class LineMeter
{
public:
    struct Guess
    {
        double width = 0;  // pixels
        bool plain = true; // nothing in it but ASCII text, bold and colour; else only a layout tells its size
    };

    // Takes the glyph widths of `font`, as it is and in bold.
    explicit LineMeter(const QFont &font);

    // Takes the pieces of a line, which are shown joined with one blank.
    Guess guess(const QStringList &pieces) const;

private:
    class Scan;
    using Advances = std::array<double, '~' + 1>; // by character, pixels

    Advances regular;
    Advances bold;
};
