#include "widgets/pacedlabel.h"

#include <QElapsedTimer>
#include <QtTest>

namespace {

struct Watched : PacedLabel
{
    void paintEvent(QPaintEvent *event) override
    {
        PacedLabel::paintEvent(event);
        painted += text();
    }
    QStringList painted;
};

} // namespace

class TestPacedLabel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void paintsAreFewAndTheLastTextIsSeen()
    {
        Watched label;
        label.show();
        QVERIFY(QTest::qWaitForWindowExposed(&label));
        label.painted.clear();
        QElapsedTimer clock;
        clock.start();
        int count = 0;
        while (clock.elapsed() < 300) {
            label.setText(QString::number(++count));
            QCoreApplication::processEvents();
        }
        const qint64 paints = label.painted.size();
        QVERIFY2(paints >= 2 && paints <= clock.elapsed() / 20 + 2 && paints < count,
                 qPrintable(QString::number(paints)));
        QTRY_COMPARE(label.painted.last(), QString::number(count));
        label.setText(QStringLiteral("last"));
        QTRY_COMPARE(label.painted.last(), QStringLiteral("last"));
    }
};

QTEST_MAIN(TestPacedLabel)
#include "tst_pacedlabel.moc"
