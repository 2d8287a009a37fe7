// Apart from the storage, so that a program may be linked that wipes nothing: to show what there is
// to be wiped.

#include "security/SSSecureMemory.h"

#include <cstring>

void SSSecureMemory::wipe(void *bytes, std::size_t length) noexcept
{
    if (length == 0)
        return;
    std::memset(bytes, 0, length);
    // As far as the compiler knows, the zeros are read here.
    asm volatile("" : : "r"(bytes) : "memory");
}
