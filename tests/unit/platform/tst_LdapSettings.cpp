#include "platform/linux/directory/DirectorySettings.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using Settings = DirectorySettings;

class tst_LdapSettings : public QObject
{
    Q_OBJECT

    QStringList m_log;
    DiagnosticSink m_sink = [this](unsigned, DiagnosticType, const QString &message) {
        m_log.append(message);
    };

    Settings parse(const char *text)
    {
        return Settings::parse(QByteArrayView(text), QStringLiteral("test.conf"), m_sink);
    }

    static void expectDefaults(const Settings &settings)
    {
        QCOMPARE(settings.backend, Settings::Backend::Ldap);
        QCOMPARE(settings.bind, Settings::Bind::Gssapi);
        QCOMPARE(settings.tls, Settings::Tls::Automatic);
        QCOMPARE(settings.allowUnprotected, false);
        QVERIFY(settings.domain.isEmpty());
        QVERIFY(settings.servers.isEmpty());
        QVERIFY(settings.administratorGroups.isEmpty());
    }

private Q_SLOTS:
    void init() { m_log.clear(); }

    void aMissingFileIsNothingSpecial()
    {
        const QTemporaryDir root;
        expectDefaults(Settings::read(root.path(), m_sink));
        QCOMPARE(m_log, QStringList());
    }

    void everyKeyIsRead()
    {
        const Settings settings = parse("# comment\n"
                                        "; another\n"
                                        "[directory]\n"
                                        "backend = ldif\n"
                                        "file = /srv/directory.ldif\n"
                                        "Domain = corp.example.test\n"
                                        "site=Default-First-Site-Name\n"
                                        "server = dc1.corp.example.test, dc2:1389, [fd00::1]:390\n"
                                        "global-catalog = [fd00::2]\r\n"
                                        "bind = simple\n"
                                        "bind-dn = CN=reader = x,DC=corp\n"
                                        "bind-password-file = /etc/secret\n"
                                        "tls = LDAPS\n"
                                        "tls-ca-file = /etc/ca.pem\n"
                                        "allow-unprotected = yes\n"
                                        "admin-groups = Domain Admins, wheel");
        QCOMPARE(m_log, QStringList());
        QCOMPARE(settings.backend, Settings::Backend::Ldif);
        QCOMPARE(settings.ldifFile, QStringLiteral("/srv/directory.ldif"));
        QCOMPARE(settings.domain, QStringLiteral("corp.example.test"));
        QCOMPARE(settings.site, QStringLiteral("Default-First-Site-Name"));
        const QList<DirectoryServerAddress> servers{{QStringLiteral("dc1.corp.example.test"), 0},
                                                    {QStringLiteral("dc2"), 1389},
                                                    {QStringLiteral("fd00::1"), 390}};
        QCOMPARE(settings.servers, servers);
        const QList<DirectoryServerAddress> catalogs{{QStringLiteral("fd00::2"), 0}};
        QCOMPARE(settings.globalCatalogs, catalogs);
        QCOMPARE(settings.bind, Settings::Bind::Simple);
        QCOMPARE(settings.bindName, QStringLiteral("CN=reader = x,DC=corp"));
        QCOMPARE(settings.bindPasswordFile, QStringLiteral("/etc/secret"));
        QCOMPARE(settings.tls, Settings::Tls::Ldaps);
        QCOMPARE(settings.tlsAuthorityFile, QStringLiteral("/etc/ca.pem"));
        QCOMPARE(settings.allowUnprotected, true);
        const QStringList groups{QStringLiteral("Domain Admins"), QStringLiteral("wheel")};
        QCOMPARE(settings.administratorGroups, groups);
    }

