#include "tests/integration/web/WebServers.h"

#include <QJsonDocument>
#include <QJsonObject>

std::unique_ptr<WebServers> WebServers::start()
{
    std::unique_ptr<WebServers> servers(new WebServers);
    QProcess &process = servers->m_process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral("python3"),
                  {QStringLiteral(WEB_SERVER_SCRIPT), servers->folder()});
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(20'000))
            return nullptr;
    }
    const QJsonObject told = QJsonDocument::fromJson(process.readLine()).object();
    servers->m_plainPort = told.value(QLatin1String("plain")).toInt();
    servers->m_tlsPort = told.value(QLatin1String("tls")).toInt();
    servers->m_freePort = told.value(QLatin1String("free")).toInt();
    servers->m_authorityFile = told.value(QLatin1String("ca")).toString();
    return servers;
}

WebServers::~WebServers()
{
    m_process.closeWriteChannel();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

QString WebServers::plain(const QString &path) const
{
    return QStringLiteral("http://localhost:%1%2").arg(m_plainPort).arg(path);
}

QString WebServers::secure(const QString &path) const
{
    return QStringLiteral("https://localhost:%1%2").arg(m_tlsPort).arg(path);
}
