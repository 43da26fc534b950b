#include "tools/smdialog.h"

#include "ui_smdialog.h"

#include <QInputDialog>

namespace {

constexpr int maxPasskey = 999999;

} // namespace

SMDialog::SMDialog(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::SMDialog>())
{
    ui->setupUi(this);
}

SMDialog::~SMDialog() = default;

void SMDialog::on_pushPasskey_clicked()
{
    QInputDialog box(this);
    box.setWindowTitle(QStringLiteral("MITM Protection"));
    box.setLabelText(QStringLiteral("Enter Passkey"));
    box.setInputMode(QInputDialog::IntInput);
    box.setIntRange(0, maxPasskey);
    // Wide enough for the title, its icon and its buttons, which the layout does not count.
    box.resize(3 * fontMetrics().horizontalAdvance(box.windowTitle()), box.sizeHint().height());
    if (box.exec() == QDialog::Accepted)
        Q_EMIT cmd_passkey_entry(0, uint32(box.intValue()));
}

void SMDialog::on_pushSetParameters_clicked()
{
    Q_EMIT cmd_set_bondable_mode(ui->checkBondable->isChecked() ? 1 : 0);
    Q_EMIT cmd_set_parameters(ui->checkMITM->isChecked() ? 1 : 0, uint8(ui->spinMinimumKeySize->value()),
                              uint8(ui->comboIOCapabilities->currentIndex()));
}
