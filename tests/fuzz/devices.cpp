// The device list: advertising data of any length, connections, attributes, and the panels' buttons.

#include "fuzz.h"

#include "devices/devicelist.h"
#include "devices/devicelistitem.h"
#include "protocol/conversions.h"

#include <QtWidgets>

#include <set>

namespace {

constexpr int maxAddresses = 3; // a panel costs as much as a hundred events

DeviceList *list;

QList<DeviceListItem *> panels()
{
    return list->findChildren<DeviceListItem *>();
}

// What a device says is shown as it is, on one line, and never as rich text; rows are in the order of their
// handles, each handle once.
void check(const DeviceListItem &panel)
{
    for (const char *name : {"address", "status", "rssi"}) {
        const auto *label = panel.findChild<QLabel *>(QLatin1String(name));
        REQUIRE(label && label->textFormat() == Qt::PlainText && label->text().size() < 20'000);
    }
    const auto *const table = panel.findChild<QTableWidget *>();
    int last = 0;
    for (int row = 0; row < table->rowCount(); ++row) {
        const QTableWidgetItem *handle = table->item(row, 0);
        REQUIRE(handle && handle->text().toInt() > last);
        last = handle->text().toInt();
    }
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
        const uint16 word = event % 10 >= 3 && event % 10 <= 7 ? input.word() : uint16(0);
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
        case 3: list->evt_disconnected(handle, word); break;
        case 4: {
            const uint16 end = input.word();
            list->evt_service_found(handle, word, end, input.counted());
            break;
        }
        case 5: list->evt_characteristic_found(handle, 1, word, 2, input.counted()); break;
        case 6: list->evt_find_information_found(handle, word, input.counted()); break;
        case 7: list->evt_characteristic_value(handle, word, 0, input.counted()); break;
        case 8:
            if (!devices.empty()) {
                DeviceListItem *const panel = panels().at(device % panels().size());
                panel->findChild<QTableWidget *>()->selectRow(input.byte());
                const auto buttons = panel->findChildren<QPushButton *>();
                buttons.at(input.byte() % buttons.size())->click();
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
    for (const DeviceListItem *panel : panels())
        check(*panel);
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
