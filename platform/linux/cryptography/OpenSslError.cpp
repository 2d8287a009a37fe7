#include "platform/linux/cryptography/OpenSslError.h"

#include <array>

#include <openssl/err.h>

void clearOpenSslErrors()
{
    ERR_clear_error();
}

CryptographyError takeOpenSslError(const QString &otherwise)
{
    const unsigned long code = ERR_get_error();
    ERR_clear_error();
    if (code == 0)
        return {CryptographyStatus::LibraryError, otherwise};
    std::array<char, 256> text{};
    ERR_error_string_n(code, text.data(), text.size());
    return {CryptographyStatus::LibraryError, QString::fromUtf8(text.data())};
}
