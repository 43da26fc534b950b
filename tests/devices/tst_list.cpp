#include "devices/attributenames.h"
#include "devices/devicelist.h"
#include "devices/devicelistitem.h"

#include <QtTest>
#include <QtWidgets>

namespace {

QByteArray bytes(const QByteArray &hex)
{
    return QByteArray::fromHex(hex);
}

// The column as the window's form has it, with a spacer at its end. Panels are counted from the oldest.
struct Column : DeviceList
{
    Column()
    {
        setWidget(new QWidget);
        setWidgetResizable(true);
        (new QVBoxLayout(widget()))->addStretch();
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
    T *find(const char *object, int panel = 0) const
    {
        return findChildren<T *>(QString::fromLatin1(object)).at(panel);
    }
    QByteArray label(const char *object) const { return find<QLabel>(object)->text().toUtf8(); }

    // Title and status from the top, a line each.
    QByteArray panels() const
    {
        QByteArray lines;
        for (int i = 0; i + 1 < widget()->layout()->count(); ++i) {
            const auto *const panel = widget()->layout()->itemAt(i)->widget();
            lines += panel->findChild<QGroupBox *>()->title().toLatin1() + " " +
                     panel->findChild<QLabel *>(QStringLiteral("status"))->text().toLatin1() + "\n";
        }
        return lines;
    }
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

    void scanData_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("status");
        // The rows' names are the packets, each a header and advertising data; "*" stands for 125 times "A".
        const auto row = [](const char *packets, QByteArray name, const QByteArray &status) {
            QTest::newRow(packets) << name.replace('*', QByteArray(125, 'A')) << status;
        };
        const char *const none = "(noname)";
        row("00", none, "Connectable undirected");
        row("f1 020106", none, "General No_BREDR Connectable directed");
        row("02 0201ff", none, "Limited General No_BREDR BRD_Slave BRD_Host Non-connectable undirected");
        row("03 0201e0 020101", none, "Limited Scan Req");
        row("04", none, "TextLabel Scan Rsp");
        row("05 0509 41424344", "ABCD", "Connect Req");
        row("06 0508 41424344", "ABCD...", "Scannable undirected");
        row("07 020941 030842c3", "B\xef\xbf\xbd...", "");
        row("0f 020941, f8 020106", "A", "General No_BREDR ");
        row("00 0dff 000000000000000000000000 0509 3c62 3e0a", "<b>\n", "Connectable undirected");
        for (const char *const cut :
             {"00 00 020941", "00 0109 020941", "00 0309 41", "00 02", "00 8009 4242*"})
            row(cut, none, "Connectable undirected");
        row("00 7f09 42*", "B*", "Connectable undirected");
        row("00 7f09 42* 7f08 43* 41* ", "C*...", "Connectable undirected"); // at 256 it is at 0 again: ends
        row("00 020106, 04 020105, 04 020941", "A",
            "General No_BREDR Connectable undirected Scan Rsp Scan Rsp");
    }

