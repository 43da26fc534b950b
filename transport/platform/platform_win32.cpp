#include "transport/platform/platform.h"

#include <windows.h>

#include <setupapi.h>

#include <cstring>

namespace vs {

namespace {

static_assert(sizeof(handle) == sizeof(HANDLE));
static_assert(sizeof(transfer) == sizeof(OVERLAPPED) &&
              offsetof(transfer, event) == offsetof(OVERLAPPED, hEvent));
static_assert(sizeof(line_state) == sizeof(DCB) &&
              offsetof(line_state, event_char) == offsetof(DCB, EvtChar));
static_assert(sizeof(device_record) == sizeof(SP_DEVINFO_DATA) &&
              offsetof(device_record, instance) == offsetof(SP_DEVINFO_DATA, DevInst));
static_assert(error_io_pending == ERROR_IO_PENDING);
static_assert(one_stop_bit == ONESTOPBIT && dtr_enable == DTR_CONTROL_ENABLE &&
              rts_handshake == RTS_CONTROL_HANDSHAKE);

// Serial and parallel ports.
constexpr GUID ports_class = {0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

HANDLE native(handle any)
{
    return reinterpret_cast<HANDLE>(any);
}

handle portable(void *any)
{
    return reinterpret_cast<handle>(any);
}

OVERLAPPED *native(transfer &state)
{
    return reinterpret_cast<OVERLAPPED *>(&state);
}

// A port without timeouts has nothing to end a transfer early with; a driver that moves nothing has lost its
// device, and to try again would go on for ever.
bool has_moved(DWORD count)
{
    if (count == 0)
        SetLastError(ERROR_HANDLE_EOF);
    return count != 0;
}

SP_DEVINFO_DATA *native(device_record &device)
{
    return reinterpret_cast<SP_DEVINFO_DATA *>(&device);
}

} // namespace

handle open_port(const char *path)
{
    const HANDLE port = CreateFileA(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OVERLAPPED, nullptr);
    if (port == INVALID_HANDLE_VALUE)
        return invalid_handle;
    // A file or pipe opens as well, and would be written over. Drivers of some adapters name no type.
    const DWORD type = GetFileType(port);
    if (type != FILE_TYPE_CHAR && type != FILE_TYPE_UNKNOWN) {
        CloseHandle(port);
        SetLastError(ERROR_BAD_DEV_TYPE);
        return invalid_handle;
    }
    return portable(port);
}

bool set_queue_sizes(handle port, std::uint32_t input, std::uint32_t output)
{
    return SetupComm(native(port), input, output) != FALSE;
}

bool clear_timeouts(handle port)
{
    COMMTIMEOUTS timeouts = {};
    return SetCommTimeouts(native(port), &timeouts) != FALSE;
}

bool get_line_state(handle port, line_state &state)
{
    DCB block;
    std::memcpy(&block, &state, sizeof block);
    if (GetCommState(native(port), &block) == FALSE)
        return false;
    std::memcpy(&state, &block, sizeof block);
    return true;
}

bool set_line_state(handle port, const line_state &state)
{
    DCB block;
    std::memcpy(&block, &state, sizeof block);
    return SetCommState(native(port), &block) != FALSE;
}

handle create_event()
{
    return portable(CreateEventW(nullptr, FALSE, FALSE, nullptr));
}

bool set_event(handle event)
{
    return SetEvent(native(event)) != FALSE;
}

bool close_handle(handle any)
{
    return CloseHandle(native(any)) != FALSE;
}

bool poll_event(handle event)
{
    return WaitForSingleObject(native(event), 0) == WAIT_OBJECT_0;
}

int wait_for_either(handle first, handle second)
{
    const HANDLE events[] = {native(first), native(second)};
    const DWORD result = WaitForMultipleObjects(2, events, FALSE, INFINITE);
    return result <= WAIT_OBJECT_0 + 1 ? int(result - WAIT_OBJECT_0) : -1;
}

bool start_read(handle port, void *buffer, std::uint32_t count, std::uint32_t &moved, transfer &state)
{
    DWORD done = 0;
    const bool ended = ReadFile(native(port), buffer, count, &done, native(state)) != FALSE;
    moved = done;
    return ended && has_moved(done);
}

bool start_write(handle port, const void *buffer, std::uint32_t count, std::uint32_t &moved, transfer &state)
{
    DWORD done = 0;
    const bool ended = WriteFile(native(port), buffer, count, &done, native(state)) != FALSE;
    moved = done;
    return ended && has_moved(done);
}

bool transfer_result(handle port, transfer &state, std::uint32_t &moved)
{
    DWORD done = 0;
    const bool succeeded = GetOverlappedResult(native(port), native(state), &done, TRUE) != FALSE;
    moved = done;
    return succeeded && has_moved(done);
}

bool cancel_transfers(handle port, transfer &state)
{
    const bool cancelled = CancelIo(native(port)) != FALSE;
    // The system writes to the caller's record and buffer until the transfer has really ended.
    DWORD done = 0;
    GetOverlappedResult(native(port), native(state), &done, TRUE);
    return cancelled;
}

std::uint32_t last_error()
{
    return GetLastError();
}

const char *port_path_prefix()
{
    return "\\\\.\\";
}

handle open_device_list()
{
    return portable(SetupDiGetClassDevsW(&ports_class, nullptr, nullptr, DIGCF_PRESENT));
}

bool device_at(handle list, std::uint32_t index, device_record &device)
{
    return SetupDiEnumDeviceInfo(native(list), index, native(device)) != FALSE;
}

bool friendly_name(handle list, device_record &device, char *buffer, std::uint32_t size,
                   std::uint32_t *needed)
{
    DWORD required = 0;
    const bool copied =
        SetupDiGetDeviceRegistryPropertyA(native(list), native(device), SPDRP_FRIENDLYNAME, nullptr,
                                          reinterpret_cast<BYTE *>(buffer), size, &required) != FALSE;
    if (needed)
        *needed = required;
    return copied;
}

handle open_device_key(handle list, device_record &device)
{
    return portable(
        SetupDiOpenDevRegKey(native(list), native(device), DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ));
}

bool query_port_name(handle key, char *buffer, std::uint32_t &size)
{
    DWORD type = REG_SZ;
    DWORD length = size;
    const LSTATUS status = RegQueryValueExA(reinterpret_cast<HKEY>(key), "PortName", nullptr, &type,
                                            reinterpret_cast<BYTE *>(buffer), &length);
    size = length;
    return status == ERROR_SUCCESS;
}

void close_device_key(handle key)
{
    RegCloseKey(reinterpret_cast<HKEY>(key));
}

void destroy_device_list(handle list)
{
    SetupDiDestroyDeviceInfoList(native(list));
}

} // namespace vs
