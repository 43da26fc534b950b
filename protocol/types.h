#pragma once

#include <QMetaType>

// The protocol's fixed-width integers. Little-endian on the wire, native here.
using uint8 = unsigned char;
using int8 = signed char;
using uint16 = unsigned short;
using int16 = short;
using uint32 = unsigned int;

// A Bluetooth device address as it lies on the wire: addr[0] is sent first and shown last.
struct bd_addr
{
    uint8 addr[6];
};
Q_DECLARE_METATYPE(bd_addr)

// Makes uint8, uint16, bd_addr and api_base::msg_type known by name, so that they can pass through queued
// signals. Called once, before any object of the program exists.
void register_meta_types();
