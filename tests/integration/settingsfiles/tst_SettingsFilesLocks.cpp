#include "tests/integration/settingsfiles/SettingsFilesTest.h"

#include <QElapsedTimer>
#include <QTest>

#include <functional>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

/// Writers in place and readers wait for each other, at most a second.
class tst_SettingsFilesLocks : public SettingsFilesTest
{
    Q_OBJECT

    /// Somebody who holds the file's lock, until he goes.
    class Holder
    {
    public:
        Holder(const SettingsFilesScene &scene, int kind)
            : m_file(::open(scene.real(settings()).constData(), O_RDONLY | O_CLOEXEC))
        {
            if (::flock(m_file, kind | LOCK_NB) != 0)
                qFatal("the lock is not free");
        }
        ~Holder() { ::close(m_file); }
        Holder(const Holder &) = delete;
        Holder &operator=(const Holder &) = delete;

    private:
        int m_file;
    };
    static QString locked(const SettingsFilesScene &scene)
    {
        return QStringLiteral("Another process keeps %1 locked.").arg(quoted(scene, settings()));
    }
    static QByteArray filled(char letter) { return QByteArray(100'000 + letter * 1000, letter); }

    /// What comes of writing in place when the lock is given back while the writer waits for it,
    /// after `before`. It waits for a second; on a machine that is too busy for that it is tried
    /// again.
    QString writtenOnceReleased(SettingsFilesScene &scene, const char *text,
                                const std::function<void()> &before) const
    {
        // Besides the holder's it has the folder and the file open when it waits.
        const int descriptors = descriptorsBefore() + 2;
        QString answer;
        for (int tries = 0; tries < 20; ++tries) {
            auto holder = std::make_unique<Holder>(scene, LOCK_EX);
            std::thread writer([&] { answer = scene.writeInPlace(settings(), text); });
            const bool waits = QTest::qWaitFor([&] { return openDescriptors() > descriptors; });
            before();
            holder.reset();
            writer.join();
            if (waits && answer != locked(scene))
                break;
        }
        return answer;
    }

private Q_SLOTS:
    void aLockThatIsKeptIsWaitedForASecond_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<bool>("reads");
        QTest::newRow("a writer for a writer") << LOCK_EX << false;
        QTest::newRow("a writer for a reader") << LOCK_SH << false;
        QTest::newRow("a reader for a writer") << LOCK_EX << true;
    }
    void aLockThatIsKeptIsWaitedForASecond()
    {
        QFETCH(int, kind);
        QFETCH(bool, reads);
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(settings(), "old", 0666);
        const Holder holder(scene, kind);
        QElapsedTimer timer;
        timer.start();
        const QString answer = as(user(), [&] {
            return reads ? scene.read(settings()) : scene.writeInPlace(settings(), "new");
        });
        const qint64 elapsed = timer.elapsed();
        QCOMPARE(answer, locked(scene));
        QVERIFY2(elapsed >= 1000 && elapsed < 30'000, qPrintable(QString::number(elapsed)));
        QCOMPARE(scene.contents(settings()), QByteArray("old"));
        // Whoever replaces the file need not wait: once at least it takes less, also on a busy
        // machine.
        qint64 fastest = 1000;
        for (int tries = 0; fastest >= 1000 && tries < 20; ++tries) {
            timer.start();
            QCOMPARE(scene.write(settings(), "root's"), QStringLiteral("done"));
            fastest = timer.elapsed();
        }
        QVERIFY2(fastest < 1000, qPrintable(QString::number(fastest)));
        QCOMPARE(scene.read(settings()), QStringLiteral("read: root's"));
    }

    void readersDoNotWaitForEachOther()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(settings(), "old", 0666);
        const Holder holder(scene, LOCK_SH);
        QCOMPARE(scene.read(settings()), QStringLiteral("read: old"));
    }

    void aLockThatIsGivenBackIsTaken()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(settings(), "old", 0666);
        QCOMPARE(writtenOnceReleased(scene, "new", [] {}), QStringLiteral("done"));
        QCOMPARE(scene.contents(settings()), QByteArray("new"));
    }

    // The bytes go into the file that has the name when the lock is had.
    void aFileThatIsReplacedMeanwhileIsNotWrittenTo()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(settings(), "old", 0666);
        QString replaced;
        const QString answer = writtenOnceReleased(
            scene, "in place", [&] { replaced = scene.write(settings(), "atomically"); });
        QCOMPARE(replaced, QStringLiteral("done"));
        QCOMPARE(answer, QStringLiteral("done"));
        QCOMPARE(scene.contents(settings()), QByteArray("in place"));
    }

    void readersSeeOneOfTheFilesWhole()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(settings(), filled('a'), 0666);
        const auto writer = [&](char letter, bool atomically) {
            return startChild([&, letter, atomically] {
                for (;;) {
                    const QString result = atomically
                                               ? scene.write(settings(), filled(letter))
                                               : scene.writeInPlace(settings(), filled(letter));
                    // Among so many, one may have to wait for too long.
                    if (result != QLatin1String("done") && result != locked(scene))
                        qFatal("%s", qPrintable(result));
                }
            });
        };
        const pid_t children[] = {writer('a', false), writer('b', false), writer('c', true)};
        QMap<char, int> seen;
        QElapsedTimer timer;
        timer.start();
        int reads = 0;
        while (timer.elapsed() < 120'000 && (reads < 400 || seen.size() < 3)) {
            const auto result = scene.files().read(settings());
            if (!result && result.error().code == Code::Locked)
                continue;
            QVERIFY2(result.ok(), qPrintable(outcome(result)));
            const auto letter =
                static_cast<char>(result.value().empty() ? std::byte{0} : result.value().front());
            QVERIFY(outcome(result) ==
                    QStringLiteral("read: ") + QString::fromLatin1(filled(letter)));
            ++seen[letter];
            ++reads;
        }
        for (const pid_t child : children)
            endChild(child);
        QCOMPARE(seen.keys(), (QList<char>{'a', 'b', 'c'}));
        QVERIFY(reads >= 400);
    }

    void twoUsersMakeAMissingFileAtOnce()
    {
        SettingsFilesScene scene;
        scene.makeFolder(0777);
        for (int round = 0; round < 50; ++round) {
            QString answers[2];
            std::thread first([&] { answers[0] = scene.writeInPlace(settings(), "first one"); });
            std::thread second([&] { answers[1] = scene.writeInPlace(settings(), "second"); });
            first.join();
            second.join();
            // On a very busy machine the other may be kept from giving the lock back.
            for (const QString &answer : answers)
                QVERIFY2(answer == QLatin1String("done") || answer == locked(scene),
                         qPrintable(answer));
            const QByteArray contents = scene.contents(settings());
            QVERIFY(contents == "first one" || contents == "second");
            QCOMPARE(::unlink(scene.real(settings()).constData()), 0);
        }
    }
};

QTEST_GUILESS_MAIN(tst_SettingsFilesLocks)
#include "tst_SettingsFilesLocks.moc"
