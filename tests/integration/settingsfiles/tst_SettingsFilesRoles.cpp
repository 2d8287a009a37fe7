#include "tests/integration/settingsfiles/SettingsFilesTest.h"

#include <QTest>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

/// What the folder and the two files get from root, from "_securityagent" and from an ordinary
/// user.
class tst_SettingsFilesRoles : public SettingsFilesTest
{
    Q_OBJECT

    gid_t m_administrators = 0;
    QString m_administratorsName;

    QString agentState(const char *mode) const
    {
        return QLatin1String(mode) + QStringLiteral(" _securityagent ") + m_administratorsName;
    }
    static QString notPermitted(const SettingsFilesScene &scene, const char *action,
                                const QString &path, const char *why = "Permission denied")
    {
        return QStringLiteral("%1 %2: %3.")
            .arg(QLatin1String(action), quoted(scene, path), QLatin1String(why));
    }
    /// A list in braces is worked out from left to right.
    static QString inTurn(const QStringList &outcomes)
    {
        return outcomes.join(QStringLiteral(", "));
    }
    /// The folder and both files, made by root.
    static void install(SettingsFilesScene &scene)
    {
        QCOMPARE(scene.create(folder()), QStringLiteral("done"));
        QCOMPARE(scene.write(settings(), "old"), QStringLiteral("done"));
        QCOMPARE(scene.write(keys(), "key", SettingsFilesScene::keyAttributes()),
                 QStringLiteral("done"));
    }

    void prepare() override
    {
        for (const char *name : {"admin", "sudo", "wheel"}) {
            if (const group *entry = m_administrators == 0 ? ::getgrnam(name) : nullptr) {
                m_administrators = entry->gr_gid;
                m_administratorsName = QString::fromUtf8(name);
            }
        }
        QVERIFY(m_administrators != 0);
        // No mode may depend on it.
        ::umask(0077);
    }

private Q_SLOTS:
    void rootMakesTheFolderAndBothFiles()
    {
        SettingsFilesScene scene;
        QVERIFY(!scene.files().exists(folder()));
        install(scene);
        QVERIFY(scene.files().exists(folder()));
        QCOMPARE(scene.state(folder()),
                 QStringLiteral("0711 folder _securityagent ") + m_administratorsName);
        QCOMPARE(scene.state(settings()), agentState("0666"));
        QCOMPARE(scene.state(keys()), QStringLiteral("0600 root root"));
        QCOMPARE(scene.contents(settings()), QByteArray("old"));
        QCOMPARE(scene.names().size(), 2);
    }

