#pragma once

#include "protocol/types.h"

#include <QApplication>
#include <QByteArray>
#include <QString>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

// What the targets share. Each is one function that takes an input of any bytes and must come back; the
// fuzzer reports an input on which it does not, or which makes a sanitizer or a REQUIRE speak.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size);

#define REQUIRE(condition)                                                                                   \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition);                     \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)

// The input, taken from the front. What is not there any more reads as 0 or as no bytes.
class Input
{
public:
    Input(const unsigned char *data, std::size_t size)
        : at(reinterpret_cast<const char *>(data))
        , left(int(size))
    {
    }

    bool isEmpty() const { return left == 0; }
    QByteArray bytes(int max)
    {
        const int count = std::min(max, left);
        const QByteArray taken(at, count);
        at += count;
        left -= count;
        return taken;
    }
    QByteArray rest() { return bytes(left); }
    uint8 byte() { return isEmpty() ? uint8(0) : uint8(bytes(1).at(0)); }
    uint16 word() { return uint16(byte() | byte() << 8); }
    QByteArray counted() { return bytes(byte()); }

private:
    const char *at;
    int left;
};

// The one application of the process. Its own arguments are not the fuzzer's.
template <typename Application = QApplication>
void startApplication()
{
    static int count = 1;
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    static Application application(count, arguments);
}

// The path of a plain file with this content that lies in memory only. There is one at a time.
inline QString inMemoryFile(const QByteArray &content)
{
    static const int fd = ::memfd_create("fuzz", MFD_CLOEXEC);
    REQUIRE(fd >= 0 && ::ftruncate(fd, 0) == 0);
    REQUIRE(::pwrite(fd, content.constData(), std::size_t(content.size()), 0) == content.size());
    return QStringLiteral("/proc/self/fd/%1").arg(fd);
}
