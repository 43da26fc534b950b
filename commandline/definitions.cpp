#include "commandline/definitions.h"

namespace {

// Elements nested in their own kind are visited once for each level, and each message holds its class's name:
// without limits, a file of 1 MB could make a model of gigabytes. A file without such nesting stays below.
constexpr int maxVisits = 4'000'000;
constexpr int maxClassName = 100;

QString name_of(const QDomElement &element)
{
    return element.attribute(QStringLiteral("name"));
}

// C notation: 0x10, 010 and 10 all differ.
int number_of(const QDomElement &element, const QString &attribute)
{
    return element.attribute(attribute).toInt(nullptr, 0);
}

int constant_value(const QString &text)
{
    return text.toInt(nullptr, text.contains(u'x', Qt::CaseInsensitive) ? 16 : 10);
}

int successor(int value)
{
    return static_cast<int>(static_cast<unsigned>(value) + 1U);
}

// The attributes that commands and events have in common.
ApiMessage message_of(const QDomElement &element, int class_index)
{
    ApiMessage message;
    message.name = name_of(element);
    message.script = number_of(element, QStringLiteral("script"));
    message.index = number_of(element, QStringLiteral("index"));
    message.class_index = class_index;
    return message;
}

class Reader
{
public:
    explicit Reader(Definitions &definitions)
        : m_definitions(definitions)
    {
    }

    bool read(const QDomElement &root);

private:
    template <typename Visit>
    void forEach(const QDomElement &top, const QString &tag, Visit visit);
    QDomElement first(const QDomElement &top, const QString &tag);
    ApiClass readClass(const QDomElement &element, int class_index);
    void readParams(const QDomElement &group, QList<ApiParam> &params);
    void readConstants(const QDomElement &owner, const QString &class_name, const QString &group_tag,
                       const QString &tag, bool upper_case);

    Definitions &m_definitions;
    int m_visits = 0;
};

// Calls visit(element) for every descendant called `tag`, in document order.
// QDomNodeList walks the document anew for its size and for every step backwards, and this must stay linear.
template <typename Visit>
void Reader::forEach(const QDomElement &top, const QString &tag, Visit visit)
{
    QDomNode node = top.firstChild();
    while (!node.isNull()) {
        if (++m_visits > maxVisits)
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
    m_definitions.device_name = root.attribute(QStringLiteral("device_name"));
    m_definitions.device_id = root.attribute(QStringLiteral("device_id")).toInt();
    int class_index = 0;
    bool namesFit = true;
    forEach(root, QStringLiteral("class"), [&](const QDomElement &element) {
        namesFit = namesFit && name_of(element).size() <= maxClassName;
        if (namesFit)
            m_definitions.classes += readClass(element, class_index++);
    });
    return namesFit && m_visits <= maxVisits;
}

ApiClass Reader::readClass(const QDomElement &element, int class_index)
{
    ApiClass result;
    result.name = name_of(element);
    forEach(element, QStringLiteral("event"), [&](const QDomElement &event) {
        ApiMessage message = message_of(event, class_index);
        message.name = result.name + u'_' + message.name;
        readParams(first(event, QStringLiteral("params")), message.params);
        result.events += message;
    });
    forEach(element, QStringLiteral("command"), [&](const QDomElement &command) {
        ApiMessage message = message_of(command, class_index);
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
        params += ApiParam{name_of(element), api_type_code(element.attribute(QStringLiteral("type")))};
    });
}

void Reader::readConstants(const QDomElement &owner, const QString &class_name, const QString &group_tag,
                           const QString &tag, bool upper_case)
{
    forEach(owner, group_tag, [&](const QDomElement &group) {
        int value = -1;
        forEach(group, tag, [&](const QDomElement &element) {
            const QString text = element.attribute(QStringLiteral("value"));
            value = text.isEmpty() ? successor(value) : constant_value(text);
            const QString key = class_name + u'_' + name_of(element);
            m_definitions.constants.insert(upper_case ? key.toUpper() : key, value);
        });
    });
}

} // namespace

bool read_definitions(const QDomDocument &document, Definitions &definitions)
{
    return Reader(definitions).read(document.documentElement());
}