    void rootSetsWhatHasGoneWrong()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(settings(), "old", 0600, user().user);
        scene.makeFile(keys(), "key", 0644, 0);
        QCOMPARE(scene.set(settings(), SettingsFilesScene::settingsAttributes()),
                 QStringLiteral("done"));
        QCOMPARE(scene.set(keys(), SettingsFilesScene::keyAttributes()), QStringLiteral("done"));
        QCOMPARE(scene.set(folder(), SettingsFilesScene::folderAttributes()),
                 QStringLiteral("done"));
        QCOMPARE(scene.state(settings()), agentState("0666"));
        QCOMPARE(scene.state(keys()), QStringLiteral("0600 root root"));
        QCOMPARE(scene.state(folder()),
                 QStringLiteral("0711 folder _securityagent ") + m_administratorsName);
    }

    void absentAttributesStayAsTheyAre()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(keys(), "key", 0644, user().user);
        QCOMPARE(scene.set(keys(), SettingsFilesScene::keyAttributes()), QStringLiteral("done"));
        QCOMPARE(scene.state(keys()), QStringLiteral("0600 ssit-user root"));
    }

    void anUnknownAccountOrGroupIsNamed()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(settings(), "old", 0644);
        const auto set = [&](const SettingsFileAttributes &attributes) {
            return scene.files().setAttributes(settings(), attributes);
        };
        const auto owner = set({0666, QStringLiteral("ssit-nobody"), std::nullopt});
        QCOMPARE(outcome(owner), QStringLiteral("There is no account \"ssit-nobody\"."));
        QCOMPARE(owner.error().code, Code::UnknownName);
        QCOMPARE(outcome(set({0666, std::nullopt, QStringLiteral("ssit-none")})),
                 QStringLiteral("There is no group \"ssit-none\"."));
        // It is no reason not to write the file.
        QCOMPARE(
            scene.write(settings(), "new", {0640, QStringLiteral("ssit-nobody"), std::nullopt}),
            QStringLiteral("done"));
        QCOMPARE(scene.state(settings()), QStringLiteral("0640 root root"));
    }

    void theAgentReplacesTheSettings()
    {
        SettingsFilesScene scene;
        install(scene);
        Account member = agent();
        member.groups = {m_administrators};
        QCOMPARE(as(member,
                    [&] {
                        return inTurn(
                            {scene.write(settings(), "new"),
                             scene.set(settings(), SettingsFilesScene::settingsAttributes()),
                             scene.read(settings())});
                    }),
                 QStringLiteral("done, done, read: new"));
        QCOMPARE(scene.state(settings()), agentState("0666"));
        QCOMPARE(scene.state(keys()), QStringLiteral("0600 root root"));
        QCOMPARE(scene.names().size(), 2);
    }

    // The system lets only root and a group's members give a file to the group.
    void anAgentThatIsNoAdministratorIsToldOfTheGroup()
    {
        SettingsFilesScene scene;
        install(scene);
        QCOMPARE(
            as(agent(),
               [&] {
                   return inTurn({scene.write(settings(), "new"),
                                  scene.set(settings(), SettingsFilesScene::settingsAttributes())});
               }),
            QStringLiteral("done, ") + notPermitted(scene, "Cannot make \"admin\" the group of",
                                                    settings(), "Operation not permitted"));
        QCOMPARE(scene.state(settings()), QStringLiteral("0666 _securityagent _securityagent"));
        QCOMPARE(scene.contents(settings()), QByteArray("new"));
    }

    void attributesThatAreThereAlreadyAreNoError()
    {
        SettingsFilesScene scene;
        install(scene);
        QCOMPARE(as(agent(),
                    [&] {
                        return inTurn(
                            {scene.set(settings(), SettingsFilesScene::settingsAttributes()),
                             scene.set(folder(), SettingsFilesScene::folderAttributes())});
                    }),
                 QStringLiteral("done, done"));
        // Even for somebody who could set none of them.
        QCOMPARE(
            as(user(),
               [&] { return scene.set(settings(), SettingsFilesScene::settingsAttributes()); }),
            QStringLiteral("done"));
    }

    void theAgentCannotReadTheKeys()
    {
        SettingsFilesScene scene;
        install(scene);
        QCOMPARE(as(agent(), [&] { return scene.read(keys()); }),
                 notPermitted(scene, "Cannot open", keys()));
    }

    void anOrdinaryUserWritesInPlaceAndChangesNoAttribute()
    {
        SettingsFilesScene scene;
        install(scene);
        QCOMPARE(as(user(),
                    [&] {
                        return inTurn({scene.writeInPlace(settings(), "newer"),
                                       scene.read(settings()), scene.writeInPlace(settings(), "n"),
                                       scene.read(settings())});
                    }),
                 QStringLiteral("done, read: newer, done, read: n"));
        QCOMPARE(scene.state(settings()), agentState("0666"));
    }

    void anOrdinaryUserCanDoNothingElse()
    {
        SettingsFilesScene scene;
        install(scene);
        const auto answer = [&](const std::function<QString()> &work) { return as(user(), work); };
        QCOMPARE(answer([&] { return scene.write(settings(), "new"); }),
                 notPermitted(scene, "Cannot make a temporary file beside", settings()));
        QCOMPARE(answer([&] { return scene.read(keys()); }),
                 notPermitted(scene, "Cannot open", keys()));
        QCOMPARE(answer([&] { return scene.writeInPlace(keys(), "new"); }),
                 notPermitted(scene, "Cannot open", keys()));
        QCOMPARE(answer([&] { return scene.set(settings(), SettingsFilesScene::keyAttributes()); }),
                 notPermitted(scene, "Cannot give the mode 0600 to", settings(),
                              "Operation not permitted"));
        const QString other = QStringLiteral("/Library/Caches/Other");
        QCOMPARE(answer([&] { return scene.create(other); }),
                 notPermitted(scene, "Cannot make the folder", other));
        const QString another = folder() + QStringLiteral("/another");
        QCOMPARE(answer([&] { return scene.writeInPlace(another, "new"); }),
                 notPermitted(scene, "Cannot make", another));
        QCOMPARE(scene.state(settings()), agentState("0666"));
        QCOMPARE(scene.contents(settings()), QByteArray("old"));
        QCOMPARE(scene.contents(keys()), QByteArray("key"));
        QCOMPARE(scene.names().size(), 2);
    }

    void existenceIsToldWhereTheFileMayNotBeRead()
    {
        SettingsFilesScene scene;
        install(scene);
        QCOMPARE(as(user(),
                    [&] {
                        const auto exists = [&](const QString &path) {
                            return QString::number(scene.files().exists(path) ? 1 : 0);
                        };
                        return exists(keys()) + exists(settings()) +
                               exists(folder() + QStringLiteral("/none")) +
                               exists(QStringLiteral("/no/such/folder"));
                    }),
                 QStringLiteral("1100"));
    }

    void aFolderOfAnotherModeAndOwnerIsUsedAsItIs()
    {
        SettingsFilesScene scene;
        scene.makeFolder(01777);
        QCOMPARE(scene.write(settings(), "root's"), QStringLiteral("done"));
        QCOMPARE(scene.state(folder()), QStringLiteral("1777 folder root root"));
        const QString own = folder() + QStringLiteral("/own");
        QCOMPARE(as(user(),
                    [&] {
                        ::umask(0022);
                        return inTurn({scene.writeInPlace(own, "new"), scene.read(own)});
                    }),
                 QStringLiteral("done, read: new"));
        QCOMPARE(scene.state(own), QStringLiteral("0644 ssit-user ssit-user"));
    }

    void aFolderThatIsThereIsNotMadeAgain()
    {
        SettingsFilesScene scene;
        scene.makeFolder(0750);
        const auto result =
            scene.files().createDirectory(folder(), SettingsFilesScene::folderAttributes());
        QCOMPARE(outcome(result), QStringLiteral("%1 is there already: a folder of user 0.")
                                      .arg(quoted(scene, folder())));
        QCOMPARE(scene.state(folder()), QStringLiteral("0750 folder root root"));
    }

    void noFolderIsMadeOnTheWay()
    {
        SettingsFilesScene scene;
        const QString path = QStringLiteral("/Library/None/ZevrikSelfService");
        const auto result = scene.files().createDirectory(path, {0711, {}, {}});
        QVERIFY(!result);
        QCOMPARE(result.error().code, Code::Missing);
        QCOMPARE(outcome(result),
                 notPermitted(scene, "There is no way to", path, "No such file or directory"));
        QCOMPARE(scene.state(QStringLiteral("/Library/None")), QStringLiteral("nothing"));
    }

    // Root does not believe keys that somebody else may have put there.
    void keysThatOthersCouldHaveWrittenAreNotTrusted_data()
    {
        QTest::addColumn<mode_t>("mode");
        QTest::addColumn<bool>("isRoots");
        QTest::addColumn<bool>("isTrusted");
        QTest::newRow("root's own") << mode_t{0600} << true << true;
        QTest::newRow("readable to all") << mode_t{0644} << true << true;
        QTest::newRow("another user's") << mode_t{0600} << false << false;
        QTest::newRow("writable to the group") << mode_t{0620} << true << false;
        QTest::newRow("writable to all") << mode_t{0602} << true << false;
    }
    void keysThatOthersCouldHaveWrittenAreNotTrusted()
    {
        QFETCH(mode_t, mode);
        QFETCH(bool, isRoots);
        QFETCH(bool, isTrusted);
        SettingsFilesScene scene;
        scene.makeFolder();
        const uid_t owner = isRoots ? 0 : user().user;
        scene.makeFile(keys(), "key", mode, owner);
        const QString refusal =
            QStringLiteral("%1 is a file of user %2 with the mode %3: others could have "
                           "written it.")
                .arg(quoted(scene, keys()))
                .arg(owner)
                .arg(mode, 4, 8, QLatin1Char('0'));
        QCOMPARE(scene.read(keys(), SettingsFileTrust::EffectiveUser),
                 isTrusted ? QStringLiteral("read: key") : refusal);
        QCOMPARE(scene.read(keys()), QStringLiteral("read: key"));
    }
};

QTEST_GUILESS_MAIN(tst_SettingsFilesRoles)
#include "tst_SettingsFilesRoles.moc"
