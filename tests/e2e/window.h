#pragma once

#include "mainwindow/mainwindow.h"
#include "tests/steps.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int answerMs = 60000;
#else
constexpr int answerMs = 20000;
#endif

// The main window as its user has it: shown, clicked and typed into.
class Window
{
public:
    Window()
    {
        window.show();
        if (!QTest::qWaitForWindowExposed(&window))
            qFatal("the window does not open");
        window.activateWindow();
    }

    // A window that closes leaves an attached port to the end of the process; the next test wants it free.
    ~Window()
    {
        if (attachText() == "Detach"_s)
            click("pushConnectDev");
    }

    Window(const Window &) = delete;
    Window &operator=(const Window &) = delete;

    template <typename Widget>
    Widget *find(const char *name)
    {
        auto *widget = window.findChild<Widget *>(QLatin1String(name));
        if (!widget)
            qFatal("no %s", name);
        return widget;
    }

    void click(const char *button) { QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton); }

    // Scrolls to the button first if that is on a panel of a remote device. A new panel is laid out in a later
    // turn of the event loop, and cannot be clicked before.
    void click(QAbstractButton *button)
    {
        if (!QTest::qWaitFor([button] { return !button->size().isEmpty(); }, answerMs))
            qFatal("%s is not laid out", qPrintable(button->objectName()));
        find<QScrollArea>("deviceList")->ensureWidgetVisible(button);
        QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, QPoint(10, button->height() / 2));
    }

    void type(const char *line) { ::type(find<QLineEdit>("lineCommand"), QString::fromLatin1(line)); }

    void send(const char *line)
    {
        type(line);
        QTest::keyClick(find<QLineEdit>("lineCommand"), Qt::Key_Return);
    }

    // Attaches the simulated module; the machine may have ports of its own beside it.
    void attach()
    {
        find<QComboBox>("comboDev")->setCurrentText("Simulated module"_s);
        click("pushConnectDev");
    }

    void trigger(const char *action) { find<QAction>(action)->trigger(); }

    QString deviceText() { return find<QLabel>("labelDev")->text(); }
    QString attachText() { return find<QPushButton>("pushConnectDev")->text(); }

    // The log as its copy button gives it, without stamps and empty lines.
    QStringList log()
    {
        click("pushLogCopy");
        static const QRegularExpression stamp(
            "^[0-9]{4}\\.[0-9]{2}\\.[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "_s);
        QStringList lines;
        for (QString line : QApplication::clipboard()->text().split(u'\n', Qt::SkipEmptyParts))
            lines += line.remove(stamp).trimmed();
        return lines;
    }

    MainWindow &widget() { return window; }

private:
    MainWindow window;
};
