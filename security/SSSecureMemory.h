#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

/// Storage for secrets: pages of their own, locked in memory where the limit allows and kept out of
/// core dumps, wiped before a block of them goes back. The pages are kept for later secrets. Any
/// thread.
namespace SSSecureMemory {

/// Of every block.
inline constexpr std::size_t alignment = alignof(std::max_align_t);

/// At least `length` bytes, aligned for any type. Throws std::bad_alloc when memory is short, as
/// allocators do. Blocks of more than 8192 bytes that were made before a platform was installed
/// are not protected later; all others are, with the next allocation.
[[nodiscard]] void *allocate(std::size_t length);

/// Wipes a block that allocate() gave for the same length, and takes it back; once, which a debug
/// build checks.
void release(void *block, std::size_t length) noexcept;

/// Overwrites `length` bytes with zeros by stores that the compiler keeps.
void wipe(void *bytes, std::size_t length) noexcept;

/// From now on, for good, memory that any part of the process releases is wiped, where the platform
/// can. To be called before a password is taken in: on its way it passes through texts and
/// libraries that leave copies of it behind.
void wipeReleasedMemory();

struct Statistics
{
    std::uint64_t allocations = 0; ///< since the start
    std::size_t blocksInUse = 0;
};
[[nodiscard]] Statistics statistics();

} // namespace SSSecureMemory

/// Makes a standard container keep its elements in the storage for secrets. Whatever the container
/// gives up, by growing, too, is wiped.
template<typename Value>
class SSSecureAllocator
{
public:
    using value_type = Value;

    SSSecureAllocator() = default;
    template<typename Other>
    SSSecureAllocator(const SSSecureAllocator<Other> &) noexcept
    {
    }

    static_assert(alignof(Value) <= SSSecureMemory::alignment);

    [[nodiscard]] Value *allocate(std::size_t count)
    {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(Value))
            throw std::bad_array_new_length();
        return static_cast<Value *>(SSSecureMemory::allocate(count * sizeof(Value)));
    }
    void deallocate(Value *values, std::size_t count) noexcept
    {
        SSSecureMemory::release(values, count * sizeof(Value));
    }

    template<typename Other>
    bool operator==(const SSSecureAllocator<Other> &) const noexcept
    {
        return true;
    }
};
