#include "tests/integration/settingsfiles/SettingsFilesTest.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <linux/capability.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

/// Files that root keeps in somebody else's hands, and their attributes.
class tst_SettingsFilesOfUser : public SettingsFilesTest
{
    Q_OBJECT

    static QString home() { return QStringLiteral("/Library/home"); }
    static QString file() { return home() + QStringLiteral("/file"); }
    static QString name() { return QStringLiteral("ssit-user"); }

    /// A folder of the user's.
    void makeHome(const SettingsFilesScene &scene) const
    {
        const QByteArray path = scene.real(home());
        QCOMPARE(::mkdir(path.constData(), 0700), 0);
        QCOMPARE(::chown(path.constData(), user().user, user().group), 0);
    }
    static std::shared_ptr<SettingsFiles> ofUser(SettingsFilesScene &scene)
    {
        auto files = scene.files().asUser(name());
        return files ? files.value() : nullptr;
    }
    static std::span<const std::byte> bytes(const char *text)
    {
        return std::as_bytes(std::span(text, std::strlen(text)));
    }
    /// What the system says of the rights of each of this process's threads.
    static QByteArray rights()
    {
        QByteArray result;
        const QStringList threads =
            QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        for (const QString &thread : threads) {
            QFile status(QStringLiteral("/proc/self/task/%1/status").arg(thread));
            if (!status.open(QIODevice::ReadOnly))
                continue;
            for (const QByteArray &line : status.readAll().split('\n')) {
                for (const char *const key : {"Uid:", "Gid:", "Groups:", "Cap"}) {
                    if (line.startsWith(key))
                        result += line + '\n';
                }
            }
        }
        return result;
    }

private Q_SLOTS:
    void whatIsMadeIsTheUsers()
    {
        SettingsFilesScene scene;
        makeHome(scene);
        const auto files = ofUser(scene);
        QVERIFY(files);
        const QString inner = home() + QStringLiteral("/inner");
        QCOMPARE(outcome(files->createDirectory(inner, {.mode = 0750})), QStringLiteral("done"));
        QCOMPARE(scene.state(inner), QStringLiteral("0750 folder ssit-user ssit-user"));
        QCOMPARE(outcome(files->writeAtomically(file(), bytes("new"), {.mode = 0640})),
                 QStringLiteral("done"));
        QCOMPARE(scene.state(file()), QStringLiteral("0640 ssit-user ssit-user"));
        QCOMPARE(outcome(files->writeInPlace(file(), bytes("newer"))), QStringLiteral("done"));
        QCOMPARE(outcome(files->read(file())), QStringLiteral("read: newer"));
        QCOMPARE(outcome(files->setAttributes(file(), {.mode = 0600})), QStringLiteral("done"));
        QCOMPARE(scene.state(file()), QStringLiteral("0600 ssit-user ssit-user"));
        QVERIFY(files->exists(file()));
        QVERIFY(!files->exists(home() + QStringLiteral("/other")));
    }

    void rootHasItsRightsBackWhateverCameOut()
    {
        SettingsFilesScene scene;
        makeHome(scene);
        scene.makeFile(QStringLiteral("/Library/roots"), "key", 0600);
        const QByteArray before = rights();
        QVERIFY(before.contains("CapEff:"));
        const auto files = ofUser(scene);
        QVERIFY(files);
        QCOMPARE(outcome(files->writeAtomically(file(), bytes("new"), {.mode = 0600})),
                 QStringLiteral("done"));
        QVERIFY(!files->read(QStringLiteral("/Library/roots")));
        QVERIFY(!files->createDirectory(home(), {.mode = 0700}));
        QCOMPARE(rights(), before);
        QCOMPARE(::setfsuid(static_cast<uid_t>(-1)), 0);
        QCOMPARE(scene.read(QStringLiteral("/Library/roots")), QStringLiteral("read: key"));
    }

