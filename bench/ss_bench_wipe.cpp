// What the program's own free() costs beside the C library's: before a password is asked for, and
// after.
#include "platform/linux/memory/WipingAllocator.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>

namespace {

using FreeFunction = void (*)(void *);

/// The median time of a pair of malloc() and free(), in nanoseconds.
double pair(FreeFunction release, std::size_t length)
{
    constexpr int rounds = 15;
    constexpr int pairs = 200'000;
    std::array<double, rounds> nanoseconds{};
    for (double &result : nanoseconds) {
        const auto began = std::chrono::steady_clock::now();
        for (int i = 0; i < pairs; ++i) {
            void *block = std::malloc(length);
            asm volatile("" : "+r"(block) : : "memory");
            release(block);
        }
        const std::chrono::duration<double, std::nano> took =
            std::chrono::steady_clock::now() - began;
        result = took.count() / pairs;
    }
    std::sort(nanoseconds.begin(), nanoseconds.end());
    return nanoseconds[rounds / 2];
}

} // namespace

int main()
{
    // Nothing of it may be paid for by a process that asks for no password.
    constexpr double limit = 5;
    constexpr std::array<std::size_t, 4> lengths{24, 100, 1000, 16000};
    const auto plain = reinterpret_cast<FreeFunction>(::dlsym(RTLD_NEXT, "free"));
    const FreeFunction own = std::free;
    std::array<double, lengths.size()> theirs{};
    std::array<double, lengths.size()> before{};
    bool good = WipingAllocator::isAvailable();
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        theirs[i] = pair(plain, lengths[i]);
        before[i] = pair(own, lengths[i]);
    }
    WipingAllocator::arm();
    std::printf("a pair of malloc and free:\n");
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        const bool cheap = before[i] - theirs[i] <= limit;
        good = good && cheap;
        std::printf("%6zu bytes: the C library's %6.1f ns, ours %6.1f ns (limit %.0f more: %s), "
                    "wiping %6.1f ns\n",
                    lengths[i], theirs[i], before[i], limit, cheap ? "PASS" : "FAIL",
                    pair(own, lengths[i]));
    }
    return good ? 0 : 1;
}