    void scanData()
    {
        Column list;
        for (QByteArray packet : QByteArray(QTest::currentDataTag()).split(','))
            list.hear(QByteArray::fromHex(packet.replace('*', QByteArray(125, 'A').toHex())));
        QTEST(list.label("address"), "name");
        QTEST(list.label("status"), "status");
        QCOMPARE(list.label("rssi"), QByteArray("-128 dBm"));
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

    void rows()
    {
        Column list;
        list.status(7, 1, 1);
        list.status(7, 1, 2); // a stale report: the older panel gets the events
        for (const uint8 handle : {uint8(12), uint8(3), uint8(7), uint8(0)})
            list.evt_find_information_found(7, handle, bytes("0229"));
        list.evt_service_found(7, 1, 5, bytes("0018"));
        list.evt_service_found(7, 1, 65535, bytes("f01921b4478fa4bfa14f63fdeed6141d"));
        list.evt_characteristic_found(7, 6, 7, 2, bytes("192a"));
        list.evt_characteristic_value(7, 65535, 0, QByteArray(255, '\xab'));
        list.evt_service_found(7, 0, 9, "x");
        list.evt_characteristic_found(7, 9, 0, 2, "x");
        list.evt_characteristic_value(7, 0, 0, "x");
        list.evt_characteristic_error(7, 9, 1);
        list.evt_service_found(8, 9, 9, "x");
        const auto *const table = list.find<QTableWidget>("tableGATT");
        QByteArray cells;
        for (int row = 0; row < table->rowCount(); ++row) {
            for (int column = 0; column < 6; ++column) {
                const auto *const cell = table->item(row, column);
                cells += (cell != nullptr ? cell->text().toLatin1() : "") + (column < 5 ? "|" : "\n");
            }
        }
        QCOMPARE(cells, "1|65535|1d14d6eefd634fa1bfa48f47b42119f0|Vorsel OTA Service||\n"
                        "3||2902|Client Characteristic Configuration||\n7||2a19|Battery Level||\n"
                        "12||2902|Client Characteristic Configuration||\n65535||||" +
                            QByteArray("ab").repeated(255) + "|\n");
        QCOMPARE(list.find<QTableWidget>("tableGATT", 1)->rowCount(), 0);
        list.find<QPushButton>("pushGATTClear")->click();
        QCOMPARE(table->rowCount(), 0);
    }

    // A row: button, signal, its arguments with no connection and nothing selected, and those on connection
    // 0x42 with the first two of three rows selected.
    void requests_data()
    {
        QTest::addColumn<QByteArray>("signal");
        QTest::addColumn<QByteArray>("sent");
        const auto row = [](const char *button, const char *signal, const char *sent) {
            QTest::newRow(button) << QByteArray(signal) << QByteArray(sent);
        };
        row("pushUpdate", "cmd_get_status(uint8)", "255 then 66");
        row("pushEncrypt", "EncryptConnection(uint8,uint8)", "255,1 then 66,1");
        row("pushFeature", "cmd_features_get(uint8)", "255 then 66");
        row("pushVersion", "cmd_version_update(uint8)", "255 then 66");
        row("pushGATTServiceDiscover", "cmd_read_by_group_type(uint8,uint16,uint16,QByteArray)",
            "255,1,65535,0028 then 66,1,65535,0028");
        row("pushGATTCharacteristicDiscover", "cmd_read_by_type(uint8,uint16,uint16,QByteArray)",
            "255,1,65535,0328 then 66,2,5,0328");
        row("pushGATTDescriptors", "cmd_find_information(uint8,uint16,uint16)", "255,1,65535 then 66,2,5");
        row("pushGATTRead", "AttributeRead(uint8,uint16)", "255,1 then 66,2");
        row("pushGATTReadLong", "AttributeReadLong(uint8,uint16)", "255,1 then 66,2");
        row("pushGATTWrite", "AttributeWrite(uint8,uint16,QByteArray)", "255,1, then 66,2,0aff");
        row("pushGATTWriteCommand", "AttributeWriteCommand(uint8,uint16,QByteArray)",
            "255,1, then 66,2,0aff");
        row("pushConnect", "Disconnect(uint8)", " then 66");
    }

    // Each request as the list passes it on; then with a receiver that clears the list at once.
    void requests()
    {
        QFETCH(QByteArray, signal);
        Column list;
        list.dev_mode(true);
        list.hear("\4", 1);
        list.hear("\4", 2);
        list.show();
        QVERIFY(list.find<QWidget>("pages")->isHidden());
        list.find<QPushButton>("pushShow")->click();
        QVERIFY(list.find<QWidget>("pages")->isVisible());
        QPointer<QPushButton> button = list.find<QPushButton>(QTest::currentDataTag());
        QSignalSpy spy(&list, ("2" + signal).constData());
        const auto press = [&] {
            button->click();
            QByteArrayList arguments;
            for (const QVariant &argument : spy.value(spy.size() - 1))
                arguments << (argument.type() == QVariant::ByteArray ? argument.toByteArray().toHex()
                                                                     : QByteArray::number(argument.toUInt()));
            return arguments.join(',');
        };
        const QByteArray before = press();
        list.status(0x42, 1);
        list.find<QLineEdit>("lineEditAttr")->setText(QStringLiteral("0A xyzfF"));
        list.evt_service_found(0x42, 2, 5, "\x09");
        list.evt_find_information_found(0x42, 3, "\x99"); // a number too, but not in a column of handles
        list.evt_find_information_found(0x42, 9, "\x09");
        list.find<QTableWidget>("tableGATT")->setRangeSelected({0, 0, 1, 5}, true);
        QTEST(before + " then " + press(), "sent");
        connect(&list, ("2" + signal).constData(), &list, SLOT(clear()));
        button->setFocus();
        QTest::mouseClick(button.data(), Qt::LeftButton);
        QVERIFY(button.isNull());
    }

    void devicesAndConnections()
    {
        Column list;
        for (const char *const device : {"\1", "\2", "\3", "\1"})
            list.hear("\6", uint8(*device));
        list.hear("\1", 2, 9);
        list.evt_disconnected(7, 1);
        list.status(7, 0xfe, 5);
        list.status(7, 0x81, 2);
        list.status(0x1f, 1, 4);
        QVERIFY(list.find<QWidget>("pushEncrypt", 0)->isEnabled());
        QCOMPARE(list.find<QPushButton>("pushConnect", 1)->text(), QStringLiteral("Disconnect"));
        list.hear("\6", 4);
        list.status(0x1f, 0, 1);
        list.evt_disconnected(7, 0x213);
        QVERIFY(!list.find<QWidget>("pushEncrypt", 1)->isEnabled());
        QVERIFY(!list.find<QWidget>("pushUpdate", 1)->isEnabled());
        QCOMPARE(list.panels(), QByteArray("Public: 0c:00:00:00:00:04 Disconnected Reason: 0x1f\n"
                                           "Random: 0c:00:00:00:00:02 Connectable directed\n"
                                           "Public: 0c:00:00:00:00:03 Scannable undirected\n"
                                           "Public: 0c:00:00:00:00:02 Disconnected Reason: 0x213\n"
                                           "Public: 0c:00:00:00:00:01 Scannable undirected\n"));
        QSignalSpy spy(&list, SIGNAL(Connect(bd_addr, uint8)));
        list.find<QPushButton>("pushConnect", 3)->click();
        QVERIFY(spy.at(0).at(0).value<bd_addr>().addr[0] == 2 && spy.at(0).at(1) == 9);
        for (const bool on : {true, true, false, false, true}) {
            list.dev_mode(on);
            list.hear("\6", 6 + on);
            for (const auto *const pages : list.findChildren<QTabWidget *>())
                QCOMPARE(pages->count(), 1 + on);
        }
        list.clear();
        list.status(7, 1, 2);
        QCOMPARE(list.panels(), QByteArray("Public: 0c:00:00:00:00:02 Connected handle:0x7\n"));
        QCOMPARE(list.label("address"), QByteArray("(noname)"));
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