    void rootsFilesAreOutOfReach()
    {
        SettingsFilesScene scene;
        scene.makeFolder(0711);
        scene.makeFile(keys(), "key", 0600);
        scene.makeFile(settings(), "open", 0644);
        const auto files = ofUser(scene);
        QVERIFY(files);
        const auto refused = [&](const SettingsFileResult &result) {
            return !result && result.error().code == Code::NotPermitted;
        };
        QVERIFY(!files->read(keys()));
        QCOMPARE(outcome(files->read(settings())), QStringLiteral("read: open"));
        QVERIFY(refused(files->writeInPlace(settings(), bytes("new"))));
        QVERIFY(refused(files->writeAtomically(settings(), bytes("new"), {.mode = 0600})));
        QVERIFY(refused(files->setAttributes(settings(), {.mode = 0666})));
        QVERIFY(refused(files->createDirectory(folder() + QStringLiteral("/new"), {.mode = 0700})));
        QCOMPARE(scene.contents(settings()), QByteArray("open"));
        QCOMPARE(scene.state(settings()), QStringLiteral("0644 root root"));
    }

    void inAFolderOfTheUsersSomebodyElsesFileStays()
    {
        SettingsFilesScene scene;
        makeHome(scene);
        scene.makeFile(file(), "roots", 0666);
        const auto files = ofUser(scene);
        QVERIFY(files);
        const auto result = files->writeAtomically(file(), bytes("new"), {.mode = 0600});
        QVERIFY(!result);
        QCOMPARE(result.error().localizedDescription,
                 quoted(scene, file()) +
                     QStringLiteral(" is a file of user 0, who is somebody else."));
        QCOMPARE(scene.contents(file()), QByteArray("roots"));
        // He himself may.
        QCOMPARE(as(user(),
                    [&] {
                        return outcome(
                            scene.files().writeAtomically(file(), bytes("new"), {.mode = 0600}));
                    }),
                 QStringLiteral("done"));
    }

    void noneButRootsLinksAreFollowed()
    {
        SettingsFilesScene scene;
        makeHome(scene);
        const QString inner = home() + QStringLiteral("/inner");
        const QString link = home() + QStringLiteral("/link");
        const auto files = ofUser(scene);
        QVERIFY(files);
        QCOMPARE(outcome(files->createDirectory(inner, {.mode = 0700})), QStringLiteral("done"));
        const QByteArray path = scene.real(link);
        QCOMPARE(::symlink(scene.real(inner).constData(), path.constData()), 0);
        const QString below = link + QStringLiteral("/file");
        QCOMPARE(outcome(files->writeAtomically(below, bytes("by root"), {.mode = 0600})),
                 QStringLiteral("done"));
        QCOMPARE(::lchown(path.constData(), user().user, user().group), 0);
        const auto result = files->writeAtomically(below, bytes("by user"), {.mode = 0600});
        QVERIFY(!result);
        QVERIFY(result.error().code == Code::NotTrusted);
        QCOMPARE(scene.contents(inner + QStringLiteral("/file")), QByteArray("by root"));
    }

    void aGroupThatTheUserIsInCanBeGivenAndNoOther()
    {
        SettingsFilesScene scene;
        makeHome(scene);
        const auto files = ofUser(scene);
        QVERIFY(files);
        QCOMPARE(outcome(files->writeAtomically(file(), bytes("new"), {.mode = 0600})),
                 QStringLiteral("done"));
        QCOMPARE(outcome(files->setAttributes(file(), {.mode = 0640, .groupId = user().group})),
                 QStringLiteral("done"));
        const auto result = files->setAttributes(file(), {.mode = 0600, .groupId = 0});
        QVERIFY(!result);
        QCOMPARE(result.error().localizedDescription,
                 QStringLiteral("Cannot make \"0\" the group of %1: Operation not permitted.")
                     .arg(quoted(scene, file())));
        QCOMPARE(scene.state(file()), QStringLiteral("0640 ssit-user ssit-user"));
    }

