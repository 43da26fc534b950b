#include "protocol/generator/writer.h"

#include <QDir>
#include <QSaveFile>
#include <QTextStream>

namespace {

const char *const headerStart = R"(#pragma once

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
QString keyType(const SymbolTable &table)
{
    return table.name.chopped(int(qstrlen("names"))) + QStringLiteral("value");
}

void writeHeader(QTextStream &out, const MessageClass &c)
{
    out << QString::fromLatin1(headerStart).arg(c.name);
    for (const SymbolTable &table : c.tables) {
        out << "\n    enum " << keyType(table) << " : uint32 {\n";
        for (const auto &value : table.values)
            out << "        " << value.first << " = " << value.second << ",\n";
        out << "    };\n    QHash<" << keyType(table) << ", QString> " << table.name << ";\n";
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

void writeSlots(QTextStream &out, const MessageClass &c, int firstIndex)
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
            << ") { send_command(ble, " << firstIndex + i;
        for (const Field &field : message.fields)
            out << ", " << field.name;
        out << "); }\n";
    }
}

void writeCounts(QTextStream &out, const Definition &definition)
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
    TableWriter(const Definition &messages, QTextStream &stream)
        : definition(messages)
        , out(stream)
    {
    }

    void write()
    {
        out << "#include \"protocol/message_templates.h\"\n\n";
        out << "const message_record message_records[record_count + 1] = {\n";
        records("cmd", 0x00, &MessageClass::commands);
        const int firstResponse = index;
        records("rsp", 0x00, &MessageClass::responses);
        const int firstEvent = index;
        records("evt", 0x80, &MessageClass::events);
        out << "    {{0, 0, 0, 0}, 0, nullptr},\n};\n\nnamespace {\n";
        rows("response", firstResponse, &MessageClass::responses);
        rows("event", firstEvent, &MessageClass::events);
        out << "\n} // namespace\n";
        indexTable("response", &MessageClass::responses);
        indexTable("event", &MessageClass::events);
        texts();
    }

private:
    using Messages = QVector<Message> MessageClass::*;

    void records(const char *kind, int firstByte, Messages messages)
    {
        for (int c = 0; c < definition.size(); ++c) {
            const MessageClass &messageClass = definition.at(c);
            for (int id = 0; id < (messageClass.*messages).size(); ++id, ++index) {
                const Message &message = (messageClass.*messages).at(id);
                int length = 0;
                unsigned types = 0;
                int shift = 0;
                for (const Field &field : message.fields) {
                    length += field.type->size;
                    types |= field.type->code << shift;
                    shift += 4;
                }
                out << "    {{" << firstByte << ", " << length << ", " << c << ", " << id << "}, 0x"
                    << QString::number(types, 16) << "u, " << handler(kind, messageClass.name, message)
                    << "},\n";
                messageTexts.append(
                    {QStringLiteral("ble_%1_%2_%3").arg(QLatin1String(kind), messageClass.name, message.name),
                     message.fields});
            }
        }
    }

    QString handler(const char *kind, const QString &className, const Message &message) const
    {
        if (qstrcmp(kind, "cmd") == 0)
            return QStringLiteral("[](cls_ble *, const message_payload &) {}");
        return QStringLiteral("receive<%1, &cls_ble::%2, &cls_ble_%2::%3_%4>")
            .arg(QString::number(index), className, QLatin1String(kind), message.name);
    }

    void rows(const char *kind, int first, Messages messages)
    {
        for (const MessageClass &c : definition) {
            if ((c.*messages).isEmpty())
                continue;
            out << "\nconst message_record *const " << c.name << '_' << kind << "s[] = {\n";
            for (int i = 0; i < (c.*messages).size(); ++i)
                out << "    &message_records[" << first++ << "],\n";
            out << "};\n";
        }
    }

    void indexTable(const char *kind, Messages messages)
    {
        out << "\nconst record_row " << kind << "_table[class_count] = {\n";
        for (const MessageClass &c : definition) {
            const int count = (c.*messages).size();
            if (count == 0)
                out << "    {nullptr, 0},\n";
            else
                out << "    {" << c.name << '_' << kind << "s, " << count << "},\n";
        }
        out << "};\n";
    }

    void texts()
    {
        out << "\nnamespace {\n\n";
        for (int i = 0; i < messageTexts.size(); ++i) {
            if (messageTexts.at(i).fields.isEmpty())
                continue;
            out << "const field_text fields_" << i << "[] = {";
            for (const Field &field : messageTexts.at(i).fields)
                out << "{u\" " << field.name << ":\", " << (field.isResult ? "true" : "false") << "}, ";
            out << "};\n";
        }
        out << "\n} // namespace\n\nconst message_text &message_text_at(int index)\n{\n"
               "    static const message_text texts[record_count] = {\n";
        for (int i = 0; i < messageTexts.size(); ++i) {
            const int count = messageTexts.at(i).fields.size();
            out << "        {QStringLiteral(\"" << messageTexts.at(i).name << "\\t\"), "
                << (count == 0 ? QStringLiteral("nullptr") : QStringLiteral("fields_%1").arg(i)) << ", "
                << count << "},\n";
        }
        out << "    };\n    return texts[index];\n}\n";
    }

    const Definition &definition;
    QTextStream &out;
    QVector<Message> messageTexts;
    int index = 0;
};

template <typename Write>
QString writeFile(const QString &path, Write write)
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

QString writeSources(const Definition &definition, const QString &folder)
{
    if (!QDir().mkpath(folder))
        return QStringLiteral("cannot make the folder ") + folder;
    QString error;
    int firstIndex = 0;
    for (const MessageClass &c : definition) {
        const QString base = folder + QStringLiteral("/cls_ble_") + c.name;
        if (error.isEmpty())
            error = writeFile(base + QStringLiteral(".h"), [&](QTextStream &out) { writeHeader(out, c); });
        if (error.isEmpty())
            error = writeFile(base + QStringLiteral(".cpp"),
                              [&](QTextStream &out) { writeSlots(out, c, firstIndex); });
        firstIndex += c.commands.size();
    }
    if (error.isEmpty())
        error = writeFile(folder + QStringLiteral("/message_counts.h"),
                          [&](QTextStream &out) { writeCounts(out, definition); });
    if (error.isEmpty())
        error = writeFile(folder + QStringLiteral("/message_tables.cpp"),
                          [&](QTextStream &out) { TableWriter(definition, out).write(); });
    return error;
}
