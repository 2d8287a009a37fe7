#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QList>

#include <functional>
#include <optional>

/// The computer's account and group databases, whatever stands behind them (NSS). Blocking calls;
/// a network source may take its own time limit. Names are bytes as the databases keep them.
namespace NameService {

struct User
{
    QByteArray name;
    quint32 userId = 0;
    quint32 groupId = 0;
    QByteArray home;
};

struct Group
{
    QByteArray name;
    quint32 groupId = 0;
};

/// A number of errno.
struct Error
{
    int number = 0;
};

/// None when there is no such account. A name with a NUL names nobody.
[[nodiscard]] Result<std::optional<User>, Error> userByName(const QByteArray &name);
[[nodiscard]] Result<std::optional<User>, Error> userById(quint32 userId);
[[nodiscard]] Result<std::optional<Group>, Error> groupByName(const QByteArray &name);

/// Every group of the account, the primary one included.
[[nodiscard]] QList<quint32> groupsOfUser(const User &user);

/// Calls `each` for every account that the sources list; network sources commonly list none.
/// Not to be called by two threads at once.
void forEachUser(const std::function<void(const User &)> &each);

/// Whether an account of that name and number stands in a file of passwd's format. False when the
/// file cannot be read.
[[nodiscard]] bool isInFile(const QByteArray &passwdFile, const User &user);

} // namespace NameService
