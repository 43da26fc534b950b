#include "protocol/cls_ble.h"

#include "protocol/error_table.h"

#include <QtEndian>

#include <utility>

namespace {

constexpr int header_size = 4;
constexpr uint8 never_set_bits = 0x78;
constexpr uint8 event_bit = 0x80;

int counted(int counter)
{
    return int(unsigned(counter) + 1U);
}

} // namespace

cls_ble::cls_ble(QObject *parent)
    : QObject(parent)
    , system(this)
    , flash(this)
    , attributes(this)
    , connection(this)
    , attclient(this)
    , sm(this)
    , gap(this)
    , hardware(this)
    , test(this)
    , dfu(this)
{
    fill_error_table();
}

const message_record *cls_ble::find_response_or_event(uint32 header)
{
    const uint32 message_class = (header >> 16) & 0xff;
    const uint32 message_id = header >> 24;
    if (message_class >= class_count)
        return nullptr;
    const record_row &row = (header & event_bit ? event_table : response_table)[message_class];
    return message_id < (row.count & 0xff) ? row.records[message_id] : nullptr;
}

void cls_ble::set_flow_control(bool on)
{
    flow_control = on;
}

void cls_ble::reset_queue()
{
    tx_count = 0;
    rx_count = 0;
    tx_queue.clear();
}

void cls_ble::log_message(QStringList list)
{
    Q_EMIT parsed_message_str(std::move(list));
}

void cls_ble::rx_data(QByteArray data)
{
    rx_buffer.append(data);
    if (receiving)
        return;
    receiving = true;
    while (take_frame()) {
    }
    // Once a call, since removing each frame by itself would move the rest of the buffer every time.
    rx_buffer = rx_buffer.mid(rx_taken);
    rx_taken = 0;
    receiving = false;
}

// Consumes one frame or one byte that cannot start a frame. False if more bytes are needed first.
bool cls_ble::take_frame()
{
    const int available = rx_buffer.size() - rx_taken;
    if (available < header_size)
        return false;
    const char *head = rx_buffer.constData() + rx_taken;
    const auto first = uint8(head[0]);
    if (first & never_set_bits) {
        ++rx_taken;
        return true;
    }
    const message_record *record = find_response_or_event(qFromLittleEndian<uint32>(head));
    const int total = (((first & 7) << 8) | uint8(head[1])) + header_size;
    if (total > available)
        return false;
    if (record)
        record->handler(this, {head + header_size, total - header_size});
    // A receiver may have called rx_data(), which may have moved the buffer.
    Q_EMIT parsed_message_data(rx_buffer.mid(rx_taken, total));
    if (!(first & event_bit))
        rx_count = counted(rx_count);
    rx_taken += total;
    send_next_queued();
    return true;
}

void cls_ble::send_next_queued()
{
    if (rx_count != tx_count || tx_queue.isEmpty())
        return;
    tx_count = counted(rx_count);
    Q_EMIT tx_data(tx_queue.takeFirst());
}

void cls_ble::send_message(uint8 header_len, const char *header, uint16 array_len, const char *array)
{
    QByteArray frame;
    frame.reserve(header_len + array_len);
    frame.append(header, header_len);
    frame.append(array, array_len);
    // Once something waits, all must line up behind it, whatever flow control says by now.
    if (!tx_queue.isEmpty() || (flow_control && tx_count != rx_count)) {
        tx_queue.append(frame);
        return;
    }
    tx_count = counted(tx_count);
    Q_EMIT tx_data(frame);
}