    void tlsHasFourWays_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<Settings::Tls>("expected");
        QTest::newRow("auto") << QByteArray("tls=auto") << Settings::Tls::Automatic;
        QTest::newRow("starttls") << QByteArray("tls=starttls") << Settings::Tls::StartTls;
        QTest::newRow("require") << QByteArray("tls=require") << Settings::Tls::StartTls;
        QTest::newRow("ldaps") << QByteArray("tls=ldaps") << Settings::Tls::Ldaps;
        QTest::newRow("off") << QByteArray("tls=off") << Settings::Tls::Off;
    }
    void tlsHasFourWays()
    {
        QFETCH(QByteArray, line);
        QFETCH(Settings::Tls, expected);
        QCOMPARE(parse(line.constData()).tls, expected);
        QCOMPARE(m_log, QStringList());
    }

    void aBadLineIsLoggedAndChangesNothing_data()
    {
        QTest::addColumn<QByteArray>("line");
        for (const char *line : {"backend = active",
                                 "file = relative",
                                 "domain = a b",
                                 "domain = ..",
                                 "domain =",
                                 "site = -x",
                                 "server = dc1:0",
                                 "server = dc1:65536",
                                 "server = dc1:x",
                                 "server = dc1,,dc2",
                                 "server = [fd00::1",
                                 "server = [fd00::1]389",
                                 "server = [dc1]",
                                 "global-catalog = ldap://dc1",
                                 "bind = anonymous",
                                 "bind-dn =",
                                 "bind-password-file = secret",
                                 "tls = maybe",
                                 "tls-ca-file = ca.pem",
                                 "allow-unprotected = perhaps",
                                 "allow-unprotected =",
                                 "admin-groups = ,",
                                 "unknown = 1",
                                 "no equals sign"})
            QTest::newRow(line) << QByteArray(line);
    }
    void aBadLineIsLoggedAndChangesNothing()
    {
        QFETCH(QByteArray, line);
        const Settings settings = parse(("\n" + line + "\n").constData());
        expectDefaults(settings);
        QVERIFY(settings.ldifFile.isEmpty() && settings.site.isEmpty());
        QVERIFY(settings.globalCatalogs.isEmpty() && settings.bindName.isEmpty());
        QVERIFY(settings.bindPasswordFile.isEmpty() && settings.tlsAuthorityFile.isEmpty());
        QCOMPARE(m_log.size(), 1);
        QVERIFY(m_log.first().startsWith(QLatin1String("test.conf line 2: ")));
    }

    void aBadLineDoesNotHideTheOthers()
    {
        const Settings settings = parse("bind-password = hunter2\ndomain = corp.example.test\n");
        QCOMPARE(settings.domain, QStringLiteral("corp.example.test"));
        QCOMPARE(m_log.size(), 1);
        QVERIFY(!m_log.first().contains(QLatin1String("hunter2")));
    }

    void theFileIsReadBelowTheRootPrefix()
    {
        const QTemporaryDir root;
        QVERIFY(QDir(root.path()).mkpath(QStringLiteral("etc/zevrikselfservice")));
        QFile file(root.filePath(QStringLiteral("etc/zevrikselfservice/directory.conf")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("domain = corp.example.test\n");
        file.close();
        QCOMPARE(Settings::read(root.path(), m_sink).domain, QStringLiteral("corp.example.test"));
        QCOMPARE(m_log, QStringList());
    }

    void whatIsNoSettingsFileIsLogged_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("folder") << QStringLiteral("folder");
        QTest::newRow("pipe") << QStringLiteral("pipe");
        QTest::newRow("too large") << QStringLiteral("large");
    }
    void whatIsNoSettingsFileIsLogged()
    {
        QFETCH(QString, kind);
        const QTemporaryDir root;
        QVERIFY(QDir(root.path()).mkpath(QStringLiteral("etc/zevrikselfservice")));
        const QString path = root.filePath(QStringLiteral("etc/zevrikselfservice/directory.conf"));
        if (kind == QLatin1String("folder")) {
            QVERIFY(QDir().mkdir(path));
        } else if (kind == QLatin1String("pipe")) {
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        } else {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray("domain = corp.example.test\n").repeated(4000));
        }
        expectDefaults(Settings::read(root.path(), m_sink));
        QCOMPARE(m_log.size(), 1);
        QVERIFY(m_log.first().contains(path));
    }
};

QTEST_GUILESS_MAIN(tst_LdapSettings)
#include "tst_LdapSettings.moc"
