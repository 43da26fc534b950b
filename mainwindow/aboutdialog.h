#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class AboutDialog;
}

// The name, the version and the logo of the program.
class AboutDialog : public QDialog
{
    Q_OBJECT

public:
    explicit AboutDialog(QWidget *parent = nullptr);
    ~AboutDialog() override;

private:
    std::unique_ptr<Ui::AboutDialog> ui;
};
