#pragma once

#include <QByteArray>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>

#include <ctime>

// A definition file of literal content, there for as long as this object.
class DefinitionFile
{
public:
    explicit DefinitionFile(const QByteArray &content)
    {
        QFile file(path());
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("no definition file at %s", qPrintable(path()));
    }

    QString path() const { return directory.filePath(QStringLiteral("definitions.xml")); }

private:
    QTemporaryDir directory;
};

// The path of a file beside the tests, or of the real definition file.
inline QString dataFile(const QByteArray &name)
{
    return name == "bleapi.xml" ? QStringLiteral(VORSEL_DEFINITION_FILE)
                                : QStringLiteral(TEST_DATA "/") + QString::fromLatin1(name);
}

// The lines of a table beside the tests. "{3:ab}" stands for "ababab", "@" in there for the number of the
// repetition, and "\t" and "\uXXXX" for characters.
inline QStringList tableLines(const QByteArray &name)
{
    QFile file(dataFile(name));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        qFatal("no table %s", name.constData());
    const auto decoded = [](QString text) {
        const QRegularExpression escape(QStringLiteral("\\\\u([0-9a-f]{4})"));
        for (auto match = escape.match(text); match.hasMatch(); match = escape.match(text))
            text.replace(match.captured(), QChar(match.captured(1).toUShort(nullptr, 16)));
        return text.replace(QLatin1String("\\t"), QLatin1String("\t"));
    };
    QStringList lines = QString::fromUtf8(file.readAll()).chopped(1).split(u'\n');
    for (QString &line : lines) {
        const QStringList parts = line.split(u'{');
        line = decoded(parts.first());
        for (const QString &part : parts.mid(1)) {
            const int count = part.section(u':', 0, 0).toInt();
            const QString piece = decoded(part.section(u'}', 0, 0).section(u':', 1));
            const bool isNumbered = piece.contains(u'@');
            line += isNumbered ? QString() : piece.repeated(count);
            for (int i = 0; i < count && isNumbered; ++i)
                line += QString(piece).replace(u'@', QString::number(i));
            line += decoded(part.section(u'}', 1));
        }
    }
    return lines;
}

// Milliseconds of processor time, since a busy machine makes the clock on the wall say nothing.
template <typename Work>
int millisecondsOf(const Work &work)
{
    const std::clock_t start = std::clock();
    work();
    return int((std::clock() - start) * 1000 / CLOCKS_PER_SEC);
}
