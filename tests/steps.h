#pragma once

#include "tests/text.h"

#include <QtTest>
#include <QtWidgets>

// What a widget shows of its value, for tables of steps; the rows of a table stand apart by '/'.
inline QString shown(const QWidget *widget)
{
    if (const auto *const table = qobject_cast<const QTableWidget *>(widget)) {
        QStringList rows;
        for (int row = 0; row < table->rowCount(); ++row) {
            QStringList cells;
            for (int column = 0; column < table->columnCount(); ++column)
                cells += table->item(row, column) ? table->item(row, column)->text() : QString();
            rows += cells.join(u' ');
        }
        return rows.join(u'/');
    }
    const auto *const button = qobject_cast<const QPushButton *>(widget);
    if (button && button->isCheckable())
        return QLatin1String(button->isDown() && button->isChecked() ? "on" : "off");
    if (!widget->isEnabled())
        return "disabled"_s;
    const QVariant plain = widget->property("plainText");
    return (plain.isValid() ? plain : widget->property("text")).toString();
}

// Replaces the text of an edit by keyboard.
inline void type(QWidget *widget, const QString &text)
{
    widget->setFocus();
    QMetaObject::invokeMethod(widget, "selectAll");
    QTest::keyClick(widget, Qt::Key_Delete);
    if (auto *const edit = qobject_cast<QPlainTextEdit *>(widget))
        edit->insertPlainText(text);
    else
        QTest::keyClicks(widget, text);
}

// Sets what the widget shows as its user does: an item of a list, the number of a page, a check mark 0 or 1,
// the selected row of a table, after "+" one more, "ROW COLUMN TEXT" of a cell, else typed text.
inline void set(QWidget *widget, const QString &text)
{
    if (auto *const box = qobject_cast<QComboBox *>(widget)) {
        QVERIFY2(box->findText(text) >= 0, qPrintable(text));
        box->setCurrentText(text);
    } else if (auto *const pages = qobject_cast<QTabWidget *>(widget)) {
        pages->setCurrentIndex(text.toInt());
    } else if (auto *const check = qobject_cast<QAbstractButton *>(widget)) {
        if (check->isChecked() != (text == QLatin1String("1")))
            check->click();
    } else if (auto *const table = qobject_cast<QTableWidget *>(widget)) {
        const QModelIndex index =
            table->model()->index(text.section(u' ', 0, 0).toInt(), text.section(u' ', 1, 1).toInt());
        const auto selected =
            text.startsWith(u'+') ? QItemSelectionModel::Select : QItemSelectionModel::ClearAndSelect;
        if (text.contains(u' '))
            table->model()->setData(index, text.section(u' ', 2));
        else
            table->selectionModel()->select(index, QItemSelectionModel::Rows | selected);
    } else {
        type(widget, text);
        if (qobject_cast<QSpinBox *>(widget))
            QTest::keyClick(widget, Qt::Key_Return);
    }
}

// The rows of a table in a file: all but comments, each up to its last column at a '|' a column. A line that
// begins with two blanks goes on with the row above.
inline QList<QStringList> rowsOf(const char *path, int columns)
{
    QList<QStringList> rows;
    QFile file(QString::fromUtf8(path));
    file.open(QIODevice::ReadOnly | QIODevice::Text);
    for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts)) {
        if (line.startsWith(u'#'))
            continue;
        if (line.startsWith(QLatin1String("  ")) && !rows.isEmpty()) {
            rows.last().last() += line.mid(2);
            continue;
        }
        QStringList row = line.split(u'|').mid(0, columns - 1);
        rows += row << line.section(u'|', columns - 1);
    }
    if (rows.isEmpty())
        qFatal("no rows in %s", path);
    return rows;
}
