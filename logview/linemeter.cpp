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
        if (in_tag)
            take_in_tag(c);
        else if (c == u'<')
            in_tag = true;
        else if (c == u' ' || (c >= u'\t' && c <= u'\r'))
            blank_due = guess.width > 0;
        else
            take_glyph(c);
    }

    Guess result() const { return {guess.width, guess.plain && !in_tag}; }

private:
    void take_in_tag(char16_t c)
    {
        if (c == u'>') {
            end_tag(QStringView(tag, tag_length));
            in_tag = false;
            tag_length = 0;
        } else if (tag_length < max_tag) {
            tag[tag_length++] = c;
        }
    }

    void end_tag(QStringView name)
    {
        if (name == u"b")
            advances = &meter.bold;
        else if (name == u"/b")
            advances = &meter.regular;
        else if (name != u"/font" && !name.startsWith(u"font color="))
            guess.plain = false;
    }

    void take_glyph(char16_t c)
    {
        if (blank_due)
            guess.width += (*advances)[u' '];
        blank_due = false;
        const bool known = c < advances->size();
        guess.width += known ? (*advances)[c] : 2 * (*advances)[u'M'];
        if (!known || c == u'&')
            guess.plain = false;
    }

    static constexpr int max_tag = 12;

    const LineMeter &meter;
    const Advances *advances;
    Guess guess;
    char16_t tag[max_tag]{};
    int tag_length = 0;
    bool in_tag = false;
    bool blank_due = false;
};

LineMeter::LineMeter(const QFont &font)
{
    QFont bold_font(font);
    bold_font.setBold(true);
    const QFontMetricsF regular_metrics(font);
    const QFontMetricsF bold_metrics(bold_font);
    for (std::size_t c = 0; c < regular.size(); ++c) {
        const QChar glyph(static_cast<char16_t>(c));
        regular[c] = c < ' ' ? 0 : regular_metrics.horizontalAdvance(glyph);
        bold[c] = c < ' ' ? 0 : bold_metrics.horizontalAdvance(glyph);
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
