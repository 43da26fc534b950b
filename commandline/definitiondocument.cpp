#include "commandline/definitiondocument.h"

#include <QRegularExpression>
#include <QTextCodec>
#include <QXmlStreamReader>

#include <optional>

namespace {

// The DOM frees itself by recursion, so the depth of the document is a depth of stack.
constexpr int max_depth = 1000;
// Of attributes with each other, in all tags: the reader compares every attribute of a tag with all others.
constexpr qint64 max_comparisons = 1'000'000'000;
// A node takes about 400 bytes, and 100 MB of ordinary definitions have 7 million.
constexpr qint64 max_nodes = 12'000'000;
// Declared entities and default attributes multiply the text, and only the small file gets to use them.
constexpr int max_text_with_declarations = 128 * 1024;
constexpr qint64 max_expansion = 4LL * 1024 * 1024;
// What an element and an attribute take at least as written.
constexpr qint64 markup_size = 4;

std::optional<QString> decoded(const QByteArray &content)
{
    const QTextCodec *codec = QTextCodec::codecForUtfText(content, nullptr);
    if (!codec) {
        static const QRegularExpression declaration(
            QStringLiteral(R"re(^<\?xml[^>]*\sencoding\s*=\s*["']([A-Za-z0-9._:-]+)["'])re"));
        const auto match = declaration.match(QString::fromLatin1(content.left(256)));
        codec = QTextCodec::codecForName(match.hasMatch() ? match.captured(1).toLatin1() : "UTF-8");
    }
    if (!codec)
        return std::nullopt;
    QTextCodec::ConverterState state;
    QString text = codec->toUnicode(content.constData(), content.size(), &state);
    if (state.invalidChars > 0 || state.remainingChars > 0)
        return std::nullopt;
    return text;
}

// The end of the comment, section or instruction that begins at `at`; -1 if it has none.
int end_of_section(const QString &text, int at)
{
    static const struct
    {
        QLatin1String begin, end;
    } sections[] = {{QLatin1String("<!--"), QLatin1String("-->")},
                    {QLatin1String("<![CDATA["), QLatin1String("]]>")},
                    {QLatin1String("<!DOCTYPE"), QLatin1String(">")},
                    {QLatin1String("<?"), QLatin1String("?>")}};
    for (const auto &section : sections) {
        if (text.midRef(at).startsWith(section.begin))
            return text.indexOf(section.end, at + section.begin.size());
    }
    return -1;
}

// False if the attributes of the tags are too many for the reader. Ill-formed text need not be understood, as
// the reader stops at its beginning.
bool has_small_tags(const QString &text)
{
    qint64 comparisons = 0;
    int at = 0;
    while ((at = text.indexOf(u'<', at)) >= 0) {
        const QChar kind = at + 1 < text.size() ? text.at(at + 1) : QChar();
        if (kind == u'!' || kind == u'?') {
            at = end_of_section(text, at);
            if (at < 0)
                return true;
            continue;
        }
        qint64 attributes = 0;
        for (; at < text.size() && text.at(at) != u'>'; ++at) {
            const QChar c = text.at(at);
            if (c != u'"' && c != u'\'')
                continue;
            comparisons += attributes++;
            if (comparisons > max_comparisons)
                return false;
            at = text.indexOf(c, at + 1);
            if (at < 0)
                return true;
        }
    }
    return true;
}

void start_reading(QXmlStreamReader &reader, const QString &text)
{
    reader.setNamespaceProcessing(false);
    reader.addData(text);
}

// True if the text is well-formed and its document, with all that it expands to, is within the bounds.
bool is_affordable(const QString &text)
{
    QXmlStreamReader reader;
    start_reading(reader, text);
    int depth = 0;
    qint64 nodes = 0;
    qint64 characters = 0;
    qint64 comparisons = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement: {
            const QXmlStreamAttributes attributes = reader.attributes();
            comparisons += qint64(attributes.size()) * attributes.size() / 2;
            if (++depth > max_depth || comparisons > max_comparisons)
                return false;
            nodes += attributes.size();
            characters += markup_size * (1 + attributes.size());
            for (const QXmlStreamAttribute &attribute : attributes)
                characters += attribute.value().size();
            break;
        }
        case QXmlStreamReader::EndElement: --depth; continue;
        default: break;
        }
        ++nodes;
        characters += reader.text().size();
        if (nodes > max_nodes || characters > text.size() + max_expansion)
            return false;
    }
    return !reader.hasError();
}

} // namespace

bool parse_document(const QByteArray &content, QDomDocument &document)
{
    const std::optional<QString> text = decoded(content);
    if (!text)
        return false;
    static const QRegularExpression declarations(QStringLiteral("<!DOCTYPE[^>\\[]*\\["));
    if (text->contains(declarations) ? text->size() > max_text_with_declarations : !has_small_tags(*text))
        return false;
    if (!is_affordable(*text))
        return false;

    QXmlStreamReader reader;
    start_reading(reader, *text);
    QDomDocument parsed;
    if (!parsed.setContent(&reader, false))
        return false;
    document = parsed;
    return true;
}
