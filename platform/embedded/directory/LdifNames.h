#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

/// How Active Directory's names and identifiers in an LDIF file are read.
namespace LdifNames {

/// A distinguished name in lower case and without blanks around its separators, for comparison.
[[nodiscard]] QByteArray normalizedDn(QByteArrayView dn);

/// The NetBIOS name of the domain that holds an object: of the longest name in `domains` (by
/// normalized name) that the object's ends with. With no domains at all, the first "dc" component
/// in upper case, cut to 15 characters, which is what a domain gets by default. Empty for none.
[[nodiscard]] QString netBiosName(const QByteArray &normalizedDn,
                                  const QHash<QByteArray, QString> &domains);

/// A GUID in upper case from its 16 bytes, the first three fields little-endian, or from its text
/// with or without braces. Empty when it is neither.
[[nodiscard]] QString guidText(QByteArrayView value);

/// The GUID of a local account: a fixed prefix and its numeric user id as eight hexadecimal
/// digits. Empty when `uidNumber` is no number.
[[nodiscard]] QString accountGuid(QByteArrayView uidNumber);

} // namespace LdifNames
