#pragma once

#include "platform/Cryptography.h"

/// MD4, which OpenSSL has in a provider of its own only that need not be installed.
void nettleMd4(std::span<const std::byte> message,
               std::span<std::byte, Cryptography::md4Length> digest);
