#pragma once

#include "protocol/types.h"

#include <QDialog>

#include <memory>

namespace Ui {
class WhitelistDialog;
}

// Edits the module's whitelist and sets the filter policies. The list is in the module; here it is neither
// shown nor remembered.
class WhitelistDialog : public QDialog
{
    Q_OBJECT

public:
    explicit WhitelistDialog(QWidget *parent = nullptr);
    ~WhitelistDialog() override;

Q_SIGNALS:
    void whitelist_append(bd_addr addr, uint8 random);
    void whitelist_remove(bd_addr addr, uint8 random);
    void whitelist_clear();
    void whitelist_connect();
    void whitelist_filtering(uint8 scan_policy, uint8 adv_policy, uint8 filter_duplicates);

public Q_SLOTS:
    void on_pushFiltering_clicked();
    void on_pushConnect_clicked();
    void on_pushClear_clicked();
    // These two repeat the last complete address while the one in the form is not complete.
    void on_pushRemove_clicked();
    void on_pushAppend_clicked();

private:
    void readAddress();

    bd_addr address{}; // all zeros until there was a complete one
    std::unique_ptr<Ui::WhitelistDialog> ui;
};
