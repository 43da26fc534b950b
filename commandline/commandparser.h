#pragma once

#include "commandline/apimodel.h"

#include <QDomDocument>
#include <QMap>
#include <QObject>

// Turns a typed line into the bytes of one command, by the names of a definition file or from hexadecimal.
class CommandParser : public QObject
{
    Q_OBJECT

public:
    explicit CommandParser(QObject *parent = nullptr);

    // Adds the content of the definition file at `path` to the model. 0 on success; -1, with the reason in
    // log_message and the model as it was, if the file cannot be opened, is over 1 MB or is not usable XML.
    int loadDefinitions(const QString &path);

    // The packet for `line`, or empty if it is none; `message`, given empty, then tells why or stays empty.
    // The message is HTML; that of a line that names a command begins with its signature.
    QByteArray parseLine(QString line, QString &message) const;

    QString device_name;
    int device_id = 0; // byte 0 of every packet
    QDomDocument document;
    QMap<QString, int> constants;
    QList<ApiClass> classes; // in file order, which is that of the class identifiers

Q_SIGNALS:
    void log_message(QString msg);

private:
    QByteArray parseNames(QString line, QString &message) const;
    QByteArray parseHex(QString line, QString &message) const;
};
