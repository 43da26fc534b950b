#include "tests/protocol/catalogue.h"

// One line a message: class, id, name, then for each direction the fixed length and the fields in wire order.
// "uint16!" is a result code that the log shows with its words.

const char *const catalogue::commands_and_responses = R"(
0 0 reset | 1 uint8 boot_in_dfu | 0
0 1 hello | 0 | 0
0 2 address_get | 0 | 6 bd_addr address
0 3 reg_write | 3 uint16 address, uint8 value | 2 uint16! result
0 4 reg_read | 2 uint16 address | 3 uint16 address, uint8 value
0 5 get_counters | 0 | 5 uint8 txok, uint8 txretry, uint8 rxok, uint8 rxfail, uint8 mbuf
0 6 get_connections | 0 | 1 uint8 maxconn
0 7 read_memory | 5 uint32 address, uint8 length | 5 uint32 address, uint8array data
0 8 get_info | 0 | 12 uint16 major, uint16 minor, uint16 patch, uint16 build, uint16 ll_version, uint8 protocol_version, uint8 hw
0 9 endpoint_tx | 2 uint8 endpoint, uint8array data | 2 uint16! result
0 10 whitelist_append | 7 bd_addr address, uint8 address_type | 2 uint16! result
0 11 whitelist_remove | 7 bd_addr address, uint8 address_type | 2 uint16! result
0 12 whitelist_clear | 0 | 0
0 13 endpoint_rx | 2 uint8 endpoint, uint8 size | 3 uint16! result, uint8array data
0 14 endpoint_set_watermarks | 3 uint8 endpoint, uint8 rx, uint8 tx | 2 uint16! result
0 15 aes_setkey | 1 uint8array key | 0
0 16 aes_encrypt | 1 uint8array data | 1 uint8array data
0 17 aes_decrypt | 1 uint8array data | 1 uint8array data
0 18 usb_enumeration_status_get | 0 | 3 uint16! result, uint8 status
0 19 get_bootloader_crc | 0 | 2 uint16 crc
0 20 delay_reset | 3 uint8 dfu, uint16 delay_ms | 0
1 0 ps_defrag | 0 | 0
1 1 ps_dump | 0 | 0
1 2 ps_erase_all | 0 | 0
1 3 ps_save | 3 uint16 key, uint8array value | 2 uint16! result
1 4 ps_load | 2 uint16 key | 3 uint16! result, uint8array value
1 5 ps_erase | 2 uint16 key | 0
1 6 erase_page | 1 uint8 page | 2 uint16! result
1 7 write_data | 5 uint32 address, uint8array data | 2 uint16! result
1 8 read_data | 5 uint32 address, uint8 length | 1 uint8array data
2 0 write | 4 uint16 handle, uint8 offset, uint8array value | 2 uint16! result
2 1 read | 4 uint16 handle, uint16 offset | 7 uint16 handle, uint16 offset, uint16! result, uint8array value
2 2 read_type | 2 uint16 handle | 5 uint16 handle, uint16! result, uint8array value
2 3 user_read_response | 3 uint8 connection, uint8 att_error, uint8array value | 0
2 4 user_write_response | 2 uint8 connection, uint8 att_error | 0
2 5 send | 4 uint8 connection, uint16 handle, uint8array value | 2 uint16! result
3 0 disconnect | 1 uint8 connection | 3 uint8 connection, uint16! result
3 1 get_rssi | 1 uint8 connection | 2 uint8 connection, int8 rssi
3 2 update | 9 uint8 connection, uint16 interval_min, uint16 interval_max, uint16 latency, uint16 timeout | 3 uint8 connection, uint16! result
3 3 version_update | 1 uint8 connection | 3 uint8 connection, uint16! result
3 4 channel_map_get | 1 uint8 connection | 2 uint8 connection, uint8array map
3 5 channel_map_set | 2 uint8 connection, uint8array map | 3 uint8 connection, uint16! result
3 6 features_get | 1 uint8 connection | 3 uint8 connection, uint16! result
3 7 get_status | 1 uint8 connection | 1 uint8 connection
3 8 raw_tx | 2 uint8 connection, uint8array data | 1 uint8 connection
3 9 slave_latency_disable | 1 uint8 disable | 2 uint16! result
4 0 find_by_type_value | 8 uint8 connection, uint16 start, uint16 end, uint16 uuid, uint8array value | 3 uint8 connection, uint16! result
4 1 read_by_group_type | 6 uint8 connection, uint16 start, uint16 end, uint8array uuid | 3 uint8 connection, uint16! result
4 2 read_by_type | 6 uint8 connection, uint16 start, uint16 end, uint8array uuid | 3 uint8 connection, uint16! result
4 3 find_information | 5 uint8 connection, uint16 start, uint16 end | 3 uint8 connection, uint16! result
4 4 read_by_handle | 3 uint8 connection, uint16 chrhandle | 3 uint8 connection, uint16! result
4 5 attribute_write | 4 uint8 connection, uint16 atthandle, uint8array data | 3 uint8 connection, uint16! result
4 6 write_command | 4 uint8 connection, uint16 atthandle, uint8array data | 3 uint8 connection, uint16! result
4 7 indicate_confirm | 1 uint8 connection | 2 uint16! result
4 8 read_long | 3 uint8 connection, uint16 chrhandle | 3 uint8 connection, uint16! result
4 9 prepare_write | 6 uint8 connection, uint16 atthandle, uint16 offset, uint8array data | 3 uint8 connection, uint16! result
4 10 execute_write | 2 uint8 connection, uint8 commit | 3 uint8 connection, uint16! result
4 11 read_multiple | 2 uint8 connection, uint8array handles | 3 uint8 connection, uint16! result
5 0 encrypt_start | 2 uint8 handle, uint8 bonding | 3 uint8 handle, uint16! result
5 1 set_bondable_mode | 1 uint8 bondable | 0
5 2 delete_bonding | 1 uint8 handle | 2 uint16! result
5 3 set_parameters | 3 uint8 mitm, uint8 min_key_size, uint8 io_capabilities | 0
5 4 passkey_entry | 5 uint8 handle, uint32 passkey | 2 uint16! result
5 5 get_bonds | 0 | 1 uint8 bonds
5 6 set_oob_data | 1 uint8array oob | 0
5 7 whitelist_bonds | 0 | 3 uint16! result, uint8 count
5 8 set_pairing_distribution_keys | 2 uint8 initiator_keys, uint8 responder_keys | 2 uint16! result
6 0 set_privacy_flags | 2 uint8 peripheral_privacy, uint8 central_privacy | 0
6 1 set_mode | 2 uint8 discover, uint8 connect | 2 uint16! result
6 2 discover | 1 uint8 mode | 2 uint16! result
6 3 connect_direct | 15 bd_addr address, uint8 addr_type, uint16 conn_interval_min, uint16 conn_interval_max, uint16 timeout, uint16 latency | 3 uint16! result, uint8 connection_handle
6 4 end_procedure | 0 | 2 uint16! result
6 5 connect_selective | 8 uint16 conn_interval_min, uint16 conn_interval_max, uint16 timeout, uint16 latency | 3 uint16! result, uint8 connection_handle
6 6 set_filtering | 3 uint8 scan_policy, uint8 adv_policy, uint8 scan_duplicate_filtering | 2 uint16! result
6 7 set_scan_parameters | 5 uint16 scan_interval, uint16 scan_window, uint8 active | 2 uint16! result
6 8 set_adv_parameters | 5 uint16 adv_interval_min, uint16 adv_interval_max, uint8 adv_channels | 2 uint16! result
6 9 set_adv_data | 2 uint8 set_scanrsp, uint8array adv_data | 2 uint16! result
6 10 set_directed_connectable_mode | 7 bd_addr address, uint8 addr_type | 2 uint16! result
6 11 set_initiating_con_parameters | 4 uint16 scan_interval, uint16 scan_window | 2 uint16! result
6 12 set_nonresolvable_address | 6 bd_addr address | 2 uint16! result
7 0 io_port_config_irq | 3 uint8 port, uint8 enable_bits, uint8 falling_edge | 2 uint16! result
7 1 set_soft_timer | 6 uint32 time, uint8 handle, uint8 single_shot | 2 uint16! result
7 2 adc_read | 3 uint8 input, uint8 decimation, uint8 reference_selection | 2 uint16! result
7 3 io_port_config_direction | 2 uint8 port, uint8 direction | 2 uint16! result
7 4 io_port_config_function | 2 uint8 port, uint8 function | 2 uint16! result
7 5 io_port_config_pull | 3 uint8 port, uint8 tristate_mask, uint8 pull_up | 2 uint16! result
7 6 io_port_write | 3 uint8 port, uint8 mask, uint8 data | 2 uint16! result
7 7 io_port_read | 2 uint8 port, uint8 mask | 4 uint16! result, uint8 port, uint8 data
7 8 spi_config | 6 uint8 channel, uint8 polarity, uint8 phase, uint8 bit_order, uint8 baud_e, uint8 baud_m | 2 uint16! result
7 9 spi_transfer | 2 uint8 channel, uint8array data | 4 uint16! result, uint8 channel, uint8array data
7 10 i2c_read | 3 uint8 address, uint8 stop, uint8 length | 3 uint16! result, uint8array data
7 11 i2c_write | 3 uint8 address, uint8 stop, uint8array data | 1 uint8 written
7 12 set_txpower | 1 uint8 power | 0
7 13 timer_comparator | 5 uint8 timer, uint8 channel, uint8 mode, uint16 comparator_value | 2 uint16! result
7 14 io_port_irq_enable | 2 uint8 port, uint8 enable_bits | 2 uint16! result
7 15 io_port_irq_direction | 2 uint8 port, uint8 falling_edge | 2 uint16! result
7 16 analog_comparator_enable | 1 uint8 enable | 0
7 17 analog_comparator_read | 0 | 3 uint16! result, uint8 output
7 18 analog_comparator_config_irq | 1 uint8 enabled | 2 uint16! result
7 19 set_rxgain | 1 uint8 gain | 0
7 20 usb_enable | 1 uint8 enable | 2 uint16! result
7 21 sleep_enable | 1 uint8 enable | 2 uint16! result
7 22 get_timestamp | 0 | 4 uint32 value
8 0 phy_tx | 3 uint8 channel, uint8 length, uint8 type | 0
8 1 phy_rx | 1 uint8 channel | 0
8 2 phy_end | 0 | 2 uint16 counter
8 3 phy_reset | 0 | 0
8 4 get_channel_map | 0 | 1 uint8array channel_map
8 5 debug | 2 uint8 opcode, uint8array input | 2 uint8 opcode, uint8array output
8 6 channel_mode | 1 uint8 mode | 0
9 0 reset | 1 uint8 dfu | 0
9 1 flash_set_address | 4 uint32 address | 2 uint16! result
9 2 flash_upload | 1 uint8array data | 2 uint16! result
9 3 flash_upload_finish | 0 | 2 uint16! result
9 4 get_bootloader_crc | 0 | 2 uint16 crc
9 5 delay_reset | 3 uint8 dfu, uint16 delay_ms | 0
)";

