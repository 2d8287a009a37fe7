#include "tests/integration/settingsfiles/SettingsFilesScene.h"

#include <QTest>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

/// What the folder and the two files get from root, from "_securityagent" and from an ordinary
/// user.
class tst_SettingsFilesRoles : public QObject
{
    Q_OBJECT

    Account m_agent;
    Account m_user;
    gid_t m_administrators = 0;
    QString m_administratorsName;

    QString agentState(const char *mode) const
    {
        return QLatin1String(mode) + QStringLiteral(" _securityagent ") + m_administratorsName;
    }
    static QString notPermitted(const SettingsFilesScene &scene, const char *action,
                                const QString &path, const char *why = "Permission denied")
    {
        return QStringLiteral("%1 \"%2\": %3.")
            .arg(QLatin1String(action), QString::fromLocal8Bit(scene.real(path)),
                 QLatin1String(why));
    }
    /// A list in braces is worked out from left to right.
    static QString inTurn(const QStringList &outcomes)
    {
        return outcomes.join(QStringLiteral(", "));
    }
    /// The folder and both files, made by root.
    static void install(SettingsFilesScene &scene)
    {
        QCOMPARE(scene.create(SettingsFilesScene::folder()), QStringLiteral("done"));
        QCOMPARE(scene.write(SettingsFilesScene::settings(), "old"), QStringLiteral("done"));
        QCOMPARE(
            scene.write(SettingsFilesScene::keys(), "key", SettingsFilesScene::keyAttributes()),
            QStringLiteral("done"));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(::geteuid() == 0, "this test makes accounts, so it needs root");
        QVERIFY2(!qEnvironmentVariableIsEmpty("SS_OWN_ETC"), "to be started by with-own-etc");
        m_agent = addAccount(QStringLiteral("_securityagent"));
        m_user = addAccount(QStringLiteral("ssit-user"));
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

    void rootMakesTheFolderAndBothFiles()
    {
        SettingsFilesScene scene;
        QVERIFY(!scene.files().exists(SettingsFilesScene::folder()));
        install(scene);
        QVERIFY(scene.files().exists(SettingsFilesScene::folder()));
        QCOMPARE(scene.state(SettingsFilesScene::folder()),
                 QStringLiteral("0711 folder _securityagent ") + m_administratorsName);
        QCOMPARE(scene.state(SettingsFilesScene::settings()), agentState("0666"));
        QCOMPARE(scene.state(SettingsFilesScene::keys()), QStringLiteral("0600 root root"));
        QCOMPARE(scene.contents(SettingsFilesScene::settings()), QByteArray("old"));
        QCOMPARE(scene.names().size(), 2);
    }

    void rootSetsWhatHasGoneWrong()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(SettingsFilesScene::settings(), "old", 0600, m_user.user);
        scene.makeFile(SettingsFilesScene::keys(), "key", 0644, 0);
        QCOMPARE(
            scene.set(SettingsFilesScene::settings(), SettingsFilesScene::settingsAttributes()),
            QStringLiteral("done"));
        QCOMPARE(scene.set(SettingsFilesScene::keys(), SettingsFilesScene::keyAttributes()),
                 QStringLiteral("done"));
        QCOMPARE(scene.set(SettingsFilesScene::folder(), SettingsFilesScene::folderAttributes()),
                 QStringLiteral("done"));
        QCOMPARE(scene.state(SettingsFilesScene::settings()), agentState("0666"));
        QCOMPARE(scene.state(SettingsFilesScene::keys()), QStringLiteral("0600 root root"));
        QCOMPARE(scene.state(SettingsFilesScene::folder()),
                 QStringLiteral("0711 folder _securityagent ") + m_administratorsName);
    }

