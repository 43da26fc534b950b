#include "logview/flowchart.h"

#include "logview/logdocument.h"

#include <algorithm>

namespace {

constexpr int nameField = 1;

const QLatin1String noteHead("note right of A:\n");
const QLatin1String noteIndent("  ");
const QLatin1String noteEnd("end note\n");

// Null for what is no message.
QLatin1String arrowOf(const QString &name)
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
bool isSimple(const QString &html)
{
    return std::all_of(html.begin(), html.end(),
                       [](QChar c) { return c >= u' ' && c <= u'~' && c != u'<' && c != u'&'; });
}

// What a document makes of simple text, only far faster: runs of blanks become one, and none is
// left at the start.
void appendFolded(QString &chart, const QString &text)
{
    bool afterBlank = true;
    for (const QChar c : text) {
        const bool isBlank = c == u' ';
        if (!isBlank || !afterBlank)
            chart += c;
        afterBlank = isBlank;
    }
}

// A parameter keeps the blank that it begins with.
void appendParameter(QString &chart, const QString &html)
{
    if (html.startsWith(u' '))
        chart += u' ';
    if (isSimple(html)) {
        appendFolded(chart, html);
        return;
    }
    LogDocument document;
    document.setUndoRedoEnabled(false);
    document.setHtml(html);
    chart += document.toPlainText();
}

} // namespace

void appendToChart(QString &chart, const QStringList &entry)
{
    const QString text = entry.value(nameField);
    const QLatin1String arrow = arrowOf(text);
    if (arrow.isNull())
        return;
    chart += arrow;
    chart += text.leftRef(text.indexOf(u' ')); // all of it without a blank
    chart += u'\n';
    if (entry.size() > nameField + 1) {
        chart += noteHead;
        for (int i = nameField + 1; i < entry.size(); ++i) {
            chart += noteIndent;
            appendParameter(chart, entry.at(i));
            chart += u'\n';
        }
        chart += noteEnd;
    }
    chart += u'\n';
}

qint64 chartSize(const QStringList &entry)
{
    constexpr int aroundMessage = 8 + 1 + 17 + 9 + 1; // arrow, its line feed, note head and end, empty line
    constexpr int aroundField = 3;
    qint64 size = aroundMessage;
    for (const QString &field : entry)
        size += field.size() + aroundField;
    return size;
}
