#include "app/SSEnrollUserInfo.h"
#include "directory/SSUserInfo.h"
#include "settings/SSTraySettings.h"
#include "tests/unit/app/EnrollFixture.h"

#include "directory/SSConnectionPointKeywords.h"

#include <QTest>

#include <chrono>
#include <functional>
#include <future>

class QueryListener : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void heard(QObject *query) { senders.append(query); }
    QList<QObject *> senders;
};

class tst_SSEnrollUserInfo : public QObject
{
    Q_OBJECT

    struct Query
    {
        explicit Query(const QByteArray &action = "heard", bool withUrl = true,
                       const std::function<void(FakeUrlSessionFactory &)> &prepare = {})
        {
            if (prepare)
                prepare(*f.urls);
            f.fillDirectory();
            QMap<QString, QString> data = f.keywords;
            if (!withUrl)
                data.remove(QStringLiteral("EnrollSysNotification.Url"));
            data.insert(QStringLiteral("EnrollSysNotification.Proxy"),
                        QStringLiteral("proxy:3128"));
            const auto keywords = SSConnectionPointKeywords::connectionPointWithData(
                data, QStringLiteral("/Active Directory/CORP/All Domains"));
            SSTraySettings settings;
            settings.loadFromConnectionPointKeywords(keywords.get());
            const SSUserInfo user(QStringLiteral("jdoe"));
            query = SSEnrollUserInfo::initWithSettings(settings, user, listener, action);
        }
        EnrollFixture f;
        std::shared_ptr<QueryListener> listener = makeSharedObject<QueryListener>();
        std::shared_ptr<SSEnrollUserInfo> query;
    };

    static std::shared_ptr<SSEnrollUserInfo> parsed(const QString &text)
    {
        return SSEnrollUserInfo::initWithAnswer(text);
    }

private Q_SLOTS:
    void asksWithTheLogonNameThroughTheProxy()
    {
        Query q;
        QVERIFY(q.query);
        QCOMPARE(q.query->url(),
                 QStringLiteral("https://host/app/SelfServiceClientInfoProvider.ashx"
                                "?UserName=CORP%5Cjdoe"));
        QCOMPARE(q.query->proxy(), QStringLiteral("proxy:3128"));
        QVERIFY(q.f.urls->configuration(0).ephemeral);
    }

    void callsItsTargetOnce()
    {
        Query q;
        q.f.urls->answer(0, "NeedPssEnroll=true");
        QCOMPARE(q.listener->senders, QList<QObject *>{q.query.get()});
        QVERIFY(!q.query->needReckeck());
        QVERIFY(!q.query->isUserEnrolled());
    }

    void anAnswerThatComesBeforeTheStartHasReturnedIsNotLost()
    {
        std::future<void> answered;
        const Query q("heard", true, [&answered](FakeUrlSessionFactory &urls) {
            urls.onResume = [&answered, &urls](qsizetype index) {
                answered = std::async(std::launch::async,
                                      [&urls, index] { urls.answer(index, "NeedPssEnroll=true"); });
                // It cannot end before the start has: all it gets is the time to overtake it.
                answered.wait_for(std::chrono::milliseconds(50));
            };
        });
        QVERIFY(q.query);
        answered.get();
        QCOMPARE(q.listener->senders, QList<QObject *>{q.query.get()});
        QVERIFY(!q.query->needReckeck());
        QVERIFY(!q.query->isUserEnrolled());
    }

    void aFailedDownloadReadsAsARecheck()
    {
        Query q;
        q.f.urls->fail(0, {UrlError::Code::CannotConnect, QStringLiteral("refused")});
        QCOMPARE(q.listener->senders.size(), 1);
        QVERIFY(q.query->params().isEmpty());
        QVERIFY(q.query->needReckeck());
    }

    void aDownloadThatFailsWithinItsStartIsHeardOfLikeAnyOther()
    {
        Query q("heard", true, [](FakeUrlSessionFactory &urls) {
            urls.startError = UrlError{UrlError::Code::Other, QStringLiteral("no thread")};
        });
        QVERIFY(q.query);
        QCOMPARE(q.listener->senders, QList<QObject *>{q.query.get()});
        QVERIFY(q.query->needReckeck());
        // Nothing is held any more, so the next one may start.
        q.f.urls->startError.reset();
        QVERIFY(q.query->checkNeedUserEnroll());
        q.f.urls->answer(1, "NeedPssEnroll=true");
        QCOMPARE(q.listener->senders.size(), 2);
        QVERIFY(!q.query->needReckeck());
    }

    void aSecondCheckWhileTheFirstRunsIsRefused()
    {
        Query q;
        QVERIFY(!q.query->checkNeedUserEnroll());
        QCOMPARE(q.f.errors(),
                 QStringList{QStringLiteral(
                     "[Error]: SSEnrollUserInfo web downloader is already started.")});
        QCOMPARE(q.f.urls->urls().size(), 1);
        q.f.urls->answer(0, "NeedPssEnroll=true");
        QVERIFY(q.query->checkNeedUserEnroll());
    }

    void withoutAUrlThereIsNoQuery()
    {
        Query q("heard", false);
        QVERIFY(!q.query);
    }

    void afterTerminateNobodyIsCalled()
    {
        Query q;
        q.query->terminate();
        QVERIFY(q.f.urls->isCancelled(0));
        q.f.urls->answer(0, "NeedPssEnroll=true");
        QVERIFY(q.listener->senders.isEmpty());
    }

