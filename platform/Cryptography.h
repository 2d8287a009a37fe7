#pragma once

#include <cstddef>
#include <span>

/// The cryptography that the program needs of the platform.
class Cryptography
{
public:
    virtual ~Cryptography() = default;

    /// Fills `bytes` from the system's cryptographic generator. 0 on success, otherwise a status
    /// for the log; the bytes are then to be thrown away.
    [[nodiscard]] virtual int randomBytes(std::span<std::byte> bytes) = 0;
};
