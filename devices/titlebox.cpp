#include "devices/titlebox.h"

#include <QStyleOptionGroupBox>
#include <QStylePainter>

void TitleBox::paintEvent(QPaintEvent *)
{
    QStyleOptionGroupBox option;
    initStyleOption(&option);
    option.text += QLatin1String("    ");
    QStylePainter(this).drawComplexControl(QStyle::CC_GroupBox, option);
}
