#include "tests/integration/settingsfiles/SettingsFilesTest.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

/// What another user puts in the way, in a folder where he may write, does root no harm.
class tst_SettingsFilesPlanted : public SettingsFilesTest
{
    Q_OBJECT

    static QString precious() { return QStringLiteral("/Library/precious"); }
    /// Whatever root tries says `refusal`, with this code, and waits for nobody.
    static void everythingIsRefused(SettingsFilesScene &scene, const QString &refusal, Code code)
    {
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(scene.read(settings()), refusal);
        QCOMPARE(scene.writeInPlace(settings(), "new"), refusal);
        QCOMPARE(scene.write(settings(), "new"), refusal);
        QCOMPARE(
            scene.files().read(settings(), SettingsFileTrust::EffectiveUser, 1000).error().code,
            code);
        QVERIFY(timer.elapsed() < 30'000);
        QCOMPARE(scene.names(), QStringList(QStringLiteral("com.zevrik.selfservice.plist")));
    }
    /// Something of the user's that is no file, and its name in the messages.
    void plant(const SettingsFilesScene &scene, const QString &kind) const
    {
        const QByteArray path = scene.real(settings());
        const QByteArray target = scene.real(precious());
        const QString made = as(user(), [&] {
            int result = -1;
            if (kind == QLatin1String("link"))
                result = ::symlink(target.constData(), path.constData());
            else if (kind == QLatin1String("dangling link"))
                result = ::symlink("/nonexistent/target", path.constData());
            else if (kind == QLatin1String("folder"))
                result = ::mkdir(path.constData(), 0777);
            else if (kind == QLatin1String("FIFO"))
                result = ::mkfifo(path.constData(), 0666);
            else if (kind == QLatin1String("socket"))
                result = ::mknod(path.constData(), S_IFSOCK | 0666, 0);
            return QString::number(result);
        });
        QCOMPARE(made, QStringLiteral("0"));
    }

private Q_SLOTS:
    void whatIsNoFileIsRefusedByItsName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("link") << QStringLiteral("a symbolic link");
        QTest::newRow("dangling link") << QStringLiteral("a symbolic link");
        QTest::newRow("folder") << QStringLiteral("a folder");
        QTest::newRow("FIFO") << QStringLiteral("a FIFO");
        QTest::newRow("socket") << QStringLiteral("a socket");
    }
    void whatIsNoFileIsRefusedByItsName()
    {
        QFETCH(QString, name);
        SettingsFilesScene scene;
        scene.makeFolder(0777);
        scene.makeFile(precious(), "precious", 0600);
        plant(scene, QString::fromLatin1(QTest::currentDataTag()));
        const QString state = scene.state(settings());
        const QString refusal = QStringLiteral("%1 is %2 of user %3, not a file.")
                                    .arg(quoted(scene, settings()), name)
                                    .arg(user().user);
        everythingIsRefused(scene, refusal, Code::NotPlain);
        if (name != QLatin1String("a folder")) {
            QCOMPARE(scene.set(settings(), SettingsFilesScene::settingsAttributes()), refusal);
            QCOMPARE(scene.state(settings()), state);
        }
        QVERIFY(scene.files().exists(settings()));
        QCOMPARE(scene.contents(precious()), QByteArray("precious"));
        QCOMPARE(scene.state(precious()), QStringLiteral("0600 root root"));
    }

    void aFifoWithAWriterIsNotReadFrom()
    {
        SettingsFilesScene scene;
        scene.makeFolder(0777);
        plant(scene, QStringLiteral("FIFO"));
        const int end = ::open(scene.real(settings()).constData(), O_RDWR | O_CLOEXEC);
        QCOMPARE(::write(end, "trap", 4), ssize_t{4});
        QVERIFY(scene.read(settings()).contains(QLatin1String("a FIFO")));
        char bytes[8] = {};
        QCOMPARE(::read(end, bytes, sizeof bytes), ssize_t{4});
        ::close(end);
    }

