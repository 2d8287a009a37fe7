#include "tests/integration/web/WebServers.h"

#include <QJsonDocument>
#include <QJsonObject>

std::unique_ptr<WebServers> WebServers::start()
{
    std::unique_ptr<WebServers> servers(new WebServers);
    if (!servers->m_process.start(
            {QStringLiteral("python3"), QStringLiteral(WEB_SERVER_SCRIPT), servers->folder()}))
        return nullptr;
    const auto line = servers->m_process.readLine();
    if (!line)
        return nullptr;
    const QJsonObject told = QJsonDocument::fromJson(*line).object();
    servers->m_plainPort = told.value(QLatin1String("plain")).toInt();
    servers->m_tlsPort = told.value(QLatin1String("tls")).toInt();
    servers->m_freePort = told.value(QLatin1String("free")).toInt();
    servers->m_hangingUpPort = told.value(QLatin1String("hangingUp")).toInt();
    servers->m_authorityFile = told.value(QLatin1String("ca")).toString();
    return servers;
}

QString WebServers::plain(const QString &path) const
{
    return QStringLiteral("http://localhost:%1%2").arg(m_plainPort).arg(path);
}

QString WebServers::secure(const QString &path) const
{
    return QStringLiteral("https://localhost:%1%2").arg(m_tlsPort).arg(path);
}