const char *const catalogue::events = R"(
0 0 boot | 12 uint16 major, uint16 minor, uint16 patch, uint16 build, uint16 ll_version, uint8 protocol_version, uint8 hw
0 1 debug | 1 uint8array data
0 2 endpoint_watermark_rx | 2 uint8 endpoint, uint8 data
0 3 endpoint_watermark_tx | 2 uint8 endpoint, uint8 data
0 4 script_failure | 4 uint16 address, uint16! reason
0 5 no_license_key | 0
0 6 protocol_error | 2 uint16! reason
0 7 usb_enumerated | 1 uint8 state
1 0 ps_key | 3 uint16 key, uint8array value
2 0 value | 7 uint8 connection, uint8 reason, uint16 handle, uint16 offset, uint8array value
2 1 user_read_request | 6 uint8 connection, uint16 handle, uint16 offset, uint8 maxsize
2 2 status | 3 uint16 handle, uint8 flags
3 0 status | 16 uint8 connection, uint8 flags, bd_addr address, uint8 address_type, uint16 conn_interval, uint16 timeout, uint16 latency, uint8 bonding
3 1 version_ind | 6 uint8 connection, uint8 vers_nr, uint16 comp_id, uint16 sub_vers_nr
3 2 feature_ind | 2 uint8 connection, uint8array features
3 3 raw_rx | 2 uint8 connection, uint8array data
3 4 disconnected | 3 uint8 connection, uint16! reason
4 0 indicated | 3 uint8 connection, uint16 attrhandle
4 1 procedure_completed | 5 uint8 connection, uint16! result, uint16 chrhandle
4 2 group_found | 6 uint8 connection, uint16 start, uint16 end, uint8array uuid
4 3 attribute_found | 7 uint8 connection, uint16 chrdecl, uint16 value, uint8 properties, uint8array uuid
4 4 find_information_found | 4 uint8 connection, uint16 chrhandle, uint8array uuid
4 5 attribute_value | 5 uint8 connection, uint16 atthandle, uint8 type, uint8array value
4 6 read_multiple_response | 2 uint8 connection, uint8array handles
5 0 smp_data | 3 uint8 handle, uint8 packet, uint8array data
5 1 bonding_fail | 3 uint8 handle, uint16 result
5 2 passkey_display | 5 uint8 handle, uint32 passkey
5 3 passkey_request | 1 uint8 handle
5 4 bond_status | 4 uint8 bond, uint8 keysize, uint8 mitm, uint8 keys
6 0 scan_response | 11 int8 rssi, uint8 packet_type, bd_addr sender, uint8 address_type, uint8 bond, uint8array data
6 1 mode_changed | 2 uint8 discover, uint8 connect
7 0 io_port_status | 7 uint32 timestamp, uint8 port, uint8 irq, uint8 state
7 1 soft_timer | 1 uint8 handle
7 2 adc_result | 3 uint8 input, int16 value
7 3 analog_comparator_status | 5 uint32 timestamp, uint8 output
7 4 radio_error | 0
9 0 boot | 4 uint32 version
)";
