// The build-time tool itself: same definition, same bytes; a faulty definition is refused.

#include "tests/protocol/catalogue.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

// The exit code, or -1, and the complaint.
std::pair<int, QByteArray> generate(const QString &definition, const QString &folder)
{
    QProcess process;
    process.start(QStringLiteral(GENERATOR), {definition, folder});
    const bool ended = process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit;
    return {ended ? process.exitCode() : -1, process.readAllStandardError()};
}

QMap<QString, QByteArray> contents(const QString &folder)
{
    QMap<QString, QByteArray> files;
    for (const QString &name : QDir(folder).entryList(QDir::Files)) {
        QFile file(folder + QLatin1Char('/') + name);
        if (file.open(QIODevice::ReadOnly))
            files.insert(name, file.readAll());
    }
    return files;
}

} // namespace

class tst_Generator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameBytesAgain()
    {
        QTemporaryDir folder;
        const QString first = folder.filePath(QStringLiteral("first"));
        const QString second = folder.filePath(QStringLiteral("deeper/second"));
        QCOMPARE(generate(QStringLiteral(DEFINITION_FILE), first).first, 0);
        QCOMPARE(generate(QStringLiteral(DEFINITION_FILE), second).first, 0);
        QCOMPARE(contents(first).size(), 22);
        QVERIFY(contents(first) == contents(second));
        // Over what is already there, too.
        QCOMPARE(generate(QStringLiteral(DEFINITION_FILE), first).first, 0);
        QVERIFY(contents(first) == contents(second));
    }

    void faultyDefinitions()
    {
        QFile source(QStringLiteral(DEFINITION_FILE));
        QVERIFY(source.open(QIODevice::ReadOnly));
        const QByteArray good = source.readAll();
        for (const QStringList &row : catalogue::rows("faults.txt", 4)) {
            const QByteArray was = row.at(1).toLatin1();
            QVERIFY2(good.contains(was), was.constData());
            const QTemporaryDir folder;
            QFile file(folder.filePath(QStringLiteral("faulty.xml")));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(good).replace(was, row.at(2).toLatin1()));
            file.close();
            const QString out = folder.filePath(QStringLiteral("out"));
            const auto [code, message] = generate(file.fileName(), out);
            QVERIFY2(code > 0 && message.contains(row.at(3).toLatin1()), qPrintable(row.at(0)));
            QVERIFY(contents(out).isEmpty());
        }
    }

    void badPaths()
    {
        QTemporaryDir folder;
        const auto [code, message] = generate(folder.filePath(QStringLiteral("none.xml")), folder.path());
        QVERIFY2(code > 0 && message.contains("none.xml"), message.constData());
        // A file where the folder should be.
        const auto [other_code, other_message] =
            generate(QStringLiteral(DEFINITION_FILE), QStringLiteral(DEFINITION_FILE));
        QVERIFY2(other_code > 0 && !other_message.isEmpty(), other_message.constData());
    }
};

QTEST_GUILESS_MAIN(tst_Generator)
#include "tst_generator.moc"
