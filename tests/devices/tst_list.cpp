#include "devices/attributenames.h"
#include "devices/devicelist.h"
#include "devices/devicelistitem.h"
#include "tests/chains.h"

#include <QtTest>
#include <QtWidgets>

#include <memory>

namespace {

QByteArray bytes(const QByteArray &hex)
{
    return QByteArray::fromHex(hex);
}

// The column as the window's form has it, with a spacer at its end, and what it asks for.
struct Column : DeviceList
{
    Column()
    {
        setWidget(new QWidget);
        setWidgetResizable(true);
        (new QVBoxLayout(widget()))->addStretch();
        for (int i = staticMetaObject.methodOffset(); i < staticMetaObject.methodCount(); ++i) {
            if (staticMetaObject.method(i).methodType() == QMetaMethod::Signal)
                spies.push_back(std::make_unique<QSignalSpy>(this, staticMetaObject.method(i)));
        }
    }

    void hear(const QByteArray &packet, uint8 device = 1, uint8 type = 0) // header and data
    {
        evt_scan_response(-128, uint8(packet.at(0)), {{device, 0, 0, 0, 0, 0x0c}}, type, 0, packet.mid(1));
    }
    void status(uint8 connection, uint8 flags, uint8 device = 1)
    {
        evt_status(connection, flags, {{device, 0, 0, 0, 0, 0x0c}}, 0, 0, 0, 0, 0);
    }

    template <typename T>
    T *find(const QByteArray &object, int panel = 0) const
    {
        return findChildren<T *>(QString::fromLatin1(object)).at(panel);
    }
    QByteArray label(const char *object) const { return find<QLabel>(object)->text().toUtf8(); }

    QByteArray panels() const
    {
        QByteArray all;
        for (int i = 0; i + 1 < widget()->layout()->count(); ++i) {
            const auto *const panel = widget()->layout()->itemAt(i)->widget();
            all += panel->findChild<QGroupBox *>()->title().toLatin1() + " " +
                   panel->findChild<QLabel *>(QStringLiteral("status"))->text().toLatin1() + "|";
        }
        return all;
    }

    QByteArray cells(int panel) const
    {
        const auto *const table = find<QTableWidget>("tableGATT", panel);
        QByteArray all;
        for (int i = 0; i < 6 * table->rowCount(); ++i) {
            const auto *const cell = table->item(i / 6, i % 6);
            all += (cell ? cell->text().toLatin1() : "") + (i % 6 < 5 ? "," : "|");
        }
        return all;
    }

    QByteArray sent() const
    {
        QByteArray all;
        for (const auto &spy : spies) {
            for (const QList<QVariant> &signal : *spy) {
                QByteArrayList arguments;
                for (const QVariant &argument : signal)
                    arguments << (argument.type() == QVariant::ByteArray ? argument.toByteArray().toHex()
                                  : argument.canConvert<bd_addr>()
                                      ? QByteArray::number(argument.value<bd_addr>().addr[0])
                                      : QByteArray::number(argument.toUInt()));
                all += spy->signal() + ' ' + arguments.join(',');
            }
            spy->clear();
        }
        return all;
    }

    std::vector<std::unique_ptr<QSignalSpy>> spies;
};

} // namespace

