#include "platform/linux/memory/LinuxMemoryProtection.h"
#include "security/SSMutableSecureData.h"
#include "security/SSSecureData.h"
#include "security/SSSecureMemory.h"
#include "tests/support/FakePlatform.h"

#include <QCoreApplication>
#include <QFile>
#include <QTest>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

/// Remembers what it was asked to protect.
class RecordingProtection final : public MemoryProtection
{
public:
    Outcome protect(std::span<std::byte> pages) override
    {
        protectedPages.push_back(pages);
        return {true, true};
    }
    void unprotect(std::span<std::byte> pages) override { unprotectedPages.push_back(pages); }
    void wipeReleasedMemory() override { ++wipesAsked; }

    [[nodiscard]] bool covers(const void *address) const
    {
        for (const auto pages : protectedPages) {
            if (address >= pages.data() && address < pages.data() + pages.size())
                return true;
        }
        return false;
    }

    std::vector<std::span<std::byte>> protectedPages;
    std::vector<std::span<std::byte>> unprotectedPages;
    int wipesAsked = 0;
};

/// The kernel's flags of the mapping that an address lies in.
QList<QByteArray> flagsOf(const void *address)
{
    QFile maps(QStringLiteral("/proc/self/smaps"));
    if (!maps.open(QIODevice::ReadOnly))
        return {};
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    bool inside = false;
    for (const QByteArray &line : maps.readAll().split('\n')) {
        unsigned long begin = 0;
        unsigned long end = 0;
        if (std::sscanf(line.constData(), "%lx-%lx ", &begin, &end) == 2)
            inside = begin <= wanted && wanted < end;
        else if (inside && line.startsWith("VmFlags:"))
            return line.mid(8).simplified().split(' ');
    }
    return {};
}

/// Ends the process when a check fails; what it shows goes to the test's output.
void require(bool holds, const char *what, const QList<QByteArray> &flags = {})
{
    if (holds)
        return;
    std::fprintf(stderr, "%s; flags: %s\n", what, flags.join(' ').constData());
    std::_Exit(1);
}

/// In a process of its own: the first secrets of an ordinary user whose limit of locked memory is
/// `limit`.
int secretsWithin(rlim_t limit)
{
    const rlimit both{limit, limit};
    require(::setrlimit(RLIMIT_MEMLOCK, &both) == 0, "the limit cannot be set");
    require(::geteuid() != 0 || ::setresuid(65534, 65534, 65534) == 0, "root stays root");
    Platform platform;
    platform.memory = std::make_shared<LinuxMemoryProtection>(DiagnosticSink());
    Platform::install(&platform);

    const auto secret = SSMutableSecureData::dataWithLength(100);
    std::memset(secret->mutableBytes(), 's', 100);
    const auto flags = flagsOf(secret->mutableBytes());
    require(flags.contains("dd"), "a secret would be dumped", flags);
#ifndef SS_MLOCK_DOES_NOTHING
    require(flags.contains("lo") == (limit > 0), "locked or not, against the limit", flags);
#endif
    const auto own = SSMutableSecureData::dataWithLength(100000);
    std::memset(own->mutableBytes(), 's', 100000);
    require(flagsOf(own->mutableBytes()).contains("dd"), "a long secret would be dumped");
    for (const auto &data : {secret, own}) {
        for (const std::byte byte : data->data())
            require(byte == static_cast<std::byte>('s'), "a secret is lost");
    }
    // The flags are those of an ordinary page without it.
    const std::vector<char> plain(100000);
    const auto plainFlags = flagsOf(plain.data());
    require(!plainFlags.isEmpty() && !plainFlags.contains("dd") && !plainFlags.contains("lo"),
            "every page is protected", plainFlags);
    Platform::install(nullptr);
    return 0;
}

/// Runs this program anew, with a pool that has no pages yet. Not by QProcess: the clone call that
/// it makes is one that the thread sanitizer does not survive.
int statusOfChildWithin(const QByteArray &limit)
{
    QByteArray program = QCoreApplication::applicationFilePath().toLocal8Bit();
    QByteArray option = "--secrets-within";
    QByteArray text = limit;
    const std::array<char *, 4> arguments{program.data(), option.data(), text.data(), nullptr};
    pid_t child = -1;
    int status = -1;
    if (::posix_spawn(&child, program.constData(), nullptr, nullptr, arguments.data(), environ) !=
            0 ||
        ::waitpid(child, &status, 0) != child)
        return -1;
    return status;
}

} // namespace

