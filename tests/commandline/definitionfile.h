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
