#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QDialog>

#include <memory>

namespace Ui {
class PSTool;
}

// The key and value pairs of the module's persistent store, in a table that is their only copy here:
// "Refresh" reads them anew, "Write" sends the selected row, whatever else was edited.
class PSTool : public QDialog
{
    Q_OBJECT

public:
    explicit PSTool(QWidget *parent = nullptr);
    ~PSTool() override;

Q_SIGNALS:
    void ReadKey(uint16 key); // never sent
    void WriteKey(uint16 key, QByteArray value);
    void DeleteKey(uint16 key);
    void DumpKeys();
    void Defrag();

public Q_SLOTS:
    void on_pushWrite_clicked();
    void on_pushAdd_clicked();
    void on_pushDefrag_clicked();
    // The row stays until the next refresh.
    void on_pushDelete_clicked();
    void on_pushRefresh_clicked();

    // These two do nothing.
    void on_tablePSKeys_cellChanged(int row, int column);
    void ret_ps_load(uint16 result, QByteArray value);

    // Adds a row, but for the key 0xffff that ends a dump. Rows with the same key stand side by side.
    void evt_ps_key(uint16 key, QByteArray value);

private:
    int selectedRow() const; // -1 without a selection
    QString cell(int row, int column) const;
    uint16 keyOf(int row) const;

    std::unique_ptr<Ui::PSTool> ui;
};
