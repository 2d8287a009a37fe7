#include "platform/linux/accounts/LinuxDirectoryService.h"

#include "tests/unit/platform/PlayedNodes.h"

#include <QTest>

namespace {

using Code = DirectoryError::Code;

} // namespace

class tst_LinuxDirectoryService : public QObject
{
    Q_OBJECT

    std::shared_ptr<FakeNode> m_local;
    std::shared_ptr<FakeNode> m_directory;
    QStringList m_diagnostics;

    Result<DirectoryRecords, DirectoryError>
    search(DirectoryRecordType type = DirectoryRecordType::Users, QStringList attributes = {},
           int maximum = 0)
    {
        LinuxDirectoryService service(m_local, m_directory,
                                      [this](unsigned level, DiagnosticType, const QString &line) {
                                          QCOMPARE(level, 1U);
                                          m_diagnostics.append(line);
                                      });
        auto node = service.nodeWithType(DirectoryNodeType::Authentication);
        if (!node)
            return Failure{node.error()};
        return node.value()->query({type, text(DirectoryAttribute::RecordName),
                                    DirectoryMatchType::EqualTo, QStringLiteral("jdoe"),
                                    std::move(attributes), maximum});
    }

private Q_SLOTS:
    void init()
    {
        m_local = std::make_shared<FakeNode>();
        m_directory = std::make_shared<FakeNode>();
        m_diagnostics.clear();
    }

    void onlyTheTwoNodesAreKnown()
    {
        LinuxDirectoryService service(m_local, nullptr, nullptr);
        QCOMPARE(service.nodeWithName(QStringLiteral("/Local/Default")).value(), m_local);
        for (const char *name : {"", "/Local", "/local/default", "/Active Directory/CORP"}) {
            const auto node = service.nodeWithName(QString::fromUtf8(name));
            QVERIFY(!node.ok());
            QCOMPARE(node.error().code, Code::NodeUnknown);
        }
        QVERIFY(service.nodeWithType(0x2201).ok());
        const auto node = service.nodeWithType(0x2200);
        QVERIFY(!node.ok());
        QCOMPARE(node.error().code, Code::NodeUnknown);
    }

    void localRecordsComeFirst()
    {
        m_directory->add("directory", person("jdoe", "CORP", "B"));
        m_local->add("local", person("jdoe", "", "A"));
        QCOMPARE(descriptions(search()), list({"local", "directory"}));
        QCOMPARE(descriptions(search(DirectoryRecordType::Users, {}, 1)), list({"local"}));
        QVERIFY(m_diagnostics.isEmpty());
    }

    void aCachedAccountAndItsDirectoryRecordAreOne()
    {
        auto cached = person("JDOE", "corp", "abcd");
        cached.insert(text(DirectoryAttribute::NFSHomeDirectory), list({"/home/jdoe"}));
        cached.insert(text(DirectoryAttribute::MetaNodeLocation), list({"/Local/Default"}));
        auto real = person("jdoe", "CORP", "ABCD");
        real.insert(text(DirectoryAttribute::MetaNodeLocation), list({"/Active Directory/CORP"}));
        m_local->add("local", cached);
        m_directory->add("other", person("jdoe", "SALES", "EF"));
        m_directory->add("directory", real);

        const auto answer = search();
        QCOMPARE(descriptions(answer), list({"directory", "other"}));
        const auto details = answer.value()[0]->details().value();
        QCOMPARE(details.value(text(DirectoryAttribute::GUID)), list({"ABCD"}));
        QCOMPARE(details.value(text(DirectoryAttribute::PrimaryNTDomain)), list({"CORP"}));
        QCOMPARE(details.value(text(DirectoryAttribute::RecordName)), list({"jdoe"}));
        QCOMPARE(details.value(text(DirectoryAttribute::NFSHomeDirectory)), list({"/home/jdoe"}));
        QCOMPARE(details.value(text(DirectoryAttribute::MetaNodeLocation)),
                 list({"/Active Directory/CORP", "/Local/Default"}));
    }

    void aCachedAccountWithoutGuidIsPairedByDomainAndName()
    {
        m_local->add("local", person("JDoe", "corp", ""));
        m_directory->add("directory", person("jdoe", "CORP", "ABCD"));
        const auto answer = search();
        QCOMPARE(descriptions(answer), list({"directory"}));
        QCOMPARE(answer.value()[0]->details().value().value(text(DirectoryAttribute::GUID)),
                 list({"ABCD"}));
    }

