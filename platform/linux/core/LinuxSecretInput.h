#pragma once

#include "platform/SecretInput.h"

/// Reads from file descriptor 0 without buffering, so that what follows a line stays for the next
/// call and no copy of a secret is left in a stream.
class LinuxSecretInput final : public SecretInput
{
public:
    [[nodiscard]] Result<std::size_t, QString> readLine(const QString &prompt,
                                                        std::span<std::byte> line) override;
};
