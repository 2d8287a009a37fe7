#pragma once

#include "platform/PropertyListPlaces.h"
#include "platform/propertylist/BinaryPropertyListFormat.h"
#include "platform/propertylist/PropertyListBudget.h"

#include <QByteArrayView>
#include <QHash>
#include <QStringView>

#include <optional>
#include <span>
#include <vector>

namespace BinaryPropertyList {

using Reference = quint64;

/// One object of a file. Text and bytes are viewed in the value written.
struct Object
{
    Kind kind = Kind::Simple;
    quint64 number = 0; ///< a simple value's or number's bits; where a container's references begin
    qsizetype width = 0; ///< bytes of an integer
    quint64 count = 0;   ///< of a container's references: a dictionary's keys, then its values
    QStringView text = {};
    std::span<const std::byte> bytes = {};
};

/// The fewest of 1, 2, 4 and 8 bytes that hold `number`.
[[nodiscard]] qsizetype widthOf(quint64 number);

/// Turns a value into the objects of a file: containers before what they hold, keys before values,
/// equal scalars once. The value outlives the objects.
class Objects
{
public:
    explicit Objects(const PropertyListLimits &limits) : m_budget(limits) {}

    /// Either is called once, with what becomes the top object, the first one. None on a failure,
    /// which error() tells.
    std::optional<Reference> add(const QVariant &value, int depth = 0);
    std::optional<Reference> add(const PropertyListDictionary &dictionary, int depth = 0);

    [[nodiscard]] const std::vector<Object> &all() const { return m_objects; }
    /// What a container holds.
    [[nodiscard]] std::span<const Reference> references(const Object &container) const
    {
        return std::span(m_references).subspan(container.number, container.count);
    }
    [[nodiscard]] const QString &error() const { return m_error; }

private:
    std::nullopt_t fail(const QString &text);
    /// `reference`, when the budget allows `bytes` more.
    std::optional<Reference> spent(Reference reference, qsizetype bytes = 0);
    Reference append(const Object &object);

    std::optional<Reference> addScalar(const Object &object);
    std::optional<Reference> addNumber(const QVariant &value);
    std::optional<Reference> addDate(const QDateTime &date);
    std::optional<Reference> addText(QStringView text);
    std::optional<Reference> addData(std::span<const std::byte> bytes);
    std::optional<Reference> addArray(const QVariantList &values, int depth);
    /// `keyOf` and `valueOf` give those of an iterator.
    template<typename Entries, typename KeyOf, typename ValueOf>
    std::optional<Reference> addDictionary(const Entries &entries, KeyOf keyOf, ValueOf valueOf,
                                           int depth);
    /// A container with `count` references, which are put into their places by set().
    std::optional<Reference> addContainer(Kind kind, qsizetype count, int depth);
    bool set(Reference container, quint64 index, std::optional<Reference> reference);

    PropertyListBudget m_budget;
    QString m_error;
    std::vector<Object> m_objects;
    std::vector<Reference> m_references;
    PropertyListPlaces m_numbers; ///< of the dates and truth values as well
    PropertyListPlaces m_texts;
    QHash<QByteArrayView, Reference> m_data; ///< the keys view the value written; no hash is kept
};

} // namespace BinaryPropertyList
