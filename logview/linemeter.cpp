#include "logview/linemeter.h"

#include <QFontMetricsF>

// One pass over the HTML of a line. Blanks fold, so a blank only counts once a glyph follows it.
class LineMeter::Scan
{
public:
    explicit Scan(const LineMeter &owner)
        : meter(owner)
        , advances(&owner.regular)
    {
    }

    void take(char16_t c)
    {
        if (inTag)
            takeInTag(c);
        else if (c == u'<')
            inTag = true;
        else if (c == u' ' || (c >= u'\t' && c <= u'\r'))
            blankDue = guess.width > 0;
        else
            takeGlyph(c);
    }

    Guess result() const { return {guess.width, guess.plain && !inTag}; }

private:
    void takeInTag(char16_t c)
    {
        if (c == u'>') {
            endTag(QStringView(tag, tagLength));
            inTag = false;
            tagLength = 0;
        } else if (tagLength < maxTag) {
            tag[tagLength++] = c;
        }
    }

    void endTag(QStringView name)
    {
        if (name == u"b")
            advances = &meter.bold;
        else if (name == u"/b")
            advances = &meter.regular;
        else if (name != u"/font" && !name.startsWith(u"font color="))
            guess.plain = false;
    }

    void takeGlyph(char16_t c)
    {
        if (blankDue)
            guess.width += (*advances)[u' '];
        blankDue = false;
        const bool known = c < advances->size();
        guess.width += known ? (*advances)[c] : 2 * (*advances)[u'M'];
        if (!known || c == u'&')
            guess.plain = false;
    }

    static constexpr int maxTag = 12;

    const LineMeter &meter;
    const Advances *advances;
    Guess guess;
    char16_t tag[maxTag]{};
    int tagLength = 0;
    bool inTag = false;
    bool blankDue = false;
};

LineMeter::LineMeter(const QFont &font)
{
    QFont boldFont(font);
    boldFont.setBold(true);
    const QFontMetricsF regularMetrics(font);
    const QFontMetricsF boldMetrics(boldFont);
    for (std::size_t c = 0; c < regular.size(); ++c) {
        const QChar glyph(static_cast<char16_t>(c));
        regular[c] = c < ' ' ? 0 : regularMetrics.horizontalAdvance(glyph);
        bold[c] = c < ' ' ? 0 : boldMetrics.horizontalAdvance(glyph);
    }
}

LineMeter::Guess LineMeter::guess(const QStringList &pieces) const
{
    Scan scan(*this);
    for (const QString &piece : pieces) {
        for (const QChar c : piece)
            scan.take(c.unicode());
        scan.take(u' ');
    }
    return scan.result();
}
