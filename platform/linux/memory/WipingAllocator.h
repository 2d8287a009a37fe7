#pragma once

/// The process's memory allocator, which wipes what it takes back: free() and everything that ends
/// in it (operator delete, fclose(), a string of any library), and the old block of realloc(). A
/// text that passes through libraries leaves copies in released blocks; with this they hold
/// nothing. Any thread, forked children included.
namespace WipingAllocator {

/// From now on, for good. Until then nothing is wiped, and next to nothing is paid.
void arm() noexcept;

/// False in a build whose allocator is a sanitizer's: nothing is wiped there.
[[nodiscard]] bool isAvailable() noexcept;

} // namespace WipingAllocator
