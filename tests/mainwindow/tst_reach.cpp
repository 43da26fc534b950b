#include "tests/mainwindow/window_fixture.h"

#include "devices/devicelist.h"
#include "logview/logview.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

namespace {

const QSize screenSize(1920, 1080);
constexpr double minContrast = 4.5;
// Pure red, the fixed colour of errors, has no more than 4.0 on any paper that black text can be read on.
constexpr double minContrastOfRed = 3.9;

QPalette darkPalette()
{
    QPalette palette(QColor(53, 53, 53), QColor(53, 53, 53));
    palette.setColor(QPalette::Base, QColor(35, 35, 35));
    palette.setColor(QPalette::AlternateBase, QColor(53, 53, 53));
    palette.setColor(QPalette::Highlight, QColor(42, 130, 218));
    palette.setColor(QPalette::HighlightedText, Qt::black);
    return palette;
}

double luminance(QRgb colour)
{
    const auto linear = [](int channel) {
        const double part = channel / 255.0;
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(colour)) + 0.7152 * linear(qGreen(colour)) + 0.0722 * linear(qBlue(colour));
}

QRect placed(const QWidget *widget)
{
    return {widget->mapTo(widget->window(), QPoint(0, 0)), widget->size()};
}

// Between the paper, which is the most frequent colour, and what stands out most from it; frames left out.
double seenContrast(const QWidget *widget)
{
    constexpr int frame = 4;
    const QImage image =
        widget->window()->grab(placed(widget).adjusted(frame, frame, -frame, -frame)).toImage();
    QHash<QRgb, int> counts;
    for (int i = 0; i < image.width() * image.height(); ++i)
        ++counts[image.pixel(i % image.width(), i / image.width())];
    const auto less = [&](QRgb a, QRgb b) { return counts.value(a) < counts.value(b); };
    const QList<QRgb> colours = counts.keys();
    const double paper = luminance(*std::max_element(colours.begin(), colours.end(), less));
    double maxRatio = 1;
    for (const QRgb colour : colours) {
        const double other = luminance(colour);
        maxRatio = std::max(maxRatio, (std::max(paper, other) + 0.05) / (std::min(paper, other) + 0.05));
    }
    return maxRatio;
}

QString named(const QWidget *widget)
{
    return QLatin1String(widget->metaObject()->className()) + u' ' + widget->objectName();
}

bool isOneOf(const QWidget *widget, std::initializer_list<const char *> classes)
{
    return std::any_of(classes.begin(), classes.end(),
                       [&](const char *each) { return widget->inherits(each); });
}

// The first widget in the window that is too small for its text, and what it would take; empty if none is. A
// button has so many pixels beside its text.
QString firstCut(const QWidget *shown, int besideText)
{
    for (const QWidget *widget : shown->findChildren<QWidget *>()) {
        const bool hasText = isOneOf(
            widget, {"QLabel", "QAbstractButton", "QGroupBox", "QTabBar", "QComboBox", "QAbstractSpinBox"});
        const auto *const label = qobject_cast<const QLabel *>(widget);
        const bool isPicture = label && !label->pixmap(Qt::ReturnByValue).isNull();
        if (!hasText || isPicture || !widget->isVisible() || widget->window() != shown)
            continue;
        QSize needed = widget->minimumSizeHint();
        // A button may be narrower than its style would have it, if its text is shown whole.
        if (const auto *const button = qobject_cast<const QPushButton *>(widget))
            needed.setWidth(button->fontMetrics().horizontalAdvance(button->text()) + besideText);
        if (widget->width() < needed.width() || widget->height() < needed.height())
            return named(widget) + " is %1 x %2 of %3 x %4"_s.arg(widget->width())
                                       .arg(widget->height())
                                       .arg(needed.width())
                                       .arg(needed.height());
    }
    return {};
}

bool isControl(const QWidget *widget)
{
    return (widget->focusPolicy() & Qt::TabFocus) != 0 && !widget->focusProxy();
}

// The two siblings, each the widget itself or an ancestor of it, at which the ways to two widgets part. Docks
// are no groups: the row that attaches a port, in the middle, is read before the dock on its left.
std::pair<QWidget *, QWidget *> parting(QWidget *a, QWidget *b)
{
    QWidget *first = a;
    QWidget *second = b;
    while (!first->parentWidget()->isAncestorOf(b))
        first = first->parentWidget();
    while (second->parentWidget() != first->parentWidget())
        second = second->parentWidget();
    if (qobject_cast<QMainWindow *>(first->parentWidget()))
        return {a, b};
    return {first, second};
}

} // namespace

