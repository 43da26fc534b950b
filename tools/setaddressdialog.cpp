#include "tools/setaddressdialog.h"

#include "commandline/addressvalidator.h"
#include "protocol/conversions.h"
#include "ui_setaddressdialog.h"

#include <cstring>

namespace {

// By the two top bits of the most significant byte, which is the first one in the text.
QString kindOf(const QString &text)
{
    static const QString kinds[] = {
        QStringLiteral("Non-Resolvable Private Address"), QStringLiteral("Resolvable Private Address"),
        QStringLiteral("Undefined Private Address"), QStringLiteral("Static Address")};
    if (text.size() < 2)
        return QStringLiteral("Invalid Address");
    uint8 first = 0;
    from_text(text.section(QLatin1Char(':'), 0, 0), first);
    return kinds[first >> 6];
}

} // namespace

SetAddressDialog::SetAddressDialog(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::SetAddressDialog>())
{
    ui->setupUi(this);
    ui->lineAddress->setValidator(new AddressValidator(this));
    updateKind();
}

SetAddressDialog::~SetAddressDialog() = default;

void SetAddressDialog::on_pushSet_clicked()
{
    Q_EMIT set_address_mode(ui->checkAddressType->isChecked() ? 1 : 0, address);
}

void SetAddressDialog::on_checkAddressType_clicked()
{
    updateKind();
}

void SetAddressDialog::on_lineAddress_textChanged(QString)
{
    updateKind();
}

void SetAddressDialog::updateKind()
{
    const bool isPrivate = ui->checkAddressType->isChecked();
    const bool isComplete = ui->lineAddress->hasAcceptableInput();
    ui->lineAddress->setEnabled(isPrivate);
    ui->pushSet->setEnabled(!isPrivate || isComplete);
    std::memset(address.addr, 0xff, sizeof(address.addr));
    if (!isPrivate) {
        ui->labelDescription->setText(QStringLiteral("Public Device Address"));
        return;
    }
    ui->labelDescription->setText(kindOf(ui->lineAddress->text()));
    if (isComplete)
        address = address_from_text(ui->lineAddress->text());
}
