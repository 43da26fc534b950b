#include "protocol/generator/writer.h"

#include <QDir>
#include <QSaveFile>
#include <QTextStream>

namespace {

const char *const header_start = R"(#pragma once

#include "protocol/ble_sub.h"
#include "protocol/types.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QString>

class cls_ble_%1 : public QObject, public ble_sub
{
    Q_OBJECT

public:
    explicit cls_ble_%1(cls_ble *owner);
)";

QString arguments(const Message &message)
{
    QStringList list;
    for (const Field &field : message.fields)
        list += QLatin1String(field.type->cpp) + QLatin1Char(' ') + field.name;
    return list.join(QStringLiteral(", "));
}

// A suffix keeps the type apart from the message fields, several of which are named like it.
QString key_type(const SymbolTable &table)
{
    return table.name.chopped(int(qstrlen("names"))) + QStringLiteral("value");
}

void write_header(QTextStream &out, const MessageClass &c)
{
    out << QString::fromLatin1(header_start).arg(c.name);
    for (const SymbolTable &table : c.tables) {
        out << "\n    enum " << key_type(table) << " : uint32 {\n";
        for (const auto &value : table.values)
            out << "        " << value.first << " = " << value.second << ",\n";
        out << "    };\n    QHash<" << key_type(table) << ", QString> " << table.name << ";\n";
    }
    out << "\nQ_SIGNALS:\n";
    for (const Message &message : c.responses)
        out << "    void rsp_" << message.name << '(' << arguments(message) << ");\n";
    for (const Message &message : c.events)
        out << "    void evt_" << message.name << '(' << arguments(message) << ");\n";
    out << "\npublic Q_SLOTS:\n";
    for (const Message &message : c.commands)
        out << "    void cmd_" << message.name << '(' << arguments(message) << ");\n";
    out << "};\n";
}

void write_slots(QTextStream &out, const MessageClass &c, int first_index)
{
    const QString type = QStringLiteral("cls_ble_") + c.name;
    out << "#include \"protocol/" << type << ".h\"\n\n#include \"protocol/message_templates.h\"\n\n"
        << type << "::" << type << "(cls_ble *owner)\n    : ble_sub(owner)\n{\n";
    for (const SymbolTable &table : c.tables) {
        for (const auto &value : table.values)
            out << "    " << table.name << ".insert(" << value.first << ", QStringLiteral(\"" << value.first
                << "\"));\n";
    }
    out << "}\n\n";
    for (int i = 0; i < c.commands.size(); ++i) {
        const Message &message = c.commands.at(i);
        out << "void " << type << "::cmd_" << message.name << '(' << arguments(message)
            << ") { send_command(ble, " << first_index + i;
        for (const Field &field : message.fields)
            out << ", " << field.name;
        out << "); }\n";
    }
}

void write_counts(QTextStream &out, const Definition &definition)
{
    int commands = 0;
    int events = 0;
    for (const MessageClass &c : definition) {
        commands += c.commands.size();
        events += c.events.size();
    }
    out << "#pragma once\n\nconstexpr int class_count = " << definition.size()
        << ";\nconstexpr int command_count = " << commands << ";\nconstexpr int response_count = " << commands
        << ";\nconstexpr int event_count = " << events << ";\n";
}

class TableWriter
{
public:
    TableWriter(const Definition &definition, QTextStream &out)
        : m_definition(definition)
        , m_out(out)
    {
    }

    void write()
    {
        m_out << "#include \"protocol/message_templates.h\"\n\n";
        m_out << "const message_record message_records[record_count + 1] = {\n";
        records("cmd", 0x00, &MessageClass::commands);
        const int first_response = m_index;
        records("rsp", 0x00, &MessageClass::responses);
        const int first_event = m_index;
        records("evt", 0x80, &MessageClass::events);
        m_out << "    {{0, 0, 0, 0}, 0, nullptr},\n};\n\nnamespace {\n";
        rows("response", first_response, &MessageClass::responses);
        rows("event", first_event, &MessageClass::events);
        m_out << "\n} // namespace\n";
        index_table("response", &MessageClass::responses);
        index_table("event", &MessageClass::events);
        texts();
    }

private:
    using Messages = QVector<Message> MessageClass::*;

