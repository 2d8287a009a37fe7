#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

/// A password as UTF-8 with a NUL after it, wiped when it goes. Made for one check, on the stack.
class PasswordBytes
{
public:
    /// `password` is UTF-16 in host byte order.
    explicit PasswordBytes(std::u16string_view password);
    ~PasswordBytes();
    PasswordBytes(const PasswordBytes &) = delete;
    PasswordBytes &operator=(const PasswordBytes &) = delete;

    /// False for text that is no password anywhere: half a surrogate pair, or a NUL, after which a
    /// C interface would not read on and so accept too much. bytes() is then empty.
    [[nodiscard]] bool isValid() const { return m_valid; }

    /// Without the NUL, which stands right behind.
    [[nodiscard]] std::span<const char> bytes() const { return {m_bytes.data(), m_size}; }

private:
    std::vector<char> m_bytes;
    std::size_t m_size = 0;
    bool m_valid = true;
};
