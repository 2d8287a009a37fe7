#include "platform/text/PasswordBytes.h"

#include <cstring>

PasswordBytes::PasswordBytes(std::u16string_view password)
    // Three bytes hold any UTF-16 unit; sized once, so that no regrown copy is left behind.
    : m_bytes(password.size() * 3 + 1, '\0')
{
    const auto put = [this](char32_t byte) { m_bytes[m_size++] = static_cast<char>(byte); };
    for (std::size_t i = 0; i < password.size(); ++i) {
        char32_t c = password[i];
        if (c >= 0xD800 && c <= 0xDFFF) {
            const bool paired = c <= 0xDBFF && i + 1 < password.size() &&
                                password[i + 1] >= 0xDC00 && password[i + 1] <= 0xDFFF;
            if (!paired) {
                m_valid = false;
                break;
            }
            c = 0x10000 + ((c - 0xD800) << 10) + (char32_t(password[++i]) - 0xDC00);
        }
        if (c == 0) {
            m_valid = false;
            break;
        }
        if (c < 0x80) {
            put(c);
        } else if (c < 0x800) {
            put(0xC0 | (c >> 6));
            put(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            put(0xE0 | (c >> 12));
            put(0x80 | ((c >> 6) & 0x3F));
            put(0x80 | (c & 0x3F));
        } else {
            put(0xF0 | (c >> 18));
            put(0x80 | ((c >> 12) & 0x3F));
            put(0x80 | ((c >> 6) & 0x3F));
            put(0x80 | (c & 0x3F));
        }
    }
    if (!m_valid) {
        explicit_bzero(m_bytes.data(), m_bytes.size());
        m_size = 0;
    }
}

PasswordBytes::~PasswordBytes()
{
    explicit_bzero(m_bytes.data(), m_bytes.size());
}
