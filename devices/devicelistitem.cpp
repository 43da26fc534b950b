#include "devices/devicelistitem.h"

#include "devices/attributenames.h"
#include "devices/attributetable.h"
#include "protocol/conversions.h"
#include "ui_devicelistitem.h"
#include "widgets/buttonwidth.h"

#include <algorithm>
#include <bitset>
#include <climits>
#include <iterator>

namespace {

constexpr uint8 noConnection = 0xff;
constexpr int shortUuidSize = 2; // bytes

enum AdvertisingType { flagsElement = 1, shortenedNameElement = 8, completeNameElement = 9 };

const char *const flagNames[] = {"Limited ", "General ", "No_BREDR ", "BRD_Slave ", "BRD_Host "};

constexpr int scanResponse = 4;
const char *const packetNames[16] = {
    "Connectable undirected",     // 0
    "Connectable directed",       // 1
    "Non-connectable undirected", // 2
    "Scan Req",                   // 3
    "",                           // a scan response goes its own way
    "Connect Req",                // 5
    "Scannable undirected",       // 6
};

QString flagText(int flags)
{
    QString text;
    for (unsigned bit = 0; bit < std::size(flagNames); ++bit) {
        if ((flags >> bit & 1) != 0)
            text += QLatin1String(flagNames[bit]);
    }
    return text;
}

// A zero byte does not end the text.
QString wholeUtf8(const QByteArray &text)
{
    return QString::fromUtf8(text.constData(), text.size());
}

// Most advertisements say what the one before said.
void setText(QLabel *label, const QString &text)
{
    if (label->text() != text)
        label->setText(text);
}

} // namespace

DeviceListItem::DeviceListItem(QWidget *parent)
    : QWidget(parent)
    , ui(std::make_unique<Ui::DeviceListItem>())
    , handle(noConnection)
{
    ui->setupUi(this);
    for (QPushButton *button : findChildren<QPushButton *>())
        setMinimumWidthFor(button, button->text());
    setMinimumWidthFor(ui->pushConnect, QStringLiteral("Disconnect"));
    sizeTable();
    ui->pages->hide();
}

DeviceListItem::~DeviceListItem() = default;

// Makes the table eight rows of its font high.
void DeviceListItem::sizeTable()
{
    QTableWidget *const table = ui->tableGATT;
    const int rowHeight = table->fontMetrics().height() + 4;
    table->verticalHeader()->setMinimumSectionSize(rowHeight);
    table->verticalHeader()->setDefaultSectionSize(rowHeight);
    table->setMinimumHeight(table->horizontalHeader()->sizeHint().height() + 8 * rowHeight +
                            2 * table->frameWidth());
}

void DeviceListItem::setAddress(bd_addr newAddress, uint8 addrtype)
{
    address = newAddress;
    addr_type = addrtype;
    const QLatin1String kind(addrtype == 0 ? "Public" : "Random");
    ui->name->setTitle(QStringLiteral("%1: %2").arg(kind, address_text(address)));
}

bool DeviceListItem::hasAddress(const bd_addr &other, uint8 addrtype) const
{
    return addr_type == addrtype && std::equal(std::begin(address.addr), std::end(address.addr), other.addr);
}

const QPushButton *DeviceListItem::unfoldButton() const
{
    return ui->pushShow;
}

void DeviceListItem::showRssi(int8 rssi)
{
    setText(ui->rssi, QStringLiteral("%1 dBm").arg(int(rssi)));
}

