#include "logview/flowchart.h"

#include "logview/logdocument.h"

#include <algorithm>

namespace {

constexpr int name_field = 1;

const QLatin1String note_head("note right of A:\n");
const QLatin1String note_indent("  ");
const QLatin1String note_end("end note\n");

// Null for what is no message.
QLatin1String arrow_of(const QString &name)
{
    struct Direction
    {
        QLatin1String prefix, arrow;
    };
    static const Direction directions[] = {
        {QLatin1String("ble_cmd"), QLatin1String("A -> B: ")},
        {QLatin1String("ble_rsp"), QLatin1String("B -> A: ")},
        {QLatin1String("ble_evt"), QLatin1String("B -> A: ")},
    };
    for (const Direction &direction : directions) {
        if (name.startsWith(direction.prefix))
            return direction.arrow;
    }
    return {};
}

// Without markup or an entity, and with no white space but blanks.
bool is_simple(const QString &html)
{
    return std::all_of(html.begin(), html.end(),
                       [](QChar c) { return c >= u' ' && c <= u'~' && c != u'<' && c != u'&'; });
}

// What a document makes of simple text, only far faster: runs of blanks become one, and none is
// left at the start.
void append_folded(QString &chart, const QString &text)
{
    bool after_blank = true;
    for (const QChar c : text) {
        const bool is_blank = c == u' ';
        if (!is_blank || !after_blank)
            chart += c;
        after_blank = is_blank;
    }
}

// A parameter keeps the blank that it begins with.
void append_parameter(QString &chart, const QString &html)
{
    if (html.startsWith(u' '))
        chart += u' ';
    if (is_simple(html)) {
        append_folded(chart, html);
        return;
    }
    LogDocument document;
    document.setUndoRedoEnabled(false);
    document.setHtml(html);
    chart += document.toPlainText();
}

} // namespace

void append_to_chart(QString &chart, const QStringList &entry)
{
    const QString text = entry.value(name_field);
    const QLatin1String arrow = arrow_of(text);
    if (arrow.isNull())
        return;
    chart += arrow;
    chart += text.leftRef(text.indexOf(u' ')); // all of it without a blank
    chart += u'\n';
    if (entry.size() > name_field + 1) {
        chart += note_head;
        for (int i = name_field + 1; i < entry.size(); ++i) {
            chart += note_indent;
            append_parameter(chart, entry.at(i));
            chart += u'\n';
        }
        chart += note_end;
    }
    chart += u'\n';
}

qint64 chart_size(const QStringList &entry)
{
    constexpr int around_message = 8 + 1 + 17 + 9 + 1; // arrow, its line feed, note head and end, empty line
    constexpr int around_field = 3;
    qint64 size = around_message;
    for (const QString &field : entry)
        size += field.size() + around_field;
    return size;
}
