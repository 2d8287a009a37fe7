#include "tests/unit/app/ctl/ControlFixture.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class tst_SSControlEnrollStatus : public QObject
{
    Q_OBJECT

    struct Reachable : ControlFixture
    {
        explicit Reachable(const QStringList &more = {})
        {
            addPoint(QStringLiteral("host"),
                     pointKeywords(
                         QStringList{QStringLiteral("EnrollSysNotification.Enabled=1"),
                                     QStringLiteral("EnrollSysNotification.Url=https://host/app")} +
                         more));
            addUser(QStringLiteral("jdoe"), {QStringLiteral("CORP")});
            fake.runLoop->onSleep = [this] {
                if (error)
                    urls->fail(0, *error);
                else
                    urls->answer(0, body);
            };
        }
        QByteArray body = "NeedPssEnroll=true\r\nUserState = New\r\n";
        std::optional<UrlError> error;
    };

    QTemporaryDir m_folder;

    QByteArray file(const QByteArray &content)
    {
        const QString path = m_folder.filePath(QStringLiteral("answer"));
        QFile answer(path);
        if (!answer.open(QIODevice::WriteOnly) || answer.write(content) != content.size())
            return {};
        return path.toUtf8();
    }

private Q_SLOTS:
    void asksAsTheAgentDoes()
    {
        Reachable f({QStringLiteral("EnrollSysNotification.Proxy=proxy:3128")});
        QCOMPARE(f.run({"enroll-status", "--json"}), 0);
        QCOMPARE(f.urls->urls(),
                 QStringList{QStringLiteral("https://host/app/SelfServiceClientInfoProvider.ashx"
                                            "?UserName=CORP%5Cjdoe")});
        QVERIFY(f.urls->configuration(0).connectionProxyDictionary);
        const QJsonObject answer = f.json();
        QCOMPARE(answer[QStringLiteral("url")].toString(), f.urls->urls().at(0));
        QCOMPARE(answer[QStringLiteral("proxy")].toString(), QStringLiteral("proxy:3128"));
        QCOMPARE(answer[QStringLiteral("legacyLogonName")].toString(),
                 QStringLiteral("CORP\\jdoe"));
        QCOMPARE(answer[QStringLiteral("params")].toObject(),
                 (QJsonObject{{QStringLiteral("needpssenroll"), QStringLiteral("true")},
                              {QStringLiteral("userstate"), QStringLiteral("New")}}));
        QCOMPARE(answer[QStringLiteral("needReckeck")], QJsonValue(false));
        QCOMPARE(answer[QStringLiteral("isUserEnrolled")], QJsonValue(false));
        QVERIFY(answer[QStringLiteral("error")].isNull());
    }

    void asksAboutAnotherUser()
    {
        Reachable f;
        f.directory->users.records.clear();
        f.addUser(QStringLiteral("asmith"), {QStringLiteral("CORP")});
        QCOMPARE(f.run({"enroll-status", "--user", "asmith"}), 0);
        QVERIFY(f.urls->urls().at(0).endsWith(QStringLiteral("?UserName=CORP%5Casmith")));
        QVERIFY(f.output.contains(QStringLiteral("Must recheck:  NO\nIs enrolled:   NO\n")));
        QVERIFY(f.output.contains(QStringLiteral("    needpssenroll = \"true\"\n")));
    }

    void aFailedTransferIsAFailureWithItsReason()
    {
        Reachable f;
        f.error = UrlError{UrlError::Code::CannotConnect, QStringLiteral("connection refused")};
        QCOMPARE(f.run({"enroll-status", "--json"}), 1);
        QVERIFY(f.errors.contains(QStringLiteral("connection refused")));
        QVERIFY(f.json()[QStringLiteral("result")].isNull());
        QCOMPARE(f.json()[QStringLiteral("needReckeck")], QJsonValue(true));
    }

    void aPageWithoutAnAnswerMustBeAskedForAgain()
    {
        Reachable f;
        f.body = "<html>\n<body>Welcome</body>\n</html>\n";
        QCOMPARE(f.run({"enroll-status", "--json"}), 0);
        QCOMPARE(f.json()[QStringLiteral("needReckeck")], QJsonValue(true));
    }

    void aReminderThatIsOffAsksNothing()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("host"), ControlFixture::pointKeywords());
        QCOMPARE(f.run({"enroll-status"}), 1);
        QVERIFY(f.errors.contains(QStringLiteral("the enrollment reminder is off")));
        QVERIFY(f.urls->urls().isEmpty());
    }

    void withoutAnAddressNothingCanBeAsked()
    {
        ControlFixture f;
        f.addPoint(
            QStringLiteral("host"),
            ControlFixture::pointKeywords({QStringLiteral("EnrollSysNotification.Enabled=1")}));
        QCOMPARE(f.run({"enroll-status"}), 1);
        QVERIFY(f.errors.contains(QStringLiteral("enrollWebUiUrl")));
    }

    void aSavedAnswer_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("recheck");
        QTest::addColumn<bool>("enrolled");
        QTest::newRow("must enroll") << QByteArray("NeedPssEnroll=true\n") << false << false;
        QTest::newRow("other case") << QByteArray("needpssenroll = TRUE") << false << false;
        QTest::newRow("enrolled") << QByteArray("NeedPssEnroll=false\r\n") << false << true;
        QTest::newRow("yes is enrolled") << QByteArray("NeedPssEnroll=yes") << false << true;
        QTest::newRow("error") << QByteArray("GetPssDataError=unknown user") << false << false;
        QTest::newRow("empty") << QByteArray() << true << false;
        QTest::newRow("NUL bytes")
            << QByteArray("\0=\0\nNeedPssEnroll=true\n", 23) << false << false;
        QTest::newRow("garbage") << QByteArray("=\n==\n\n\n=x") << true << false;
    }
    void aSavedAnswer()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, recheck);
        QFETCH(bool, enrolled);
        ControlFixture f;
        const QByteArray path = file(content);
        QCOMPARE(f.run({"enroll-status", "--json", "--answer", path.constData()}), 0);
        QCOMPARE(f.json()[QStringLiteral("needReckeck")], QJsonValue(recheck));
        QCOMPARE(f.json()[QStringLiteral("isUserEnrolled")], QJsonValue(enrolled));
        QVERIFY(f.json()[QStringLiteral("url")].isNull());
        QVERIFY(f.directory->calls.isEmpty());
        QVERIFY(f.urls->urls().isEmpty());
    }

    void theErrorOfASavedAnswerIsShown()
    {
        ControlFixture f;
        const QByteArray path = file("GetPssDataError = unknown user\n");
        QCOMPARE(f.run({"enroll-status", "--answer", path.constData()}), 0);
        QVERIFY(f.output.endsWith(QStringLiteral("Error:         \"unknown user\"\n")));
    }

    void anAnswerThatIsNoTextIsAFailure()
    {
        ControlFixture f;
        const QByteArray path = file("NeedPssEnroll=\xff\xfe\n");
        QCOMPARE(f.run({"enroll-status", "--answer", path.constData()}), 1);
        QVERIFY(f.errors.contains(QStringLiteral("not UTF-8")));
        QVERIFY(f.output.isEmpty());
    }

    void filesThatAreNone_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::newRow("missing") << QByteArray("/nonexistent/answer");
        QTest::newRow("folder") << QByteArray("/");
        QTest::newRow("device") << QByteArray("/dev/zero");
    }
    void filesThatAreNone()
    {
        QFETCH(QByteArray, path);
        ControlFixture f;
        QCOMPARE(f.run({"enroll-status", "--answer", path.constData()}), 1);
        QVERIFY(f.errors.contains(QString::fromUtf8(path)));
        QVERIFY(f.output.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_SSControlEnrollStatus)
#include "tst_SSControlEnrollStatus.moc"
