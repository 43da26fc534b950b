#pragma once

#include "commandline/apimodel.h"

#include <QDomDocument>
#include <QMap>

/// What one definition file says.
struct Definitions
{
    QString device_name;
    int device_id = 0;
    QMap<QString, int> constants; ///< "CLASS_NAME" of a define, "class_name" of an enum
    QList<ApiClass> classes;
};

/// Reads a document into `definitions`. An absent element gives an empty list, an absent attribute its
/// default. False if elements are nested so that the model would grow far beyond the document; `definitions`
/// is then half-filled.
bool read_definitions(const QDomDocument &document, Definitions &definitions);
