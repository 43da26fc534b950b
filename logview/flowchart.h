#pragma once

#include <QStringList>

// The source text of a sequence diagram of log entries, {timestamp, name, parameter...}.

// Appends the entry's arrow, and a note with its parameters as plain text; nothing for an entry that is no
// decoded message.
void appendToChart(QString &chart, const QStringList &entry);

// At least what appendToChart() appends, in characters.
qint64 chartSize(const QStringList &entry);
