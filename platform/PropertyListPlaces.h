#pragma once

#include <QList>
#include <QString>

#include <cstddef>
#include <optional>
#include <span>

/// Where in a list something is, found by its hash: a table with open addressing, cheaper to fill
/// than a QHash as it allocates no node and remembers the hashes. The list itself and what equal
/// means are the user's. A value type.
class PropertyListPlaces
{
public:
    /// Another one in every process, so that nobody can prepare values which collide.
    [[nodiscard]] static quint32 hashOf(std::span<const std::byte> bytes);
    [[nodiscard]] static quint32 hashOf(QStringView text)
    {
        return hashOf(
            std::as_bytes(std::span(text.utf16(), static_cast<std::size_t>(text.size()))));
    }

    /// Room for so many places.
    void reserve(qsizetype count)
    {
        qsizetype size = leastSize;
        while (size < 2 * count)
            size *= 2;
        if (size > m_table.size())
            rebuild(size);
    }

    /// The place of that hash for which `isIt` holds.
    template<typename IsIt>
    [[nodiscard]] std::optional<qsizetype> find(quint32 hash, IsIt isIt) const
    {
        if (m_table.isEmpty())
            return std::nullopt;
        const Entry *const table = m_table.constData();
        const auto mask = static_cast<quint32>(m_table.size() - 1);
        for (quint32 i = hash & mask; table[i].number != 0; i = (i + 1) & mask) {
            if (table[i].hash == hash && isIt(qsizetype{table[i].number} - 1))
                return qsizetype{table[i].number} - 1;
        }
        return std::nullopt;
    }

    /// Of something that find() does not find.
    void insert(quint32 hash, qsizetype place)
    {
        reserve(m_count + 1);
        put({.hash = hash, .number = static_cast<quint32>(place + 1)});
        ++m_count;
    }

private:
    struct Entry
    {
        quint32 hash = 0;
        quint32 number = 0; ///< the place and 1; 0 where there is none
    };
    static constexpr qsizetype leastSize = 16; ///< sizes are powers of two

    void put(const Entry &entry)
    {
        Entry *const table = m_table.data();
        const auto mask = static_cast<quint32>(m_table.size() - 1);
        quint32 i = entry.hash & mask;
        while (table[i].number != 0)
            i = (i + 1) & mask;
        table[i] = entry;
    }
    void rebuild(qsizetype size);

    QList<Entry> m_table;
    qsizetype m_count = 0;
};
