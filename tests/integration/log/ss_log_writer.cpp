// Writes to the log as the agent does: through the logger and the system's own log file. The test
// runs it as several processes, as another user, and under a tracer.
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "platform/Platform.h"
#include "platform/linux/core/LinuxClock.h"
#include "platform/linux/core/LinuxLogFile.h"

#include <QCoreApplication>
#include <QStringList>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {
std::atomic<unsigned long> allocations{0};
bool logMarks = false;

/// A system call that nothing else here makes, to find the place in a trace.
void mark()
{
    if (logMarks)
        static_cast<void>(::getppid());
}
} // namespace

#ifdef SS_LOG_WRITER_SANITIZED
// A sanitizer's allocator tells of its allocations itself.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void *,
                                                                  std::size_t),
                                                         void (*)(const volatile void *));
namespace {
const int hooks = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void *, std::size_t) { allocations.fetch_add(1, std::memory_order_relaxed); },
    [](const volatile void *) {});
} // namespace
#else
extern "C" void *__libc_malloc(std::size_t);
extern "C" void *__libc_realloc(void *, std::size_t);
// The toolkit allocates by malloc, the standard library by new, which ends there too.
extern "C" void *malloc(std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
extern "C" void *realloc(void *old, std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(old, size);
}
#endif

namespace {

struct Options
{
    QString root;
    QString tag;
    unsigned level = 1;
    int threads = 1;
    int lines = 1;
    bool mayCreate = true;
    bool countAllocations = false;
};

Options parse(const QStringList &arguments)
{
    Options options;
    for (qsizetype i = 1; i + 1 < arguments.size(); i += 2) {
        const QString &name = arguments.at(i);
        const QString &value = arguments.at(i + 1);
        if (name == QLatin1String("--root"))
            options.root = value;
        else if (name == QLatin1String("--tag"))
            options.tag = value;
        else if (name == QLatin1String("--level"))
            options.level = value.toUInt();
        else if (name == QLatin1String("--threads"))
            options.threads = value.toInt();
        else if (name == QLatin1String("--lines"))
            options.lines = value.toInt();
        else if (name == QLatin1String("--create"))
            options.mayCreate = value == QLatin1String("yes");
        else if (name == QLatin1String("--marks"))
            logMarks = value == QLatin1String("yes");
        else if (name == QLatin1String("--allocations"))
            options.countAllocations = value == QLatin1String("yes");
        else if (name == QLatin1String("--umask"))
            ::umask(value.toUInt(nullptr, 8));
        else if (name == QLatin1String("--uid") &&
                 ::setresuid(value.toUInt(), value.toUInt(), value.toUInt()) != 0)
            std::exit(3);
    }
    return options;
}

/// "TAG thread line" and a tail that every seventh line has more than a page of.
void writeLines(const Options &options, int thread)
{
    const QString longTail(5000, QLatin1Char(static_cast<char>('a' + thread % 26)));
    const QString shortTail = QStringLiteral("x");
    for (int line = 0; line < options.lines; ++line) {
        mark();
        SSLog(1, SSMessageType::Info, "%@ %d %d %@ end", options.tag, thread, line,
              line % 7 == 6 ? longTail : shortTail);
    }
    mark();
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const Options options = parse(QCoreApplication::arguments());
    Platform platform;
    platform.clock = std::make_shared<LinuxClock>();
    platform.logFile = std::make_shared<LinuxLogFile>(options.root, options.mayCreate);
    Platform::install(&platform);
    SSLogger::sharedInstance()->setLogLevel(options.level);

    if (options.countAllocations) {
        const QString text = QStringLiteral("text");
        const std::optional<QString> absent;
        const unsigned long before = allocations.load();
        for (int i = 0; i < 1000; ++i) {
            mark();
            SSLog(options.level + 1, SSMessageType::Info, "%@ %@ %d", text, absent, i);
            const SSFunctionLog scope("-[SSEnroll onEnrollTimer:]");
        }
        mark();
        std::printf("%lu\n", allocations.load() - before);
        return allocations.load() > 0 ? 0 : 4;
    }

    if (options.threads == 1) {
        writeLines(options, 0);
        return 0;
    }
    std::vector<std::thread> threads;
    for (int thread = 0; thread < options.threads; ++thread)
        threads.emplace_back([&options, thread] { writeLines(options, thread); });
    for (std::thread &thread : threads)
        thread.join();
    return 0;
}
