#include "platform/linux/core/LinuxClock.h"
#include "platform/linux/web/HttpStatusText.h"
#include "tests/integration/web/WebFixture.h"
#include "tests/support/FakePlatform.h"
#include "web/SSWebDownloader.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTest>

using Text = std::optional<QString>;

class tst_WebTransfers : public WebFixture
{
    Q_OBJECT

private Q_SLOTS:
    void productionLimits()
    {
        const LinuxUrlSessionLimits limits;
        QCOMPARE(limits.bodyBytes, 16777216);
        QCOMPARE(limits.stallMilliseconds, 60000);
        QVERIFY(!limits.trustedCertificatesFile);
    }

    void goodAnswers_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("secure");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        const QByteArray green("gr\xC3\xBCn\n");
        QTest::newRow("plain") << QStringLiteral("/ok") << false << 200 << green;
        QTest::newRow("TLS") << QStringLiteral("/ok") << true << 200 << green;
        QTest::newRow("empty") << QStringLiteral("/empty") << false << 200 << QByteArray();
        QTest::newRow("no content")
            << QStringLiteral("/no-content") << false << 204 << QByteArray();
        QTest::newRow("until close")
            << QStringLiteral("/until-close") << false << 200 << QByteArray("until close");
        QTest::newRow("compressed")
            << QStringLiteral("/gzip") << false << 200 << QByteArray("packed");
        QTest::newRow("redirect") << QStringLiteral("/redirect") << false << 200 << green;
        QTest::newRow("redirect over TLS") << QStringLiteral("/redirect") << true << 200 << green;
        QTest::newRow("redirect to TLS")
            << QStringLiteral("/redirect-secure") << false << 200 << green;
        QTest::newRow("404") << QStringLiteral("/missing") << false << 404
                             << QByteArray("no such page");
        QTest::newRow("early hints")
            << QStringLiteral("/early-hints") << false << 200 << QByteArray("late");
        QTest::newRow("a ticket asked for, and none there")
            << QStringLiteral("/who-are-you") << false << 401 << QByteArray("who?");
        QTest::newRow("500") << QStringLiteral("/broken") << false << 500 << QByteArray("trouble");
        QTest::newRow("redirect to 404")
            << QStringLiteral("/redirect-missing") << false << 404 << QByteArray("no such page");
    }
    void goodAnswers()
    {
        QFETCH(QString, path);
        QFETCH(bool, secure);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        const auto heard = fetch(secure ? m_servers->secure(path) : m_servers->plain(path));
        QVERIFY(heard);
        QVERIFY2(!heard->error, qPrintable(heard->error.value_or(UrlError()).localizedDescription));
        QCOMPARE(heard->statuses, QList<int>{status});
        QCOMPARE(heard->body, body);
        QCOMPARE(heard->completions, 1);
        QCOMPARE(heard->stateAtCompletion, UrlSessionTaskState::Completed);
        QVERIFY(heard->oneThread);
        QVERIFY(heard->thread != std::this_thread::get_id());
    }

    void statusTexts()
    {
        QCOMPARE(fetch(m_servers->plain(QStringLiteral("/missing")))->statusText,
                 QStringLiteral("not found"));
        QCOMPARE(fetch(m_servers->plain(QStringLiteral("/broken")))->statusText,
                 QStringLiteral("internal server error"));
        // Codes without a text of their own have that of their class.
        QCOMPARE(httpStatusText(299), QStringLiteral("success"));
        QCOMPARE(httpStatusText(399), QStringLiteral("redirected"));
        QCOMPARE(httpStatusText(418), QStringLiteral("client error"));
        QCOMPARE(httpStatusText(599), QStringLiteral("server error"));
    }

    void theRequestIsAPlainGet()
    {
        const auto heard =
            fetch(m_servers->plain(QStringLiteral("/request?UserName=CORP%5Cjdoe+x%26y")));
        QVERIFY(heard);
        QVERIFY2(heard->body.startsWith("GET /request?UserName=CORP%5Cjdoe+x%26y HTTP/1.1\n"),
                 heard->body.constData());
        QVERIFY2(heard->body.contains("\nUser-Agent: Mozilla/5.0\n"), heard->body.constData());
        QVERIFY2(heard->body.contains("\nAccept-Language: en,*\n"), heard->body.constData());
        QVERIFY(!heard->body.contains("Accept: "));
        QVERIFY(!heard->body.contains("Cookie"));
        QVERIFY(!heard->body.contains("Authorization"));
    }

    void aRefusedAnswerIsCancelled()
    {
        const auto heard = fetch(m_servers->plain(QStringLiteral("/missing")), limits(), {},
                                 UrlResponseDisposition::Cancel);
        QVERIFY(heard);
        QCOMPARE(heard->code(), std::optional(UrlError::Code::Cancelled));
        QCOMPARE(heard->statuses, QList<int>{404});
        QVERIFY(heard->body.isEmpty());
    }

    void failures_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<int>("code");
        const auto row = [](const char *name, const QString &url, UrlError::Code code) {
            QTest::newRow(name) << url << static_cast<int>(code);
        };
        const auto plain = [this](const char *path) {
            return m_servers->plain(QString::fromLatin1(path));
        };
        const auto secure = [this](const char *path) {
            return m_servers->secure(QString::fromLatin1(path));
        };
        using Code = UrlError::Code;
        row("no answer", plain("/no-answer"), Code::ConnectionLost);
        row("hung up on", QStringLiteral("http://127.0.0.1:%1/").arg(m_servers->hangingUpPort()),
            Code::ConnectionLost);
        row("hung up on in the handshake",
            QStringLiteral("https://127.0.0.1:%1/").arg(m_servers->hangingUpPort()),
            Code::ConnectionLost);
        row("nobody listens", QStringLiteral("http://127.0.0.1:%1/").arg(m_servers->freePort()),
            Code::CannotConnect);
        row("no such host", QStringLiteral("http://no-such-host.invalid/"), Code::HostNotFound);
        row("name not in the certificate",
            m_servers->secure(QStringLiteral("/ok"))
                .replace(QStringLiteral("localhost"), QStringLiteral("127.0.0.1")),
            Code::TlsUntrusted);
        row("redirect from TLS to plain", secure("/redirect-plain"), Code::Other);
        row("redirects without end", plain("/redirect-loop"), Code::Other);
        row("redirect to a file", plain("/redirect-file"), Code::BadUrl);
        row("TLS asked of a plain server",
            m_servers->plain(QStringLiteral("/ok"))
                .replace(QStringLiteral("http:"), QStringLiteral("https:")),
            Code::TlsUntrusted);
        row("file", QStringLiteral("file:///etc/hostname"), Code::BadUrl);
        row("ftp", QStringLiteral("ftp://localhost/"), Code::BadUrl);
        row("no scheme", QStringLiteral("localhost/ok"), Code::BadUrl);
        row("no host", QStringLiteral("http:///ok"), Code::BadUrl);
        row("no URL", QStringLiteral("http://[bad"), Code::BadUrl);
    }
    void failures()
    {
        QFETCH(QString, url);
        QFETCH(int, code);
        const auto heard = fetch(url);
        QVERIFY(heard);
        QVERIFY(heard->error);
        QCOMPARE(static_cast<int>(heard->error->code), code);
        QVERIFY(!heard->error->localizedDescription.isEmpty());
        QCOMPARE(heard->completions, 1);
    }

    void anUntrustedCertificateIsRefused()
    {
        const auto heard = fetch(m_servers->secure(QStringLiteral("/ok")), {});
        QVERIFY(heard);
        QCOMPARE(heard->code(), std::optional(UrlError::Code::TlsUntrusted));
        QVERIFY(heard->statuses.isEmpty());
        QVERIFY(heard->body.isEmpty());
    }

    void aBodyOf200MiBIsDropped_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("length told") << QStringLiteral("/huge");
        QTest::newRow("length not told") << QStringLiteral("/huge-chunked");
        QTest::newRow("hidden by compression") << QStringLiteral("/bomb");
    }
    void aBodyOf200MiBIsDropped()
    {
        QFETCH(QString, path);
        const auto heard = fetch(m_servers->plain(path));
        QVERIFY(heard);
        QCOMPARE(heard->code(), std::optional(UrlError::Code::TooLarge));
        QCOMPARE(diagnostics(),
                 QStringList{QStringLiteral("URL session: the answer is larger than 16777216 "
                                            "bytes, the limit; it is dropped.")});
        QVERIFY(heard->body.size() <= 16777216);
        const auto sent = fetch(m_servers->plain(QStringLiteral("/huge-sent")));
        QVERIFY(sent);
        // What the server could send until it was hung up on: the limit and what buffers hold.
        QVERIFY2(sent->body.toLongLong() < 125'000'000, sent->body.constData());
    }

    void theLimitItselfIsAllowed()
    {
        LinuxUrlSessionLimits exact = limits();
        exact.bodyBytes = 6;
        QVERIFY(!fetch(m_servers->plain(QStringLiteral("/ok")), exact)->error);
        exact.bodyBytes = 5;
        QCOMPARE(fetch(m_servers->plain(QStringLiteral("/ok")), exact)->code(),
                 std::optional(UrlError::Code::TooLarge));
    }

    void aTransferWithoutProgressTimesOut_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("no answer") << QStringLiteral("/silent");
        QTest::newRow("in the body") << QStringLiteral("/stall");
    }
    void aTransferWithoutProgressTimesOut()
    {
        QFETCH(QString, path);
        LinuxUrlSessionLimits impatient = limits();
        impatient.stallMilliseconds = 1000;
        QElapsedTimer time;
        time.start();
        const auto heard = fetch(m_servers->plain(path), impatient);
        QVERIFY(heard);
        QCOMPARE(heard->code(), std::optional(UrlError::Code::TimedOut));
        QVERIFY2(time.elapsed() >= 900 && time.elapsed() < 40'000,
                 qPrintable(QString::number(time.elapsed())));
    }

    void aServerThatAcceptsAndNeverSpeaksTlsTimesOut()
    {
        QTcpServer mute;
        QVERIFY(mute.listen(QHostAddress::LocalHost));
        LinuxUrlSessionLimits impatient = limits();
        impatient.stallMilliseconds = 500;
        const auto heard =
            fetch(QStringLiteral("https://127.0.0.1:%1/").arg(mute.serverPort()), impatient);
        QVERIFY(heard);
        QCOMPARE(heard->code(), std::optional(UrlError::Code::TimedOut));
    }

    void slowProgressIsNoStall()
    {
        LinuxUrlSessionLimits impatient = limits();
        impatient.stallMilliseconds = 4000; // less than the transfer takes
        const auto heard = fetch(m_servers->plain(QStringLiteral("/trickle")), impatient);
        QVERIFY(heard);
        QVERIFY(!heard->error);
        QCOMPARE(heard->body, QByteArray("tttttttttt"));
    }

    // The downloader on the same servers.

    void theDownloaderOnARealServer_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("errors");
        const QString cancelled = QStringLiteral("[Error]: SSWebDownloader::Error: cancelled");
        QTest::newRow("good") << QStringLiteral("/ok") << QStringLiteral(u"gr\u00FCn\n")
                              << QStringList();
        QTest::newRow("not UTF-8") << QStringLiteral("/latin1") << QString() << QStringList();
        QTest::newRow("404")
            << QStringLiteral("/missing") << QString()
            << QStringList{QStringLiteral("[Error]: WebResponse with code:404. Error: not found"),
                           cancelled};
        QTest::newRow("500") << QStringLiteral("/broken") << QString()
                             << QStringList{QStringLiteral("[Error]: WebResponse with code:500. "
                                                           "Error: internal server error"),
                                            cancelled};
        QTest::newRow("cut off") << QStringLiteral("/cut/in-length") << QString()
                                 << QStringList{
                                        QStringLiteral("[Error]: SSWebDownloader::Error: ")};
        QTest::newRow("too large")
            << QStringLiteral("/huge") << QString()
            << QStringList{QStringLiteral("[Error]: SSWebDownloader::Error: the answer is larger "
                                          "than 16777216 bytes")};
    }
    void theDownloaderOnARealServer()
    {
        QFETCH(QString, path);
        QFETCH(QString, text);
        QFETCH(QStringList, errors);
        FakePlatform fakes;
        fakes.platform.clock = std::make_shared<LinuxClock>();
        fakes.platform.urlSessions = makeFactory(limits());
        const Text got = SSWebDownloader::downloadWithURL(m_servers->plain(path), {});
        QCOMPARE(got, text.isNull() ? Text() : Text(text));
        // Waits for the session's thread.
        fakes.platform.urlSessions.reset();
        const QStringList logged = fakes.log->lines().filter(QStringLiteral("[Error]"));
        QCOMPARE(logged.size(), errors.size());
        for (qsizetype i = 0; i < errors.size(); ++i)
            QVERIFY2(logged.at(i).startsWith(errors.at(i)), qPrintable(logged.at(i)));
    }
};

QTEST_GUILESS_MAIN(tst_WebTransfers)
#include "tst_WebTransfers.moc"
