#include "platform/linux/core/LinuxClock.h"
#include "platform/linux/web/HttpStatusText.h"
#include "platform/linux/web/LinuxUrlSession.h"
#include "tests/integration/web/WebServers.h"
#include "tests/support/FakePlatform.h"
#include "web/SSWebDownloader.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <condition_variable>

using Text = std::optional<QString>;

namespace {

/// Hears one transfer through.
class Recorder final : public UrlSessionDelegate
{
public:
    UrlResponseDisposition didReceiveResponse(int statusCode, const QString &text) override
    {
        const std::lock_guard guard(m_lock);
        noteThread();
        statuses.append(statusCode);
        statusText = text;
        return disposition;
    }
    void didReceiveData(const QByteArray &chunk) override
    {
        const std::lock_guard guard(m_lock);
        noteThread();
        body += chunk;
        largestChunk = std::max(largestChunk, chunk.size());
    }
    void didCompleteWithError(const std::optional<UrlError> &newError) override
    {
        const std::lock_guard guard(m_lock);
        noteThread();
        error = newError;
        stateAtCompletion = task ? task->state() : UrlSessionTaskState::Running;
        ++completions;
        m_changed.notify_all();
    }
    [[nodiscard]] bool waitForCompletion(std::chrono::seconds limit = std::chrono::seconds(20))
    {
        std::unique_lock guard(m_lock);
        return m_changed.wait_for(guard, limit, [this] { return completions > 0; });
    }
    [[nodiscard]] std::optional<UrlError::Code> code() const
    {
        return error ? std::optional(error->code) : std::nullopt;
    }

    UrlResponseDisposition disposition = UrlResponseDisposition::Allow;
    std::shared_ptr<UrlSessionTask> task;
    QList<int> statuses;
    QString statusText;
    QByteArray body;
    qsizetype largestChunk = 0;
    std::optional<UrlError> error;
    UrlSessionTaskState stateAtCompletion = UrlSessionTaskState::Running;
    int completions = 0;
    bool oneThread = true;
    std::thread::id thread;

private:
    void noteThread()
    {
        if (thread != std::thread::id() && thread != std::this_thread::get_id())
            oneThread = false;
        thread = std::this_thread::get_id();
    }
    std::mutex m_lock;
    std::condition_variable m_changed;
};

int threadCount()
{
    return static_cast<int>(QDir(QStringLiteral("/proc/self/task"))
                                .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
                                .size());
}

UrlSessionConfiguration throughProxy(int port)
{
    const QString host = QStringLiteral("127.0.0.1");
    return {true, UrlProxyDictionary{{QStringLiteral("kCFNetworkProxiesHTTPEnable"), 1},
                                     {QStringLiteral("kCFNetworkProxiesHTTPProxy"), host},
                                     {QStringLiteral("kCFNetworkProxiesHTTPPort"), port},
                                     {QStringLiteral("kCFNetworkProxiesHTTPSEnable"), 1},
                                     {QStringLiteral("kCFNetworkProxiesHTTPSProxy"), host},
                                     {QStringLiteral("kCFNetworkProxiesHTTPSPort"), port}}};
}

/// tinyproxy on a port of its own, gone with this object.
class Proxy
{
public:
    [[nodiscard]] bool start(const QString &folder, int port)
    {
        m_log = folder + QStringLiteral("/proxy.log");
        QFile configuration(folder + QStringLiteral("/proxy.conf"));
        if (!configuration.open(QIODevice::WriteOnly))
            return false;
        configuration.write(QStringLiteral("Port %1\nListen 127.0.0.1\nTimeout 30\nLogFile "
                                           "\"%2\"\nLogLevel Connect\nMaxClients 20\n")
                                .arg(port)
                                .arg(m_log)
                                .toUtf8());
        configuration.close();
        if (!m_process.start({QStringLiteral("tinyproxy"), QStringLiteral("-d"),
                              QStringLiteral("-c"), configuration.fileName()}))
            return false;
        return QTest::qWaitFor(
            [port] {
                QTcpSocket probe;
                probe.connectToHost(QStringLiteral("127.0.0.1"), static_cast<quint16>(port));
                return probe.waitForConnected(1000);
            },
            10'000);
    }
    ~Proxy() { m_process.terminate(); }
    [[nodiscard]] QString log() const
    {
        QFile file(m_log);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

private:
    ChildProcess m_process;
    QString m_log;
};

} // namespace

class tst_WebTransfers : public QObject
{
    Q_OBJECT

