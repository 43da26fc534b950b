#include "simulator/aes128.h"

#include <gcrypt.h>

#include <memory>
#include <type_traits>

namespace simulator {
namespace {

bool libraryReady()
{
    static const bool ready = [] {
        if (!gcry_check_version(GCRYPT_VERSION))
            return false;
        // Secure memory needs locked pages; there is no secret to guard here.
        gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
        gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
        return true;
    }();
    return ready;
}

struct CloseCipher
{
    void operator()(gcry_cipher_hd_t cipher) const { gcry_cipher_close(cipher); }
};
using Cipher = std::unique_ptr<std::remove_pointer_t<gcry_cipher_hd_t>, CloseCipher>;

} // namespace

bool Aes128::setKey(const QByteArray &bytes)
{
    if (bytes.size() != size)
        return false;
    key = bytes;
    return true;
}

std::optional<QByteArray> Aes128::encrypt(const QByteArray &block) const
{
    return run(block, Direction::encrypt);
}

std::optional<QByteArray> Aes128::decrypt(const QByteArray &block) const
{
    return run(block, Direction::decrypt);
}

std::optional<QByteArray> Aes128::run(const QByteArray &block, Direction direction) const
{
    if (key.size() != size || block.size() != size || !libraryReady())
        return std::nullopt;
    gcry_cipher_hd_t handle = nullptr;
    if (gcry_cipher_open(&handle, GCRY_CIPHER_AES128, GCRY_CIPHER_MODE_ECB, 0) != 0)
        return std::nullopt;
    const Cipher cipher(handle);
    if (gcry_cipher_setkey(handle, key.constData(), size) != 0)
        return std::nullopt;
    QByteArray result(size, '\0');
    const auto operation = direction == Direction::encrypt ? gcry_cipher_encrypt : gcry_cipher_decrypt;
    if (operation(handle, result.data(), size, block.constData(), size) != 0)
        return std::nullopt;
    return result;
}

} // namespace simulator
