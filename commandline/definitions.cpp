#include "commandline/definitions.h"

namespace {

// Elements nested in their own kind are visited once for each level, and each message holds its class's name:
// without limits, a file of 1 MB could make a model of gigabytes. A file without such nesting stays below.
constexpr int maxVisits = 4'000'000;
constexpr int maxClassName = 100;

QString nameOf(const QDomElement &element)
{
    return element.attribute(QStringLiteral("name"));
}

// C notation: 0x10, 010 and 10 all differ.
int numberOf(const QDomElement &element, const QString &attribute)
{
    return element.attribute(attribute).toInt(nullptr, 0);
}

int constantValue(const QString &text)
{
    return text.toInt(nullptr, text.contains(u'x', Qt::CaseInsensitive) ? 16 : 10);
}

int successor(int value)
{
    return int(unsigned(value) + 1U);
}

// The attributes that commands and events have in common.
ApiMessage messageOf(const QDomElement &element, int class_index)
{
    ApiMessage message;
    message.name = nameOf(element);
    message.script = numberOf(element, QStringLiteral("script"));
    message.index = numberOf(element, QStringLiteral("index"));
    message.class_index = class_index;
    return message;
}

class Reader
{
public:
    explicit Reader(Definitions &target)
        : definitions(target)
    {
    }

    bool read(const QDomElement &root);

private:
    template <typename Visit>
    void forEach(const QDomElement &top, const QString &tag, Visit visit);
    QDomElement first(const QDomElement &top, const QString &tag);
    ApiClass readClass(const QDomElement &element, int class_index);
    void readParams(const QDomElement &group, QList<ApiParam> &params);
    void readConstants(const QDomElement &owner, const QString &className, const QString &groupTag,
                       const QString &tag, bool upperCase);

    Definitions &definitions;
    int visits = 0;
};

// Calls visit(element) for every descendant called `tag`, in document order.
// QDomNodeList walks the document anew for its size and for every step backwards, and this must stay linear.
template <typename Visit>
void Reader::forEach(const QDomElement &top, const QString &tag, Visit visit)
{
    QDomNode node = top.firstChild();
    while (!node.isNull()) {
        if (++visits > maxVisits)
            return;
        const QDomElement element = node.toElement();
        if (!element.isNull() && element.tagName() == tag)
            visit(element);
        QDomNode next = node.firstChild();
        while (next.isNull() && node != top) {
            next = node.nextSibling();
            if (next.isNull())
                node = node.parentNode();
        }
        node = next;
    }
}

QDomElement Reader::first(const QDomElement &top, const QString &tag)
{
    QDomElement found;
    forEach(top, tag, [&](const QDomElement &element) {
        if (found.isNull())
            found = element;
    });
    return found;
}

bool Reader::read(const QDomElement &root)
{
    definitions.device_name = root.attribute(QStringLiteral("device_name"));
    definitions.device_id = root.attribute(QStringLiteral("device_id")).toInt();
    int class_index = 0;
    bool namesFit = true;
    forEach(root, QStringLiteral("class"), [&](const QDomElement &element) {
        namesFit = namesFit && nameOf(element).size() <= maxClassName;
        if (namesFit)
            definitions.classes += readClass(element, class_index++);
    });
    return namesFit && visits <= maxVisits;
}

ApiClass Reader::readClass(const QDomElement &element, int class_index)
{
    ApiClass result;
    result.name = nameOf(element);
    forEach(element, QStringLiteral("event"), [&](const QDomElement &event) {
        ApiMessage message = messageOf(event, class_index);
        message.name = result.name + u'_' + message.name;
        readParams(first(event, QStringLiteral("params")), message.params);
        result.events += message;
    });
    forEach(element, QStringLiteral("command"), [&](const QDomElement &command) {
        ApiMessage message = messageOf(command, class_index);
        message.full_name = QStringLiteral("ble_cmd_%1_%2").arg(result.name, message.name);
        result.commands += message;
        result.responses += message;
        readParams(first(command, QStringLiteral("params")), result.commands.last().params);
        readParams(first(command, QStringLiteral("returns")), result.responses.last().params);
    });
    readConstants(element, result.name, QStringLiteral("defines"), QStringLiteral("define"), true);
    readConstants(element, result.name, QStringLiteral("enums"), QStringLiteral("enum"), false);
    return result;
}

void Reader::readParams(const QDomElement &group, QList<ApiParam> &params)
{
    forEach(group, QStringLiteral("param"), [&](const QDomElement &element) {
        params += ApiParam{nameOf(element), apiTypeCode(element.attribute(QStringLiteral("type")))};
    });
}

void Reader::readConstants(const QDomElement &owner, const QString &className, const QString &groupTag,
                           const QString &tag, bool upperCase)
{
    forEach(owner, groupTag, [&](const QDomElement &group) {
        int value = -1;
        forEach(group, tag, [&](const QDomElement &element) {
            const QString text = element.attribute(QStringLiteral("value"));
            value = text.isEmpty() ? successor(value) : constantValue(text);
            const QString key = className + u'_' + nameOf(element);
            definitions.constants.insert(upperCase ? key.toUpper() : key, value);
        });
    });
}

} // namespace

bool readDefinitions(const QDomDocument &document, Definitions &definitions)
{
    return Reader(definitions).read(document.documentElement());
}
