#pragma once

#include "platform/PropertyListPlaces.h"

#include <QList>
#include <QString>
#include <QVariant>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <utility>

/// The bytes of a data value, looked at where they are. They may be a secret in a buffer that wipes
/// itself, so nothing copies them but the file that they are written to.
struct PropertyListData
{
    std::span<const std::byte> bytes;
    /// Keeps the bytes alive and unchanged; null where somebody else sees to that.
    std::shared_ptr<const void> owner;

    [[nodiscard]] friend bool operator==(const PropertyListData &a, const PropertyListData &b)
    {
        return std::ranges::equal(a.bytes, b.bytes);
    }
};
Q_DECLARE_METATYPE(PropertyListData)

/// A dictionary that keeps the order in which its keys came. A value type; values are what a
/// property list can hold (see platform/PropertyList.h).
class PropertyListDictionary
{
public:
    using Entry = std::pair<QString, QVariant>;

    PropertyListDictionary() = default;
    PropertyListDictionary(std::initializer_list<Entry> entries)
    {
        for (const Entry &entry : entries)
            insert(entry.first, entry.second);
    }

    /// Room for so many entries.
    void reserve(qsizetype size)
    {
        m_entries.reserve(size);
        m_places.reserve(size);
    }

    /// A key that is there already keeps its place and gets the new value.
    void insert(QString key, QVariant value)
    {
        const quint32 hash = PropertyListPlaces::hashOf(key);
        if (const auto place = placeOf(hash, key)) {
            m_entries[*place].second = std::move(value);
            return;
        }
        m_places.insert(hash, m_entries.size());
        m_entries.emplaceBack(std::move(key), std::move(value));
    }
    void insert(QString key, const PropertyListData &value)
    {
        insert(std::move(key), QVariant::fromValue(value));
    }
    /// Each entry of `other` by insert().
    void insert(const PropertyListDictionary &other)
    {
        for (const Entry &entry : other)
            insert(entry.first, entry.second);
    }

    /// Null when there is no such key; good until the dictionary changes.
    [[nodiscard]] const QVariant *find(const QString &key) const
    {
        const auto place = placeOf(PropertyListPlaces::hashOf(key), key);
        return place ? &m_entries.at(*place).second : nullptr;
    }
    /// Absent when there is no such key.
    [[nodiscard]] std::optional<QVariant> value(const QString &key) const
    {
        const QVariant *const found = find(key);
        return found ? std::optional(*found) : std::nullopt;
    }
    /// The bytes under the key; absent when there is no such key or its value is no data.
    [[nodiscard]] std::optional<PropertyListData> data(const QString &key) const
    {
        const QVariant *const found = find(key);
        if (!found || found->metaType() != QMetaType::fromType<PropertyListData>())
            return std::nullopt;
        return found->value<PropertyListData>();
    }
    [[nodiscard]] bool contains(const QString &key) const { return find(key) != nullptr; }
    [[nodiscard]] qsizetype size() const { return m_entries.size(); }
    [[nodiscard]] bool isEmpty() const { return m_entries.isEmpty(); }

    [[nodiscard]] QList<Entry>::const_iterator begin() const { return m_entries.cbegin(); }
    [[nodiscard]] QList<Entry>::const_iterator end() const { return m_entries.cend(); }

    /// The same entries in the same order.
    [[nodiscard]] friend bool operator==(const PropertyListDictionary &a,
                                         const PropertyListDictionary &b)
    {
        return a.m_entries == b.m_entries;
    }

private:
    [[nodiscard]] std::optional<qsizetype> placeOf(quint32 hash, QStringView key) const
    {
        const Entry *const entries = m_entries.constData();
        return m_places.find(hash, [&](qsizetype place) { return entries[place].first == key; });
    }

    QList<Entry> m_entries;
    PropertyListPlaces m_places; ///< of the keys
};
Q_DECLARE_METATYPE(PropertyListDictionary)