    void terminsteForgetsEverything()
    {
        Query q;
        q.query->terminste();
        QVERIFY(!q.query->url());
        QVERIFY(!q.query->proxy());
        QVERIFY(q.query->params().isEmpty());
        QVERIFY(q.f.urls->isCancelled(0));
    }

    void destroyingTheQueryCancelsItsDownload()
    {
        Query q;
        q.query.reset();
        QVERIFY(q.f.urls->isCancelled(0));
    }

    void aMissingTargetIsLogged()
    {
        Query q;
        q.listener.reset();
        q.f.urls->answer(0, "NeedPssEnroll=true");
        QCOMPARE(q.f.errors(),
                 QStringList{QStringLiteral("[Error]: SSEnrollUserInfo target is not assigned.")});
    }

    void aMissingActionIsLogged()
    {
        Query q{QByteArray()};
        q.f.urls->answer(0, "NeedPssEnroll=true");
        QCOMPARE(q.f.errors(),
                 QStringList{QStringLiteral("[Error]: SSEnrollUserInfo action is not assigned.")});
    }

    void aMissingOperationIsLogged()
    {
        Query q("unheard");
        q.f.urls->answer(0, "NeedPssEnroll=true");
        QCOMPARE(q.f.errors(),
                 QStringList{QStringLiteral("[Error]: selctor unheard is not found in "
                                            "SSEnrollUserInfo target class.")});
    }

    void neitherTargetNorActionIsSilent()
    {
        Query q{QByteArray()};
        q.listener.reset();
        q.f.urls->answer(0, "NeedPssEnroll=true");
        QVERIFY(q.f.errors().isEmpty());
    }

    void blanksAndLetterCaseDoNotMatter()
    {
        const auto query = parsed(QStringLiteral("needpssenroll = TRUE"));
        QVERIFY(!query->needReckeck());
        QVERIFY(!query->isUserEnrolled());
        QCOMPARE(query->stringValueForKey(QStringLiteral(" NEEDPSSENROLL\n")),
                 QStringLiteral("TRUE"));
    }

    void onlyTrueMeansThatTheUserMustEnroll_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("enrolled");
        QTest::newRow("true") << QStringLiteral("true") << false;
        QTest::newRow("True") << QStringLiteral("True") << false;
        QTest::newRow("yes") << QStringLiteral("yes") << true;
        QTest::newRow("1") << QStringLiteral("1") << true;
        QTest::newRow("false") << QStringLiteral("false") << true;
        QTest::newRow("0") << QStringLiteral("0") << true;
        QTest::newRow("empty") << QString() << true;
        QTest::newRow("true with more") << QStringLiteral("true;") << true;
    }
    void onlyTrueMeansThatTheUserMustEnroll()
    {
        QFETCH(QString, value);
        QFETCH(bool, enrolled);
        const auto query = parsed(QStringLiteral("NeedPssEnroll=") + value);
        QVERIFY(!query->needReckeck());
        QCOMPARE(query->isUserEnrolled(), enrolled);
    }

    void lineEnds_data()
    {
        QTest::addColumn<QString>("separator");
        QTest::newRow("LF") << QStringLiteral("\n");
        QTest::newRow("CR LF") << QStringLiteral("\r\n");
        QTest::newRow("CR") << QStringLiteral("\r");
        QTest::newRow("line separator") << QString(QChar(0x2028));
        QTest::newRow("paragraph separator") << QString(QChar(0x2029));
    }
    void lineEnds()
    {
        QFETCH(QString, separator);
        const auto query = parsed(QStringList{
            QStringLiteral("A=1"), QStringLiteral("NeedPssEnroll=true"), QStringLiteral("B=2")}
                                      .join(separator));
        QCOMPARE(query->params(),
                 (QMap<QString, QString>{{QStringLiteral("a"), QStringLiteral("1")},
                                         {QStringLiteral("needpssenroll"), QStringLiteral("true")},
                                         {QStringLiteral("b"), QStringLiteral("2")}}));
    }

    void errorAloneIsNoRecheckAndNotEnrolled()
    {
        for (const QString &value : {QStringLiteral("x"), QString()}) {
            const auto query = parsed(QStringLiteral("GetPssDataError=") + value);
            QVERIFY(!query->needReckeck());
            QVERIFY(!query->isUserEnrolled());
            QCOMPARE(query->error(), value);
        }
    }

    void aLaterLineReplacesOrRemoves()
    {
        QCOMPARE(parsed(QStringLiteral("a=1\nA=2"))->params(),
                 (QMap<QString, QString>{{QStringLiteral("a"), QStringLiteral("2")}}));
        QVERIFY(parsed(QStringLiteral("NeedPssEnroll=true\nNEEDPSSENROLL"))->needReckeck());
        QCOMPARE(parsed(QStringLiteral("url=a=b=c"))->stringValueForKey(QStringLiteral("url")),
                 QStringLiteral("a=b=c"));
    }

    void anAbsentAnswerIsEmpty()
    {
        const auto query = SSEnrollUserInfo::initWithAnswer(std::nullopt);
        QVERIFY(query->params().isEmpty());
        QVERIFY(query->needReckeck());
        QVERIFY(!query->error());
    }
};

QTEST_GUILESS_MAIN(tst_SSEnrollUserInfo)
#include "tst_SSEnrollUserInfo.moc"
