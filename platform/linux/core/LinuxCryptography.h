#pragma once

#include "platform/Cryptography.h"

class LinuxCryptography final : public Cryptography
{
public:
    [[nodiscard]] int randomBytes(std::span<std::byte> bytes) override;
};
