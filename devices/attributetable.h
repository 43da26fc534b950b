#pragma once

#include <QTableWidget>

// The table of a device's attributes. Shares its width out by what the columns hold, and shows the whole text
// of a cell that is cut in a tooltip.
class AttributeTable : public QTableWidget
{
public:
    explicit AttributeTable(QWidget *parent = nullptr);

    enum Column { handleColumn, groupEndColumn, uuidColumn, descriptionColumn, rawColumn, valueColumn };

protected:
    void resizeEvent(QResizeEvent *event) override;
    bool viewportEvent(QEvent *event) override;

private:
    void shareWidthOut();

    bool isSharing = false;
    bool hasUserWidths = false; // the user has dragged a column, so the widths stay
};
