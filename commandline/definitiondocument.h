#pragma once

#include <QByteArray>
#include <QDomDocument>

/// Parses the content of a definition file into `document`. False, with `document` untouched, if it is not
/// well-formed XML or would cost more than a definition file can be worth: over 1,000 levels of
/// elements, over 12 million nodes, thousands of attributes on a tag, or declarations that multiply the text.
bool parse_document(const QByteArray &content, QDomDocument &document);
