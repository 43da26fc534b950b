#include "logview_fixture.h"

#include <QClipboard>
#include <QMimeData>
#include <QRandomGenerator>
#include <QTextDocument>

class TestFlowChart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void chart_data()
    {
        QTest::addColumn<QStringList>("line");
        QTest::addColumn<QString>("chart");
        const auto row = [](const char *name, const QStringList &line, const char *chart) {
            QTest::newRow(name) << line << QString::fromUtf8(chart);
        };
        row("command", {"ble_cmd_system_hello\t"_s}, "A -> B: ble_cmd_system_hello\t\n\n");
        row("response", {"ble_rsp_system_hello\t"_s}, "B -> A: ble_rsp_system_hello\t\n\n");
        row("event, its name up to a blank", {"ble_evt_system_boot <b> x"_s},
            "B -> A: ble_evt_system_boot\n\n");
        row("parameters", {"ble_rsp_x\t"_s, " connection:       0 (0x00)"_s, " data:"_s},
            "B -> A: ble_rsp_x\t\nnote right of A:\n   connection: 0 (0x00)\n   data:\nend note\n\n");
        row("markup",
            {"ble_cmd_<b>\t"_s, " result:0x0182 [<font color=red>'Device&#39;s'</font>]"_s,
             "&lt;a&gt;<br>b"_s},
            "A -> B: ble_cmd_<b>\t\nnote right of A:\n   result:0x0182 ['Device's']\n  <a>\nb\nend note\n\n");
        row("no message", {" ble_cmd_x\t"_s, " a"_s}, "");
        row("other letters", {"BLE_CMD_x\t"_s}, "");
        row("no name", {}, "");
    }

    void chart()
    {
        QFETCH(QStringList, line);
        QFETCH(QString, chart);
        LogView view;
        view.addLine("<b>10:00</b> "_s, "RX: ble_cmd_"_s); // of the other shape
        view.addLine("<b>10:01</b> "_s, line);
        const QList<QStringList> before = view.line_store;
        view.copyFlowChart();
        const QMimeData *const data = QApplication::clipboard()->mimeData();
        QCOMPARE(data->text(), chart);
        QVERIFY(!data->hasHtml());
        QCOMPARE(view.line_store, before);
        view.clearLog();
        view.copyFlowChart();
        QCOMPARE(QApplication::clipboard()->text(), QString());
    }

    // Most parameters go past the document; they read as if they had not.
    void parametersReadAsInADocument()
    {
        LogView view;
        QString expected;
        QRandomGenerator random(1);
        const QString letters = "   abc0(:)<&;>\t\n\u00a0\u4e2d"_s;
        for (int i = 0; i < 3000; ++i) {
            QString parameter;
            for (int size = int(random.bounded(8)); size > 0; --size)
                parameter += letters[int(random.bounded(letters.size()))];
            view.addLine(stamp(i), {"ble_cmd_x"_s, parameter});
            QTextDocument document;
            document.setHtml(parameter);
            const QString blank = parameter.startsWith(QLatin1Char(' ')) ? " "_s : QString();
            expected += "A -> B: ble_cmd_x\nnote right of A:\n  %1\nend note\n\n"_s.arg(
                blank + document.toPlainText());
        }
        view.copyFlowChart();
        QCOMPARE(QApplication::clipboard()->text(), expected);
    }
};

QTEST_MAIN(TestFlowChart)
#include "tst_flowchart.moc"
