#include "tests/integration/settingsfiles/SettingsFilesTest.h"

#include "platform/PropertyList.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include <random>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

/// Writers that are killed, that meet, and that find no room: the old or the new file is there,
/// whole, and nothing else is.
class tst_SettingsFilesWriters : public SettingsFilesTest
{
    Q_OBJECT

    static QStringList theFileAlone() { return {QStringLiteral("com.zevrik.selfservice.plist")}; }

    /// A cache file full of `letter`. Each letter's has another size, so that one written over
    /// another in part is neither.
    static QByteArray list(char letter)
    {
        static QMap<char, QByteArray> made;
        if (!made.contains(letter))
            made.insert(letter, makeList(letter));
        return made.value(letter);
    }
    static QByteArray makeList(char letter)
    {
        QVariantMap map{{QStringLiteral("LoginSettingsVersion"), 1}};
        for (int i = 0; i < 64; ++i) {
            map.insert(QStringLiteral("%1%2").arg(QLatin1Char(letter)).arg(i),
                       QString(1000 + letter, QLatin1Char(letter)) + QString::number(i));
        }
        const auto written = writeBinaryPropertyList(map);
        return written ? QByteArray(reinterpret_cast<const char *>(written.value().data()),
                                    static_cast<qsizetype>(written.value().size()))
                       : QByteArray();
    }
    static bool isWhole(const QByteArray &contents)
    {
        return contents == list('a') || contents == list('b');
    }
    /// Writes the two lists in turn until it is killed.
    static void writeForEver(SettingsFilesScene &scene, bool atomically)
    {
        const QByteArray lists[] = {list('a'), list('b')};
        for (unsigned i = 0;; ++i) {
            const QString result = atomically ? scene.write(settings(), lists[i % 2])
                                              : scene.writeInPlace(settings(), lists[i % 2]);
            if (result != QLatin1String("done"))
                qFatal("%s", qPrintable(result));
        }
    }

