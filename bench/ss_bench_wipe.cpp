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

/// The time of a pair of malloc() and free(), in nanoseconds.
double pair(FreeFunction release, std::size_t length)
{
    constexpr int pairs = 100'000;
    const auto began = std::chrono::steady_clock::now();
    for (int i = 0; i < pairs; ++i) {
        void *block = std::malloc(length);
        asm volatile("" : "+r"(block) : : "memory");
        release(block);
    }
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - began;
    return took.count() / pairs;
}

} // namespace

int main()
{
    // Next to nothing may be paid by a process that asks for no password.
    constexpr double limit = 5;
    constexpr int rounds = 25;
    constexpr std::array<std::size_t, 4> lengths{24, 100, 1000, 16000};
    const auto plain = reinterpret_cast<FreeFunction>(::dlsym(RTLD_NEXT, "free"));
    const FreeFunction own = std::free;
    constexpr double never = 1e9;
    std::array<double, lengths.size()> theirs{};
    std::array<double, lengths.size()> before{};
    std::array<double, lengths.size()> armed{};
    for (auto *times : {&theirs, &before, &armed})
        times->fill(never);
    // The least time of many, by turns: the machine may have other work.
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            theirs[i] = std::min(theirs[i], pair(plain, lengths[i]));
            before[i] = std::min(before[i], pair(own, lengths[i]));
        }
    }
    WipingAllocator::arm();
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < lengths.size(); ++i)
            armed[i] = std::min(armed[i], pair(own, lengths[i]));
    }
    bool good = WipingAllocator::isAvailable();
    std::printf("a pair of malloc and free:\n");
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        const bool cheap = before[i] - theirs[i] <= limit;
        good = good && cheap;
        std::printf("%6zu bytes: the C library's %6.1f ns, ours %6.1f ns (limit %.0f more: %s), "
                    "wiping %6.1f ns\n",
                    lengths[i], theirs[i], before[i], limit, cheap ? "PASS" : "FAIL", armed[i]);
    }
    return good ? 0 : 1;
}
