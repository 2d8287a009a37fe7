#include "platform/linux/memory/LinuxMemoryProtection.h"

#include <QStringList>
#include <QTest>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

class tst_LinuxMemoryProtection : public QObject
{
    Q_OBJECT

    static constexpr std::size_t length = 65536;
    std::span<std::byte> m_pages;

private Q_SLOTS:
    void initTestCase()
    {
        void *pages =
            ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        QVERIFY(pages != MAP_FAILED);
        m_pages = {static_cast<std::byte *>(pages), length};
    }
    void cleanupTestCase() { ::munmap(m_pages.data(), length); }

    void withinTheLimitPagesAreLockedInSilence()
    {
        int lines = 0;
        LinuxMemoryProtection protection(
            [&](unsigned, DiagnosticType, const QString &) { ++lines; });
        const auto outcome = protection.protect(m_pages);
        QVERIFY(outcome.locked);
        QVERIFY(outcome.excludedFromDumps);
        protection.unprotect(m_pages);
        QCOMPARE(lines, 0);
    }

#ifndef SS_MLOCK_DOES_NOTHING
    // In a child, since the limit and the rights go for good.
    void beyondTheLimitTheyAreStillKeptOutOfDumpsAndOneLineTells()
    {
        const pid_t child = ::fork();
        if (child == 0) {
            const rlimit none{0, 0};
            int fault = ::setrlimit(RLIMIT_MEMLOCK, &none) == 0 ? 0 : 1;
            if (::geteuid() == 0 && ::setresuid(65534, 65534, 65534) != 0)
                fault = 2;
            QStringList lines;
            LinuxMemoryProtection protection(
                [&](unsigned level, DiagnosticType type, const QString &message) {
                    if (level != 2 || type != DiagnosticType::Info)
                        fault = 3;
                    lines.append(message);
                });
            for (int i = 0; i < 2; ++i) {
                const auto outcome = protection.protect(m_pages);
                if (outcome.locked || !outcome.excludedFromDumps)
                    fault = 4;
            }
            if (lines.size() != 1 || !lines.first().startsWith(QStringLiteral(
                                         "Secrets in memory are not kept out of the swap space: ")))
                fault = 5;
            ::_exit(fault);
        }
        int status = -1;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 0);
    }
#endif
};

QTEST_GUILESS_MAIN(tst_LinuxMemoryProtection)
#include "tst_LinuxMemoryProtection.moc"