class tst_SSSecureMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // First, while the pool has no pages: they come before the platform, and are caught up with.
    void pagesFromBeforeThePlatformAreProtectedOnceThereIsOne()
    {
        QVERIFY(!Platform::isInstalled());
        const auto early = SSMutableSecureData::dataWithLength(100);
        FakePlatform fake;
        const auto protection = std::make_shared<RecordingProtection>();
        fake.platform.memory = protection;
        const auto late = SSMutableSecureData::dataWithLength(100);
        QVERIFY(protection->covers(early->mutableBytes()));
        QVERIFY(protection->covers(late->mutableBytes()));
        // Whole pages, and each of them once.
        for (const auto pages : protection->protectedPages) {
            QCOMPARE(reinterpret_cast<std::uintptr_t>(pages.data()) % 65536, std::uintptr_t{0});
            QCOMPARE(pages.size(), std::size_t{65536});
        }
        const std::size_t count = protection->protectedPages.size();
        const auto more = SSMutableSecureData::dataWithLength(100);
        QCOMPARE(protection->protectedPages.size(), count);
    }

    void everySecretLiesInProtectedPages()
    {
        FakePlatform fake;
        const auto protection = std::make_shared<RecordingProtection>();
        fake.platform.memory = protection;
        // More than one chunk holds, so that all of these are new.
        std::vector<std::shared_ptr<SSMutableSecureData>> kept;
        std::size_t uncovered = 0;
        for (int i = 0; i < 100; ++i) {
            kept.push_back(SSMutableSecureData::dataWithLength(4096));
            uncovered += protection->covers(kept.back()->mutableBytes()) ? 0U : 1U;
        }
        // What is left of the chunk that the test before it had.
        QVERIFY(uncovered < 16);
        QVERIFY(protection->unprotectedPages.empty());
    }

    void releasedMemoryIsWipedOnRequestWhereThePlatformCan()
    {
        SSSecureMemory::wipeReleasedMemory();
        FakePlatform fake;
        SSSecureMemory::wipeReleasedMemory();
        const auto protection = std::make_shared<RecordingProtection>();
        fake.platform.memory = protection;
        QCOMPARE(protection->wipesAsked, 0);
        SSSecureMemory::wipeReleasedMemory();
        QCOMPARE(protection->wipesAsked, 1);
    }

    void aLongSecretHasPagesOfItsOwnThatAreGivenBackUnprotected()
    {
        FakePlatform fake;
        const auto protection = std::make_shared<RecordingProtection>();
        fake.platform.memory = protection;
        auto data = SSMutableSecureData::dataWithLength(100000);
        QVERIFY(protection->covers(data->mutableBytes()));
        QVERIFY(protection->covers(data->mutableBytes() + 99999));
        data.reset();
        QCOMPARE(protection->unprotectedPages.size(), std::size_t{1});
        QCOMPARE(protection->unprotectedPages[0].data(), protection->protectedPages[0].data());
        QCOMPARE(protection->unprotectedPages[0].size(), std::size_t{131072});
    }

    // 64 KiB is the smallest usual limit.
    void thePagesAreLockedAndKeptOutOfCoreDumps() { QCOMPARE(statusOfChildWithin("65536"), 0); }

    void withoutALimitToLockWithinSecretsAreStillKeptOutOfCoreDumps()
    {
        QCOMPARE(statusOfChildWithin("0"), 0);
    }

    void secretsComeAndGoWhileThePlatformDoes()
    {
        Platform platform;
        std::atomic<bool> done = false;
        std::thread user([&done] {
            for (int i = 0; i < 2000; ++i)
                SSSecureMemory::release(SSSecureMemory::allocate(10000), 10000);
            done = true;
        });
        while (!done) {
            Platform::install(&platform);
            Platform::install(nullptr);
        }
        user.join();
        QVERIFY(!Platform::installedOrNull());
    }

    void blocksAreWipedAndUsedAgain()
    {
        void *block = SSSecureMemory::allocate(128);
        std::memset(block, 's', 128);
        SSSecureMemory::release(block, 128);
        auto *again = static_cast<unsigned char *>(SSSecureMemory::allocate(128));
        QCOMPARE(static_cast<void *>(again), block);
        // Behind the pool's own note.
        for (std::size_t i = sizeof(void *); i < 128; ++i)
            QCOMPARE(again[i], static_cast<unsigned char>(0));
        SSSecureMemory::release(again, 128);
    }

    void blocksOfEveryLengthAreAlignedAndApart()
    {
        std::vector<std::pair<std::byte *, std::size_t>> blocks;
        for (const std::size_t length : {0U, 1U, 31U, 32U, 33U, 127U, 128U, 4096U, 8191U, 8192U,
                                         8193U, 65536U, 65537U, 1U, 32U, 8192U}) {
            auto *block = static_cast<std::byte *>(SSSecureMemory::allocate(length));
            QCOMPARE(reinterpret_cast<std::uintptr_t>(block) % 16, std::uintptr_t{0});
            std::memset(block, static_cast<int>(blocks.size() + 1), length);
            blocks.emplace_back(block, length);
        }
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            for (std::size_t k = 0; k < blocks[i].second; ++k)
                QVERIFY(blocks[i].first[k] == static_cast<std::byte>(i + 1));
        }
        for (const auto &[block, length] : blocks)
            SSSecureMemory::release(block, length);
    }

    void statisticsCountWhatIsInUse()
    {
        const auto before = SSSecureMemory::statistics();
        {
            const SSSecure::Bytes one(20);
            const SSSecure::Bytes two(100000);
            const auto during = SSSecureMemory::statistics();
            QCOMPARE(during.blocksInUse, before.blocksInUse + 2);
            QCOMPARE(during.allocations, before.allocations + 2);
        }
        QCOMPARE(SSSecureMemory::statistics().blocksInUse, before.blocksInUse);
    }

    void threadsShareThePool()
    {
        const auto before = SSSecureMemory::statistics();
        std::vector<std::thread> threads;
        std::atomic<int> mixedUp = 0;
        for (int id = 1; id <= 4; ++id) {
            threads.emplace_back([id, &mixedUp] {
                for (std::size_t round = 0; round < 2000; ++round) {
                    SSSecure::Bytes bytes(round % 300 + 1, static_cast<std::byte>(id));
                    std::this_thread::yield();
                    for (const std::byte byte : bytes)
                        mixedUp += byte == static_cast<std::byte>(id) ? 0 : 1;
                }
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(mixedUp.load(), 0);
        QCOMPARE(SSSecureMemory::statistics().blocksInUse, before.blocksInUse);
    }

    void tooMuchIsRefusedAsByAnyAllocator()
    {
        // Twice as many bytes as there are numbers for would wrap around to few.
        QVERIFY_THROWS_EXCEPTION(std::bad_array_new_length,
                                 (void)SSSecureAllocator<char16_t>().allocate(SIZE_MAX / 2 + 2));
        QVERIFY_THROWS_EXCEPTION(std::bad_alloc, (void)SSSecureMemory::allocate(SIZE_MAX));
        SSSecureMemory::release(nullptr, 0);
    }

#ifndef QT_NO_DEBUG
    void aDoubleReleaseIsCaughtInADebugBuild()
    {
        const pid_t child = ::fork();
        if (child == 0) {
            const rlimit noCore{0, 0};
            ::setrlimit(RLIMIT_CORE, &noCore);
            ::signal(SIGABRT, SIG_DFL);
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
            void *block = SSSecureMemory::allocate(40);
            SSSecureMemory::release(block, 40);
            void *again = SSSecureMemory::allocate(40);
            SSSecureMemory::release(again, 40); // the same block, but for the first time
            SSSecureMemory::release(again, 40);
            ::_exit(0);
        }
        int status = -1;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QVERIFY(WIFSIGNALED(status));
        QCOMPARE(WTERMSIG(status), SIGABRT);
    }
#endif
};

int main(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], "--secrets-within") == 0)
        return secretsWithin(std::strtoul(argv[2], nullptr, 10));
    QCoreApplication application(argc, argv);
    tst_SSSecureMemory test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_SSSecureMemory.moc"
