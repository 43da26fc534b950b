#include "widgets/buttonwidth.h"

#include <QPushButton>

namespace {

constexpr int margin = 16; // pixels, both sides together

} // namespace

void setMinimumWidthFor(QPushButton *button, const QString &text)
{
    button->setMinimumWidth(button->fontMetrics().horizontalAdvance(text) + margin);
}
