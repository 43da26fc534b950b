#include "commandline/definitions.h"

namespace {

// What reading may cost, in elements visited; a record made counts as so many, and its text a quarter a
// character. Elements nested in their own kind are found once for each level, which multiplies.
constexpr qint64 reading_budget = 128'000'000;
constexpr qint64 record_cost = 8;

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

class Reader
{
public:
    explicit Reader(Definitions &definitions)
        : m_definitions(definitions)
    {
    }

    bool read(const QDomElement &root);

private:
    bool spend(qint64 cost);
    template <typename Visit>
    void forEach(const QDomElement &top, const QString &tag, Visit visit);
    QDomElement first(const QDomElement &top, const QString &tag);
    ApiClass readClass(const QDomElement &element, int class_index);
    bool readMessage(const QDomElement &element, const ApiClass &owner, int class_index, ApiMessage &message);
    void readParams(const QDomElement &group, QList<ApiParam> &params);
    void readConstants(const QDomElement &owner, const QString &class_name, const QString &group_tag,
                       const QString &tag, bool upper_case);

    Definitions &m_definitions;
    qint64 m_left = reading_budget;
};

bool Reader::spend(qint64 cost)
{
    m_left -= cost;
    return m_left >= 0;
}

// Calls visit(element) for every descendant called `tag`, in document order, until it returns false.
// QDomNodeList walks the document anew for its size and for every step backwards, and this must stay linear.
template <typename Visit>
void Reader::forEach(const QDomElement &top, const QString &tag, Visit visit)
{
    QDomNode node = top.firstChild();
    while (!node.isNull()) {
        if (!spend(1))
            return;
        const QDomElement element = node.toElement();
        if (!element.isNull() && element.tagName() == tag && !visit(element))
            return;
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
        found = element;
        return false;
    });
    return found;
}

bool Reader::read(const QDomElement &root)
{
    m_definitions.device_name = root.attribute(QStringLiteral("device_name"));
    m_definitions.device_id = root.attribute(QStringLiteral("device_id")).toInt();
    int class_index = 0;
    forEach(root, QStringLiteral("class"), [&](const QDomElement &element) {
        if (!spend(record_cost))
            return false;
        m_definitions.classes += readClass(element, class_index++);
        return true;
    });
    return m_left >= 0;
}

ApiClass Reader::readClass(const QDomElement &element, int class_index)
{
    ApiClass result;
    result.name = name_of(element);
    forEach(element, QStringLiteral("event"), [&](const QDomElement &event) {
        ApiMessage message;
        if (!readMessage(event, result, class_index, message))
            return false;
        message.name = result.name + u'_' + message.name;
        readParams(first(event, QStringLiteral("params")), message.params);
        result.events += message;
        return true;
    });
    forEach(element, QStringLiteral("command"), [&](const QDomElement &command) {
        ApiMessage message;
        if (!readMessage(command, result, class_index, message))
            return false;
        message.full_name = QStringLiteral("ble_cmd_%1_%2").arg(result.name, message.name);
        result.commands += message;
        result.responses += message;
        readParams(first(command, QStringLiteral("params")), result.commands.last().params);
        readParams(first(command, QStringLiteral("returns")), result.responses.last().params);
        return true;
    });
    readConstants(element, result.name, QStringLiteral("defines"), QStringLiteral("define"), true);
    readConstants(element, result.name, QStringLiteral("enums"), QStringLiteral("enum"), false);
    return result;
}

// What commands and events have in common; false if there is no budget for one more.
bool Reader::readMessage(const QDomElement &element, const ApiClass &owner, int class_index,
                         ApiMessage &message)
{
    message.name = name_of(element);
    if (!spend(2 * record_cost + (owner.name.size() + message.name.size()) / 4))
        return false;
    message.script = number_of(element, QStringLiteral("script"));
    message.index = number_of(element, QStringLiteral("index"));
    message.class_index = class_index;
    return true;
}

void Reader::readParams(const QDomElement &group, QList<ApiParam> &params)
{
    forEach(group, QStringLiteral("param"), [&](const QDomElement &element) {
        if (!spend(record_cost))
            return false;
        params += ApiParam{name_of(element), api_type_code(element.attribute(QStringLiteral("type")))};
        return true;
    });
}

void Reader::readConstants(const QDomElement &owner, const QString &class_name, const QString &group_tag,
                           const QString &tag, bool upper_case)
{
    forEach(owner, group_tag, [&](const QDomElement &group) {
        int value = -1;
        forEach(group, tag, [&](const QDomElement &element) {
            const QString name = name_of(element);
            if (!spend(record_cost + (class_name.size() + name.size()) / 4))
                return false;
            const QString text = element.attribute(QStringLiteral("value"));
            value = text.isEmpty() ? successor(value) : constant_value(text);
            const QString key = class_name + u'_' + name;
            m_definitions.constants.insert(upper_case ? key.toUpper() : key, value);
            return true;
        });
        return m_left >= 0;
    });
}

} // namespace

bool read_definitions(const QDomDocument &document, Definitions &definitions)
{
    return Reader(definitions).read(document.documentElement());
}
