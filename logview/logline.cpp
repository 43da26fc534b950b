#include "logview/logline.h"

#include "logview/logdocument.h"

#include <QTextBlock>
#include <QTextLayout>

LogLine::LogLine()
{
    // Before these are set, an empty item has no height.
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setDefaultTextColor(Qt::black); // on light paper, whatever the desktop's colours are
    auto *document = new LogDocument(this);
    document->setUndoRedoEnabled(false);
    setDocument(document);
    // Comes before the layout, which then keeps the shaped text, so that painting need not shape it again.
    connect(document, &QTextDocument::contentsChange, document,
            [document] { document->firstBlock().layout()->setCacheEnabled(true); });
}

void LogLine::setLine(const QString &html)
{
    document()->setHtml(html);
}