    std::unique_ptr<WebServers> m_servers;
    std::mutex m_diagnosticsLock;
    QStringList m_diagnostics;

    [[nodiscard]] LinuxUrlSessionLimits limits() const
    {
        LinuxUrlSessionLimits result;
        result.trustedCertificatesFile = m_servers->authorityFile();
        return result;
    }
    [[nodiscard]] std::unique_ptr<LinuxUrlSessionFactory>
    makeFactory(const LinuxUrlSessionLimits &limits)
    {
        return std::make_unique<LinuxUrlSessionFactory>(
            [this](unsigned, DiagnosticType, const QString &message) {
                const std::lock_guard guard(m_diagnosticsLock);
                m_diagnostics.append(message);
            },
            limits);
    }
    /// One transfer from start to end.
    [[nodiscard]] std::shared_ptr<Recorder>
    fetch(const QString &url, const LinuxUrlSessionLimits &limits,
          const UrlSessionConfiguration &configuration = {},
          UrlResponseDisposition disposition = UrlResponseDisposition::Allow)
    {
        const auto factory = makeFactory(limits);
        auto recorder = std::make_shared<Recorder>();
        recorder->disposition = disposition;
        const auto session = factory->sessionWithConfiguration(configuration, recorder);
        recorder->task = session->dataTaskWithUrl(url);
        recorder->task->resume();
        const bool ended = recorder->waitForCompletion();
        return ended ? recorder : nullptr;
    }
    [[nodiscard]] std::shared_ptr<Recorder> fetch(const QString &url)
    {
        return fetch(url, limits());
    }

private Q_SLOTS:
    void initTestCase()
    {
        for (const char *name : {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY",
                                 "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"})
            qunsetenv(name);
        m_servers = WebServers::start();
        QVERIFY2(m_servers, "python3 and openssl are needed");
    }
    void init() { m_diagnostics.clear(); }
    void cleanupTestCase() { m_servers.reset(); }

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
        row("body cut off", plain("/truncated"), Code::ConnectionLost);
        row("chunked body cut off", plain("/truncated-chunked"), Code::ConnectionLost);
        row("body cut off in TLS", secure("/truncated"), Code::ConnectionLost);
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
        QCOMPARE(m_diagnostics,
                 QStringList{QStringLiteral("URL session: the answer is larger than 16777216 "
                                            "bytes, the limit; it is dropped.")});
        QVERIFY(heard->body.size() <= 16777216);
        const auto sent = fetch(m_servers->plain(QStringLiteral("/huge-sent")));
        QVERIFY(sent);
        // What the server could send until it was hung up on: the limit and what buffers hold.
        QVERIFY2(sent->body.toLongLong() < 120 * 1024 * 1024, sent->body.constData());
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
        QVERIFY2(time.elapsed() >= 900 && time.elapsed() < 10'000,
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
        impatient.stallMilliseconds = 1000;
        const auto heard = fetch(m_servers->plain(QStringLiteral("/trickle")), impatient);
        QVERIFY(heard);
        QVERIFY(!heard->error);
        QCOMPARE(heard->body, QByteArray("tttttttttt"));
    }

    void proxiesArePlainForHttpAndConnectForHttps()
    {
        Proxy proxy;
        QVERIFY2(proxy.start(m_servers->folder(), m_servers->freePort()), "tinyproxy is needed");
        const auto plain = fetch(m_servers->plain(QStringLiteral("/request")), limits(),
                                 throughProxy(m_servers->freePort()));
        QVERIFY(plain);
        QVERIFY(!plain->error);
        QVERIFY2(plain->body.toLower().contains("via: 1.1 "), plain->body.constData());
        const auto secure = fetch(m_servers->secure(QStringLiteral("/request")), limits(),
                                  throughProxy(m_servers->freePort()));
        QVERIFY(secure);
        QVERIFY(!secure->error);
        QVERIFY(!secure->body.toLower().contains("via: "));
        QTRY_VERIFY(proxy.log().contains(QLatin1String("CONNECT localhost:")));
        QVERIFY(proxy.log().contains(QLatin1String("GET http://localhost:")));

        // Without a dictionary the system's settings count.
        qputenv("http_proxy",
                QStringLiteral("http://127.0.0.1:%1").arg(m_servers->freePort()).toLatin1());
        const auto system = fetch(m_servers->plain(QStringLiteral("/request")));
        qunsetenv("http_proxy");
        QVERIFY(system);
        QVERIFY2(system->body.toLower().contains("via: 1.1 "), system->body.constData());
    }

