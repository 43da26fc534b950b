#pragma once

#include "protocol/types.h"

#include <QByteArray>

class QIODevice;

// Far more than any module has. An image of this size can be held while one that a wrong address makes
// cannot.
constexpr int maxImageSize = 256 * 1024 * 1024;

// Replaces `image` by the Intel hex records in `file`, which is open for reading: byte n of the image is the
// byte for address n, gaps hold 0xff. Checksums are not looked at, nor is the count against the line.
// False on a line without ":" at its start, segment records (types 2 and 3), unknown types, an image above
// maxImageSize and a file that cannot be read on; the image then keeps what came before.
// The addresses start at 0 and 0x7fffffff and only ever move away from each other.
bool readHexFile(QIODevice &file, QByteArray &image, uint32 &lowAddress, uint32 &highAddress);