    void records(const char *kind, int first_byte, Messages messages)
    {
        for (int c = 0; c < m_definition.size(); ++c) {
            const MessageClass &message_class = m_definition.at(c);
            for (int id = 0; id < (message_class.*messages).size(); ++id, ++m_index) {
                const Message &message = (message_class.*messages).at(id);
                int length = 0;
                unsigned types = 0;
                int shift = 0;
                for (const Field &field : message.fields) {
                    length += field.type->size;
                    types |= field.type->code << shift;
                    shift += 4;
                }
                m_out << "    {{" << first_byte << ", " << length << ", " << c << ", " << id << "}, 0x"
                      << QString::number(types, 16) << "u, " << handler(kind, message_class.name, message)
                      << "},\n";
                m_texts.append({QStringLiteral("ble_%1_%2_%3")
                                    .arg(QLatin1String(kind), message_class.name, message.name),
                                message.fields});
            }
        }
    }

    QString handler(const char *kind, const QString &class_name, const Message &message) const
    {
        if (qstrcmp(kind, "cmd") == 0)
            return QStringLiteral("[](cls_ble *, const message_payload &) {}");
        return QStringLiteral("receive<%1, &cls_ble::%2, &cls_ble_%2::%3_%4>")
            .arg(QString::number(m_index), class_name, QLatin1String(kind), message.name);
    }

    void rows(const char *kind, int first, Messages messages)
    {
        for (const MessageClass &c : m_definition) {
            if ((c.*messages).isEmpty())
                continue;
            m_out << "\nconst message_record *const " << c.name << '_' << kind << "s[] = {\n";
            for (int i = 0; i < (c.*messages).size(); ++i)
                m_out << "    &message_records[" << first++ << "],\n";
            m_out << "};\n";
        }
    }

    void index_table(const char *kind, Messages messages)
    {
        m_out << "\nconst record_row " << kind << "_table[class_count] = {\n";
        for (const MessageClass &c : m_definition) {
            const int count = (c.*messages).size();
            if (count == 0)
                m_out << "    {nullptr, 0},\n";
            else
                m_out << "    {" << c.name << '_' << kind << "s, " << count << "},\n";
        }
        m_out << "};\n";
    }

    void texts()
    {
        m_out << "\nnamespace {\n\n";
        for (int i = 0; i < m_texts.size(); ++i) {
            if (m_texts.at(i).fields.isEmpty())
                continue;
            m_out << "const field_text fields_" << i << "[] = {";
            for (const Field &field : m_texts.at(i).fields)
                m_out << "{u\" " << field.name << ":\", " << (field.is_result ? "true" : "false") << "}, ";
            m_out << "};\n";
        }
        m_out << "\n} // namespace\n\nconst message_text &message_text_at(int index)\n{\n"
                 "    static const message_text texts[record_count] = {\n";
        for (int i = 0; i < m_texts.size(); ++i) {
            const int count = m_texts.at(i).fields.size();
            m_out << "        {QStringLiteral(\"" << m_texts.at(i).name << "\\t\"), "
                  << (count == 0 ? QStringLiteral("nullptr") : QStringLiteral("fields_%1").arg(i)) << ", "
                  << count << "},\n";
        }
        m_out << "    };\n    return texts[index];\n}\n";
    }

    const Definition &m_definition;
    QTextStream &m_out;
    QVector<Message> m_texts;
    int m_index = 0;
};

template <typename Write>
QString write_file(const QString &path, Write write)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return path + QStringLiteral(": ") + file.errorString();
    QTextStream out(&file);
    out << "// Generated from the protocol's definition file. Do not edit.\n\n";
    write(out);
    out.flush();
    return file.commit() ? QString() : path + QStringLiteral(": ") + file.errorString();
}

} // namespace

QString write_sources(const Definition &definition, const QString &folder)
{
    if (!QDir().mkpath(folder))
        return QStringLiteral("cannot make the folder ") + folder;
    QString error;
    int first_index = 0;
    for (const MessageClass &c : definition) {
        const QString base = folder + QStringLiteral("/cls_ble_") + c.name;
        if (error.isEmpty())
            error = write_file(base + QStringLiteral(".h"), [&](QTextStream &out) { write_header(out, c); });
        if (error.isEmpty())
            error = write_file(base + QStringLiteral(".cpp"),
                               [&](QTextStream &out) { write_slots(out, c, first_index); });
        first_index += c.commands.size();
    }
    if (error.isEmpty())
        error = write_file(folder + QStringLiteral("/message_counts.h"),
                           [&](QTextStream &out) { write_counts(out, definition); });
    if (error.isEmpty())
        error = write_file(folder + QStringLiteral("/message_tables.cpp"),
                           [&](QTextStream &out) { TableWriter(definition, out).write(); });
    return error;
}
