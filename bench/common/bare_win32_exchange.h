#pragma once

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

// What a serial port of Windows gives with nothing of ours in the way: four bytes out and four back, so many
// times, by overlapped transfers.

constexpr int exchanges = 1000;
constexpr char hello[] = {0x00, 0x00, 0x00, 0x01}; // the command and its response are the same four bytes

[[noreturn]] inline void giveUp(const char *what)
{
    std::printf("%s: %lu\n", what, GetLastError());
    std::exit(1);
}

class Stopwatch
{
public:
    Stopwatch() { QueryPerformanceCounter(&begin); }
    double seconds() const
    {
        LARGE_INTEGER now, frequency;
        QueryPerformanceCounter(&now);
        QueryPerformanceFrequency(&frequency);
        return double(now.QuadPart - begin.QuadPart) / double(frequency.QuadPart);
    }

private:
    LARGE_INTEGER begin;
};

// Exchanges a second on the port at `path`, whose other end answers every four bytes with the same four.
inline double bareRate(const char *path)
{
    const HANDLE port = CreateFileA(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OVERLAPPED, nullptr);
    COMMTIMEOUTS none = {};
    if (port == INVALID_HANDLE_VALUE || !SetCommTimeouts(port, &none))
        giveUp("the port does not open");
    OVERLAPPED reading = {}, writing = {};
    reading.hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    writing.hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const Stopwatch watch;
    for (int count = 0; count < exchanges; ++count) {
        char got[sizeof hello] = {};
        DWORD moved = 0;
        if (!WriteFile(port, hello, sizeof hello, &moved, &writing) &&
            (GetLastError() != ERROR_IO_PENDING || !GetOverlappedResult(port, &writing, &moved, TRUE)))
            giveUp("the bare exchange cannot write");
        if (!ReadFile(port, got, sizeof got, &moved, &reading) &&
            (GetLastError() != ERROR_IO_PENDING || !GetOverlappedResult(port, &reading, &moved, TRUE)))
            giveUp("the bare exchange cannot read");
        if (moved != sizeof got || std::memcmp(got, hello, sizeof got) != 0)
            giveUp("the bare exchange broke off");
    }
    const double seconds = watch.seconds();
    for (HANDLE each : {port, reading.hEvent, writing.hEvent})
        CloseHandle(each);
    return exchanges / seconds;
}