    void differentPeopleStayApart_data()
    {
        QTest::addColumn<DirectoryDetails>("local");
        QTest::newRow("another GUID") << person("jdoe", "CORP", "1234");
        QTest::newRow("no GUID, another domain") << person("jdoe", "SALES", "");
        QTest::newRow("no GUID, another name") << person("jdoe2", "CORP", "");
        QTest::newRow("no GUID, no domain") << person("jdoe", "", "");
    }
    void differentPeopleStayApart()
    {
        QFETCH(DirectoryDetails, local);
        m_local->add("local", local);
        m_directory->add("directory", person("jdoe", "CORP", "ABCD"));
        QCOMPARE(descriptions(search()), list({"local", "directory"}));
    }

    void aRecordWithoutReadableDetailsStaysForItsReader()
    {
        m_local->add("local", person("jdoe", "CORP", "ABCD"))->detailsFail = true;
        m_directory->add("directory", person("jdoe", "CORP", "ABCD"));
        m_directory->add("broken", {})->detailsFail = true;
        QCOMPARE(descriptions(search()), list({"local", "directory", "broken"}));
    }

    void whatIdentifiesAPersonIsAlwaysAskedFor()
    {
        QVERIFY(search(DirectoryRecordType::Users, list({"dsAttrTypeStandard:RecordName"})).ok());
        for (const auto &node : {m_local, m_directory}) {
            QCOMPARE(node->queries.size(), 1);
            QCOMPARE(node->queries[0].returnAttributes,
                     list({"dsAttrTypeStandard:RecordName", "dsAttrTypeStandard:GeneratedUID",
                           "dsAttrTypeStandard:PrimaryNTDomain", "sAMAccountName"}));
            QCOMPARE(node->queries[0].value, QStringLiteral("jdoe"));
        }
    }

    void theDirectorysFailureLeavesALocalAnswer()
    {
        m_local->add("local", person("jdoe", "", "A"));
        m_directory->fail(Code::ServerUnreachable);
        QCOMPARE(descriptions(search()), list({"local"}));
        QCOMPARE(m_diagnostics.size(), 1);
        QVERIFY(m_diagnostics[0].contains(QStringLiteral("it failed")));
    }

    void theDirectorysFailureIsTheAnswerWhenNothingIsLocal_data()
    {
        QTest::addColumn<int>("code");
        QTest::newRow("unreachable") << int(Code::ServerUnreachable);
        QTest::newRow("no ticket") << int(Code::CredentialsMissing);
        QTest::newRow("partial") << int(Code::PartialResult);
    }
    void theDirectorysFailureIsTheAnswerWhenNothingIsLocal()
    {
        QFETCH(int, code);
        m_directory->fail(Code(code));
        const auto answer = search();
        QVERIFY(!answer.ok());
        QCOMPARE(answer.error().code, Code(code));
    }

    void withoutADomainUsersAreLocal()
    {
        m_directory->fail(Code::NotConfigured);
        QCOMPARE(descriptions(search()), QStringList());
        m_directory = nullptr;
        QCOMPARE(descriptions(search()), QStringList());
        m_local->add("local", person("jdoe", "", "A"));
        QCOMPARE(descriptions(search()), list({"local"}));
        QVERIFY(m_diagnostics.isEmpty());
    }

    void withoutADomainConnectionPointsAreAnError()
    {
        m_directory = nullptr;
        const auto answer = search(DirectoryRecordType::FileMakerServers);
        QVERIFY(!answer.ok());
        QCOMPARE(answer.error().code, Code::NotConfigured);
    }

    void theAccountDatabasesFailureLeavesTheDirectory()
    {
        m_local->fail(Code::Internal);
        m_directory->add("directory", person("jdoe", "CORP", "B"));
        QCOMPARE(descriptions(search()), list({"directory"}));
        QCOMPARE(m_diagnostics.size(), 1);

        m_directory->fail(Code::ServerUnreachable);
        const auto both = search();
        QVERIFY(!both.ok());
        QCOMPARE(both.error().code, Code::ServerUnreachable);

        m_directory = nullptr;
        const auto alone = search();
        QVERIFY(!alone.ok());
        QCOMPARE(alone.error().code, Code::Internal);
    }

    void aMergedRecordAsksTheComputerForThePasswordFirst()
    {
        const auto local = m_local->add("local", person("jdoe", "CORP", "A"));
        const auto directory = m_directory->add("directory", person("jdoe", "CORP", "A"));
        const auto record = search().value().value(0);

        local->answer = true;
        directory->answer = Failure{DirectoryError{Code::TimedOut, {}}};
        QVERIFY(record->verifyPassword(u"x").ok());

        local->answer = Failure{DirectoryError{Code::AuthenticationRefused, {}}};
        directory->answer = true;
        QCOMPARE(record->verifyPassword(u"x").ok(), false);

        local->answer = Failure{DirectoryError{Code::CannotTell, {}}};
        QCOMPARE(record->verifyPassword(u"x").value(), true);
    }
};

QTEST_GUILESS_MAIN(tst_LinuxDirectoryService)
#include "tst_LinuxDirectoryService.moc"
