// Linked into a program, takes the place of everything that wipes there: of our own function and of
// the C library's, which the allocator calls as well.
#include "security/SSSecureMemory.h"

#include <cstddef>

void SSSecureMemory::wipe(void *, std::size_t) noexcept {}

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): these are the C library's own names.
[[gnu::visibility("default")]] void explicit_bzero(void *, std::size_t) noexcept {}
[[gnu::visibility("default")]] void __explicit_bzero_chk(void *, std::size_t, std::size_t) noexcept
{
}
// NOLINTEND(bugprone-reserved-identifier)
}
