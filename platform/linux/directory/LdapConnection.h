#pragma once

#include "platform/Directory.h"
#include "platform/linux/directory/BoundedOperation.h"
#include "platform/linux/directory/DirectorySettings.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QList>
#include <QMap>
#include <QString>

#include <memory>
#include <optional>

struct ldap;

/// One object of a search result. Attribute names are in lower case, values in the server's order.
struct LdapEntry
{
    QByteArray name; ///< the distinguished name
    QMap<QByteArray, QByteArrayList> attributes;

    [[nodiscard]] QByteArray firstValue(const char *attribute) const
    {
        return attributes.value(attribute).value(0);
    }
};

/// One authenticated and protected connection to one server. Closed by its destructor, which does
/// not wait for the server. It never connects a second time: once an operation has failed on it,
/// every further one fails too. Used on the thread of `operation`, which outlives it.
class LdapConnection
{
public:
    template<typename Value>
    using Outcome = Result<Value, DirectoryError>;
    using TimePoint = BoundedOperation::Clock::time_point;

    /// Connects, protects the connection as the settings say, and binds. All of it, Kerberos apart,
    /// ends by `limit`.
    [[nodiscard]] static Outcome<std::unique_ptr<LdapConnection>>
    open(const DirectoryServerAddress &server, const DirectorySettings &settings,
         BoundedOperation &operation, TimePoint limit);

    ~LdapConnection();
    LdapConnection(const LdapConnection &) = delete;
    LdapConnection &operator=(const LdapConnection &) = delete;

    /// Everything below `base` that matches, page by page; with `maximum` above 0 no more than
    /// that.
    [[nodiscard]] Outcome<QList<LdapEntry>> searchBelow(const QByteArray &base,
                                                        const QByteArray &filter,
                                                        const QByteArrayList &attributes,
                                                        int maximum, TimePoint limit);

    /// The named objects as far as they exist and match, in the order of the names.
    [[nodiscard]] Outcome<QList<LdapEntry>> read(const QByteArrayList &names,
                                                 const QByteArray &filter,
                                                 const QByteArrayList &attributes, TimePoint limit);

    /// "host:port" for the log.
    [[nodiscard]] QString serverName() const { return m_serverName; }

private:
    LdapConnection(QString serverName, BoundedOperation &operation);

    struct Page
    {
        QList<LdapEntry> entries;
        QByteArray cookie;
    };

    [[nodiscard]] Outcome<int> send(const QByteArray &base, int scope, const QByteArray &filter,
                                    const QByteArrayList &attributes, const QByteArray *cookie,
                                    int pageSize);
    /// Whether an object that is not there counts as an empty page.
    enum class Missing { IsEmpty, IsError };
    [[nodiscard]] Outcome<Page> receive(int message, Missing missing, TimePoint limit);

    /// The error for a status of the library; marks the connection as broken.
    [[nodiscard]] DirectoryError failed(const QString &doing, int status);
    [[nodiscard]] DirectoryError failed(DirectoryError::Code code, const QString &what);

    QString m_serverName;
    BoundedOperation &m_operation;
    ldap *m_ldap = nullptr;
    int m_socket = -1; ///< the handle's
    bool m_isBroken = false;
};
