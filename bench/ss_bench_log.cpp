// What a log call costs. "ss_bench_log calls": allocations and time of calls below the level.
// "ss_bench_log lines ROOT COUNT": writes lines to the log below the folder, for a tracer to watch.
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "platform/Platform.h"
#include "platform/linux/core/LinuxClock.h"
#include "platform/linux/core/LinuxLogFile.h"

#include <QMap>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
unsigned long allocations = 0;
}

// NOLINTBEGIN(bugprone-reserved-identifier): these are the C library's own names.
extern "C" void *__libc_malloc(std::size_t);
extern "C" void *__libc_calloc(std::size_t, std::size_t);
extern "C" void *__libc_realloc(void *, std::size_t);
// NOLINTEND(bugprone-reserved-identifier)
// The toolkit allocates by malloc, the standard library by new, which ends there too.
extern "C" void *malloc(std::size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}
extern "C" void *calloc(std::size_t count, std::size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}
extern "C" void *realloc(void *old, std::size_t size)
{
    ++allocations;
    return __libc_realloc(old, size);
}

namespace {

/// The call's cost, over many calls; false when it allocated.
template<typename Call>
bool measure(const char *what, const Call &call)
{
    constexpr int rounds = 9;
    constexpr int calls = 200'000;
    std::array<double, rounds> nanoseconds{};
    const unsigned long before = allocations;
    for (double &result : nanoseconds) {
        const auto began = std::chrono::steady_clock::now();
        for (int i = 0; i < calls; ++i)
            call();
        const std::chrono::duration<double, std::nano> took =
            std::chrono::steady_clock::now() - began;
        result = took.count() / calls;
    }
    const unsigned long made = allocations - before;
    std::sort(nanoseconds.begin(), nanoseconds.end());
    std::printf("%-52s %6.1f ns a call (median of %d rounds of %d), %lu allocations: %s\n", what,
                nanoseconds[rounds / 2], rounds, calls, made, made == 0 ? "PASS" : "FAIL");
    return made == 0;
}

int measureCalls()
{
    const QString text = QStringLiteral("text");
    const std::optional<QString> absent;
    QMap<QString, QString> keywords;
    for (int i = 0; i < 10'000; ++i)
        keywords.insert(QStringLiteral("Option%1").arg(i), QStringLiteral("value of this option"));
    bool good = true;
    for (const quint32 level : {0U, 1U}) {
        SSLogger::sharedInstance()->setLogLevel(level);
        std::printf("at level %u:\n", level);
        good = measure("  a plain text",
                       [&] { SSLog(level + 1, SSMessageType::Info, "Nothing to fill in"); }) &&
               good;
        good = measure("  four arguments",
                       [&] {
                           SSLog(level + 1, SSMessageType::Info, "%@ %@ %d %lu", text, absent, -1,
                                 2UL);
                       }) &&
               good;
        // Formatting it would take a millisecond.
        good = measure("  10,000 keywords",
                       [&] { SSLog(level + 1, SSMessageType::Info, "%@", keywords); }) &&
               good;
        good = measure("  start and end of a function",
                       [] { const SSFunctionLog scope("-[SSEnroll onEnrollTimer:]"); }) &&
               good;
    }
    const unsigned long before = allocations;
    const auto began = std::chrono::steady_clock::now();
    const QString formatted = SSFormat::format("%@", keywords);
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - began;
    std::printf("to compare: formatting 10,000 keywords takes %.0f ns and %lu allocations\n",
                took.count(), allocations - before);
    // A counter that counts nothing would pass everything above.
    return good && allocations > before && !formatted.isEmpty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv)
{
    const bool writes = argc == 4 && std::strcmp(argv[1], "lines") == 0;
    if (!writes && !(argc == 2 && std::strcmp(argv[1], "calls") == 0)) {
        std::fputs("usage: ss_bench_log calls | lines ROOT COUNT\n", stderr);
        return 2;
    }
    Platform platform;
    platform.clock = std::make_shared<LinuxClock>();
    platform.logFile = std::make_shared<LinuxLogFile>(
        QString::fromLocal8Bit(writes ? argv[2] : "/dev/null"), true);
    Platform::install(&platform);
    if (!writes)
        return measureCalls();
    SSLogger::sharedInstance()->setLogLevel(1);
    for (int line = 0; line < std::atoi(argv[3]); ++line)
        SSLog(1, SSMessageType::Info, "Connection points found: %lu", line);
    return 0;
}
