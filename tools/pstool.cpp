#include "tools/pstool.h"

#include "protocol/conversions.h"
#include "ui_pstool.h"

namespace {

constexpr uint16 endOfDump = 0xffff;

enum Column { keyColumn, valueColumn };

} // namespace

PSTool::PSTool(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::PSTool>())
{
    ui->setupUi(this);
    ui->tablePSKeys->sortByColumn(keyColumn, Qt::AscendingOrder); // else the toolkit begins with descending
}

PSTool::~PSTool() = default;

void PSTool::on_pushWrite_clicked()
{
    const int row = selectedRow();
    if (row >= 0)
        Q_EMIT WriteKey(keyOf(row), hex_bytes(cell(row, valueColumn)));
}

void PSTool::on_pushAdd_clicked()
{
    evt_ps_key(0, {});
}

void PSTool::on_pushDefrag_clicked()
{
    Q_EMIT Defrag();
}

void PSTool::on_pushDelete_clicked()
{
    const int row = selectedRow();
    if (row >= 0)
        Q_EMIT DeleteKey(keyOf(row));
}

void PSTool::on_pushRefresh_clicked()
{
    ui->tablePSKeys->setRowCount(0);
    Q_EMIT DumpKeys();
}

void PSTool::on_tablePSKeys_cellChanged(int, int) {}

void PSTool::ret_ps_load(uint16, QByteArray) {}

void PSTool::evt_ps_key(uint16 key, QByteArray value)
{
    if (key == endOfDump)
        return;
    QTableWidget *const table = ui->tablePSKeys;
    table->setSortingEnabled(false); // the new row would move between its two cells
    const int row = table->rowCount();
    table->setRowCount(row + 1);
    table->setItem(row, keyColumn,
                   new QTableWidgetItem(QStringLiteral("%1").arg(key, 4, 16, QLatin1Char('0'))));
    table->setItem(row, valueColumn, new QTableWidgetItem(hex_text(value)));
    table->setSortingEnabled(true);
}

int PSTool::selectedRow() const
{
    const QList<QTableWidgetItem *> selected = ui->tablePSKeys->selectedItems();
    return selected.isEmpty() ? -1 : selected.first()->row();
}

QString PSTool::cell(int row, int column) const
{
    const QTableWidgetItem *const item = ui->tablePSKeys->item(row, column);
    return item ? item->text() : QString();
}

uint16 PSTool::keyOf(int row) const
{
    uint32 key = 0; // cut afterwards: as 16 bits it would be none from 80000000 on
    from_text(cell(row, keyColumn), key);
    return uint16(key);
}
