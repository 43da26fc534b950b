#pragma once

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

#include "mainwindow/mainwindow.h"
#include "protocol/types.h"

// The widget of that object name; ends the test program if the form has none.
template <typename Widget = QWidget>
Widget *find(const MainWindow &window, const char *name)
{
    auto *const found = window.findChild<Widget *>(QLatin1String(name));
    if (found == nullptr)
        qFatal("the form has no %s", name);
    return found;
}

// What label and button say of the device: text, background and button colour of the label, text of the
// button.
inline QString state_of(const MainWindow &window)
{
    const auto *const label = find<QLabel>(window, "labelDev");
    return QStringLiteral("%1 %2 %3 %4")
        .arg(label->text(), label->palette().color(QPalette::Window).name(),
             label->palette().color(QPalette::Button).name(),
             find<QPushButton>(window, "pushConnectDev")->text());
}

inline const QString attached_state = QStringLiteral("Connected #00ff00 #000000 Detach");
inline const QString detached_state = QStringLiteral("Disconnected #ff0000 #000000 Attach");

// Types the line into the emptied command line and presses Return.
inline void type_line(const MainWindow &window, const char *line)
{
    auto *const edit = find<QLineEdit>(window, "lineCommand");
    edit->clear();
    QTest::keyClicks(edit, QString::fromLatin1(line));
    QTest::keyClick(edit, Qt::Key_Return);
}

// The log's lines in order, as its own button puts them on the clipboard; the time stamps are checked and cut
// off.
inline QStringList log_lines(const MainWindow &window)
{
    static const QRegularExpression stamp(
        QStringLiteral("^<b>[0-9]{4}\\.[0-9]{2}\\.[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}</b>  ?"));
    find<QPushButton>(window, "pushLogCopy")->click();
    const QString html = QApplication::clipboard()->mimeData()->html();
    QStringList lines = html.split(QStringLiteral("<br />"), Qt::SkipEmptyParts);
    for (QString &line : lines) {
        const QRegularExpressionMatch match = stamp.match(line);
        line = match.hasMatch() ? line.mid(match.capturedLength()) : QLatin1String("no time stamp: ") + line;
        if (line.endsWith(QLatin1String("<br>")))
            line.chop(4);
    }
    return lines;
}

// Starts in a directory from which the definition file is found, and with no simulated module in sight.
class start_conditions
{
public:
    start_conditions()
    {
        qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
        register_meta_types();
        QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
    }

private:
    QTemporaryDir runtime;
};
