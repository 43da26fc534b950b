#pragma once

#include <QByteArray>
#include <QDomDocument>

// Parses the content of a definition file into `document`. False, with `document` untouched, if the content
// is not well-formed XML, has a document type, over 32 levels of elements or over 100 attributes in a tag.
bool parseDocument(const QByteArray &content, QDomDocument &document);
