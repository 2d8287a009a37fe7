#include "platform/linux/accounts/LinuxDirectoryService.h"

#include "tests/unit/platform/PlayedNodes.h"

#include <QTest>

namespace {

using Code = DirectoryError::Code;

/// An account that the computer knows by its name with the domain alone.
DirectoryDetails cached()
{
    auto details = person("jdoe", "CORP", "");
    details.insert(text(DirectoryAttribute::RecordName),
                   {QStringLiteral("jdoe@corp.example.test")});
    details.insert(text(DirectoryAttribute::OriginalNodeName),
                   {QStringLiteral("/Active Directory/CORP/corp.example.test")});
    return details;
}

} // namespace

/// Names with a domain in them, by which alone a joined computer may know its accounts.
class tst_LinuxDirectoryServiceDomains : public QObject
{
    Q_OBJECT

    std::shared_ptr<FakeNode> m_local;
    std::shared_ptr<FakeNode> m_directory;
    QStringList m_diagnostics;

    Result<DirectoryRecords, DirectoryError>
    search(const QString &name, const char16_t *attribute = DirectoryAttribute::RecordName,
           DirectoryRecordType type = DirectoryRecordType::Users)
    {
        LinuxDirectoryService service(
            m_local, m_directory,
            [this](unsigned, DiagnosticType, const QString &line) { m_diagnostics.append(line); });
        auto node = service.nodeWithType(DirectoryNodeType::Authentication);
        if (!node)
            return Failure{node.error()};
        return node.value()->query(
            {type, text(attribute), DirectoryMatchType::EqualTo, name, {}, 1});
    }

private Q_SLOTS:
    void init()
    {
        m_local = std::make_shared<FakeNode>();
        m_directory = std::make_shared<FakeNode>();
        m_diagnostics.clear();
    }

    void anAccountIsFoundByANameWithItsDomainInEitherSpelling_data()
    {
        QTest::addColumn<QString>("asked");
        QTest::addColumn<QString>("recordName");
        const QString dns = QStringLiteral("jdoe@corp.example.test");
        const QString nt = QStringLiteral("CORP\\jdoe");
        QTest::newRow("user@domain") << dns << dns;
        QTest::newRow("DOMAIN\\user") << nt << nt;
        QTest::newRow("known as user@domain") << nt << dns;
        QTest::newRow("known by the short name") << dns << QStringLiteral("jdoe");
        QTest::newRow("in capitals") << QStringLiteral("JDOE@CORP.EXAMPLE.TEST") << dns;
    }
    void anAccountIsFoundByANameWithItsDomainInEitherSpelling()
    {
        QFETCH(QString, asked);
        QFETCH(QString, recordName);
        auto account = cached();
        account.insert(text(DirectoryAttribute::RecordName), {recordName});
        account.insert(text(DirectoryAttribute::NFSHomeDirectory), list({"/home/jdoe"}));
        m_local->add("local", account);
        m_directory->add("of another domain", person("jdoe", "SALES", "EF"));
        m_directory->add("directory", person("jdoe", "CORP", "ABCD"));

        const auto answer = search(asked);
        QCOMPARE(descriptions(answer), list({"directory"}));
        QCOMPARE(m_directory->queries.last().value, QStringLiteral("jdoe"));
        QCOMPARE(m_directory->queries.last().maximumResults, 0);
        const auto details = answer.value()[0]->details().value();
        QCOMPARE(details.value(text(DirectoryAttribute::GUID)), list({"ABCD"}));
        QCOMPARE(details.value(text(DirectoryAttribute::PrimaryNTDomain)), list({"CORP"}));
        QCOMPARE(details.value(text(DirectoryAttribute::RecordName)), QStringList(asked));
        QCOMPARE(details.value(text(DirectoryAttribute::NFSHomeDirectory)), list({"/home/jdoe"}));
        QVERIFY(!details.contains(text(DirectoryAttribute::sAMAccountName)));
        QVERIFY(m_diagnostics.isEmpty());
    }

    void anAccountThatTheDirectoryDoesNotHaveIsFoundWithItsDomainAllTheSame()
    {
        m_local->add("local", cached());
        m_directory->add("of another domain", person("jdoe", "SALES", "EF"));
        m_directory->add("broken", {})->detailsFail = true;
        const auto answer = search(QStringLiteral("jdoe@corp.example.test"));
        QCOMPARE(descriptions(answer), list({"local"}));
        QVERIFY(!answer.value()[0]->details().value().contains(text(DirectoryAttribute::GUID)));
    }

    void aDirectoryThatFailsLeavesTheAccountThatWasAskedForWithItsDomain()
    {
        const auto account = m_local->add("local", cached());
        m_directory->fail(Code::ServerUnreachable);
        const auto answer = search(QStringLiteral("CORP\\jdoe"));
        QCOMPARE(descriptions(answer), list({"local"}));
        QCOMPARE(answer.value()[0]->details().value().value(text(DirectoryAttribute::RecordName)),
                 list({"CORP\\jdoe"}));
        QCOMPARE(m_diagnostics.size(), 1);
        // There is nobody else to ask for the password.
        account->answer = Failure{DirectoryError{Code::CannotTell, {}}};
        QVERIFY(!answer.value()[0]->verifyPassword(u"x").ok());
    }

    void anAccountOfTheSameGuidIsThePersonWhateverTheDirectoryCallsHim()
    {
        auto account = cached();
        account.insert(text(DirectoryAttribute::GUID), list({"abcd"}));
        m_local->add("local", account);
        m_directory->add("of the same name", person("jdoe", "CORP", "EF"));
        m_directory->add("directory", person("jdoe", "SALES", "ABCD"));
        QCOMPARE(descriptions(search(QStringLiteral("CORP\\jdoe"))), list({"directory"}));
    }

    void anotherNameIsNoNameWithADomain_data()
    {
        QTest::addColumn<QString>("asked");
        QTest::newRow("another domain") << QStringLiteral("jdoe@other.test");
        QTest::newRow("another NT domain") << QStringLiteral("SALES\\jdoe");
        QTest::newRow("a child domain") << QStringLiteral("jdoe@corp.example.test.x");
        QTest::newRow("another user") << QStringLiteral("joe@corp.example.test");
        QTest::newRow("an alias") << QStringLiteral("jane");
        QTest::newRow("no user") << QStringLiteral("@corp.example.test");
    }
    void anotherNameIsNoNameWithADomain()
    {
        QFETCH(QString, asked);
        m_local->add("local", cached());
        const auto answer = search(asked);
        QCOMPARE(m_directory->queries.last().value, asked);
        QCOMPARE(
            answer.value()[0]->details().value().value(text(DirectoryAttribute::sAMAccountName)),
            list({"jdoe"}));
    }

    void onlyARecordNameCanHaveADomainInIt()
    {
        m_local->add("local", cached());
        const QString asked = QStringLiteral("jdoe@corp.example.test");
        QVERIFY(search(asked, DirectoryAttribute::sAMAccountName).ok());
        QCOMPARE(m_directory->queries.last().value, asked);
        QVERIFY(search(asked, DirectoryAttribute::RecordName, DirectoryRecordType::FileMakerServers)
                    .ok());
        QCOMPARE(m_directory->queries.last().value, asked);
    }
};

QTEST_GUILESS_MAIN(tst_LinuxDirectoryServiceDomains)
#include "tst_LinuxDirectoryServiceDomains.moc"
