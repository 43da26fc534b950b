#pragma once

#include "protocol/types.h"

#include <QHash>
#include <QString>

// The words for 16-bit result codes, one table for the whole process, used on the main thread alone. Looking
// up an unknown code adds it with an empty text.
extern QHash<uint16, QString> error_table;

// Fills the table with the known codes if it has no entry at all.
void fill_error_table();

// The table's entry for `code`, empty for an unknown one.
const QString &error_text(uint16 code);
