#include "logview/logdocument.h"

#include <QImage>

QVariant LogDocument::loadResource(int type, const QUrl &)
{
    // For an image that it is not given, the text engine would go to the disk by itself.
    if (type == ImageResource)
        return QImage(QStringLiteral(":/qt-project.org/styles/commonstyle/images/file-16.png"));
    return {};
}
