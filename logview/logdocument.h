#pragma once

#include <QTextDocument>

// Holds HTML of the log. The HTML comes from outside, so it gets no access to files: an image in it shows
// as a missing one does, a style sheet is empty.
class LogDocument : public QTextDocument
{
    Q_OBJECT

public:
    using QTextDocument::QTextDocument;

protected:
    QVariant loadResource(int type, const QUrl &name) override;
};
