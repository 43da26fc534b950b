#include "tools/smdialog.h"

#include "ui_smdialog.h"

#include <QInputDialog>

SMDialog::SMDialog(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::SMDialog>())
{
    ui->setupUi(this);
}

SMDialog::~SMDialog() = default;

void SMDialog::on_pushPasskey_clicked()
{
    constexpr int largestPasskey = 999999;
    bool accepted = false;
    const int passkey =
        QInputDialog::getInt(this, QStringLiteral("MITM Protection"), QStringLiteral("Enter Passkey"), 0, 0,
                             largestPasskey, 1, &accepted);
    if (accepted)
        Q_EMIT cmd_passkey_entry(0, uint32(passkey));
}

void SMDialog::on_pushSetParameters_clicked()
{
    Q_EMIT cmd_set_bondable_mode(ui->checkBondable->isChecked() ? 1 : 0);
    Q_EMIT cmd_set_parameters(ui->checkMITM->isChecked() ? 1 : 0, uint8(ui->spinMinimumKeySize->value()),
                              uint8(ui->comboIOCapabilities->currentIndex()));
}
