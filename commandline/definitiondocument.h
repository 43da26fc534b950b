#pragma once

#include <QByteArray>
#include <QDomDocument>

/// Parses the content of a definition file into `document`. False, with `document` untouched, if it is not
/// well-formed XML or would cost more than a definition file can be worth: over 256 levels of elements,
/// over 64 attributes on one, over 12 million nodes, or a document type that multiplies what was written.
bool parse_document(const QByteArray &content, QDomDocument &document);
