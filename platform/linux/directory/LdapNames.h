#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// Spellings that the directory protocol and Active Directory use.
namespace LdapNames {

/// `value` as the assertion value of a filter (RFC 4515), UTF-8.
[[nodiscard]] QByteArray escapedFilterValue(const QString &value);

/// An "objectGUID" of 16 bytes as text: the first three groups are little-endian. Absent for any
/// other length.
[[nodiscard]] std::optional<QString> guidText(const QByteArray &objectGuid);

/// The DNS name of the domain that a distinguished name lies in, in lower case: its trailing DC
/// components. Empty when it has none or is no distinguished name.
[[nodiscard]] QString domainOfName(const QByteArray &distinguishedName);

} // namespace LdapNames
