// What is left in memory of blocks that were released. Every case runs in children of this process,
// since the allocator stays armed for good: one child looks before, one after it is armed.

#include "platform/linux/memory/WipingAllocator.h"
#include "tests/unit/security/MemorySearch.h"

#include <QString>
#include <QTest>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Random digits: no other memory holds them.
constexpr const char *secretHex =
    "9b1e60c7d2f54a83be07716ac95d3f28e4a01c96b7580dd3f26b8e417ac05f92";
constexpr std::size_t secretLength = 32;

QByteArray maskedSecret()
{
    return MemorySearch::maskedHex(secretHex);
}

unsigned char secretByte(std::size_t index)
{
    static const QByteArray masked = maskedSecret();
    return static_cast<unsigned char>(
        static_cast<unsigned char>(masked.at(static_cast<qsizetype>(index % secretLength))) ^
        MemorySearch::mask);
}

/// Fills the bytes with the secret over and over, but for the first 64, which the allocator may use
/// for itself once the block is free.
[[gnu::noinline]] void fill(void *block, std::size_t length)
{
    auto *bytes = static_cast<volatile unsigned char *>(block);
    for (std::size_t i = 64; i < length; ++i)
        bytes[i] = secretByte(i);
}

bool isFilled(const void *block, std::size_t length)
{
    const auto *bytes = static_cast<const volatile unsigned char *>(block);
    for (std::size_t i = 64; i < length; ++i) {
        if (bytes[i] != secretByte(i))
            return false;
    }
    return true;
}

/// What a child found: how often the secret stands in memory, 250 for a case that went wrong.
int inChild(const std::function<bool()> &release, bool armed)
{
    const pid_t child = ::fork();
    if (child == 0) {
        if (armed)
            WipingAllocator::arm();
        MemorySearch search;
        const QList<QByteArray> patterns{maskedSecret()};
        if (!release())
            ::_exit(250);
        const int count = search.count(patterns);
        ::_exit(count < 0 ? 250 : std::min(count, 100));
    }
    int status = -1;
    if (::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return 250;
    return WEXITSTATUS(status);
}

/// Keeps the compiler from knowing where a block came from.
void *unknown(void *block)
{
    asm volatile("" : "+r"(block) : : "memory");
    return block;
}

bool throughFree(std::size_t length)
{
    void *block = unknown(std::malloc(length));
    fill(block, length);
    std::free(block);
    return true;
}

bool throughRealloc(std::size_t from, std::size_t to)
{
    void *block = unknown(std::malloc(from));
    fill(block, from);
    // In the way of growing in place.
    void *neighbour = unknown(std::malloc(64));
    void *moved = unknown(std::realloc(block, to));
    if (!moved || !isFilled(moved, std::min(from, to)))
        return false;
    // What is left is then the old block's.
    ::explicit_bzero(moved, ::malloc_usable_size(moved));
    std::free(moved);
    std::free(neighbour);
    return true;
}

} // namespace

