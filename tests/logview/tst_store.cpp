#include "logview_fixture.h"

#include <QApplication>
#include <QClipboard>
#include <QMimeData>

using Entries = QList<QStringList>;
Q_DECLARE_METATYPE(Entries)

class TestStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void entryShapes();
    void storesWithoutAnEventLoop();
    void copyForms_data();
    void copyForms();
    void copyGoesOnOverPortions();
    void clearEmptiesTheStore();
};

void TestStore::entryShapes()
{
    LogView view;
    view.addLine(QStringLiteral("<b>t1</b> "), QStringLiteral("TX: 00000001"));
    view.addLine(QStringLiteral("<b>t2</b> "),
                 QStringList{QStringLiteral("ble_rsp_system_hello\t"), QStringLiteral(" a <i>b</i>")});
    view.addLine(QStringLiteral("<b>t3</b> "), QStringList());
    view.addLine(QString(), QString());

    const Entries expected{{QStringLiteral("<b>t1</b> TX: 00000001<br>")},
                           {QStringLiteral("<b>t2</b> "), QStringLiteral("ble_rsp_system_hello\t"),
                            QStringLiteral(" a <i>b</i>")},
                           {QStringLiteral("<b>t3</b> ")},
                           {QStringLiteral("<br>")}};
    QCOMPARE(view.line_store, expected);
    QVERIFY(view.auto_scroll);
}

void TestStore::storesWithoutAnEventLoop()
{
    LogView view;
    const QStringList pieces{QStringLiteral("ble_evt_system_boot\t")};
    for (const char *slot : {"1addLine(QString,QString)", "1addLine(QString,QStringList)",
                             "1updateScene(QList<QRectF>)", "1scroll(bool)", "1copy()"})
        QVERIFY2(view.metaObject()->indexOfSlot(slot + 1) >= view.metaObject()->methodOffset(), slot);
    QVERIFY(QMetaObject::invokeMethod(&view, "addLine", Q_ARG(QString, QStringLiteral("t ")),
                                      Q_ARG(QStringList, pieces)));
    QCOMPARE(view.line_store, (Entries{{QStringLiteral("t "), QStringLiteral("ble_evt_system_boot\t")}}));
}

void TestStore::copyForms_data()
{
    QTest::addColumn<Entries>(
        "lines"); // one piece: QString form; none or more: QStringList form after a mark
    QTest::addColumn<QString>("html");
    QTest::addColumn<QString>("text");

    const QString list_form = QStringLiteral("list");
    const QString hello = QStringLiteral("Hello");
    const QString prefix = QStringLiteral("ble_rsp_x\t");
    const QString result = QStringLiteral(" result:0x0000 [<font color=green>'No Error'</font>]");

    QTest::newRow("empty log") << Entries{} << QString() << QString();
    QTest::newRow("string form") << Entries{{hello}, {hello}}
                                 << QStringLiteral("<b>t</b> Hello<br><br /><b>t</b> Hello<br><br />")
                                 << QStringLiteral("t Hello\n\nt Hello\n\n");
    QTest::newRow("list form")
        << Entries{{list_form, prefix, result}, {list_form, prefix}}
        << QStringLiteral("<b>t</b>  ble_rsp_x\t  result:0x0000 [<font color=green>'No Error'</font>]<br />"
                          "<b>t</b>  ble_rsp_x\t<br />")
        << QStringLiteral("t ble_rsp_x result:0x0000 ['No Error']\nt ble_rsp_x \n");
    QTest::newRow("empty list") << Entries{{list_form}} << QStringLiteral("<b>t</b> <br />")
                                << QStringLiteral("t \n");
    QTest::newRow("mixed")
        << Entries{{hello}, {list_form, prefix}, {hello}}
        << QStringLiteral("<b>t</b> Hello<br><br /><b>t</b>  ble_rsp_x\t<br /><b>t</b> Hello<br><br />")
        << QStringLiteral("t Hello\n\nt ble_rsp_x \nt Hello\n\n");
    QTest::newRow("entities and an element left open")
        << Entries{{QStringLiteral("&lt;a&gt; &amp; <i>")}, {hello}}
        << QStringLiteral("<b>t</b> &lt;a&gt; &amp; <i><br><br /><b>t</b> Hello<br><br />")
        << QStringLiteral("t <a> & \n\nt Hello\n\n");
}

void TestStore::copyForms()
{
    QFETCH(Entries, lines);
    LogView view;
    const QString timestamp = QStringLiteral("<b>t</b> ");
    for (const QStringList &line : qAsConst(lines)) {
        if (line.first() == QLatin1String("list"))
            view.addLine(timestamp, line.mid(1));
        else
            view.addLine(timestamp, line.first());
    }

    QApplication::clipboard()->setText(QStringLiteral("before"));
    view.copy();
    const QMimeData *mime = QApplication::clipboard()->mimeData();
    QTEST(mime->html(), "html");
    QTEST(mime->text(), "text");
    QVERIFY(mime->hasHtml());
}

void TestStore::copyGoesOnOverPortions()
{
    LogView view;
    const QString field(100'000, QLatin1Char('f'));
    QString expected;
    for (int i = 0; i < 40; ++i) {
        view.addLine(stamp(i), QStringList{field});
        expected += QStringLiteral("2026.01.02 03:04:05.0%1 ").arg(i, 2, 10, QLatin1Char('0')) + field +
                    QLatin1Char('\n');
    }
    view.copy();
    QVERIFY(QApplication::clipboard()->text() == expected);
    QCOMPARE(QApplication::clipboard()->mimeData()->html().count(QStringLiteral("<br />")), 40);
}

void TestStore::clearEmptiesTheStore()
{
    LogView view;
    view.scroll(false);
    add_lines(view, 3);
    const QPointer<QGraphicsScene> before = view.scene;
    view.clearLog();
    QVERIFY(before.isNull());
    QVERIFY(view.line_store.isEmpty());
    QVERIFY(!view.auto_scroll);
    view.copy();
    QCOMPARE(QApplication::clipboard()->text(), QString());
}

QTEST_MAIN(TestStore)
#include "tst_store.moc"
