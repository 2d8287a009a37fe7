#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QSet>

#include <optional>

/// Makes a catalog that holds whole objects answer like one that holds a part of their attributes:
/// an entry has no others, and a filter finds nothing by them. For a TestRelay before the catalog.
class PartialCatalog
{
public:
    /// Holds the attributes that the controller's schema marks as the catalog's.
    [[nodiscard]] static PartialCatalog ofSchema();

    [[nodiscard]] bool holds(QByteArrayView attribute) const;

    /// What is to be passed on instead of a whole LDAP message; absent when that cannot be told,
    /// as the message is neither of a bind nor of a search, or is malformed.
    [[nodiscard]] std::optional<QByteArray> edited(QByteArrayView message, bool fromClient) const;

    /// Takes the first message off what has been received; null when there is no whole one. Absent
    /// when the bytes are no LDAP messages, but those of a layer that protects them.
    [[nodiscard]] static std::optional<QByteArray> takeMessage(QByteArray &received);

private:
    explicit PartialCatalog(QSet<QByteArray> attributes);
    [[nodiscard]] std::optional<QByteArray> editedSearch(QByteArrayView request) const;
    [[nodiscard]] std::optional<QByteArray> editedFilter(QByteArrayView filter,
                                                         bool isNegated) const;
    [[nodiscard]] std::optional<QByteArray> editedEntry(QByteArrayView entry) const;

    QSet<QByteArray> m_attributes; ///< in lower case
};
