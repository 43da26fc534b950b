#include "mainwindow/aboutdialog.h"

#include "ui_aboutdialog.h"

AboutDialog::AboutDialog(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::AboutDialog>())
{
    Q_INIT_RESOURCE(resources); // a static library's resources are linked only if they are asked for
    ui->setupUi(this);
    ui->labelVersion->setText(QStringLiteral("ble-1.10.0-153"));
}

AboutDialog::~AboutDialog() = default;