    void aDeviceIsNotOpened()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        // The device that takes everything, so that a write would succeed.
        QCOMPARE(::mknod(scene.real(settings()).constData(), S_IFCHR | 0666,
                         static_cast<dev_t>(1U << 8U | 3U)),
                 0);
        everythingIsRefused(scene,
                            quoted(scene, settings()) +
                                QStringLiteral(" is a device of user 0, not a file."),
                            Code::NotPlain);
    }

    // A hard link to one of root's files: where links are not protected, any user can make it.
    void aFileOfTwoNamesIsNeitherWrittenOverNorGivenAway()
    {
        SettingsFilesScene scene;
        scene.makeFolder(0777);
        scene.makeFile(precious(), "precious", 0600);
        QCOMPARE(::link(scene.real(precious()).constData(), scene.real(settings()).constData()), 0);
        const QString refusal = quoted(scene, settings()) +
                                QStringLiteral(" is a file of user 0 that has 2 names (hard "
                                               "links), not one.");
        QCOMPARE(scene.writeInPlace(settings(), "new"), refusal);
        QCOMPARE(scene.set(settings(), SettingsFilesScene::settingsAttributes()), refusal);
        QCOMPARE(scene.read(settings(), SettingsFileTrust::EffectiveUser), refusal);
        QCOMPARE(scene.contents(precious()), QByteArray("precious"));
        QCOMPARE(scene.state(precious()), QStringLiteral("0600 root root"));
        // Another file takes the name; the old one keeps the other name and all that it had.
        QCOMPARE(scene.write(settings(), "new"), QStringLiteral("done"));
        QCOMPARE(scene.contents(settings()), QByteArray("new"));
        QCOMPARE(scene.contents(precious()), QByteArray("precious"));
        QCOMPARE(scene.state(precious()), QStringLiteral("0600 root root"));
    }

    void aFolderThatIsALinkOfAnotherUserIsNotEntered()
    {
        SettingsFilesScene scene;
        QCOMPARE(::chmod(scene.real(QStringLiteral("/Library/Caches")).constData(), 0777), 0);
        const QByteArray target = scene.real(QStringLiteral("/Library/elsewhere"));
        QCOMPARE(::mkdir(target.constData(), 0755), 0);
        QCOMPARE(as(user(),
                    [&] {
                        return QString::number(
                            ::symlink(target.constData(), scene.real(folder()).constData()));
                    }),
                 QStringLiteral("0"));
        const QString refusal =
            QStringLiteral("On the way to %1, \"ZevrikSelfService\" is a symbolic link of user %2.")
                .arg(quoted(scene, settings()))
                .arg(user().user);
        QCOMPARE(scene.read(settings()), refusal);
        QCOMPARE(scene.write(settings(), "new"), refusal);
        QCOMPARE(scene.writeInPlace(settings(), "new"), refusal);
        QCOMPARE(scene.set(settings(), SettingsFilesScene::settingsAttributes()), refusal);
        QVERIFY(scene.files().exists(settings())); // not to be taken for missing
        QCOMPARE(scene.set(folder(), SettingsFilesScene::folderAttributes()),
                 QStringLiteral("%1 is a symbolic link of user %2, not a file.")
                     .arg(quoted(scene, folder()))
                     .arg(user().user));
        QCOMPARE(scene.create(folder()),
                 QStringLiteral("%1 is there already: a symbolic link of user %2.")
                     .arg(quoted(scene, folder()))
                     .arg(user().user));
        QVERIFY(QDir(QFile::decodeName(target)).isEmpty());
        // Whoever made the link may use it himself.
        QCOMPARE(::chmod(target.constData(), 0777), 0);
        QCOMPARE(as(user(), [&] { return scene.writeInPlace(settings(), "own"); }),
                 QStringLiteral("done"));
    }

    void aLinkThatRootMadeOnTheWayIsFollowed_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("relative") << QByteArray("../elsewhere/./x/..");
        QTest::newRow("absolute") << QByteArray("/Library/elsewhere");
    }
    void aLinkThatRootMadeOnTheWayIsFollowed()
    {
        QFETCH(QByteArray, target);
        SettingsFilesScene scene;
        const QString elsewhere = QStringLiteral("/Library/elsewhere");
        QVERIFY(QDir().mkpath(QFile::decodeName(scene.real(elsewhere + QStringLiteral("/x")))));
        if (target.startsWith('/'))
            target = scene.real(QString::fromLatin1(target));
        QCOMPARE(::symlink(target.constData(), scene.real(folder()).constData()), 0);
        QCOMPARE(scene.write(settings(), "new"), QStringLiteral("done"));
        QCOMPARE(scene.read(settings()), QStringLiteral("read: new"));
        QCOMPARE(scene.contents(elsewhere + QStringLiteral("/com.zevrik.selfservice.plist")),
                 QByteArray("new"));
    }

    void aCircleOfLinksEnds()
    {
        SettingsFilesScene scene;
        QCOMPARE(::symlink("ZevrikSelfService", scene.real(folder()).constData()), 0);
        QCOMPARE(scene.read(settings()), QStringLiteral("There is no way to %1: Too many levels of "
                                                        "symbolic links.")
                                             .arg(quoted(scene, settings())));
    }

    void aFileOnTheWayIsNamed()
    {
        SettingsFilesScene scene;
        scene.makeFile(folder(), "a file", 0644);
        QCOMPARE(scene.write(settings(), "new"),
                 QStringLiteral("On the way to %1, \"ZevrikSelfService\" is a file of user 0.")
                     .arg(quoted(scene, settings())));
    }

    void pathsThatAreNoneAreRefused()
    {
        LinuxSettingsFiles files(QString(), nullptr);
        for (const QString &path :
             {QString(), QStringLiteral("/"), QStringLiteral("relative/file"),
              QStringLiteral("/tmp/.."), QStringLiteral("/tmp/a%1b").arg(QChar(0))}) {
            const auto result = files.read(path, SettingsFileTrust::Anybody, 10);
            QVERIFY(!result);
            QVERIFY(outcome(result).endsWith(QLatin1String("is no absolute path of a file.")));
        }
    }

    void aHugeFileIsRefusedWithoutBeingRead()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(settings(), "x", 0644);
        // A terabyte that takes no room.
        QCOMPARE(::truncate(scene.real(settings()).constData(), off_t{1} << 40U), 0);
        const auto result = scene.files().read(settings());
        QVERIFY(!result);
        QCOMPARE(result.error().code, Code::TooLarge);
        QCOMPARE(outcome(result),
                 quoted(scene, settings()) +
                     QStringLiteral(" has 1099511627776 bytes, more than the 8388608 that are "
                                    "read."));
        QCOMPARE(scene.write(settings(), "new"), QStringLiteral("done"));
        QCOMPARE(scene.read(settings()), QStringLiteral("read: new"));
    }

    void theLimitIsTheLastSizeThatIsRead()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(settings(), QByteArray(100, 'x'));
        QVERIFY(scene.files().read(settings(), SettingsFileTrust::Anybody, 100).ok());
        QVERIFY(!scene.files().read(settings(), SettingsFileTrust::Anybody, 99).ok());
        scene.makeFile(settings(), QByteArray());
        QCOMPARE(scene.read(settings()), QStringLiteral("read: "));
    }

    void aMissingFileIsToldFromTheRest()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        const auto result = scene.files().read(settings());
        QVERIFY(!result);
        QCOMPARE(result.error().code, Code::Missing);
        QVERIFY(!scene.files().exists(settings()));
    }
};

QTEST_GUILESS_MAIN(tst_SettingsFilesPlanted)
#include "tst_SettingsFilesPlanted.moc"