void DeviceListItem::setScanData(int8 rssi, uint8 header, QByteArray advertising)
{
    showRssi(rssi);
    const QString flagsSeen = readAdvertisingData(advertising);
    const int type = header & 0x0f;
    if (type != scanResponse) {
        setText(ui->status, flagsSeen + QLatin1String(packetNames[type]));
        return;
    }
    // Responses pile up until the next advertisement, but not for ever: each would take longer than the one
    // before, and nobody sees that far.
    const QString status = ui->status->text();
    if (status.size() <= 10'000)
        ui->status->setText(status + QLatin1String(" Scan Rsp"));
}

// Takes name and flags from the data and gives the flags as text.
QString DeviceListItem::readAdvertisingData(const QByteArray &advertising)
{
    QString text;
    // The position has 8 bits. Data beyond 256 bytes, which no frame can carry, lead back to the start, so a
    // place that was read before ends the walk.
    std::bitset<256> seen;
    uint8 position = 0;
    while (position < advertising.size() && !seen.test(position)) {
        seen.set(position);
        const auto length = int8(advertising.at(position)); // signed: 128 and more end the walk
        if (length <= 1 || position + length >= advertising.size())
            break;
        const QByteArray content = advertising.mid(position + 2, length - 1);
        switch (advertising.at(position + 1)) {
        case shortenedNameElement: setText(ui->address, wholeUtf8(content) + QLatin1String("...")); break;
        case completeNameElement: setText(ui->address, wholeUtf8(content)); break;
        case flagsElement:
            // NOLINTNEXTLINE(bugprone-signed-char-misuse): the sign is to be extended
            flags = int8(content.at(0));
            text += flagText(flags);
            break;
        default: break;
        }
        position = uint8(position + length + 1);
    }
    return text;
}

void DeviceListItem::setConnected(bool connected, uint16 value)
{
    handle = connected ? uint8(value) : noConnection;
    const QString hex = QString::number(value, 16);
    ui->status->setText(connected ? QStringLiteral("Connected handle:0x%1").arg(hex)
                                  : QStringLiteral("Disconnected Reason: 0x%1").arg(hex));
    ui->pushConnect->setText(connected ? QStringLiteral("Disconnect") : QStringLiteral("Connect"));
    ui->pushEncrypt->setEnabled(connected);
    ui->pushUpdate->setEnabled(connected);
}

void DeviceListItem::dev_mode(bool enabled)
{
    if (enabled)
        ui->pages->insertTab(1, ui->tab_2, QStringLiteral("LL"));
    else
        ui->pages->removeTab(1);
}

void DeviceListItem::evt_characteristic_value(uint16 chrhandle, uint8, QByteArray value)
{
    if (chrhandle != 0)
        setCell(rowForHandle(chrhandle), AttributeTable::rawColumn, hex_text(value));
}

void DeviceListItem::evt_service_found(uint16 start, uint16 end, QByteArray uuid)
{
    if (start == 0)
        return;
    const int row = rowForHandle(start);
    setCell(row, AttributeTable::groupEndColumn, QString::number(end));
    setUuid(row, uuid);
}

void DeviceListItem::evt_characteristic_found(uint16, uint16 value, uint8, QByteArray uuid)
{
    if (value != 0)
        setUuid(rowForHandle(value), uuid);
}

void DeviceListItem::evt_characteristic_error(uint16, uint8)
{
    // The log tells of it.
}

void DeviceListItem::evt_find_information_found(uint16 chrhandle, QByteArray uuid)
{
    if (chrhandle != 0)
        setUuid(rowForHandle(chrhandle), uuid);
}

void DeviceListItem::rsp_get_status(uint8 connection, int8 rssi)
{
    if (connection == handle)
        showRssi(rssi);
}

// The row of the attribute, made in its place if there is none.
int DeviceListItem::rowForHandle(uint16 attribute)
{
    QTableWidget *const table = ui->tableGATT;
    int row = 0;
    int end = table->rowCount();
    while (row < end) {
        const int middle = (row + end) / 2;
        const int there = table->item(middle, AttributeTable::handleColumn)->text().toInt();
        if (there == attribute)
            return middle;
        if (there < attribute)
            row = middle + 1;
        else
            end = middle;
    }
    table->insertRow(row);
    setCell(row, AttributeTable::handleColumn, QString::number(attribute));
    return row;
}

void DeviceListItem::setCell(int row, int column, const QString &text)
{
    ui->tableGATT->setItem(row, column, new QTableWidgetItem(text));
}

void DeviceListItem::setUuid(int row, QByteArray uuid)
{
    reverse_bytes(uuid);
    setCell(row, AttributeTable::uuidColumn, hex_text(uuid));
    const QString name = attributeName(uuid);
    setCell(row, AttributeTable::descriptionColumn, name);
    // A UUID of 128 bits needs the width of both columns, and seldom has a name.
    const int columns = uuid.size() > shortUuidSize && name.isEmpty() ? 2 : 1;
    if (ui->tableGATT->columnSpan(row, AttributeTable::uuidColumn) != columns)
        ui->tableGATT->setSpan(row, AttributeTable::uuidColumn, 1, columns);
}

// The lowest and the highest of the handles and group ends in the selected rows; all handles if there are
// none.
void DeviceListItem::selectedRange(int &start, int &end) const
{
    start = INT_MAX;
    end = INT_MIN;
    for (const QTableWidgetItem *cell : ui->tableGATT->selectedItems()) {
        bool isNumber = false;
        const int number = cell->text().toInt(&isNumber);
        if (cell->column() > AttributeTable::groupEndColumn || !isNumber)
            continue;
        start = std::min(start, number);
        end = std::max(end, number);
    }
    if (start > end) {
        start = 1;
        end = 0xffff;
    }
}

uint16 DeviceListItem::selectedHandle() const
{
    int start = 0;
    int end = 0;
    selectedRange(start, end);
    return uint16(start);
}

QByteArray DeviceListItem::valueToWrite() const
{
    return hex_bytes(ui->lineEditAttr->text());
}

void DeviceListItem::on_pushGATTWriteCommand_clicked()
{
    Q_EMIT AttributeWriteCommand(handle, selectedHandle(), valueToWrite());
}

void DeviceListItem::on_pushVersion_clicked()
{
    Q_EMIT cmd_version_update(handle);
}

void DeviceListItem::on_pushFeature_clicked()
{
    Q_EMIT cmd_features_get(handle);
}

void DeviceListItem::on_pushGATTWrite_clicked()
{
    Q_EMIT AttributeWrite(handle, selectedHandle(), valueToWrite());
}

void DeviceListItem::on_pushGATTRead_clicked()
{
    Q_EMIT AttributeRead(handle, selectedHandle());
}

void DeviceListItem::on_pushEncrypt_clicked()
{
    Q_EMIT EncryptConnection(handle, 1); // always with bonding
}

void DeviceListItem::on_pushGATTDescriptors_clicked()
{
    int start = 0;
    int end = 0;
    selectedRange(start, end);
    Q_EMIT cmd_find_information(handle, uint16(start), uint16(end));
}

void DeviceListItem::on_pushGATTCharacteristicDiscover_clicked()
{
    int start = 0;
    int end = 0;
    selectedRange(start, end);
    // Characteristic declaration, 0x2803.
    Q_EMIT cmd_read_by_type(handle, uint16(start), uint16(end), QByteArray::fromHex("0328"));
}

void DeviceListItem::on_pushGATTServiceDiscover_clicked()
{
    // Primary service, 0x2800.
    Q_EMIT cmd_read_by_group_type(handle, 1, 0xffff, QByteArray::fromHex("0028"));
}

void DeviceListItem::on_pushGATTClear_clicked()
{
    ui->tableGATT->setRowCount(0);
}

void DeviceListItem::on_pushShow_toggled(bool checked)
{
    ui->pages->setVisible(checked);
    // The list reads the new size of the panel at once.
    ui->name->layout()->activate();
    layout()->activate();
}

void DeviceListItem::on_pushConnect_clicked()
{
    if (ui->pushConnect->text() == QLatin1String("Connect"))
        Q_EMIT Connect(address, addr_type);
    else
        Q_EMIT Disconnect(handle);
}

void DeviceListItem::on_pushUpdate_clicked()
{
    Q_EMIT cmd_get_status(handle);
}

void DeviceListItem::on_pushGATTReadLong_clicked()
{
    Q_EMIT AttributeReadLong(handle, selectedHandle());
}
