// For builds whose allocator is a sanitizer's.

#include "platform/linux/memory/WipingAllocator.h"

void WipingAllocator::arm() noexcept {}

bool WipingAllocator::isAvailable() noexcept
{
    return false;
}
