#pragma once

#include "tests/e2e/simulated_module.h"
#include "tests/support/remote.h"

#include <functional>
#include <memory>

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A test with a window attached to a module of its own, and remote devices around it.
class RemoteFixture : public QObject
{
    Q_OBJECT

protected Q_SLOTS:
    void initTestCase()
    {
        register_meta_types();
        QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
        QVERIFY(QDir().mkpath(QStringLiteral(VORSEL_PICTURES)));
    }

    void cleanup()
    {
        if (QTest::currentTestFailed()) {
            qWarning("the module's log ends with\n%s", module.output().right(4000).constData());
            const QStringList lines = window ? window->log() : QStringList();
            qWarning("the window's log ends with\n%s", qPrintable(lines.mid(lines.size() - 40).join(u'\n')));
        }
        place = nullptr;
        window.reset();
        module.stop();
    }

protected:
    void start(const QStringList &options = {})
    {
        QVERIFY(module.start(options));
        window = std::make_unique<Window>();
        window->attach();
    }

    void scanFor(const QString &name) { QVERIFY2(::scanFor(*window, name), qPrintable(name)); }

    void connectTo(const QString &name)
    {
        const Panel panel(*window, name);
        place = panel.widget();
        QVERIFY2(::connectTo(*window, name), qPrintable(name));
        QCOMPARE(panel.status(), "Connected handle:0x0"_s);
        QCOMPARE(panel.find<QPushButton>("pushConnect")->text(), "Disconnect"_s);
    }

    // The widget of that name at the place that is used, or else in the window.
    template <typename Widget = QWidget>
    Widget *find(const QString &name)
    {
        auto *found = place ? place->findChild<Widget *>(name) : nullptr;
        return found ? found : window->find<Widget>(qPrintable(name));
    }
    QString text(const char *name) { return shown(find(QLatin1String(name))); }

    void click(const QString &button) { window->click(find<QAbstractButton>(button)); }

    void press(const QString &shortcut)
    {
        QApplication::setActiveWindow(&window->widget()); // as there is no window manager to do it
        const auto key = uint(QKeySequence(shortcut)[0]);
        QTest::keyClick(&window->widget(), Qt::Key(key & ~Qt::KeyboardModifierMask),
                        Qt::KeyboardModifiers(key & Qt::KeyboardModifierMask));
    }

    void open(const QString &dialog)
    {
        place = window->widget().findChild<QDialog *>(dialog);
        QVERIFY(QTest::qWaitForWindowExposed(place));
        QApplication::setActiveWindow(place);
    }

    void close()
    {
        QTest::keyClick(place->focusWidget() ? place->focusWidget() : place, Qt::Key_Escape);
        QVERIFY(place->isHidden());
    }

    void picture(QWidget *widget, const QString &name)
    {
        QVERIFY(widget->grab().save(QStringLiteral(VORSEL_PICTURES "/%1.png").arg(name)));
    }

    // The rows of the table of steps that are this program's.
    static void rows(const char *program)
    {
        QTest::addColumn<QString>("steps");
        for (const QStringList &row : rowsOf(VORSEL_STEPS_TABLE, 3)) {
            if (row[0] == QLatin1String(program))
                QTest::newRow(qPrintable(row[1]))
                    << QString(row[2]).replace("\\t"_s, "\t"_s).replace("\\n"_s, "\n"_s);
        }
    }

    void playRow()
    {
        QFETCH(QString, steps);
        start();
        play(steps);
    }

    // Steps as the table of them has them, apart by ';'.
    void play(const QString &steps)
    {
        for (const QString &step : steps.split(u';')) {
            const QString name = step.section(QRegularExpression("[=?~!]"_s), 0, 0);
            if (name == step)
                playOne(step, step.section(u' ', 0, 0), step.section(u' ', 1));
            else
                playValue(name, step[name.size()], step.mid(name.size() + 1));
            if (QTest::currentTestFailed())
                QFAIL(qPrintable(step));
        }
    }

    // What the module wrote of its traffic, "<-" from the host and "->" to it.
    bool onWire(const QByteArray &text) { return module.output().contains(text); }
    bool logged(const QString &text) { return window->log().join(u'\n').contains(text); }

    SimulatedModule module;
    std::unique_ptr<Window> window;
    QWidget *place = nullptr; // the dialog or panel that is used

private:
    void playOne(const QString &step, const QString &word, const QString &rest)
    {
        const int count = rest.section(u' ', 0, 0).toInt();
        const QString counted = rest.section(u' ', 1);
        const QByteArray bytes = rest.toUtf8();
        const auto panels = [this] { return window->widget().findChildren<DeviceListItem *>().size(); };
        const auto found = [&] { return (place = Panel(*window, rest).widget()) != nullptr; };
        const auto told = [&] { return module.output().count(counted.toUtf8()); };
        const auto lines = [&] { return window->log().filter(counted).size(); };
        const QHash<QString, std::function<void()>> words = {
            {"press"_s, [&] { press(rest); }},
            {"open"_s, [&] { open(rest); }},
            {"close"_s, [&] { close(); }},
            {"scan"_s, [&] { scanFor(rest); }},
            {"connect"_s, [&] { connectTo(rest); }},
            {"panel"_s, [&] { QTRY_VERIFY_WITH_TIMEOUT(found(), answerMs); }},
            {"panels"_s, [&] { QTRY_COMPARE_WITH_TIMEOUT(panels(), count, answerMs); }},
            {"select"_s, [&] { panel().select(count); }},
            {"send"_s, [&] { window->send(bytes.constData()); }},
            {"module"_s, [&] { module.control(bytes); }},
            {"stop"_s, [&] { module.stop(); }},
            {"start"_s, [&] { QVERIFY(module.start(rest.split(u' ', Qt::SkipEmptyParts))); }},
            {"wire"_s, [&] { QTRY_VERIFY_WITH_TIMEOUT(onWire(bytes), answerMs); }},
            {"times"_s, [&] { QTRY_COMPARE_WITH_TIMEOUT(told(), count, answerMs); }},
            {"logged"_s, [&] { QTRY_COMPARE_WITH_TIMEOUT(lines(), count, answerMs); }},
            {"log"_s, [&] { QTRY_VERIFY_WITH_TIMEOUT(logged(rest), answerMs); }},
            {"picture"_s, [&] { picture(place->window(), rest); }},
        };
        if (words.contains(word))
            words[word]();
        else if (auto *const action = window->widget().findChild<QAction *>(step))
            action->trigger();
        else
            click(step);
    }

    Panel panel() { return Panel(*window, text("address")); }

    QString valueOf(const QString &name)
    {
        if (name == QLatin1String("log"))
            return window->log().join(u'|');
        if (name == QLatin1String("clipboard"))
            return QApplication::clipboard()->text();
        return name.startsWith("raw "_s) ? panel().raw(name.section(u' ', 1).toInt()) : shown(find(name));
    }

    void playValue(const QString &name, QChar sign, const QString &value)
    {
        if (sign == u'?')
            QTRY_COMPARE_WITH_TIMEOUT(valueOf(name), value, answerMs);
        else if (sign == u'!')
            QTRY_VERIFY_WITH_TIMEOUT(valueOf(name) != value, answerMs);
        else if (sign == u'~')
            QTRY_VERIFY_WITH_TIMEOUT(valueOf(name).contains(value), answerMs);
        else if (qobject_cast<QSpinBox *>(find(name)))
            type(find(name), value); // Return would press a dialog's button
        else
            set(find(name), value);
    }
};
