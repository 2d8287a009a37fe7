#include "security/SSSecureMemory.h"

#include "platform/MemoryProtection.h"
#include "platform/Platform.h"

#include <QtGlobal>

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>
#include <span>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size)
#define ASAN_UNPOISON_MEMORY_REGION(address, size)
#endif

namespace {

/// Whole pages wherever they have up to 64 KiB, and within the smallest usual limit of locked
/// memory.
constexpr std::size_t chunkLength = 65536;
constexpr std::size_t smallestBlock = 32;
constexpr std::size_t largestBlock = 8192; ///< a longer one gets pages of its own
static_assert(smallestBlock % SSSecureMemory::alignment == 0);
constexpr std::size_t sizeClasses =
    static_cast<std::size_t>(std::countr_zero(largestBlock) - std::countr_zero(smallestBlock)) + 1;

/// Stands at the beginning of a block that is free.
struct FreeBlock
{
    FreeBlock *next;
    std::uintptr_t mark; ///< tells a free block from one in use
};
static_assert(sizeof(FreeBlock) <= smallestBlock);

/// What no block in use holds, but by a chance that nobody meets.
std::uintptr_t markOf(const void *block)
{
    return reinterpret_cast<std::uintptr_t>(block) ^ std::uintptr_t{0x5afe'b10c'5afe'b10c};
}

/// Stands at the beginning of a chunk.
struct alignas(64) Chunk
{
    Chunk *next;
    bool isProtected;
};

/// Never destroyed, so that secrets may be held by objects of any lifetime.
struct Pool
{
    std::mutex lock;
    std::array<FreeBlock *, sizeClasses> freeBlocks{};
    Chunk *chunks = nullptr;
    std::byte *unusedBegin = nullptr; ///< what is left of the newest chunk
    std::byte *unusedEnd = nullptr;
    bool allProtected = true;
    SSSecureMemory::Statistics statistics;
};
static_assert(std::is_trivially_destructible_v<Pool>);
constinit Pool pool;

MemoryProtection *protection()
{
    // Asked once: the platform may go meanwhile.
    const Platform *platform = Platform::installedOrNull();
    return platform ? platform->memory.get() : nullptr;
}

std::size_t sizeClassOf(std::size_t length)
{
    const std::size_t rounded = std::bit_ceil(length < smallestBlock ? smallestBlock : length);
    return static_cast<std::size_t>(std::countr_zero(rounded) - std::countr_zero(smallestBlock));
}

std::size_t blockLength(std::size_t sizeClass)
{
    return smallestBlock << sizeClass;
}

std::size_t wholeChunks(std::size_t length)
{
    const std::size_t rounded = (length + chunkLength - 1) / chunkLength * chunkLength;
    if (rounded < length)
        throw std::bad_alloc();
    return rounded;
}

std::byte *pages(std::size_t length)
{
    void *result = std::aligned_alloc(chunkLength, length);
    if (!result)
        throw std::bad_alloc();
    return static_cast<std::byte *>(result);
}

/// Chunks that were needed before there was a platform are protected as soon as there is one.
void protectChunks()
{
    MemoryProtection *memory = protection();
    if (!memory)
        return;
    for (Chunk *chunk = pool.chunks; chunk; chunk = chunk->next) {
        if (!chunk->isProtected)
            memory->protect(std::span(reinterpret_cast<std::byte *>(chunk), chunkLength));
        chunk->isProtected = true;
    }
    pool.allProtected = true;
}

/// A block that nobody has used yet, from the newest chunk or one more.
void *unusedBlock(std::size_t length)
{
    if (static_cast<std::size_t>(pool.unusedEnd - pool.unusedBegin) < length) {
        std::byte *chunk = pages(chunkLength);
        pool.chunks = new (chunk) Chunk{pool.chunks, false};
        pool.unusedBegin = chunk + sizeof(Chunk);
        pool.unusedEnd = chunk + chunkLength;
        pool.allProtected = false;
        ASAN_POISON_MEMORY_REGION(pool.unusedBegin, chunkLength - sizeof(Chunk));
        protectChunks();
    }
    std::byte *block = pool.unusedBegin;
    pool.unusedBegin += length;
    ASAN_UNPOISON_MEMORY_REGION(block, sizeof(FreeBlock));
    return new (block) FreeBlock{};
}

void *pooledBlock(std::size_t length)
{
    const std::size_t sizeClass = sizeClassOf(length);
    if (!pool.allProtected)
        protectChunks();
    FreeBlock *&free = pool.freeBlocks[sizeClass];
    if (!free)
        return unusedBlock(blockLength(sizeClass));
    ASAN_UNPOISON_MEMORY_REGION(free, sizeof(FreeBlock));
    FreeBlock *block = free;
    free = block->next;
    block->mark = 0;
    return block;
}

} // namespace

void *SSSecureMemory::allocate(std::size_t length)
{
    if (length > largestBlock) {
        const std::span block(pages(wholeChunks(length)), wholeChunks(length));
        if (MemoryProtection *memory = protection())
            memory->protect(block);
        const std::lock_guard guard(pool.lock);
        ++pool.statistics.allocations;
        ++pool.statistics.blocksInUse;
        return block.data();
    }
    const std::lock_guard guard(pool.lock);
    void *block = pooledBlock(length);
    ++pool.statistics.allocations;
    ++pool.statistics.blocksInUse;
    ASAN_POISON_MEMORY_REGION(block, blockLength(sizeClassOf(length)));
    ASAN_UNPOISON_MEMORY_REGION(block, length);
    return block;
}

void SSSecureMemory::release(void *block, std::size_t length) noexcept
{
    if (!block)
        return;
    if (length > largestBlock) {
        wipe(block, length);
        if (MemoryProtection *memory = protection())
            memory->unprotect(std::span(static_cast<std::byte *>(block), wholeChunks(length)));
        std::free(block);
        const std::lock_guard guard(pool.lock);
        --pool.statistics.blocksInUse;
        return;
    }
    ASAN_UNPOISON_MEMORY_REGION(block, sizeof(FreeBlock));
    Q_ASSERT_X(static_cast<const FreeBlock *>(block)->mark != markOf(block),
               "SSSecureMemory::release", "the block has been released before");
    wipe(block, length);
    const std::size_t sizeClass = sizeClassOf(length);
    const std::lock_guard guard(pool.lock);
    pool.freeBlocks[sizeClass] = new (block) FreeBlock{pool.freeBlocks[sizeClass], markOf(block)};
    ASAN_POISON_MEMORY_REGION(block, blockLength(sizeClass));
    --pool.statistics.blocksInUse;
}

void SSSecureMemory::wipeReleasedMemory()
{
    if (MemoryProtection *memory = protection())
        memory->wipeReleasedMemory();
}

SSSecureMemory::Statistics SSSecureMemory::statistics()
{
    const std::lock_guard guard(pool.lock);
    return pool.statistics;
}
