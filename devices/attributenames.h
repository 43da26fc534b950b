#pragma once

#include <QByteArray>
#include <QString>

// The name of a service, characteristic or descriptor. `uuid` has its most significant byte first, 2 or 16
// bytes; empty for a UUID that is not known, and for any other size.
QString attributeName(QByteArray uuid);
