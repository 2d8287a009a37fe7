#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <span>
#include <vector>

/// Where and why a text is not LDIF.
struct LdifError
{
    qsizetype line = 0; ///< the first is 1; 0 when no line is to blame
    QString text;
};

/// Bounds that keep a hostile file from taking the process's memory.
struct LdifLimits
{
    qsizetype fileBytes = 256LL * 1024 * 1024;
    qsizetype valueBytes = 4LL * 1024 * 1024;
    qsizetype entries = 1'000'000;
};

/// The entries of an LDIF text (RFC 2849, content records): folded lines, comments, base64 values,
/// a version line, LF or CR LF. Change records and values by URL are refused. Values need not be
/// ASCII, as many writers put UTF-8 there.
///
/// Names and values are views into one buffer that the document owns, so parsing costs no
/// allocation per value; they live as long as the document, also when it is moved. The buffer is
/// wiped at the end, as it may hold passwords. Immutable after parsing: readable from any thread.
class LdifDocument
{
public:
    struct Attribute
    {
        int name = 0; ///< index for name()
        QByteArrayView value;
    };
    struct Entry
    {
        qsizetype line = 0; ///< of its "dn"
        QByteArrayView dn;
        std::size_t firstAttribute = 0;
        std::size_t attributeCount = 0;
    };

    /// Time and memory grow linearly with the text.
    [[nodiscard]] static Result<LdifDocument, LdifError> parse(QByteArray text,
                                                               const LdifLimits &limits = {});

    LdifDocument(LdifDocument &&) noexcept = default;
    LdifDocument &operator=(LdifDocument &&) = delete;
    LdifDocument(const LdifDocument &) = delete;
    LdifDocument &operator=(const LdifDocument &) = delete;
    ~LdifDocument();

    [[nodiscard]] const std::vector<Entry> &entries() const { return m_entries; }
    [[nodiscard]] std::span<const Attribute> attributes(const Entry &entry) const
    {
        return std::span(m_attributes).subspan(entry.firstAttribute, entry.attributeCount);
    }

    /// An attribute's name as the text first spells it.
    [[nodiscard]] const QByteArray &name(int index) const
    {
        return m_names[static_cast<std::size_t>(index)];
    }
    /// The index of a name in any case; -1 when no entry has such an attribute.
    [[nodiscard]] int indexOfName(QByteArrayView name) const;

    /// The first value of an attribute; a null view when the entry has none.
    [[nodiscard]] QByteArrayView firstValue(const Entry &entry, int name) const;

private:
    class Parser;
    LdifDocument() = default;

    QByteArray m_text;
    std::vector<Entry> m_entries;
    std::vector<Attribute> m_attributes;
    std::vector<QByteArray> m_names;
    QHash<QByteArray, int> m_indexOfName; ///< by the lower-case name
};
