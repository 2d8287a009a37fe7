#include "tests/integration/web/WebFixture.h"

#include <QTest>

#include <csignal>

LinuxUrlSessionLimits WebFixture::limits() const
{
    LinuxUrlSessionLimits result;
    result.trustedCertificatesFile = m_servers->authorityFile();
    return result;
}

std::unique_ptr<LinuxUrlSessionFactory> WebFixture::makeFactory(const LinuxUrlSessionLimits &limits)
{
    return std::make_unique<LinuxUrlSessionFactory>(
        [this](unsigned, DiagnosticType, const QString &message) {
            const std::lock_guard guard(m_diagnosticsLock);
            m_diagnostics.append(message);
        },
        limits);
}

std::shared_ptr<Recorder> WebFixture::fetch(const QString &url, const LinuxUrlSessionLimits &limits,
                                            const UrlSessionConfiguration &configuration,
                                            UrlResponseDisposition disposition)
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

std::shared_ptr<Recorder> WebFixture::fetch(const QString &url)
{
    return fetch(url, limits());
}

QStringList WebFixture::diagnostics() const
{
    const std::lock_guard guard(m_diagnosticsLock);
    return m_diagnostics;
}

void WebFixture::initTestCase()
{
    for (const char *name : {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "all_proxy",
                             "ALL_PROXY", "no_proxy", "NO_PROXY"})
        qunsetenv(name);
    // As a program starts; what starts the test may have it ignored.
    struct sigaction standard
    {
    };
    standard.sa_handler = SIG_DFL;
    QCOMPARE(::sigaction(SIGPIPE, &standard, nullptr), 0);
    m_servers = WebServers::start();
    QVERIFY2(m_servers, "python3 and openssl are needed");
}

void WebFixture::init()
{
    const std::lock_guard guard(m_diagnosticsLock);
    m_diagnostics.clear();
}

void WebFixture::cleanupTestCase()
{
    m_servers.reset();
}
