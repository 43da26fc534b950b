#include "tools/whitelistdialog.h"

#include "commandline/addressvalidator.h"
#include "protocol/conversions.h"
#include "ui_whitelistdialog.h"

namespace {

uint8 bit(const QCheckBox *box)
{
    return box->isChecked() ? 1 : 0;
}

} // namespace

WhitelistDialog::WhitelistDialog(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::WhitelistDialog>())
{
    ui->setupUi(this);
    ui->lineAddress->setValidator(new AddressValidator(this));
}

WhitelistDialog::~WhitelistDialog() = default;

void WhitelistDialog::on_pushFiltering_clicked()
{
    const auto advPolicy = uint8(bit(ui->checkWLScan) + 2 * bit(ui->checkWLConnect));
    Q_EMIT whitelist_filtering(bit(ui->checkWLAdv), advPolicy, bit(ui->checkFilterDuplicates));
}

void WhitelistDialog::on_pushConnect_clicked()
{
    Q_EMIT whitelist_connect();
}

void WhitelistDialog::on_pushClear_clicked()
{
    Q_EMIT whitelist_clear();
}

void WhitelistDialog::on_pushRemove_clicked()
{
    readAddress();
    Q_EMIT whitelist_remove(address, bit(ui->checkAddressType));
}

void WhitelistDialog::on_pushAppend_clicked()
{
    readAddress();
    Q_EMIT whitelist_append(address, bit(ui->checkAddressType));
}

void WhitelistDialog::readAddress()
{
    if (ui->lineAddress->hasAcceptableInput())
        address = address_from_text(ui->lineAddress->text());
}