// Every window for those who use no mouse, see large letters only, work on a dark desktop or hear the screen.
class TestReach : public WindowFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QApplication::setStyle("Fusion"_s);
        usualFont = QFont("Sans Serif"_s, 9);
        usualPalette = QApplication::palette();
    }
    void cleanup()
    {
        WindowFixture::cleanup();
        QApplication::setFont(usualFont);
        QApplication::setPalette(usualPalette);
    }

    void tabKeyReadsEveryControlInOrder_data() { windows(); }
    void tabKeyReadsEveryControlInOrder()
    {
        QWidget *const shown = open();
        QWidgetList expected;
        for (QWidget *widget : shown->findChildren<QWidget *>()) {
            if (isControl(widget) && widget->isVisible() && widget->isEnabled() && widget->window() == shown)
                expected << widget;
        }
        QVERIFY(!expected.isEmpty());
        if (shown->focusWidget())
            shown->focusWidget()->clearFocus();
        QWidgetList walk;
        for (int i = 0; i <= expected.size(); ++i) {
            QTest::keyClick(shown->windowHandle(), Qt::Key_Tab);
            if (walk.contains(QApplication::focusWidget()))
                break;
            walk << QApplication::focusWidget();
        }
        for (QWidget *widget : qAsConst(expected))
            QVERIFY2(walk.contains(widget), qPrintable(named(widget)));
        // Always on to the right or further down, group by group. The walk is a ring, so that at one place it
        // goes back to the first control.
        const auto goesOn = [](QWidget *from, QWidget *to) {
            if (from->isAncestorOf(to))
                return true;
            const auto [before, after] = parting(from, to);
            const QRect left = placed(before);
            const QRect entered = placed(after);
            return entered.top() > left.bottom() || entered.left() > left.right();
        };
        const auto back = std::adjacent_find(walk.begin(), walk.end(), std::not_fn(goesOn));
        if (back != walk.end())
            std::rotate(walk.begin(), back + 1, walk.end());
        for (int i = 1; i < walk.size(); ++i) {
            const QString step = named(walk[i - 1]) + QLatin1String(" -> ") + named(walk[i]);
            QVERIFY2(goesOn(walk[i - 1], walk[i]), qPrintable(step));
            QWidget *const entered = parting(walk[i - 1], walk[i]).second;
            for (int j = 0; j < i; ++j) // a group that was left is not entered again
                QVERIFY2(walk[j] == entered || !entered->isAncestorOf(walk[j]), qPrintable(step));
        }
    }

    void everyControlHasANameOfItsOwn_data() { windows(); }
    void everyControlHasANameOfItsOwn()
    {
        const QWidget *const shown = open();
        QSet<QString> names;
        for (QWidget *widget : shown->findChildren<QWidget *>()) {
            const bool isRadio = qobject_cast<QRadioButton *>(widget) != nullptr;
            if (widget->window() != shown || !(isControl(widget) || isRadio))
                continue;
            const QAccessibleInterface *const heard = QAccessible::queryAccessibleInterface(widget);
            const QString name = heard->text(QAccessible::Name);
            QVERIFY2(!name.isEmpty(), qPrintable(named(widget)));
            const QString key = "%1 of role %2"_s.arg(name).arg(int(heard->role()));
            QVERIFY2(!names.contains(key), qPrintable(key + QLatin1String(": ") + named(widget)));
            names << key;
        }
    }

    void largeLettersAreShownWhole_data() { windows(); }
    void largeLettersAreShownWhole()
    {
        enlargeFont();
        const QWidget *const shown = open();
        QVERIFY2(shown->width() <= screenSize.width() && shown->height() <= screenSize.height(),
                 qPrintable("%1 x %2"_s.arg(shown->width()).arg(shown->height())));
        QTRY_COMPARE(firstCut(shown, 6), QString()); // the last layout may come after the window
    }

    void nothingIsCutOffAtTheInitialSize()
    {
        QApplication::setFont(usualFont);
        window = std::make_unique<MainWindow>();
        QVERIFY(show());
        window->dev_mode(true);
        find<QLabel>("labelInterval")->setText("4000.00 ms"_s); // the longest texts they get
        find<QLabel>("labelTimeout")->setText("32000 ms"_s);
        QCOMPARE(window->size(), QSize(1091, 838));
        QTRY_COMPARE(firstCut(window.get(), 10), QString());
        QVERIFY(find("textDebug")->height() >= 150);
        auto *const devices = find<DeviceList>("deviceList");
        devices->evt_status(0, 1, bd_addr(), 0, 0, 0, 0, 0);
        find<QPushButton>("pushShow")->click();
        QTRY_VERIFY(find("DeviceListItem")->height() <= devices->viewport()->height());
        for (const char *name : {"pushConnect", "pushGATTServiceDiscover", "pushGATTWriteCommand"}) {
            const auto *const button = find<QPushButton>(name);
            QVERIFY2(button->width() >= button->fontMetrics().horizontalAdvance(button->text()) + 14, name);
        }
    }

    void darkDesktopLeavesTextsReadable_data() { windows(); }
    void darkDesktopLeavesTextsReadable()
    {
        enlargeFont(); // thin strokes are paler than their colour
        QApplication::setPalette(darkPalette());
        QWidget *const shown = open();
        for (QLineEdit *edit : shown->findChildren<QLineEdit *>())
            edit->setText(edit->text().isEmpty() ? "a0"_s : edit->text());
        for (QWidget *widget : shown->findChildren<QWidget *>()) {
            const bool hasText = isOneOf(
                widget, {"QLabel", "QAbstractButton", "QComboBox", "QLineEdit", "QTabBar", "QHeaderView"});
            if (hasText && widget->isVisible() && widget->isEnabled() && widget->window() == shown &&
                widget->visibleRegion().boundingRect() == widget->rect() &&
                widget->property("text") != QString())
                QVERIFY2(seenContrast(widget) >= minContrast,
                         qPrintable("%1 %2"_s.arg(named(widget)).arg(seenContrast(widget))));
        }
    }

    void fixedColoursStayReadableOnADarkDesktop()
    {
        enlargeFont();
        QApplication::setPalette(darkPalette());
        window = std::make_unique<MainWindow>();
        QVERIFY(show());
        auto *const command = find<QLineEdit>("lineCommand");
        QVERIFY(seenContrast(command) >= minContrast); // the placeholder
        QTest::keyClicks(command, "a"_s);
        QVERIFY(seenContrast(command) >= minContrastOfRed);
        QVERIFY(!command->accessibleDescription().isEmpty());
        QTest::keyClick(command, Qt::Key_Backspace);
        QTest::keyClicks(command, "system_hello"_s);
        QVERIFY(seenContrast(command) >= minContrast);
        QCOMPARE(command->accessibleDescription(), QString());
        auto *const log = find<LogView>("textDebug");
        for (const char *colour : {"", "green", "red"}) {
            log->clearLog();
            log->addLine(QString(), "<font color=%1>WWW</font>"_s.arg(QLatin1String(colour)));
            QTRY_COMPARE(log->scene->items().size(), 1);
            QVERIFY2(seenContrast(log->viewport()) >= minContrastOfRed, colour);
        }
        window->USBReset();
        QVERIFY(seenContrast(find("labelDev")) >= minContrast);
    }

