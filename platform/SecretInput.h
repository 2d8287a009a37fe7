#pragma once

#include "platform/Result.h"

#include <QString>

#include <cstddef>
#include <vector>

/// Asks the user who runs the program for a secret. Blocks until there is one. Main thread.
class SecretInput
{
public:
    virtual ~SecretInput() = default;

    /// One line without its line end, as bytes of UTF-8 that are the caller's to wipe (adopt them
    /// into a secure buffer: they are moved, not copied). From a terminal after `prompt` and
    /// without an echo, otherwise the next line of the standard input. On failure a text for
    /// people: the input has ended, or the line is longer than 4096 bytes.
    [[nodiscard]] virtual Result<std::vector<std::byte>, QString>
    readLine(const QString &prompt) = 0;
};
