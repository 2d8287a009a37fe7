#include "platform/linux/process/OutputBytes.h"

#include <algorithm>
#include <utility>

#include <string.h>

void OutputBytes::append(std::span<const std::byte> bytes)
{
    if (m_isBeyondLimit)
        return;
    const std::size_t size = m_bytes.size() + bytes.size();
    if (size > limit) {
        m_isBeyondLimit = true;
        clear();
        return;
    }
    if (size > m_bytes.capacity()) {
        ChildProcessOutput larger;
        larger.reserve(std::max({size, 2 * m_bytes.capacity(), std::size_t{4096}}));
        larger.assign(m_bytes.begin(), m_bytes.end());
        clear();
        m_bytes = std::move(larger);
    }
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
}

ChildProcessOutput OutputBytes::take()
{
    return std::exchange(m_bytes, {});
}

void OutputBytes::clear()
{
    if (!m_bytes.empty())
        explicit_bzero(m_bytes.data(), m_bytes.size());
    m_bytes = {};
}