    /// Waits until the child has written something: its start takes longer than a round.
    static bool waitForChange(const SettingsFilesScene &scene, ino_t before)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 60'000) {
            struct stat now = {};
            if (::stat(scene.real(settings()).constData(), &now) == 0 && now.st_ino != before)
                return true;
        }
        return false;
    }
    static ino_t inodeOf(const SettingsFilesScene &scene)
    {
        struct stat now = {};
        return ::stat(scene.real(settings()).constData(), &now) == 0 ? now.st_ino : 0;
    }

    void prepare() override
    {
        QVERIFY(list('a').size() > 60'000 && list('a').size() != list('b').size());
    }

private Q_SLOTS:
    void aKilledWriterLeavesAWholeFileAndNoLitter()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        QCOMPARE(scene.write(settings(), list('a')), QStringLiteral("done"));
        std::mt19937 random(20261121);
        int withLitter = 0;
        int changed = 0;
        for (int kill = 0; kill < 1000; ++kill) {
            const ino_t before = inodeOf(scene);
            const pid_t child = startChild([&] { writeForEver(scene, true); });
            // Most of them at any moment of a write; some before the first one.
            if (kill % 10 != 0)
                QVERIFY(waitForChange(scene, before));
            ::usleep(static_cast<useconds_t>(random() % 700));
            endChild(child);
            QVERIFY2(isWhole(scene.contents(settings())), qPrintable(QString::number(kill)));
            QCOMPARE(scene.read(settings()).size(), 6 + scene.contents(settings()).size());
            changed += inodeOf(scene) == before ? 0 : 1;
            const qsizetype names = scene.names().size();
            QVERIFY(names == 1 || names == 2); // the next writer removed what the last one left
            withLitter += names == 2 ? 1 : 0;
        }
        QVERIFY2(changed > 800, qPrintable(QString::number(changed)));
        QVERIFY2(withLitter > 50, "the kills did not come in the middle of writes");
        QCOMPARE(scene.write(settings(), list('b')), QStringLiteral("done"));
        QCOMPARE(scene.names(), theFileAlone());
        QCOMPARE(scene.contents(settings()), list('b'));
    }

    void otherFilesAreNoLitter()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        const QStringList others{
            QStringLiteral(".com.zevrik.selfservice.plist.swp"),
            QStringLiteral(".com.zevrik.selfservice.plist..tmp"),
            QStringLiteral(".com.zevrik.selfservice.plist.ABCDEFGHIJKLMNOP.tmp"),
            // of the other file
            QStringLiteral(".com.zevrik.selfservice.hash.plist."
                           "0123456789abcdef.tmp"),
            QStringLiteral("com.zevrik.selfservice.plist.0123456789abcdef.tmp")};
        for (const QString &name : others)
            scene.makeFile(folder() + u'/' + name, "somebody's");
        const QString left =
            folder() + QStringLiteral("/.com.zevrik.selfservice.plist.0123456789abcdef.tmp");
        scene.makeFile(left, "half of a fi");
        QCOMPARE(scene.write(settings(), list('a')), QStringLiteral("done"));
        QCOMPARE(scene.state(left), QStringLiteral("nothing"));
        QCOMPARE(scene.names().size(), others.size() + 1);
    }

    void theTemporaryFileOfALivingWriterIsLeftAlone()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        const QString own =
            folder() + QStringLiteral("/.com.zevrik.selfservice.plist.0123456789abcdef.tmp");
        scene.makeFile(own, "half of a fi");
        const int file = ::open(scene.real(own).constData(), O_RDONLY | O_CLOEXEC);
        QCOMPARE(::flock(file, LOCK_EX), 0);
        QCOMPARE(scene.write(settings(), list('a')), QStringLiteral("done"));
        QCOMPARE(scene.contents(own), QByteArray("half of a fi"));
        ::close(file);
        QCOMPARE(scene.write(settings(), list('a')), QStringLiteral("done"));
        QCOMPARE(scene.names(), theFileAlone());
    }

    void twoWritersLeaveOneOfTheTwoFiles()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        QCOMPARE(scene.write(settings(), list('a')), QStringLiteral("done"));
        const auto writer = [&scene](char letter) {
            const QByteArray mine = list(letter);
            for (int i = 0; i < 400; ++i) {
                const QString result = scene.write(settings(), mine);
                if (result != QLatin1String("done"))
                    qFatal("%s", qPrintable(result));
            }
            ::_exit(0);
        };
        const pid_t children[] = {startChild([&] { writer('a'); }),
                                  startChild([&] { writer('b'); })};
        int running = 2;
        int reads = 0;
        int seen[2] = {};
        while (running > 0) {
            const QByteArray contents = scene.contents(settings());
            QVERIFY(isWhole(contents));
            ++seen[contents == list('a') ? 0 : 1];
            ++reads;
            int status = 0;
            const pid_t ended = ::waitpid(-1, &status, WNOHANG);
            if (ended == children[0] || ended == children[1]) {
                QCOMPARE(status, 0);
                --running;
            }
        }
        QVERIFY2(reads > 10 && seen[0] > 0 && seen[1] > 0, "the writers did not meet");
        QCOMPARE(scene.names(), theFileAlone());
    }

    // Run by the next test, with the calls to the system recorded.
    void anAtomicWrite()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        QCOMPARE(scene.write(settings(), "<the bytes>"), QStringLiteral("done"));
        QCOMPARE(scene.contents(settings()), QByteArray("<the bytes>"));
    }

    void theBytesAreOnTheDiskBeforeTheNameAndTheNameBeforeTheEnd()
    {
        QTemporaryDir folder;
        const QString trace = folder.filePath(QStringLiteral("trace"));
        QProcess strace;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
        strace.setProcessEnvironment(environment);
        strace.start(QStringLiteral("strace"),
                     {QStringLiteral("-o"), trace, QStringLiteral("-e"),
                      QStringLiteral("trace=openat,write,fchown,fchmod,fsync,renameat"),
                      QCoreApplication::applicationFilePath(), QStringLiteral("anAtomicWrite")});
        QVERIFY(strace.waitForFinished());
        QVERIFY2(strace.exitCode() == 0, strace.readAll().constData());
        QFile file(trace);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QStringList calls;
        QString made; // the descriptors of the temporary file, and of the folder
        QString folderOpened;
        for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n')) {
            const QString call = line.left(line.indexOf(u'('));
            const QString result = line.section(u' ', -1);
            if (line.contains(QLatin1String(".tmp\", O_WRONLY|O_CREAT|O_EXCL|O_NOFOLLOW|O_CLOEXEC"
                                            ", 0600) = "))) {
                made = result;
                folderOpened.clear(); // closed since; the number is used again
                calls = QStringList(call);
            } else if (line.contains(QLatin1String("\".\", O_RDONLY|O_CLOEXEC|O_DIRECTORY) = "))) {
                folderOpened = result;
            } else if (call == QLatin1String("fsync")) {
                calls.append(line.contains(QStringLiteral("(%1)").arg(folderOpened))
                                 ? QStringLiteral("fsync folder")
                             : line.contains(QStringLiteral("(%1)").arg(made))
                                 ? QStringLiteral("fsync file")
                                 : line);
            } else if (call == QLatin1String("write")) {
                // Tests and sanitizers write elsewhere.
                if (line.startsWith(QStringLiteral("write(%1,").arg(made)))
                    calls.append(call);
            } else if (!made.isEmpty() && call != QLatin1String("openat")) {
                calls.append(call);
                if (call == QLatin1String("renameat"))
                    made.clear(); // closed next; the number is used again
            }
        }
        calls.removeIf([](const QString &call) {
            return call.isEmpty() || call.startsWith(QLatin1String("+++"));
        });
        QCOMPARE(calls, (QStringList{QStringLiteral("openat"), QStringLiteral("write"),
                                     QStringLiteral("fchown"), QStringLiteral("fchown"),
                                     QStringLiteral("fchmod"), QStringLiteral("fsync file"),
                                     QStringLiteral("renameat"), QStringLiteral("fsync folder")}));
    }

    // The file is in its place with its attributes, not without them for a moment.
    void theNewFileHasItsAttributesFromTheFirstMoment()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        QCOMPARE(scene.write(settings(), list('a')), QStringLiteral("done"));
        const QString state = scene.state(settings());
        QVERIFY(state.startsWith(QLatin1String("0666 _securityagent ")));
        const pid_t child = startChild([&] { writeForEver(scene, true); });
        for (int i = 0; i < 5000; ++i)
            QCOMPARE(scene.state(settings()), state);
        endChild(child);
    }

    void onAFullDiskTheOldFileStays()
    {
        SettingsFilesScene scene(QStringLiteral("128k"));
        scene.makeFolder();
        QCOMPARE(scene.write(settings(), list('a')), QStringLiteral("done"));
        const QByteArray large(200'000, 'x');
        const auto atomic = scene.files().writeAtomically(
            settings(), std::as_bytes(std::span(large.constData(), 200'000U)), {0666, {}, {}});
        QVERIFY(!atomic);
        QCOMPARE(atomic.error().code, Code::NoSpace);
        QCOMPARE(outcome(atomic), QStringLiteral("Cannot write %1: No space left on device.")
                                      .arg(quoted(scene, settings())));
        QCOMPARE(scene.contents(settings()), list('a'));
        QCOMPARE(scene.names(), theFileAlone());
        QCOMPARE(scene.writeInPlace(settings(), large), outcome(atomic));
        QCOMPARE(scene.contents(settings()), list('a'));
        // With the room back it goes on.
        QCOMPARE(scene.writeInPlace(settings(), list('b')), QStringLiteral("done"));
        QCOMPARE(scene.contents(settings()), list('b'));
    }

    void withoutRoomForANewNameTheOldFileStays()
    {
        SettingsFilesScene scene(QStringLiteral("1m,nr_inodes=8"));
        scene.makeFolder();
        QCOMPARE(scene.write(settings(), list('a')), QStringLiteral("done"));
        for (int i = 0;; ++i) {
            const QByteArray name = scene.real(QStringLiteral("/%1").arg(i));
            const int file = ::open(name.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            if (file < 0)
                break;
            ::close(file);
        }
        const auto result = scene.files().writeAtomically(settings(), {}, {0666, {}, {}});
        QVERIFY(!result);
        QCOMPARE(result.error().code, Code::NoSpace);
        QCOMPARE(scene.contents(settings()), list('a'));
        QCOMPARE(scene.names(), theFileAlone());
    }

    void atTheProcesssLimitTheOldFileStays()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        QCOMPARE(scene.write(settings(), list('a')), QStringLiteral("done"));
        const QString expected =
            QStringLiteral("Cannot write %1: File too large.").arg(quoted(scene, settings()));
        const QString answer = as({}, [&] {
            // Without a look before the write, a signal would end the process.
            const rlimit limit{1000, 1000};
            ::setrlimit(RLIMIT_FSIZE, &limit);
            return QStringList{scene.write(settings(), list('b')),
                               scene.writeInPlace(settings(), list('b'))}
                .join(u'|');
        });
        QCOMPARE(answer, QStringList({expected, expected}).join(u'|'));
        QCOMPARE(scene.contents(settings()), list('a'));
        QCOMPARE(scene.names(), theFileAlone());
    }

    void onADiskThatIsReadOnlyNothingChanges()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        QCOMPARE(scene.write(settings(), list('a')), QStringLiteral("done"));
        QCOMPARE(::mount(nullptr, scene.real(QString()).constData(), nullptr,
                         MS_REMOUNT | MS_RDONLY, nullptr),
                 0);
        const auto result = scene.files().writeAtomically(settings(), {}, {0666, {}, {}});
        QVERIFY(!result);
        QCOMPARE(result.error().code, Code::NotPermitted);
        QVERIFY(outcome(result).endsWith(QLatin1String("Read-only file system.")));
        QCOMPARE(scene.contents(settings()), list('a'));
    }

    // Written by nobody else's rules, so a killed one tears it; no reader takes that for a file.
    void aKilledInPlaceWriterLeavesWhatNoReaderTakesAndTheNextSaveMends()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        std::mt19937 random(20261121);
        int torn = 0;
        for (int kill = 0; kill < 300; ++kill) {
            scene.makeFile(settings(), list('c'), 0666);
            const pid_t child = startChild([&] { writeForEver(scene, false); });
            QElapsedTimer timer;
            timer.start();
            while (scene.contents(settings()) == list('c'))
                QVERIFY(timer.elapsed() < 60'000);
            ::usleep(static_cast<useconds_t>(random() % 300)); // at any moment of a write
            endChild(child);
            const QByteArray contents = scene.contents(settings());
            if (isWhole(contents))
                continue;
            ++torn;
            QVERIFY(list('a').startsWith(contents) || list('b').startsWith(contents));
            QCOMPARE(scene.read(settings()).size(), 6 + contents.size());
            const PropertyListData data{
                std::as_bytes(
                    std::span(contents.constData(), static_cast<std::size_t>(contents.size()))),
                nullptr};
            QVERIFY(!readBinaryPropertyListDictionary(data).ok());
            QCOMPARE(torn % 2 == 0 ? scene.write(settings(), list('b'))
                                   : scene.writeInPlace(settings(), list('b')),
                     QStringLiteral("done"));
            QCOMPARE(scene.contents(settings()), list('b'));
        }
        QVERIFY2(torn > 0, "no kill came in the middle of a write");
    }
};

QTEST_GUILESS_MAIN(tst_SettingsFilesWriters)
#include "tst_SettingsFilesWriters.moc"
