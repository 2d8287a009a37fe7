#pragma once

#include "platform/Result.h"

#include <QString>

#include <cstddef>
#include <span>

/// Asks the user who runs the program for a secret. Blocks until there is one. Main thread.
class SecretInput
{
public:
    virtual ~SecretInput() = default;

    /// Puts one line without its line end into `line` and returns its length. From a terminal after
    /// `prompt` and without an echo, otherwise the next line of the standard input. On failure a
    /// text for people (the input has ended, or the line is too long for `line`). No other copy of
    /// the line is left.
    [[nodiscard]] virtual Result<std::size_t, QString> readLine(const QString &prompt,
                                                                std::span<std::byte> line) = 0;
};
