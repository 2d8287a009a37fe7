#pragma once

#include "platform/ChildProcess.h"

#include <cstddef>
#include <span>

/// What a program prints, gathered. It may show a secret, so no copy is left behind when the
/// storage grows, nor when this is destroyed.
class OutputBytes
{
public:
    /// More than this is no answer of a tool but a fault that would use up the memory.
    static constexpr std::size_t limit = std::size_t{64} * 1024 * 1024;

    OutputBytes() = default;
    ~OutputBytes() { clear(); }
    OutputBytes(const OutputBytes &) = delete;
    OutputBytes &operator=(const OutputBytes &) = delete;

    /// What goes beyond the limit is dropped, and so is everything gathered before.
    void append(std::span<const std::byte> bytes);
    [[nodiscard]] bool isBeyondLimit() const { return m_isBeyondLimit; }

    /// Hands over what was gathered, without a copy.
    [[nodiscard]] ChildProcessOutput take();

private:
    void clear();

    ChildProcessOutput m_bytes;
    bool m_isBeyondLimit = false;
};
