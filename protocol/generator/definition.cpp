#include "protocol/generator/definition.h"

#include <QDomDocument>
#include <QFile>
#include <QRegularExpression>

namespace {

const FieldType fieldTypes[] = {
    {"uint8", "uint8", 1, 2},      {"int8", "int8", 1, 3},     {"uint16", "uint16", 2, 4},
    {"int16", "int16", 2, 5},      {"uint32", "uint32", 4, 6}, {"uint8array", "QByteArray", 1, 8},
    {"bd_addr", "bd_addr", 6, 10},
};

// A record holds a 4-bit code a field in 32 bits.
constexpr int maxFields = 8;

const FieldType *findType(const QString &name)
{
    for (const FieldType &type : fieldTypes) {
        if (name == QLatin1String(type.name))
            return &type;
    }
    return nullptr;
}

QString attribute(const QDomElement &element, const char *name)
{
    return element.attribute(QLatin1String(name));
}

QVector<QDomElement> children(const QDomElement &parent, const char *tag)
{
    QVector<QDomElement> found;
    const QString name = QLatin1String(tag);
    for (QDomElement e = parent.firstChildElement(name); !e.isNull(); e = e.nextSiblingElement(name))
        found.append(e);
    return found;
}

class Reader
{
public:
    explicit Reader(QString *errorText)
        : error(errorText)
    {
    }

    MessageClass messageClass(const QDomElement &element)
    {
        MessageClass result;
        result.name = name(element);
        for (const QDomElement &e : children(element, "command")) {
            result.commands.append(message(e, "params", result.commands.size()));
            result.responses.append(message(e, "returns", result.responses.size()));
        }
        for (const QDomElement &e : children(element, "event"))
            result.events.append(message(e, "params", result.events.size()));
        for (const QDomElement &e : children(element, "enums"))
            result.tables.append(table(e));
        return result;
    }

private:
    void fail(const QDomElement &element, const QString &what)
    {
        if (error->isEmpty())
            *error = QStringLiteral("line %1: %2").arg(element.lineNumber()).arg(what);
    }

    // Names become part of C++ names.
    QString name(const QDomElement &element)
    {
        static const QRegularExpression identifier(QStringLiteral("^[a-z][a-z0-9_]*$"));
        const QString text = attribute(element, "name");
        if (!identifier.match(text).hasMatch())
            fail(element, QStringLiteral("a name of lower-case letters, digits and underscores is needed"));
        return text;
    }

    uint value(const QDomElement &element)
    {
        bool ok = false;
        const uint number = attribute(element, "value").toUInt(&ok);
        if (!ok)
            fail(element, QStringLiteral("the value is no number"));
        return number;
    }

    Message message(const QDomElement &element, const char *part, int index)
    {
        if (attribute(element, "index") != QString::number(index))
            fail(element, QStringLiteral("expected index %1").arg(index));
        Message result;
        result.name = name(element);
        const QDomElement fields = element.firstChildElement(QLatin1String(part));
        for (const QDomElement &e : children(fields, "param")) {
            if (!result.fields.isEmpty() && result.fields.last().type->code == 8)
                fail(e, QStringLiteral("a field behind an array"));
            result.fields.append(field(e));
        }
        if (result.fields.size() > maxFields)
            fail(element, QStringLiteral("more than eight fields"));
        return result;
    }

    Field field(const QDomElement &element)
    {
        Field result;
        result.name = name(element);
        result.type = findType(attribute(element, "type"));
        result.isResult = attribute(element, "show") == QLatin1String("result");
        if (!result.type) {
            fail(element, QStringLiteral("unknown type"));
            result.type = &fieldTypes[0];
        }
        if (result.isResult && qstrcmp(result.type->name, "uint16") != 0)
            fail(element, QStringLiteral("a result code has 16 bits"));
        return result;
    }

    SymbolTable table(const QDomElement &element)
    {
        SymbolTable result;
        result.name = name(element);
        if (!result.name.endsWith(QLatin1String("_names")))
            fail(element, QStringLiteral("the name of a table ends in _names"));
        for (const QDomElement &e : children(element, "enum"))
            result.values.append({name(e), QString::number(value(e))});
        return result;
    }

    QString *error;
};

} // namespace

Definition readDefinition(const QString &path, QString *error)
{
    Definition definition;
    QFile file(path);
    QDomDocument document;
    if (!file.open(QIODevice::ReadOnly) || !document.setContent(&file, error)) {
        if (error->isEmpty())
            *error = file.errorString();
        return definition;
    }
    Reader reader(error);
    for (const QDomElement &e : children(document.documentElement(), "class"))
        definition.append(reader.messageClass(e));
    if (definition.isEmpty() && error->isEmpty())
        *error = QStringLiteral("no class in it");
    return definition;
}
