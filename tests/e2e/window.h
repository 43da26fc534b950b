#pragma once

#include "mainwindow/mainwindow.h"
#include "tests/text.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int answer_ms = 60000;
#else
constexpr int answer_ms = 20000;
#endif

// The main window as its user has it: shown, clicked and typed into.
class Window
{
public:
    Window()
    {
        m_window.show();
        m_exposed = QTest::qWaitForWindowExposed(&m_window);
        m_window.activateWindow();
    }

    // A window that closes leaves an attached port to the end of the process; the next test wants it free.
    ~Window()
    {
        if (attach_text() == "Detach"_s)
            click("pushConnectDev");
    }

    Window(const Window &) = delete;
    Window &operator=(const Window &) = delete;

    bool is_exposed() const { return m_exposed; }

    template <typename Widget>
    Widget *find(const char *name)
    {
        auto *widget = m_window.findChild<Widget *>(QLatin1String(name));
        if (!widget)
            qFatal("no %s", name);
        return widget;
    }

    void click(const char *button) { QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton); }

    void type(const char *line)
    {
        auto *edit = find<QLineEdit>("lineCommand");
        edit->setFocus();
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, QString::fromLatin1(line));
    }

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

    QString device_text() { return find<QLabel>("labelDev")->text(); }
    QString attach_text() { return find<QPushButton>("pushConnectDev")->text(); }

    // The log as its copy button gives it, without stamps and empty lines.
    QStringList log()
    {
        click("pushLogCopy");
        static const QRegularExpression stamp(
            "^[0-9]{4}\\.[0-9]{2}\\.[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "_s);
        QStringList lines;
        const QStringList all = QApplication::clipboard()->text().split(u'\n');
        for (QString line : all) {
            if (!line.isEmpty())
                lines += line.remove(stamp).trimmed();
        }
        return lines;
    }

    MainWindow &widget() { return m_window; }

private:
    MainWindow m_window;
    bool m_exposed = false;
};
