#include "devices/attributetable.h"

#include <QHeaderView>
#include <QHelpEvent>
#include <QScopedValueRollback>
#include <QToolTip>

namespace {

// Column widths in digits. A value read in one piece has up to 22 bytes.
constexpr int handleDigits = 7;
constexpr int groupEndDigits = 10;
constexpr int uuidDigits = 6; // of 16 bits; one of 128 bits spans the next column as well
constexpr int minTextDigits = 12;
constexpr int maxDescriptionDigits = 31;
constexpr int maxRawDigits = 46;
constexpr int valueDigits = 6;

constexpr int tipLineLength = 64; // characters; a plain tooltip does not wrap its text

QString inLines(const QString &text)
{
    QStringList lines;
    for (int at = 0; at < text.size(); at += tipLineLength)
        lines += text.mid(at, tipLineLength);
    return lines.join(QLatin1Char('\n'));
}

} // namespace

AttributeTable::AttributeTable(QWidget *parent)
    : QTableWidget(parent)
{
    connect(horizontalHeader(), &QHeaderView::sectionResized, this,
            [this](int column) { hasUserWidths |= !isSharing && column != valueColumn; });
}

void AttributeTable::resizeEvent(QResizeEvent *event)
{
    shareWidthOut();
    QTableWidget::resizeEvent(event);
}

// The last column stretches, so it has what the others leave.
void AttributeTable::shareWidthOut()
{
    if (hasUserWidths)
        return;
    const QScopedValueRollback<bool> sharing(isSharing, true);
    const int digit = fontMetrics().horizontalAdvance(QLatin1Char('0'));
    const int fixedDigits = handleDigits + groupEndDigits + uuidDigits + valueDigits;
    const int textDigits = viewport()->width() / digit - fixedDigits; // for "Description" and "Raw"
    const int descriptionDigits = qBound(minTextDigits, textDigits / 2, maxDescriptionDigits);
    const int rawDigits = qBound(minTextDigits, textDigits - descriptionDigits, maxRawDigits);
    const int digits[] = {handleDigits,      groupEndDigits, uuidDigits,
                          descriptionDigits, rawDigits,      valueDigits};
    for (int column = handleColumn; column <= valueColumn; ++column)
        setColumnWidth(column, digits[column] * digit);
}

bool AttributeTable::viewportEvent(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return QTableWidget::viewportEvent(event);
    const auto *const help = static_cast<QHelpEvent *>(event);
    const QModelIndex cell = indexAt(help->pos());
    const QRect shown = visualRect(cell);
    const bool isCut = cell.isValid() && sizeHintForIndex(cell).width() > shown.width();
    QToolTip::showText(help->globalPos(), isCut ? inLines(cell.data().toString()) : QString(), viewport(),
                       shown);
    return true;
}
