// free() and realloc() of the program itself, which every library's calls come to, since a
// program's symbols stand before those of its libraries. The C library's own mallopt(M_PERTURB)
// does not do: up to seven blocks of each size go to its per-thread cache without being touched,
// and a realloc() that moves gives the old block back unwiped.

#include "platform/linux/memory/WipingAllocator.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <malloc.h>

namespace {

constinit std::atomic<bool> armed{false};

using FreeFunction = void (*)(void *);
using ReallocFunction = void *(*)(void *, std::size_t);

// Found by name, not taken from the C library: memory goes back to where malloc() has it from,
// which may be an allocator that was loaded before. The first call comes before any constructor of
// ours.
constinit std::atomic<FreeFunction> nextFree{nullptr};
constinit std::atomic<ReallocFunction> nextRealloc{nullptr};

// Never inlined into a tail call: dlsym() takes its caller's place from its return address.
template<typename Function>
[[gnu::noinline]] Function found(std::atomic<Function> &place, const char *name) noexcept
{
    const auto function = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
    // Without an allocator there is no process to go on with.
    if (!function)
        __builtin_trap();
    place.store(function, std::memory_order_relaxed);
    return function;
}

void release(void *block) noexcept
{
    FreeFunction function = nextFree.load(std::memory_order_relaxed);
    if (!function) [[unlikely]]
        function = found(nextFree, "free");
    function(block);
}

void *resize(void *block, std::size_t length) noexcept
{
    ReallocFunction function = nextRealloc.load(std::memory_order_relaxed);
    if (!function) [[unlikely]]
        function = found(nextRealloc, "realloc");
    return function(block, length);
}

void wipeAndRelease(void *block) noexcept
{
    // All of it: what was asked for may be less than what was once written.
    ::explicit_bzero(block, ::malloc_usable_size(block));
    release(block);
}

} // namespace

void WipingAllocator::arm() noexcept
{
    armed.store(true, std::memory_order_relaxed);
}

bool WipingAllocator::isAvailable() noexcept
{
    return true;
}

extern "C" {

[[gnu::visibility("default")]] void free(void *block) noexcept
{
    if (block && armed.load(std::memory_order_relaxed)) [[unlikely]]
        wipeAndRelease(block);
    else
        release(block);
}

[[gnu::visibility("default")]] void *realloc(void *block, std::size_t length) noexcept
{
    if (!block || !armed.load(std::memory_order_relaxed)) [[likely]]
        return resize(block, length);
    const std::size_t oldLength = ::malloc_usable_size(block);
    if (length == 0) {
        // What becomes of the block is the allocator's to decide.
        ::explicit_bzero(block, oldLength);
        return resize(block, 0);
    }
    // Never in place, since it cannot be known beforehand where that is possible.
    void *moved = std::malloc(length);
    if (!moved)
        return nullptr;
    std::memcpy(moved, block, std::min(oldLength, length));
    wipeAndRelease(block);
    return moved;
}

} // extern "C"
