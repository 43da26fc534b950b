#pragma once

#include "commandline/apimodel.h"

#include <QDomDocument>
#include <QMap>

// What one definition file says.
struct Definitions
{
    QString device_name;
    int device_id = 0;
    QMap<QString, int> constants; // "CLASS_NAME" of a define, "class_name" of an enum
    QList<ApiClass> classes;
};

// Reads a document into `definitions`. An absent element yields an empty list, an absent attribute its
// default. False if a class name is over 100 characters long, or nested elements would make the model grow
// far beyond the document; `definitions` is then half-filled.
bool readDefinitions(const QDomDocument &document, Definitions &definitions);
