#include "logview/logdocument.h"

#include <QImage>

QVariant LogDocument::loadResource(int type, const QUrl &)
{
    // A null value would send the text engine to the disk by itself.
    if (type == ImageResource)
        return QImage(QStringLiteral(":/qt-project.org/styles/commonstyle/images/file-16.png"));
    return QByteArray("");
}
