#pragma once

#include "platform/Diagnostics.h"

#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringList>

/// A server named in the settings. Port 0 stands for the usual one.
struct DirectoryServerAddress
{
    QString host;
    quint16 port = 0;
    friend bool operator==(const DirectoryServerAddress &,
                           const DirectoryServerAddress &) = default;
};

/// What the administrator has set about the directory, in "/etc/zevrikselfservice/directory.conf":
/// lines "key = value", "#" or ";" before a comment, section headings without meaning. Every key
/// may be left out on a joined machine. An unknown key or a value that makes no sense is logged and
/// passed over, so that it never weakens anything.
struct DirectorySettings
{
    enum class Backend { Ldap, Ldif };
    enum class Bind {
        Gssapi, ///< the user's Kerberos ticket
        Simple, ///< a fixed name and password
    };
    enum class Tls {
        Automatic, ///< none below a protected GSSAPI connection, StartTls for a simple bind
        StartTls,
        Ldaps,
        Off,
    };

    Backend backend = Backend::Ldap; ///< "backend": ldap, ldif
    QString ldifFile;                ///< "file": what the backend ldif reads
    QString domain;                  ///< "domain": DNS name; empty: that of the user's ticket
    /// "netbios-domain": the domain's NetBIOS name; empty: the first label of its DNS name.
    QString netBiosDomain;
    QString site; ///< "site": its servers are asked first
    /// "server", "global-catalog": host, host:port or [address]:port, several with commas; asked in
    /// this order. Empty: found through DNS. Servers alone stand for the catalog too.
    QList<DirectoryServerAddress> servers;
    QList<DirectoryServerAddress> globalCatalogs;
    Bind bind = Bind::Gssapi;        ///< "bind": gssapi, simple
    QString bindName;                ///< "bind-dn"
    QString bindPasswordFile;        ///< "bind-password-file": its first line is the password
    Tls tls = Tls::Automatic;        ///< "tls": auto, starttls (or require), ldaps, off
    QString tlsAuthorityFile;        ///< "tls-ca-file"; empty: the system's authorities
    bool allowUnprotected = false;   ///< "allow-unprotected": yes, no
    QStringList administratorGroups; ///< "admin-groups": names with commas, the first that exists

    /// Reads the file below `rootPrefix`. A missing file is nothing special.
    [[nodiscard]] static DirectorySettings read(const QString &rootPrefix,
                                                const DiagnosticSink &diagnostics);
    /// `name` is what the log calls the text.
    [[nodiscard]] static DirectorySettings parse(QByteArrayView text, const QString &name,
                                                 const DiagnosticSink &diagnostics);
};
