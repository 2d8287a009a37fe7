#pragma once

#include <utility>

#include <unistd.h>

/// A file descriptor that is closed when its owner goes.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor()
    {
        if (m_number >= 0)
            ::close(m_number);
    }
    Descriptor(Descriptor &&other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    [[nodiscard]] bool isOpen() const { return m_number >= 0; }
    /// The caller closes it from now on.
    [[nodiscard]] int release() { return std::exchange(m_number, -1); }
    [[nodiscard]] int number() const { return m_number; }

private:
    int m_number = -1;
};