    void anOrdinaryUserActsForHimselfAlone()
    {
        SettingsFilesScene scene;
        makeHome(scene);
        QCOMPARE(as(user(),
                    [&] {
                        const auto files = ofUser(scene);
                        return files ? outcome(files->writeAtomically(file(), bytes("new"),
                                                                      {.mode = 0600}))
                                     : QStringLiteral("none");
                    }),
                 QStringLiteral("done"));
        QCOMPARE(as(user(),
                    [&] {
                        const auto files = scene.files().asUser(QStringLiteral("_securityagent"));
                        return files ? QStringLiteral("may") : files.error().localizedDescription;
                    }),
                 QStringLiteral("Only root may act for the user \"_securityagent\"."));
    }

    void anUnknownAccount()
    {
        SettingsFilesScene scene;
        const auto files = scene.files().asUser(QStringLiteral("ssit-nobody"));
        QVERIFY(!files);
        QVERIFY(files.error().code == Code::UnknownName);
        QCOMPARE(files.error().localizedDescription,
                 QStringLiteral("There is no account \"ssit-nobody\"."));
    }

    void aRootThatMayNotChangeRightsDoesNothing()
    {
        SettingsFilesScene scene;
        makeHome(scene);
        const QString told = as({}, [&] {
            __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
            const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
            const auto files = ofUser(scene);
            if (!files || ::syscall(SYS_capset, &header, none) != 0)
                return QStringLiteral("not set up");
            return outcome(files->writeAtomically(file(), bytes("new"), {.mode = 0600})) +
                   (files->exists(file()) ? QStringLiteral(" something") : QString());
        });
        QCOMPARE(told, QStringLiteral("Cannot act for the user %1: Operation not permitted. "
                                      "something")
                           .arg(user().user));
        QCOMPARE(scene.state(file()), QStringLiteral("nothing"));
    }

    void attributesOfWhatIsThere()
    {
        SettingsFilesScene scene;
        scene.makeFolder(0751);
        scene.makeFile(settings(), "new", 0644, user().user);
        QCOMPARE(::chown(scene.real(settings()).constData(), user().user, 4321), 0);
        const auto ofFile = scene.files().attributes(settings());
        QVERIFY(ofFile.ok());
        QCOMPARE(ofFile.value().mode, 0644U);
        QCOMPARE(ofFile.value().owner, std::optional(name()));
        QCOMPARE(ofFile.value().group, std::nullopt);
        QCOMPARE(ofFile.value().groupId, std::optional(4321U));
        const auto ofFolder = scene.files().attributes(folder());
        QVERIFY(ofFolder.ok());
        QCOMPARE(ofFolder.value().mode, 0751U);
        QCOMPARE(ofFolder.value().owner, std::optional(QStringLiteral("root")));
        // They can be given as they were told.
        QCOMPARE(
            scene.set(settings(), {.mode = 0600, .owner = QStringLiteral("root"), .groupId = 0}),
            QStringLiteral("done"));
        QCOMPARE(scene.set(settings(), ofFile.value()), QStringLiteral("done"));
        QCOMPARE(scene.state(settings()), QStringLiteral("0644 ssit-user 4321"));
    }

    void aFileOfHisThatItsModeKeepsFromHimRootReads()
    {
        SettingsFilesScene scene;
        makeHome(scene);
        const auto files = ofUser(scene);
        QVERIFY(files);
        scene.makeFile(file(), "his", 0, user().user);
        QCOMPARE(outcome(files->read(file())), QStringLiteral("read: his"));
        QCOMPARE(scene.state(file()).first(14), QStringLiteral("0000 ssit-user"));
        // He himself may not, and root may only as long as it is his alone.
        QVERIFY(as(user(), [&] {
                    return scene.read(file());
                }).endsWith(QStringLiteral("Permission denied.")));
        QVERIFY(files->read(file(), SettingsFileTrust::Anybody, 2).error().code == Code::TooLarge);
        const QByteArray other = scene.real(home() + QStringLiteral("/other"));
        QCOMPARE(::link(scene.real(file()).constData(), other.constData()), 0);
        QVERIFY(files->read(file()).error().code == Code::NotPermitted);
        QCOMPARE(::unlink(other.constData()), 0);
        QCOMPARE(::chown(scene.real(file()).constData(), agent().user, agent().group), 0);
        QVERIFY(files->read(file()).error().code == Code::NotPermitted);
    }

