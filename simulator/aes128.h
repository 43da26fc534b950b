#pragma once

#include <QByteArray>

#include <optional>

namespace simulator {

// AES with a key of 16 bytes on single blocks of 16 bytes.
class Aes128
{
public:
    static constexpr int size = 16; // bytes of a key and of a block

    // False, and the key stays as it was, for a key of another size.
    bool setKey(const QByteArray &bytes);
    void clearKey() { key.clear(); }

    // Nothing without a key or for a block of another size.
    std::optional<QByteArray> encrypt(const QByteArray &block) const;
    std::optional<QByteArray> decrypt(const QByteArray &block) const;

private:
    enum class Direction { encrypt, decrypt };
    std::optional<QByteArray> run(const QByteArray &block, Direction direction) const;

    QByteArray key;
};

} // namespace simulator
