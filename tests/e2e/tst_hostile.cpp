// What neighbours, outside tools and a foreign definition file say is shown as they say it: nothing of it is
// rendered, loaded from disk or run.

#include "tests/e2e/remote_fixture.h"

#include <QTextDocument>

namespace {

// The length of an element of advertising data counts its type and is read as a signed byte.
constexpr int maxShownBytes = 126;
constexpr int maxFrameBytes = 242; // in a frame of 255 bytes payload

} // namespace

class TestHostile : public RemoteFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void remoteName_data();
    void remoteName();
    void outsideTool();
    void definitionFile();

private:
    QString file(const char *name) { return folder.filePath(QLatin1String(name)); }
    void advertise(const QByteArray &name);

    QTemporaryDir folder;
};

void TestHostile::initTestCase()
{
    RemoteFixture::initTestCase();
    QImage picture(40, 40, QImage::Format_RGB32);
    picture.fill(Qt::magenta);
    QVERIFY(picture.save(file("magenta.png")));
}

void TestHostile::remoteName_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("seen");
    const auto add = [](const char *row, const QByteArray &name, const QString &seen = {}) {
        QTest::newRow(row) << name << (seen.isEmpty() ? QString::fromUtf8(name) : seen);
    };
    add("picture", "<img src=\"file://" + file("magenta.png").toUtf8() + "\">");
    add("link", "<a href=\"file:///etc/passwd\">x</a>");
    add("style", "<style>* { color: red }</style><table width=9999><tr><td>x");
    add("override", "a\u202egnp.exe\u202c", "a\ufffdgnp.exe\ufffd"_s);
    add("isolate", "\u2067abc\u2069", "\ufffdabc\ufffd"_s);
    add("controls", QByteArray("a\0b\x1b[31mc\b\x7f\u0085", 13),
        "a\ufffdb\ufffd[31mc\ufffd\ufffd \u00a0"_s.trimmed());
    add("lines", "a\r\n\n\u2028\u2029\tb", "a b"_s);
    add("right to left", "\u05d0\u05d1\u200f 1");
    add("stacked marks", "a" + QByteArray("\u0301").repeated(60));
    add("not UTF-8", "\xff\xfe\xc3");
    add("longest", QByteArray("W").repeated(maxShownBytes));
    add("too long", QByteArray("W").repeated(maxShownBytes + 1), "plain"_s);
    add("longest on the wire", QByteArray("W").repeated(maxFrameBytes), "plain"_s);
}

void TestHostile::advertise(const QByteArray &name)
{
    const QByteArray data = char(name.size() + 1) + QByteArray("\t") + name;
    const QByteArray payload = QByteArray::fromHex("ce00010203040506 00ff") + char(data.size()) + data;
    module.control("send-hex 80" + QByteArray(1, char(payload.size())).toHex() + "0600" + payload.toHex());
    QTRY_VERIFY_WITH_TIMEOUT(logged(QString::fromLatin1(name.toHex())), answerMs);
    QCoreApplication::processEvents();
}

// The label has the name as it was sent, shows it as an ordinary label would, and on its own place alone.
void TestHostile::remoteName()
{
    QFETCH(QByteArray, name);
    QFETCH(QString, seen);
    start();
    QTRY_VERIFY_WITH_TIMEOUT(onWire("-- attached"), answerMs); // before that the module has nobody to tell
    advertise("plain");
    const Panel panel(*window, "plain"_s);
    QVERIFY(panel.exists());
    auto *const label = panel.find<QLabel>("address");
    const auto *const neighbour = panel.find<QLabel>("rssi");
    const QRect own = label->geometry(), beside = neighbour->geometry();
    advertise(name);
    const QString sent = QString::fromUtf8(name.constData(), name.size()); // with zero bytes
    QCOMPARE(label->text(), name.size() > maxShownBytes ? seen : sent);
    QCOMPARE(label->geometry(), own);
    QCOMPARE(neighbour->geometry(), beside);
    QLabel ordinary(label->parentWidget());
    ordinary.setTextFormat(Qt::PlainText);
    ordinary.setText(label->fontMetrics().elidedText(seen, Qt::ElideRight, own.width()));
    ordinary.setAlignment(Qt::AlignLeft | Qt::AlignAbsolute | Qt::AlignVCenter);
    ordinary.setLayoutDirection(seen.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    ordinary.resize(own.size());
    QVERIFY(label->grab().toImage() == ordinary.grab().toImage());
    QVERIFY(!logged("<"_s));
}

void TestHostile::outsideTool()
{
    start();
    play("actionDFU;open DFUDialog;tabWidget=0;lineVID=<b>"_s);
    const QString hostile = "<img src=file://%1><b>b</b><a href=x>\u202e"_s.arg(file("magenta.png"));
    find<QLineEdit>("fileEditUSB"_s)->setText(hostile);
    play("pushButton_2;outputTextUSB~Finished"_s);
    QVERIFY(text("outputTextUSB").contains("[<b>:FFFE] ["_s + hostile + u']'));
}

// The names of the file are in tooltips, which are HTML.
void TestHostile::definitionFile()
{
    const QString here = QDir::currentPath();
    QVERIFY(QDir(folder.path()).mkpath("api"_s) && QDir(folder.path()).mkpath("cwd"_s));
    const QString picture = "<img src='%1'>"_s.arg(file("magenta.png"));
    QFile definitions(file("api/bleapi.xml"));
    QVERIFY(definitions.open(QIODevice::WriteOnly));
    const QString names = "<api device_name=\"%1\"><class name=\"%2\"><command name=\"d\">"
                          "<params><param name=\"%1\"/></params></command></class></api>"_s;
    definitions.write(names.arg(picture.toHtmlEscaped(), "&lt;b>c"_s).toUtf8());
    definitions.close();
    QDir::setCurrent(file("cwd"));
    Window other;
    QDir::setCurrent(here);
    QVERIFY(!other.log().join(u' ').contains(QLatin1String("file")));
    const QPair<const char *, QString> tips[] = {
        {"<b>c_d", "ble_cmd_<b>c_d "_s + picture + ":uint8\nCommand requires exactly 1 arguments"_s},
        {"0a00", "First byte must be correct device_id "_s + picture + "=0"_s},
        {"<b>c_<i>x", "Command '<i>x' not found in class '<b>c'"_s},
    };
    for (const auto &[line, tip] : tips) {
        other.type(line);
        QTextDocument shown;
        shown.setHtml(QToolTip::text());
        QCOMPARE(shown.toPlainText(), tip);
    }
}

QTEST_MAIN(TestHostile)
#include "tst_hostile.moc"
