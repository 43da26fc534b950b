#pragma once

#include "tests/e2e/simulated_module.h"
#include "tests/support/remote.h"

#include <functional>
#include <memory>

inline QByteArray read_file(const QString &path)
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
        if (QTest::currentTestFailed())
            qWarning("the module's log ends with\n%s", module.output().right(4000).constData());
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

    void scan_for(const QString &name) { QVERIFY2(::scan_for(*window, name), qPrintable(name)); }

    void connect_to(const QString &name)
    {
        const Panel panel(*window, name);
        place = panel.widget();
        QVERIFY2(::connect_to(*window, name), qPrintable(name));
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
        const int key = QKeySequence(shortcut)[0];
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
        for (const QStringList &row : rows_of(VORSEL_STEPS_TABLE, 3)) {
            if (row[0] == QLatin1String(program))
                QTest::newRow(qPrintable(row[1]))
                    << QString(row[2]).replace("\\t"_s, "\t"_s).replace("\\n"_s, "\n"_s);
        }
    }

    void play_row()
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
                play_one(step, step.section(u' ', 0, 0), step.section(u' ', 1));
            else
                play_value(name, step[name.size()], step.mid(name.size() + 1));
            if (QTest::currentTestFailed())
                QFAIL(qPrintable(step));
        }
    }

    // What the module wrote of its traffic, "<-" from the host and "->" to it.
    bool on_wire(const QByteArray &text) { return module.output().contains(text); }
    bool logged(const QString &text) { return window->log().join(u'\n').contains(text); }

    SimulatedModule module;
    std::unique_ptr<Window> window;
    QWidget *place = nullptr; // the dialog or panel that is used

private:
    void play_one(const QString &step, const QString &word, const QString &rest)
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
            {"scan"_s, [&] { scan_for(rest); }},
            {"connect"_s, [&] { connect_to(rest); }},
            {"panel"_s, [&] { QTRY_VERIFY_WITH_TIMEOUT(found(), answer_ms); }},
            {"panels"_s, [&] { QTRY_COMPARE_WITH_TIMEOUT(panels(), count, answer_ms); }},
            {"select"_s, [&] { panel().select(count); }},
            {"send"_s, [&] { window->send(bytes.constData()); }},
            {"module"_s, [&] { module.control(bytes); }},
            {"stop"_s, [&] { module.stop(); }},
            {"start"_s, [&] { QVERIFY(module.start(rest.split(u' ', Qt::SkipEmptyParts))); }},
            {"wire"_s, [&] { QTRY_VERIFY_WITH_TIMEOUT(on_wire(bytes), answer_ms); }},
            {"times"_s, [&] { QTRY_COMPARE_WITH_TIMEOUT(told(), count, answer_ms); }},
            {"logged"_s, [&] { QTRY_COMPARE_WITH_TIMEOUT(lines(), count, answer_ms); }},
            {"log"_s, [&] { QTRY_VERIFY_WITH_TIMEOUT(logged(rest), answer_ms); }},
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

    QString value_of(const QString &name)
    {
        if (name == QLatin1String("log"))
            return window->log().join(u'|');
        if (name == QLatin1String("clipboard"))
            return QApplication::clipboard()->text();
        return name.startsWith("raw "_s) ? panel().raw(name.section(u' ', 1).toInt()) : shown(find(name));
    }

    void play_value(const QString &name, QChar sign, const QString &value)
    {
        if (sign == u'?')
            QTRY_COMPARE_WITH_TIMEOUT(value_of(name), value, answer_ms);
        else if (sign == u'!')
            QTRY_VERIFY_WITH_TIMEOUT(value_of(name) != value, answer_ms);
        else if (sign == u'~')
            QTRY_VERIFY_WITH_TIMEOUT(value_of(name).contains(value), answer_ms);
        else if (qobject_cast<QSpinBox *>(find(name)))
            type(find(name), value); // Return would press a dialog's button
        else
            set(find(name), value);
    }
};