class tst_WipingAllocator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsReleasedHoldsNothing_data()
    {
        QTest::addColumn<std::function<bool()>>("release");
        const auto row = [](const char *name, std::function<bool()> release) {
            QTest::newRow(name) << std::move(release);
        };
        // Blocks of the per-thread cache, of the bins, and at the end of the heap.
        for (const std::size_t length : {120U, 200U, 1000U, 5000U, 100000U})
            row(("free " + std::to_string(length)).c_str(), [=] { return throughFree(length); });
        row("the eighth of a size", [] {
            std::array<void *, 8> blocks{};
            for (void *&block : blocks) {
                block = unknown(std::malloc(400));
                fill(block, 400);
            }
            for (void *block : blocks)
                std::free(block);
            return true;
        });
        row("realloc that grows", [] { return throughRealloc(500, 5000); });
        row("realloc that shrinks", [] { return throughRealloc(5000, 300); });
        row("realloc to nothing", [] {
            void *block = unknown(std::malloc(500));
            fill(block, 500);
            return unknown(std::realloc(block, 0)) == nullptr;
        });
        row("reallocarray", [] {
            void *block = unknown(std::malloc(500));
            fill(block, 500);
            void *moved = unknown(::reallocarray(block, 100, 50));
            if (!moved || !isFilled(moved, 500))
                return false;
            ::explicit_bzero(moved, 5000);
            std::free(moved);
            return true;
        });
        row("aligned_alloc", [] {
            void *block = unknown(std::aligned_alloc(4096, 8192));
            fill(block, 8192);
            std::free(block);
            return true;
        });
        row("posix_memalign", [] {
            void *block = nullptr;
            if (::posix_memalign(&block, 256, 777) != 0)
                return false;
            fill(unknown(block), 777);
            std::free(block);
            return true;
        });
        row("calloc", [] {
            void *block = unknown(std::calloc(10, 50));
            fill(block, 500);
            std::free(block);
            return true;
        });
        row("operator delete", [] {
            auto bytes = std::make_unique<std::array<unsigned char, 600>>();
            fill(unknown(bytes.get()), bytes->size());
            return true;
        });
        row("what was written beyond a shorter text", [] {
            QByteArray bytes(700, Qt::Uninitialized);
            fill(bytes.data(), 700);
            bytes.truncate(3);
            return true;
        });
        row("a text that grew", [] {
            QByteArray bytes(700, Qt::Uninitialized);
            fill(bytes.data(), 700);
            const QByteArray more(5000, 'x');
            bytes.append(more);
            ::explicit_bzero(bytes.data(), 700);
            return true;
        });
        row("a text in UTF-16", [] {
            QByteArray bytes(700, Qt::Uninitialized);
            fill(bytes.data(), 700);
            const QString text(reinterpret_cast<const QChar *>(bytes.constData()), 350);
            return text.size() == 350;
        });
        row("files' buffers", [] {
            // Two, since the search opens a file as well.
            std::array<std::FILE *, 2> files{std::fopen("/dev/null", "we"),
                                             std::fopen("/dev/null", "we")};
            std::array<unsigned char, 700> bytes{};
            fill(bytes.data(), bytes.size());
            for (std::FILE *file : files) {
                if (!file || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size())
                    return false;
            }
            for (std::FILE *file : files)
                std::fclose(file);
            ::explicit_bzero(unknown(bytes.data()), bytes.size());
            return true;
        });
        row("in another thread", [] {
            std::thread([] { throughFree(1000); }).join();
            return true;
        });
        row("released by another thread", [] {
            void *block = unknown(std::malloc(1000));
            fill(block, 1000);
            std::thread([block] { std::free(block); }).join();
            return true;
        });
    }
    void whatIsReleasedHoldsNothing()
    {
        QFETCH(const std::function<bool()>, release);
        const int before = inChild(release, false);
        QVERIFY2(before > 0 && before < 250, qPrintable(QString::number(before)));
        QCOMPARE(inChild(release, true), 0);
    }

    // They are unmapped, armed or not.
    void aLargeBlockIsGone()
    {
        QCOMPARE(inChild([] { return throughFree(4U << 20U); }, true), 0);
        QCOMPARE(inChild([] { return throughRealloc(4U << 20U, 8U << 20U); }, true), 0);
        QCOMPARE(inChild([] { return throughRealloc(8U << 20U, 300); }, true), 0);
    }

    void aChildForkedAfterwardsIsArmedToo()
    {
        const auto inGrandChild = [] {
            const pid_t child = ::fork();
            if (child == 0) {
                MemorySearch search;
                throughFree(1000);
                ::_exit(search.count({maskedSecret()}));
            }
            int status = -1;
            return ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
                   WEXITSTATUS(status) == 0;
        };
        QCOMPARE(inChild(inGrandChild, true), 0);
        QCOMPARE(inChild(inGrandChild, false), 250);
    }

    void theFunctionsKeepTheirPromises()
    {
        const auto promises = [] {
            errno = 77;
            std::free(nullptr);
            std::free(unknown(std::malloc(3000)));
            if (errno != 77)
                return false;
            void *fresh = unknown(std::realloc(nullptr, 100));
            if (!fresh || ::malloc_usable_size(fresh) < 100)
                return false;
            fill(fresh, 100);
            // Too large: the block stays as it is.
            // Called so that the compiler does not take the old block for gone.
            void *(*volatile resize)(void *, std::size_t) = std::realloc;
            void *(*volatile resizeArray)(void *, std::size_t, std::size_t) = ::reallocarray;
            volatile std::size_t tooLarge = PTRDIFF_MAX;
            errno = 0;
            void *none = unknown(resize(fresh, tooLarge));
            const bool refused = none == nullptr && errno == ENOMEM && isFilled(fresh, 100);
            errno = 0;
            none = unknown(resizeArray(fresh, tooLarge, 4));
            const bool overflow = none == nullptr && errno == ENOMEM && isFilled(fresh, 100);
            std::free(fresh);
            return refused && overflow;
        };
        QCOMPARE(inChild(promises, true), 0);
    }

    void threadsThatReleaseWhileItIsArmedKeepTheirBytes()
    {
        const auto churn = [](unsigned seed) {
            std::vector<std::pair<unsigned char *, std::size_t>> blocks(64);
            for (unsigned step = 0; step < 20000; ++step) {
                seed = seed * 1664525U + 1013904223U;
                auto &[block, length] = blocks[(seed >> 8U) % blocks.size()];
                const std::size_t newLength = 1 + (seed >> 14U) % 6000;
                const auto value =
                    static_cast<unsigned char>(reinterpret_cast<std::uintptr_t>(&block) >> 4U);
                for (std::size_t i = 0; i < length; i += 97) {
                    if (block[i] != value)
                        return false;
                }
                if (seed % 3 == 0) {
                    std::free(block);
                    block = nullptr;
                    length = 0;
                    continue;
                }
                auto *moved = static_cast<unsigned char *>(std::realloc(block, newLength));
                if (!moved)
                    return false;
                const std::size_t kept = std::min(length, newLength);
                for (std::size_t i = 0; i < kept; i += 97) {
                    if (moved[i] != value)
                        return false;
                }
                std::memset(moved, value, newLength);
                block = moved;
                length = newLength;
            }
            for (const auto &[block, length] : blocks)
                std::free(block);
            return true;
        };
        const auto all = [&churn] {
            std::array<bool, 4> results{};
            std::vector<std::thread> threads;
            for (unsigned i = 0; i < results.size(); ++i)
                threads.emplace_back([&results, &churn, i] { results[i] = churn(i + 1); });
            WipingAllocator::arm();
            for (std::thread &thread : threads)
                thread.join();
            return std::all_of(results.begin(), results.end(), [](bool result) { return result; });
        };
        QCOMPARE(inChild(all, false), 0);
    }
};

QTEST_APPLESS_MAIN(tst_WipingAllocator)
#include "tst_WipingAllocator.moc"