private:
    void enlargeFont() const
    {
        QFont font = usualFont;
        font.setPointSize(2 * font.pointSize());
        QApplication::setFont(font);
    }

    void windows() const
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("page");
        for (const char *name :
             {"Bletest", "SMDialog", "DialogGATTServer", "ThroughputDialog", "PSTool", "SetAddressDialog",
              "WhitelistDialog", "IODialog", "FlashMem", "AboutDialog"})
            QTest::newRow(name) << QString::fromLatin1(name) << 0;
        for (const int page : {0, 1, 2})
            QTest::addRow("DFUDialog %d", page) << "DFUDialog"_s << page;
        for (const int page : {0, 1})
            QTest::addRow("MainWindow %d", page) << "MainWindow"_s << page;
    }

    // The window of the row, with the page open; the main window with a connected device and all controls.
    QWidget *open()
    {
        window = std::make_unique<MainWindow>();
        QFETCH(QString, name);
        QFETCH(int, page);
        QWidget *shown = window.get();
        if (name == window->objectName()) {
            window->dev_mode(true);
            find<DeviceList>("deviceList")->evt_status(0, 1, bd_addr(), 0, 0, 0, 0, 0);
            find<QPushButton>("pushShow")->setChecked(true);
        } else {
            shown = window->findChild<QDialog *>(name);
        }
        if (auto *const pages = shown->findChild<QTabWidget *>())
            pages->setCurrentIndex(page);
        shown->show();
        QApplication::setActiveWindow(shown);
        if (!QTest::qWaitForWindowActive(shown))
            qFatal("%s does not open", qPrintable(name));
        QApplication::processEvents();
        return shown;
    }

    QFont usualFont;
    QPalette usualPalette;
};

QTEST_MAIN(TestReach)
#include "tst_reach.moc"
