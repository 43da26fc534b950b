#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

/// A definition file of literal content, there for as long as this object.
class DefinitionFile
{
public:
    explicit DefinitionFile(const QByteArray &content)
    {
        QFile file(path());
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("no definition file at %s", qPrintable(path()));
    }

    QString path() const { return m_directory.filePath(QStringLiteral("definitions.xml")); }

private:
    QTemporaryDir m_directory;
};

/// The path of a file beside the tests, or of the real definition file.
inline QString data_file(const QByteArray &name)
{
    return name == "bleapi.xml" ? QStringLiteral(VORSEL_DEFINITION_FILE)
                                : QStringLiteral(TEST_DATA "/") + QString::fromLatin1(name);
}
