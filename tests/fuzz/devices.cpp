// The device list: advertising data of any length, connections, attributes, and the panels' buttons.

#include "fuzz.h"

#include "devices/devicelist.h"
#include "devices/devicelistitem.h"
#include "protocol/conversions.h"

#include <QLabel>
#include <QMetaMethod>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <set>

namespace {

constexpr int maxAddresses = 3; // a panel costs as much as a hundred events

DeviceList *list;

QList<DeviceListItem *> panels()
{
    return list->findChildren<DeviceListItem *>();
}

// What a device says is shown as it is, on one line, and never as rich text.
void checkTexts(const DeviceListItem &panel)
{
    for (const char *name : {"address", "status", "rssi"}) {
        const auto *label = panel.findChild<QLabel *>(QLatin1String(name));
        REQUIRE(label != nullptr && label->textFormat() == Qt::PlainText);
        REQUIRE(label->text().size() < 20'000);
    }
}

// Rows in the order of their handles, each handle once.
void checkTable(const QTableWidget &table)
{
    int last = 0;
    for (int row = 0; row < table.rowCount(); ++row) {
        const QTableWidgetItem *handle = table.item(row, 0);
        REQUIRE(handle != nullptr && handle->text().toInt() > last);
        last = handle->text().toInt();
    }
}

void press(DeviceListItem &panel, uint8 which)
{
    const auto buttons = panel.findChildren<QPushButton *>();
    REQUIRE(!buttons.isEmpty());
    buttons.at(which % buttons.size())->click();
}

} // namespace

int LLVMFuzzerInitialize(int *, char ***)
{
    startApplication();
    list = new DeviceList;
    list->setWidgetResizable(true);
    auto *const column = new QWidget;
    new QVBoxLayout(column);
    list->setWidget(column);
    list->dev_mode(false);
    list->resize(400, 300);
    list->show();
    return 0;
}

// Events: a byte of which one, then its fields; an array is counted by a byte or by a word.
int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Input input(data, size);
    std::set<std::pair<uint8, uint8>> devices;
    const auto address = [](uint8 number) { return bd_addr{{number, 2, 3, 4, 5, 6}}; };
    while (!input.isEmpty()) {
        const uint8 event = input.byte();
        const uint8 handle = input.byte();
        const uint8 device = handle % maxAddresses;
        switch (event % 10) {
        case 0:
        case 1: {
            const auto rssi = int8(input.byte());
            const uint8 header = input.byte();
            const uint8 type = event & 0x80 ? 1 : 0;
            list->evt_scan_response(rssi, header, address(device), type, 0xff,
                                    event % 10 == 0 ? input.counted() : input.bytes(input.word()));
            devices.insert({device, type});
            break;
        }
        case 2: {
            const uint8 flags = input.byte();
            list->evt_status(handle, flags, address(device), 0, 1, 2, 3, 4);
            if (flags & 1)
                devices.insert({device, 0});
            break;
        }
        case 3: list->evt_disconnected(handle, input.word()); break;
        case 4: {
            const uint16 start = input.word();
            const uint16 end = input.word();
            list->evt_service_found(handle, start, end, input.counted());
            break;
        }
        case 5: {
            const uint16 attribute = input.word();
            list->evt_characteristic_found(handle, 1, attribute, 2, input.counted());
            break;
        }
        case 6: {
            const uint16 attribute = input.word();
            list->evt_find_information_found(handle, attribute, input.counted());
            break;
        }
        case 7: {
            const uint16 attribute = input.word();
            list->evt_characteristic_value(handle, attribute, 0, input.counted());
            break;
        }
        case 8:
            if (!devices.empty()) {
                DeviceListItem *const panel = panels().at(device % panels().size());
                panel->findChild<QTableWidget *>()->selectRow(input.byte());
                press(*panel, input.byte());
            }
            break;
        default:
            if (handle == 0) {
                list->clear();
                devices.clear();
            } else if (handle < 3) {
                list->dev_mode(handle == 1);
            } else {
                QCoreApplication::processEvents();
            }
        }
    }
    REQUIRE(panels().size() == int(devices.size()));
    for (const DeviceListItem *panel : panels()) {
        checkTexts(*panel);
        checkTable(*panel->findChild<QTableWidget *>());
    }
    // Shown, but not each time: a picture takes as long as a hundred inputs.
    static int turn = 0;
    if (++turn % 50 == 0) {
        QCoreApplication::processEvents();
        list->grab();
    }
    list->clear();
    list->dev_mode(false);
    return 0;
}
