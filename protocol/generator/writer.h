#pragma once

#include "protocol/generator/definition.h"

// Writes cls_ble_<class>.h and .cpp for every class, message_counts.h and message_tables.cpp into `folder`.
// Gives the text of what went wrong, empty if nothing did. The same definition always gives the same bytes.
QString writeSources(const Definition &definition, const QString &folder);