    void absentAttributesStayAsTheyAre()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(SettingsFilesScene::keys(), "key", 0644, m_user.user);
        QCOMPARE(scene.set(SettingsFilesScene::keys(), SettingsFilesScene::keyAttributes()),
                 QStringLiteral("done"));
        QCOMPARE(scene.state(SettingsFilesScene::keys()), QStringLiteral("0600 ssit-user root"));
    }

    void anUnknownAccountOrGroupIsNamed()
    {
        SettingsFilesScene scene;
        scene.makeFolder();
        scene.makeFile(SettingsFilesScene::settings(), "old", 0644);
        const auto set = [&](const SettingsFileAttributes &attributes) {
            return scene.files().setAttributes(SettingsFilesScene::settings(), attributes);
        };
        const auto owner = set({0666, QStringLiteral("ssit-nobody"), std::nullopt});
        QCOMPARE(outcome(owner), QStringLiteral("There is no account \"ssit-nobody\"."));
        QCOMPARE(owner.error().code, SettingsFileError::Code::UnknownName);
        QCOMPARE(outcome(set({0666, std::nullopt, QStringLiteral("ssit-none")})),
                 QStringLiteral("There is no group \"ssit-none\"."));
        // It is no reason not to write the file.
        QCOMPARE(scene.write(SettingsFilesScene::settings(), "new",
                             {0640, QStringLiteral("ssit-nobody"), std::nullopt}),
                 QStringLiteral("done"));
        QCOMPARE(scene.state(SettingsFilesScene::settings()), QStringLiteral("0640 root root"));
    }

    void theAgentReplacesTheSettings()
    {
        SettingsFilesScene scene;
        install(scene);
        Account member = m_agent;
        member.groups = {m_administrators};
        QCOMPARE(as(member,
                    [&] {
                        return inTurn({scene.write(SettingsFilesScene::settings(), "new"),
                                       scene.set(SettingsFilesScene::settings(),
                                                 SettingsFilesScene::settingsAttributes()),
                                       scene.read(SettingsFilesScene::settings())});
                    }),
                 QStringLiteral("done, done, read: new"));
        QCOMPARE(scene.state(SettingsFilesScene::settings()), agentState("0666"));
        QCOMPARE(scene.state(SettingsFilesScene::keys()), QStringLiteral("0600 root root"));
        QCOMPARE(scene.names().size(), 2);
    }

    // The system lets only root and a group's members give a file to the group.
    void anAgentThatIsNoAdministratorIsToldOfTheGroup()
    {
        SettingsFilesScene scene;
        install(scene);
        QCOMPARE(as(m_agent,
                    [&] {
                        return inTurn({scene.write(SettingsFilesScene::settings(), "new"),
                                       scene.set(SettingsFilesScene::settings(),
                                                 SettingsFilesScene::settingsAttributes())});
                    }),
                 QStringLiteral("done, ") +
                     notPermitted(scene, "Cannot make \"admin\" the group of",
                                  SettingsFilesScene::settings(), "Operation not permitted"));
        QCOMPARE(scene.state(SettingsFilesScene::settings()),
                 QStringLiteral("0666 _securityagent _securityagent"));
        QCOMPARE(scene.contents(SettingsFilesScene::settings()), QByteArray("new"));
    }

    void attributesThatAreThereAlreadyAreNoError()
    {
        SettingsFilesScene scene;
        install(scene);
        QCOMPARE(as(m_agent,
                    [&] {
                        return inTurn({scene.set(SettingsFilesScene::settings(),
                                                 SettingsFilesScene::settingsAttributes()),
                                       scene.set(SettingsFilesScene::folder(),
                                                 SettingsFilesScene::folderAttributes())});
                    }),
                 QStringLiteral("done, done"));
        // Even for somebody who could set none of them.
        QCOMPARE(as(m_user,
                    [&] {
                        return scene.set(SettingsFilesScene::settings(),
                                         SettingsFilesScene::settingsAttributes());
                    }),
                 QStringLiteral("done"));
    }

    void theAgentCannotReadTheKeys()
    {
        SettingsFilesScene scene;
        install(scene);
        QCOMPARE(as(m_agent, [&] { return scene.read(SettingsFilesScene::keys()); }),
                 notPermitted(scene, "Cannot open", SettingsFilesScene::keys()));
    }

    void anOrdinaryUserWritesInPlaceAndChangesNoAttribute()
    {
        SettingsFilesScene scene;
        install(scene);
        QCOMPARE(as(m_user,
                    [&] {
                        return inTurn({scene.writeInPlace(SettingsFilesScene::settings(), "newer"),
                                       scene.read(SettingsFilesScene::settings()),
                                       scene.writeInPlace(SettingsFilesScene::settings(), "n"),
                                       scene.read(SettingsFilesScene::settings())});
                    }),
                 QStringLiteral("done, read: newer, done, read: n"));
        QCOMPARE(scene.state(SettingsFilesScene::settings()), agentState("0666"));
    }

    void anOrdinaryUserCanDoNothingElse()
    {
        SettingsFilesScene scene;
        install(scene);
        const auto answer = [&](const std::function<QString()> &work) { return as(m_user, work); };
        QCOMPARE(answer([&] { return scene.write(SettingsFilesScene::settings(), "new"); }),
                 notPermitted(scene, "Cannot make a temporary file beside",
                              SettingsFilesScene::settings()));
        QCOMPARE(answer([&] { return scene.read(SettingsFilesScene::keys()); }),
                 notPermitted(scene, "Cannot open", SettingsFilesScene::keys()));
        QCOMPARE(answer([&] { return scene.writeInPlace(SettingsFilesScene::keys(), "new"); }),
                 notPermitted(scene, "Cannot open", SettingsFilesScene::keys()));
        QCOMPARE(answer([&] {
                     return scene.set(SettingsFilesScene::settings(),
                                      SettingsFilesScene::keyAttributes());
                 }),
                 notPermitted(scene, "Cannot give the mode 0600 to", SettingsFilesScene::settings(),
                              "Operation not permitted"));
        const QString other = QStringLiteral("/Library/Caches/Other");
        QCOMPARE(answer([&] { return scene.create(other); }),
                 notPermitted(scene, "Cannot make the folder", other));
        const QString another = SettingsFilesScene::folder() + QStringLiteral("/another");
        QCOMPARE(answer([&] { return scene.writeInPlace(another, "new"); }),
                 notPermitted(scene, "Cannot make", another));
        QCOMPARE(scene.state(SettingsFilesScene::settings()), agentState("0666"));
        QCOMPARE(scene.contents(SettingsFilesScene::settings()), QByteArray("old"));
        QCOMPARE(scene.contents(SettingsFilesScene::keys()), QByteArray("key"));
        QCOMPARE(scene.names().size(), 2);
    }

    void existenceIsToldWhereTheFileMayNotBeRead()
    {
        SettingsFilesScene scene;
        install(scene);
        QCOMPARE(as(m_user,
                    [&] {
                        const auto exists = [&](const QString &path) {
                            return QString::number(scene.files().exists(path) ? 1 : 0);
                        };
                        return exists(SettingsFilesScene::keys()) +
                               exists(SettingsFilesScene::settings()) +
                               exists(SettingsFilesScene::folder() + QStringLiteral("/none")) +
                               exists(QStringLiteral("/no/such/folder"));
                    }),
                 QStringLiteral("1100"));
    }

    void aFolderOfAnotherModeAndOwnerIsUsedAsItIs()
    {
        SettingsFilesScene scene;
        scene.makeFolder(01777);
        QCOMPARE(scene.write(SettingsFilesScene::settings(), "root's"), QStringLiteral("done"));
        QCOMPARE(scene.state(SettingsFilesScene::folder()),
                 QStringLiteral("1777 folder root root"));
        const QString own = SettingsFilesScene::folder() + QStringLiteral("/own");
        QCOMPARE(as(m_user,
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
        const auto result = scene.files().createDirectory(SettingsFilesScene::folder(),
                                                          SettingsFilesScene::folderAttributes());
        QCOMPARE(outcome(result),
                 QStringLiteral("\"%1\" is there already: a folder of user 0.")
                     .arg(QString::fromLocal8Bit(scene.real(SettingsFilesScene::folder()))));
        QCOMPARE(scene.state(SettingsFilesScene::folder()),
                 QStringLiteral("0750 folder root root"));
    }

    void noFolderIsMadeOnTheWay()
    {
        SettingsFilesScene scene;
        const QString path = QStringLiteral("/Library/None/ZevrikSelfService");
        const auto result = scene.files().createDirectory(path, {0711, {}, {}});
        QVERIFY(!result);
        QCOMPARE(result.error().code, SettingsFileError::Code::Missing);
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
        const uid_t owner = isRoots ? 0 : m_user.user;
        scene.makeFile(SettingsFilesScene::keys(), "key", mode, owner);
        const QString refusal =
            QStringLiteral("\"%1\" is a file of user %2 with the mode %3: others could have "
                           "written it.")
                .arg(QString::fromLocal8Bit(scene.real(SettingsFilesScene::keys())))
                .arg(owner)
                .arg(mode, 4, 8, QLatin1Char('0'));
        QCOMPARE(scene.read(SettingsFilesScene::keys(), SettingsFileTrust::EffectiveUser),
                 isTrusted ? QStringLiteral("read: key") : refusal);
        QCOMPARE(scene.read(SettingsFilesScene::keys()), QStringLiteral("read: key"));
    }
};

QTEST_GUILESS_MAIN(tst_SettingsFilesRoles)
#include "tst_SettingsFilesRoles.moc"
