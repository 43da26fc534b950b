#pragma once

#include <QtTest>

// The chains of a table: "== " and a name, and below it the steps, a line each.
inline void addChains(const char *path)
{
    QTest::addColumn<QByteArrayList>("steps");
    QFile table(QString::fromLatin1(path));
    QVERIFY(table.open(QIODevice::ReadOnly));
    const QByteArrayList chains = table.readAll().replace("\n== ", "\x01").split('\x01').mid(1);
    QVERIFY(!chains.isEmpty());
    for (const QByteArray &chain : chains) {
        const QByteArrayList lines = chain.trimmed().split('\n');
        QTest::newRow(lines.at(0).constData()) << lines.mid(1);
    }
}
