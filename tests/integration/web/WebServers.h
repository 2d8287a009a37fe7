#pragma once

#include "tests/integration/web/ServerProcess.h"

#include <QString>
#include <QTemporaryDir>

#include <memory>

/// The servers of server.py, gone with this object.
class WebServers
{
public:
    /// Null when they do not start.
    [[nodiscard]] static std::unique_ptr<WebServers> start();

    [[nodiscard]] QString plain(const QString &path) const;
    [[nodiscard]] QString secure(const QString &path) const;
    [[nodiscard]] QString authorityFile() const { return m_authorityFile; }
    /// A port that nobody listens on.
    [[nodiscard]] int freePort() const { return m_freePort; }
    /// A port whose server closes every connection at once.
    [[nodiscard]] int hangingUpPort() const { return m_hangingUpPort; }
    [[nodiscard]] QString folder() const { return m_folder.path(); }

private:
    WebServers() = default;
    QTemporaryDir m_folder;
    ServerProcess m_process;
    int m_plainPort = 0;
    int m_tlsPort = 0;
    int m_freePort = 0;
    int m_hangingUpPort = 0;
    QString m_authorityFile;
};
