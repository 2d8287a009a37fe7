#include "tests/unit/web/WebDownloaderFixture.h"

#include <QTest>

class tst_SSWebDownloader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void anEmptyUrlStartsNothing()
    {
        for (const Text &none : {Text(), Text(QStringLiteral(""))}) {
            const World world;
            QVERIFY(!SSWebDownloader::initWithURL(none, {}, world.listener, "heard"));
            QVERIFY(world.web->transfers().isEmpty());
            QCOMPARE(world.errors(),
                     QStringList{QStringLiteral(
                         "[Error]: Failed to download page content. The URL is empty.")});
            QVERIFY(!SSWebDownloaderDelegate::initWithURL(none, {}, world.listener, "heard"));
            QCOMPARE(SSWebDownloader::downloadWithURL(none, {}), Text());
            QCOMPARE(world.listener->calls, 0);
        }
    }

    void theStartIsLoggedAndConfigured()
    {
        const World world;
        (void)world.download();
        QCOMPARE(world.log->lines(),
                 (QStringList{QStringLiteral("[Info]:     URL: http://h/x"),
                              QStringLiteral("[Info]:     Proxy: (null)"),
                              QStringLiteral("[Error]: SSWebDownloader::Error: cancelled")}));
        world.log->clear();
        const auto proxied = world.download(QStringLiteral("proxy.example:3128"));
        QCOMPARE(world.log->lines(),
                 (QStringList{QStringLiteral("[Info]:     URL: http://h/x"),
                              QStringLiteral("[Info]:     Proxy: proxy.example:3128")}));
        QCOMPARE(world.web->urls(), (QStringList{url, url}));
        QVERIFY(world.web->latest()->resumed);
        QVERIFY(!world.web->configuration(0).ephemeral);
        QVERIFY(!world.web->configuration(0).connectionProxyDictionary);
        QVERIFY(world.web->configuration(1).ephemeral);
        QCOMPARE(world.web->configuration(1).connectionProxyDictionary->at(1).second,
                 QVariant(QStringLiteral("proxy.example")));
    }

    void theTextOfAGoodAnswerReachesTheTarget()
    {
        const World world;
        const auto downloader = world.download();
        Text text;
        world.listener->onHeard = [&](SSWebDownloader *sender) { text = sender->result(); };
        QCOMPARE(world.web->latest()->respond(200, QStringLiteral("no error")),
                 std::optional(UrlResponseDisposition::Allow));
        // One character of two bytes, parted between chunks, and one of four: 7 bytes, 4 units.
        world.web->latest()->receive("a\xC3");
        world.web->latest()->receive("");
        world.web->latest()->receive("\xBC\xF0\x9F\x98\x80");
        QCOMPARE(world.listener->calls, 0);
        world.web->latest()->complete();
        QCOMPARE(world.listener->calls, 1);
        QCOMPARE(world.listener->last, downloader.get());
        QCOMPARE(text, Text(QStringLiteral(u"a\u00FC\U0001F600")));
        QCOMPARE(world.log->lines().mid(2),
                 (QStringList{QStringLiteral("[Info]:     UTF8: 7 bytes"),
                              QStringLiteral("[Info]:     Unicode: 4 chars")}));
        QVERIFY(world.web->latest()->cancels >= 1);
        QVERIFY(world.web->invalidations >= 1);
    }

    void everyStatusOf200To299IsGood_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("good");
        QTest::newRow("199") << 199 << false;
        QTest::newRow("200") << 200 << true;
        QTest::newRow("299") << 299 << true;
        QTest::newRow("300") << 300 << false;
    }
    void everyStatusOf200To299IsGood()
    {
        QFETCH(int, status);
        QFETCH(bool, good);
        const World world;
        const auto downloader = world.download();
        QCOMPARE(world.web->latest()->respond(status, QStringLiteral("t")) ==
                     UrlResponseDisposition::Allow,
                 good);
        QCOMPARE(world.errors().isEmpty(), good);
    }

    void anAnswer404IsCancelledAndTheTargetHasNoText()
    {
        const World world;
        const auto downloader = world.download();
        Text text = QStringLiteral("unset");
        world.listener->onHeard = [&](SSWebDownloader *sender) { text = sender->result(); };
        QCOMPARE(world.web->latest()->respond(404, QStringLiteral("not found")),
                 std::optional(UrlResponseDisposition::Cancel));
        world.web->latest()->completeCancelled();
        QCOMPARE(
            world.errors(),
            (QStringList{QStringLiteral("[Error]: WebResponse with code:404. Error: not found"),
                         QStringLiteral("[Error]: SSWebDownloader::Error: cancelled")}));
        QCOMPARE(world.listener->calls, 1);
        QCOMPARE(text, Text());
    }

    void aBodyThatIsNotUtf8GivesNoText_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("latin1") << QByteArray("a\xFC");
        QTest::newRow("cut off") << QByteArray("a\xC3");
        QTest::newRow("overlong") << QByteArray("\xC0\xAF");
        QTest::newRow("surrogate") << QByteArray("\xED\xA0\x80");
        QTest::newRow("beyond Unicode") << QByteArray("\xF4\x90\x80\x80");
    }
    void aBodyThatIsNotUtf8GivesNoText()
    {
        QFETCH(QByteArray, body);
        const World world;
        QCOMPARE(world.textOf({body}), Text());
        QCOMPARE(world.listener->calls, 1);
        QCOMPARE(world.log->lines().mid(2),
                 (QStringList{QStringLiteral("[Info]:     UTF8: %1 bytes").arg(body.size()),
                              QStringLiteral("[Info]:     Unicode: 0 chars")}));
    }

    void aByteOrderMarkIsNoPartOfTheText()
    {
        const World world;
        QCOMPARE(world.textOf({"\xEF\xBB\xBFx"}), Text(QStringLiteral("x")));
    }

    void noBodyGivesNoTextAndLogsNothing()
    {
        const World world;
        QCOMPARE(world.textOf({""}), Text());
        QCOMPARE(world.listener->calls, 1);
        QCOMPARE(world.log->lines().size(), 2);
    }

    void aBrokenTransferGivesNoTextForWhatArrived()
    {
        const World world;
        const auto downloader = world.download();
        Text text = QStringLiteral("unset");
        world.listener->onHeard = [&](SSWebDownloader *sender) { text = sender->result(); };
        world.web->latest()->receive("half");
        world.web->latest()->complete(
            UrlError{UrlError::Code::ConnectionLost, QStringLiteral("lost")});
        QCOMPARE(text, Text());
        QCOMPARE(world.errors(),
                 QStringList{QStringLiteral("[Error]: SSWebDownloader::Error: lost")});
    }

    void theTextStaysAfterTheTargetWasTold()
    {
        const World world;
        const auto downloader = world.download();
        world.web->latest()->receive("text");
        world.web->latest()->complete();
        QVERIFY(world.web->latest()->delegate.expired());
        QCOMPARE(downloader->result(), Text(QStringLiteral("text")));
    }

    void aSecondCompletionOfTheDelegateIsNotPassedOn()
    {
        const World world;
        const auto downloader = world.download();
        world.web->latest()->complete();
        const auto other = SSWebDownloaderDelegate::create({}, {});
        downloader->onAction(other.get());
        QCOMPARE(world.listener->calls, 1);
    }

    void aForeignDelegateIsIgnored()
    {
        const World world;
        const auto downloader = world.download();
        const auto other = SSWebDownloaderDelegate::create({}, {});
        downloader->onAction(other.get());
        QCOMPARE(world.listener->calls, 0);
        QCOMPARE(world.web->latest()->cancels.load(), 0);
    }

    void missingPiecesOfTheCallAreLogged_data()
    {
        QTest::addColumn<bool>("hasTarget");
        QTest::addColumn<QByteArray>("action");
        QTest::addColumn<QString>("delegateText");
        QTest::addColumn<QString>("downloaderText");
        const QString target = QStringLiteral("[Error]: WebDownloader target is not assigned.");
        const QString action = QStringLiteral("[Error]: WebDownloader action is not assigned.");
        QTest::newRow("target") << false << QByteArray("heard") << target << target;
        QTest::newRow("action") << true << QByteArray() << action << action;
        QTest::newRow("operation")
            << true << QByteArray("unheard")
            << QStringLiteral(
                   "[Error]: selector unheard is not found in web downloader target class.")
            << QStringLiteral(
                   "[Error]: selector unheard is not found in WebDownloader target class.");
        QTest::newRow("both") << false << QByteArray() << QString() << QString();
    }
    void missingPiecesOfTheCallAreLogged()
    {
        QFETCH(bool, hasTarget);
        QFETCH(QByteArray, action);
        QFETCH(QString, delegateText);
        QFETCH(QString, downloaderText);
        const auto expected = [](const QString &text) {
            return text.isEmpty() ? QStringList() : QStringList{text};
        };
        const World world;
        const std::weak_ptr<QObject> target =
            hasTarget ? std::weak_ptr<QObject>(world.listener) : std::weak_ptr<QObject>();
        const auto delegate = SSWebDownloaderDelegate::initWithURL(url, {}, target, action);
        world.web->latest()->complete();
        QCOMPARE(world.errors(), expected(delegateText));
        world.log->clear();
        const auto downloader = SSWebDownloader::initWithURL(url, {}, target, action);
        world.web->latest()->complete();
        QCOMPARE(world.errors(), expected(downloaderText));
        QCOMPARE(world.listener->calls, 0);
    }

    void aTargetThatDiedMeanwhileIsMissing()
    {
        World world;
        const auto downloader = world.download();
        world.listener.reset();
        world.web->latest()->complete();
        QCOMPARE(world.errors(),
                 QStringList{QStringLiteral("[Error]: WebDownloader target is not assigned.")});
    }
};

QTEST_GUILESS_MAIN(tst_SSWebDownloader)
#include "tst_SSWebDownloader.moc"