class TestList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { register_meta_types(); }

    void attributeNames()
    {
        QHash<QByteArray, QByteArray> names;
        QFile table(QStringLiteral(VORSEL_ATTRIBUTES));
        QVERIFY(table.open(QIODevice::ReadOnly | QIODevice::Text));
        for (table.readLine(); !table.atEnd();) {
            const QByteArray line = table.readLine().trimmed();
            names.insert(line.left(line.indexOf(' ')), line.mid(line.indexOf(' ') + 1));
        }
        QCOMPARE(names.size(), 84 + 3);
        for (int number = 0; number < 0x10000; ++number) {
            const QByteArray uuid = QByteArray(1, char(number >> 8)) + char(number);
            QCOMPARE(attributeName(uuid).toLatin1(), names.value(uuid.toHex()));
        }
        for (auto name = names.cbegin(); name != names.cend(); ++name)
            QCOMPARE(attributeName(bytes(name.key())).toLatin1(), name.value());
        const QByteArray known = bytes("1d14d6eefd634fa1bfa48f47b42119f0");
        for (int size = 0; size < 256; ++size)
            QCOMPARE(attributeName(known.leftJustified(size, '\0', true)).isEmpty(), size != 16);
        QCOMPARE(attributeName(bytes("0000180000001000800000805f9b34fb")), QString());
    }

    void steps_data() { addChains(VORSEL_STEPS); }

    void steps()
    {
        QFETCH(QByteArrayList, steps);
        Column list;
        for (QByteArray &step : steps) {
            const QByteArrayList words = step.replace("\\n", "\n").split(' ');
            const QByteArray &verb = words.at(0);
            const int first = words.value(1).toInt(nullptr, 0);
            const auto connection = uint8(first);
            const auto second = uint16(words.value(2).toUInt(nullptr, 0)),
                       third = uint16(words.value(3).toUInt());
            const auto rest = [&words](int at) { return QByteArrayList(words.mid(at)).join(' '); };
            if (verb == "hear") {
                list.hear(bytes(rest(3)), uint8(first), uint8(second));
            } else if (verb == "status") {
                list.status(connection, uint8(second), uint8(third));
            } else if (verb == "ended") {
                list.evt_disconnected(connection, second);
            } else if (verb == "service") {
                list.evt_service_found(connection, second, third, bytes(rest(4)));
            } else if (verb == "characteristic") {
                list.evt_characteristic_found(connection, second, third, 2, bytes(rest(4)));
            } else if (verb == "descriptor") {
                list.evt_find_information_found(connection, second, bytes(rest(3)));
            } else if (verb == "value") {
                list.evt_characteristic_value(connection, second, 0, bytes(rest(3)));
            } else if (verb == "error") {
                list.evt_characteristic_error(connection, second, 1);
            } else if (verb == "mode") {
                list.dev_mode(first != 0);
            } else if (verb == "show" || verb == "clear") {
                verb == "show" ? list.show() : list.clear();
            } else if (verb == "clearing") {
                for (const auto &spy : list.spies)
                    connect(&list, ("2" + spy->signal()).constData(), &list, SLOT(clear()));
            } else if (verb == "press") {
                auto *const button = list.find<QPushButton>(words.at(2), first);
                button->setFocus();
                QTest::mouseClick(button, Qt::LeftButton);
            } else if (verb == "type") {
                list.find<QLineEdit>(words.at(2), first)->setText(QString::fromLatin1(rest(3)));
            } else if (verb == "select") {
                list.find<QTableWidget>("tableGATT", first)->setRangeSelected({second, 0, third, 5}, true);
            } else if (verb == "sent") {
                QCOMPARE(list.sent(), rest(1));
            } else if (verb == "is") {
                const QVariant value =
                    list.find<QWidget>(words.at(2), first)->property(words.at(3).constData());
                QCOMPARE('"' + value.toString().toUtf8() + '"', rest(4));
            } else if (verb == "panels") {
                QCOMPARE(list.panels(), rest(1));
            } else if (verb == "cells") {
                QCOMPARE(list.cells(first), rest(2));
            } else {
                QCOMPARE(verb, QByteArray("tabs"));
                for (const auto *const pages : list.findChildren<QTabWidget *>())
                    QCOMPARE(pages->count(), first);
            }
        }
    }

    void hostileBytes()
    {
        Column list;
        list.status(7, 1);
        QRandomGenerator random(2011);
        for (int i = 0; i < 20'000; ++i) {
            QByteArray data(1 + i % 400, '\4'); // scan responses pile up
            for (int at = 1; at < data.size(); ++at)
                data[at] = char(random.bounded(i % 3 == 0 ? 256 : 12)); // small ones make long walks
            list.hear(data);
            if (i % 40 == 0)
                list.evt_characteristic_found(7, 1, uint16(random.bounded(65536)), 0, data.left(255));
        }
        QVERIFY(list.label("status").size() > 10'000 && list.label("status").size() < 10'020);
        list.hear(bytes("000409410042"));
        QCOMPARE(list.label("address"), QByteArray("A\0B", 3));
        const QSize size = list.find<QWidget>("name")->sizeHint();
        list.hear(bytes("007f09") + QByteArray("W\n").repeated(63));
        QCOMPARE(list.find<QWidget>("name")->sizeHint(), size);
    }

    void cellsAreWideOrHaveATooltip()
    {
        Column list;
        list.resize(1000, 600);
        list.status(7, 1);
        list.show();
        list.find<QPushButton>("pushShow")->click();
        auto *const table = list.find<QTableWidget>("tableGATT");
        const auto tooltip = [table](int column) {
            const QPoint at = table->visualItemRect(table->item(0, column)).center();
            QHelpEvent event(QEvent::ToolTip, at, table->viewport()->mapToGlobal(at));
            QApplication::sendEvent(table->viewport(), &event);
            return QToolTip::text();
        };
        list.evt_find_information_found(7, 1, bytes("0a2a"));
        list.evt_characteristic_value(7, 1, 0, QByteArray(10, 'U'));
        QCOMPARE(tooltip(3), QString()); // "Day Date Time"
        QCOMPARE(tooltip(4), QString());
        list.evt_find_information_found(7, 1, QByteArray(16, 'U'));
        QCOMPARE(tooltip(2), QString());
        list.evt_find_information_found(7, 1, bytes("53a1811f582cd0a54540fc34f3274298"));
        QCOMPARE(tooltip(2), QStringLiteral("984227f334fc4045a5d02c581f81a153"));
        QTRY_COMPARE(tooltip(3), QString()); // "Vorsel OTA Data Upload"; the tooltip before it leaves slowly
        list.evt_characteristic_value(7, 1, 0, QByteArray(33, 'U'));
        QCOMPARE(tooltip(4), QString(64, u'5') + QStringLiteral("\n55"));
        QCOMPARE(table->horizontalScrollBar()->maximum(), 0);
    }

    void unfoldedPanelIsInView()
    {
        Column list;
        for (uint8 device = 1; device <= 8; ++device)
            list.hear(bytes("00"), device);
        list.resize(800, 600);
        list.show();
        QVERIFY(QTest::qWaitForWindowExposed(&list));
        list.verticalScrollBar()->setValue(list.verticalScrollBar()->maximum());
        for (const int panel : {0, 7}) { // the lowest one, then the one at the top
            list.find<QPushButton>("pushShow", panel)->click();
            QApplication::processEvents();
            const auto *const item = list.find<DeviceListItem>("DeviceListItem", panel);
            const QRect seen(item->mapTo(list.viewport(), QPoint(0, 0)), item->size());
            QVERIFY(list.find<QWidget>("pages", panel)->isVisible());
            QVERIFY2(list.viewport()->rect().contains(seen), qPrintable(QString::number(panel)));
        }
    }

    void noColumnToPutPanelsIn()
    {
        DeviceList list;
        for (const bool hasColumn : {false, true}) {
            if (hasColumn)
                list.setWidget(new QWidget);
            list.evt_scan_response(0, 0, {}, 0, 0, {});
            QVERIFY(!list.findChild<DeviceListItem *>()->isWindow());
            list.clear();
            QVERIFY(list.findChild<DeviceListItem *>() == nullptr);
        }
    }
};

QTEST_MAIN(TestList)
#include "tst_list.moc"
