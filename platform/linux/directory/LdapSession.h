#pragma once

#include "platform/Directory.h"
#include "platform/linux/directory/BoundedOperation.h"
#include "platform/linux/directory/DirectorySettings.h"

#include <QString>

#include <optional>

struct ldap;
struct timeval;

/// The steps that lead to a connection which may be used. Each gives an error that names the
/// server.
namespace LdapSession {

using TimePoint = BoundedOperation::Clock::time_point;

struct Context
{
    const DirectoryServerAddress &server;
    const QString &serverName; ///< for messages
    const DirectorySettings &settings;
    BoundedOperation &operation;
    TimePoint limit;
};

/// What makes every connection with these settings one that may not be used.
[[nodiscard]] std::optional<DirectoryError> problemOf(const DirectorySettings &settings);

/// A connected socket, the caller's to close.
[[nodiscard]] Result<int, DirectoryError> connectSocket(const Context &context);

/// A handle on the socket, which it then owns. It never opens another connection.
[[nodiscard]] Result<ldap *, DirectoryError> attach(const Context &context, int socket);

/// Starts TLS where the settings ask for it.
[[nodiscard]] std::optional<DirectoryError> protect(const Context &context, ldap *handle);

/// Authenticates, and refuses a connection that is not protected then unless the settings allow it.
[[nodiscard]] std::optional<DirectoryError> bind(const Context &context, ldap *handle);

/// The error for a status of the library.
[[nodiscard]] DirectoryError failure(const QString &serverName, ldap *handle, const QString &doing,
                                     int status);

/// What is left of the time, as the library takes it; never nothing.
[[nodiscard]] timeval timeLeft(TimePoint limit);

} // namespace LdapSession
