#include "commandline/definitiondocument.h"

#include <QRegularExpression>
#include <QTextCodec>
#include <QXmlStreamReader>

#include <optional>

namespace {

// QDomDocument frees its nodes by recursion.
constexpr int maxDepth = 32;

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

// True if QXmlStreamReader would spend too long on `text`: it expands the entities of a document type, and
// compares each attribute of a tag with all others.
bool isExpensive(const QString &text)
{
    static const QRegularExpression skipped(
        QStringLiteral(R"(<!--.*?(-->|\z)|<!\[CDATA\[.*?(\]\]>|\z)|<\?.*?(\?>|\z))"),
        QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression over100Attributes(
        QStringLiteral(R"re(<[^<>"']*+(?:(?:"[^<"]*+"|'[^<']*+')[^<>"']*+){101})re"));
    const QString tags = QString(text).remove(skipped);
    return tags.contains(QLatin1String("<!DOCTYPE")) || tags.contains(over100Attributes);
}

bool isWellFormed(const QString &text)
{
    QXmlStreamReader reader(text);
    reader.setNamespaceProcessing(false);
    int depth = 0;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement() && ++depth > maxDepth)
            return false;
        if (reader.isEndElement())
            --depth;
    }
    return !reader.hasError();
}

} // namespace

bool parseDocument(const QByteArray &content, QDomDocument &document)
{
    std::optional<QString> text = decoded(content);
    if (!text || isExpensive(*text))
        return false;
    // QXmlStreamReader accepts no version but 1.0.
    static const QRegularExpression version(QStringLiteral(R"re(^<\?xml\s+version\s*=\s*["']\K[\w.:-]+)re"));
    text->replace(version, QStringLiteral("1.0"));
    if (!isWellFormed(*text))
        return false;

    QXmlStreamReader reader(*text);
    reader.setNamespaceProcessing(false);
    QDomDocument parsed;
    if (!parsed.setContent(&reader, false))
        return false;
    document = parsed;
    return true;
}
