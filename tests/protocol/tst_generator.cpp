// The build-time tool itself: same definition, same bytes; a faulty definition is refused.

#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run
{
    int exit_code = -1;
    QByteArray message;
};

Run generate(const QString &definition, const QString &folder)
{
    QProcess process;
    process.start(QStringLiteral(GENERATOR), {definition, folder});
    Run run;
    if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit)
        run.exit_code = process.exitCode();
    run.message = process.readAllStandardError();
    return run;
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

QByteArray definition_text()
{
    QFile file(QStringLiteral(DEFINITION_FILE));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class tst_Generator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameBytesAgain();
    void faultyDefinitions_data();
    void faultyDefinitions();
    void missingDefinition();
    void unwritableFolder();
};

void tst_Generator::sameBytesAgain()
{
    QTemporaryDir folder;
    const QString first = folder.filePath(QStringLiteral("first"));
    const QString second = folder.filePath(QStringLiteral("deeper/second"));
    QCOMPARE(generate(QStringLiteral(DEFINITION_FILE), first).exit_code, 0);
    QCOMPARE(generate(QStringLiteral(DEFINITION_FILE), second).exit_code, 0);
    QCOMPARE(contents(first).size(), 22);
    QVERIFY(contents(first) == contents(second));
    // Over what is already there, too.
    QCOMPARE(generate(QStringLiteral(DEFINITION_FILE), first).exit_code, 0);
    QVERIFY(contents(first) == contents(second));
}

void tst_Generator::faultyDefinitions_data()
{
    QTest::addColumn<QByteArray>("was");
    QTest::addColumn<QByteArray>("becomes");
    QTest::addColumn<QByteArray>("complaint");
    const auto row = [](const char *title, const char *was, const char *becomes, const char *complaint) {
        QTest::newRow(title) << QByteArray(was) << QByteArray(becomes) << QByteArray(complaint);
    };
    row("unknown type", R"(type="uint16" name="address")", R"(type="uint17" name="address")", "unknown type");
    row("field behind an array", R"(<param type="uint32" name="address"/>)",
        R"(<param type="uint8array" name="address"/>)", "behind an array");
    row("wrong index", R"(index="3" name="reg_write")", R"(index="4" name="reg_write")", "index 3");
    row("no index", R"(index="0" name="reset")", R"(name="reset")", "index 0");
    row("result of 8 bits", R"(type="uint8" name="maxconn")", R"(type="uint8" show="result" name="maxconn")",
        "16 bits");
    row("name of a table", R"(name="endpoint_names")", R"(name="endpoint")", "_names");
    row("value that is no number", R"(name="endpoint_test" value="1")", R"(name="endpoint_test" value="one")",
        "value");
    row("name of a message", R"(name="reg_write")", R"(name="reg write")", "name");
    row("empty name of a field", R"(name="boot_in_dfu")", R"(name="")", "name");
    row("nine fields", R"(<param type="uint8" name="bonding"/>)",
        R"(<param type="uint8" name="bonding"/><param type="uint8" name="ninth"/>)", "eight");
    row("not XML", "</api>", "", "");
    row("another shape", "class", "section", "class");
}

void tst_Generator::faultyDefinitions()
{
    QFETCH(QByteArray, was);
    QFETCH(QByteArray, becomes);
    QFETCH(QByteArray, complaint);
    QByteArray text = definition_text();
    QVERIFY(text.contains(was));
    text.replace(was, becomes);

    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("faulty.xml"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
    file.close();
    const QString out = folder.filePath(QStringLiteral("out"));
    const Run run = generate(path, out);
    QVERIFY2(run.exit_code > 0, run.message.constData());
    QVERIFY2(run.message.contains(complaint), run.message.constData());
    QVERIFY(contents(out).isEmpty());
}

void tst_Generator::missingDefinition()
{
    QTemporaryDir folder;
    const Run run =
        generate(folder.filePath(QStringLiteral("none.xml")), folder.filePath(QStringLiteral("out")));
    QVERIFY(run.exit_code > 0);
    QVERIFY(run.message.contains("none.xml"));
}

void tst_Generator::unwritableFolder()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("file"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    const Run run = generate(QStringLiteral(DEFINITION_FILE), path);
    QVERIFY(run.exit_code > 0);
    QVERIFY(!run.message.isEmpty());
}

QTEST_GUILESS_MAIN(tst_Generator)
#include "tst_generator.moc"