    void attributesOfAFileThatItsModeKeepsFromItsUser()
    {
        SettingsFilesScene scene;
        makeHome(scene);
        for (const quint32 mode : {0U, 0200U}) {
            scene.makeFile(file(), "his", mode, user().user);
            QCOMPARE(::chown(scene.real(file()).constData(), user().user, user().group), 0);
            const auto told = as(user(), [&] {
                QStringList results; // one after the other
                results << scene.set(file(), {.mode = mode, .groupId = user().group});
                results << scene.set(file(), {.mode = 0640, .groupId = 0});
                results << scene.set(file(), {.mode = 0640});
                return results.join(QLatin1Char('|'));
            });
            QCOMPARE(told, QStringLiteral("done|Cannot make \"0\" the group of %1: Operation not "
                                          "permitted.|done")
                               .arg(quoted(scene, file())));
            QCOMPARE(scene.state(file()), QStringLiteral("0640 ssit-user ssit-user"));
        }
    }

    void aFileThatIsReplacedKeepsItsGroupAlsoOneThatHeIsNotIn()
    {
        SettingsFilesScene scene;
        makeHome(scene);
        const auto files = ofUser(scene);
        QVERIFY(files);
        const auto replaced = [&](const SettingsFileAttributes &attributes) {
            return outcome(files->writeAtomically(file(), bytes("new"), attributes));
        };
        scene.makeFile(file(), "old", 0640, user().user);
        QCOMPARE(::chown(scene.real(file()).constData(), user().user, 4321), 0);
        QCOMPARE(replaced({.mode = 0640, .groupId = 4321}), QStringLiteral("done"));
        QCOMPARE(scene.state(file()), QStringLiteral("0640 ssit-user 4321"));
        QCOMPARE(scene.contents(file()), QByteArray("new"));
        // No other that he is not in, and not without being told to.
        QCOMPARE(replaced({.mode = 0640, .groupId = 0}), QStringLiteral("done"));
        QCOMPARE(scene.state(file()), QStringLiteral("0640 ssit-user ssit-user"));
        QCOMPARE(::chown(scene.real(file()).constData(), user().user, 4321), 0);
        QCOMPARE(replaced({.mode = 0600}), QStringLiteral("done"));
        QCOMPARE(scene.state(file()), QStringLiteral("0600 ssit-user ssit-user"));
    }

    void anOwnerWithoutAnAccountHasNoName()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(settings(), "new", 0600, 54321);
        const auto attributes = scene.files().attributes(settings());
        QVERIFY(attributes.ok());
        QCOMPARE(attributes.value().owner, std::nullopt);
    }

    void noAttributesOfWhatIsNoFileOrNotThere()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        const auto missing = scene.files().attributes(settings());
        QVERIFY(!missing);
        QVERIFY(missing.error().code == Code::Missing);
        QCOMPARE(::symlink("/etc/passwd", scene.real(settings()).constData()), 0);
        const auto link = scene.files().attributes(settings());
        QVERIFY(!link);
        QCOMPARE(link.error().localizedDescription,
                 quoted(scene, settings()) +
                     QStringLiteral(" is a symbolic link of user 0, not a file."));
    }
};

QTEST_GUILESS_MAIN(tst_SettingsFilesOfUser)
#include "tst_SettingsFilesOfUser.moc"