    void aDisabledProxyIsNotUsed()
    {
        UrlSessionConfiguration configuration = throughProxy(m_servers->freePort());
        (*configuration.connectionProxyDictionary)[0].second = 0;
        (*configuration.connectionProxyDictionary)[3].second = 0;
        QVERIFY(!fetch(m_servers->plain(QStringLiteral("/ok")), limits(), configuration)->error);
        QVERIFY(!fetch(m_servers->secure(QStringLiteral("/ok")), limits(), configuration)->error);
    }

    void aProxyThatIsNotThereFails()
    {
        for (const QString &url :
             {m_servers->plain(QStringLiteral("/ok")), m_servers->secure(QStringLiteral("/ok"))}) {
            const auto heard = fetch(url, limits(), throughProxy(m_servers->freePort()));
            QVERIFY(heard);
            QVERIFY(heard->error);
            QVERIFY2(heard->error->code == UrlError::Code::ProxyFailed,
                     qPrintable(url + heard->error->localizedDescription +
                                QString::number(static_cast<int>(heard->error->code))));
        }
    }

    void aCancelledTransferEndsAtOnce()
    {
        const auto factory = makeFactory(limits());
        const auto recorder = std::make_shared<Recorder>();
        const auto session = factory->sessionWithConfiguration({}, recorder);
        recorder->task = session->dataTaskWithUrl(m_servers->plain(QStringLiteral("/stall")));
        recorder->task->resume();
        QCOMPARE(recorder->task->state(), UrlSessionTaskState::Running);
        recorder->task->cancel();
        QVERIFY(recorder->waitForCompletion(std::chrono::seconds(5)));
        QCOMPARE(recorder->code(), std::optional(UrlError::Code::Cancelled));
        recorder->task->cancel();
        recorder->task->resume();
        QCOMPARE(recorder->completions, 1);
    }

    void aTaskThatWasNotResumedIsCompletedByCancelling()
    {
        const auto factory = makeFactory(limits());
        const auto recorder = std::make_shared<Recorder>();
        const auto session = factory->sessionWithConfiguration({}, recorder);
        const auto task = session->dataTaskWithUrl(m_servers->plain(QStringLiteral("/ok")));
        task->cancel();
        QCOMPARE(task->state(), UrlSessionTaskState::Completed);
        task->resume();
        QCOMPARE(recorder->completions, 0);
    }

    void theFactorysEndEndsTransfers()
    {
        auto factory = makeFactory(limits());
        const auto recorder = std::make_shared<Recorder>();
        const auto session = factory->sessionWithConfiguration({}, recorder);
        recorder->task = session->dataTaskWithUrl(m_servers->plain(QStringLiteral("/silent")));
        recorder->task->resume();
        factory.reset();
        QCOMPARE(recorder->completions, 1);
        QCOMPARE(recorder->code(), std::optional(UrlError::Code::Cancelled));
        // What is left of the session refuses, and says so.
        const auto late = session->dataTaskWithUrl(m_servers->plain(QStringLiteral("/ok")));
        late->resume();
        QCOMPARE(recorder->completions, 2);
        QVERIFY(recorder->error);
    }

    void aDelegateThatHasGoneEndsItsTransfer()
    {
        const auto factory = makeFactory(limits());
        auto recorder = std::make_shared<Recorder>();
        const auto session = factory->sessionWithConfiguration({}, recorder);
        const auto task = session->dataTaskWithUrl(m_servers->plain(QStringLiteral("/huge")));
        recorder.reset();
        task->resume();
        QTRY_COMPARE(task->state(), UrlSessionTaskState::Completed);
    }

    void noThreadIsLeftAfterATransfer()
    {
        const auto factory = makeFactory(limits());
        const int before = threadCount();
        for (int i = 0; i < 3; ++i) {
            const auto recorder = std::make_shared<Recorder>();
            const auto session = factory->sessionWithConfiguration({}, recorder);
            const auto task = session->dataTaskWithUrl(m_servers->secure(QStringLiteral("/ok")));
            task->resume();
            QVERIFY(recorder->waitForCompletion());
            QTRY_COMPARE(threadCount(), before);
        }
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
        QTest::newRow("cut off") << QStringLiteral("/truncated") << QString()
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
