#include "directory/SSOpenDirectoryHelper.h"
#include "tests/unit/directory/DirectoryTestSupport.h"

#include <QTest>

class tst_SSOpenDirectoryHelper : public QObject
{
    Q_OBJECT

    static SSMatchCondition condition()
    {
        return {QStringLiteral("attribute"), DirectoryMatchType::BeginsWith,
                QStringLiteral("value")};
    }
    static std::optional<DirectoryRecords> search(std::optional<DirectoryError> &error)
    {
        return SSOpenDirectoryHelper::searchWithType(
            0x2201, DirectoryRecordType::Users, condition(), {QStringLiteral("wanted")}, error);
    }

private Q_SLOTS:
    void theQueryCarriesTheConditionAndHasNoLimit()
    {
        DirectoryFixture f;
        std::optional<DirectoryError> error;
        QVERIFY(search(error).has_value());
        QVERIFY(SSOpenDirectoryHelper::searchWithScope(
                    QStringLiteral("/Local/Default"), DirectoryRecordType::FileMakerServers,
                    condition(), {QStringLiteral("b"), QStringLiteral("a")}, error)
                    .has_value());
        QVERIFY(!error);
        QCOMPARE(f.directory->calls.size(), 2);

        const auto &byType = f.directory->calls.at(0);
        QCOMPARE(byType.nodeType, std::optional<quint32>(0x2201));
        QVERIFY(!byType.nodeName);
        QCOMPARE(byType.query.recordType, DirectoryRecordType::Users);
        QCOMPARE(byType.query.attribute, QStringLiteral("attribute"));
        QCOMPARE(byType.query.matchType, 0x2002U);
        QCOMPARE(byType.query.value, QStringLiteral("value"));
        QCOMPARE(byType.query.returnAttributes, QStringList{QStringLiteral("wanted")});
        QCOMPARE(byType.query.maximumResults, 0);

        const auto &byName = f.directory->calls.at(1);
        QCOMPARE(byName.nodeName, std::optional(QStringLiteral("/Local/Default")));
        QCOMPARE(byName.query.recordType, DirectoryRecordType::FileMakerServers);
        QCOMPARE(byName.query.returnAttributes,
                 (QStringList{QStringLiteral("b"), QStringLiteral("a")}));
    }

    void aNodeThatCannotBeOpenedFillsTheSlot()
    {
        DirectoryFixture f;
        f.directory->nodeError = QStringLiteral("no such node");
        std::optional<DirectoryError> error;
        QVERIFY(!search(error));
        QVERIFY(error);
        QCOMPARE(error->localizedDescription, QStringLiteral("no such node"));
        QVERIFY(f.directory->calls.isEmpty());
    }

    void aFailedQueryFillsTheSlot()
    {
        DirectoryFixture f;
        f.directory->users.error = QStringLiteral("broken off");
        std::optional<DirectoryError> error;
        QVERIFY(!search(error));
        QVERIFY(error);
        QCOMPARE(error->localizedDescription, QStringLiteral("broken off"));
    }

    void aSlotThatIsFilledAlreadyGivesNoneWithoutAQuery()
    {
        DirectoryFixture f;
        std::optional<DirectoryError> error =
            DirectoryError{DirectoryError::Code::Internal, QStringLiteral("old")};
        QVERIFY(!search(error));
        QCOMPARE(error->localizedDescription, QStringLiteral("old"));
        QVERIFY(f.directory->calls.isEmpty());
    }

    void noNodeWithoutAReasonGivesNoneAndNoError()
    {
        DirectoryFixture f;
        f.directory->nodeAbsent = true;
        std::optional<DirectoryError> error;
        QVERIFY(!search(error));
        QVERIFY(!error);
    }

    void aProcessWithoutADirectoryGetsNoneAndNoError()
    {
        const FakePlatform fake;
        std::optional<DirectoryError> error;
        QVERIFY(!search(error));
        QVERIFY(!SSOpenDirectoryHelper::searchWithScope(
            QStringLiteral("/Local/Default"), DirectoryRecordType::Users, condition(), {}, error));
        QVERIFY(!error);
    }

    void noRecordsIsAnAnswer()
    {
        const DirectoryFixture f;
        std::optional<DirectoryError> error;
        const auto records = search(error);
        QVERIFY(records.has_value());
        QVERIFY(records->isEmpty());
    }

    void detailsLeaveTheSlotAloneUnlessTheyFail()
    {
        FakeDirectoryRecord record({{QStringLiteral("a"), {QStringLiteral("1")}}});
        std::optional<DirectoryError> error =
            DirectoryError{DirectoryError::Code::Internal, QStringLiteral("old")};
        QVERIFY(SSOpenDirectoryHelper::recordDetails(record, error).has_value());
        QCOMPARE(error->localizedDescription, QStringLiteral("old"));
        record.detailsError = QStringLiteral("new");
        QVERIFY(!SSOpenDirectoryHelper::recordDetails(record, error));
        QCOMPARE(error->localizedDescription, QStringLiteral("new"));
        FakeDirectoryRecord empty;
        error.reset();
        QVERIFY(!SSOpenDirectoryHelper::recordDetails(empty, error));
        QVERIFY(!error);
    }
};

QTEST_GUILESS_MAIN(tst_SSOpenDirectoryHelper)
#include "tst_SSOpenDirectoryHelper.moc"
